// Whole bundles of sizes, numbers and names as they occur, opened by programs of other makers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <list>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/BundleReader.h"
#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Zip/CZip.h"

namespace halvo {
namespace {

using test::BundleEntry;
using test::Reader;
using test::TempFolder;
using test::writeFile;

constexpr const char* kPassword = "correct horse";

std::string bytesOfSize(std::size_t size, unsigned kinds) {
  std::string bytes(size, '\0');
  std::uint64_t state = size + 1;
  for (char& byte : bytes) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    byte = static_cast<char>(' ' + (state >> 40U) % kinds);
  }
  return bytes;
}

// Numbered lines of a log, cut at the size.
std::string logOfSize(std::size_t size) {
  std::string text;
  text.reserve(size + 100);
  for (std::uint64_t number = 0; text.size() < size; ++number) {
    text += "2024-03-15 10:42:37 client[" + std::to_string(number * 2654435761U % 100000) + "]: message " +
            std::to_string(number) + " of the session\n";
  }
  text.resize(size);
  return text;
}

class ArchiveTest : public ::testing::TestWithParam<std::string> {
 protected:
  std::string folder() const { return m_temp.file("work"); }
  std::string file(const std::string& name) const { return folder() + "/" + name; }
  std::string bundle() const { return m_temp.file("bundle.zip"); }
  void SetUp() override { test::makeFolders(folder()); }

  void pack() { ASSERT_RESULT(m_zip.Zip(folder(), bundle(), GetParam(), true), 0); }

  TempFolder m_temp;
  CZip m_zip;
};

std::string kindOf(const ::testing::TestParamInfo<std::string>& info) {
  return info.param.empty() ? "Plain" : "Encrypted";
}
INSTANTIATE_TEST_SUITE_P(Bundles, ArchiveTest, ::testing::Values("", kPassword), kindOf);

TEST_P(ArchiveTest, EmptySmallAndLargeFilesComeBackByteForByte) {
  writeFile(file("summary.txt"), bytesOfSize(3000, 60));
  writeFile(file("Client/empty.log"), "");
  writeFile(file("Client/one"), "1");
  writeFile(file("Client/old/large.log"), logOfSize(50000000));
  writeFile(file("System/random"), bytesOfSize(16384, 224));
  pack();
  const auto expected = test::readTree(folder());
  for (const Reader reader : test::allReaders()) {
    const auto found = test::bundleContent(reader, bundle(), GetParam());
    EXPECT_TRUE(found == expected) << test::readerName(reader) << " finds " << found.size() << " files";
  }
}

TEST_P(ArchiveTest, OddNamesComeBackAsFarAsEachReaderKnowsThem) {
  // unzip takes names for patterns of its own only where it is told names; none are told here.
  const std::vector<std::string> everywhere = {"with blank",
                                               "  leading",
                                               "-dash",
                                               "'quote'\"s",
                                               "semi;colon",
                                               "star*",
                                               "question?",
                                               "[set]",
                                               "dollar$",
                                               ".hidden",
                                               "a.b.c.d",
                                               "#hash",
                                               "tilde~",
                                               "pipe|",
                                               "percent%s",
                                               "amp&",
                                               "deep/in/the/folder",
                                               "trailing."};
  const std::vector<std::string> bytesOnly = {"back\\slash", "line\nfeed", "\xC3\xA4.log", "\xFF\xFE",
                                              "tab\t",       "colon:",     "\x01"};
  for (const std::string& name : everywhere) {
    writeFile(file(name), "content of " + name);
  }
  pack();
  for (const Reader reader : test::allReaders()) {
    EXPECT_EQ(test::bundleContent(reader, bundle(), GetParam()), test::readTree(folder()))
        << test::readerName(reader);
  }
  // The names of entries aren't marked as UTF-8, so readers map such bytes each in its own way. Python's
  // way can be turned back; the others must still find the content right.
  for (const std::string& name : bytesOnly) {
    writeFile(file(name), "content of " + name);
  }
  pack();
  EXPECT_EQ(test::bundleContent(Reader::Python, bundle(), GetParam()), test::readTree(folder()));
  for (const Reader reader : test::allReaders()) {
    EXPECT_EQ(test::checkBundle(reader, bundle(), GetParam()).exitStatus, 0) << test::readerName(reader);
  }
}

TEST_P(ArchiveTest, EntriesStandInListOrderWithHeadersAsTold) {
  const test::ScopedEnv zone("TZ", "CET-1");
  std::list<std::string> paths;
  std::list<std::string> names;
  for (const char* name : {"zebra", "alpha", "middle/inner", "beta"}) {
    writeFile(file(name), bytesOfSize(5000, 200));
    test::setModifiedTime(file(name), 1710495757);  // 2024-03-15 10:42:37 in CET
    paths.push_back(file(name));
    names.push_back(name);
  }
  ASSERT_RESULT(m_zip.createZipFile(paths, bundle(), names, GetParam()), 0);
  const std::vector<BundleEntry> entries = test::readBundleEntries(bundle());
  ASSERT_EQ(entries.size(), names.size());
  auto name = names.begin();
  std::uint64_t offset = 0;
  for (const BundleEntry& entry : entries) {
    EXPECT_EQ(entry.local.name, *name);
    EXPECT_EQ(entry.central.name, *name);
    EXPECT_EQ(entry.localOffset, offset);
    for (const BundleEntry::Header& header : {entry.local, entry.central}) {
      EXPECT_EQ(header.versionNeeded, 20);
      EXPECT_EQ(header.flags, GetParam().empty() ? 2 : 3);  // best compression, and encryption
      EXPECT_EQ(header.method, 8);
      EXPECT_EQ(header.date, (2024 - 1980) * 512 + 3 * 32 + 15);
      EXPECT_EQ(header.time, 10 * 2048 + 42 * 32 + 36 / 2);
      EXPECT_EQ(header.size, 5000U);
      EXPECT_EQ(header.extra, "");
    }
    EXPECT_EQ(entry.externalAttributes, 0U);
    EXPECT_EQ(entry.comment, "");
    offset += 30 + name->size() + entry.central.packedSize;
    ++name;
  }
}

class ArchiveNumberTest : public ArchiveTest {
 protected:
  // A bundle of so many entries, made of a few files only: what counts is the archive.
  void packMany(std::size_t number, const std::string& password) {
    constexpr std::size_t kFiles = 10;
    std::vector<std::string> sources;
    std::vector<std::uint32_t> sums;
    for (std::size_t i = 0; i < kFiles; ++i) {
      sources.push_back(file(std::to_string(i)));
      writeFile(sources.back(), "content " + std::to_string(i));
      bool large = false;
      sums.push_back(m_zip.getCrc(sources.back(), large));
    }
    std::list<std::string> paths;
    std::list<std::string> names;
    for (std::size_t i = 0; i < number; ++i) {
      paths.push_back(sources[i % kFiles]);
      names.push_back("folder" + std::to_string(i / 1000) + "/" + std::to_string(i));
    }
    ASSERT_RESULT(m_zip.createZipFile(paths, bundle(), names, password), 0);

    const std::vector<BundleEntry> entries = test::readBundleEntries(bundle());
    ASSERT_EQ(entries.size(), number);
    auto name = names.begin();
    for (std::size_t i = 0; i < number; ++i, ++name) {
      ASSERT_EQ(entries[i].central.name, *name);
      ASSERT_EQ(entries[i].central.crc, sums[i % kFiles]) << *name;
    }
    for (const Reader reader : test::allReaders()) {
      const test::RunResult result = test::checkBundle(reader, bundle(), password);
      EXPECT_EQ(result.exitStatus, 0) << test::readerName(reader) << ": " << result.err;
    }
  }
};

TEST_F(ArchiveNumberTest, AHundredThousandEntriesAreAllThere) {
  packMany(100000, "");
}

// The end record counts in 16 bits: the last number that fits, and the first that needs the ZIP64 form.
TEST_F(ArchiveNumberTest, LargestNumberOfThePlainEndRecordIsRead) {
  packMany(65535, "");
}
TEST_F(ArchiveNumberTest, FirstNumberBeyondThePlainEndRecordIsReadEncrypted) {
  packMany(65536, kPassword);
}

TEST_F(ArchiveTest, WrongPasswordIsRefusedByEveryReaderForEveryKindOfEntry) {
  for (const std::size_t size : {1U, 5000U, 100000U}) {
    writeFile(file("data"), bytesOfSize(size, 200));
    ASSERT_RESULT(m_zip.Zip(folder(), bundle(), kPassword, true), 0);
    for (const Reader reader : test::allReaders()) {
      EXPECT_NE(test::checkBundle(reader, bundle(), "incorrect horse").exitStatus, 0)
          << test::readerName(reader) << ", " << size;
      EXPECT_NE(test::checkBundle(reader, bundle(), "").exitStatus, 0)
          << test::readerName(reader) << ", " << size << ", no password";
    }
  }
}

// The peak of the process's memory in KiB.
long peakMemory() {
  std::istringstream status(test::readFile("/proc/self/status"));
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) {
      return std::stol(line.substr(6));
    }
  }
  throw std::runtime_error("no VmHWM");
}

// Memory is for one block and the names, not for files.
TEST_P(ArchiveTest, LargeFileTakesNoMemoryOfItsSize) {
  for (int i = 0; i < 50; ++i) {
    test::appendFile(file("large"), logOfSize(1000000));
  }
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts anew from what is held now
  const long before = peakMemory();
  pack();
  EXPECT_LT(peakMemory() - before, 10000) << "KiB, from " << before;
}

}  // namespace
}  // namespace halvo
