#include "vpn/tools/TOLM/TOLMFrontEnd/RequestCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using ::testing::HasSubstr;

std::string problemOf(const std::string& text) {
  const test::TempFolder folder;
  test::writeFile(folder.file("r.xml"), text);
  return requestProblem(folder.file("r.xml"));
}

TEST(RequestCheckTest, NamesThatAreFilesInTheFolderAreTaken) {
  EXPECT_EQ(problemOf("<r><file id='comments'><name>my words.txt</name></file><file id='a'/></r>"), "");
  EXPECT_EQ(problemOf("<r><file id='summary'><name>..txt</name></file></r>"), "");
  EXPECT_EQ(problemOf("<r/>"), "");
}

TEST(RequestCheckTest, NamesThatLeadElsewhereAreRefused) {
  for (const char* name : {"", ".", "..", "../x", "/etc/x", "a/b", "$HOME", "$HOME/x", "a$"}) {
    EXPECT_FALSE(isPlainFileName(name)) << name;
    EXPECT_THAT(problemOf(std::string("<r><file id='comments'><name>") + name + "</name></file></r>"),
                HasSubstr(std::string("the name \"") + name + "\""));
  }
}

TEST(RequestCheckTest, ANameAtAnyDepthOfAnItemCounts) {
  EXPECT_THAT(problemOf("<r><file id='summary'><x><name>../../root/rc</name></x></file></r>"),
              HasSubstr("../../root/rc"));
}

TEST(RequestCheckTest, ARequestThatCannotBeReadIsNamedWithTheReason) {
  EXPECT_THAT(requestProblem("/none/r.xml"),
              HasSubstr("the request \"/none/r.xml\" can't be read: No such file or directory"));
  EXPECT_THAT(problemOf("<r>"), HasSubstr("\"tmtolm check\" tells what is wrong with the request"));
}

}  // namespace
}  // namespace halvo
