// The summary, the report and the writing of the new bundle.

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/BundleRedactor.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactionReport.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/SummaryText.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kBlock = 65536;
constexpr std::size_t kLongestReport = std::size_t{1} << 20U;

std::uint32_t crcOf(const std::string& text) {
  return static_cast<std::uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
}

// For a line of a report: nothing in it may begin another.
std::string oneLine(const std::string& text) {
  std::string line = text;
  for (char& c : line) {
    c = static_cast<unsigned char>(c) < ' ' || c == 0x7f ? '?' : c;
  }
  return line;
}

}  // namespace

std::string BundleRedactor::readWhole(std::size_t index, std::string& text) const {
  EntryReader reader(m_rIn);
  if (std::string failure = reader.open(index); !failure.empty()) {
    return failure;
  }
  std::vector<char> block(kBlock);
  for (;;) {
    const std::int64_t got = reader.read(block.data(), block.size());
    if (got < 0) {
      return reader.error();
    }
    if (got == 0) {
      return {};
    }
    text.append(block.data(), static_cast<std::size_t>(got));
  }
}

// The summary's cells are put together, redacted and broken into rows again: a name that was broken over two
// rows isn't found in them.
std::string BundleRedactor::redactSummary() {
  if (std::none_of(m_Entries.begin(), m_Entries.end(),
                   [](const Entry& entry) { return entry.state == State::kSummary; })) {
    return {};
  }
  for (std::size_t i = 0; i < m_Entries.size(); ++i) {
    const std::string& name = m_rIn.entries()[i].name;
    const std::string last = lastComponent(name);
    const std::string key = wrappedKey(last, kSummaryNameWidth);
    m_ByName[key].entries.push_back(i);
    if (name.size() > last.size()) {
      m_ByPlace[name.substr(0, name.size() - last.size()) + key].entries.push_back(i);
    }
  }
  for (std::size_t i = 0; i < m_Entries.size(); ++i) {
    Entry& entry = m_Entries[i];
    if (entry.state != State::kSummary) {
      continue;
    }
    std::string text;
    if (std::string failure = readWhole(i, text); !failure.empty()) {
      return failure;
    }
    TextRedactor redactor(m_rOptions.keep, m_rStandIns, *m_pKnown);
    if (m_rOptions.rules != nullptr) {
      redactor.useRules(*m_rOptions.rules);
    }
    Summary summary = readSummary(text);
    if (!summary.fault.empty()) {
      // As any text then: what can't be made out must not stay as it was.
      m_strSummary = redactor.redact(text);
    } else {
      // The label is what tells that a user's name follows.
      const std::string label = "User Name: ";
      const std::string named = redactor.redact(label + summary.user);
      // Rules may touch the label.
      summary.user = named.starts_with(label) ? named.substr(label.size()) : redactor.redact(summary.user);
      summary.time = redactor.redact(summary.time);
      summary.os = redactor.redact(summary.os);
      summary.bundlePath = redactor.redact(summary.bundlePath);
      std::vector<bool> matched(m_Entries.size());
      for (SummarySection& section : summary.sections) {
        redactRows(section, redactor, matched);
      }
      for (std::vector<std::string>* const list : {&summary.failedDocuments, &summary.unknownIds}) {
        for (std::string& line : *list) {
          line = redactor.redact(line);
        }
      }
      m_strSummary = summaryText(summary);
    }
    if (m_strSummary != text) {
      entry.counts.add(redactor.counts());
    }
  }
  m_ByName.clear();
  m_ByPlace.clear();
  return {};
}

// The entry that a row tells of, in the section's own folder or anywhere else; the number of entries where
// there is none.
std::size_t BundleRedactor::entryOf(const SummarySection& section, const SummaryRow& row,
                                    const std::vector<bool>& matched) {
  for (auto& [lists, name] : {std::pair(&m_ByPlace, m_strTop + section.title + "/" + row.nameKey),
                              std::pair(&m_ByName, row.nameKey)}) {
    const auto found = lists->find(name);
    if (found == lists->end()) {
      continue;
    }
    Namesakes& list = found->second;
    while (list.next < list.entries.size() && matched[list.entries[list.next]]) {
      ++list.next;
    }
    if (list.next < list.entries.size()) {
      return list.entries[list.next];
    }
  }
  return m_Entries.size();
}

void BundleRedactor::redactRows(SummarySection& section, TextRedactor& redactor, std::vector<bool>& matched) {
  std::vector<SummaryRow> included;
  for (SummaryRow& row : section.included) {
    // Ahead of the redaction, and the title's behind all rows: the row still has the names that the bundle
    // has.
    const std::size_t index = entryOf(section, row, matched);
    row.id = redactor.redact(row.id);
    row.description = redactor.redact(row.description);
    row.last = redactor.redact(row.last);
    if (index == m_Entries.size()) {
      row.name = redactor.redact(row.name);
      included.push_back(std::move(row));
      continue;
    }
    matched[index] = true;
    const Entry& entry = m_Entries[index];
    row.name = lastComponent(entry.name);
    if (isLeftOut(entry)) {
      row.last = kLeftOut + leftOutReason(entry);
      section.omitted.push_back(std::move(row));
      continue;
    }
    if (entry.state == State::kText && entry.size != m_rIn.entries()[index].size) {
      row.last = bytesText(entry.size);
    }
    included.push_back(std::move(row));
  }
  section.included = std::move(included);
  for (SummaryRow& row : section.omitted) {
    row.id = redactor.redact(row.id);
    row.name = redactor.redact(row.name);
    row.description = redactor.redact(row.description);
    row.last = redactor.redact(row.last);
  }
  section.title = redactor.redact(section.title);
  for (std::string& note : section.notes) {
    note = redactor.redact(note);
  }
}

void BundleRedactor::makeReport() {
  std::string table;
  std::string left;
  for (const Entry& entry : m_Entries) {
    if (isLeftOut(entry)) {
      ++m_nLeftOut;
      left += "  " + oneLine(entry.name) + " (" + leftOutReason(entry) + ")\n";
      continue;
    }
    m_Counts.add(entry.counts);
    if (entry.counts.total() == 0) {
      continue;
    }
    table += "  " + oneLine(entry.name) + ":";
    for (std::size_t kind = 0; kind < kRedactKindCount; ++kind) {
      if (entry.counts.places[kind] != 0) {
        table += " " + std::string(kRedactKindNames[kind]) + " " + std::to_string(entry.counts.places[kind]);
      }
    }
    table += "\n";
  }
  m_strReport = kReportFront;
  m_strReport += table.empty() ? "Nothing was replaced.\n" : "Replaced, by file:\n" + table;
  if (!left.empty()) {
    m_strReport += "\nLeft out:\n" + left;
  }
}

std::string BundleRedactor::writeText(BundleWriter& writer, const BundleEntryInfo& like,
                                      const std::string& name, const std::string& text) {
  BundleEntryInfo information = like;
  information.name = name;
  information.size = text.size();
  information.crc = crcOf(text);
  std::string failure = writer.begin(information);
  if (failure.empty()) {
    failure = writer.write(text.data(), text.size());
  }
  return failure.empty() ? writer.end() : failure;
}

std::string BundleRedactor::writeBundle() {
  makeReport();
  // What was redacted before and holds nothing new stays as it is, its report too.
  const bool isNew = m_Counts.total() != 0 || m_nLeftOut != 0 || m_strOldReport.empty();
  if (!m_strOldReport.empty()) {
    m_strReport = isNew ? m_strOldReport.substr(0, kLongestReport) + "\n" + m_strReport : m_strOldReport;
  }
  BundleWriter writer;
  if (std::string failure = writer.open(m_rOptions.outPath, m_rOptions.password); !failure.empty()) {
    return failure;
  }
  const BundleEntryInfo* last = nullptr;
  for (std::size_t i = 0; i < m_Entries.size(); ++i) {
    if (isLeftOut(m_Entries[i])) {
      continue;
    }
    if (std::string failure = writeEntry(writer, i); !failure.empty()) {
      return failure;
    }
    last = &m_rIn.entries()[i];
  }
  if (m_strOldReport.empty()) {
    const BundleEntryInfo like = last != nullptr ? *last : BundleEntryInfo{};
    if (std::string failure = writeText(writer, like, kRedactionEntry, m_strReport); !failure.empty()) {
      return failure;
    }
  }
  return writer.finish();
}

std::string BundleRedactor::writeEntry(BundleWriter& writer, std::size_t index) {
  const Entry& entry = m_Entries[index];
  const BundleEntryInfo& old = m_rIn.entries()[index];
  switch (entry.state) {
    case State::kSummary:
      return writeText(writer, old, entry.name, m_strSummary);
    case State::kReport:
      return writeText(writer, old, entry.name, m_strReport);
    case State::kFolder:
      return writeText(writer, old, entry.name, {});
    case State::kBinary: {
      EntryReader reader(m_rIn);
      return writer.copy(m_rIn, reader, index, entry.name);
    }
    default:
      break;
  }
  BundleEntryInfo information = old;
  information.name = entry.name;
  information.size = entry.size;
  information.crc = entry.crc;
  information.packedSize = entry.packedSize;
  information.deflated = true;
  if (std::string failure = writer.beginPacked(information); !failure.empty()) {
    return failure;
  }
  std::vector<char> block(kBlock);
  std::uint64_t done = 0;
  while (done < entry.packedSize) {
    const std::size_t wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(block.size(), entry.packedSize - done));
    const ssize_t got =
        pread(m_Spools[entry.spool].file, block.data(), wanted, static_cast<off_t>(entry.offset + done));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return "what was packed can't be read again" +
             (got < 0 ? std::string(": ") + std::strerror(errno) : "");
    }
    if (std::string failure = writer.write(block.data(), static_cast<std::size_t>(got)); !failure.empty()) {
      return failure;
    }
    done += static_cast<std::uint64_t>(got);
  }
  return writer.endPacked(information);
}

}  // namespace halvo
