#include "vpn/tools/TOLM/TOLMBundle/findings/Findings.h"

#include <re2/set.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/LineReader.h"
#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

namespace halvo {

namespace {

constexpr std::size_t kMostEvidence = 5;
constexpr std::size_t kLongestEvidence = 400;
constexpr std::size_t kMostNumbers = 1000;
constexpr int kMostCaptures = 3;
constexpr std::int64_t kSetMemory = std::int64_t{8} << 20U;

// One line that a probe found.
struct Hit {
  Evidence evidence;
  std::vector<std::string> captures;
};

// What a probe found in all its files.
struct Result {
  bool anyFile = false;
  std::uint64_t count = 0;
  std::vector<Hit> hits;
  std::vector<double> numbers;         // of the first capture, and the hit's index beside it
  std::vector<Hit> numberHits;         // the lines that the numbers come from
  std::optional<std::int64_t> newest;  // of the lines' times, in seconds
};

class Scan {
 public:
  Scan(const BundleContent& content, const RuleSet& rules)
      : m_rContent(content),
        m_rRules(rules),
        m_Entry(content.reader()),
        m_Results(rules.probes().size()),
        m_Now(content.madeAt()),
        m_Unread(content.unread()),
        m_ReadToEnd(content.files().size(), true) {
    for (std::size_t i = 0; i < content.files().size(); ++i) {
      scanFile(i);
    }
  }

  [[nodiscard]] const Result& result(int probe) const { return m_Results[static_cast<std::size_t>(probe)]; }
  [[nodiscard]] std::optional<std::int64_t> now() const { return m_Now; }
  [[nodiscard]] const std::vector<UnreadPart>& unread() const { return m_Unread; }

  [[nodiscard]] bool sawAll(int probe) const {
    return sawAll(m_rRules.probes()[static_cast<std::size_t>(probe)].selector);
  }
  // Whether all that the selector fits was looked at, as far as can be known.
  [[nodiscard]] bool sawAll(const FileSelector& selector) const {
    const bool knowsFiles = m_rContent.fault().empty() || m_rContent.reader().damage().empty();
    const bool knowsItems = m_rContent.fault().empty() || selector.items.empty();
    if (!knowsFiles || !knowsItems ||
        std::any_of(m_rContent.missing().begin(), m_rContent.missing().end(),
                    [&](const MissingFile& missing) {
                      return missing.listed && selector.fits(missing.id, missing.name);
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

 private:
  // The probes of a file that have patterns, as one automaton. Files of one item mostly have the same.
  struct Patterns {
    std::vector<std::size_t> probes;
    std::unique_ptr<RE2::Set> set;
  };

  const Patterns& patternsOf(const std::vector<std::size_t>& probes) {
    std::unique_ptr<Patterns>& known = m_Patterns[probes];
    if (known == nullptr) {
      known = std::make_unique<Patterns>();
      RE2::Options options;
      options.set_encoding(RE2::Options::EncodingLatin1);
      options.set_log_errors(false);
      options.set_max_mem(kSetMemory);
      known->set = std::make_unique<RE2::Set>(options, RE2::UNANCHORED);
      for (const std::size_t probe : probes) {
        if (m_rRules.probes()[probe].pattern != nullptr) {
          known->set->Add(m_rRules.probes()[probe].pattern->pattern(), nullptr);
          known->probes.push_back(probe);
        }
      }
      if (known->probes.empty() || !known->set->Compile()) {
        known->set = nullptr;
      }
    }
    return *known;
  }

  void scanFile(std::size_t index) {
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
      for (const std::size_t probe : probes) {
        m_Results[probe].anyFile = true;
      }
      scanLines(index, probes, wantsTimes);
    }
    noteFailure(index);
  }

  // Those that the table of contents tells are among the unread ones already.
  void noteFailure(std::size_t index) {
    const BundledFile& file = m_rContent.files()[index];
    m_ReadToEnd[index] = m_Entry.cause().empty();
    // Two rows of the summary may stand for one entry.
    if (!m_ReadToEnd[index] && m_rContent.entry(file).fault.empty() &&
        m_FailedEntries.insert(file.entry).second) {
      m_Unread.push_back({m_rContent.placeOf(file), m_Entry.cause()});
    }
  }

  void scanLines(std::size_t index, const std::vector<std::size_t>& probes, bool wantsTimes) {
    const Patterns& patterns = patternsOf(probes);
    LineReader lines(m_Entry);
    std::string_view line;
    std::uint64_t number = 0;
    while (lines.next(line)) {
      // No text from here on. What was found ahead of it counts.
      if (lines.sawZero()) {
        return;
      }
      number += lines.isContinued() ? 0 : 1;
      matchLine(patterns, index, number, line);
      if (wantsTimes) {
        noteTime(probes, line);
      }
    }
  }

  void matchLine(const Patterns& patterns, std::size_t file, std::uint64_t number, std::string_view line) {
    if (patterns.probes.empty()) {
      return;
    }
    const re2::StringPiece piece(line.data(), line.size());
    m_Matches.clear();
    RE2::Set::ErrorInfo error = {};
    if (patterns.set != nullptr && !patterns.set->Match(piece, &m_Matches, &error) &&
        error.kind == RE2::Set::kNoError) {
      return;
    }
    if (patterns.set == nullptr || error.kind != RE2::Set::kNoError) {
      // The automaton of all took too much memory: one after the other then.
      m_Matches.clear();
      for (std::size_t i = 0; i < patterns.probes.size(); ++i) {
        m_Matches.push_back(static_cast<int>(i));
      }
    }
    for (const int match : m_Matches) {
      takeMatch(patterns.probes[static_cast<std::size_t>(match)], file, number, piece);
    }
  }

  void takeMatch(std::size_t probe, std::size_t file, std::uint64_t number, const re2::StringPiece& line) {
    const RE2& pattern = *m_rRules.probes()[probe].pattern;
    const int groups = std::min(pattern.NumberOfCapturingGroups(), kMostCaptures);
    std::array<re2::StringPiece, kMostCaptures + 1> found;
    if (!pattern.Match(line, 0, line.size(), RE2::UNANCHORED, found.data(), groups + 1)) {
      return;
    }
    Result& result = m_Results[probe];
    ++result.count;
    const bool keepHit = result.hits.size() < kMostEvidence;
    const bool keepNumber = groups > 0 && result.numbers.size() < kMostNumbers;
    if (!keepHit && !keepNumber) {
      return;
    }
    Hit hit;
    hit.evidence = {file, number, std::string(line.data(), std::min(line.size(), kLongestEvidence))};
    for (int i = 1; i <= groups; ++i) {
      const re2::StringPiece& capture = found[static_cast<std::size_t>(i)];
      hit.captures.emplace_back(capture.data() == nullptr ? "" : capture.data(),
                                std::min(capture.size(), kLongestEvidence));
    }
    if (keepNumber) {
      result.numbers.push_back(leadingNumber(hit.captures.front()).value_or(std::nan("")));
      result.numberHits.push_back(hit);
    }
    if (keepHit) {
      result.hits.push_back(std::move(hit));
    }
  }

  void noteTime(const std::vector<std::size_t>& probes, std::string_view line) {
    LogTime time;
    // Without the bundle's own time none of a log can be told for old.
    if (!m_Now || !findLogTime(line, time)) {
      return;
    }
    const std::optional<std::int64_t> seconds = secondsOf(time, *m_Now);
    if (!seconds) {
      return;
    }
    for (const std::size_t probe : probes) {
      Result& result = m_Results[probe];
      result.newest = std::max(result.newest.value_or(*seconds), *seconds);
    }
  }

  const BundleContent& m_rContent;
  const RuleSet& m_rRules;
  EntryReader m_Entry;
  std::vector<Result> m_Results;
  std::optional<std::int64_t> m_Now;
  std::vector<UnreadPart> m_Unread;
  std::vector<bool> m_ReadToEnd;  // of each of the content's files
  std::set<std::size_t> m_FailedEntries;
  std::map<std::size_t, std::vector<std::size_t>> m_Scanned;  // the probes of entries that rows share
  std::map<std::vector<std::size_t>, std::unique_ptr<Patterns>> m_Patterns;
  std::vector<int> m_Matches;
};

bool compare(double left, Relation comparison, double right) {
  if (std::isnan(left) || std::isnan(right)) {
    return false;
  }
  switch (comparison) {
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

// Whether a condition holds. Where its answer hangs on what couldn't be read, it is open.
enum class Answer { kNo, kOpen, kYes };

// Looks whether a rule's condition holds, and keeps the lines that speak for it.
class Judge {
 public:
  Judge(const BundleContent& content, const Scan& scan) : m_rContent(content), m_rScan(scan) {}

  Answer judge(const Condition& condition) {
    switch (condition.kind) {
      case ConditionKind::kAll:
        return judgeAll(condition.children);
      case ConditionKind::kAny:
        return judgeAny(condition.children);
      case ConditionKind::kNone: {
        // Of its own: the lines of what must not hold speak for nothing.
        const Answer any = Judge(m_rContent, m_rScan).judgeAny(condition.children);
        return any == Answer::kOpen ? any : any == Answer::kNo ? Answer::kYes : Answer::kNo;
      }
      default: {
        const bool held = holds(condition);
        return held != speaksOfAbsence(condition.kind) || sawAllFor(condition)
                   ? (held ? Answer::kYes : Answer::kNo)
                   : Answer::kOpen;
      }
    }
  }

  std::vector<Hit> hits;
  std::uint64_t count = 0;

 private:
  Answer judgeAll(const std::vector<Condition>& conditions) {
    Answer all = Answer::kYes;
    for (const Condition& condition : conditions) {
      all = std::min(all, judge(condition));
      if (all == Answer::kNo) {
        break;
      }
    }
    return all;
  }

  // All of them, for the lines of all that hold.
  Answer judgeAny(const std::vector<Condition>& conditions) {
    Answer any = Answer::kNo;
    for (const Condition& condition : conditions) {
      any = std::max(any, judge(condition));
    }
    return any;
  }

  // What holds because nothing else is seen: more that could be read might speak against it. Of the others it
  // might speak for them.
  static bool speaksOfAbsence(ConditionKind kind) {
    return kind == ConditionKind::kMissing || kind == ConditionKind::kNoLine || kind == ConditionKind::kAge;
  }

  [[nodiscard]] bool sawAllFor(const Condition& condition) const {
    if (condition.probe < 0) {
      return m_rScan.sawAll(condition.selector);
    }
    return m_rScan.sawAll(condition.probe) &&
           (condition.otherProbe < 0 || m_rScan.sawAll(condition.otherProbe));
  }

  bool holds(const Condition& condition) {
    switch (condition.kind) {
      case ConditionKind::kMissing:
        return !anyFile(condition.selector);
      case ConditionKind::kPresent:
        return anyFile(condition.selector);
      case ConditionKind::kSize:
        return sizeHolds(condition);
      case ConditionKind::kLine:
        return lineHolds(condition);
      case ConditionKind::kNoLine:
        // A file that isn't there tells nothing.
        return m_rScan.result(condition.probe).anyFile && m_rScan.result(condition.probe).count == 0;
      case ConditionKind::kNumber:
        return numberHolds(condition);
      case ConditionKind::kTime:
        return timeHolds(condition);
      case ConditionKind::kAge:
        return ageHolds(condition);
      default:
        return false;
    }
  }

  [[nodiscard]] bool anyFile(const FileSelector& selector) const {
    return std::any_of(m_rContent.files().begin(), m_rContent.files().end(), [&](const BundledFile& file) {
      return m_rContent.entry(file).fault.empty() && selector.fits(file.id, file.name);
    });
  }

  bool sizeHolds(const Condition& condition) {
    bool any = false;
    std::set<std::size_t> told;  // of the entries that rows share
    for (std::size_t i = 0; i < m_rContent.files().size(); ++i) {
      const BundledFile& file = m_rContent.files()[i];
      const std::uint64_t size = m_rContent.entry(file).size;
      if (condition.selector.fits(file.id, file.name) &&
          compare(static_cast<double>(size), condition.comparison, condition.value) &&
          (!m_rContent.isShared(file.entry) || told.insert(file.entry).second)) {
        Hit hit;
        hit.evidence = {i, 0, bytesText(size)};
        hit.captures.push_back(hit.evidence.text);
        take(hit);
        any = true;
      }
    }
    return any;
  }

  bool lineHolds(const Condition& condition) {
    const Result& result = m_rScan.result(condition.probe);
    for (const Hit& hit : result.hits) {
      take(hit);
    }
    count += result.count - result.hits.size();
    return result.count > 0;
  }

  bool numberHolds(const Condition& condition) {
    const Result& result = m_rScan.result(condition.probe);
    bool any = false;
    for (std::size_t i = 0; i < result.numbers.size(); ++i) {
      bool fits = false;
      if (condition.otherProbe < 0) {
        fits = compare(result.numbers[i], condition.comparison, condition.value);
      } else {
        for (const double other : m_rScan.result(condition.otherProbe).numbers) {
          fits = fits || compare(result.numbers[i], condition.comparison, other);
        }
      }
      if (fits) {
        take(result.numberHits[i]);
        any = true;
      }
    }
    return any;
  }

  bool timeHolds(const Condition& condition) {
    const Result& result = m_rScan.result(condition.probe);
    bool any = false;
    for (const Hit& hit : result.numberHits) {
      LogTime time;
      if (!m_rScan.now() || !findLogTime(hit.captures.front(), time) || time.month == 0) {
        continue;
      }
      const std::optional<std::int64_t> seconds = secondsOf(time, *m_rScan.now());
      // By more than the margin, in either direction.
      const double margin = condition.comparison == Relation::kAbove ? condition.value : -condition.value;
      if (seconds && compare(static_cast<double>(*seconds), condition.comparison,
                             static_cast<double>(*m_rScan.now()) + margin)) {
        take(hit);
        any = true;
      }
    }
    return any;
  }

  [[nodiscard]] bool ageHolds(const Condition& condition) const {
    const Result& result = m_rScan.result(condition.probe);
    return m_rScan.now() && result.newest &&
           compare(static_cast<double>(*m_rScan.now() - *result.newest), condition.comparison,
                   condition.value);
  }

  void take(const Hit& hit) {
    ++count;
    if (hits.size() < kMostEvidence) {
      hits.push_back(hit);
    }
  }

  const BundleContent& m_rContent;
  const Scan& m_rScan;
};

// "{1}" is the first capture of the first line.
std::string filledIn(const std::string& text, const std::vector<Hit>& hits) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool mark = text[i] == '{' && i + 2 < text.size() && text[i + 1] >= '1' &&
                      text[i + 1] <= '0' + kMostCaptures && text[i + 2] == '}';
    if (!mark) {
      result += text[i];
      continue;
    }
    const auto number = static_cast<std::size_t>(text[i + 1] - '1');
    result += !hits.empty() && number < hits.front().captures.size() ? hits.front().captures[number] : "?";
    i += 2;
  }
  return result;
}

}  // namespace

Findings findProblems(const BundleContent& content, const RuleSet& rules) {
  const Scan scan(content, rules);
  Findings findings;
  findings.unread = scan.unread();
  findings.rules = rules.rules().size();
  for (const Rule& rule : rules.rules()) {
    Judge judge(content, scan);
    const Answer answer = judge.judge(rule.condition);
    if (answer == Answer::kOpen) {
      findings.undecided.push_back(rule.id);
    }
    if (answer != Answer::kYes) {
      continue;
    }
    KnownProblem finding{
        rule.id, rule.severity, filledIn(rule.title, judge.hits), filledIn(rule.advice, judge.hits),
        {},      judge.count};
    for (const Hit& hit : judge.hits) {
      finding.evidence.push_back(hit.evidence);
    }
    findings.problems.push_back(std::move(finding));
  }
  std::stable_sort(
      findings.problems.begin(), findings.problems.end(),
      [](const KnownProblem& left, const KnownProblem& right) { return left.severity < right.severity; });
  return findings;
}

}  // namespace halvo
