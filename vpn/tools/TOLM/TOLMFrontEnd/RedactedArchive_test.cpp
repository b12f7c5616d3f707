#include "vpn/tools/TOLM/TOLMFrontEnd/RedactedArchive.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <filesystem>

#include "tests/support/BundleReader.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/Holders.h"

namespace halvo {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

class RedactedArchiveTest : public testing::Test {
 protected:
  RedactedArchiveTest() {
    test::writeFile(m_temp.file("work/Logs/a.log"), "connect to 10.1.2.3\npassword=hunter2\n");
    test::writeFile(m_temp.file("work/Logs/core"), std::string("\0\1", 2));
    test::writeFile(m_temp.file("out.zip"), "");
  }

  ResultCode write(const std::string& out, const std::string& password) {
    const DescriptorHolder file(open(out.c_str(), O_WRONLY | O_CLOEXEC));
    return redactedArchiveWriter(m_pOutcome)(m_temp.file("work"), file.get(), password, m_strReason);
  }

  test::TempFolder m_temp;
  std::shared_ptr<RedactedArchiveOutcome> m_pOutcome = std::make_shared<RedactedArchiveOutcome>();
  std::string m_strReason;
};

TEST_F(RedactedArchiveTest, TheArchiveIsRedactedAndThePlainOneIsGone) {
  ASSERT_EQ(0U, write(m_temp.file("out.zip"), "")) << m_strReason;
  const auto content = test::bundleContent(test::Reader::Python, m_temp.file("out.zip"));
  EXPECT_THAT(content.at("Logs/a.log"), HasSubstr("password=REDACTED"));
  EXPECT_THAT(content.at("Logs/a.log"), Not(HasSubstr("10.1.2.3")));
  EXPECT_EQ(0U, content.count("Logs/core"));
  EXPECT_EQ(1U, m_pOutcome->leftOut);
  EXPECT_EQ(2U, m_pOutcome->replaced);
  EXPECT_EQ(content.size(), m_pOutcome->bundleEntries);
  EXPECT_FALSE(std::filesystem::exists(m_temp.file("work/.plain.zip")));
  EXPECT_FALSE(std::filesystem::exists(m_temp.file("work/.redacted.zip")));
}

TEST_F(RedactedArchiveTest, TheMachinesOwnNameIsFoundInAllForms) {
  test::writeFile(m_temp.file("work/Logs/b.log"),
                  "Linux nb-jd-44 6.18\nNB-JD-44 nb-jd-44.acme.de x-snb-jd-44\n");
  m_pOutcome->hosts = {"nb-jd-44.acme.de"};
  ASSERT_EQ(0U, write(m_temp.file("out.zip"), "")) << m_strReason;
  const auto content = test::bundleContent(test::Reader::Python, m_temp.file("out.zip"));
  EXPECT_THAT(
      content.at("Logs/b.log"),
      MatchesRegex("Linux (host-.{10}) 6.18\nhost-.{10} host-.{10}\\.host-.{10}\\.example x-snb-jd-44\n"));
}

TEST_F(RedactedArchiveTest, ANameThatIsAnOrdinaryWordTouchesNoTexts) {
  test::writeFile(m_temp.file("work/Logs/b.log"), "the debian package, localhost\n");
  for (const std::string name : {"debian", "localhost", "localhost.localdomain", "linux", ""}) {
    m_pOutcome->hosts = {name};
    ASSERT_EQ(0U, write(m_temp.file("out.zip"), "")) << m_strReason;
    const auto content = test::bundleContent(test::Reader::Python, m_temp.file("out.zip"));
    EXPECT_EQ("the debian package, localhost\n", content.at("Logs/b.log")) << name;
  }
}

TEST_F(RedactedArchiveTest, ARunKnowsTheMachinesName) {
  std::array<char, 256> name = {};
  ASSERT_EQ(0, gethostname(name.data(), name.size() - 1));
  EXPECT_THAT(m_pOutcome->hosts, testing::ElementsAre(std::string(name.data())));
}

TEST_F(RedactedArchiveTest, TheRedactedArchiveIsEncrypted) {
  ASSERT_EQ(0U, write(m_temp.file("out.zip"), "a password")) << m_strReason;
  EXPECT_NE(0, test::checkBundle(test::Reader::SevenZip, m_temp.file("out.zip"), "wrong").exitStatus);
  const auto content = test::bundleContent(test::Reader::SevenZip, m_temp.file("out.zip"), "a password");
  EXPECT_THAT(content.at("Logs/a.log"), HasSubstr("REDACTED"));
}

TEST_F(RedactedArchiveTest, WhatCantBeWrittenIsToldAndLeavesNothing) {
  EXPECT_NE(0U, write(m_temp.file("none/out.zip"), ""));
  EXPECT_NE("", m_strReason);
  EXPECT_FALSE(std::filesystem::exists(m_temp.file("work/.plain.zip")));
}

}  // namespace
}  // namespace halvo
