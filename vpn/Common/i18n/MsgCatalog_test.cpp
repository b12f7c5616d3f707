#include "vpn/Common/i18n/MsgCatalog.h"

#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <filesystem>
#include <list>
#include <string>
#include <thread>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MoBuilder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/StoragePath.h"
#include "vpn/Common/i18n/MoCatalog.h"
#include "vpn/Common/i18n/MsgWithArg.h"

namespace halvo {

// The language files lie at their real place below /opt, in the private root of the test.
class MsgCatalogTest : public ::testing::Test {
 protected:
  MsgCatalogTest()
      : m_all("LC_ALL", "de_AT.UTF-8"), m_messages("LC_MESSAGES", nullptr), m_lang("LANG", nullptr) {
    forgetEverything();
    static_cast<void>(CStoragePath::CreateSingletonInstance(m_pStoragePath));
  }
  ~MsgCatalogTest() override {
    CStoragePath::releaseInstance(m_pStoragePath);
    std::filesystem::remove_all("/opt/halvo");
    forgetEverything();
    std::setlocale(LC_ALL, "C");
  }

  // What a new process starts with.
  static void forgetEverything() {
    MsgCatalog::unloadCatalog();
    // The record itself can't be taken back.
    mocatalog::bindtextdomain("Tessarmont", "/nowhere");
    mocatalog::textdomain("");
    MsgCatalog::catalogName.clear();
    MsgCatalog::locale.clear();
    MsgCatalog::basePathOverride.clear();
    MsgCatalog::initialised = false;
  }
  void releaseStoragePath() {
    CStoragePath::releaseInstance(m_pStoragePath);
    m_pStoragePath = nullptr;
  }

  static bool isInitialised() { return MsgCatalog::initialised; }
  static std::string currentCatalog() { return MsgCatalog::catalogName; }
  static std::string currentLocale() { return MsgCatalog::locale; }

  static test::MoBuilder german(const std::string& charset = "utf-8") {
    return test::MoBuilder()
        .add("", "Content-Type: text/plain; charset=" + charset + "\n")
        .add("Run", "Starten")
        .add("one file", "eine Datei")
        .add("files", "Dateien")
        .add("%s and %s", "%2$s und %1$s");
  }
  static void install(const std::string& locale, const test::MoBuilder& file,
                      const std::string& catalog = "Tessarmont") {
    test::writeFile("/opt/halvo/tessarmont/l10n/" + locale + "/LC_MESSAGES/" + catalog + ".mo", file.build());
  }
  static std::string message(const char* key) {
    std::string out = "left over";
    MsgCatalog::getMessage(key, out);
    return out;
  }

 private:
  test::ScopedEnv m_all;
  test::ScopedEnv m_messages;
  test::ScopedEnv m_lang;
  CStoragePath* m_pStoragePath = nullptr;
};

namespace {

using test::LogRecorder;
using test::MoBuilder;
using test::ScopedEnv;

TEST_F(MsgCatalogTest, FirstRequestSetsTheCatalogUp) {
  install("de", german());
  LogRecorder log;
  EXPECT_FALSE(isInitialised());
  EXPECT_EQ(message("Run"), "Starten");
  EXPECT_TRUE(isInitialised());
  EXPECT_EQ(currentCatalog(), "Tessarmont");
  EXPECT_EQ(currentLocale(), "de-at");
  ASSERT_EQ(log.records().size(), 1U) << log.dump();
  EXPECT_EQ(log.records()[0].level, kLogInformation);
  EXPECT_EQ(log.records()[0].text(), "initialized catalog: Tessarmont with locale: de-at");
  EXPECT_EQ(message("Run"), "Starten");
  EXPECT_EQ(log.records().size(), 1U) << log.dump();
}

TEST_F(MsgCatalogTest, KeyWithoutTranslationComesBack) {
  install("de", german());
  EXPECT_EQ(message("Stop"), "Stop");
}

TEST_F(MsgCatalogTest, NothingInstalledGivesTheKeysAndNothingInTheLog) {
  const ScopedEnv all("LC_ALL", "fr_FR.UTF-8");
  LogRecorder log;
  EXPECT_EQ(message("Run"), "Run");
  EXPECT_EQ(message("Cancel"), "Cancel");
  EXPECT_EQ(log.records().size(), 1U) << log.dump();
}

TEST_F(MsgCatalogTest, LocaleWithoutCountryGivesTheEnglishKeysAndErrorsInTheLog) {
  install("de", german());
  const ScopedEnv all("LC_ALL", "de");
  LogRecorder log;
  EXPECT_EQ(message("Run"), "Run");
  EXPECT_EQ(currentLocale(), "");
  // The locale is asked for twice while the catalog is set up.
  EXPECT_EQ(log.count("CFLocaleGetValue(kCFLocaleCountryCode) returned NULL"), 2U) << log.dump();
  EXPECT_TRUE(log.hasReturnCode(kLogError, "CoreFoundationUtils::GetLangCode", GLOBAL_ERROR_UNEXPECTED))
      << log.dump();
  EXPECT_EQ(log.records().back().text(), "initialized catalog: Tessarmont with locale: ");
}

TEST_F(MsgCatalogTest, LocaleOfCGivesTheEnglishKeys) {
  install("C", german());
  const ScopedEnv all("LC_ALL", "C");
  EXPECT_EQ(message("Run"), "Run");
}

TEST_F(MsgCatalogTest, NullKeyIsAnErrorAndGivesTheEmptyText) {
  LogRecorder log;
  EXPECT_EQ(message(nullptr), "");
  ASSERT_EQ(log.records().size(), 1U) << log.dump();
  EXPECT_EQ(log.records()[0].level, kLogError);
  EXPECT_EQ(log.records()[0].text(), "Error getting the translated message. NULL pointer.");
  EXPECT_FALSE(isInitialised());
}

TEST_F(MsgCatalogTest, EmptyKeyIsntLookedUpAndGivesTheEmptyText) {
  install("de", german());
  LogRecorder log;
  EXPECT_EQ(message(""), "");
  EXPECT_FALSE(isInitialised());
  EXPECT_EQ(message("Run"), "Starten");
  EXPECT_EQ(message(""), "");
}

TEST_F(MsgCatalogTest, MissingStoragePathIsOneErrorAndGivesTheKeys) {
  install("de", german());
  releaseStoragePath();
  LogRecorder log;
  EXPECT_EQ(message("Run"), "Run");
  EXPECT_EQ(message("Run"), "Run");
  EXPECT_EQ(log.count("CInstanceSmartPtr<StoragePath>"), 1U) << log.dump();
  EXPECT_TRUE(log.hasReturnCode(kLogError, "CInstanceSmartPtr<StoragePath>", CSTORAGEPATH_ERROR_NO_INSTANCE))
      << log.dump();
}

TEST_F(MsgCatalogTest, LocalizationPathLiesBelowTheInstallation) {
  std::string path = "left over";
  MsgCatalog::getLocalizationPath(path);
  EXPECT_EQ(path, "/opt/halvo/tessarmont/l10n");
  MsgCatalog::setBasePath("/elsewhere/");
  MsgCatalog::getLocalizationPath(path);
  EXPECT_EQ(path, "/elsewhere/l10n");
  MsgCatalog::setBasePath("/no/slash");
  MsgCatalog::getLocalizationPath(path);
  EXPECT_EQ(path, "/no/slashl10n");
  releaseStoragePath();
  MsgCatalog::getLocalizationPath(path);
  EXPECT_EQ(path, "");
}

TEST_F(MsgCatalogTest, BasePathStandsInPlaceOfTheInstallation) {
  const test::TempFolder folder;
  test::writeFile(folder.file("l10n/de/LC_MESSAGES/Tessarmont.mo"), MoBuilder().add("Run", "Los").build());
  install("de", german());
  MsgCatalog::setBasePath(folder.path() + "/");
  EXPECT_EQ(message("Run"), "Los");
}

TEST_F(MsgCatalogTest, InitTakesTheHostsLocaleWhateverIsAskedFor) {
  install("de", german());
  MsgCatalog::setLocale("it-it");
  MsgCatalog::init("Tessarmont", "fr-fr");
  EXPECT_EQ(currentLocale(), "de-at");
  EXPECT_EQ(message("Run"), "Starten");
}

TEST_F(MsgCatalogTest, InitWithALocaleAsksTheHostOnce) {
  const ScopedEnv all("LC_ALL", "de");
  LogRecorder log;
  MsgCatalog::init("Tessarmont", "fr-fr");
  EXPECT_EQ(log.count("CFLocaleGetValue(kCFLocaleCountryCode) returned NULL"), 1U) << log.dump();
}

TEST_F(MsgCatalogTest, InitInTheOtherOrderIsTheSame) {
  LogRecorder log;
  MsgCatalog::initForLocale("fr-fr", "Tessarmont");
  EXPECT_EQ(currentCatalog(), "Tessarmont");
  EXPECT_TRUE(log.has(kLogInformation, "initialized catalog: Tessarmont with locale: de-at")) << log.dump();
}

TEST_F(MsgCatalogTest, LocaleSetAfterInitHolds) {
  install("de", german());
  install("it", MoBuilder().add("Run", "Avvia"));
  MsgCatalog::init("Tessarmont", "");
  MsgCatalog::setLocale("it-it");
  EXPECT_EQ(message("Run"), "Avvia");
}

TEST_F(MsgCatalogTest, MessageOfACatalogMakesThatOneCurrentFromTheFirstRequestOn) {
  install("de", german());
  install("de", MoBuilder().add("Run", "Los"), "Other");
  std::string out = "left over";
  MsgCatalog::getMessage("Run", "Other", out);
  EXPECT_EQ(out, "Los");
  EXPECT_EQ(currentCatalog(), "Other");
  EXPECT_STREQ(mocatalog::textdomain(nullptr), "Other");
  EXPECT_EQ(message("Run"), "Los");
  MsgCatalog::getMessage("Run", "Tessarmont", out);
  EXPECT_EQ(out, "Starten");
}

TEST_F(MsgCatalogTest, MessageOfACatalogChecksItsKeyFirst) {
  LogRecorder log;
  std::string out = "left over";
  MsgCatalog::getMessage(nullptr, std::string("Other"), out);
  EXPECT_EQ(out, "");
  EXPECT_TRUE(log.has(kLogError, "Error getting the translated message. NULL pointer.")) << log.dump();
  out = "left over";
  MsgCatalog::getMessage("", "Other", out);
  EXPECT_EQ(out, "");
  EXPECT_EQ(currentCatalog(), "");
}

TEST_F(MsgCatalogTest, PluralRequestIsLookedUpByItsPluralKey) {
  install("de", german());
  std::string out;
  MsgCatalog::getMessage("one file", "files", 1, out);
  EXPECT_EQ(out, "eine Datei");
  MsgCatalog::getMessage("one file", "files", 2, out);
  EXPECT_EQ(out, "Dateien");
  MsgCatalog::getMessage("one file", "folders", 2, out);
  EXPECT_EQ(out, "folders");
}

TEST_F(MsgCatalogTest, PluralRequestNeedsBothKeys) {
  install("de", german());
  LogRecorder log;
  std::string out = "left over";
  MsgCatalog::getMessage("one file", nullptr, 1, out);
  EXPECT_EQ(out, "");
  out = "left over";
  MsgCatalog::getMessage(nullptr, "files", 2, out);
  EXPECT_EQ(out, "");
  ASSERT_EQ(log.records().size(), 2U) << log.dump();
  for (const test::LogRecord& record : log.records()) {
    EXPECT_EQ(record.level, kLogError);
    EXPECT_EQ(record.text(), "Error getting the translated message. NULL pointer.");
  }
  out = "left over";
  MsgCatalog::getMessage("", "files", 2, out);
  EXPECT_EQ(out, "");
  out = "left over";
  MsgCatalog::getMessage("one file", "", 1, out);
  EXPECT_EQ(out, "");
  EXPECT_EQ(log.records().size(), 2U) << log.dump();
}

TEST_F(MsgCatalogTest, PluralRequestSetsTheCatalogUpToo) {
  install("de", german());
  std::string out;
  MsgCatalog::getMessage("one file", "files", 2, out);
  EXPECT_EQ(out, "Dateien");
  EXPECT_TRUE(isInitialised());
}

TEST_F(MsgCatalogTest, SetCatalogAnswersTrueWhileNothingIsLoaded) {
  install("de", german("ISO-8859-1"));
  LogRecorder log;
  EXPECT_TRUE(MsgCatalog::setCatalog("Tessarmont"));
  EXPECT_TRUE(log.records().empty()) << log.dump();
  EXPECT_EQ(currentCatalog(), "Tessarmont");
  EXPECT_STREQ(mocatalog::textdomain(nullptr), "Tessarmont");
  EXPECT_STREQ(mocatalog::findDomain("Tessarmont")->directory, "/opt/halvo/tessarmont/l10n");
}

TEST_F(MsgCatalogTest, SetCatalogOfTheCurrentOneDoesNothing) {
  ASSERT_TRUE(MsgCatalog::setCatalog("Tessarmont"));
  mocatalog::textdomain("messages");
  ASSERT_TRUE(MsgCatalog::setCatalog("Tessarmont"));
  EXPECT_STREQ(mocatalog::textdomain(nullptr), "messages");
}

TEST_F(MsgCatalogTest, SetCatalogTakesTheHostsLocaleForTheCLibrary) {
  const ScopedEnv all("LC_ALL", "C.UTF-8");
  std::setlocale(LC_ALL, "C");
  ASSERT_TRUE(MsgCatalog::setCatalog("Tessarmont"));
  EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C.UTF-8");
}

// A catalog stays loaded over setCatalog() only where it can't be bound anew: here, for want of an
// absolute folder.
TEST_F(MsgCatalogTest, SetCatalogTellsThatALoadedCatalogIsUtf8) {
  install("de", german("utf-8"));
  EXPECT_EQ(message("Run"), "Starten");
  MsgCatalog::resetCatalog();
  EXPECT_EQ(currentCatalog(), "");
  MsgCatalog::setBasePath("relative/");
  LogRecorder log;
  EXPECT_TRUE(MsgCatalog::setCatalog("Tessarmont"));
  ASSERT_EQ(log.records().size(), 1U) << log.dump();
  EXPECT_EQ(log.records()[0].level, kLogInformation);
  EXPECT_EQ(log.records()[0].text(), "The character set is utf-8.");
}

TEST_F(MsgCatalogTest, SetCatalogRefusesAnyOtherSpellingOfALoadedCharset) {
  install("de", german("UTF-8"));
  EXPECT_EQ(message("Run"), "Starten");
  MsgCatalog::resetCatalog();
  MsgCatalog::setBasePath("relative/");
  LogRecorder log;
  EXPECT_FALSE(MsgCatalog::setCatalog("Tessarmont"));
  ASSERT_EQ(log.records().size(), 1U) << log.dump();
  EXPECT_EQ(log.records()[0].level, kLogError);
  EXPECT_EQ(log.records()[0].text(), "The specified character set <UTF-8> is unsupported.");
  // The catalog is current all the same, and its texts go on.
  EXPECT_EQ(currentCatalog(), "Tessarmont");
  EXPECT_EQ(message("Run"), "Starten");
}

TEST_F(MsgCatalogTest, InitTellsThatSetCatalogFailed) {
  install("de", german("ISO-8859-1"));
  EXPECT_EQ(message("Run"), "Starten");
  MsgCatalog::resetCatalog();
  MsgCatalog::setBasePath("relative/");
  LogRecorder log;
  MsgCatalog::init("Tessarmont", "");
  EXPECT_TRUE(log.has(kLogError, "Error setting the translation catalog Tessarmont.")) << log.dump();
  EXPECT_TRUE(log.has(kLogInformation, "initialized catalog: Tessarmont with locale: de-at")) << log.dump();
}

TEST_F(MsgCatalogTest, UnloadedCatalogIsLoadedAgain) {
  install("de", german());
  EXPECT_EQ(message("Run"), "Starten");
  // Replaced, not rewritten: the old file stays as it is while it is mapped.
  std::filesystem::remove("/opt/halvo/tessarmont/l10n/de/LC_MESSAGES/Tessarmont.mo");
  install("de", MoBuilder().add("Run", "Los"));
  EXPECT_EQ(message("Run"), "Starten");
  MsgCatalog::unloadCatalog();
  EXPECT_EQ(message("Run"), "Los");
}

TEST_F(MsgCatalogTest, KeptValuesComeBack) {
  MsgCatalog::setValue64(0x123456789abcdef0);
  MsgCatalog::setValue32(-7);
  EXPECT_EQ(MsgCatalog::getValue64(), 0x123456789abcdef0);
  EXPECT_EQ(MsgCatalog::getValue32(), -7);
}

TEST_F(MsgCatalogTest, MessageWithArgumentsIsTranslatedFirst) {
  install("de", german());
  MsgWithArg message("%s and %s");
  message.addArgument("a");
  message.addArgument("b");
  std::string out;
  message.format(out, true);
  EXPECT_EQ(out, "b und a");
  message.format(out, false);
  EXPECT_EQ(out, "a and b");
}

TEST_F(MsgCatalogTest, MessageWithArgumentsTakesItsOwnCatalog) {
  install("de", german());
  install("de", MoBuilder().add("Run", "Los"), "Other");
  MsgWithArg message("Run", "Other");
  std::string out;
  message.format(out, true);
  EXPECT_EQ(out, "Los");
  message.setCatalog("Tessarmont");
  message.format(out, true);
  EXPECT_EQ(out, "Starten");
  message.setCatalog(std::string("Other"));
  message.format(out, true);
  EXPECT_EQ(out, "Los");
  message.setCatalog(nullptr);
  message.format(out, true);
  EXPECT_EQ(out, "Los");
}

TEST_F(MsgCatalogTest, RequestsOfSeveralThreadsDontDisturbEachOther) {
  install("de", german());
  install("de", MoBuilder().add("Run", "Los"), "Other");
  std::atomic<int> wrong = 0;
  const auto requests = [&wrong](const char* catalog, const char* expected) {
    for (int i = 0; i < 200; ++i) {
      std::string out;
      MsgCatalog::getMessage("Run", catalog, out);
      wrong += out != expected ? 1 : 0;
    }
  };
  std::thread one(requests, "Tessarmont", "Starten");
  std::thread other(requests, "Other", "Los");
  one.join();
  other.join();
  EXPECT_EQ(wrong, 0);
}

class SupportedLanguagesTest : public MsgCatalogTest {
 protected:
  static std::string choose(std::list<std::string> languages, const std::string& requested) {
    std::string out = "left over";
    EXPECT_RESULT(MsgCatalog::GetLangCodeFromSupportedLangs(languages, out, requested), 0);
    return out;
  }
};

TEST_F(SupportedLanguagesTest, EmptyListTouchesNothing) {
  EXPECT_EQ(choose({}, "de-at"), "left over");
}

TEST_F(SupportedLanguagesTest, FullMatchWinsOverTheLanguageWherever) {
  EXPECT_EQ(choose({"de-at", "de", "en-us"}, "de-at"), "de-at");
  EXPECT_EQ(choose({"de", "de-de", "de-at"}, "de-at"), "de-at");
}

TEST_F(SupportedLanguagesTest, ShortestEntryOfTheLanguageStandsIn) {
  EXPECT_EQ(choose({"de-ch", "de", "en-us"}, "de-at"), "de");
  EXPECT_EQ(choose({"de-ch", "de-li"}, "de-at"), "de-ch");
  EXPECT_EQ(choose({"deu-de"}, "de-at"), "deu-de");
}

TEST_F(SupportedLanguagesTest, NoMatchGivesTheEmptyText) {
  EXPECT_EQ(choose({"fr-fr", "en-us"}, "de-at"), "");
}

TEST_F(SupportedLanguagesTest, ChineseIsChosenByItsScript) {
  for (const char* locale : {"zh-tw", "zh-mo", "zh-HK", "zh-hant", "zh-Hant-TW", "zh-hant-cn"}) {
    EXPECT_EQ(choose({"zh-x"}, locale), "zh-tw") << locale;
  }
  for (const char* locale : {"zh-cn", "zh-sg", "zh-hans", "zh-hans-tw"}) {
    EXPECT_EQ(choose({"zh-x"}, locale), "zh-cn") << locale;
  }
}

TEST_F(SupportedLanguagesTest, FurtherPartIsCutOffALocaleOfEightCharactersAndMore) {
  EXPECT_EQ(choose({"zh-x"}, "zh-tw-x"), "zh-cn");
  EXPECT_EQ(choose({"zh-x"}, "zh-tw-xy"), "zh-tw");
}

TEST_F(SupportedLanguagesTest, ChineseStopsAtTheFirstEntryOfItsLanguage) {
  EXPECT_EQ(choose({"zh", "zh-sg"}, "zh-sg"), "zh-cn");
  EXPECT_EQ(choose({"zh-sg"}, "zh-sg"), "zh-sg");
}

TEST_F(SupportedLanguagesTest, ShortChineseLocaleIsMatchedLikeAnyOther) {
  EXPECT_EQ(choose({"zh-x", "zh"}, "zh-t"), "zh");
}

TEST_F(SupportedLanguagesTest, LocaleWithoutHyphenFails) {
  std::list<std::string> languages = {"de-at", "de"};
  std::string out = "left over";
  EXPECT_RESULT(MsgCatalog::GetLangCodeFromSupportedLangs(languages, out, "de"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(out, "");
  EXPECT_EQ(languages, (std::list<std::string>{"de", "de-at"}));
}

TEST_F(SupportedLanguagesTest, NothingRequestedStandsForTheHostsLocale) {
  EXPECT_EQ(choose({"fr", "de-at", "de"}, ""), "de-at");
}

TEST_F(SupportedLanguagesTest, NothingRequestedAndNoHostLocaleFails) {
  const ScopedEnv all("LC_ALL", "C");
  LogRecorder log;
  std::list<std::string> languages = {"de-at", "de"};
  std::string out = "left over";
  EXPECT_RESULT(MsgCatalog::GetLangCodeFromSupportedLangs(languages, out, ""), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(out, "");
  EXPECT_TRUE(log.hasReturnCode(kLogError, "MsgCatalog::GetLangCode", GLOBAL_ERROR_UNEXPECTED)) << log.dump();
  EXPECT_EQ(languages, (std::list<std::string>{"de-at", "de"}));
}

}  // namespace
}  // namespace halvo
