// Folders that a run gathered: the summary has one row for all that each holds.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/Ask.h"
#include "vpn/tools/TOLM/TOLMBundle/Compare.h"
#include "vpn/tools/TOLM/TOLMBundle/OpenedBundle_test.h"
#include "vpn/tools/TOLM/TOLMBundle/Show.h"
#include "vpn/tools/TOLM/TOLMBundle/SummaryBuilder_test.h"

namespace halvo {
namespace {

using test::OpenedBundle;
using test::SummaryBuilder;
using test::ZipBuilder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char kLongName[] = "a-folder-whose-name-takes-more-than-one-row-of-the-summary";

std::vector<std::string> placesOf(const BundleContent& content, const std::string& id) {
  std::vector<std::string> places;
  for (const std::size_t file : content.filesOfItem(id)) {
    places.push_back(content.placeOf(content.files()[file]));
  }
  return places;
}

std::string summaryOf(const std::string& title, const std::string& name) {
  // "T/x" is a folder's name where another document has made "T".
  SummaryBuilder summary;
  summary.section("T").section(title).included("item", name, "", "4.00K");
  return summary.take();
}

struct Case {
  const char* title;
  const char* row;
  std::vector<std::string> entries;
  std::vector<std::string> files;  // of the item
};

// They were told as missing, and their files as unknown.
TEST(GatheredFolderTest, ItsFilesAreThoseOfItsItem) {
  const std::string longPlace = std::string("T/") + kLongName + "/a";
  const std::vector<Case> cases = {
      {"T", "logs", {"T/logs/a", "T/logs/b/c"}, {"T/logs/a", "T/logs/b/c"}},
      {"T", kLongName, {longPlace}, {longPlace}},
      {"T", "T", {"T/T/a", "T/b"}, {"T/T/a"}},
      // Without a title, or with one that is no folder's name.
      {"", "logs", {"Unknown_1/logs/a"}, {"Unknown_1/logs/a"}},
      {"x/y", "logs", {"logs/a", "logs/b"}, {"logs/a", "logs/b"}},
      {"T/x", "logs", {"T/x/logs/a"}, {"T/x/logs/a"}},
      // As it was packed again.
      {"T", "logs", {"B/T/logs/", "B/T/logs/a"}, {"T/logs/a"}},
      {"T", "logs", {"B\\T\\logs\\a", "B\\T\\logs\\b\\c"}, {"T/logs/a", "T/logs/b/c"}},
      // A file of that name within, and another folder of that name.
      {"T", "logs", {"T/logs/logs", "T/logs/a", "other/logs/b"}, {"T/logs/logs", "T/logs/a"}},
      // A file, and a folder that the summary doesn't list.
      {"T", "logs", {"T/logs", "T/more/a"}, {"T/logs"}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.entries[0]);
    ZipBuilder zip;
    const std::string root = one.entries[0].substr(0, one.entries[0][0] == 'B' ? 2 : 0);
    zip.add({root + "summary.txt", summaryOf(one.title, one.row)});
    for (const std::string& entry : one.entries) {
      zip.add({entry, entry.back() == '/' ? "" : "x"});
    }
    const OpenedBundle content(zip);
    EXPECT_EQ(content->fault(), "");
    EXPECT_EQ(placesOf(*content, "item"), one.files);
    EXPECT_THAT(content->missing(), IsEmpty());
    EXPECT_THAT(missingItems(*content, Redacted::kAskedFor), IsEmpty());
    for (const std::size_t file : content->filesOfItem("item")) {
      EXPECT_EQ(content->files()[file].document, one.title);
    }
  }
}

TEST(GatheredFolderTest, OneOfWhichNothingIsThereIsToldAsMissingOrEmpty) {
  SummaryBuilder summary;
  summary.section("T").included("item", "logs", "", "4.00K").included("other", "U", "", "4.00K");
  summary.section("U").included("far", "a", "", "1 bytes");
  const OpenedBundle content(
      ZipBuilder().add({"summary.txt", summary.take()}).add({"U/a", "x"}).add({"U/more/logs/b", "x"}));
  EXPECT_THAT(placesOf(*content, "far"), ElementsAre("U/a"));
  ASSERT_EQ(content->missing().size(), 2U) << "a document's folder is no other's";
  for (const MissingFile& missing : content->missing()) {
    EXPECT_THAT(missing.reason, HasSubstr("doesn't hold it, unless it was an empty folder"));
  }
}

TEST(GatheredFolderTest, OneOfWhichNothingCanBeReadIsToldAsThat) {
  test::ZipEntry unknownMethod{"T/logs/a", "x"};
  unknownMethod.method = 12;
  ZipBuilder zip;
  zip.add({"summary.txt", summaryOf("T", "logs")}).add(unknownMethod);
  const OpenedBundle none(zip);
  ASSERT_EQ(none->missing().size(), 1U);
  EXPECT_THAT(none->missing()[0].reason, HasSubstr("can't be read"));
  const OpenedBundle some(zip.add({"T/logs/b", "x"}));
  EXPECT_THAT(some->missing(), IsEmpty());
  EXPECT_THAT(placesOf(*some, "item"), ElementsAre("T/logs/a", "T/logs/b"));
}

TEST(GatheredFolderTest, ItIsShownFileByFile) {
  const OpenedBundle content(ZipBuilder()
                                 .add({"summary.txt", summaryOf("T", "logs")})
                                 .add({"T/logs/a", "x"})
                                 .add({"T/logs/b", "y"}));
  const std::string text = showText(*content, {});
  EXPECT_THAT(text, HasSubstr("There (2)\n"));
  EXPECT_THAT(text, HasSubstr("  item              T/logs/a\n"));
  EXPECT_THAT(text, Not(HasSubstr("Missing")));
  EXPECT_THAT(showItemText(*content, "item"), HasSubstr("T/logs/b\n"));
}

TEST(GatheredFolderTest, ItsFilesAreComparedAsTheItems) {
  const std::string summary = summaryOf("T", "logs");
  const OpenedBundle old(ZipBuilder().add({"summary.txt", summary}).add({"T/logs/a", "x"}));
  const OpenedBundle now(ZipBuilder().add({"summary.txt", summary}).add({"T/logs/b", "x"}));
  const Comparison comparison = compareBundles(*old, *now, 10);
  ASSERT_EQ(comparison.onlyNew.size(), 1U);
  EXPECT_EQ(comparison.onlyNew[0].id, "item");
  EXPECT_THAT(comparison.missingNew, IsEmpty());
}

TEST(GatheredFolderTest, ItemsMayShareOne) {
  SummaryBuilder summary;
  summary.section("T").included("first", "logs", "", "4.00K").included("second", "logs", "", "4.00K");
  const OpenedBundle content(
      ZipBuilder().add({"summary.txt", summary.take()}).add({"T/logs/a", "x"}).add({"T/logs/b", "x"}));
  EXPECT_THAT(placesOf(*content, "second"), ElementsAre("T/logs/a", "T/logs/b"));
  EXPECT_EQ(content->firstFiles(), 2U);
  EXPECT_EQ(content->idsOf(content->files()[0]), "first, second");
}

// As many files for each of many rows are more than memory holds.
TEST(GatheredFolderTest, ASummaryThatNamesOneOverAndOverIsBounded) {
  SummaryBuilder summary;
  summary.section("T");
  ZipBuilder zip;
  constexpr std::size_t kMany = 1000;
  for (std::size_t i = 0; i < kMany; ++i) {
    summary.included("id" + std::to_string(i), "logs", "", "4.00K");
    zip.add({"T/logs/" + std::to_string(i), "x"});
  }
  const OpenedBundle content(zip.add({"summary.txt", summary.take()}));
  EXPECT_THAT(content->missing(), IsEmpty());
  EXPECT_EQ(content->firstFiles(), kMany);
  EXPECT_LE(content->files().size(), 4 * kMany);
  EXPECT_THAT(placesOf(*content, "id999"), ElementsAre("T/logs/0"));
}

}  // namespace
}  // namespace halvo
