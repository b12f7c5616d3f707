// The translations against the table of texts, as they stand in the source and as the wizard gets them.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/StoragePath.h"
#include "vpn/Common/i18n/MoCatalog.h"
#include "vpn/Common/i18n/MsgCatalog.h"
#include "vpn/Common/i18n/UiTexts.h"

namespace halvo {
namespace {

struct PoEntry {
  std::string key;
  std::string translation;
  bool isFuzzy = false;
};

struct PoFile {
  std::vector<PoEntry> entries;  // without the header
  std::string header;
  bool hasObsoleteEntries = false;
};

// The value of a quoted line, its escapes undone.
std::string unquoted(const std::string& line) {
  std::string text;
  for (std::size_t i = line.find('"') + 1; i < line.rfind('"'); ++i) {
    if (line[i] == '\\') {
      ++i;
      text += line[i] == 'n' ? '\n' : line[i];
    } else {
      text += line[i];
    }
  }
  return text;
}

// Reads the part of the .po format that the translations use.
PoFile readPo(const std::string& path) {
  PoFile file;
  std::istringstream lines(test::readFile(path));
  std::string line;
  PoEntry entry;
  std::string* target = nullptr;
  bool isOpen = false;
  const auto finish = [&] {
    if (isOpen && entry.key.empty()) {
      file.header = entry.translation;
    } else if (isOpen) {
      file.entries.push_back(entry);
    }
    entry = PoEntry();
    isOpen = false;
    target = nullptr;
  };
  while (std::getline(lines, line)) {
    if (line.empty()) {
      finish();
    } else if (line.starts_with("#~")) {
      file.hasObsoleteEntries = true;
    } else if (line.starts_with("#,")) {
      entry.isFuzzy = entry.isFuzzy || line.find("fuzzy") != std::string::npos;
    } else if (line.starts_with("msgid ")) {
      isOpen = true;
      target = &entry.key;
      *target = unquoted(line);
    } else if (line.starts_with("msgstr ")) {
      target = &entry.translation;
      *target = unquoted(line);
    } else if (line.starts_with("\"") && target != nullptr) {
      *target += unquoted(line);
    } else if (!line.starts_with("#")) {
      ADD_FAILURE() << path << ": unexpected line: " << line;
    }
  }
  finish();
  return file;
}

std::string poPath(const std::string& language) {
  return test::sourcePath("l10n/" + language + ".po");
}

std::string builtFolder() {
  return std::string(TOLM_TEST_BUILD_DIR) + "/l10n";
}

std::vector<std::string> keysOf(const PoFile& file) {
  std::vector<std::string> keys;
  for (const PoEntry& entry : file.entries) {
    keys.push_back(entry.key);
  }
  return keys;
}

// What a language file holds: the texts of the flow, then those of the aids.
std::vector<std::string> allTexts() {
  std::vector<std::string> texts = uiTexts();
  texts.insert(texts.end(), uiAidTexts().begin(), uiAidTexts().end());
  return texts;
}

const std::vector<std::string>& languages() {
  static const std::vector<std::string> all = {"ar", "de", "es",    "fr",    "it",   "ja",
                                               "ko", "pl", "pt-br", "zh-cn", "zh-tw"};
  return all;
}

class TranslationsTest : public ::testing::TestWithParam<std::string> {
 protected:
  [[nodiscard]] static PoFile po() { return readPo(poPath(GetParam())); }
};

TEST_P(TranslationsTest, EveryTextIsTranslatedAndNoneIsStale) {
  const PoFile file = po();
  // The order of the table is the order of the file, so that translators read the screens in order.
  EXPECT_EQ(keysOf(file), allTexts());
  for (const PoEntry& entry : file.entries) {
    EXPECT_NE(entry.translation, "") << entry.key;
  }
  EXPECT_FALSE(file.hasObsoleteEntries);
}

TEST_P(TranslationsTest, NoEntryIsFuzzy) {
  for (const PoEntry& entry : po().entries) {
    EXPECT_FALSE(entry.isFuzzy) << entry.key;
  }
}

TEST_P(TranslationsTest, OnlyTheNameIsTheSameAsInEnglish) {
  for (const PoEntry& entry : po().entries) {
    EXPECT_EQ(entry.translation == entry.key, entry.key == textWindowTitle) << entry.key;
  }
}

TEST_P(TranslationsTest, NamesAndThePlaceholderInItsQuotesAreKept) {
  for (const PoEntry& entry : po().entries) {
    for (const char* part : {"TOLM", "Tessarmont", "Halvo", "Fieldcase", "\"%s\"", "%"}) {
      EXPECT_EQ(entry.key.find(part) != std::string::npos, entry.translation.find(part) != std::string::npos)
          << part << " in: " << entry.translation;
    }
    EXPECT_EQ(std::count(entry.key.begin(), entry.key.end(), '"'),
              std::count(entry.translation.begin(), entry.translation.end(), '"'))
        << entry.translation;
  }
}

// Without it the two characters of "%s" change places in a text that runs from right to left.
TEST(ArabicTest, PlaceholderIsIsolatedFromTheDirectionOfItsSentence) {
  for (const PoEntry& entry : readPo(poPath("ar")).entries) {
    if (entry.key.find("%s") != std::string::npos) {
      // With its quotes, where the text has them.
      const std::string placed = entry.key.find("\"%s\"") != std::string::npos ? "\"%s\"" : "%s";
      EXPECT_NE(entry.translation.find("\xe2\x81\xa6" + placed + "\xe2\x81\xa9"), std::string::npos)
          << entry.translation;
    }
  }
}

TEST_P(TranslationsTest, TextsDontRunIntoTheEdges) {
  for (const PoEntry& entry : po().entries) {
    EXPECT_NE(entry.translation.front(), ' ') << entry.translation;
    EXPECT_NE(entry.translation.back(), ' ') << entry.translation;
    EXPECT_EQ(entry.translation.find("  "), std::string::npos) << entry.translation;
    EXPECT_EQ(entry.translation.find('\n'), std::string::npos) << entry.translation;
  }
}

TEST_P(TranslationsTest, HeaderTellsTheLanguageAndTheOneCharsetThatTheCatalogSupports) {
  const std::string header = po().header;
  EXPECT_NE(header.find("Language: " + GetParam().substr(0, 2)), std::string::npos) << header;
  // In this spelling: see MsgCatalog::setCatalog().
  EXPECT_NE(header.find("Content-Type: text/plain; charset=utf-8\n"), std::string::npos) << header;
}

TEST_P(TranslationsTest, FileIsMadeWithoutAComplaint) {
  const test::RunResult result =
      test::runProgram({"msgfmt", "-c", "--check-accelerators=_", "-o", "/dev/null", poPath(GetParam())});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
}

INSTANTIATE_TEST_SUITE_P(Language, TranslationsTest, ::testing::ValuesIn(languages()),
                         [](const ::testing::TestParamInfo<std::string>& language) {
                           std::string name = language.param;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

// Locales as hosts tell them, and the translation that their users read.
const std::map<std::string, std::string>& locales() {
  static const std::map<std::string, std::string> all = {
      {"de_AT", "de"},    {"de_CH", "de"},    {"de_DE", "de"},    {"fr_FR", "fr"},    {"fr_CH", "fr"},
      {"fr_CA", "fr"},    {"es_ES", "es"},    {"es_MX", "es"},    {"it_IT", "it"},    {"it_CH", "it"},
      {"pt_BR", "pt-br"}, {"pl_PL", "pl"},    {"ja_JP", "ja"},    {"ko_KR", "ko"},    {"zh_CN", "zh-cn"},
      {"zh_SG", "zh-cn"}, {"zh_TW", "zh-tw"}, {"zh_HK", "zh-tw"}, {"zh_MO", "zh-tw"}, {"ar_EG", "ar"},
      {"ar_SA", "ar"}};
  return all;
}

class TranslatedTextsTest : public ::testing::Test {
 protected:
  TranslatedTextsTest() { static_cast<void>(CStoragePath::CreateSingletonInstance(m_pStoragePath)); }
  ~TranslatedTextsTest() override {
    MsgCatalog::setBasePath("");
    CStoragePath::releaseInstance(m_pStoragePath);
  }

  // Sets the catalog up as a new process in that locale does.
  static void startIn(const std::string& locale, const std::string& basePath) {
    const test::ScopedEnv all("LC_ALL", locale.c_str());
    MsgCatalog::resetCatalog();
    MsgCatalog::setBasePath(basePath);
    MsgCatalog::init("Tessarmont", "");
  }
  static std::string message(const std::string& key) {
    std::string out;
    MsgCatalog::getMessage(key.c_str(), out);
    return out;
  }

 private:
  CStoragePath* m_pStoragePath = nullptr;
};

TEST_F(TranslatedTextsTest, EveryLocaleReadsEveryTextThroughTheCatalog) {
  std::set<std::string> read;
  for (const auto& [locale, language] : locales()) {
    startIn(locale + ".UTF-8", std::string(TOLM_TEST_BUILD_DIR) + "/");
    for (const PoEntry& entry : readPo(poPath(language)).entries) {
      EXPECT_EQ(message(entry.key), entry.translation) << locale;
    }
    EXPECT_STREQ(mocatalog::gettextCharset(), "utf-8") << locale;
    read.insert(language);
  }
  EXPECT_EQ(read, std::set<std::string>(languages().begin(), languages().end()));
}

TEST_F(TranslatedTextsTest, EveryBuiltFolderHoldsAFileAndEveryTranslationIsListed) {
  std::set<std::string> sources;
  for (const std::string& name : test::listFolder(test::sourcePath("l10n"))) {
    if (name.ends_with(".po")) {
      sources.insert(name.substr(0, name.size() - 3));
    }
  }
  EXPECT_EQ(sources, std::set<std::string>(languages().begin(), languages().end()));
  std::set<std::string> folders;
  for (const std::string& name : test::listFolder(builtFolder())) {
    if (test::exists(builtFolder() + "/" + name + "/LC_MESSAGES/Tessarmont.mo")) {
      folders.insert(name);
    }
  }
  EXPECT_EQ(folders, (std::set<std::string>{"ar", "de", "es", "fr", "it", "ja", "ko", "pl", "pt-br", "zh-cn",
                                            "zh-hk", "zh-mo", "zh-sg", "zh-tw"}));
}

TEST_F(TranslatedTextsTest, LocalesWithoutATranslationReadEnglish) {
  for (const char* locale : {"en_US.UTF-8", "en_GB.UTF-8", "pt_PT.UTF-8", "sv_SE.UTF-8", "C", "de"}) {
    startIn(locale, std::string(TOLM_TEST_BUILD_DIR) + "/");
    for (const std::string& text : allTexts()) {
      EXPECT_EQ(message(text), text) << locale;
    }
  }
}

TEST_F(TranslatedTextsTest, InstalledFilesAreFoundBelowTheInstallation) {
  test::RunOptions options;
  options.environment["DESTDIR"] = "";
  const test::RunResult result = test::runProgram(
      {"cmake", "-DCMAKE_INSTALL_PREFIX=/opt/halvo/tessarmont", "-P", builtFolder() + "/cmake_install.cmake"},
      options);
  ASSERT_EQ(result.exitStatus, 0) << result.err;
  startIn("pt_BR.UTF-8", "");
  EXPECT_EQ(message("Cancel"), "Cancelar");
  startIn("de_AT.UTF-8", "");
  EXPECT_EQ(message("Cancel"), "Abbrechen");
}

TEST(TranslationTemplateTest, TemplateHoldsTheTextsOfTheTable) {
  const PoFile file = readPo(test::sourcePath("l10n/Tessarmont.pot"));
  EXPECT_EQ(keysOf(file), allTexts());
  for (const PoEntry& entry : file.entries) {
    EXPECT_EQ(entry.translation, "") << entry.key;
  }
}

}  // namespace
}  // namespace halvo
