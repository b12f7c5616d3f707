// RedactRules: what a user adds to the built-in finders, and what they are to leave alone.
//
// A text of lines; blank ones and those that begin with "#" don't count:
//
//   find KIND REGEX   what the expression (RE2's syntax) matches in a line is replaced: its first group
//                     where it has one, or the whole match
//   name KIND TEXT    this text is replaced wherever it stands as a word
//   keep TEXT         this text stays wherever it was found, letters in either case
//
// KIND is host, user, id, wifi or secret. Never changed once loaded: all threads may use it.

#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/KnownNames.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactKinds.h"

namespace re2 {
class RE2;
}

namespace halvo {

class StandIns;

class RedactRules {
 public:
  RedactRules();
  ~RedactRules();
  RedactRules(const RedactRules&) = delete;
  RedactRules& operator=(const RedactRules&) = delete;

  // Adds the rules of a text. Returns what is wrong, with the line's number; empty on success.
  [[nodiscard]] std::string load(std::string_view text);

  void addNames(NameCollector& names) const;
  [[nodiscard]] bool keeps(std::string_view text) const;
  [[nodiscard]] bool hasPatterns() const { return !m_Patterns.empty(); }

  // A line with what the patterns match replaced.
  std::string redactLine(std::string_view line, const RedactKeep& keep, StandIns& standIns,
                         RedactCounts& counts) const;

 private:
  struct Pattern {
    RedactKind kind = RedactKind::kId;
    std::unique_ptr<re2::RE2> expression;
  };

  std::vector<Pattern> m_Patterns;
  std::vector<std::pair<RedactKind, std::string>> m_Names;
  std::unordered_set<std::string> m_Kept;  // in small letters
};

}  // namespace halvo
