// Findings: which known problems a bundle shows. Each file is read once, line by line, in flat memory.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

namespace halvo {

// A line that speaks for a finding.
struct Evidence {
  std::size_t file = 0;    // of BundleContent::files()
  std::uint64_t line = 0;  // counts from 1; 0 for the file as a whole
  std::string text;        // its front
};

struct KnownProblem {
  std::string id;
  Severity severity = Severity::kWarning;
  std::string title;
  std::string advice;
  std::vector<Evidence> evidence;  // the first of them
  std::uint64_t count = 0;         // of all lines that speak for it
};

// Errors first, then warnings, then the rest, in the order of the rules. What can't be read counts as not
// there.
std::vector<KnownProblem> findProblems(const BundleContent& content, const RuleSet& rules);

// Both end with a line feed. The text holds no control characters but line feeds.
std::string findingsText(const BundleContent& content, const std::vector<KnownProblem>& findings,
                         std::size_t rules);
std::string findingsJson(const BundleContent& content, const std::vector<KnownProblem>& findings,
                         std::size_t rules);

}  // namespace halvo
