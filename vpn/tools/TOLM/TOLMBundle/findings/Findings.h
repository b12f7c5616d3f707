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
  std::string text;        // its front, or what stands around the match
};

struct KnownProblem {
  std::string id;
  Severity severity = Severity::kWarning;
  std::string title;
  std::string advice;
  std::vector<Evidence> evidence;  // the first of them
  std::uint64_t count = 0;         // of all lines that speak for it
  bool isAtLeast = false;          // there may be more of them
};

struct Findings {
  // Errors first, then warnings, then the rest, in the order of the rules.
  std::vector<KnownProblem> problems;
  // What the search couldn't look at.
  std::vector<UnreadPart> unread;
  // The ids of the rules that might hold if all could be read.
  std::vector<std::string> undecided;
  std::size_t rules = 0;
};

// A rule is undecided where its answer hangs on what couldn't be read: a file with damage, one behind a
// damaged table of contents, an item where there is no summary to know its files from.
Findings findProblems(const BundleContent& content, const RuleSet& rules);

// Both end with a line feed. The text holds no control characters but line feeds.
std::string findingsText(const BundleContent& content, const Findings& findings);
std::string findingsJson(const BundleContent& content, const Findings& findings);

// The rules that are undecided, in a line of the text; empty where none is. Their ids are as in the rules.
std::string undecidedText(const Findings& findings);

}  // namespace halvo
