#include "vpn/tools/TOLM/TOLMBundle/Summary.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/SummaryEntry.h"

namespace halvo {

namespace {

constexpr SummaryWidths kIncludedWidths = {17, kSummaryNameWidth, 40, 10};
constexpr SummaryWidths kOmittedWidths = {17, kSummaryNameWidth, 40, 50};
constexpr std::size_t kGap = 2;

constexpr char kHeading[] = "TOLM BUNDLE SUMMARY\n\n";
constexpr char kIncludedHeading[] = "Files Included in Bundle:\n";
constexpr char kOmittedHeading[] = "\n\nFiles Omitted from Bundle:\n";
constexpr char kNotesHeading[] = "\n\nNotes:\n";
constexpr char kFailedHeading[] = "TOLMEngine failed to parse or use the following configuration files:\n";
constexpr char kUnknownHeading[] =
    "\n\nNo instruction found in any config for the following file ID's from request:\n";
constexpr char kNoteStart[] = " - ";
constexpr char kNotDefaultEnd[] = " is/are not included by default by this config.\n";

constexpr std::size_t kIncludedRule = 101;
constexpr std::size_t kOmittedRule = 141;
constexpr std::size_t kSectionRule = 141;
constexpr std::size_t kFailedRule = 100;
constexpr std::size_t kLabelWidth = 30;

std::size_t totalWidth(const SummaryWidths& widths) {
  std::size_t width = kGap * (kSummaryColumns - 1);
  for (const std::size_t column : widths) {
    width += column;
  }
  return width;
}

std::string padded(const std::string& label) {
  return label + std::string(kLabelWidth - label.size(), ' ');
}

void trimRight(std::string& text) {
  while (!text.empty() && text.back() == ' ') {
    text.pop_back();
  }
}

class SummaryText {
 public:
  explicit SummaryText(const std::string& text) : m_rText(text) {}

  Summary read() {
    Summary summary;
    m_pSummary = &summary;
    readMainInfo();
    while (m_nAt < m_rText.size()) {
      const bool read = readSection() || readFailedDocuments() || readUnknownIds();
      if (!read) {
        skip();
      }
    }
    return summary;
  }

 private:
  [[nodiscard]] bool stands(const std::string& literal) const {
    return m_rText.compare(m_nAt, literal.size(), literal) == 0;
  }
  bool take(const std::string& literal) {
    const bool found = stands(literal);
    m_nAt += found ? literal.size() : 0;
    return found;
  }
  // The text up to `literal`, which is taken too; false where it doesn't come within `limit` bytes.
  bool takeUpTo(const std::string& literal, std::string& text, std::size_t limit) {
    const std::size_t end = std::string_view(m_rText).substr(m_nAt, limit).find(literal);
    if (end == std::string::npos) {
      return false;
    }
    text = m_rText.substr(m_nAt, end);
    m_nAt += end + literal.size();
    return true;
  }

  // An id may hold line feeds. The end that was found last serves until it is passed: many starts without an
  // end cost one search.
  bool takeUpToNoteEnd(std::string& id) {
    if (m_nNoteEnd == 0 || m_nNoteEnd < m_nAt) {
      m_nNoteEnd = m_rText.find(kNotDefaultEnd, m_nAt);
    }
    if (m_nNoteEnd == std::string::npos) {
      return false;
    }
    id = m_rText.substr(m_nAt, m_nNoteEnd - m_nAt);
    m_nAt = m_nNoteEnd + sizeof(kNotDefaultEnd) - 1;
    return true;
  }

  static std::string rule(char character, std::size_t width) {
    return "\n" + std::string(width, character) + "\n";
  }
  // Whether something else than the rows, notes or lines at hand begins here.
  [[nodiscard]] bool isBoundary() const {
    static const std::string s_strSection = rule('=', kSectionRule);
    static const std::string s_strFailed = rule('=', kFailedRule);
    return m_rText[m_nAt] == '\n' && (stands(s_strSection) || stands(s_strFailed) || stands(kUnknownHeading));
  }

  void noteFault(const std::string& what) {
    if (m_pSummary->fault.empty()) {
      m_pSummary->fault = what + " at byte " + std::to_string(m_nAt);
    }
  }

  // No run has as many; a text of line feeds alone would have millions.
  void addLine(std::vector<std::string>& lines, std::string line) {
    constexpr std::size_t kMostLines = 100000;
    if (lines.size() < kMostLines) {
      lines.push_back(std::move(line));
    } else {
      noteFault("a list has more than " + std::to_string(kMostLines) + " lines; the rest is passed over");
    }
  }

  // Passes over what can't be made out, to the next thing that can.
  void skip() {
    noteFault("the summary can't be made out");
    ++m_nAt;
    while (m_nAt < m_rText.size() && !isBoundary()) {
      const std::size_t next = m_rText.find('\n', m_nAt + 1);
      m_nAt = next == std::string::npos ? m_rText.size() : next;
    }
  }

  void readMainInfo() {
    if (!take(kHeading)) {
      return;
    }
    const std::array<std::pair<std::string, std::string*>, 4> fields = {
        {{"Time:", &m_pSummary->time},
         {"OS:", &m_pSummary->os},
         {"User Name:", &m_pSummary->user},
         {"Bundle on client computer:", &m_pSummary->bundlePath}}};
    constexpr std::size_t kLongestField = 65536;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      // The value ends at the next label, since it may hold line feeds itself.
      const bool isLast = i + 1 == fields.size();
      const std::string end = isLast ? "\n" + rule('=', kSectionRule) : "\n" + padded(fields[i + 1].first);
      if (!take(padded(fields[i].first)) || !takeUpTo(end, *fields[i].second, kLongestField)) {
        noteFault("the main information can't be made out");
        return;
      }
      m_nAt -= end.size() - 1;
    }
  }

  bool readSection() {
    if (!take(rule('=', kSectionRule))) {
      return false;
    }
    SummarySection section;
    constexpr std::size_t kLongestTitle = 16384;
    const std::string end = std::string(":\n\n") + kIncludedHeading;
    if (!takeUpTo(end, section.title, kLongestTitle) || !takeTableHead(kIncludedWidths, kIncludedRule)) {
      noteFault("a document's section can't be made out");
      m_pSummary->sections.push_back(std::move(section));
      return true;
    }
    readRows(kIncludedWidths, kIncludedRule, true, section.included);
    if (take(kOmittedHeading)) {
      if (takeTableHead(kOmittedWidths, kOmittedRule)) {
        readRows(kOmittedWidths, kOmittedRule, false, section.omitted);
      } else {
        noteFault("a table of omitted files can't be made out");
      }
    }
    if (take(kNotesHeading)) {
      readNotes(section);
    }
    m_pSummary->sections.push_back(std::move(section));
    return true;
  }

  // The row of headings and the rule below it.
  bool takeTableHead(const SummaryWidths& widths, std::size_t ruleWidth) {
    SummaryCells cells;
    return takeRow(widths, cells) && cells[0] == "ID" && take(std::string(ruleWidth, '-') + "\n");
  }

  // Rows are taken by their width: a cell may hold line feeds.
  bool takeRow(const SummaryWidths& widths, SummaryCells& cells) {
    const std::size_t width = totalWidth(widths);
    if (m_rText.size() - m_nAt < width + 1 || m_rText[m_nAt + width] != '\n') {
      return false;
    }
    std::size_t at = m_nAt;
    for (std::size_t i = 0; i < kSummaryColumns; ++i) {
      cells[i] = m_rText.substr(at, widths[i]);
      trimRight(cells[i]);
      at += widths[i];
      if (i + 1 < kSummaryColumns && m_rText.compare(at, kGap, "  ") != 0) {
        return false;
      }
      at += kGap;
    }
    m_nAt += width + 1;
    return true;
  }

  void readRows(const SummaryWidths& widths, std::size_t ruleWidth, bool sizeTells,
                std::vector<SummaryRow>& rows) {
    const std::string end = std::string(ruleWidth, '-') + "\n";
    SummaryEntry entry(widths);
    SummaryCells cells;
    while (!take(end)) {
      if (!takeRow(widths, cells)) {
        noteFault("a table can't be made out");
        break;
      }
      if (!entry.takes(cells, sizeTells)) {
        entry.moveTo(rows);
      }
      entry.add(cells);
    }
    entry.moveTo(rows);
  }

  void readNotes(SummarySection& section) {
    const std::string start = std::string(kNoteStart) + kNotDefaultStart;
    while (m_nAt < m_rText.size() && !isBoundary()) {
      std::string id;
      const std::size_t before = m_nAt;
      if (take(start) && takeUpToNoteEnd(id)) {
        id = withPlainAmpersands(id);
        addLine(section.notes,
                kNotDefaultStart + id + std::string(kNotDefaultEnd, sizeof(kNotDefaultEnd) - 2));
        addLine(section.notDefault, std::move(id));
        continue;
      }
      m_nAt = before;
      const bool isNew = take(kNoteStart);
      const std::string line =
          isNew && stands(kDuplicateStart) ? withPlainAmpersands(takeLine()) : takeLine();
      if (isNew || section.notes.empty()) {
        addLine(section.notes, line);
      } else {
        section.notes.back() += "\n" + line;
      }
    }
  }

  std::string takeLine() {
    const std::size_t end = std::min(m_rText.find('\n', m_nAt), m_rText.size());
    std::string line = m_rText.substr(m_nAt, end - m_nAt);
    m_nAt = std::min(end + 1, m_rText.size());
    return line;
  }

  bool readFailedDocuments() {
    if (!take(rule('=', kFailedRule) + kFailedHeading)) {
      return false;
    }
    while (m_nAt < m_rText.size() && !isBoundary()) {
      addLine(m_pSummary->failedDocuments, takeLine());
    }
    return true;
  }

  bool readUnknownIds() {
    if (!take(kUnknownHeading)) {
      return false;
    }
    m_pSummary->hasUnknownHeading = true;
    while (m_nAt < m_rText.size()) {
      addLine(m_pSummary->unknownIds, withPlainAmpersands(takeLine()));
    }
    return true;
  }

  const std::string& m_rText;
  std::size_t m_nAt = 0;
  std::size_t m_nNoteEnd = 0;  // of a note on an id, where it was looked for; npos where there is no more
  Summary* m_pSummary = nullptr;
};

// An editor of another system may have passed over the text: it puts a byte order mark in front of it, and a
// carriage return in front of each line feed.
std::size_t markLength(const std::string& text) {
  return text.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0;
}

bool hasForeignLineEnds(const std::string& text, std::size_t start) {
  constexpr std::string_view kForeign = "TOLM BUNDLE SUMMARY\r\n\r\n";
  return text.compare(start, kForeign.size(), kForeign) == 0;
}

// Those ahead of line feeds; a cell may hold others.
std::string withoutCarriageReturns(const std::string& text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n') {
      result += text[i];
    }
  }
  return result;
}

}  // namespace

Summary readSummary(const std::string& text) {
  const std::size_t mark = markLength(text);
  if (mark == 0 && !hasForeignLineEnds(text, mark)) {
    return SummaryText(text).read();
  }
  std::string own = text.substr(mark);
  if (hasForeignLineEnds(text, mark)) {
    own = withoutCarriageReturns(own);
  }
  return SummaryText(own).read();
}

bool isSummary(const std::string& front) {
  const std::size_t mark = markLength(front);
  return front.compare(mark, sizeof(kHeading) - 1, kHeading) == 0 || hasForeignLineEnds(front, mark);
}

// The parser hands an ampersand of an attribute on as a reference, and so the engine writes it.
std::string withPlainAmpersands(const std::string& id) {
  constexpr std::string_view kReference = "&#38;";
  std::string plain;
  for (std::size_t i = 0; i < id.size(); ++i) {
    plain += id[i];
    i += id.compare(i, kReference.size(), kReference) == 0 ? kReference.size() - 1 : 0;
  }
  return plain;
}

std::string withAmpersandReferences(const std::string& id) {
  std::string written;
  for (const char c : id) {
    written += c == '&' ? "&#38;" : std::string(1, c);
  }
  return written;
}

std::string wrappedKey(const std::string& text, std::size_t width) {
  std::string key;
  std::size_t at = 0;
  bool first = true;
  const auto passWhiteSpace = [&] {
    while (at < text.size() && isSummaryBlank(text[at])) {
      ++at;
    }
  };
  passWhiteSpace();
  while (first || at < text.size()) {
    std::size_t length = text.size() - at;
    std::size_t next = text.size();
    if (length > width) {
      length = width - 1;
      next = at + length;
      for (std::size_t i = width; i-- > 0;) {
        if (isSummaryBlank(text[at + i])) {
          length = i;
          next = at + i + 1;
          break;
        }
      }
    }
    std::string line = text.substr(at, length);
    trimRight(line);
    if (!line.empty()) {
      key += (first ? "" : "\n") + line;
    }
    first = false;
    at = next;
    passWhiteSpace();
  }
  return key;
}

}  // namespace halvo
