#include "vpn/tools/TOLM/TOLMBundle/findings/Findings.h"

#include <algorithm>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/findings/Judge.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Scan.h"

namespace halvo {

namespace {

// "{1}" is the first capture.
std::string filledIn(const std::string& text, const std::vector<std::string>& captures) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool mark = text[i] == '{' && i + 2 < text.size() && text[i + 1] >= '1' &&
                      text[i + 1] <= '0' + kMostCaptures && text[i + 2] == '}';
    if (!mark) {
      result += text[i];
      continue;
    }
    const auto number = static_cast<std::size_t>(text[i + 1] - '1');
    result += number < captures.size() ? captures[number] : "?";
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
    KnownProblem finding;
    finding.id = rule.id;
    finding.severity = rule.severity;
    finding.title = filledIn(rule.title, judge.captures());
    finding.advice = filledIn(rule.advice, judge.captures());
    finding.count = judge.evidence().count;
    finding.isAtLeast = judge.evidence().isAtLeast;
    for (const Hit& hit : judge.evidence().first) {
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
