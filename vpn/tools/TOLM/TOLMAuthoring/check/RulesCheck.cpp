#include "vpn/tools/TOLM/TOLMAuthoring/check/RulesCheck.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace halvo {

bool isRulesDocument(const DocumentTree& tree) {
  // What a run does with a document that isn't well-formed is told of instructions alone.
  return (tree.outcome == ParseOutcome::kParsed || tree.outcome == ParseOutcome::kNotWellFormed) &&
         tree.rootName == "rules";
}

std::vector<Finding> checkRulesDocument(const std::string& path, RuleSet& rules) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  const std::size_t before = rules.rules().size();
  std::vector<RuleFault> faults;
  // By the reader of `findings` itself: what passes here is what that takes.
  rules.add(text.str(), faults);
  if (faults.empty() && rules.rules().size() == before) {
    faults.push_back({1, 1, "there is no rule in the document"});
  }
  std::vector<Finding> findings;
  for (const RuleFault& fault : faults) {
    findings.push_back({"rule-fault", {fault.line, fault.column}, fault.text});
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& left, const Finding& right) { return left.position < right.position; });
  return findings;
}

}  // namespace halvo
