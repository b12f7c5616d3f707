// The check of rules and their schema say the same of a document: each tampered one is shown to both.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/relaxng.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRun.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/FakeCheckHost.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Attributes = std::vector<std::pair<std::string, std::string>>;

struct Element {
  std::string name;
  Attributes attributes;
  std::vector<Element> children;
  // Written as they are.
  std::string before;
  std::string front;
  std::string after;
};

std::string written(const std::string& value) {
  std::string text;
  for (const char c : value) {
    text += c == '<' ? "&lt;" : c == '&' ? "&amp;" : c == '"' ? "&quot;" : std::string(1, c);
  }
  return text;
}

std::string written(const Element& element) {
  std::string text = element.before + "<" + element.name;
  for (const auto& [name, value] : element.attributes) {
    text += std::string(" ").append(name).append("=\"").append(written(value)).append("\"");
  }
  text += ">" + element.front;
  for (const Element& child : element.children) {
    text += written(child);
  }
  return text + "</" + element.name.substr(0, element.name.find(' ')) + ">" + element.after;
}

Element text(const std::string& name, const std::string& content) {
  return {name, {}, {}, "", content, ""};
}

Element rule(const std::string& id, const std::string& severity, const std::vector<Element>& children) {
  Element made = {
      "rule", {{"id", id}, {"severity", severity}}, {text("title", "T {1}"), text("advice", "Do.")}, "", "",
      ""};
  made.children.insert(made.children.end(), children.begin(), children.end());
  return made;
}

// Every element and every attribute that there is.
Element wholeDocument() {
  const Element all = {
      "all",
      {},
      {{"any",
        {},
        {{"line", {{"item", "a b"}, {"file", "*.log"}, {"pattern", "(x)"}}, {}, "", "", ""},
         {"no-line", {{"item", "a"}, {"pattern", "(y)"}}, {}, "", "", ""}},
        "",
        "",
        ""},
       {"none", {}, {{"present", {{"item", "c"}}, {}, "", "", ""}}, "", "", ""},
       {"missing", {{"file", "f"}}, {}, "", "", ""},
       {"size", {{"item", "a"}, {"above", "1"}}, {}, "", "", ""},
       {"age", {{"item", "a"}, {"below", "-2.5"}}, {}, "", "", ""},
       {"number", {{"pattern", "(z)"}, {"equals", "3e2"}}, {}, "", "", ""},
       {"number",
        {{"pattern", "(z)"},
         {"is", "above"},
         {"other-item", "b"},
         {"other-file", "g"},
         {"other-pattern", "(w)"}},
        {},
        "",
        "",
        ""},
       {"time", {{"item", "a"}, {"pattern", "(t)"}, {"is", "past"}, {"by", "60"}}, {}, "", "", ""}},
      "",
      "",
      ""};
  Element shown = {"example", {{"shows", "yes"}}, {}, "", "", ""};
  shown.children.push_back({"file", {{"item", "a"}, {"name", "x.log"}}, {}, "", "x", ""});
  return {"rules",
          {},
          {rule("one", "error", {all, shown, {"example", {{"shows", "no"}}, {}, "", "", ""}}),
           rule("two", "warning", {{"size", {{"file", "f"}, {"differs", "0"}}, {}, "", "", ""}})},
          "",
          "",
          ""};
}

using Path = std::vector<std::size_t>;

void collectPaths(const Element& element, const Path& path, std::vector<Path>& all) {
  all.push_back(path);
  for (std::size_t i = 0; i < element.children.size(); ++i) {
    Path below = path;
    below.push_back(i);
    collectPaths(element.children[i], below, all);
  }
}

Element& at(Element& root, const Path& path) {
  Element* element = &root;
  for (const std::size_t i : path) {
    element = &element->children[i];
  }
  return *element;
}

// A document with one thing done to it, for each thing that can be done to each element and attribute.
class Tamperer {
 public:
  Tamperer() : m_Whole(wholeDocument()) {
    collectPaths(m_Whole, {}, m_Paths);
    for (const Path& path : m_Paths) {
      const Element& element = at(m_Whole, path);
      m_Names.insert(element.name);
      for (const auto& [name, value] : element.attributes) {
        m_AttributeNames.insert(name);
      }
    }
    m_AttributeNames.insert({"colour", "xml:lang", "xml:space"});
  }

  std::vector<std::string> documents() {
    add([](Element&) {});
    for (const Path& path : m_Paths) {
      tamperWithPlace(path);
      tamperWithContent(path);
      tamperWithNames(path);
      for (std::size_t i = 0; i < at(m_Whole, path).attributes.size(); ++i) {
        tamperWithAttribute(path, i);
      }
    }
    return std::vector<std::string>(m_Documents.begin(), m_Documents.end());
  }

 private:
  void add(const std::function<void(Element&)>& change) {
    Element changed = m_Whole;
    change(changed);
    m_Documents.insert(written(changed));
  }

  void tamperWithPlace(const Path& path) {
    if (path.empty()) {
      return;
    }
    const Path parent(path.begin(), path.end() - 1);
    const auto place = static_cast<std::ptrdiff_t>(path.back());
    const Element element = at(m_Whole, path);
    add([&](Element& root) { at(root, parent).children.erase(at(root, parent).children.begin() + place); });
    add([&](Element& root) {
      at(root, parent).children.insert(at(root, parent).children.begin() + place, element);
    });
    if (place > 0) {
      add([&](Element& root) {
        std::swap(at(root, parent).children[path.back()], at(root, parent).children[path.back() - 1]);
      });
    }
    for (const Path& other : m_Paths) {
      add([&](Element& root) { at(root, other).children.push_back(element); });
    }
  }

  void tamperWithContent(const Path& path) {
    for (const char* const content :
         {"stray", " \n\t ", "<!-- a note -->", "<?note one?>", "<![CDATA[stray]]>", "<![CDATA[ ]]>", "&#32;",
          "&#160;", "&amp;", "<b/>", "<b>bold</b>", "&#x200f;"}) {
      add([&](Element& root) { at(root, path).front = content; });
      add([&](Element& root) { at(root, path).front += content; });
      if (!path.empty()) {
        add([&](Element& root) { at(root, path).after = content; });
        add([&](Element& root) { at(root, path).before = content; });
      }
    }
    add([&](Element& root) { at(root, path).front = ""; });
    add([&](Element& root) { at(root, path).children.clear(); });
  }

  void tamperWithNames(const Path& path) {
    for (const std::string& name : m_Names) {
      add([&](Element& root) { at(root, path).name = name; });
    }
    for (const char* const name : {"unknown", "Rule", "p:line xmlns:p=\"urn:p\"", "line xmlns=\"urn:p\"",
                                   "rules xmlns:unused=\"urn:p\""}) {
      add([&](Element& root) { at(root, path).name = name; });
    }
    const std::string own = at(m_Whole, path).name;
    add([&](Element& root) { at(root, path).name = own + " xmlns=\"urn:p\""; });
    add([&](Element& root) { at(root, path).name = own + " xmlns:p=\"urn:p\" p:item=\"a\""; });
    add([&](Element& root) { at(root, path).name = own + " xmlns:unused=\"urn:p\""; });
    for (const std::string& name : m_AttributeNames) {
      const Attributes& attributes = at(m_Whole, path).attributes;
      if (std::none_of(attributes.begin(), attributes.end(),
                       [&](const auto& one) { return one.first == name; })) {
        for (const char* const value : {"", "a", "(x)", "1", "above", "past"}) {
          add([&](Element& root) { at(root, path).attributes.emplace_back(name, value); });
        }
      }
    }
  }

  void tamperWithAttribute(const Path& path, std::size_t place) {
    const Attributes& attributes = at(m_Whole, path).attributes;
    add([&](Element& root) {
      at(root, path).attributes.erase(at(root, path).attributes.begin() + static_cast<std::ptrdiff_t>(place));
    });
    for (const std::string& name : m_AttributeNames) {
      if (std::none_of(attributes.begin(), attributes.end(),
                       [&](const auto& one) { return one.first == name; })) {
        add([&](Element& root) { at(root, path).attributes[place].first = name; });
      }
    }
    const std::string value = attributes[place].second;
    for (const std::string& other : {std::string(),
                                     std::string(" "),
                                     std::string("\t\n"),
                                     " " + value,
                                     value + " ",
                                     value + value,
                                     std::string("unknown"),
                                     std::string("\xc2\xa0"),
                                     std::string("\xd7\x90\xe2\x80\x8f"),
                                     std::string("error"),
                                     std::string("info"),
                                     std::string("yes"),
                                     std::string("no"),
                                     std::string("past"),
                                     std::string("future"),
                                     std::string("below"),
                                     std::string("equal"),
                                     std::string("equals"),
                                     std::string("different"),
                                     std::string("Error"),
                                     std::string("("),
                                     std::string("no capture"),
                                     std::string("a b a"),
                                     std::string("0"),
                                     std::string("-0"),
                                     std::string("+7"),
                                     std::string(".5"),
                                     std::string("5."),
                                     std::string("."),
                                     std::string("-"),
                                     std::string("1e3"),
                                     std::string("1e"),
                                     std::string("1e+03"),
                                     std::string("1e999"),
                                     std::string("1,5"),
                                     std::string("0x10"),
                                     std::string("inf"),
                                     std::string("INF"),
                                     std::string("NaN"),
                                     std::string("nan"),
                                     std::string("1 2"),
                                     std::string("123456789012345"),
                                     std::string("1234567890123456"),
                                     std::string("\xd9\xa3"),
                                     "(" + std::string(4094, 'x') + ")",
                                     "(" + std::string(4095, 'x') + ")"}) {
      add([&](Element& root) { at(root, path).attributes[place].second = other; });
    }
  }

  Element m_Whole;
  std::vector<Path> m_Paths;
  std::set<std::string> m_Names;
  std::set<std::string> m_AttributeNames;
  // Different changes may make the same document.
  std::set<std::string> m_Documents;
};

class Schema {
 public:
  Schema()
      : m_pParser(xmlRelaxNGNewParserCtxt(sourcePath("samples/rules/rules.rng").c_str())),
        m_pGrammar(xmlRelaxNGParse(m_pParser)),
        m_pValidator(xmlRelaxNGNewValidCtxt(m_pGrammar)) {
    xmlRelaxNGSetValidErrors(m_pValidator, keepQuiet, keepQuiet, nullptr);
  }
  ~Schema() {
    xmlRelaxNGFreeValidCtxt(m_pValidator);
    xmlRelaxNGFree(m_pGrammar);
    xmlRelaxNGFreeParserCtxt(m_pParser);
  }
  Schema(const Schema&) = delete;
  Schema& operator=(const Schema&) = delete;

  // As xmllint reads and validates a document.
  [[nodiscard]] bool takes(const std::string& document) const {
    xmlDoc* const parsed =
        xmlReadMemory(document.data(), static_cast<int>(document.size()), "", nullptr,
                      XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_COMPACT);
    const bool takes = parsed != nullptr && xmlRelaxNGValidateDoc(m_pValidator, parsed) == 0;
    xmlFreeDoc(parsed);
    return takes;
  }

 private:
  static void keepQuiet(void* /*context*/, const char* /*format*/, ...) {}

  xmlRelaxNGParserCtxt* m_pParser;
  xmlRelaxNG* m_pGrammar;
  xmlRelaxNGValidCtxt* m_pValidator;
};

// What RELAX NG has no words for, by what the check says of it, with a document each.
struct Unsayable {
  std::string fault;
  std::string reason;
  std::string document;
};

std::string around(const std::string& condition) {
  return "<rules><rule id=\"r\" severity=\"error\"><title>T</title><advice>A</advice>" + condition +
         "</rule></rules>";
}

std::string nested(int depth) {
  std::string condition = "<line pattern=\"x\"/>";
  for (int i = 0; i < depth; ++i) {
    condition = std::string("<all>").append(condition).append("</all>");
  }
  return condition;
}

std::string manyRules(int count) {
  std::string rules;
  for (int i = 0; i < count; ++i) {
    rules += "<rule id=\"r" + std::to_string(i) +
             "\" severity=\"info\"><title>T</title><advice>A</advice><line pattern=\"x\"/></rule>";
  }
  return "<rules>" + rules + "</rules>";
}

std::vector<Unsayable> unsayable() {
  std::string wide;
  for (int i = 0; i < 2049; ++i) {
    wide += "\xc3\xa4";
  }
  return {
      {"can't be used", "the syntax of a regular expression is a language of its own",
       around("<line pattern=\"(\"/>")},
      {"must capture", "what a regular expression captures is told by its syntax",
       around("<time pattern=\"x\" is=\"past\"/>")},
      {"stands for nothing", "what a regular expression captures is told by its syntax",
       "<rules><rule id=\"r\" severity=\"info\"><title>{1}</title><advice>A</advice>"
       "<line pattern=\"x\"/></rule></rules>"},
      {"{4} stands for nothing", "texts may have any signs",
       "<rules><rule id=\"r\" severity=\"info\"><title>{3}</title><advice>{4}</advice>"
       "<line pattern=\"(x)(x)(x)(x)\"/></rule></rules>"},
      {"another rule has the id", "xsd:ID, which is compared, takes names alone, and ids may have any signs",
       "<rules>" + manyRules(1).substr(7, manyRules(1).size() - 15) + manyRules(1).substr(7)},
      {"bytes", "lengths are counted in characters", around("<line pattern=\"" + wide + "\"/>")},
      {"nested more than", "a depth takes a definition for each step", around(nested(17))},
      {"more than 2000 rules", "a number of elements takes a pattern for each", manyRules(2001)},
      {"longer than 1 MiB", "the size of a document is no part of its form",
       around("<line pattern=\"x\"/>") + std::string(std::size_t{1} << 20U, ' ')},
      {"document type", "the schema is shown what lies behind it",
       "<!DOCTYPE rules>" + around("<line pattern=\"x\"/>")}};
}

class RulesSchemaTest : public ::testing::Test {
 protected:
  // What the check says of a document.
  std::vector<std::string> check(const std::string& document) {
    const std::string path = m_Folder.file("r.xml");
    writeFile(path, document);
    FakeCheckHost host;
    CheckRun run(host);
    run.addPath(path);
    run.finish();
    EXPECT_EQ(run.hasFindings(), run.hasErrors());
    std::vector<std::string> lines;
    for (const std::string& line : run.lines()) {
      lines.push_back(line.substr(path.size() + 1));
    }
    return lines;
  }

  TempFolder m_Folder;
  Schema m_Schema;
};

TEST_F(RulesSchemaTest, TheCheckAndTheSchemaSayTheSameOfEveryTamperedDocument) {
  const std::vector<Unsayable> exceptions = unsayable();
  const auto isUnsayable = [&](const std::string& line) {
    // Of an empty pattern the schema knows, and the check's words for it are those for a long one.
    return std::any_of(exceptions.begin(), exceptions.end(), [&](const Unsayable& one) {
      return one.fault != "bytes" && line.find(one.fault) != std::string::npos;
    });
  };
  std::size_t taken = 0;
  std::size_t refused = 0;
  int differing = 0;
  for (const std::string& document : Tamperer().documents()) {
    const std::vector<std::string> lines = check(document);
    const bool checkTakes = std::all_of(lines.begin(), lines.end(), isUnsayable);
    const bool schemaTakes = m_Schema.takes(document);
    ++(schemaTakes ? taken : refused);
    if (checkTakes != schemaTakes) {
      ADD_FAILURE() << (schemaTakes ? "The schema takes" : "The schema refuses") << "\n"
                    << document << "\nof which the check says\n"
                    << (lines.empty() ? "nothing" : lines[0]);
      ASSERT_LT(++differing, 20);
    }
  }
  EXPECT_GT(taken, 300U);
  EXPECT_GT(refused, 2000U);
  RecordProperty("documents", std::to_string(taken + refused));
}

TEST_F(RulesSchemaTest, WhatTheSchemaCannotSayTheCheckTells) {
  for (const Unsayable& one : unsayable()) {
    EXPECT_THAT(check(one.document), Contains(HasSubstr(one.fault))) << one.reason;
    EXPECT_TRUE(m_Schema.takes(one.document)) << one.fault << ": " << one.reason;
  }
  EXPECT_THAT(check(around(nested(15))), IsEmpty());
  EXPECT_THAT(check(manyRules(2000)), IsEmpty());
}

// Both are what a search refuses.
TEST_F(RulesSchemaTest, ADocumentWithoutARuleAndAnIdOfAnotherDocumentAreTold) {
  EXPECT_THAT(check("<rules/>"),
              ::testing::ElementsAre("1:1: error: there is no rule in the document [rule-fault]"));
  EXPECT_FALSE(m_Schema.takes("<rules/>"));
  FakeCheckHost host;
  CheckRun run(host);
  for (const char* const name : {"one.xml", "two.xml"}) {
    writeFile(m_Folder.file(name), manyRules(1));
    run.addPath(m_Folder.file(name));
  }
  run.finish();
  EXPECT_THAT(run.lines(), ::testing::ElementsAre(HasSubstr("two.xml:1:8: error: another rule has the id")));
}

// What a run does with instructions was said of it.
TEST_F(RulesSchemaTest, ADocumentThatIsNotWellFormedIsOneOfRulesByItsRoot) {
  const std::string cut = around("<line pattern=\"x\"/>").substr(0, 90);
  EXPECT_THAT(check(cut), ::testing::ElementsAre(::testing::MatchesRegex(
                              "1:[0-9]+: error: not well-formed XML \\([^:]*\\) \\[rule-fault\\]")));
  EXPECT_THAT(check("<config>" + cut), ::testing::ElementsAre(HasSubstr("[not-well-formed]")));
}

TEST_F(RulesSchemaTest, FaultsAreToldAtTheStartOfTheirElement) {
  const std::string start =
      "<rules>\n  <rule id=\"r\" severity=\"error\"><title>\xc3\x84</title><advice>A</advice>";
  const std::string end = "</rule>\n</rules>";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"<line pattern=\"x\"><b/></line>", "2:85: error: <b> has no place in <line>"},
      {"\n    <line\n      pattern=\"x\"\n      colour=\"red\"/>",
       "3:5: error: <line> has no attribute \"colour\""},
      {"stray<line pattern=\"x\"/>", "2:3: error: <rule> holds text that belongs to none of its elements"},
      {"<line pattern=\"x\">stray</line>",
       "2:67: error: <line> holds text that belongs to none of its elements"},
      {"<line pattern=\"x\"/>\n<title>again</title>", "3:1: error: the rule has a second <title>"},
      {"\t<present/>", "2:68: error: <present> needs an item or a file"},
      {"<line item=\"\" pattern=\"x\"/>", "2:67: error: item=\"\" names nothing"},
      {"<line pattern=\"\"/>", "2:67: error: <line> needs a pattern of up to 4096 bytes"},
      {"<line xmlns=\"urn:x\" pattern=\"x\"/>", "2:67: error: <line> is in a namespace; rules are in none"},
      {"<number pattern=\"(x)\" above=\"1\" other-item=\"a\"/>",
       "2:67: error: other-item needs an other-pattern"},
      {"<number pattern=\"(x)\" above=\"1\" is=\"above\" other-pattern=\"(y)\"/>",
       "2:67: error: with an other-pattern, above has no place; is=\"...\" compares"}};
  for (const auto& [inner, fault] : cases) {
    EXPECT_THAT(check(start + inner + end), ::testing::ElementsAre(fault + " [rule-fault]"));
    EXPECT_FALSE(m_Schema.takes(start + inner + end)) << inner;
  }
}

}  // namespace
}  // namespace halvo
