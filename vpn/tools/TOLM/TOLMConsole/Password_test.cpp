#include "vpn/tools/TOLM/TOLMConsole/Password.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using ::testing::HasSubstr;

class PasswordFileTest : public ::testing::Test {
 protected:
  PasswordResult read(const std::string& content) {
    test::writeFile(folder.file("p"), content);
    return readPasswordFile(folder.file("p"));
  }
  test::TempFolder folder;
};

TEST_F(PasswordFileTest, TheFirstLineWithoutItsEndIsThePassword) {
  EXPECT_EQ(read("secret\nmore\n").password, "secret");
  EXPECT_EQ(read("secret\r\nmore\r\n").password, "secret");
  EXPECT_EQ(read("secret").password, "secret");
  EXPECT_EQ(read(" se cret \xc3\xa4 \n").password, " se cret \xc3\xa4 ");
}

TEST_F(PasswordFileTest, OnlyTheCarriageReturnOfTheLineEndGoes) {
  EXPECT_EQ(read("a\rb\r\r\n").password, "a\rb\r");
  EXPECT_EQ(read("a\r").password, "a\r");
}

TEST_F(PasswordFileTest, AnEmptyFirstLineIsRefusedSinceItWouldNotEncrypt) {
  for (const char* content : {"", "\n", "\r\n", "\nsecret\n"}) {
    const PasswordResult result = read(content);
    EXPECT_TRUE(result.password.empty());
    EXPECT_THAT(result.error, HasSubstr("the password is empty"));
  }
}

TEST_F(PasswordFileTest, TheLimitIsToldAndHolds) {
  EXPECT_EQ(read(std::string(kMaxPassword, 'x') + "\r\n").password, std::string(kMaxPassword, 'x'));
  EXPECT_EQ(read(std::string(kMaxPassword, 'x')).password, std::string(kMaxPassword, 'x'));
  EXPECT_THAT(read(std::string(kMaxPassword + 1, 'x') + "\n").error, HasSubstr("longer than 1024 bytes"));
  EXPECT_THAT(read(std::string(1'000'000, 'x')).error, HasSubstr("longer than 1024 bytes"));
}

TEST_F(PasswordFileTest, AZeroByteIsRefused) {
  EXPECT_THAT(read(std::string("a\0b\n", 4)).error, HasSubstr("zero byte"));
}

TEST_F(PasswordFileTest, AFileThatCannotBeReadIsNamedWithTheReason) {
  EXPECT_THAT(readPasswordFile(folder.file("none")).error,
              ::testing::AllOf(HasSubstr(folder.file("none")), HasSubstr("No such file or directory")));
  EXPECT_THAT(readPasswordFile(folder.path()).error, HasSubstr("Is a directory"));
}

TEST_F(PasswordFileTest, NoErrorHoldsThePassword) {
  EXPECT_EQ(read("hunter" + std::string(2000, '2')).error.find("hunter"), std::string::npos);
}

}  // namespace
}  // namespace halvo
