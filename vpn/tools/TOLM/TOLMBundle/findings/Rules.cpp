#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

#include <fnmatch.h>

#include <algorithm>
#include <locale>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/findings/RuleXml.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestDocument = std::size_t{1} << 20U;
constexpr std::size_t kLongestPattern = 4096;
constexpr std::size_t kMostRules = 2000;
constexpr int kDeepest = 16;
// The schema has the same.
constexpr char kNumber[] = R"([+\-]?([0-9]{1,15}(\.[0-9]{0,15})?|\.[0-9]{1,15})([eE][+\-]?[0-9]{1,2})?)";
// What RE2 may take for one pattern.
constexpr std::int64_t kPatternMemory = std::int64_t{1} << 21U;

const std::map<std::string, ConditionKind>& conditionKinds() {
  static const std::map<std::string, ConditionKind> s_Kinds = {
      {"all", ConditionKind::kAll},         {"any", ConditionKind::kAny},
      {"none", ConditionKind::kNone},       {"missing", ConditionKind::kMissing},
      {"present", ConditionKind::kPresent}, {"size", ConditionKind::kSize},
      {"line", ConditionKind::kLine},       {"no-line", ConditionKind::kNoLine},
      {"number", ConditionKind::kNumber},   {"time", ConditionKind::kTime},
      {"age", ConditionKind::kAge}};
  return s_Kinds;
}

struct AllowedAttributes {
  bool pattern = false;
  bool comparison = false;
  bool time = false;
  bool other = false;
};

AllowedAttributes allowedOf(ConditionKind kind) {
  AllowedAttributes allowed;
  allowed.pattern = kind == ConditionKind::kLine || kind == ConditionKind::kNoLine ||
                    kind == ConditionKind::kNumber || kind == ConditionKind::kTime;
  allowed.comparison =
      kind == ConditionKind::kSize || kind == ConditionKind::kNumber || kind == ConditionKind::kAge;
  allowed.time = kind == ConditionKind::kTime;
  allowed.other = kind == ConditionKind::kNumber;
  return allowed;
}

bool isBlank(const std::string& text) {
  return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

std::optional<double> numberOf(const std::string& text) {
  return RE2::FullMatch(text, kNumber) ? leadingNumber(text) : std::nullopt;
}

bool isGroup(ConditionKind kind) {
  return kind == ConditionKind::kAll || kind == ConditionKind::kAny || kind == ConditionKind::kNone;
}

}  // namespace

std::optional<double> leadingNumber(const std::string& text) {
  static const RE2 s_Number(R"(^[ \t-\r]*([+\-]?(?:[0-9]+(?:\.[0-9]*)?|\.[0-9]+)(?:[eE][+\-]?[0-9]+)?))",
                            RE2::Latin1);
  re2::StringPiece found;
  if (!RE2::PartialMatch(text, s_Number, &found)) {
    return std::nullopt;
  }
  std::istringstream stream{std::string(found.data(), found.size())};
  stream.imbue(std::locale::classic());
  double number = 0;
  stream >> number;  // the largest where it is larger
  return number;
}

std::string severityText(Severity severity) {
  switch (severity) {
    case Severity::kError:
      return "error";
    case Severity::kWarning:
      return "warning";
    case Severity::kInfo:
      return "info";
  }
  return "";
}

bool FileSelector::fits(const std::string& id, const std::string& name) const {
  return (items.empty() || std::find(items.begin(), items.end(), id) != items.end()) &&
         (file.empty() || fnmatch(file.c_str(), name.c_str(), 0) == 0);
}

class RuleParser {
 public:
  RuleParser(RuleSet& set, std::vector<RuleFault>& faults) : m_rSet(set), m_rFaults(faults) {
    for (const Rule& rule : set.m_Rules) {
      m_Ids.insert(rule.id);
    }
  }

  void parse(const std::string& xml) {
    if (xml.size() > kLongestDocument) {
      m_rFaults.push_back({1, 1, "the document is longer than 1 MiB"});
      return;
    }
    const RuleDocument document(xml);
    xmlNode* const root = document.root();
    if (root == nullptr) {
      m_rFaults.push_back(
          {document.where().line, document.where().column, "not well-formed XML (" + document.why() + ")"});
      return;
    }
    if (document.hasType()) {
      m_rFaults.push_back({1, 1, "a document type has no place in a document of rules"});
      return;
    }
    if (nameOf(root) != "rules") {
      fault(root, "the root is <" + nameOf(root) + "> and not <rules>");
      return;
    }
    checkAttributes(root, {});
    checkNoText(root);
    for (xmlNode* node = xmlFirstElementChild(root); node != nullptr; node = xmlNextElementSibling(node)) {
      parseRule(node);
    }
  }

 private:
  void fault(const xmlNode* node, const std::string& text) {
    const SaxPlace place = RuleDocument::placeOf(node);
    m_rFaults.push_back({place.line, place.column, text});
  }

  // The element's name is one of this form, and its attributes are among the known ones.
  bool checkAttributes(const xmlNode* node, const std::set<std::string>& known) {
    bool good = true;
    if (node->ns != nullptr) {
      fault(node, "<" + nameOf(node) + "> is in a namespace; rules are in none");
      good = false;
    }
    for (const xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
      const std::string name = nameOf(attribute);
      if (known.count(name) == 0 || attribute->ns != nullptr) {
        fault(node, "<" + nameOf(node) + "> has no attribute \"" + (attribute->ns != nullptr ? "...:" : "") +
                        name + "\"");
        good = false;
      }
    }
    return good;
  }

  void checkNoText(const xmlNode* node) {
    if (hasOwnText(node)) {
      fault(node, "<" + nameOf(node) + "> holds text that belongs to none of its elements");
    }
  }

  void checkNoChildren(xmlNode* node) {
    for (xmlNode* child = xmlFirstElementChild(node); child != nullptr;
         child = xmlNextElementSibling(child)) {
      fault(child, "<" + nameOf(child) + "> has no place in <" + nameOf(node) + ">");
    }
  }

  void parseRule(xmlNode* node) {
    const std::size_t before = m_rFaults.size();
    if (nameOf(node) != "rule") {
      fault(node, "<" + nameOf(node) + "> stands where a <rule> is wanted");
      return;
    }
    if (m_rSet.m_Rules.size() >= kMostRules) {
      fault(node, "there are more than " + std::to_string(kMostRules) + " rules");
      return;
    }
    checkAttributes(node, {"id", "severity"});
    checkNoText(node);
    Rule rule;
    rule.id = attributeOf(node, "id").value_or("");
    if (isBlank(rule.id)) {
      fault(node, "the rule has no id");
    } else if (!m_Ids.insert(rule.id).second) {
      fault(node, "another rule has the id \"" + rule.id + "\"");
    }
    parseSeverity(node, rule);
    bool hasCondition = false;
    std::set<std::string> seen;
    for (xmlNode* child = xmlFirstElementChild(node); child != nullptr;
         child = xmlNextElementSibling(child)) {
      const std::string name = nameOf(child);
      if (name == "title" || name == "advice") {
        checkAttributes(child, {});
        checkNoChildren(child);
        if (!seen.insert(name).second) {
          fault(child, "the rule has a second <" + name + ">");
        }
        (name == "title" ? rule.title : rule.advice) = proseOf(child);
      } else if (name == "example") {
        parseExample(child, rule);
      } else if (hasCondition) {
        fault(child, "the rule has a second condition; <all>, <any> and <none> join several");
      } else {
        hasCondition = true;
        parseCondition(child, rule.condition, 1);
      }
    }
    if (rule.title.empty() || rule.advice.empty()) {
      fault(node, "the rule needs a <title> and an <advice> that says what to do");
    }
    if (!hasCondition) {
      fault(node, "the rule has no condition");
    }
    if (m_rFaults.size() == before) {
      checkMarks(node, rule);
    }
    // A rule with a fault is left out: all faults are told at once.
    if (m_rFaults.size() == before) {
      m_rSet.m_Rules.push_back(std::move(rule));
    }
  }

  // The most that a line which speaks for the condition has captured.
  [[nodiscard]] int captures(const Condition& condition) const {
    int most = condition.kind == ConditionKind::kSize ? 1 : 0;
    if (condition.probe >= 0 && condition.kind != ConditionKind::kNoLine &&
        condition.kind != ConditionKind::kAge) {
      most = m_rSet.m_Probes[static_cast<std::size_t>(condition.probe)].pattern->NumberOfCapturingGroups();
    }
    for (const Condition& child : condition.children) {
      most = std::max(most, condition.kind == ConditionKind::kNone ? 0 : captures(child));
    }
    return most;
  }

  void checkMarks(const xmlNode* node, const Rule& rule) {
    const int most = std::min(captures(rule.condition), kMostCaptures);
    for (int i = 0; i <= 9; ++i) {
      const std::string mark = "{" + std::to_string(i) + "}";
      if ((i == 0 || i > most) && (rule.title + rule.advice).find(mark) != std::string::npos) {
        fault(node, mark + " stands for nothing: " +
                        (i == 0 || i > kMostCaptures ? "the marks are {1} to {3}"
                                                     : "no pattern of the rule captures as much"));
      }
    }
  }

  void parseSeverity(xmlNode* node, Rule& rule) {
    const std::string severity = attributeOf(node, "severity").value_or("");
    for (const Severity known : {Severity::kError, Severity::kWarning, Severity::kInfo}) {
      if (severity == severityText(known)) {
        rule.severity = known;
        return;
      }
    }
    fault(node, "the severity must be error, warning or info");
  }

  void parseExample(xmlNode* node, Rule& rule) {
    checkAttributes(node, {"shows"});
    checkNoText(node);
    RuleExample example;
    const std::string shows = attributeOf(node, "shows").value_or("");
    if (shows != "yes" && shows != "no") {
      fault(node, "an example says shows=\"yes\" or shows=\"no\"");
    }
    example.shows = shows == "yes";
    for (xmlNode* child = xmlFirstElementChild(node); child != nullptr;
         child = xmlNextElementSibling(child)) {
      const std::string item = attributeOf(child, "item").value_or("");
      const std::string name = attributeOf(child, "name").value_or("");
      if (nameOf(child) != "file" || isBlank(item) || name.empty()) {
        fault(child, "an example holds <file item=\"...\" name=\"...\"> elements");
        continue;
      }
      checkAttributes(child, {"item", "name"});
      checkNoChildren(child);
      example.files.push_back({item, name, exampleText(child)});
    }
    rule.examples.push_back(std::move(example));
  }

  void parseCondition(xmlNode* node, Condition& condition, int depth) {
    const auto kind = conditionKinds().find(nameOf(node));
    if (kind == conditionKinds().end()) {
      fault(node, "<" + nameOf(node) + "> is no condition");
      return;
    }
    condition.kind = kind->second;
    checkNoText(node);
    if (isGroup(condition.kind)) {
      checkAttributes(node, {});
      parseChildren(node, condition, depth);
      return;
    }
    checkNoChildren(node);
    const AllowedAttributes allowed = allowedOf(condition.kind);
    std::set<std::string> names = {"item", "file"};
    if (allowed.pattern) {
      names.insert("pattern");
    }
    if (allowed.comparison) {
      names.insert({"above", "below", "equals", "differs"});
    }
    if (allowed.time) {
      names.insert({"is", "by"});
    }
    if (allowed.other) {
      names.insert({"other-item", "other-file", "other-pattern", "is"});
    }
    if (!checkAttributes(node, names)) {
      return;
    }
    condition.selector = parseSelector(node, "item", "file");
    if (allowed.pattern) {
      const auto pattern =
          parsePattern(node, "pattern",
                       condition.kind != ConditionKind::kLine && condition.kind != ConditionKind::kNoLine);
      condition.probe = pattern != nullptr ? m_rSet.probe(condition.selector, pattern) : -1;
    } else if (condition.kind == ConditionKind::kAge) {
      condition.probe = m_rSet.probe(condition.selector, nullptr);
    }
    if (attributeOf(node, "other-pattern")) {
      parseOther(node, condition);
    } else if (allowed.comparison) {
      parseComparison(node, condition, allowed.other);
    } else if (allowed.time) {
      parseTimeWord(node, condition);
    }
    if ((condition.kind == ConditionKind::kMissing || condition.kind == ConditionKind::kPresent) &&
        condition.selector.items.empty() && condition.selector.file.empty()) {
      fault(node, "<" + nameOf(node) + "> needs an item or a file");
    }
  }

  void parseChildren(xmlNode* node, Condition& condition, int depth) {
    if (depth >= kDeepest) {
      fault(node, "conditions are nested more than " + std::to_string(kDeepest) + " deep");
      return;
    }
    for (xmlNode* child = xmlFirstElementChild(node); child != nullptr;
         child = xmlNextElementSibling(child)) {
      condition.children.emplace_back();
      parseCondition(child, condition.children.back(), depth + 1);
    }
    if (condition.children.empty()) {
      fault(node, "<" + nameOf(node) + "> joins nothing");
    }
  }

  FileSelector parseSelector(const xmlNode* node, const char* item, const char* file) {
    FileSelector selector;
    const auto items = attributeOf(node, item);
    std::istringstream ids(items.value_or(""));
    for (std::string id; ids >> id;) {
      selector.items.push_back(id);
    }
    const auto files = attributeOf(node, file);
    selector.file = files.value_or("");
    // Without the attribute all are looked at, which is hardly what an empty one means.
    if ((items && selector.items.empty()) || (files && selector.file.empty())) {
      fault(node, std::string(items && selector.items.empty() ? item : file) + "=\"\" names nothing");
    }
    return selector;
  }

  void parseOther(xmlNode* node, Condition& condition) {
    const auto pattern = parsePattern(node, "other-pattern", true);
    const FileSelector selector = parseSelector(node, "other-item", "other-file");
    condition.otherProbe = pattern != nullptr ? m_rSet.probe(selector, pattern) : -1;
    for (const char* const word : {"above", "below", "equals", "differs"}) {
      if (attributeOf(node, word)) {
        fault(node, "with an other-pattern, " + std::string(word) + " has no place; is=\"...\" compares");
      }
    }
    parseComparisonWord(node, condition);
  }

  std::shared_ptr<const RE2> parsePattern(xmlNode* node, const char* name, bool wantsCapture) {
    const std::string text = attributeOf(node, name).value_or("");
    if (text.empty() || text.size() > kLongestPattern) {
      fault(node, "<" + nameOf(node) + "> needs a " + name + " of up to " + std::to_string(kLongestPattern) +
                      " bytes");
      return nullptr;
    }
    RE2::Options options;
    // Byte by byte: a log is of any encoding, and of several.
    options.set_encoding(RE2::Options::EncodingLatin1);
    options.set_log_errors(false);
    options.set_max_mem(kPatternMemory);
    auto pattern = std::make_shared<const RE2>(text, options);
    if (!pattern->ok()) {
      fault(node, "the " + std::string(name) + " can't be used: " + pattern->error());
      return nullptr;
    }
    if (wantsCapture && pattern->NumberOfCapturingGroups() < 1) {
      fault(node, "the " + std::string(name) + " must capture what is compared, in round brackets");
      return nullptr;
    }
    return pattern;
  }

  void parseComparison(xmlNode* node, Condition& condition, bool mayHaveOther) {
    static const std::map<std::string, Relation> s_Words = {{"above", Relation::kAbove},
                                                            {"below", Relation::kBelow},
                                                            {"equals", Relation::kEquals},
                                                            {"differs", Relation::kDiffers}};
    int found = 0;
    for (const auto& [word, comparison] : s_Words) {
      const auto text = attributeOf(node, word.c_str());
      if (!text) {
        continue;
      }
      ++found;
      condition.comparison = comparison;
      const std::optional<double> number = numberOf(*text);
      if (!number) {
        fault(node, "\"" + *text + "\" is no number");
      }
      condition.value = number.value_or(0);
    }
    for (const char* const name : {"other-item", "other-file", "is"}) {
      if (mayHaveOther && attributeOf(node, name)) {
        fault(node, std::string(name) + " needs an other-pattern");
      }
    }
    if (found != 1) {
      fault(node, "<" + nameOf(node) + "> needs one of above, below, equals and differs");
    }
  }

  void parseComparisonWord(xmlNode* node, Condition& condition) {
    static const std::map<std::string, Relation> s_Words = {{"above", Relation::kAbove},
                                                            {"below", Relation::kBelow},
                                                            {"equal", Relation::kEquals},
                                                            {"different", Relation::kDiffers}};
    const auto word = s_Words.find(attributeOf(node, "is").value_or(""));
    if (word == s_Words.end()) {
      fault(node, "with an other-pattern, is=\"...\" says above, below, equal or different");
      return;
    }
    condition.comparison = word->second;
  }

  void parseTimeWord(xmlNode* node, Condition& condition) {
    const std::string word = attributeOf(node, "is").value_or("");
    if (word != "past" && word != "future") {
      fault(node, "<time> says is=\"past\" or is=\"future\"");
    }
    condition.comparison = word == "past" ? Relation::kBelow : Relation::kAbove;
    const std::optional<std::string> margin = attributeOf(node, "by");
    if (!margin) {
      return;
    }
    const std::optional<double> seconds = numberOf(*margin);
    if (!seconds || margin->front() == '-') {
      fault(node, "the seconds of by are no number from 0 on: \"" + *margin + "\"");
    }
    condition.value = seconds.value_or(0);
  }

  RuleSet& m_rSet;
  std::vector<RuleFault>& m_rFaults;
  std::set<std::string> m_Ids;
};

// Rules that ask the same share the answer, so that a file is looked through once for it.
int RuleSet::probe(const FileSelector& selector, std::shared_ptr<const RE2> pattern) {
  for (std::size_t i = 0; i < m_Probes.size(); ++i) {
    const Probe& known = m_Probes[i];
    const bool samePattern =
        (known.pattern == nullptr && pattern == nullptr) ||
        (known.pattern != nullptr && pattern != nullptr && known.pattern->pattern() == pattern->pattern());
    if (samePattern && known.selector == selector) {
      return static_cast<int>(i);
    }
  }
  m_Probes.push_back({selector, std::move(pattern)});
  return static_cast<int>(m_Probes.size()) - 1;
}

bool RuleSet::add(const std::string& xml, std::vector<RuleFault>& faults) {
  const std::size_t before = faults.size();
  RuleParser(*this, faults).parse(xml);
  return faults.size() == before;
}

void RuleSet::addBuiltIn() {
  std::vector<RuleFault> faults;
  for (const std::string& document : builtInRules()) {
    // None has any: a test reads them all.
    add(document, faults);
  }
}

}  // namespace halvo
