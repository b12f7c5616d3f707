// Scan: what the probes and comparisons of a rule set see in a bundle. Each file is read once, line by line;
// what is kept is bounded for each probe and each comparison, however many lines there are.
//
// Borrows the content and the rules, which must outlive it. One thread.

#pragma once

#include <re2/set.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Findings.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

namespace halvo {

inline constexpr std::size_t kMostEvidence = 5;

// One line that a probe found.
struct Hit {
  Evidence evidence;
  std::vector<std::string> captures;
};

// Hits that are counted, and the first of them.
struct Hits {
  std::uint64_t count = 0;
  bool isAtLeast = false;  // there may be more than the count
  std::vector<Hit> first;
};

// The numbers that a probe captured, for comparisons with those of another one.
struct SeenNumbers {
  struct Value {
    std::uint64_t count = 0;
    Hit first;
  };
  std::map<double, Value> values;
  // Beyond the most that are kept: there are more, between these two.
  bool more = false;
  std::optional<std::pair<double, Hit>> lowest;
  std::optional<std::pair<double, Hit>> highest;
};

// What a probe found in all its files.
struct ProbeResult {
  bool anyFile = false;  // that is text and could be opened
  Hits hits;
  SeenNumbers numbers;                 // where a comparison wants them
  std::optional<std::int64_t> newest;  // of the lines' times up to a day behind the bundle's, in seconds
};

// Whether the numbers compare so; one that is none doesn't.
bool compares(double left, Relation relation, double right);

class Scan {
 public:
  Scan(const BundleContent& content, const RuleSet& rules);

  [[nodiscard]] const ProbeResult& result(int probe) const {
    return m_Results[static_cast<std::size_t>(probe)];
  }
  // The lines for which a <number> or <time> with a fixed value holds. The condition is one of the rule set.
  [[nodiscard]] const Hits& held(const Condition& condition) const;
  [[nodiscard]] std::optional<std::int64_t> now() const { return m_Now; }
  [[nodiscard]] const std::vector<UnreadPart>& unread() const { return m_Unread; }

  [[nodiscard]] bool sawAll(int probe) const {
    return sawAll(m_rRules.probes()[static_cast<std::size_t>(probe)].selector);
  }
  // Whether all that the selector fits was looked at, as far as can be known.
  [[nodiscard]] bool sawAll(const FileSelector& selector) const;

 private:
  // Probes that have patterns, as one automaton; null where it would take too much memory.
  struct PatternGroup {
    std::vector<std::size_t> probes;
    std::unique_ptr<RE2::Set> set;
  };
  // The probes of a file. Files of one item mostly have the same.
  struct Patterns {
    std::vector<PatternGroup> groups;
  };
  // A line that the patterns look at, or a part of a long one.
  struct LinePart {
    std::string_view text;
    std::size_t file = 0;
    std::uint64_t number = 0;
    bool isContinued = false;
    bool isCut = false;
  };
  // A comparison with a fixed value, made while its probe's lines go by.
  struct Watch {
    const Condition* condition = nullptr;
    Hits held;
  };

  void watch(const Condition& condition);
  void compile(PatternGroup group, Patterns& patterns) const;
  void split(Patterns& patterns, std::size_t group) const;
  Patterns& patternsOf(const std::vector<std::size_t>& probes);
  void scanFile(std::size_t index);
  void scanLines(std::size_t index, const std::vector<std::size_t>& probes, bool wantsTimes);
  void noteUnread(std::size_t index, const std::string& why);
  void matchLine(Patterns& patterns, const LinePart& line);
  bool matchGroup(const PatternGroup& group, const LinePart& line);
  void takeMatch(std::size_t probe, const LinePart& line);
  void takeNumber(std::size_t probe, double value, const Hit& hit);
  [[nodiscard]] bool holdsFor(const Condition& condition, const std::string& capture) const;
  void noteTime(const std::vector<std::size_t>& probes, std::string_view line);

  const BundleContent& m_rContent;
  const RuleSet& m_rRules;
  EntryReader m_Entry;
  std::vector<ProbeResult> m_Results;
  std::optional<std::int64_t> m_Now;
  std::vector<UnreadPart> m_Unread;
  std::vector<bool> m_ReadToEnd;  // of each of the content's files
  std::set<std::size_t> m_FailedEntries;
  std::map<std::size_t, std::vector<std::size_t>> m_Scanned;  // the probes of entries that rows share
  std::vector<Watch> m_Watches;
  std::map<const Condition*, std::size_t> m_WatchOf;
  std::vector<std::vector<std::size_t>> m_WatchesOfProbe;
  std::vector<bool> m_KeepsNumbers;  // of each probe
  std::map<std::vector<std::size_t>, std::unique_ptr<Patterns>> m_Patterns;
  std::vector<int> m_Matches;
  // Of a line that comes in parts: each probe takes it once.
  std::set<std::size_t> m_TookLine;
};

}  // namespace halvo
