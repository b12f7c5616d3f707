#include "vpn/Common/Zip/CZip.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "tests/support/BundleReader.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using test::BundleEntry;
using test::bundleNames;
using test::LogRecorder;
using test::readBundleEntries;
using test::Reader;
using test::ScopedEnv;
using test::TempFolder;
using test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr ResultCode kMinizipErrno = 0xffffffff;  // ZIP_ERRNO, -1

constexpr std::uint16_t kEncrypted = 1;
constexpr std::uint16_t kBestCompression = 2;

// Bytes that don't deflate well and hold every value.
std::string noise(std::size_t size) {
  std::string bytes(size, '\0');
  std::uint64_t state = 0x9e3779b97f4a7c15;
  for (char& byte : bytes) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    byte = static_cast<char>(state >> 56U);
  }
  return bytes;
}

class CZipTest : public ::testing::Test {
 protected:
  std::string folder() const { return m_temp.file("work"); }
  std::string file(const std::string& name) const { return folder() + "/" + name; }
  std::string bundle() const { return m_temp.file("bundle.zip"); }

  void SetUp() override { test::makeFolders(folder()); }

  // What every reader finds in the bundle is what the folder holds.
  void expectBundleHoldsFolder(const std::string& password) {
    const auto expected = test::readTree(folder());
    for (const Reader reader : test::allReaders()) {
      EXPECT_EQ(test::bundleContent(reader, bundle(), password), expected) << test::readerName(reader);
    }
  }

  TempFolder m_temp;
  CZip m_zip;
};

class MakeFolderPathTest : public CZipTest {};

TEST_F(CZipTest, EmptyFolderGivesValidZipWithoutEntries) {
  LogRecorder log;
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  EXPECT_THAT(bundleNames(bundle()), IsEmpty());
  EXPECT_EQ(test::checkBundle(Reader::Python, bundle(), "").exitStatus, 0);
  EXPECT_EQ(test::checkBundle(Reader::SevenZip, bundle(), "").exitStatus, 0);
  EXPECT_EQ(test::checkBundle(Reader::BsdTar, bundle(), "").exitStatus, 0);
  EXPECT_THAT(log.records(), IsEmpty()) << log.dump();
}

TEST_F(CZipTest, EmptyFoldersBelowLeaveNoTrace) {
  test::makeFolders(file("a/b/c"));
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  EXPECT_THAT(bundleNames(bundle()), IsEmpty());
}

TEST_F(CZipTest, EmptyFolderStringIsRefused) {
  LogRecorder log;
  EXPECT_RESULT(m_zip.Zip("", bundle(), "", true), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(log.has(kLogError, "Bad parameter(s), parameter(s) is equal to NULL.")) << log.dump();
  EXPECT_FALSE(test::exists(bundle()));
}

TEST_F(CZipTest, EmptyBundlePathIsRefused) {
  LogRecorder log;
  EXPECT_RESULT(m_zip.Zip(folder(), "", "", true), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(log.has(kLogError, "Bad parameter(s), parameter(s) is equal to NULL.")) << log.dump();
}

TEST_F(CZipTest, StoredNamesAreTheSameWithAndWithoutSlashAtTheFoldersEnd) {
  writeFile(file("summary.txt"), "report");
  writeFile(file("Client/deep/er/log.txt"), "log");
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  const std::vector<std::string> without = bundleNames(bundle());
  EXPECT_RESULT(m_zip.Zip(folder() + "/", bundle(), "", true), 0);
  EXPECT_EQ(bundleNames(bundle()), without);
  EXPECT_THAT(without, UnorderedElementsAre("summary.txt", "Client/deep/er/log.txt"));
}

TEST_F(CZipTest, EveryReaderFindsTheFoldersContent) {
  writeFile(file("summary.txt"), "report\n");
  writeFile(file("empty"), "");
  writeFile(file("Client/binary"), noise(100000));
  writeFile(file("Client/oneBlock"), noise(16384));
  writeFile(file("Client/twoBlocks"), noise(32768));
  writeFile(file("Client/text"), std::string(300000, 'x'));
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  expectBundleHoldsFolder("");
}

TEST_F(CZipTest, EntriesAreDepthFirstInTheOrderOfReaddir) {
  for (const char* name : {"z.txt", "m/two", "m/inner/three", "a.txt", "m/one", "b/four", "q"}) {
    writeFile(file(name), name);
  }
  std::vector<std::string> expected;
  for (const std::string& first : test::readdirOrder(folder())) {
    if (first == "m" || first == "b") {
      for (const std::string& second : test::readdirOrder(file(first))) {
        if (second == "inner") {
          expected.push_back("m/inner/three");
        } else if (second != "." && second != "..") {
          expected.push_back(first + "/" + second);
        }
      }
    } else if (first != "." && first != "..") {
      expected.push_back(first);
    }
  }
  ASSERT_EQ(expected.size(), 7U);
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  EXPECT_EQ(bundleNames(bundle()), expected);
}

TEST_F(CZipTest, WithoutTheRecursiveFlagFoldersBelowAreLeftOut) {
  writeFile(file("top"), "1");
  writeFile(file("below/inner"), "2");
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", false), 0);
  EXPECT_THAT(bundleNames(bundle()), ElementsAre("top"));
}

TEST_F(CZipTest, MissingTopFolderBecomesOneEmptyEntryWithAnEmptyName) {
  LogRecorder log;
  EXPECT_RESULT(m_zip.Zip(m_temp.file("missing"), bundle(), "", true), 0);
  const std::vector<BundleEntry> entries = readBundleEntries(bundle());
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].central.name, "");
  EXPECT_EQ(entries[0].local.name, "");
  EXPECT_EQ(entries[0].central.size, 0U);
  EXPECT_TRUE(log.has(kLogWarning, "Failed to get file time attributes.")) << log.dump();
  EXPECT_RESULT(m_zip.Zip(m_temp.file("missing/"), bundle(), "", true), 0);
  EXPECT_THAT(bundleNames(bundle()), ElementsAre(""));
}

TEST_F(CZipTest, FolderThatCannotBeOpenedBecomesAnEntryEndingInSlash) {
  writeFile(file("before"), "1");
  writeFile(file("locked/hidden"), "2");
  ASSERT_EQ(chmod(m_temp.path().c_str(), 0777), 0);
  ASSERT_EQ(chmod(file("locked").c_str(), 0), 0);
  const test::ForkedResult child = test::runForked([this] {
    test::dropToNobody();
    return m_zip.Zip(folder(), bundle(), "", true) == 0 ? 0 : 1;
  });
  ASSERT_EQ(chmod(file("locked").c_str(), 0755), 0);
  EXPECT_EQ(child.exitStatus, 0) << child.dump();
  EXPECT_THAT(bundleNames(bundle()), UnorderedElementsAre("before", "locked/"));
}

TEST_F(CZipTest, SymbolicLinksAreLeftOutEvenToRegularFiles) {
  writeFile(file("real"), "content");
  writeFile(m_temp.file("outside/file"), "content");
  ASSERT_EQ(symlink("real", file("linkToFile").c_str()), 0);
  ASSERT_EQ(symlink(m_temp.file("outside").c_str(), file("linkToFolder").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", file("dangling").c_str()), 0);
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  EXPECT_THAT(bundleNames(bundle()), ElementsAre("real"));
}

TEST_F(CZipTest, PipesAndSocketsAreLeftOut) {
  writeFile(file("real"), "content");
  ASSERT_EQ(mkfifo(file("pipe").c_str(), 0600), 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(file("socket").size(), sizeof(address.sun_path));
  file("socket").copy(address.sun_path, sizeof(address.sun_path) - 1);
  const int descriptor = ::socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  close(descriptor);
  EXPECT_THAT(bundleNames(bundle()), ElementsAre("real"));
}

TEST_F(CZipTest, PasswordOfOneCharacterEncrypts) {
  writeFile(file("secret.txt"), "what nobody may read");
  writeFile(file("empty"), "");
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "x", true), 0);
  for (const BundleEntry& entry : readBundleEntries(bundle())) {
    EXPECT_EQ(entry.local.flags, kEncrypted | kBestCompression) << entry.local.name;
    EXPECT_EQ(entry.central.flags, kEncrypted | kBestCompression) << entry.local.name;
  }
  expectBundleHoldsFolder("x");
}

TEST_F(CZipTest, NoReaderOpensAnEncryptedBundleWithAWrongPassword) {
  writeFile(file("secret.txt"), noise(50000));
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "right", true), 0);
  for (const Reader reader : test::allReaders()) {
    for (const char* wrong : {"wrong", "righ", "right ", ""}) {
      EXPECT_NE(test::checkBundle(reader, bundle(), wrong).exitStatus, 0)
          << test::readerName(reader) << " with \"" << wrong << "\"";
    }
    EXPECT_EQ(test::checkBundle(reader, bundle(), "right").exitStatus, 0) << test::readerName(reader);
  }
}

TEST_F(CZipTest, PasswordOfManyKindsOfBytesWorks) {
  writeFile(file("secret.txt"), noise(1000));
  const std::string password = "a'b\"c $HOME \\ \xC3\xA4\xE2\x82\xAC " + std::string(100, 'p');
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), password, true), 0);
  // bsdtar and 7z read a password in the characters of the locale, the others in bytes.
  for (const Reader reader : {Reader::Unzip, Reader::Python}) {
    EXPECT_EQ(test::bundleContent(reader, bundle(), password), test::readTree(folder()))
        << test::readerName(reader);
  }
}

// A file that couldn't be read for its CRC went into the bundle under the CRC of no bytes, with success, and
// every reader said "wrong password". This one reads differently each time.
TEST_F(CZipTest, FileThatReadsDifferentlyTheSecondTimeFailsAnEncryptedBundle) {
  const std::list<std::string> paths = {"/proc/sys/kernel/random/uuid"};
  const LogRecorder log;
  EXPECT_RESULT(CZip().createZipFile(paths, bundle(), {"uuid"}, "secret"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(log.count("/proc/sys/kernel/random/uuid could not be read twice alike"), 1U) << log.dump();
  EXPECT_RESULT(CZip().createZipFile(paths, bundle(), {"uuid"}, ""), 0);
}

TEST_F(CZipTest, EmptyPasswordLeavesTheBundleUnencryptedAndSkipsTheCrcPass) {
  writeFile(file("open.txt"), "text");
  LogRecorder log;
  // The CRC pass would say that it can't open the missing file.
  EXPECT_RESULT(
      m_zip.createZipFile({file("open.txt"), file("missing")}, bundle(), {"open.txt", "missing"}, ""), 0);
  EXPECT_EQ(log.count("Could not open"), 0U) << log.dump();
  for (const BundleEntry& entry : readBundleEntries(bundle())) {
    EXPECT_EQ(entry.local.flags, kBestCompression) << entry.local.name;
  }
}

TEST_F(CZipTest, HeadersAreAsAskedFor) {
  writeFile(file("data.bin"), noise(5000));
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  const std::vector<BundleEntry> entries = readBundleEntries(bundle());
  ASSERT_EQ(entries.size(), 1U);
  const BundleEntry& entry = entries[0];
  EXPECT_EQ(entry.localOffset, 0U);
  EXPECT_EQ(entry.local.name, "data.bin");
  EXPECT_EQ(entry.local.versionNeeded, 20);
  EXPECT_EQ(entry.local.flags, kBestCompression);
  EXPECT_EQ(entry.local.method, 8);
  EXPECT_EQ(entry.local.extra, "");
  EXPECT_EQ(entry.local.size, 5000U);
  EXPECT_EQ(entry.local.packedSize, entry.central.packedSize);
  EXPECT_EQ(entry.local.crc, entry.central.crc);
  bool large = true;
  EXPECT_EQ(entry.local.crc, m_zip.getCrc(file("data.bin"), large));
  EXPECT_EQ(entry.central.extra, "");
  EXPECT_EQ(entry.comment, "");
  EXPECT_EQ(entry.internalAttributes, 0);
  EXPECT_EQ(entry.externalAttributes, 0U);
}

TEST_F(CZipTest, TextIsDeflatedAtTheBestLevel) {
  // A sequence on which zlib's levels differ: long repeats behind many short ones.
  std::string text;
  for (int i = 0; i < 20000; ++i) {
    text += std::to_string(i * 7919 % 1000) + (i % 3 == 0 ? " connected to " : " lost ");
  }
  writeFile(file("log.txt"), text);
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  const test::RunResult best =
      test::runProgram({"python3", "-c",
                        "import sys,zlib\n"
                        "d=open(sys.argv[1],'rb').read()\n"
                        "def n(l):\n c=zlib.compressobj(l,8,-15,8)\n return len(c.compress(d)+c.flush())\n"
                        "print(n(9),n(8)==n(9))",
                        file("log.txt")});
  ASSERT_EQ(best.exitStatus, 0) << best.err;
  EXPECT_EQ(std::to_string(readBundleEntries(bundle())[0].central.packedSize),
            best.out.substr(0, best.out.find(' ')));
}

// DOS date and time of PKWARE APPNOTE.TXT, section 4.4.6.
std::uint16_t dosDate(int year, int month, int day) {
  return static_cast<std::uint16_t>((year - 1980) * 512 + month * 32 + day);
}
std::uint16_t dosTime(int hour, int minute, int second) {
  return static_cast<std::uint16_t>(hour * 2048 + minute * 32 + second / 2);
}

TEST_F(CZipTest, EntriesCarryTheFilesLocalTimeInStepsOfTwoSeconds) {
  writeFile(file("log"), "x");
  test::setModifiedTime(file("log"), 1710495757);  // 2024-03-15 09:42:37 UTC
  {
    const ScopedEnv zone("TZ", "UTC0");
    EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
    const BundleEntry entry = readBundleEntries(bundle())[0];
    EXPECT_EQ(entry.local.date, dosDate(2024, 3, 15));
    EXPECT_EQ(entry.local.time, dosTime(9, 42, 36));
    EXPECT_EQ(entry.central.date, entry.local.date);
    EXPECT_EQ(entry.central.time, entry.local.time);
  }
  {
    const ScopedEnv zone("TZ", "XYZ-20:30");
    EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
    const BundleEntry entry = readBundleEntries(bundle())[0];
    EXPECT_EQ(entry.local.date, dosDate(2024, 3, 16));
    EXPECT_EQ(entry.local.time, dosTime(6, 12, 36));
  }
}

TEST_F(CZipTest, TimesBeforeTheFirstDosYearDoNotHarm) {
  writeFile(file("old"), "x");
  test::setModifiedTime(file("old"), -3000000000);
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  EXPECT_EQ(test::bundleContent(Reader::Unzip, bundle()), test::readTree(folder()));
}

TEST_F(CZipTest, PathOfOneDashGetsTheTimeZero) {
  const ScopedEnv zone("TZ", "UTC0");
  const test::WorkingFolder working(folder());
  writeFile(file("-"), "dash");
  test::setModifiedTime(file("-"), 1710495757);
  LogRecorder log;
  EXPECT_RESULT(m_zip.createZipFile({"-"}, bundle(), {"dash"}, ""), 0);
  EXPECT_TRUE(log.has(kLogWarning, "Failed to get file time attributes.")) << log.dump();
  const BundleEntry entry = readBundleEntries(bundle())[0];
  // 1970 as minizip converts it: it takes years below 80 for years since 1980.
  EXPECT_EQ(entry.local.date, dosDate(1980 + 70, 1, 1));
  EXPECT_EQ(entry.local.time, 0);
  EXPECT_EQ(entry.central.size, 4U);
}

TEST_F(CZipTest, VanishedFileGivesAnEmptyEntryAndTheRestFollows) {
  writeFile(file("a"), "first");
  writeFile(file("c"), "third");
  for (const char* password : {"", "pw"}) {
    LogRecorder log;
    EXPECT_RESULT(m_zip.createZipFile({file("a"), file("b"), file("c"), file("d")}, bundle(),
                                      {"a", "b", "c", "d"}, password),
                  0);
    EXPECT_THAT(bundleNames(bundle()), ElementsAre("a", "b", "c", "d"));
    EXPECT_EQ(log.count("Failed to get file time attributes."), 2U) << log.dump();
    EXPECT_EQ(log.count("Could not open " + file("b")), *password != '\0' ? 1U : 0U) << log.dump();
    const std::map<std::string, std::string> expected = {
        {"a", "first"}, {"b", ""}, {"c", "third"}, {"d", ""}};
    for (const Reader reader : test::allReaders()) {
      EXPECT_EQ(test::bundleContent(reader, bundle(), password), expected) << test::readerName(reader);
    }
  }
}

TEST_F(CZipTest, UnreadableFileGivesAnEmptyEntry) {
  writeFile(file("locked"), "content");
  ASSERT_EQ(chmod(m_temp.path().c_str(), 0777), 0);
  ASSERT_EQ(chmod(file("locked").c_str(), 0), 0);
  const test::ForkedResult child = test::runForked([this] {
    test::dropToNobody();
    return m_zip.Zip(folder(), bundle(), "", true) == 0 ? 0 : 1;
  });
  EXPECT_EQ(child.exitStatus, 0) << child.dump();
  EXPECT_THAT(child.records, IsEmpty()) << child.dump();
  const std::vector<BundleEntry> entries = readBundleEntries(bundle());
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].central.size, 0U);
}

TEST_F(CZipTest, BundleThatCannotBeCreatedIsAnError) {
  LogRecorder log;
  EXPECT_RESULT(m_zip.Zip(folder(), m_temp.file("missing/bundle.zip"), "", true), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(log.hasReturnCode(kLogError, "zipOpen64", GLOBAL_ERROR_BAD_PARAMETER)) << log.dump();
  EXPECT_TRUE(log.hasReturnCode(kLogError, "CZip::createZipFile", GLOBAL_ERROR_BAD_PARAMETER)) << log.dump();
}

TEST_F(CZipTest, OldBundleIsOverwritten) {
  writeFile(bundle(), std::string(100000, 'o'));
  writeFile(file("new"), "content");
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  expectBundleHoldsFolder("");
  EXPECT_LT(test::readFile(bundle()).size(), 1000U);
}

TEST_F(CZipTest, FailureToFinishAnEntryIsReturnedAndLogged) {
  writeFile(file("a"), "content");
  LogRecorder log;
  EXPECT_RESULT(m_zip.Zip(folder(), "/dev/full", "", true), kMinizipErrno);
  EXPECT_TRUE(log.hasReturnCode(kLogError, "zipCloseFileInZip", kMinizipErrno)) << log.dump();
  EXPECT_TRUE(log.hasReturnCode(kLogError, "CZip::createZipFile", kMinizipErrno)) << log.dump();
}

TEST_F(CZipTest, FailureToWriteALargeFileIsReturnedAndLogged) {
  writeFile(file("a"), noise(1000000));
  LogRecorder log;
  EXPECT_RESULT(m_zip.Zip(folder(), "/dev/full", "pw", true), kMinizipErrno);
  EXPECT_TRUE(log.hasReturnCode(kLogError, "zipCloseFileInZip", kMinizipErrno)) << log.dump();
}

TEST_F(CZipTest, RefusedEntryEndsTheBundleSilentlyWithSuccess) {
  writeFile(file("b"), "content");
  LogRecorder log;
  // The empty entry of the missing file can't be closed on a full disk when the next one opens.
  EXPECT_RESULT(m_zip.createZipFile({file("missing"), file("b")}, "/dev/full", {"missing", "b"}, ""), 0);
  EXPECT_EQ(log.count("zip"), 0U) << log.dump();
}

TEST_F(CZipTest, NameThatIsTooLongForTheFormatEndsTheBundleSilently) {
  writeFile(file("a"), "content");
  const std::string longest(0xffff, 'n');
  LogRecorder log;
  EXPECT_RESULT(m_zip.createZipFile({file("a"), file("a"), file("a"), file("a")}, bundle(),
                                    {"a", longest, longest + "n", "z"}, ""),
                0);
  EXPECT_THAT(bundleNames(bundle()), ElementsAre("a", longest));
  EXPECT_THAT(log.records(), IsEmpty()) << log.dump();
}

TEST_F(CZipTest, FailureToFinishTheArchiveIsNotLookedAt) {
  EXPECT_RESULT(m_zip.Zip(folder(), "/dev/full", "", true), 0);
}

// A bundle read while it is written grows for ever.
TEST_F(CZipTest, OldBundleInTheFolderBecomesAnEmptyEntry) {
  const std::string inside = file("bundle.zip");
  writeFile(inside, "old");
  writeFile(file("data"), noise(500000));
  for (const char* password : {"", "pw"}) {
    EXPECT_RESULT(m_zip.createZipFile({file("data"), inside}, inside, {"data", "bundle.zip"}, password), 0);
    const std::vector<BundleEntry> entries = readBundleEntries(inside);
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].central.size, 500000U);
    EXPECT_EQ(entries[1].central.size, 0U);
  }
}

TEST_F(CZipTest, NamesKeepEveryByte) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte) {
    if (byte != '/') {
      all += static_cast<char>(byte);
    }
  }
  const std::vector<std::string> names = {
      all.substr(0, 200), all.substr(200), "-", " ", "...", "-rf", "a\\b"};
  for (const std::string& name : names) {
    writeFile(file(name), "content of " + name);
  }
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  EXPECT_THAT(bundleNames(bundle()), ::testing::UnorderedElementsAreArray(names));
  EXPECT_EQ(test::bundleContent(Reader::Python, bundle()), test::readTree(folder()));
}

TEST_F(CZipTest, DeepFoldersAreWalkedToTheEnd) {
  std::string path;
  for (int i = 0; i < 400; ++i) {
    path += "d/";
  }
  writeFile(file(path + "leaf"), "content");
  EXPECT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  EXPECT_THAT(bundleNames(bundle()), ElementsAre(path + "leaf"));
}

TEST_F(CZipTest, CrcIsTheCommonOne) {
  bool large = true;
  writeFile(file("a"), "123456789");
  EXPECT_EQ(m_zip.getCrc(file("a"), large), 0xcbf43926U);
  EXPECT_FALSE(large);
}

TEST_F(CZipTest, CrcOfAnEmptyFileIsZero) {
  bool large = true;
  LogRecorder log;
  writeFile(file("a"), "");
  EXPECT_EQ(m_zip.getCrc(file("a"), large), 0U);
  EXPECT_FALSE(large);
  EXPECT_THAT(log.records(), IsEmpty()) << log.dump();
}

TEST_F(CZipTest, CrcCoversAllBlocks) {
  for (const std::size_t size : {16383U, 16384U, 16385U, 49152U, 100000U}) {
    writeFile(file("a"), noise(size));
    bool large = true;
    const std::uint32_t crc = m_zip.getCrc(file("a"), large);
    const test::RunResult expected = test::runProgram(
        {"python3", "-c", "import sys,zlib; print(zlib.crc32(open(sys.argv[1],'rb').read()), end='')",
         file("a")});
    EXPECT_EQ(std::to_string(crc), expected.out) << size;
  }
}

TEST_F(CZipTest, CrcOfAFileThatDoesNotOpenIsZeroAndLogged) {
  bool large = true;
  LogRecorder log;
  EXPECT_EQ(m_zip.getCrc(file("missing"), large), 0U);
  EXPECT_FALSE(large);
  EXPECT_TRUE(log.has(kLogError, "Could not open " + file("missing"))) << log.dump();
}

TEST_F(CZipTest, PasswordReachesNoLogRecord) {
  const std::string password = "unmistakable";
  writeFile(file("a"), "content");
  LogRecorder log;
  EXPECT_RESULT(m_zip.createZipFile({file("missing"), file("a")}, bundle(), {"m", "a"}, password), 0);
  EXPECT_RESULT(m_zip.Zip(folder(), "/dev/full", password, true), kMinizipErrno);
  EXPECT_RESULT(m_zip.Zip(folder(), m_temp.file("no/where"), password, true), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_FALSE(log.records().empty());
  EXPECT_EQ(log.count(password), 0U) << log.dump();
}

class UnzipTest : public CZipTest {
 protected:
  std::string target() const { return m_temp.file("target"); }

  // A bundle of entries with names as given, each with its name as content.
  void makeBundle(const std::list<std::string>& names, const std::string& password = "") {
    std::list<std::string> paths;
    int number = 0;
    for (const std::string& name : names) {
      paths.push_back(m_temp.file("source" + std::to_string(number++)));
      writeFile(paths.back(), "content of " + name);
    }
    ASSERT_RESULT(m_zip.createZipFile(paths, bundle(), names, password), 0);
  }

  std::list<std::string> m_names;
};

TEST_F(UnzipTest, UnpacksWhatZipPacked) {
  writeFile(file("summary.txt"), "report");
  writeFile(file("Client/deep/log"), noise(70000));
  writeFile(file("empty"), "");
  ASSERT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  LogRecorder log;
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, false), 0);
  EXPECT_EQ(test::readTree(target()), test::readTree(folder()));
  EXPECT_THAT(m_names, UnorderedElementsAre("summary.txt", "Client/deep/log", "empty"));
  EXPECT_THAT(log.records(), IsEmpty()) << log.dump();
}

// minizip takes an end record at the very start of a file for none.
TEST_F(UnzipTest, ArchiveWithoutEntriesDoesNotOpen) {
  ASSERT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, false), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_THAT(m_names, IsEmpty());
}

TEST_F(UnzipTest, FileThatIsNoArchiveIsRefused) {
  writeFile(bundle(), "no archive");
  LogRecorder log;
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, false), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(log.has(kLogError, "unzOpen64 returned NULL.")) << log.dump();
}

TEST_F(UnzipTest, NamesEndingInSlashBecomeFolders) {
  makeBundle({"a/b/", "c/"});
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, false), 0);
  EXPECT_THAT(test::listFolder(target() + "/a/b"), IsEmpty());
  EXPECT_THAT(test::listFolder(target()), ElementsAre("a", "c"));
  EXPECT_THAT(m_names, ElementsAre("a/b/", "c/"));
}

TEST_F(UnzipTest, OneLeadingSlashIsDropped) {
  makeBundle({"/rooted/file"});
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, false), 0);
  EXPECT_EQ(test::readFile(target() + "/rooted/file"), "content of /rooted/file");
  EXPECT_THAT(m_names, ElementsAre("rooted/file"));
}

TEST_F(UnzipTest, NamesThatLeadOutOfTheTargetAreRefusedAndTheRestIsUnpacked) {
  makeBundle({"../escaped", "a/../../escaped", "//escaped", "/../escaped", "..", "a/..", "", "/", "good",
              "dots..in", "..."});
  LogRecorder log;
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, true), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(m_names, ElementsAre("good", "dots..in", "..."));
  EXPECT_THAT(test::listFolder(target()), ElementsAre("...", "dots..in", "good"));
  EXPECT_FALSE(test::exists(m_temp.file("escaped")));
  EXPECT_FALSE(test::exists("/escaped"));
  EXPECT_EQ(log.count("Refusing entry"), 8U) << log.dump();
}

TEST_F(UnzipTest, ExistingFileIsLeftAloneWithAWarning) {
  makeBundle({"old", "new"});
  writeFile(target() + "/old", "kept");
  LogRecorder log;
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, false), 0);
  EXPECT_EQ(test::readFile(target() + "/old"), "kept");
  EXPECT_EQ(test::readFile(target() + "/new"), "content of new");
  EXPECT_TRUE(log.has(kLogWarning, "Skipping file " + target() + "/old, because it already exists."))
      << log.dump();
}

TEST_F(UnzipTest, ExistingFileIsOverwrittenOnDemand) {
  makeBundle({"old"});
  writeFile(target() + "/old", std::string(1000, 'o'));
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, true), 0);
  EXPECT_EQ(test::readFile(target() + "/old"), "content of old");
}

TEST_F(UnzipTest, LinkInTheFilesPlaceIsNotFollowed) {
  makeBundle({"link"});
  writeFile(m_temp.file("victim"), "kept");
  test::makeFolders(target());
  ASSERT_EQ(symlink(m_temp.file("victim").c_str(), (target() + "/link").c_str()), 0);
  LogRecorder log;
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, true), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(test::readFile(m_temp.file("victim")), "kept");
  EXPECT_EQ(log.count("Invoked Function: open\n"), 1U) << log.dump();
}

TEST_F(UnzipTest, FolderThatCannotBeMadeIsLogged) {
  makeBundle({"way/file", "good"});
  writeFile(target() + "/way", "a file stands here");
  LogRecorder log;
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, false), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_TRUE(log.has(kLogError, "Could not create the following dir: " + target() + "/way")) << log.dump();
  EXPECT_EQ(test::readFile(target() + "/good"), "content of good");
}

TEST_F(UnzipTest, RelativeTargetIsRefused) {
  makeBundle({"file"});
  const test::WorkingFolder working(m_temp.path());
  EXPECT_RESULT(m_zip.Unzip(bundle(), "target", m_names, false), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_FALSE(test::exists(target()));
}

TEST_F(UnzipTest, EncryptedEntryIsRefused) {
  makeBundle({"file"}, "pw");
  LogRecorder log;
  EXPECT_RESULT(m_zip.Unzip(bundle(), target(), m_names, false), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_TRUE(log.has(kLogError, "Entry file is encrypted")) << log.dump();
  EXPECT_FALSE(test::exists(target() + "/file"));
}

TEST_F(UnzipTest, DamagedEntryIsNotKept) {
  writeFile(file("a"), noise(100000));
  ASSERT_RESULT(m_zip.Zip(folder(), bundle(), "", true), 0);
  std::string bytes = test::readFile(bundle());
  bytes[50000] = static_cast<char>(bytes[50000] ^ 0x55);
  writeFile(bundle(), bytes);
  EXPECT_NE(m_zip.Unzip(bundle(), target(), m_names, false), 0U);
  EXPECT_FALSE(test::exists(target() + "/a"));
}

TEST_F(UnzipTest, NoDamagedByteOrCutDoesHarm) {
  makeBundle({"one", "two/three"});
  const std::string bytes = test::readFile(bundle());
  const LogRecorder log;  // keeps the many records out of the host's log
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::string damaged = bytes;
    damaged[i] = static_cast<char>(damaged[i] ^ 0xff);
    writeFile(bundle(), damaged);
    static_cast<void>(m_zip.Unzip(bundle(), target(), m_names, true));
    writeFile(bundle(), bytes.substr(0, i));
    const ResultCode result = m_zip.Unzip(bundle(), target(), m_names, true);
    // Inside the end record minizip takes what is missing for zeros.
    if (i < bytes.size() - 22) {
      EXPECT_NE(result, 0U) << "cut at " << i;
    }
  }
  EXPECT_FALSE(test::exists("/one"));
}

TEST_F(MakeFolderPathTest, NullAndRelativePathsAreRefused) {
  EXPECT_FALSE(makeFolderPath(nullptr));
  EXPECT_FALSE(makeFolderPath(""));
  EXPECT_FALSE(makeFolderPath("relative/path"));
}

TEST_F(MakeFolderPathTest, MissingFoldersAreMadeComponentByComponent) {
  EXPECT_TRUE(makeFolderPath(file("a/b//c/").c_str()));
  struct stat status = {};
  ASSERT_EQ(stat(file("a/b/c").c_str(), &status), 0);
  EXPECT_TRUE(S_ISDIR(status.st_mode));
  EXPECT_TRUE(makeFolderPath(file("a/b/c").c_str()));
  EXPECT_TRUE(makeFolderPath("/"));
}

TEST_F(MakeFolderPathTest, ModeIsAllRightsLessTheMask) {
  const mode_t mask = umask(0);
  EXPECT_TRUE(makeFolderPath(file("open").c_str()));
  umask(027);
  EXPECT_TRUE(makeFolderPath(file("masked").c_str()));
  umask(mask);
  struct stat status = {};
  ASSERT_EQ(stat(file("open").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0777U);
  ASSERT_EQ(stat(file("masked").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0750U);
}

TEST_F(MakeFolderPathTest, ComponentThatIsNoFolderEndsItWithFalse) {
  writeFile(file("file"), "x");
  EXPECT_FALSE(makeFolderPath(file("file/below").c_str()));
  EXPECT_FALSE(makeFolderPath(file("file").c_str()));
}

TEST_F(MakeFolderPathTest, LinkToAFolderCountsAsFolder) {
  test::makeFolders(file("real"));
  ASSERT_EQ(symlink("real", file("link").c_str()), 0);
  EXPECT_TRUE(makeFolderPath(file("link/below").c_str()));
  EXPECT_TRUE(test::exists(file("real/below")));
}

TEST_F(MakeFolderPathTest, FailingMkdirEndsItWithFalseAndKeepsWhatWasMade) {
  EXPECT_FALSE(makeFolderPath((file("made/") + std::string(300, 'n') + "/below").c_str()));
  EXPECT_TRUE(test::exists(file("made")));
}

}  // namespace
}  // namespace halvo
