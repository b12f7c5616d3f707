#include "vpn/tools/TOLM/TOLMBundle/LineReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/OpenedBundle_test.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"

namespace halvo {
namespace {

using test::ZipBuilder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Opened = test::OpenedBundle;

std::vector<std::string> linesOf(const std::string& content) {
  const Opened opened(ZipBuilder().add({"a", content}));
  EntryReader entry(opened->reader());
  EXPECT_EQ(entry.open(0), "");
  LineReader reader(entry);
  std::vector<std::string> lines;
  std::string_view line;
  while (reader.next(line)) {
    lines.emplace_back(line);
  }
  EXPECT_EQ(entry.error(), "");
  return lines;
}

// Of each line, whether it goes on with the one before it.
std::vector<bool> continuedIn(const std::string& content) {
  const Opened opened(ZipBuilder().add({"a", content}));
  EntryReader entry(opened->reader());
  EXPECT_EQ(entry.open(0), "");
  LineReader reader(entry);
  std::vector<bool> continued;
  std::string_view line;
  while (reader.next(line)) {
    continued.push_back(reader.isContinued());
  }
  return continued;
}

TEST(LineReaderTest, LinesComeWithoutTheirEnds) {
  EXPECT_THAT(linesOf("one\n\ntwo\r\nthree"), ElementsAre("one", "", "two", "three"));
  EXPECT_THAT(linesOf("\n"), ElementsAre(""));
  EXPECT_THAT(linesOf(""), IsEmpty());
  // At the file's end a CR by itself as well.
  EXPECT_THAT(linesOf("one\r\ntwo\r"), ElementsAre("one", "two"));
  EXPECT_THAT(linesOf("one\rtwo\r\r\nthree"), ElementsAre("one\rtwo\r", "three"));
  EXPECT_THAT(linesOf("1\n2\nthree\rfour\r"), ElementsAre("1", "2", "three\rfour"));
  EXPECT_THAT(linesOf("1\n2\n\r\r3\r\r4"), ElementsAre("1", "2", "\r\r3\r\r4"));
}

TEST(LineReaderTest, AByteOrderMarkIsNoPartOfTheFirstLine) {
  EXPECT_THAT(linesOf("\xef\xbb\xbfone\n\xef\xbb\xbftwo\n"), ElementsAre("one", "\xef\xbb\xbftwo"));
  EXPECT_THAT(linesOf("\xef\xbb\xbf"), IsEmpty());
  EXPECT_THAT(linesOf("\xef\xbbone\n"), ElementsAre("\xef\xbbone"));
  EXPECT_THAT(linesOf("\xef\xbb"), ElementsAre("\xef\xbb"));
}

TEST(LineReaderTest, LongLinesComeInPartsThatOverlap) {
  std::string line;
  for (int i = 0; line.size() < 2 * LineReader::kLongestLine; ++i) {
    line += std::to_string(i) + " ";
  }
  const std::vector<std::string> parts = linesOf(line + "\nnext\n");
  ASSERT_EQ(parts.size(), 4U);
  std::string joined = parts[0];
  for (const std::string& part : {parts[1], parts[2]}) {
    ASSERT_EQ(part.substr(0, LineReader::kOverlap), joined.substr(joined.size() - LineReader::kOverlap));
    joined += part.substr(LineReader::kOverlap);
  }
  EXPECT_EQ(joined, line);
  EXPECT_EQ(parts[3], "next");
  const std::string longest(LineReader::kLongestLine, 'x');
  EXPECT_THAT(linesOf(longest + "\nnext"), ElementsAre(longest, "next"));
}

TEST(LineReaderTest, PartsBehindTheFirstAreToldFromLines) {
  const std::string part(LineReader::kLongestLine, 'x');
  EXPECT_THAT(continuedIn(part + part + "\n" + part + "\nnext\n"),
              ElementsAre(false, true, true, false, false));
}

}  // namespace
}  // namespace halvo
