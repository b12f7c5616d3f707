#include "vpn/tools/TOLM/TOLMBundle/redact/RedactionReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactBundle_test.h"

namespace halvo {
namespace {

using test::BundleTexts;
using test::kTestKey;
using test::labelled;
using ::testing::HasSubstr;
using ::testing::Not;

BundleTexts redacted(const BundleTexts& texts) {
  const test::TempFolder temp;
  RedactOptions options;
  options.outPath = temp.file("out.zip");
  test::makeBundle(temp.file("in.zip"), texts);
  StandIns standIns(kTestKey);
  EXPECT_EQ("", test::redactBundle(temp.file("in.zip"), options, standIns));
  return test::readBundle(options.outPath);
}

// A home folder's name stayed in the names of entries, and a second redaction took some of these for new: it
// read them in the first one's report.
TEST(PathTest, HomeFoldersInNamesOfEntriesAreFoundAtOnce) {
  const std::vector<std::pair<std::string, std::string>> names = {
      {"Client/home/kmiller/x.log", "Client/home/{U}/x.log"},
      {"home/kurt/", "home/{U}/"},
      {"home/kurt/.ssh/config", "home/{U}/.ssh/config"},
      {"home/jd/x.log", "home/{U}/x.log"},
      {"home/input/x.log", "home/{U}/x.log"},
      {"C/Users/Peter Lang/x.log", "C/Users/{U}/x.log"},
      {"C/Users/Public/x.log", "C/Users/Public/x.log"},
      {"C/Documents and Settings/peterl/x.log", "C/Documents and Settings/{U}/x.log"},
      {"x/var/mail/anna", "x/var/mail/{U}"},
      {"run/media/bert/USB/x.log", "run/media/{U}/USB/x.log"},
      // pages and settings
      {"etc/home/start.conf", "etc/home/start.conf"},
      {"etc/users/search/x.log", "etc/users/search/x.log"},
      {"myhome/falcon/x.log", "myhome/falcon/x.log"}};
  BundleTexts texts = {{"a.log", "\\Users\\Peter Lang\\x /home/jd/x kmiller kurt anna bert id 10.1.2.3"}};
  for (const auto& [name, expected] : names) {
    texts.emplace_back(name, name.ends_with('/') ? "" : "10.1.2.3");
  }
  const BundleTexts once = redacted(texts);
  EXPECT_EQ("\\Users\\{U}\\x /home/{U}/x {U} {U} {U} {U} id " + once[1].second, labelled(once[0].second));
  const std::string& log = once[0].second;
  EXPECT_THAT(log, HasSubstr(once[6].first.substr(8, 15))) << "the same in texts";
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(names[i].second, labelled(once[i + 1].first)) << names[i].first;
  }
  EXPECT_EQ(once, redacted(once)) << "the report too";
}

TEST(PathTest, AReportTeachesNoMoreThanItsPaths) {
  const std::string report = redacted({{"a.log", "10.1.2.3"}}).back().second;
  const BundleTexts texts = redacted({{"a.log", "falcon kmiller"},
                                      {"redaction.txt", report + "  x/home/falcon: id 1\n"
                                                                 "  x/home/kmiller/x (not a text)\n"}});
  EXPECT_EQ("falcon {U}", labelled(texts[0].second));
  EXPECT_THAT(texts[1].second, Not(HasSubstr("kmiller")));
  EXPECT_THAT(texts[1].second, HasSubstr("x/home/falcon: id 1\n"));
}

}  // namespace
}  // namespace halvo
