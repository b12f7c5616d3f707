#include "vpn/tools/TOLM/TOLMBundle/BundleWriter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>
#include <string>

#include "tests/support/BundleReader.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Zip/CZip.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"

namespace halvo {
namespace {

using test::TempFolder;
using test::writeFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class BundleWriterTest : public ::testing::Test {
 protected:
  std::string in() const { return m_temp.file("in.zip"); }
  std::string out() const { return m_temp.file("out.zip"); }

  void pack(const std::string& password) {
    writeFile(m_temp.file("work/z.log"), std::string(200000, 'z') + "end");
    writeFile(m_temp.file("work/a.log"), "short");
    writeFile(m_temp.file("work/empty"), "");
    ASSERT_EQ(CZip().Zip(m_temp.file("work"), in(), password, true), 0U);
  }

  // Copies `in` as it is, every entry under its own name.
  std::string copyAll(const std::string& inPassword, const std::string& outPassword) {
    BundleReader reader;
    EXPECT_EQ(reader.open(in(), inPassword), "");
    EntryReader entry(reader);
    BundleWriter writer;
    EXPECT_EQ(writer.open(out(), outPassword), "");
    for (std::size_t i = 0; i < reader.entries().size(); ++i) {
      if (std::string error = writer.copy(reader, entry, i, reader.entries()[i].name); !error.empty()) {
        return error;
      }
    }
    return writer.finish();
  }

  TempFolder m_temp;
};

TEST_F(BundleWriterTest, CopyKeepsOrderTimesAndContent) {
  pack("");
  ASSERT_EQ(copyAll("", ""), "");
  EXPECT_EQ(test::bundleNames(out()), test::bundleNames(in()));
  const auto before = test::readBundleEntries(in());
  const auto after = test::readBundleEntries(out());
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(after[i].central.time, before[i].central.time);
    EXPECT_EQ(after[i].central.date, before[i].central.date);
    EXPECT_EQ(after[i].packed, before[i].packed);
  }
  for (const test::Reader reader : test::allReaders()) {
    EXPECT_EQ(test::bundleContent(reader, out()), test::bundleContent(reader, in()));
  }
}

TEST_F(BundleWriterTest, CopyChangesThePassword) {
  pack("tiger");
  ASSERT_EQ(copyAll("tiger", "lion"), "");
  for (const test::Reader reader : test::allReaders()) {
    EXPECT_EQ(test::bundleContent(reader, out(), "lion"), test::bundleContent(reader, in(), "tiger"));
  }
}

TEST_F(BundleWriterTest, CopyTakesAnEncryptionAwayAndPutsOneOn) {
  pack("tiger");
  ASSERT_EQ(copyAll("tiger", ""), "");
  EXPECT_EQ(test::bundleContent(test::Reader::Python, out()),
            test::bundleContent(test::Reader::Python, in(), "tiger"));
  ASSERT_EQ(rename(out().c_str(), in().c_str()), 0);
  ASSERT_EQ(copyAll("", "lion"), "");
  EXPECT_EQ(test::bundleContent(test::Reader::Unzip, out(), "lion").at("a.log"), "short");
}

TEST_F(BundleWriterTest, StoredEntryIsCopiedStored) {
  writeFile(in(), test::ZipBuilder().add({"stored", "as it is"}).take());
  ASSERT_EQ(copyAll("", ""), "");
  EXPECT_EQ(test::readBundleEntries(out())[0].central.method, 0);
  EXPECT_EQ(test::bundleContent(test::Reader::Python, out()).at("stored"), "as it is");
}

TEST_F(BundleWriterTest, ContentIsPacked) {
  BundleWriter writer;
  ASSERT_EQ(writer.open(out(), ""), "");
  BundleEntryInfo information;
  information.name = "a/b.txt";
  information.dosTime = 0x5c6f5543;
  ASSERT_EQ(writer.begin(information), "");
  ASSERT_EQ(writer.write("some ", 5), "");
  ASSERT_EQ(writer.write("text", 4), "");
  ASSERT_EQ(writer.end(), "");
  ASSERT_EQ(writer.finish(), "");
  EXPECT_EQ(test::bundleContent(test::Reader::Unzip, out()).at("a/b.txt"), "some text");
  BundleReader reader;
  ASSERT_EQ(reader.open(out(), ""), "");
  EXPECT_EQ(dosTimeText(reader.entries()[0].dosTime), "2026-03-15 10:42:06");
}

// A signal left the unfinished bundle beside its place.
TEST_F(BundleWriterTest, NothingAppearsUntilTheBundleIsWhole) {
  {
    BundleWriter writer;
    ASSERT_EQ(writer.open(out(), ""), "");
    BundleEntryInfo information;
    information.name = "a";
    ASSERT_EQ(writer.begin(information), "");
    EXPECT_THAT(test::listFolder(m_temp.path()), ::testing::IsEmpty());
  }
  EXPECT_THAT(test::listFolder(m_temp.path()), ::testing::IsEmpty());
}

TEST_F(BundleWriterTest, BundleIsItsOwnersAlone) {
  BundleWriter writer;
  ASSERT_EQ(writer.open(out(), ""), "");
  ASSERT_EQ(writer.finish(), "");
  struct stat status = {};
  ASSERT_EQ(stat(out().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(BundleWriterTest, PlacesThatTakeNoBundleAreTold) {
  BundleWriter folder;
  EXPECT_THAT(folder.open(m_temp.path(), ""), HasSubstr("is no file"));
  BundleWriter nowhere;
  EXPECT_THAT(nowhere.open(m_temp.file("none/out.zip"), ""), HasSubstr("can't be written: No such file"));
  BundleWriter device;
  EXPECT_THAT(device.open("/dev/null", ""), HasSubstr("is no file"));
}

TEST_F(BundleWriterTest, NamesThatMinizipCantTakeAreRefused) {
  BundleWriter writer;
  ASSERT_EQ(writer.open(out(), ""), "");
  BundleEntryInfo information;
  EXPECT_THAT(writer.begin(information), HasSubstr("name is empty"));
  information.name = std::string(65536, 'n');
  EXPECT_THAT(writer.begin(information), HasSubstr("longer than 65535 bytes"));
}

// Python's zipfile opens no archive with such a name.
TEST_F(BundleWriterTest, ANameIsMarkedAsUtf8OnlyWhereItIs) {
  BundleWriter writer;
  ASSERT_EQ(writer.open(out(), ""), "");
  for (const char* const name : {"\xc3\xbc.txt", "\xfc.txt"}) {
    BundleEntryInfo information;
    information.name = name;
    information.hasUtf8Name = true;
    ASSERT_EQ(writer.begin(information), "");
    ASSERT_EQ(writer.end(), "");
  }
  ASSERT_EQ(writer.finish(), "");
  BundleReader reader;
  ASSERT_EQ(reader.open(out(), ""), "");
  EXPECT_TRUE(reader.entries()[0].hasUtf8Name);
  EXPECT_FALSE(reader.entries()[1].hasUtf8Name);
}

}  // namespace
}  // namespace halvo
