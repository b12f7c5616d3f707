#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

#include <fnmatch.h>
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

namespace halvo {

namespace {

constexpr std::size_t kLongestDocument = std::size_t{1} << 20U;
constexpr std::size_t kLongestPattern = 4096;
constexpr std::size_t kMostRules = 2000;
constexpr int kDeepest = 16;
// What RE2 may take for one pattern.
constexpr std::int64_t kPatternMemory = std::int64_t{1} << 21U;

std::string textOf(const xmlChar* text) {
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

std::string nameOf(const xmlNode* node) {
  return textOf(node->name);
}

std::optional<std::string> attributeOf(xmlNode* node, const char* name) {
  xmlChar* const value = xmlGetNoNsProp(node, reinterpret_cast<const xmlChar*>(name));
  if (value == nullptr) {
    return std::nullopt;
  }
  std::string text = textOf(value);
  xmlFree(value);
  return text;
}

std::string contentOf(xmlNode* node) {
  xmlChar* const content = xmlNodeGetContent(node);
  std::string text = textOf(content);
  xmlFree(content);
  return text;
}

// White space as a blank each run, none at the ends: texts are indented in their documents.
std::string proseOf(xmlNode* node) {
  std::istringstream words(contentOf(node));
  std::string text;
  for (std::string word; words >> word;) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

// The lines of an example, without the indentation that they share and the empty ones around them.
std::string exampleText(xmlNode* node) {
  std::istringstream lines(contentOf(node));
  std::vector<std::string> kept;
  std::size_t indent = std::string::npos;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos && kept.empty()) {
      continue;
    }
    indent = std::min(indent, start);
    kept.push_back(start == std::string::npos ? "" : line);
  }
  while (!kept.empty() && kept.back().empty()) {
    kept.pop_back();
  }
  std::string text;
  for (const std::string& line : kept) {
    text += line.substr(std::min(indent, line.size())) + "\n";
  }
  return text;
}

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

bool isGroup(ConditionKind kind) {
  return kind == ConditionKind::kAll || kind == ConditionKind::kAny || kind == ConditionKind::kNone;
}

class Document {
 public:
  explicit Document(const std::string& xml)
      : m_pDocument(
            xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "rules", nullptr,
                          XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA)) {}
  ~Document() { xmlFreeDoc(m_pDocument); }
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;
  [[nodiscard]] xmlNode* root() const {
    return m_pDocument == nullptr ? nullptr : xmlDocGetRootElement(m_pDocument);
  }
  // A document type may hold entities that grow without end.
  [[nodiscard]] bool hasType() const { return m_pDocument != nullptr && m_pDocument->intSubset != nullptr; }

 private:
  xmlDoc* m_pDocument;
};

}  // namespace

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
      m_rFaults.push_back({1, "the document is longer than 1 MiB"});
      return;
    }
    const Document document(xml);
    if (document.root() == nullptr) {
      const xmlError* const error = xmlGetLastError();
      std::string text = error != nullptr && error->message != nullptr ? error->message : "";
      while (!text.empty() && text.back() == '\n') {
        text.pop_back();
      }
      m_rFaults.push_back({error != nullptr && error->line > 0 ? static_cast<unsigned>(error->line) : 1,
                           "not well-formed XML (" + text + ")"});
      return;
    }
    if (document.hasType()) {
      m_rFaults.push_back({1, "a document type has no place in a document of rules"});
      return;
    }
    if (nameOf(document.root()) != "rules") {
      fault(document.root(), "the root is <" + nameOf(document.root()) + "> and not <rules>");
      return;
    }
    for (xmlNode* node = xmlFirstElementChild(document.root()); node != nullptr;
         node = xmlNextElementSibling(node)) {
      parseRule(node);
    }
  }

 private:
  void fault(const xmlNode* node, const std::string& text) {
    m_rFaults.push_back({static_cast<unsigned>(std::max(1L, xmlGetLineNo(node))), text});
  }

  bool checkAttributes(const xmlNode* node, const std::set<std::string>& known) {
    bool good = true;
    for (const xmlAttr* attribute = node->properties; attribute != nullptr; attribute = attribute->next) {
      const std::string name = textOf(attribute->name);
      if (known.count(name) == 0) {
        fault(node, "<" + nameOf(node) + "> has no attribute \"" + name + "\"");
        good = false;
      }
    }
    return good;
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
    Rule rule;
    rule.id = attributeOf(node, "id").value_or("");
    if (rule.id.empty()) {
      fault(node, "the rule has no id");
    } else if (!m_Ids.insert(rule.id).second) {
      fault(node, "another rule has the id \"" + rule.id + "\"");
    }
    parseSeverity(node, rule);
    bool hasCondition = false;
    for (xmlNode* child = xmlFirstElementChild(node); child != nullptr;
         child = xmlNextElementSibling(child)) {
      const std::string name = nameOf(child);
      if (name == "title") {
        rule.title = proseOf(child);
      } else if (name == "advice") {
        rule.advice = proseOf(child);
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
    // A rule with a fault is left out, and the next one looked at: all faults are told at once.
    if (m_rFaults.size() == before) {
      m_rSet.m_Rules.push_back(std::move(rule));
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
    RuleExample example;
    const std::string shows = attributeOf(node, "shows").value_or("");
    if (shows != "yes" && shows != "no") {
      fault(node, "an example says shows=\"yes\" or shows=\"no\"");
    }
    example.shows = shows == "yes";
    for (xmlNode* child = xmlFirstElementChild(node); child != nullptr;
         child = xmlNextElementSibling(child)) {
      if (nameOf(child) != "file" || !attributeOf(child, "item") || !attributeOf(child, "name")) {
        fault(child, "an example holds <file item=\"...\" name=\"...\"> elements");
        continue;
      }
      example.files.push_back({*attributeOf(child, "item"), *attributeOf(child, "name"), exampleText(child)});
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
    if (isGroup(condition.kind)) {
      checkAttributes(node, {});
      parseChildren(node, condition, depth);
      return;
    }
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
      const auto pattern = parsePattern(node, "other-pattern", true);
      condition.otherProbe =
          pattern != nullptr ? m_rSet.probe(parseSelector(node, "other-item", "other-file"), pattern) : -1;
      parseComparisonWord(node, condition);
    } else if (allowed.comparison) {
      parseComparison(node, condition);
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

  static FileSelector parseSelector(xmlNode* node, const char* item, const char* file) {
    FileSelector selector;
    std::istringstream ids(attributeOf(node, item).value_or(""));
    for (std::string id; ids >> id;) {
      selector.items.push_back(id);
    }
    selector.file = attributeOf(node, file).value_or("");
    return selector;
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

  void parseComparison(xmlNode* node, Condition& condition) {
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
      char* end = nullptr;
      condition.comparison = comparison;
      condition.value = std::strtod(text->c_str(), &end);
      if (text->empty() || *end != '\0') {
        fault(node, "\"" + *text + "\" is no number");
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
    char* end = nullptr;
    condition.value = std::strtod(margin->c_str(), &end);
    if (end == margin->c_str() || *end != 0 || !(condition.value >= 0)) {
      fault(node, "the seconds of by are no number from 0 on: \"" + *margin + "\"");
    }
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
