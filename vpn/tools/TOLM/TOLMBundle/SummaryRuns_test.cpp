// Random runs of the engine: what is read from the bundle is what was gathered.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"
#include "vpn/tools/TOLM/TOLMBundle/Show.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineRuns_test.h"

namespace halvo {
namespace {

using test::TOLMEngineTest;

constexpr std::size_t kIdWidth = 17;
constexpr std::size_t kDescriptionWidth = 40;
constexpr std::size_t kReasonWidth = 50;

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '&' || c == '<' || c == '>' || c == '"' || c == '\n' || c == '\t' || c == '\r') {
      result += "&#" + std::to_string(static_cast<int>(c)) + ";";
    } else {
      result += c;
    }
  }
  return result;
}

bool hasWhiteSpace(const std::string& text) {
  return text.find_first_of(" \t\n\r") != std::string::npos;
}

std::string withoutBlanks(std::string text) {
  std::erase(text, ' ');
  return text;
}

class RandomTexts {
 public:
  explicit RandomTexts(unsigned seed) : m_Random(seed) {}

  unsigned below(unsigned bound) { return static_cast<unsigned>(m_Random() % bound); }

  // Words of all lengths and alphabets, single and doubled blanks, line feeds, and lengths around the
  // columns'.
  std::string text(unsigned longest) {
    static const std::vector<std::string> letters = {
        "a", "b", "Z", "7", "-", "_", ".", "\"", "\xc3\xa4", "\xe4\xbd\xa0", "\xf0\x9f\x98\x80",
        "<", "&", "=", "x"};
    const unsigned around[] = {16, 17, 18, 27, 28, 29, 39, 40, 41, 49, 50, 51};
    const unsigned length = below(4) == 0 ? std::min(around[below(12)], longest) : 1 + below(longest);
    const unsigned blanks = below(3);
    std::string result = letters[below(5)];
    while (result.size() < length) {
      const unsigned kind = below(12);
      if (blanks == 0 || kind > blanks + 1 || result.back() == ' ') {
        result += letters[below(static_cast<unsigned>(letters.size()))];
      } else {
        result += kind == 0 ? '\n' : ' ';
      }
    }
    return result + letters[below(5)];
  }

  // Of all that XML can carry: quotes, references, control white space, control characters of Unicode,
  // right-to-left letters and marks, what tables are drawn with. Some are thousands of bytes long. Blanks
  // stand alone: of several where a line was broken the table tells nothing, and so not where a row begins.
  std::string id() {
    static const std::vector<std::string> signs = {"&",
                                                   "'",
                                                   "\"",
                                                   "<",
                                                   ">",
                                                   "&#38;",
                                                   "&amp;",
                                                   "\t",
                                                   "\n",
                                                   "\r",
                                                   " ",
                                                   "|",
                                                   "-",
                                                   "-----------------",
                                                   "=",
                                                   "ID",
                                                   "- ",
                                                   "\x7f",
                                                   "\xc2\x85",
                                                   "\xc2\x9b",
                                                   "\xc2\xa0",
                                                   "\xcc\x88",
                                                   "\xd7\x90",
                                                   "\xd8\xb9",
                                                   "\xe2\x80\x8f",
                                                   "\xe2\x80\xae",
                                                   "\xe2\x80\xa8",
                                                   "\xe4\xbd\xa0",
                                                   "\xef\xbf\xbd",
                                                   "\xf0\x9f\x98\x80",
                                                   "\xf4\x8f\xbf\xbf",
                                                   "\\",
                                                   "%s",
                                                   "{1}",
                                                   "/",
                                                   "a",
                                                   "B",
                                                   "7"};
    const unsigned kind = below(12);
    if (kind < 4) {
      return text(60);
    }
    const unsigned length = kind == 4 ? 500 + below(2500) : 1 + below(80);
    // Without white space the id must come back byte for byte.
    const bool blanks = below(2) == 0;
    std::string result = text(3);
    while (result.size() < length) {
      const std::string& sign = signs[below(static_cast<unsigned>(signs.size()))];
      const bool isBlank = sign.find_first_of(" \t\n\r") != std::string::npos;
      if (!isBlank || (blanks && !hasWhiteSpace(result.substr(result.size() - 1)))) {
        result += sign;
      }
    }
    return result + "z";
  }

  std::string fileName(unsigned number) {
    std::string name = "f" + std::to_string(number) + "_" + text(70);
    std::replace(name.begin(), name.end(), '\n', ' ');
    return name;
  }

 private:
  std::mt19937 m_Random;
};

struct ExpectedFile {
  std::string id;
  std::string name;
  std::string description;
  std::string document;
  std::string size;  // or the reason
  unsigned bytes = 0;
};

// The same where nothing is lost by wrapping, else the same lines.
void expectText(const std::string& read, const std::string& written, std::size_t width) {
  if (hasWhiteSpace(written)) {
    EXPECT_EQ(wrappedKey(read, width), wrappedKey(written, width));
  } else {
    EXPECT_EQ(read, written);
  }
}

// Ids are broken in the form in which the engine writes them.
void expectId(const std::string& read, const std::string& written) {
  if (hasWhiteSpace(written)) {
    expectText(withAmpersandReferences(read), withAmpersandReferences(written), kIdWidth);
  } else {
    EXPECT_EQ(read, written);
  }
}

class SummaryRunsTest : public TOLMEngineTest {
 protected:
  struct Item {
    std::string id;
    std::string text;
    std::vector<ExpectedFile> files;
    std::vector<ExpectedFile> missing;
  };

  Item item(RandomTexts& random, const std::string& document) {
    Item result;
    const std::string id = random.id();
    result.id = id;
    const std::string description = random.below(6) == 0 ? "" : random.text(120);
    const bool isDefault = random.below(5) != 0;
    std::string actions;
    const unsigned count = random.below(4);
    for (unsigned i = 0; i < count; ++i) {
      const std::string name = random.fileName(++m_nFile);
      const unsigned size = random.below(3000);
      const bool exists = random.below(3) != 0;
      if (exists) {
        test::writeFile("/tmp/src/" + name, std::string(size, 'x'));
      }
      actions += test::copyAction("/tmp/src/" + escaped(name));
      if (!isDefault) {
        continue;
      }
      if (exists) {
        result.files.push_back({result.id, name, description, document, sizeText(size), size});
      } else {
        result.missing.push_back({result.id, "N/A", description, document,
                                  "No file found with path matching: /tmp/src/" + name, 0});
      }
    }
    result.text = "<file id=\"" + escaped(id) + "\"><description>" + escaped(description) +
                  "</description><default>" + (isDefault ? "true" : "false") +
                  "</default><tolm><os opsys=\"linux\">" + actions + "</os></tolm></file>";
    if (!isDefault) {
      m_NotDefault.push_back(result.id);
    }
    return result;
  }

  // As the summary writes sizes of less than 3,000 bytes.
  static std::string sizeText(unsigned size) { return bytesText(size); }

  void addDocument(RandomTexts& random, unsigned number) {
    std::string title = "T" + std::to_string(number) + random.text(40);
    std::replace(title.begin(), title.end(), '\n', ' ');
    m_Titles.push_back(title);
    std::vector<Item> items;
    const unsigned count = random.below(5);
    for (unsigned i = 0; i < count; ++i) {
      items.push_back(item(random, title));
    }
    std::string text;
    for (const Item& one : items) {
      text += one.text;
    }
    config("c" + std::to_string(number) + ".xml", test::documentText(escaped(title), text));
    std::stable_sort(items.begin(), items.end(),
                     [](const Item& left, const Item& right) { return left.id < right.id; });
    for (const Item& one : items) {
      m_Files.insert(m_Files.end(), one.files.begin(), one.files.end());
      m_Missing.insert(m_Missing.end(), one.missing.begin(), one.missing.end());
    }
  }

  void expectBundle(const BundleContent& content) {
    EXPECT_EQ(content.fault(), "");
    ASSERT_EQ(content.files().size(), m_Files.size());
    ASSERT_EQ(content.missing().size(), m_Missing.size()) << showText(content, {});
    for (const ExpectedFile& expected : m_Files) {
      const auto found = std::find_if(content.files().begin(), content.files().end(),
                                      [&](const BundledFile& file) { return file.name == expected.name; });
      ASSERT_NE(found, content.files().end()) << expected.name;
      expectId(found->id, expected.id);
      expectText(found->description, expected.description, kDescriptionWidth);
      EXPECT_EQ(found->document, expected.document);
      EXPECT_EQ(found->statedSize, expected.size);
      EXPECT_EQ(bytesText(content.entry(*found).size), expected.size);
    }
    // Documents come in the order of their folder.
    const auto byDocument = [](const auto& left, const auto& right) {
      return left.document < right.document;
    };
    std::stable_sort(m_Missing.begin(), m_Missing.end(), byDocument);
    std::vector<MissingFile> missing = content.missing();
    std::stable_sort(missing.begin(), missing.end(), byDocument);
    for (std::size_t i = 0; i < m_Missing.size(); ++i) {
      const MissingFile& found = missing[i];
      EXPECT_EQ(found.name, m_Missing[i].name);
      expectId(found.id, m_Missing[i].id);
      expectText(found.description, m_Missing[i].description, kDescriptionWidth);
      expectText(found.reason, m_Missing[i].size, kReasonWidth);
      EXPECT_EQ(found.document, m_Missing[i].document);
    }
    std::vector<std::string> notDefault;
    for (const SummarySection& section : content.summary().sections) {
      notDefault.insert(notDefault.end(), section.notDefault.begin(), section.notDefault.end());
    }
    EXPECT_THAT(notDefault, ::testing::UnorderedElementsAreArray(m_NotDefault));
  }

  // The same of what `show --json` prints, read by another library.
  void expectJson(const BundleContent& content, bool encrypted, std::size_t failedDocuments) {
    std::string text;
    showJson(content, findFailedOutputs(content), [&text](const std::string& piece) { text += piece; });
    const nlohmann::json json = nlohmann::json::parse(text, nullptr, false);
    ASSERT_FALSE(json.is_discarded()) << text;
    EXPECT_EQ(json["bundle"]["path"], "/tmp/out.zip");
    EXPECT_EQ(json["bundle"]["encrypted"], encrypted);
    EXPECT_EQ(json["bundle"]["size"], std::filesystem::file_size("/tmp/out.zip"));
    EXPECT_EQ(json["bundle"]["damage"], "");
    EXPECT_EQ(json["bundle"]["summary_fault"], "");
    EXPECT_EQ(json["machine"]["bundle_path"], "/tmp/out.zip");
    EXPECT_EQ(json["failed_documents"].size(), failedDocuments);

    std::vector<std::string> titles;
    std::vector<std::string> notDefault;
    for (const nlohmann::json& document : json["documents"]) {
      titles.push_back(document["title"]);
      for (const std::string id : document["not_default"]) {
        notDefault.push_back(id);
      }
    }
    EXPECT_THAT(titles, ::testing::UnorderedElementsAreArray(m_Titles));
    EXPECT_THAT(notDefault, ::testing::UnorderedElementsAreArray(m_NotDefault));

    ASSERT_EQ(json["files"].size(), m_Files.size());
    for (const ExpectedFile& expected : m_Files) {
      const auto found = std::find_if(
          json["files"].begin(), json["files"].end(),
          [&](const nlohmann::json& file) { return lastComponent(file["file"]) == expected.name; });
      ASSERT_NE(found, json["files"].end()) << expected.name;
      expectId((*found)["id"], expected.id);
      expectText((*found)["description"], expected.description, kDescriptionWidth);
      EXPECT_EQ((*found)["document"], expected.document);
      EXPECT_EQ((*found)["size"], expected.bytes);
      EXPECT_EQ((*found)["stated_size"], expected.size);
      EXPECT_FALSE(found->contains("fault"));
    }
    std::vector<nlohmann::json> missing(json["missing"].begin(), json["missing"].end());
    std::stable_sort(missing.begin(), missing.end(), [](const auto& left, const auto& right) {
      return left["document"].template get<std::string>() < right["document"].template get<std::string>();
    });
    ASSERT_EQ(missing.size(), m_Missing.size());
    for (std::size_t i = 0; i < m_Missing.size(); ++i) {
      expectId(missing[i]["id"], m_Missing[i].id);
      EXPECT_EQ(missing[i]["name"], m_Missing[i].name);
      expectText(missing[i]["description"], m_Missing[i].description, kDescriptionWidth);
      expectText(missing[i]["reason"], m_Missing[i].size, kReasonWidth);
      EXPECT_EQ(missing[i]["document"], m_Missing[i].document);
    }
  }

  std::vector<ExpectedFile> m_Files;
  std::vector<ExpectedFile> m_Missing;
  std::vector<std::string> m_Titles;
  std::vector<std::string> m_NotDefault;
  unsigned m_nFile = 0;
};

TEST_F(SummaryRunsTest, WhatIsReadIsWhatWasGatheredInRandomRuns) {
  for (unsigned seed = 1; seed <= 60 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomTexts random(seed);
    std::filesystem::remove_all("/tmp/src");
    std::filesystem::remove_all("/opt/halvo");
    test::makeFolders("/tmp/src");
    m_Files.clear();
    m_Missing.clear();
    m_Titles.clear();
    m_NotDefault.clear();
    const unsigned documents = 1 + random.below(4);
    for (unsigned i = 0; i < documents; ++i) {
      addDocument(random, i);
    }
    const bool hasBadDocument = random.below(3) == 0;
    if (hasBadDocument) {
      config("bad.xml", "<open>");
    }
    const std::string password = random.below(2) == 0 ? "" : "word";
    ASSERT_EQ(run("", "/tmp/out.zip", password), 0U) << m_Log.dump();
    BundleReader reader;
    ASSERT_EQ(reader.open("/tmp/out.zip", password), "");
    BundleContent content(reader);
    content.load();
    expectBundle(content);
    expectJson(content, !password.empty(), hasBadDocument ? 1 : 0);
    EXPECT_EQ(content.summary().sections.size(), documents) << seed;
  }
}

// Ids, names and descriptions as documents have them, whose last lines are nearly full: two items were read
// as one.
TEST_F(SummaryRunsTest, NothingMissingIsReadAsAnothersPart) {
  static const std::vector<std::string> ids = {
      "agent-settings", "client-cert-logs", "network-addresses", "client-log-files",
      "R&D-logs",       "kernel-denials",   "system-older-logs", "x",
      "my own logs",    "vpn.client.store", "older  settings",   "a long id of words",
      "client-logs"};
  static const std::vector<std::string> words = {
      "the",  "client", "logs", "of", "its",     "services",           "as",     "they", "are",
      "what", "newest", "I",    "a",  "network", "network-interfaces", "memory", "tells"};
  static const std::vector<std::string> folders = {
      "opt", "halvo", "tessarmont", "log", "Application Support", "a", "AFolderWithAVeryLongNameForTheWrap"};
  static const std::vector<std::string> names = {"*.log", "*.crash",      "preferences.xml",
                                                 "a.b",   "client-*.log", "with blanks *.txt"};
  for (unsigned seed = 1; seed <= 60 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RandomTexts random(seed);
    const auto one = [&random](const std::vector<std::string>& list) {
      return list[random.below(static_cast<unsigned>(list.size()))];
    };
    m_Missing.clear();
    std::vector<Item> items;
    std::vector<std::string> left = ids;
    for (unsigned i = 0; i < 2 + random.below(10); ++i) {
      const std::string id = one(left);
      left.erase(std::find(left.begin(), left.end(), id));
      std::string description = one(words);
      for (unsigned word = random.below(16); word > 0; --word) {
        description += (random.below(20) == 0 ? "  " : " ") + one(words);
      }
      Item item;
      item.id = id;
      std::string actions;
      for (unsigned action = 1 + random.below(3); action > 0; --action) {
        std::string folder = "/none";
        for (unsigned depth = random.below(6); depth > 0; --depth) {
          folder += "/" + one(folders);
        }
        const std::string name = one(names);
        const bool newest = random.below(2) == 0;
        actions += std::string("<file_copy_action><action><loc") + (newest ? " gather_newest=\"true\"" : "") +
                   ">" + folder + "/" + name + "</loc></action></file_copy_action>";
        item.missing.push_back(
            newest ? ExpectedFile{id, name, description, "T",
                                  folder + "/" + name + " not found on client machine.", 0}
                   : ExpectedFile{id, "N/A", description, "T",
                                  "No file found with path matching: " + folder + "/" + name, 0});
        if (newest) {
          // Nothing of the item is looked for behind it.
          break;
        }
      }
      item.text = "<file id=\"" + escaped(id) + "\"><description>" + description +
                  "</description><default>true</default><tolm><os opsys=\"linux\">" + actions +
                  "</os></tolm></file>";
      items.push_back(item);
    }
    std::string text;
    for (const Item& item : items) {
      text += item.text;
    }
    config("c.xml", test::documentText("T", text));
    std::stable_sort(items.begin(), items.end(), [](const Item& first, const Item& second) {
      return withAmpersandReferences(first.id) < withAmpersandReferences(second.id);
    });
    for (const Item& item : items) {
      m_Missing.insert(m_Missing.end(), item.missing.begin(), item.missing.end());
    }
    ASSERT_EQ(run("", "/tmp/out.zip"), 0U) << m_Log.dump();
    BundleReader reader;
    ASSERT_EQ(reader.open("/tmp/out.zip", ""), "");
    BundleContent content(reader);
    content.load();
    EXPECT_EQ(content.fault(), "");
    ASSERT_EQ(content.missing().size(), m_Missing.size()) << showText(content, {});
    for (std::size_t i = 0; i < m_Missing.size(); ++i) {
      const MissingFile& found = content.missing()[i];
      // How many blanks stood where a line was broken isn't known.
      EXPECT_EQ(withoutBlanks(found.id), withoutBlanks(m_Missing[i].id));
      EXPECT_EQ(found.name, m_Missing[i].name);
      EXPECT_EQ(withoutBlanks(found.description), withoutBlanks(m_Missing[i].description));
      EXPECT_EQ(withoutBlanks(found.reason), withoutBlanks(m_Missing[i].size));
    }
  }
}

// The banner was looked for with its last two bytes the other way round, so no run's failures were ever seen.
TEST_F(SummaryRunsTest, AFailingCommandOfARunIsSeen) {
  config("a.xml",
         test::documentText("Alpha", test::itemText("bad", test::captureAction("ls /nowhere 2&gt;&amp;1")) +
                                         test::itemText("good", test::captureAction("echo fine")) +
                                         test::itemText("mute", test::captureAction("true"))));
  ASSERT_EQ(run(), 0U) << m_Log.dump();
  BundleReader reader;
  ASSERT_EQ(reader.open("/tmp/out.zip", ""), "");
  BundleContent content(reader);
  content.load();
  std::vector<std::string> failed;
  for (const FailedOutput& output : findFailedOutputs(content)) {
    failed.push_back(content.files()[output.file].id + ": " + output.why);
  }
  EXPECT_THAT(failed,
              ::testing::UnorderedElementsAre(::testing::MatchesRegex("bad: .*No such file or directory.*"),
                                              "mute: the command printed nothing"));
}

TEST_F(SummaryRunsTest, MainInformationFailedDocumentsAndCommentsAreRead) {
  config("a.xml", test::documentText("Alpha", logsItem()));
  config("bad.xml", "<open>");
  test::writeFile("/tmp/request.xml",
                  "<r><comments>It breaks.</comments><file id=\"comments\"><name>words.txt</name></file>"
                  "<file id=\"summary\"><name>told.txt</name></file><file id=\"logs\"/></r>");
  ASSERT_EQ(run("/tmp/request.xml"), 0U);
  BundleReader reader;
  ASSERT_EQ(reader.open("/tmp/out.zip", ""), "");
  BundleContent content(reader);
  content.load();
  EXPECT_EQ(content.fault(), "");
  EXPECT_NE(content.summary().time, "");
  EXPECT_NE(content.summary().os, "");
  EXPECT_EQ(content.summary().bundlePath, "/tmp/out.zip");
  EXPECT_THAT(content.summary().failedDocuments,
              ::testing::ElementsAre(::testing::HasSubstr("/opt/halvo/tessarmont/tolm/xml/config/bad.xml")));
  const std::size_t comments = content.findFile("words.txt");
  ASSERT_LT(comments, content.files().size());
  EXPECT_EQ(content.files()[comments].id, "comments");
  EXPECT_EQ(content.filesOfItem("logs").size(), 2U);
}

}  // namespace
}  // namespace halvo
