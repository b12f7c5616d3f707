#include "vpn/tools/TOLM/TOLMBundle/redact/SummaryText.h"

#include <array>
#include <vector>

namespace halvo {

namespace {

constexpr std::size_t kColumns = 4;
using Widths = std::array<std::size_t, kColumns>;
using Cells = std::array<std::string, kColumns>;
constexpr Widths kIncluded = {17, kSummaryNameWidth, 40, 10};
constexpr Widths kOmitted = {17, kSummaryNameWidth, 40, 50};
constexpr std::size_t kIncludedRule = 101;
constexpr std::size_t kOmittedRule = 141;
constexpr std::size_t kFailedRule = 100;
constexpr std::size_t kLabel = 30;

std::string padded(const std::string& text, std::size_t width) {
  return text.size() < width ? text + std::string(width - text.size(), ' ') : text.substr(0, width);
}

std::vector<std::string> linesOf(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  const std::string key = wrappedKey(text, width);
  for (std::size_t at = 0; at < key.size();) {
    const std::size_t end = std::min(key.find('\n', at), key.size());
    lines.push_back(key.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

void appendRow(const Cells& cells, const Widths& widths, std::string& text) {
  std::array<std::vector<std::string>, kColumns> lines;
  std::size_t rows = 1;
  for (std::size_t i = 0; i < kColumns; ++i) {
    lines[i] = linesOf(cells[i], widths[i]);
    rows = std::max(rows, lines[i].size());
  }
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t i = 0; i < kColumns; ++i) {
      text += (i > 0 ? "  " : "") + padded(row < lines[i].size() ? lines[i][row] : "", widths[i]);
    }
    text += '\n';
  }
}

void appendTable(const std::vector<SummaryRow>& rows, const Widths& widths, std::size_t rule,
                 const char* last, std::string& text) {
  appendRow({"ID", "Filename", "Description", last}, widths, text);
  text += std::string(rule, '-') + "\n";
  for (const SummaryRow& row : rows) {
    appendRow({withAmpersandReferences(row.id), row.name, row.description, row.last}, widths, text);
  }
  text += std::string(rule, '-') + "\n";
}

}  // namespace

std::string summaryText(const Summary& summary) {
  std::string text = "TOLM BUNDLE SUMMARY\n\n";
  text += padded("Time:", kLabel) + summary.time + "\n" + padded("OS:", kLabel) + summary.os + "\n";
  text += padded("User Name:", kLabel) + summary.user + "\n";
  text += padded("Bundle on client computer:", kLabel) + summary.bundlePath + "\n";
  for (const SummarySection& section : summary.sections) {
    text += "\n" + std::string(kOmittedRule, '=') + "\n" + section.title + ":\n\nFiles Included in Bundle:\n";
    appendTable(section.included, kIncluded, kIncludedRule, "File Size", text);
    if (!section.omitted.empty()) {
      text += "\n\nFiles Omitted from Bundle:\n";
      appendTable(section.omitted, kOmitted, kOmittedRule, "Reason Omitted", text);
    }
    if (!section.notes.empty()) {
      text += "\n\nNotes:\n";
      for (const std::string& note : section.notes) {
        const bool namesItem = note.starts_with(kNotDefaultStart) || note.starts_with(kDuplicateStart);
        text += " - " + (namesItem ? withAmpersandReferences(note) : note) + "\n";
      }
    }
  }
  if (!summary.failedDocuments.empty()) {
    text += "\n" + std::string(kFailedRule, '=') +
            "\nTOLMEngine failed to parse or use the following configuration files:\n";
    for (const std::string& document : summary.failedDocuments) {
      text += document + "\n";
    }
  }
  // An engine's summary ends with this heading where it has nothing to list, and has none where it has.
  if (summary.hasUnknownHeading) {
    text += "\n\nNo instruction found in any config for the following file ID's from request:\n";
    for (const std::string& id : summary.unknownIds) {
      text += withAmpersandReferences(id) + "\n";
    }
  }
  return text;
}

}  // namespace halvo
