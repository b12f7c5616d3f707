#include "vpn/tools/TOLM/TOLMAuthoring/check/ElementCheck.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/Common/Utility/StringUtils.h"

namespace halvo {

namespace {

constexpr const char* kBlanks = " \t\r\n";

struct KnownElement {
  const char* name;
  const char* place;  // where a reader looks for it
};

constexpr std::array<KnownElement, 22> kKnownElements = {{
    {"configure", "anywhere in the document"},
    {"title", "below <configure>"},
    {"file", "directly below the root"},
    {"description", "below <file>"},
    {"name", "below <file>"},
    {"default", "below <file>"},
    {"tolm", "below <file>"},
    {"os", "directly below <tolm>"},
    {"file_copy_action", "directly below <os>"},
    {"use_extern_action", "directly below <os>"},
    {"get_file_to_copy_action", "directly below <os>"},
    {"action", "directly below an action kind"},
    {"loc", "directly below an <action> of <file_copy_action>"},
    {"clear_log", "directly below an <action> of <file_copy_action> or <use_extern_action>"},
    {"truncate_type", "below an <action> of <file_copy_action>"},
    {"path", "directly below an <action> of <use_extern_action> or <get_file_to_copy_action>"},
    {"plugin", "directly below an <action> of <use_extern_action>"},
    {"regis", "directly below an <action> of <use_extern_action>"},
    {"args", "directly below an <action> of <use_extern_action>"},
    {"temp_out", "directly below an <action> of <use_extern_action>"},
    {"stdout", "directly below an <action> of <use_extern_action>"},
    {"comments", "below the root of a request"},
}};

// Edits (insert, drop, replace a byte) that turn one name into the other, up to 3.
std::size_t editDistance(const std::string& a, const std::string& b) {
  constexpr std::size_t kFar = 3;
  if (a.size() > b.size() + kFar || b.size() > a.size() + kFar) {
    return kFar;
  }
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return std::min(row[b.size()], kFar);
}

}  // namespace

void FindingList::add(CheckRule rule, Position position, const std::string& text) {
  if (m_Findings.size() < kMaxFindings) {
    m_Findings.push_back({rule, position, text});
  } else if (m_Findings.size() == kMaxFindings) {
    m_Findings.push_back(
        {"too-many-findings", position,
         "more than " + std::to_string(kMaxFindings) + " findings in this document: the rest isn't listed"});
  }
}

std::vector<Finding> FindingList::take() {
  std::stable_sort(m_Findings.begin(), m_Findings.end(),
                   [](const Finding& a, const Finding& b) { return a.position < b.position; });
  return std::move(m_Findings);
}

std::string tagOf(const DocumentElement& element) {
  std::string name = quotedText(element.name);
  name.front() = '<';
  name.back() = '>';
  return name;
}

bool isBlankText(const std::string& text) {
  return text.find_first_not_of(kBlanks) == std::string::npos;
}

bool hasOuterBlanks(const std::string& text) {
  const std::string blanks = kBlanks;
  return !text.empty() &&
         (blanks.find(text.front()) != std::string::npos || blanks.find(text.back()) != std::string::npos);
}

void checkNoText(FindingList& list, const DocumentElement& element) {
  if (!isBlankText(element.text)) {
    const std::size_t start = element.text.find_first_not_of(kBlanks);
    list.add("ignored-text", element,
             "the text " + quotedText(element.text.substr(start)) + " in " + tagOf(element) +
                 " is read by nothing: a run ignores it");
  }
}

void checkAttributes(FindingList& list, const DocumentElement& element,
                     std::initializer_list<const char*> read) {
  for (const DocumentAttribute& attribute : element.attributes) {
    if (std::none_of(read.begin(), read.end(), [&](const char* name) { return attribute.name == name; })) {
      list.add("unread-attribute", element,
               "the attribute " + quotedText(attribute.name) + " of " + tagOf(element) +
                   " is read by nothing: a run ignores it");
    }
  }
}

void checkTextOnly(FindingList& list, const DocumentElement& element) {
  for (const auto& child : element.children) {
    list.add("unknown-element", *child,
             tagOf(*child) + " inside " + tagOf(element) + ": a run reads only the text that stands in " +
                 tagOf(element) + " itself, without this element's");
  }
}

void reportStray(FindingList& list, const DocumentElement& element) {
  // The look for a near name costs, and nothing more is taken.
  if (list.isFull()) {
    return;
  }
  for (const KnownElement& known : kKnownElements) {
    if (element.name == known.name) {
      list.add("misplaced-element", element,
               tagOf(element) + " is read only " + known.place + ": a run ignores this one");
      return;
    }
  }
  list.add("unknown-element", element,
           tagOf(element) + " is read by nothing" + suggestion(element.name) + ": a run ignores it");
}

std::string suggestion(const std::string& name) {
  // None that readers know is near so long a name, and the comparison is no cheap one.
  if (name.size() > 40) {
    return "";
  }
  std::string plain = CStringUtils::toLower(name);
  // The names of other houses have other signs in them.
  std::replace(plain.begin(), plain.end(), '-', '_');
  std::replace(plain.begin(), plain.end(), '.', '_');
  const KnownElement* nearest = nullptr;
  std::size_t least = plain.size() > 4 ? 3 : 2;
  for (const KnownElement& known : kKnownElements) {
    if (const std::size_t distance = editDistance(plain, known.name); distance < least) {
      least = distance;
      nearest = &known;
    }
  }
  // One that is known and stands in the wrong place is no slip of the pen.
  return nearest == nullptr || name == nearest->name
             ? ""
             : std::string(" (did you mean <") + nearest->name + ">?)";
}

void checkVariables(FindingList& list, const DocumentElement& element, const std::string& text) {
  std::string rest = text;
  for (;;) {
    // From left to right, and no further than the first fault: a run stops expanding there too.
    const std::size_t dollar = rest.find('$');
    if (dollar == std::string::npos) {
      return;
    }
    const std::size_t slash = rest.find('/', dollar);
    if (slash == std::string::npos) {
      list.add("variable-unclosed", element,
               "no \"/\" closes the variable " + quotedText(rest.substr(dollar)) + " in " + tagOf(element) +
                   ": a run takes the \"$\" as it stands");
      return;
    }
    const std::string name = rest.substr(dollar + 1, slash - dollar - 1);
    if (name.size() > 2 && name.front() == '{' && name.find('}') != std::string::npos) {
      const std::string plain = name.substr(1, name.find('}') - 1);
      list.add("variable-braces", element,
               "braces around a variable's name in " + tagOf(element) +
                   ": a run looks for a variable called " + quotedText(name) +
                   ", which can't be, and leaves the text as it stands; write " +
                   quotedText("$" + plain + "/"));
      return;
    }
    if (name.empty()) {
      list.add("variable-unclosed", element,
               "no name stands between \"$\" and \"/\" in " + tagOf(element) +
                   ": a run takes the \"$\" as it stands");
      return;
    }
    const char* const value = std::getenv(name.c_str());
    if (value == nullptr || *value == '\0') {
      list.add("variable-unset", element,
               "the variable " + quotedText("$" + name + "/") + " in " + tagOf(element) +
                   " isn't set on this machine now: a run leaves it unexpanded, and what stands behind it");
      return;
    }
    rest = rest.substr(slash + 1);
  }
}

bool saysNo(const std::string& value) {
  const std::string plain = CStringUtils::toLower(value);
  return plain == "false" || plain == "no" || plain == "0" || plain == "off";
}

void checkSwitch(FindingList& list, const DocumentElement& element, const char* attribute, CheckRule rule,
                 const std::string& effect) {
  const DocumentAttribute* const found = element.attribute(attribute);
  if (found != nullptr && found->value != "true" && !saysNo(found->value)) {
    list.add(rule, element,
             std::string(attribute) + "=" + quotedText(found->value) + " of " + tagOf(element) +
                 " isn't exactly \"true\": " + effect);
  }
}

}  // namespace halvo
