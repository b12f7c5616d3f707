// Rules: known problems, told in XML documents. docs/rules.md tells the form, samples/rules/ holds those that
// are built in.
//
// A rule's patterns are RE2's: matching is linear in the text, whatever the pattern. Patterns see bytes
// (Latin-1), so that a file that isn't UTF-8 matches as well. Documents and patterns are bounded; nothing is
// fetched. A RuleSet isn't changed after it is filled and may be used on all threads then.

#pragma once

#include <re2/re2.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

// Of a pattern: the marks {1} to {3} stand for them.
inline constexpr int kMostCaptures = 3;

enum class Severity { kError, kWarning, kInfo };
std::string severityText(Severity severity);

// Which files a condition looks at: all that fit both. An empty list or pattern fits every file.
struct FileSelector {
  std::vector<std::string> items;  // ids
  std::string file;                // for the name without its folder; "*" and "?" stand for any characters
  [[nodiscard]] bool fits(const std::string& id, const std::string& name) const;
  bool operator==(const FileSelector& other) const { return items == other.items && file == other.file; }
};

// The number with which a text begins, behind white space; none where it doesn't. In no locale: its point is
// a point.
std::optional<double> leadingNumber(const std::string& text);

// What is looked for in the lines of files. Conditions share probes.
struct Probe {
  FileSelector selector;
  std::shared_ptr<const RE2> pattern;  // null where only the lines' times are wanted
};

enum class ConditionKind {
  kAll,
  kAny,
  kNone,
  kMissing,
  kPresent,
  kSize,
  kLine,
  kNoLine,
  kNumber,
  kTime,
  kAge
};
enum class Relation { kBelow, kAbove, kEquals, kDiffers };

struct Condition {
  ConditionKind kind = ConditionKind::kAll;
  FileSelector selector;
  Relation comparison = Relation::kAbove;
  double value = 0;     // compared with; of a time, the seconds by which it must differ
  int probe = -1;       // of RuleSet::probes()
  int otherProbe = -1;  // the number compared with, instead of `value`
  std::vector<Condition> children;
};

struct RuleExample {
  bool shows = false;
  struct File {
    std::string item;
    std::string name;
    std::string text;
  };
  std::vector<File> files;
};

struct Rule {
  std::string id;
  Severity severity = Severity::kWarning;
  std::string title;
  std::string advice;
  Condition condition;
  std::vector<RuleExample> examples;
};

// Told at the start tag of the element that has it.
struct RuleFault {
  unsigned line = 0;
  unsigned column = 0;
  std::string text;
};

class RuleSet {
 public:
  // Adds the rules of a document; what is wrong with it is appended to `faults`, and rules with faults are
  // left out. False where there were any.
  bool add(const std::string& xml, std::vector<RuleFault>& faults);
  // The rules that the program brings along.
  void addBuiltIn();

  [[nodiscard]] const std::vector<Rule>& rules() const { return m_Rules; }
  [[nodiscard]] const std::vector<Probe>& probes() const { return m_Probes; }

 private:
  friend class RuleParser;
  int probe(const FileSelector& selector, std::shared_ptr<const RE2> pattern);

  std::vector<Rule> m_Rules;
  std::vector<Probe> m_Probes;
};

// The texts of the documents that are built in.
const std::vector<std::string>& builtInRules();

}  // namespace halvo
