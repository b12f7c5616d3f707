#include "vpn/tools/TOLM/TOLMBundle/findings/Judge.h"

#include <algorithm>
#include <set>
#include <tuple>

namespace halvo {

namespace {

Answer answer(bool holds, bool sawAll) {
  return holds ? Answer::kYes : sawAll ? Answer::kNo : Answer::kOpen;
}

bool isEarlier(const Hit& left, const Hit& right) {
  return std::tie(left.evidence.file, left.evidence.line) <
         std::tie(right.evidence.file, right.evidence.line);
}

}  // namespace

Answer Judge::judge(const Condition& condition) {
  const State before = m_State;
  const Answer answer = judgeKind(condition);
  if (answer != Answer::kYes) {
    m_State = before;
  }
  return answer;
}

Answer Judge::judgeKind(const Condition& condition) {
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
    case ConditionKind::kMissing:
      return anyFile(condition.selector)          ? Answer::kNo
             : m_rScan.sawAll(condition.selector) ? Answer::kYes
                                                  : Answer::kOpen;
    case ConditionKind::kPresent:
      return answer(anyFile(condition.selector), m_rScan.sawAll(condition.selector));
    case ConditionKind::kSize:
      return answer(sizeHolds(condition), m_rScan.sawAll(condition.selector));
    case ConditionKind::kLine:
    case ConditionKind::kNoLine:
      return judgeLines(condition);
    case ConditionKind::kNumber:
      return judgeNumbers(condition);
    case ConditionKind::kTime:
      return judgeTime(condition);
    case ConditionKind::kAge:
      return judgeAge(condition);
  }
  return Answer::kNo;
}

Answer Judge::judgeAll(const std::vector<Condition>& conditions) {
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
Answer Judge::judgeAny(const std::vector<Condition>& conditions) {
  Answer any = Answer::kNo;
  for (const Condition& condition : conditions) {
    any = std::max(any, judge(condition));
  }
  return any;
}

Answer Judge::judgeLines(const Condition& condition) {
  const ProbeResult& result = m_rScan.result(condition.probe);
  const bool sawAll = m_rScan.sawAll(condition.probe);
  if (condition.kind == ConditionKind::kLine) {
    take(result.hits);
    return answer(result.hits.count > 0, sawAll);
  }
  if (result.hits.count > 0) {
    return Answer::kNo;
  }
  // A file that isn't there tells nothing.
  return !sawAll ? Answer::kOpen : result.anyFile ? Answer::kYes : Answer::kNo;
}

// Which of two lots of numbers has one that compares so with any of the other's is told by their bounds, but
// for equal ones.
Answer Judge::judgeNumbers(const Condition& condition) {
  if (condition.otherProbe < 0) {
    const Hits& held = m_rScan.held(condition);
    take(held);
    return answer(held.count > 0, m_rScan.sawAll(condition.probe));
  }
  const bool sawAll = m_rScan.sawAll(condition.probe) && m_rScan.sawAll(condition.otherProbe);
  const SeenNumbers& numbers = m_rScan.result(condition.probe).numbers;
  const SeenNumbers& others = m_rScan.result(condition.otherProbe).numbers;
  if (!numbers.lowest || !others.lowest) {
    return answer(false, sawAll);
  }
  const auto fits = [&](double value) {
    return condition.comparison == Relation::kEquals
               ? others.values.count(value) != 0
               : compares(value, condition.comparison, others.lowest->first) ||
                     compares(value, condition.comparison, others.highest->first);
  };
  Hits held;
  for (const auto& [value, seen] : numbers.values) {
    if (fits(value)) {
      held.count += seen.count;
      held.first.push_back(seen.first);
    }
  }
  // One that wasn't kept among the others may be the only one that fits.
  for (const auto& bound : {*numbers.lowest, *numbers.highest}) {
    if (numbers.values.count(bound.first) == 0 && fits(bound.first)) {
      ++held.count;
      held.first.push_back(bound.second);
    }
  }
  held.isAtLeast =
      held.count > 0 && (numbers.more || (others.more && condition.comparison == Relation::kEquals));
  std::sort(held.first.begin(), held.first.end(), isEarlier);
  take(held);
  const bool mayBeEqual = condition.comparison == Relation::kEquals && (numbers.more || others.more) &&
                          numbers.lowest->first <= others.highest->first &&
                          numbers.highest->first >= others.lowest->first;
  return answer(held.count > 0, sawAll && !mayBeEqual);
}

Answer Judge::judgeTime(const Condition& condition) {
  const Hits& held = m_rScan.held(condition);
  take(held);
  const bool isCompared = m_rScan.now() || m_rScan.result(condition.probe).hits.count == 0;
  return answer(held.count > 0, isCompared && m_rScan.sawAll(condition.probe));
}

// More that could be read can only make the newest time newer, and the age less.
Answer Judge::judgeAge(const Condition& condition) const {
  const ProbeResult& result = m_rScan.result(condition.probe);
  const bool sawAll = m_rScan.sawAll(condition.probe);
  if (!m_rScan.now()) {
    return answer(false, sawAll && !result.anyFile);
  }
  if (!result.newest) {
    return answer(false, sawAll);
  }
  const bool holds =
      compares(static_cast<double>(*m_rScan.now() - *result.newest), condition.comparison, condition.value);
  const bool isFinal =
      sawAll || (holds ? condition.comparison == Relation::kBelow : condition.comparison == Relation::kAbove);
  return isFinal ? answer(holds, true) : Answer::kOpen;
}

bool Judge::sizeHolds(const Condition& condition) {
  Hits held;
  std::set<std::size_t> told;  // of the entries that rows share
  for (std::size_t i = 0; i < m_rContent.files().size(); ++i) {
    const BundledFile& file = m_rContent.files()[i];
    const std::uint64_t size = m_rContent.entry(file).size;
    if (condition.selector.fits(file.id, file.name) &&
        compares(static_cast<double>(size), condition.comparison, condition.value) &&
        (!m_rContent.isShared(file.entry) || told.insert(file.entry).second)) {
      ++held.count;
      if (held.first.size() < kMostEvidence) {
        held.first.push_back({{i, 0, bytesText(size)}, {bytesText(size)}});
      }
    }
  }
  take(held);
  return held.count > 0;
}

bool Judge::anyFile(const FileSelector& selector) const {
  return std::any_of(m_rContent.files().begin(), m_rContent.files().end(), [&](const BundledFile& file) {
    return m_rContent.entry(file).fault.empty() && selector.fits(file.id, file.name);
  });
}

// A line that several conditions hold for is one line. Which of those that weren't kept are the same isn't
// known: then the larger of both counts is the least that there is.
void Judge::take(const Hits& hits) {
  Hits& evidence = m_State.evidence;
  const std::vector<Hit> before = evidence.first;
  const auto isToldAlready = [&before](const Hit& hit) {
    return std::any_of(before.begin(), before.end(), [&hit](const Hit& told) {
      return told.evidence.file == hit.evidence.file && told.evidence.line == hit.evidence.line;
    });
  };
  std::uint64_t again = 0;
  for (const Hit& hit : hits.first) {
    if (m_State.captures.empty()) {
      m_State.captures = hit.captures;
    }
    if (isToldAlready(hit)) {
      ++again;
    } else if (evidence.first.size() < kMostEvidence) {
      evidence.first.push_back(hit);
    }
  }
  const bool areAllKept = evidence.count == before.size() && hits.count == hits.first.size();
  evidence.isAtLeast = evidence.isAtLeast || hits.isAtLeast || (again > 0 && !areAllKept);
  evidence.count =
      again > 0 && !areAllKept ? std::max(evidence.count, hits.count) : evidence.count + hits.count - again;
}

}  // namespace halvo
