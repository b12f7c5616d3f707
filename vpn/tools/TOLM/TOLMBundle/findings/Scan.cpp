#include "vpn/tools/TOLM/TOLMBundle/findings/Scan.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/LineReader.h"
#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestEvidence = 400;
constexpr std::size_t kMostNumbers = 1000;
constexpr std::int64_t kSetMemory = std::int64_t{8} << 20U;
// Each may take kSetMemory.
constexpr std::size_t kMostSets = 16;

void add(Hits& hits, const Hit& hit) {
  ++hits.count;
  if (hits.first.size() < kMostEvidence) {
    hits.first.push_back(hit);
  }
}

// The front of the line, or what begins a little ahead of a match that ends further behind.
std::string evidenceText(std::string_view line, std::size_t start, std::size_t end, bool isContinued) {
  constexpr std::size_t kAhead = 100;
  std::size_t from = end > kLongestEvidence && start > kAhead ? start - kAhead : 0;
  // Half of a character would be no text.
  while (from > 0 && from < start && (static_cast<unsigned char>(line[from]) & 0xc0U) == 0x80) {
    ++from;
  }
  return (from > 0 || isContinued ? "..." : "") + std::string(line.substr(from, kLongestEvidence));
}

double capturedNumber(const std::string& text) {
  return leadingNumber(text).value_or(std::nan(""));
}

}  // namespace

bool compares(double left, Relation relation, double right) {
  if (std::isnan(left) || std::isnan(right)) {
    return false;
  }
  switch (relation) {
    case Relation::kBelow:
      return left < right;
    case Relation::kAbove:
      return left > right;
    case Relation::kEquals:
      return !(left < right) && !(left > right);
    case Relation::kDiffers:
      return left < right || left > right;
  }
  return false;
}

Scan::Scan(const BundleContent& content, const RuleSet& rules)
    : m_rContent(content),
      m_rRules(rules),
      m_Entry(content.reader()),
      m_Results(rules.probes().size()),
      m_Now(content.madeAt()),
      m_Unread(content.unread()),
      m_ReadToEnd(content.files().size(), true),
      m_WatchesOfProbe(rules.probes().size()),
      m_KeepsNumbers(rules.probes().size(), false) {
  for (const Rule& rule : rules.rules()) {
    watch(rule.condition);
  }
  for (std::size_t i = 0; i < content.files().size(); ++i) {
    scanFile(i);
  }
}

void Scan::watch(const Condition& condition) {
  for (const Condition& child : condition.children) {
    watch(child);
  }
  if (condition.otherProbe >= 0) {
    m_KeepsNumbers[static_cast<std::size_t>(condition.probe)] = true;
    m_KeepsNumbers[static_cast<std::size_t>(condition.otherProbe)] = true;
  } else if (condition.kind == ConditionKind::kNumber || condition.kind == ConditionKind::kTime) {
    m_WatchOf.emplace(&condition, m_Watches.size());
    m_WatchesOfProbe[static_cast<std::size_t>(condition.probe)].push_back(m_Watches.size());
    m_Watches.push_back({&condition, {}});
  }
}

const Hits& Scan::held(const Condition& condition) const {
  return m_Watches[m_WatchOf.at(&condition)].held;
}

bool Scan::sawAll(const FileSelector& selector) const {
  const bool knowsFiles = m_rContent.fault().empty() || m_rContent.reader().damage().empty();
  const bool knowsItems = m_rContent.fault().empty() || selector.items.empty();
  if (!knowsFiles || !knowsItems ||
      std::any_of(m_rContent.missing().begin(), m_rContent.missing().end(), [&](const MissingFile& missing) {
        // What redaction left out was there on the machine.
        return (missing.listed || missing.reason.starts_with(kLeftOut)) &&
               selector.fits(missing.id, lastComponent(missing.name));
      })) {
    return false;
  }
  for (std::size_t i = 0; i < m_ReadToEnd.size(); ++i) {
    const BundledFile& file = m_rContent.files()[i];
    if (!m_ReadToEnd[i] && selector.fits(file.id, file.name)) {
      return false;
    }
  }
  return true;
}

void Scan::compile(PatternGroup group, Patterns& patterns) const {
  RE2::Options options;
  options.set_encoding(RE2::Options::EncodingLatin1);
  options.set_log_errors(false);
  options.set_max_mem(kSetMemory);
  group.set = std::make_unique<RE2::Set>(options, RE2::UNANCHORED);
  for (const std::size_t probe : group.probes) {
    group.set->Add(m_rRules.probes()[probe].pattern->pattern(), nullptr);
  }
  const bool good = group.set->Compile();
  if (!good) {
    group.set = nullptr;
  }
  patterns.groups.push_back(std::move(group));
  if (!good) {
    split(patterns, patterns.groups.size() - 1);
  }
}

// In two halves, of which each has the memory of the whole; without an automaton where there are too many
// already.
void Scan::split(Patterns& patterns, std::size_t group) const {
  const std::vector<std::size_t> probes = patterns.groups[group].probes;
  if (probes.size() < 2 || patterns.groups.size() >= kMostSets) {
    patterns.groups[group].set = nullptr;
    return;
  }
  patterns.groups.erase(patterns.groups.begin() + static_cast<std::ptrdiff_t>(group));
  const auto middle = probes.begin() + static_cast<std::ptrdiff_t>(probes.size() / 2);
  compile({{probes.begin(), middle}, nullptr}, patterns);
  compile({{middle, probes.end()}, nullptr}, patterns);
}

Scan::Patterns& Scan::patternsOf(const std::vector<std::size_t>& probes) {
  std::unique_ptr<Patterns>& known = m_Patterns[probes];
  if (known == nullptr) {
    known = std::make_unique<Patterns>();
    PatternGroup all;
    std::copy_if(probes.begin(), probes.end(), std::back_inserter(all.probes),
                 [this](std::size_t probe) { return m_rRules.probes()[probe].pattern != nullptr; });
    if (!all.probes.empty()) {
      compile(std::move(all), *known);
    }
  }
  return *known;
}

void Scan::scanFile(std::size_t index) {
  const BundledFile& file = m_rContent.files()[index];
  std::vector<std::size_t> probes;
  bool wantsTimes = false;
  for (std::size_t i = 0; i < m_rRules.probes().size(); ++i) {
    const Probe& probe = m_rRules.probes()[i];
    if (probe.selector.fits(file.id, file.name)) {
      probes.push_back(i);
      wantsTimes = wantsTimes || probe.pattern == nullptr;
    }
  }
  if (m_rContent.isShared(file.entry)) {
    // Several rows of the summary name it: what was looked for at an earlier one isn't counted again.
    std::vector<std::size_t>& scanned = m_Scanned[file.entry];
    std::erase_if(probes, [&scanned](std::size_t probe) {
      return std::find(scanned.begin(), scanned.end(), probe) != scanned.end();
    });
    scanned.insert(scanned.end(), probes.begin(), probes.end());
  }
  if (probes.empty()) {
    m_ReadToEnd[index] = m_rContent.entry(file).fault.empty() && !m_FailedEntries.contains(file.entry);
    return;
  }
  if (m_Entry.open(file.entry).empty()) {
    scanLines(index, probes, wantsTimes);
  }
  if (!m_Entry.cause().empty()) {
    noteUnread(index, m_Entry.cause());
  }
}

void Scan::noteUnread(std::size_t index, const std::string& why) {
  const BundledFile& file = m_rContent.files()[index];
  m_ReadToEnd[index] = false;
  // What the table of contents tells is told already, and two rows of the summary may stand for one entry.
  if (m_rContent.entry(file).fault.empty() && m_FailedEntries.insert(file.entry).second) {
    m_Unread.push_back({m_rContent.placeOf(file), why});
  }
}

void Scan::scanLines(std::size_t index, const std::vector<std::size_t>& probes, bool wantsTimes) {
  LineReader lines(m_Entry);
  const TextKind kind = lines.kind();
  if (kind == TextKind::kUtf16) {
    noteUnread(index, "it is UTF-16, whose lines aren't looked at");
  }
  if (kind != TextKind::kText) {
    return;
  }
  for (const std::size_t probe : probes) {
    m_Results[probe].anyFile = true;
  }
  Patterns& patterns = patternsOf(probes);
  LinePart line;
  line.file = index;
  while (lines.next(line.text)) {
    line.isContinued = lines.isContinued();
    line.isCut = lines.isCut();
    line.number += line.isContinued ? 0 : 1;
    matchLine(patterns, line);
    if (wantsTimes && !line.isContinued) {
      noteTime(probes, line.text);
    }
  }
}

void Scan::matchLine(Patterns& patterns, const LinePart& line) {
  if (!line.isContinued) {
    m_TookLine.clear();
  }
  for (std::size_t i = 0; i < patterns.groups.size();) {
    if (matchGroup(patterns.groups[i], line)) {
      ++i;
    } else {
      // What takes its place is looked at in its turn.
      split(patterns, i);
    }
  }
}

// False where the automaton takes too much memory: nothing was looked at then.
bool Scan::matchGroup(const PatternGroup& group, const LinePart& line) {
  if (group.set == nullptr) {
    for (const std::size_t probe : group.probes) {
      takeMatch(probe, line);
    }
    return true;
  }
  m_Matches.clear();
  RE2::Set::ErrorInfo error = {};
  if (!group.set->Match(re2::StringPiece(line.text.data(), line.text.size()), &m_Matches, &error)) {
    return error.kind == RE2::Set::kNoError;
  }
  for (const int match : m_Matches) {
    takeMatch(group.probes[static_cast<std::size_t>(match)], line);
  }
  return true;
}

void Scan::takeMatch(std::size_t probe, const LinePart& line) {
  const RE2& pattern = *m_rRules.probes()[probe].pattern;
  const int groups = std::min(pattern.NumberOfCapturingGroups(), kMostCaptures);
  std::array<re2::StringPiece, kMostCaptures + 1> found;
  // The byte beyond tells the pattern that a cut is neither the line's front nor its end.
  const re2::StringPiece text(line.text.data(), line.text.size());
  const std::size_t from = line.isContinued ? 1 : 0;
  const std::size_t to = text.size() - (line.isCut ? 1 : 0);
  if (m_TookLine.count(probe) != 0 ||
      !pattern.Match(text, from, to, RE2::UNANCHORED, found.data(), groups + 1)) {
    return;
  }
  const auto start = static_cast<std::size_t>(found[0].data() - text.data());
  if (line.isCut || line.isContinued) {
    // It may go on behind the cut, and is whole in the next part.
    if (line.isCut && start + found[0].size() == to && start + LineReader::kOverlap > text.size()) {
      return;
    }
    m_TookLine.insert(probe);
  }
  ProbeResult& result = m_Results[probe];
  const bool isCompared = groups > 0 && (m_KeepsNumbers[probe] || !m_WatchesOfProbe[probe].empty());
  if (!isCompared && result.hits.first.size() >= kMostEvidence) {
    ++result.hits.count;
    return;
  }
  Hit hit;
  hit.evidence = {line.file, line.number,
                  evidenceText(line.text, start, start + found[0].size(), line.isContinued)};
  for (int i = 1; i <= groups; ++i) {
    const re2::StringPiece& capture = found[static_cast<std::size_t>(i)];
    hit.captures.emplace_back(capture.data() == nullptr ? "" : capture.data(),
                              std::min(capture.size(), kLongestEvidence));
  }
  add(result.hits, hit);
  if (!isCompared) {
    return;
  }
  // The first group that took part: a pattern may have others for other forms of the line.
  const auto* const took =
      std::find_if(found.begin() + 1, found.begin() + groups,
                   [](const re2::StringPiece& group) { return group.data() != nullptr; });
  const std::string& compared = hit.captures[static_cast<std::size_t>(took - found.begin() - 1)];
  for (const std::size_t index : m_WatchesOfProbe[probe]) {
    if (holdsFor(*m_Watches[index].condition, compared)) {
      add(m_Watches[index].held, hit);
    }
  }
  if (m_KeepsNumbers[probe]) {
    takeNumber(probe, capturedNumber(compared), hit);
  }
}

void Scan::takeNumber(std::size_t probe, double value, const Hit& hit) {
  if (std::isnan(value)) {
    return;
  }
  SeenNumbers& numbers = m_Results[probe].numbers;
  if (!numbers.lowest || value < numbers.lowest->first) {
    numbers.lowest = {value, hit};
  }
  if (!numbers.highest || value > numbers.highest->first) {
    numbers.highest = {value, hit};
  }
  const auto known = numbers.values.find(value);
  if (known != numbers.values.end()) {
    ++known->second.count;
  } else if (numbers.values.size() < kMostNumbers) {
    numbers.values[value] = {1, hit};
  } else {
    numbers.more = true;
  }
}

bool Scan::holdsFor(const Condition& condition, const std::string& capture) const {
  if (condition.kind == ConditionKind::kNumber) {
    return compares(capturedNumber(capture), condition.comparison, condition.value);
  }
  LogTime time;
  if (!m_Now || !findLogTime(capture, time)) {
    return false;
  }
  const std::optional<std::int64_t> seconds = secondsOf(time, *m_Now);
  // By more than the margin, in either direction.
  const double margin = condition.comparison == Relation::kAbove ? condition.value : -condition.value;
  return seconds &&
         compares(static_cast<double>(*seconds), condition.comparison, static_cast<double>(*m_Now) + margin);
}

void Scan::noteTime(const std::vector<std::size_t>& probes, std::string_view line) {
  LogTime time;
  // Without the bundle's own time none of a log can be told for old.
  if (!m_Now || !findLogTime(line, time)) {
    return;
  }
  const std::optional<std::int64_t> seconds = secondsOf(time, *m_Now);
  // What lies ahead is what a line talks of. A day is for zones, and for clocks that differ.
  if (!seconds || *seconds > *m_Now + kSecondsOfDay) {
    return;
  }
  for (const std::size_t probe : probes) {
    ProbeResult& result = m_Results[probe];
    result.newest = std::max(result.newest.value_or(*seconds), *seconds);
  }
}

}  // namespace halvo
