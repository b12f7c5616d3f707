#include "vpn/tools/TOLM/TOLMConsole/Password.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <thread>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

namespace halvo {
namespace {

using ::testing::HasSubstr;

class PasswordFileTest : public ::testing::Test {
 protected:
  PasswordResult read(const std::string& content) {
    test::writeFile(folder.file("p"), content);
    return readPasswordFile(folder.file("p"));
  }
  static std::string text(const PasswordResult& result) {
    return result.password ? std::string(result.password->view()) : "none: " + result.error;
  }
  test::TempFolder folder;
};

TEST_F(PasswordFileTest, TheFirstLineWithoutItsEndIsThePassword) {
  EXPECT_EQ(text(read("secret\nmore\n")), "secret");
  EXPECT_EQ(text(read("secret\r\nmore\r\n")), "secret");
  EXPECT_EQ(text(read("secret")), "secret");
  EXPECT_EQ(text(read(" se cret \xc3\xa4 \n")), " se cret \xc3\xa4 ");
}

TEST_F(PasswordFileTest, OnlyTheCarriageReturnOfTheLineEndGoes) {
  EXPECT_EQ(text(read("a\rb\r\r\n")), "a\rb\r");
  EXPECT_EQ(text(read("a\r")), "a\r");
}

TEST_F(PasswordFileTest, AnEmptyFirstLineIsRefusedSinceItWouldNotEncrypt) {
  for (const char* content : {"", "\n", "\r\n", "\nsecret\n"}) {
    const PasswordResult result = read(content);
    EXPECT_EQ(result.password, nullptr);
    EXPECT_THAT(result.error, HasSubstr("the password is empty"));
  }
}

TEST_F(PasswordFileTest, TheLimitIsToldAndHolds) {
  EXPECT_EQ(text(read(std::string(kMaxPassword, 'x') + "\r\n")), std::string(kMaxPassword, 'x'));
  EXPECT_EQ(text(read(std::string(kMaxPassword, 'x'))), std::string(kMaxPassword, 'x'));
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

// The protection began with the run: while it waited for another, for hours maybe, other programs of the user
// could read the password, and a crash wrote it to disk.
TEST_F(PasswordFileTest, TheProcessIsClosedBeforeTheFirstCharacterAndForAsLongAsThePasswordIsHeld) {
  ASSERT_EQ(prctl(PR_SET_DUMPABLE, 1, 0, 0, 0), 0);
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  PasswordResult result;
  std::thread reader([&] { result = readPasswordFile("/proc/self/fd/" + std::to_string(ends[0])); });
  // Nothing is written yet.
  for (int i = 0; i < 12000 && prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) != 0; ++i) {
    usleep(5000);
  }
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 0);
  EXPECT_EQ(write(ends[1], "secret\n", 7), 7);
  close(ends[1]);
  reader.join();
  close(ends[0]);
  EXPECT_EQ(text(result), "secret");
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 0);
  result.password.reset();
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 1);
}

}  // namespace
}  // namespace halvo
