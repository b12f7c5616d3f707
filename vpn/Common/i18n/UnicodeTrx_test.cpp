#include "vpn/Common/i18n/UnicodeTrx.h"

#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "tests/support/LogRecorder.h"

namespace halvo {
namespace {

using test::LogRecorder;

class UnicodeTrxTest : public ::testing::Test {
 protected:
  UnicodeTrxTest() { useLocale("C.UTF-8"); }
  ~UnicodeTrxTest() override { std::setlocale(LC_ALL, "C"); }

  static void useLocale(const char* name) { EXPECT_NE(std::setlocale(LC_ALL, name), nullptr); }
};

TEST_F(UnicodeTrxTest, TextsAreConvertedBothWays) {
  LogRecorder log;
  EXPECT_EQ(UnicodeTrx::convertMultiByteToWide("Gr\xc3\xbc\xc3\x9f \xe2\x82\xac"), L"Gr\u00fc\u00df \u20ac");
  EXPECT_EQ(UnicodeTrx::convertWideToMultibyte(L"Gr\u00fc\u00df \u20ac"), "Gr\xc3\xbc\xc3\x9f \xe2\x82\xac");
  EXPECT_EQ(UnicodeTrx::convertWideToMultibyte(std::wstring(L"Gr\u00fc\u00df")), "Gr\xc3\xbc\xc3\x9f");
  EXPECT_TRUE(log.records().empty()) << log.dump();
}

TEST_F(UnicodeTrxTest, EmptyTextsGiveEmptyTexts) {
  LogRecorder log;
  EXPECT_EQ(UnicodeTrx::convertMultiByteToWide(""), L"");
  EXPECT_EQ(UnicodeTrx::convertWideToMultibyte(L""), "");
  EXPECT_EQ(UnicodeTrx::convertWideToMultibyte(std::wstring()), "");
  EXPECT_TRUE(log.records().empty()) << log.dump();
}

TEST_F(UnicodeTrxTest, NullTextsAreLoggedAndGiveEmptyTexts) {
  LogRecorder log;
  EXPECT_EQ(UnicodeTrx::convertMultiByteToWide(nullptr), L"");
  EXPECT_EQ(UnicodeTrx::convertWideToMultibyte(static_cast<const wchar_t*>(nullptr)), "");
  ASSERT_EQ(log.records().size(), 2U) << log.dump();
  EXPECT_TRUE(log.hasReturnCode(kLogError, "UnicodeTrx::convertMultiByteToWide", GLOBAL_ERROR_BAD_PARAMETER));
  EXPECT_TRUE(log.hasReturnCode(kLogError, "UnicodeTrx::convertWideToMultibyte", GLOBAL_ERROR_BAD_PARAMETER));
}

TEST_F(UnicodeTrxTest, BytesThatTheLocaleCantConvertAreLogged) {
  LogRecorder log;
  EXPECT_EQ(UnicodeTrx::convertMultiByteToWide("a\xff"), L"");
  ASSERT_EQ(log.records().size(), 1U) << log.dump();
  EXPECT_EQ(log.records()[0].level, kLogError);
  EXPECT_EQ(log.records()[0].field("Invoked Function"), "UnicodeTrx::convertMultiByteToWide");
  EXPECT_TRUE(log.has(kLogError, "Unable to convert input to wide character: a\xff")) << log.dump();
}

TEST_F(UnicodeTrxTest, WideTextThatTheLocaleCantConvertIsLogged) {
  useLocale("C");
  LogRecorder log;
  EXPECT_EQ(UnicodeTrx::convertWideToMultibyte(L"a\u20ac"), "");
  ASSERT_EQ(log.records().size(), 1U) << log.dump();
  EXPECT_EQ(log.records()[0].level, kLogError);
  EXPECT_EQ(log.records()[0].field("Invoked Function"), "UnicodeTrx::convertWideToMultibyte");
  EXPECT_TRUE(log.has(kLogError, "Unable to convert input to multibyte character: ")) << log.dump();
}

}  // namespace
}  // namespace halvo
