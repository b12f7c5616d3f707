#include "vpn/tools/TOLM/TOLMBundle/SummaryEntry.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace halvo {

namespace {

constexpr std::size_t kLast = kSummaryColumns - 1;
constexpr std::size_t kName = 1;
constexpr char kNoName[] = "N/A";

// How the engine's reasons begin. The others begin with a path, and one of those ends in words of its own.
constexpr std::string_view kNoMatch = "No file found with path matching:";
constexpr std::string_view kNotRun = "Failed to execute";
constexpr std::string_view kNoOutput = "TOLM cannot access temporary output at:";
constexpr std::string_view kTooLarge = "See note *1; File/whole truncate type";
constexpr std::string_view kInternal = "Internal error";
constexpr std::string_view kNoComments = "Internal error: can't write comments at";
constexpr std::string_view kRedacted = "Left out by redaction:";
// Of failures to run or to write, what any of them begins with.
constexpr std::array<std::string_view, 6> kStarts = {kNoMatch,  "Failed to ", kNoOutput,
                                                     kTooLarge, "Internal ",  kRedacted};

// How a reason goes on behind a path; no reason begins so, and a blank stands ahead of each.
constexpr std::string_view kNotFound = "not found on client machine.";
constexpr std::string_view kByConfig = "as specified by Config";
constexpr std::array<std::string_view, 5> kBehindPaths = {
    kNotFound, kByConfig, "File not found", "Error occurred opening the file", "Unexpected error occurred"};
constexpr std::string_view kThisSize = "this file is ";
// The end of a reason in which its last words are looked for.
constexpr std::size_t kLookBack = 64;

bool beginsReason(const std::string& line) {
  return std::any_of(kStarts.begin(), kStarts.end(),
                     [&line](std::string_view start) { return line.starts_with(start); });
}

bool goesOnBehindPath(const std::string& line) {
  return std::any_of(kBehindPaths.begin(), kBehindPaths.end(),
                     [&line](std::string_view words) {
                       return line.starts_with(words) &&
                              (line.size() == words.size() || line.substr(words.size()).starts_with(": ") ||
                               line[words.size()] == ' ');
                     }) &&
         // The end of a name that was cut.
         !(line.starts_with("File ") && line.ends_with(kNotFound));
}

// Whether the text ends with the first words of such an end and the line has the rest.
bool completesNotFound(const std::string& text, const std::string& line) {
  if (!kNotFound.ends_with(line) || line.size() > kNotFound.size()) {
    return false;
  }
  std::string_view front = kNotFound.substr(0, kNotFound.size() - line.size());
  if (!front.empty() && front.back() != ' ') {
    return false;
  }
  front = front.substr(0, front.find_last_not_of(' ') + 1);
  return text.ends_with(front);
}

// A size as the engine writes it: "512 bytes", "1.50K".
bool endsWithSize(const std::string& text) {
  const std::size_t from = text.size() - std::min(text.size(), kLookBack);
  const std::size_t at = text.find(kThisSize, from);
  if (at == std::string::npos || at + kThisSize.size() == text.size()) {
    return false;
  }
  const char last = text.back();
  return (last >= 'A' && last <= 'Z') || text.ends_with("bytes");
}

// A line that was cut in the middle of a word has one byte less than the column and no white space.
bool isHardCut(const std::string& line, std::size_t width) {
  return line.size() == width - 1 && std::none_of(line.begin(), line.end(), isSummaryBlank);
}

// The first word of a line and the place where it ends.
std::size_t firstWord(const std::string& line) {
  return static_cast<std::size_t>(std::find_if(line.begin(), line.end(), isSummaryBlank) - line.begin());
}

}  // namespace

// The word that begins the line behind the last one of its cell hadn't fitted there.
bool SummaryEntry::mayFollow(const SummaryCells& cells, std::size_t column) const {
  const std::string& line = m_LastLines[column];
  const std::string& next = cells[column];
  const std::size_t width = m_rWidths[column];
  return next.empty() ||
         (!line.empty() && (isHardCut(line, width) || line.size() + 1 + firstWord(next) >= width));
}

bool SummaryEntry::endsWithin(std::size_t column) const {
  return !isHardCut(m_LastLines[column], m_rWidths[column]);
}

SummaryEntry::Reason SummaryEntry::reasonSoFar() const {
  const std::string& text = m_Texts[kLast];
  if (text.ends_with(kNotFound) || text == kInternal) {
    return Reason::kWhole;
  }
  if (text == kNoMatch || text == kNotRun || text == kNoComments || text == kRedacted) {
    return Reason::kOpen;
  }
  if (text.starts_with(kNoOutput)) {
    return m_bConfigTold ? Reason::kMayEnd : Reason::kOpen;
  }
  if (text.starts_with(kTooLarge)) {
    return endsWithSize(text) ? Reason::kWhole : Reason::kOpen;
  }
  if (text.starts_with(kInternal)) {
    return text.starts_with(kNoComments) ? Reason::kMayEnd : Reason::kOpen;
  }
  if (text.starts_with('/') || text.starts_with(kNotRun) || text.starts_with(kNoMatch) ||
      text.starts_with(kRedacted)) {
    return Reason::kMayEnd;
  }
  if (!beginsReason(text)) {
    return Reason::kUnknown;
  }
  return text.size() < kLookBack && text.find('/') == std::string::npos ? Reason::kOpen : Reason::kMayEnd;
}

bool SummaryEntry::takesReason(const SummaryCells& cells) const {
  const std::string& line = cells[kLast];
  const Reason reason = reasonSoFar();
  if (beginsReason(line) || reason == Reason::kWhole) {
    return false;
  }
  if (reason == Reason::kOpen || goesOnBehindPath(line) || completesNotFound(m_Texts[kLast], line)) {
    return true;
  }
  // The first row of an entry has an id.
  if (cells[0].empty() && reason == Reason::kMayEnd) {
    return true;
  }
  // No name goes on so, and this one is whole.
  if (cells[kName] == kNoName || (m_Texts[kName] == kNoName && !cells[kName].empty())) {
    return false;
  }
  if (reason == Reason::kMayEnd) {
    if (line.starts_with('/')) {
      // Another's path, but where a word was cut just there.
      if (endsWithin(kLast) || (endsWithin(0) && !cells[0].empty())) {
        return false;
      }
    } else if (mayFollow(cells, kLast) && !line.ends_with(kNotFound)) {
      return true;
    }
  }
  for (std::size_t i = 0; i < kSummaryColumns; ++i) {
    if (!mayFollow(cells, i)) {
      return false;
    }
  }
  return true;
}

bool SummaryEntry::takes(const SummaryCells& cells, bool sizeTells) const {
  if (isEmpty()) {
    return true;
  }
  // A size never wraps and is never empty, and a reason isn't either: the first row of an entry has it.
  if (sizeTells || cells[kLast].empty()) {
    return cells[kLast].empty();
  }
  for (std::size_t i = 0; i < kSummaryColumns; ++i) {
    // A cell that has come to its end doesn't go on.
    if (m_LastLines[i].empty() && !cells[i].empty()) {
      return false;
    }
  }
  if (cells[0] == m_FirstId && !cells[0].empty() && !cells[kName].empty() && reasonSoFar() != Reason::kOpen) {
    // Items of one id stand together.
    return false;
  }
  return takesReason(cells);
}

void SummaryEntry::add(const SummaryCells& cells) {
  for (std::size_t i = 0; i < kSummaryColumns; ++i) {
    const bool isFurther = m_nRows > 0 && !cells[i].empty();
    const bool joins =
        isFurther && isHardCut(m_LastLines[i], m_rWidths[i]) && (i != kLast || !goesOnBehindPath(cells[i]));
    m_Texts[i] += isFurther && !joins ? " " : "";
    if (isFurther) {
      m_JoinedAt[i] = joins ? m_Texts[i].size() : std::string::npos;
    }
    m_Texts[i] += cells[i];
  }
  if (m_nRows == 0) {
    m_FirstId = cells[0];
    m_NameKey = cells[kName];
  } else if (!cells[kName].empty()) {
    m_NameKey += "\n" + cells[kName];
  }
  const std::string& reason = m_Texts[kLast];
  const std::size_t look = std::min(reason.size(), cells[kLast].size() + kByConfig.size() + 1);
  m_bConfigTold = m_bConfigTold || reason.find(kByConfig, reason.size() - look) != std::string::npos;
  m_LastLines = cells;
  ++m_nRows;
}

void SummaryEntry::moveTo(std::vector<SummaryRow>& rows) {
  if (!isEmpty()) {
    partSingleBytes();
    rows.push_back({withPlainAmpersands(m_Texts[0]), std::move(m_Texts[1]), std::move(m_NameKey),
                    std::move(m_Texts[2]), std::move(m_Texts[3])});
  }
  clear();
}

void SummaryEntry::clear() {
  m_Texts = {};
  m_JoinedAt.fill(std::string::npos);
  m_LastLines = {};
  m_FirstId.clear();
  m_NameKey.clear();
  m_bConfigTold = false;
  m_nRows = 0;
}

// What is a byte longer than such a cut fits its column and isn't cut: there was white space ahead of it.
void SummaryEntry::partSingleBytes() {
  for (std::size_t i = 0; i < kSummaryColumns; ++i) {
    if (m_JoinedAt[i] != std::string::npos && m_Texts[i].size() - m_JoinedAt[i] == 1) {
      m_Texts[i].insert(m_JoinedAt[i], " ");
    }
  }
}

}  // namespace halvo
