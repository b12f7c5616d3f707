#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Zip/CZip.h"
#include "vpn/tools/TOLM/TOLMBundle/BundleWriter.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"

namespace halvo {
namespace {

using test::TempFolder;
using test::writeFile;
using test::ZipBuilder;
using test::ZipEntry;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class BundleReaderTest : public ::testing::Test {
 protected:
  std::string bundle() const { return m_temp.file("bundle.zip"); }

  // A bundle as the engine packs it.
  void pack(const std::string& password) {
    writeFile(m_temp.file("work/summary.txt"), "TOLM BUNDLE SUMMARY\n\n");
    writeFile(m_temp.file("work/Client logs/agent.log"), m_strLong);
    writeFile(m_temp.file("work/Client logs/empty"), "");
    ASSERT_EQ(CZip().Zip(m_temp.file("work"), bundle(), password, true), 0U);
  }

  std::string openBytes(BundleReader& reader, const std::string& bytes, const std::string& password = "") {
    writeFile(bundle(), bytes);
    return reader.open(bundle(), password);
  }

  static std::string content(const BundleReader& reader, const std::string& name) {
    std::string text;
    EXPECT_EQ(reader.readFront(reader.find(name), std::size_t{1} << 30U, text), "");
    return text;
  }

  const std::string m_strLong = std::string(300000, 'x') + "the end";
  TempFolder m_temp;
};

TEST_F(BundleReaderTest, PlainBundleIsListedAndRead) {
  pack("");
  BundleReader reader;
  ASSERT_EQ(reader.open(bundle(), ""), "");
  EXPECT_THAT(reader.entries(), SizeIs(3));
  EXPECT_FALSE(reader.isEncrypted());
  EXPECT_EQ(reader.damage(), "");
  EXPECT_EQ(content(reader, "summary.txt"), "TOLM BUNDLE SUMMARY\n\n");
  EXPECT_EQ(content(reader, "Client logs/agent.log"), m_strLong);
  EXPECT_EQ(content(reader, "Client logs/empty"), "");
  EXPECT_EQ(reader.find("agent.log"), 3U);
}

TEST_F(BundleReaderTest, EncryptedBundleIsReadWithItsPassword) {
  pack("tiger");
  BundleReader reader;
  ASSERT_EQ(reader.open(bundle(), "tiger"), "");
  EXPECT_TRUE(reader.isEncrypted());
  EXPECT_EQ(content(reader, "Client logs/agent.log"), m_strLong);
  EXPECT_EQ(content(reader, "summary.txt"), "TOLM BUNDLE SUMMARY\n\n");
}

TEST_F(BundleReaderTest, EncryptedBundleAsksForItsPassword) {
  pack("tiger");
  BundleReader reader;
  EXPECT_THAT(reader.open(bundle(), ""), HasSubstr("is encrypted; --password-file"));
}

TEST_F(BundleReaderTest, WrongPasswordIsToldAtOnce) {
  pack("tiger");
  BundleReader reader;
  EXPECT_THAT(reader.open(bundle(), "lion"), HasSubstr("the password doesn't open"));
}

TEST_F(BundleReaderTest, EncryptedBundleIsListedWithoutPasswordWhereThatIsAskedFor) {
  pack("tiger");
  BundleReader reader;
  ASSERT_EQ(reader.open(bundle(), "", true), "");
  EXPECT_EQ(reader.entries()[0].fault, "it is encrypted");
  std::string text;
  EXPECT_THAT(reader.readFront(0, 10, text), HasSubstr("it is encrypted"));
}

TEST_F(BundleReaderTest, PasswordOfAPlainBundleIsNotLookedAt) {
  pack("");
  BundleReader reader;
  ASSERT_EQ(reader.open(bundle(), "any"), "");
  EXPECT_EQ(content(reader, "Client logs/agent.log"), m_strLong);
}

TEST_F(BundleReaderTest, FrontAloneIsNoFailure) {
  pack("");
  BundleReader reader;
  ASSERT_EQ(reader.open(bundle(), ""), "");
  std::string text;
  EXPECT_EQ(reader.readFront(reader.find("Client logs/agent.log"), 5, text), "");
  EXPECT_EQ(text, "xxxxx");
}

TEST_F(BundleReaderTest, EntriesAreReadOnManyThreadsAtOnce) {
  pack("tiger");
  BundleReader reader;
  ASSERT_EQ(reader.open(bundle(), "tiger"), "");
  std::vector<std::string> texts(8);
  std::vector<std::thread> threads;
  for (std::string& text : texts) {
    threads.emplace_back([&reader, &text] { text = content(reader, "Client logs/agent.log"); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(texts, ::testing::Each(m_strLong));
}

TEST_F(BundleReaderTest, TimesAreThoseOfTheFiles) {
  BundleReader reader;
  ASSERT_EQ(openBytes(reader, ZipBuilder().add({"a", "1"}).take()), "");
  EXPECT_EQ(dosTimeText(reader.entries()[0].dosTime), "2026-03-15 10:42:06");
  EXPECT_EQ(dosTimeText(0), "");
}

// What isn't a bundle.

TEST_F(BundleReaderTest, MissingFileIsTold) {
  BundleReader reader;
  EXPECT_THAT(reader.open(m_temp.file("none"), ""), HasSubstr("can't be opened: No such file"));
}

TEST_F(BundleReaderTest, FolderAndPipeAreNoBundles) {
  BundleReader folder;
  EXPECT_THAT(folder.open(m_temp.path(), ""), HasSubstr("is no file"));
  ASSERT_EQ(mkfifo(m_temp.file("pipe").c_str(), 0600), 0);
  BundleReader pipe;
  EXPECT_THAT(pipe.open(m_temp.file("pipe"), ""), HasSubstr("is no file"));
}

TEST_F(BundleReaderTest, FilesThatAreNoZipAreToldApart) {
  BundleReader text;
  EXPECT_THAT(openBytes(text, "just a text"), HasSubstr("it is no ZIP file"));
  for (const std::string front : {"-----BEGIN PGP MESSAGE-----\n", "\x85\x01\x0c\x03", "\xc1\x6c\x03"}) {
    BundleReader encrypted;
    EXPECT_THAT(openBytes(encrypted, front), HasSubstr("it is no ZIP file; if it is encrypted to a key"));
  }
  for (const std::string other : {"-----BEGIN CERTIFICATE-----\n", "\x1f\x8b\x08"}) {
    BundleReader reader;
    EXPECT_THAT(openBytes(reader, other), EndsWith("it is no ZIP file"));
  }
  BundleReader empty;
  EXPECT_THAT(openBytes(empty, ""), HasSubstr("it is empty"));
  BundleReader nothing;
  EXPECT_THAT(openBytes(nothing, ZipBuilder().take()), HasSubstr("without entries"));
}

TEST_F(BundleReaderTest, BundleCutAnywhereGivesAnErrorOrWhatIsThere) {
  const std::string whole =
      ZipBuilder().add({"a", "first"}).add({"b", "second"}).add({"c", std::string(500, 'c')}).take();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    BundleReader reader;
    const std::string error = openBytes(reader, whole.substr(0, size));
    if (size + 4 <= whole.size()) {
      EXPECT_THAT(error, HasSubstr("can't be read as a bundle")) << size;
    } else if (error.empty()) {
      // Nothing but the length of a comment is gone.
      EXPECT_EQ(content(reader, "a") + content(reader, "b"), "firstsecond");
    }
  }
  BundleReader reader;
  EXPECT_EQ(openBytes(reader, whole), "");
}

TEST_F(BundleReaderTest, CutBundleIsToldFromOtherFiles) {
  BundleReader reader;
  const std::string whole = ZipBuilder().add({"a", "first"}).take();
  EXPECT_THAT(openBytes(reader, whole.substr(0, whole.size() - 4)), HasSubstr("cut short"));
}

TEST_F(BundleReaderTest, EveryDamagedByteGivesAnErrorOrTheContent) {
  const std::string whole = ZipBuilder().add({"a", "first"}).add({"b", "second"}).take();
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::string damaged = whole;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x5a);
    BundleReader reader;
    if (!openBytes(reader, damaged).empty()) {
      continue;
    }
    for (std::size_t entry = 0; entry < reader.entries().size(); ++entry) {
      std::string text;
      if (reader.readFront(entry, 1000, text).empty()) {
        EXPECT_THAT(text, ::testing::AnyOf("first", "second")) << "byte " << i;
      }
    }
  }
}

TEST_F(BundleReaderTest, DamagedTableKeepsItsFront) {
  std::string bytes = ZipBuilder().add({"a", "first"}).add({"b", "second"}).take();
  bytes[bytes.rfind("PK\x01\x02")] = 'X';
  BundleReader reader;
  ASSERT_EQ(openBytes(reader, bytes), "");
  EXPECT_THAT(reader.entries(), SizeIs(1));
  EXPECT_THAT(reader.damage(), HasSubstr("damaged behind entry 1"));
}

// Entries that could do harm.

TEST_F(BundleReaderTest, NamesThatLeadOutAreListedAndNotRead) {
  BundleReader reader;
  ASSERT_EQ(openBytes(reader, ZipBuilder()
                                  .add({"../up", "x"})
                                  .add({"a/../../up", "x"})
                                  .add({"/etc/passwd", "x"})
                                  .add({"a\\..\\up", "x"})
                                  .add({"", "x"})
                                  .add({std::string("a\0b", 3), "x"})
                                  .add({"a..b/..c/...", "x"})
                                  .take()),
            "");
  std::vector<std::string> faults;
  for (const BundleEntryInfo& entry : reader.entries()) {
    faults.push_back(entry.fault);
  }
  EXPECT_THAT(faults, ElementsAre("its name leads out of the bundle", "its name leads out of the bundle",
                                  "its name is an absolute path", "its name leads out of the bundle",
                                  "it has no name", "its name holds a zero byte", ""));
  std::string text;
  EXPECT_THAT(reader.readFront(0, 10, text), HasSubstr("leads out of the bundle"));
  EXPECT_EQ(text, "");
}

TEST_F(BundleReaderTest, LinksAndDevicesAreNotRead) {
  BundleReader reader;
  ZipEntry link{"link", "/etc/passwd"};
  link.attributes = static_cast<std::uint32_t>(S_IFLNK | 0777) << 16U;
  ZipEntry device{"device", ""};
  device.attributes = static_cast<std::uint32_t>(S_IFCHR | 0666) << 16U;
  ZipEntry file{"file", "text"};
  file.attributes = static_cast<std::uint32_t>(S_IFREG | 0644) << 16U;
  ASSERT_EQ(openBytes(reader, ZipBuilder().add(link).add(device).add(file).take()), "");
  EXPECT_EQ(reader.entries()[0].fault, "it is a link");
  EXPECT_EQ(reader.entries()[1].fault, "it is no file");
  EXPECT_EQ(content(reader, "file"), "text");
}

TEST_F(BundleReaderTest, SecondEntryOfANameIsNotRead) {
  BundleReader reader;
  ASSERT_EQ(openBytes(reader, ZipBuilder().add({"a", "first"}).add({"b", "x"}).add({"a", "second"}).take()),
            "");
  EXPECT_EQ(reader.entries()[0].fault, "");
  EXPECT_THAT(reader.entries()[2].fault, HasSubstr("the same name"));
  EXPECT_EQ(content(reader, "a"), "first");
}

TEST_F(BundleReaderTest, UnknownMethodsAndEncryptionsAreTold) {
  BundleReader reader;
  ZipEntry bzip{"bzip", "x"};
  bzip.method = 12;
  ZipEntry aes{"aes", "a long enough text"};
  aes.method = 99;
  aes.flags = 1;
  ASSERT_EQ(openBytes(reader, ZipBuilder().add(bzip).add(aes).add({"a", "x"}).take(), "word"), "");
  EXPECT_EQ(reader.entries()[0].fault, "its compression method 12 isn't known here");
  EXPECT_EQ(reader.entries()[1].fault, "its encryption isn't the traditional one");
}

TEST_F(BundleReaderTest, WrongSizesAndSumsAreTold) {
  ZipEntry longer{"longer", "text"};
  longer.addToSize = 5;
  longer.method = 0;
  ZipEntry sum{"sum", "text"};
  sum.addToCrc = 1;
  BundleReader reader;
  ASSERT_EQ(openBytes(reader, ZipBuilder().add(sum).add({"padding", std::string(50, 'p')}).take()), "");
  std::string text;
  EXPECT_THAT(reader.readFront(0, 100, text), HasSubstr("checksum is wrong"));
  BundleReader other;
  ASSERT_EQ(openBytes(other, ZipBuilder().add(longer).add({"padding", std::string(50, 'p')}).take()), "");
  EXPECT_NE(other.readFront(0, 100, text), "");
}

TEST_F(BundleReaderTest, EntriesThatShareTheirBytesAreRefused) {
  ZipBuilder builder;
  const ZipEntry kernel{"kernel", std::string(1000, '\0')};
  builder.add(kernel);
  for (int i = 0; i < 40; ++i) {
    builder.addToTable({"kernel", kernel.content}, 0);
  }
  BundleReader reader;
  EXPECT_THAT(openBytes(reader, builder.take()), HasSubstr("longer together than the file"));
}

TEST_F(BundleReaderTest, BombEndsAtItsBound) {
  // 100 MB of zeros take 100 KB.
  writeFile(m_temp.file("work/zeros"), std::string(100U << 20U, '\0'));
  ASSERT_EQ(CZip().Zip(m_temp.file("work"), bundle(), "", true), 0U);
  BundleLimits limits;
  limits.bytes = 1 << 20U;
  limits.expansion = 10;
  BundleReader reader(limits);
  ASSERT_EQ(reader.open(bundle(), ""), "");
  EntryReader entry(reader);
  ASSERT_EQ(entry.open(0), "");
  std::vector<char> block(65536);
  std::uint64_t done = 0;
  std::int64_t got = 0;
  while ((got = entry.read(block.data(), block.size())) > 0) {
    done += static_cast<std::uint64_t>(got);
  }
  EXPECT_EQ(got, -1);
  EXPECT_THAT(entry.error(), HasSubstr("unpacks to more than its size allows"));
  EXPECT_LE(done, 2U << 20U);
}

TEST_F(BundleReaderTest, EntriesAreCounted) {
  ZipBuilder builder;
  for (int i = 0; i < 20; ++i) {
    builder.add({"file" + std::to_string(i), ""});
  }
  BundleLimits limits;
  limits.entries = 19;
  BundleReader reader(limits);
  EXPECT_THAT(openBytes(reader, builder.take()), HasSubstr("too many entries"));
  limits.entries = 20;
  limits.nameBytes = 100;
  BundleReader names(limits);
  EXPECT_THAT(names.open(bundle(), ""), HasSubstr("too many entries"));
}

TEST_F(BundleReaderTest, AsManyEntriesAsA16BitFieldTellsAreNoDamage) {
  ZipBuilder builder;
  for (int i = 0; i < 65535; ++i) {
    builder.add({"file" + std::to_string(i), ""});
  }
  BundleReader reader;
  ASSERT_EQ(openBytes(reader, builder.take()), "");
  EXPECT_THAT(reader.entries(), SizeIs(65535));
  EXPECT_EQ(reader.damage(), "");
}

TEST_F(BundleReaderTest, HundredThousandEntriesAreListed) {
  // More than 65,535 take an end record of the ZIP64 form.
  BundleWriter writer;
  ASSERT_EQ(writer.open(bundle(), ""), "");
  BundleEntryInfo information;
  information.size = 1;
  information.crc = static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>("x"), 1));
  for (int i = 0; i < 100000; ++i) {
    information.name = "folder/file" + std::to_string(i);
    ASSERT_EQ(writer.beginPacked(information), "");
    ASSERT_EQ(writer.write("x", 1), "");
    ASSERT_EQ(writer.endPacked(information), "");
  }
  ASSERT_EQ(writer.finish(), "");
  BundleReader reader;
  ASSERT_EQ(reader.open(bundle(), ""), "");
  EXPECT_THAT(reader.entries(), SizeIs(100000));
  EXPECT_EQ(content(reader, "folder/file99999"), "x");
}

}  // namespace
}  // namespace halvo
