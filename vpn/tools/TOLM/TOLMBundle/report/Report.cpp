#include "vpn/tools/TOLM/TOLMBundle/report/Report.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <map>
#include <utility>
#include <vector>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Findings.h"
#include "vpn/tools/TOLM/TOLMBundle/report/FileText.h"
#include "vpn/tools/TOLM/TOLMBundle/report/Html.h"
#include "vpn/tools/TOLM/TOLMBundle/report/Page.h"
#include "vpn/tools/TOLM/TOLMBundle/report/PageFile.h"
#include "vpn/tools/TOLM/TOLMBundle/report/Timeline.h"

namespace halvo {

namespace {

// What stands above the files, and the page's own style and script, must fit into the rest.
constexpr std::size_t kRoomForFiles = std::size_t{22} << 20U;
constexpr std::size_t kRoomForHead = std::size_t{2} << 20U;
// A row of a table; what a cell holds beyond that is in the files.
constexpr std::size_t kLongestCell = 1000;
constexpr std::size_t kMostItems = 200;

std::string cell(const std::string& text) {
  return htmlText(std::string_view(text).substr(0, kLongestCell)) + (text.size() > kLongestCell ? "..." : "");
}

std::string isolated(const std::string& text) {
  return "<bdi>" + cell(text) + "</bdi>";
}

// What a page may run and show is what carries this word, which nobody can know in advance.
std::string randomWord() {
  unsigned char bytes[16] = {};
  if (getentropy(bytes, sizeof(bytes)) != 0) {
    return "";
  }
  std::string word;
  for (const unsigned char byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof(digits), "%02x", static_cast<unsigned>(byte));
    word += digits;
  }
  return word;
}

// The part of the page that holds the files. Written aside, since what stands above them is known last.
class FilesPart {
 public:
  FilesPart(const BundleContent& content, Timeline& timeline)
      : m_rContent(content), m_rTimeline(timeline), m_Entry(content.reader()), m_File(std::tmpfile()) {}

  std::string write() {
    if (m_File == nullptr) {
      return std::string("a temporary file can't be made: ") + std::strerror(errno);
    }
    for (std::size_t i = 0; i < m_rContent.files().size(); ++i) {
      if (!m_rContent.isFirst(i)) {
        continue;
      }
      const std::string html = fileHtml(i);
      if (m_nSize + html.size() > kRoomForFiles) {
        // The text gives way first, then the name.
        const std::string name = nameHtml(i, "", "the page is full; show prints it", "");
        ++(m_nSize + name.size() > kRoomForFiles ? m_nUnnamed : m_nWithoutText);
        put(m_nSize + name.size() > kRoomForFiles ? "" : name);
      } else {
        put(html);
      }
    }
    return std::ferror(m_File.get()) == 0
               ? ""
               : std::string("a temporary file can't be written: ") + std::strerror(errno);
  }

  [[nodiscard]] std::FILE* file() const { return m_File.get(); }
  [[nodiscard]] std::size_t unnamed() const { return m_nUnnamed; }
  [[nodiscard]] std::size_t withoutText() const { return m_nWithoutText; }

 private:
  void put(const std::string& html) {
    std::fwrite(html.data(), 1, html.size(), m_File.get());
    m_nSize += html.size();
  }

  [[nodiscard]] std::string nameHtml(std::size_t index, const std::string& size, const std::string& note,
                                     const std::string& text) const {
    const BundledFile& file = m_rContent.files()[index];
    const std::string name = m_rContent.placeOf(file);
    const std::string id = "f" + std::to_string(index);
    const std::string items = m_rContent.idsOf(file);
    std::string html = "<details id=\"" + id + "\" data-name=\"" + cell(name) + "\"><summary>" +
                       isolated(name) + " <small>" + size +
                       (items.empty() ? "" : (size.empty() ? "" : ", ") + isolated(items)) +
                       "</small></summary>\n";
    if (!file.description.empty()) {
      html += "<p class=\"note\" dir=\"auto\">" + cell(file.description) + "</p>\n";
    }
    if (!note.empty()) {
      html += "<p class=\"note\">" + cell(note) + "</p>\n";
    }
    return html + text + "</details>\n";
  }

  std::string fileHtml(std::size_t index) {
    const BundledFile& file = m_rContent.files()[index];
    const BundleEntryInfo& entry = m_rContent.entry(file);
    const std::string size = bytesText(entry.size);
    FileText text;
    const std::string error = readFileText(m_Entry, file.entry, m_rTimeline, text);
    if (text.binary) {
      return nameHtml(index, size, "This is no text.", "");
    }
    std::string html;
    if (!text.head.empty()) {
      html += "<pre data-first=\"1\" tabindex=\"0\">\n";
      appendHtml(html, text.head);
      html += "</pre>\n";
    }
    if (text.leftOut > 0) {
      html += "<p class=\"cut\">" + bytesText(text.leftOut) + " left out here, up to line " +
              std::to_string(text.tailLine - 1) + ".</p>\n<pre data-first=\"" +
              std::to_string(text.tailLine) + "\" tabindex=\"0\">\n";
      appendHtml(html, text.tail);
      html += "</pre>\n";
    }
    const std::string note = error.empty() && entry.size == 0 ? "This file is empty." : error;
    return nameHtml(index, size + ", " + std::to_string(text.lines) + (text.lines == 1 ? " line" : " lines"),
                    note, html);
  }

  const BundleContent& m_rContent;
  Timeline& m_rTimeline;
  EntryReader m_Entry;
  FileHolder m_File;
  std::size_t m_nSize = 0;
  std::size_t m_nUnnamed = 0;
  std::size_t m_nWithoutText = 0;
};

// What stands above the files.
class HeadPart {
 public:
  explicit HeadPart(const BundleContent& content) : m_rContent(content) {}

  std::string html(const Timeline& timeline, const Findings& findings) {
    addMachine();
    addMissing();
    addFailedDocuments();
    addNotes();
    addFindings(findings);
    m_strHtml += "<h2 id=\"timeline\">Timeline</h2>\n" + timeline.html();
    addShares();
    return std::move(m_strHtml);
  }

 private:
  // Rows come from outside: there may be any number of any length.
  [[nodiscard]] bool isFull() const { return m_strHtml.size() > kRoomForHead; }

  void addRow(const std::string& label, const std::string& value) {
    if (!value.empty()) {
      m_strHtml += "<tr><th scope=\"row\">" + label + "</th><td>" + isolated(value) + "</td></tr>\n";
    }
  }

  void addMachine() {
    const Summary& summary = m_rContent.summary();
    const BundleReader& reader = m_rContent.reader();
    m_strHtml += "<h1>" + isolated(lastComponent(reader.path())) + "</h1>\n<table><tbody>\n";
    addRow("Time", summary.time);
    addRow("System", summary.os);
    addRow("User", summary.user);
    addRow("Made as", summary.bundlePath);
    addRow("Size", bytesText(reader.fileSize()) + ", unpacked " + bytesText(m_rContent.wholeSize()) + " in " +
                       std::to_string(reader.entries().size()) + " entries");
    for (const SummarySection& section : summary.sections) {
      if (isFull()) {
        break;
      }
      addRow("Document", section.title.empty() ? "(no title)" : section.title);
    }
    addRow("Damage", reader.damage());
    addRow("Summary", m_rContent.fault());
    m_strHtml += "</tbody></table>\n";
  }

  void addMissing() {
    const std::vector<MissingFile>& missing = m_rContent.missing();
    m_strHtml += "<h2 id=\"missing\">Missing (" + std::to_string(missing.size()) + ")</h2>\n";
    if (missing.empty()) {
      if (!m_rContent.unread().empty()) {
        m_strHtml += "<p>What is missing isn't known: not all could be read.</p>\n";
      } else if (m_rContent.summary().failedDocuments.empty()) {
        m_strHtml += "<p>Nothing is missing.</p>\n";
      } else {
        m_strHtml += "<p>Of the documents that could be used nothing is missing.</p>\n";
      }
      return;
    }
    m_strHtml +=
        "<div class=\"wide\"><table><thead><tr><th scope=\"col\">Item</th><th scope=\"col\">File</th>"
        "<th scope=\"col\" class=\"about\">Description</th><th "
        "scope=\"col\">Reason</th></tr></thead><tbody>\n";
    std::size_t done = 0;
    for (; done < missing.size() && !isFull(); ++done) {
      const MissingFile& file = missing[done];
      m_strHtml += "<tr><td>" + isolated(file.id) + "</td><td>" + isolated(file.name) +
                   "</td><td class=\"about\">" + isolated(file.description) + "</td><td>" +
                   isolated(file.reason) + "</td></tr>\n";
    }
    m_strHtml += "</tbody></table></div>\n";
    addRest(missing.size() - done);
  }

  // A list that is on the page where there is something in it.
  void addList(const std::string& id, const std::string& heading, const std::vector<std::string>& texts) {
    if (texts.empty()) {
      return;
    }
    m_strHtml += "<h2 id=\"" + id + "\">" + heading + " (" + std::to_string(texts.size()) + ")</h2>\n<ul>\n";
    std::size_t done = 0;
    for (; done < texts.size() && !isFull(); ++done) {
      m_strHtml += "<li>" + isolated(texts[done]) + "</li>\n";
    }
    m_strHtml += "</ul>\n";
    addRest(texts.size() - done);
  }

  void addFailedDocuments() {
    addList("documents", "Documents that couldn't be used", m_rContent.summary().failedDocuments);
  }

  void addNotes() {
    std::vector<std::string> notes;
    for (const SummarySection& section : m_rContent.summary().sections) {
      notes.insert(notes.end(), section.notes.begin(), section.notes.end());
    }
    addList("notes", "Notes", notes);
  }

  void addRest(std::size_t rest) {
    if (rest > 0) {
      m_strHtml += "<p>" + std::to_string(rest) + " more aren't on this page.</p>\n";
    }
  }

  void addFindings(const Findings& search) {
    const std::vector<KnownProblem>& findings = search.problems;
    m_strHtml += "<h2 id=\"findings\">Known problems (" + std::to_string(findings.size()) + ")</h2>\n";
    if (findings.empty()) {
      m_strHtml += "<p>None of the known problems is seen.</p>\n";
    }
    std::size_t done = 0;
    for (; done < findings.size() && !isFull(); ++done) {
      const KnownProblem& finding = findings[done];
      const std::string severity = severityText(finding.severity);
      m_strHtml += "<div class=\"finding " + severity + "\"><h3><span class=\"severity\">" + severity +
                   "</span> " + isolated(finding.title) + "</h3>\n<p>" + isolated(finding.advice) +
                   "</p>\n<ul>\n";
      for (const Evidence& evidence : finding.evidence) {
        const std::string line = evidence.line > 0 ? std::to_string(evidence.line) : "";
        const BundledFile& file = m_rContent.files()[evidence.file];
        m_strHtml += "<li><a href=\"#f" + std::to_string(file.first) + (line.empty() ? "" : "L" + line) +
                     "\">" + isolated(m_rContent.placeOf(file)) + (line.empty() ? "" : ":" + line) +
                     "</a> <code>" + cell(evidence.text) + "</code></li>\n";
      }
      m_strHtml += "</ul>\n";
      if (finding.count > finding.evidence.size()) {
        m_strHtml += std::string("<p>") + (finding.isAtLeast ? "At least " : "") +
                     std::to_string(finding.count - finding.evidence.size()) + " lines more.</p>\n";
      }
      m_strHtml += "</div>\n";
    }
    addRest(findings.size() - done);
    if (const std::string undecided = undecidedText(search); !undecided.empty()) {
      m_strHtml += "<p>" + cell(undecided) + "</p>\n";
    }
  }

  void addShares() {
    struct Share {
      std::uint64_t size = 0;
      std::size_t files = 0;
    };
    std::map<std::string, Share> items;
    for (std::size_t i = 0; i < m_rContent.files().size(); ++i) {
      if (!m_rContent.isFirst(i)) {
        continue;
      }
      const BundledFile& file = m_rContent.files()[i];
      Share& share = items[m_rContent.idsOf(file)];
      share.size += m_rContent.entry(file).size;
      ++share.files;
    }
    std::vector<std::pair<std::string, Share>> sorted(items.begin(), items.end());
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto& left, const auto& right) {
      return left.second.size > right.second.size;
    });
    m_strHtml += "<h2 id=\"items\">Items (" + std::to_string(sorted.size()) +
                 ")</h2>\n<div class=\"wide\"><table><thead><tr><th scope=\"col\">Item</th><th scope=\"col\" "
                 "class=\"number\">"
                 "Files</th><th scope=\"col\" class=\"number\">Size</th><th "
                 "scope=\"col\">Share</th></tr></thead><tbody>\n";
    std::size_t done = 0;
    for (; done < sorted.size() && done < kMostItems && !isFull(); ++done) {
      const auto& [id, share] = sorted[done];
      const auto percent = static_cast<std::uint64_t>(m_rContent.wholeSize() == 0
                                                          ? 0
                                                          : 100.0 * static_cast<double>(share.size) /
                                                                static_cast<double>(m_rContent.wholeSize()));
      const std::string number = std::to_string(percent);
      m_strHtml +=
          "<tr><td>" + (id.empty() ? "(not in the summary)" : isolated(id)) + "</td><td class=\"number\">" +
          std::to_string(share.files) + "</td><td class=\"number\">" + bytesText(share.size) +
          "</td><td><svg class=\"share\" viewBox=\"0 0 100 7\" preserveAspectRatio=\"none\" role=\"img\" "
          "aria-label=\"" +
          number + " percent\"><rect width=\"" + number + "\" height=\"7\"/></svg></td></tr>\n";
    }
    m_strHtml += "</tbody></table></div>\n";
    addRest(sorted.size() - done);
  }

  const BundleContent& m_rContent;
  std::string m_strHtml;
};

}  // namespace

std::string writeReport(const BundleContent& content, const RuleSet& rules, const std::string& path) {
  PageFile page;
  if (std::string error = page.open(path); !error.empty()) {
    return error;
  }
  const std::string word = randomWord();
  if (word.empty()) {
    return std::string("no random numbers can be had: ") + std::strerror(errno);
  }
  std::future<Findings> findings =
      std::async(std::launch::async, [&content, &rules] { return findProblems(content, rules); });
  Timeline timeline(content.madeAt().value_or(0));
  FilesPart files(content, timeline);
  const std::string error = files.write();
  // Waited for in any case: it borrows the bundle.
  const Findings found = findings.get();
  if (!error.empty()) {
    return error;
  }
  page.put(pageStart(htmlText(lastComponent(content.reader().path())), word));
  page.put(HeadPart(content).html(timeline, found));
  page.put("<h2 id=\"files\">Files (" + std::to_string(content.firstFiles()) + ")</h2>\n" + pageSearch());
  if (files.withoutText() + files.unnamed() > 0) {
    page.put("<p>The page is full: " + std::to_string(files.withoutText()) +
             " files are here without their text, " + std::to_string(files.unnamed()) + " not at all.</p>\n");
  }
  page.put(files.file());
  page.put(pageEnd(word));
  return page.finish();
}

}  // namespace halvo
