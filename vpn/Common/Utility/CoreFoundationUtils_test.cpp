#include "vpn/Common/Utility/CoreFoundationUtils.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using test::LogRecorder;
using test::ScopedEnv;

class LangCodeTest : public ::testing::Test {
 protected:
  LangCodeTest() : m_all("LC_ALL", nullptr), m_messages("LC_MESSAGES", nullptr), m_lang("LANG", nullptr) {}

  // Expects the failure with `message` as the one record.
  void expectFailure(const char* locale, const std::string& message) {
    const ScopedEnv all("LC_ALL", locale);
    LogRecorder log;
    std::string code = "left over";
    EXPECT_RESULT(GetLangCode(code), GLOBAL_ERROR_UNEXPECTED);
    EXPECT_EQ(code, "");
    ASSERT_EQ(log.records().size(), 1U) << log.dump();
    EXPECT_EQ(log.records()[0].level, kLogError);
    EXPECT_EQ(log.records()[0].text(), message);
    EXPECT_EQ(log.records()[0].field("Function"), "GetLangCode");
  }

  static void expectCode(const char* locale, const std::string& expected) {
    const ScopedEnv all("LC_ALL", locale);
    LogRecorder log;
    std::string code = "left over";
    EXPECT_RESULT(GetLangCode(code), 0);
    EXPECT_EQ(code, expected);
    EXPECT_TRUE(log.records().empty()) << log.dump();
  }

 private:
  ScopedEnv m_all;
  ScopedEnv m_messages;
  ScopedEnv m_lang;
};

TEST_F(LangCodeTest, LanguageAndCountryAreJoinedInLowerCase) {
  expectCode("de_AT", "de-at");
  expectCode("de_AT.UTF-8", "de-at");
  expectCode("fr_CH.UTF-8", "fr-ch");
  expectCode("en_US.utf8", "en-us");
  expectCode("zh_TW.Big5", "zh-tw");
}

TEST_F(LangCodeTest, ModifierIsCutOffWithAndWithoutCodeset) {
  expectCode("de_DE@euro", "de-de");
  expectCode("sr_RS.UTF-8@latin", "sr-rs");
}

TEST_F(LangCodeTest, LocaleWithoutCountryFailsAlthoughItsLanguageIsKnown) {
  expectFailure("de", "CFLocaleGetValue(kCFLocaleCountryCode) returned NULL");
  expectFailure("de.UTF-8", "CFLocaleGetValue(kCFLocaleCountryCode) returned NULL");
  expectFailure("de_", "CFLocaleGetValue(kCFLocaleCountryCode) returned NULL");
  expectFailure("de_.UTF-8", "CFLocaleGetValue(kCFLocaleCountryCode) returned NULL");
}

TEST_F(LangCodeTest, CAndPosixCountAsNoLocale) {
  expectFailure("C", "CFLocaleCopyCurrent returned NULL");
  expectFailure("C.UTF-8", "CFLocaleCopyCurrent returned NULL");
  expectFailure("POSIX", "CFLocaleCopyCurrent returned NULL");
}

TEST_F(LangCodeTest, NoLocaleInTheEnvironmentFails) {
  expectFailure(nullptr, "CFLocaleCopyCurrent returned NULL");
}

TEST_F(LangCodeTest, CountryWithoutLanguageFails) {
  expectFailure("_AT.UTF-8", "Could not get the locale information");
}

TEST_F(LangCodeTest, MissingLanguageFailsBeforeTheCountryIsLookedAt) {
  LogRecorder log;
  std::string code = "left over";
  EXPECT_RESULT(GetLangCode({true, std::nullopt, "AT"}, code), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(code, "");
  ASSERT_EQ(log.records().size(), 1U) << log.dump();
  EXPECT_EQ(log.records()[0].text(), "CFLocaleGetValue(kCFLocaleLanguageCode) returned NULL");
}

TEST_F(LangCodeTest, EmptyCountryOfAHostGivesTheLanguageAlone) {
  std::string code;
  EXPECT_RESULT(GetLangCode({true, "DE", ""}, code), 0);
  EXPECT_EQ(code, "de");
}

TEST_F(LangCodeTest, LcAllWinsOverLcMessagesAndThatOverLang) {
  const ScopedEnv lang("LANG", "pl_PL.UTF-8");
  expectCode(nullptr, "pl-pl");
  const ScopedEnv messages("LC_MESSAGES", "it_IT.UTF-8");
  expectCode(nullptr, "it-it");
  expectCode("ko_KR.UTF-8", "ko-kr");
}

TEST_F(LangCodeTest, EmptyVariableIsPassedOver) {
  const ScopedEnv messages("LC_MESSAGES", "");
  const ScopedEnv lang("LANG", "es_MX.UTF-8");
  expectCode("", "es-mx");
}

TEST_F(LangCodeTest, LcAllSetToCHidesALocaleInLang) {
  const ScopedEnv lang("LANG", "es_MX.UTF-8");
  expectFailure("C", "CFLocaleCopyCurrent returned NULL");
}

}  // namespace
}  // namespace halvo
