#include "vpn/Common/i18n/MoCatalog.h"

#include <gtest/gtest.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <new>
#include <string>
#include <thread>

#include "tests/support/Files.h"
#include "tests/support/MoBuilder.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"

namespace {

// The domain that is current before anybody chose one.
const std::string g_domainAtStart = halvo::mocatalog::textdomain(nullptr);

// Allocations that may fail count this down; the one that brings it to zero fails. Zero: none does.
int g_failingAllocation = 0;

bool allocationFails() {
  return g_failingAllocation > 0 && --g_failingAllocation == 0;
}

}  // namespace

// The linker puts these in place of the allocations that may fail, by their mangled names: a definition
// of the operators themselves would collide with the one of a sanitizer.
extern "C" {
void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __real__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);

void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
  return allocationFails() ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}

void* __wrap__ZnamRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
  return allocationFails() ? nullptr : __real__ZnamRKSt9nothrow_t(size, tag);
}
}

namespace halvo::mocatalog {
namespace {

using test::MoBuilder;
using test::writeFile;

constexpr const char* kPo = R"(msgid ""
msgstr ""
"Language: de\n"
"MIME-Version: 1.0\n"
"Content-Type: text/plain; charset=UTF-8\n"
"Content-Transfer-Encoding: 8bit\n"
"Plural-Forms: nplurals=2; plural=(n != 1);\n"

msgid "Cancel"
msgstr "Abbrechen"

msgid "Run"
msgstr "Ausführen"

msgctxt "menu"
msgid "Run"
msgstr "Lauf"

msgid "one file"
msgid_plural "several files"
msgstr[0] "eine Datei"
msgstr[1] "mehrere Dateien"
)";

MoBuilder sample(MoBuilder::Order order = MoBuilder::Order::kHost) {
  MoBuilder file(order);
  file.add("", "Content-Type: text/plain; charset=UTF-8\nLanguage: de\n");
  file.add("Cancel", "Abbrechen").add("Run", "Start").add("empty", "");
  return file;
}

class MoCatalogTest : public ::testing::Test {
 protected:
  // Records stay for the length of the process: each test takes a domain of its own.
  MoCatalogTest() : m_domain("test" + std::to_string(++s_domains)) {
    textdomain(m_domain.c_str());
    bindtextdomain(m_domain.c_str(), m_folder.path().c_str());
  }
  ~MoCatalogTest() override {
    g_failingAllocation = 0;
    unloadDomain(m_domain.c_str());
  }

  [[nodiscard]] std::string filePath(const std::string& locale) const {
    return m_folder.file(locale + "/LC_MESSAGES/" + m_domain + ".mo");
  }
  void install(const std::string& locale, const std::string& content) const {
    writeFile(filePath(locale), content);
  }
  // A file for a second domain, which is bound too; returns its name.
  [[nodiscard]] std::string installOther(const std::string& locale, const std::string& content) const {
    const std::string other = m_domain + "other";
    writeFile(m_folder.file(locale + "/LC_MESSAGES/" + other + ".mo"), content);
    EXPECT_NE(bindtextdomain(other.c_str(), m_folder.path().c_str()), nullptr);
    return other;
  }
  // Makes a file by the format's own tool.
  void installByMsgfmt(const std::string& locale, const std::vector<std::string>& options) const {
    const std::string po = m_folder.file("source.po");
    writeFile(po, kPo);
    test::makeFolders(m_folder.file(locale + "/LC_MESSAGES"));
    std::vector<std::string> command = {"msgfmt", "-c", po, "-o", filePath(locale)};
    command.insert(command.end(), options.begin(), options.end());
    const test::RunResult result = test::runProgram(command);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
  }
  [[nodiscard]] std::string lookUp(const std::string& key, const std::string& locale = "de") const {
    return translateInLocale(key.c_str(), locale.c_str());
  }
  [[nodiscard]] const BoundDomain& record() const { return *findDomain(m_domain.c_str()); }
  [[nodiscard]] bool isUnloaded() const {
    return record().magic == 0 && record().mappedFile == nullptr && !record().originals &&
           !record().translations && record().stringCount == 0;
  }
  // Expects that the file of "de-at" is refused, and that the one of "de" stands in.
  void expectRefused(const std::string& content) {
    install("de-at", content);
    EXPECT_EQ(lookUp("Run", "de-at"), "Run");
    EXPECT_TRUE(isUnloaded());
    install("de", sample().build());
    EXPECT_EQ(lookUp("Run", "de-at"), "Start");
  }

  test::TempFolder m_folder;
  std::string m_domain;

 private:
  static int s_domains;
};

int MoCatalogTest::s_domains = 0;

class MsgfmtTest : public MoCatalogTest, public ::testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(MsgfmtTest, FileOfTheFormatsOwnToolIsRead) {
  installByMsgfmt("de", GetParam());
  EXPECT_EQ(lookUp("Cancel"), "Abbrechen");
  EXPECT_EQ(lookUp("Run"), "Ausführen");
  EXPECT_EQ(lookUp("Stop"), "Stop");
  EXPECT_STREQ(gettextCharset(), "UTF-8");
  EXPECT_EQ(record().stringCount, 5U);
  EXPECT_EQ(record().revision, 0U);
}

TEST_P(MsgfmtTest, ContextIsPartOfTheKey) {
  installByMsgfmt("de", GetParam());
  EXPECT_EQ(lookUp("menu\004Run"), "Lauf");
}

TEST_P(MsgfmtTest, PluralEntryIsFoundByItsSingularAndGivesItsFirstForm) {
  installByMsgfmt("de", GetParam());
  EXPECT_STREQ(translate(nullptr, "one file", "several files", 1, kCategoryMessages, "de"), "eine Datei");
}

TEST_P(MsgfmtTest, EveryTruncationIsRefused) {
  installByMsgfmt("whole", GetParam());
  const std::string content = test::readFile(filePath("whole"));
  for (std::size_t size = 0; size < content.size(); ++size) {
    install("de", content.substr(0, size));
    bindtextdomain(m_domain.c_str(), m_folder.path().c_str());
    EXPECT_EQ(lookUp("Run"), "Run") << size << " bytes";
  }
}

TEST_P(MsgfmtTest, CorruptionOfAnyByteIsHarmless) {
  installByMsgfmt("whole", GetParam());
  const std::string content = test::readFile(filePath("whole"));
  std::size_t unharmed = 0;
  for (std::size_t offset = 0; offset < content.size(); ++offset) {
    for (const char pattern : {'\x01', '\x7f', '\x80', '\xff'}) {
      std::string broken = content;
      broken[offset] = static_cast<char>(broken[offset] ^ pattern);
      install("de", broken);
      bindtextdomain(m_domain.c_str(), m_folder.path().c_str());
      for (const char* key : {"Cancel", "Run", "menu\004Run", "one file", "Stop"}) {
        // Reading the text to its end is the proof.
        ASSERT_LE(lookUp(key).size(), content.size()) << "offset " << offset;
      }
      unharmed += lookUp("Cancel") == "Abbrechen" ? 1 : 0;
    }
  }
  EXPECT_GT(unharmed, content.size());
}

INSTANTIATE_TEST_SUITE_P(Tool, MsgfmtTest,
                         ::testing::Values(std::vector<std::string>{"--endianness=little"},
                                           std::vector<std::string>{"--endianness=big"},
                                           std::vector<std::string>{"--no-hash"},
                                           std::vector<std::string>{"--endianness=big", "--no-hash"},
                                           std::vector<std::string>{"--alignment=64"}));

TEST_F(MoCatalogTest, LanguageStandsInForALocaleWithoutAFile) {
  install("en", sample().build());
  EXPECT_EQ(lookUp("Run", "en-us"), "Start");
}

TEST_F(MoCatalogTest, FileOfTheFullLocaleWinsOverItsLanguage) {
  install("de-at", MoBuilder().add("Run", "Los").build());
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run", "de-at"), "Los");
  EXPECT_EQ(lookUp("Cancel", "de-at"), "Cancel");
}

TEST_F(MoCatalogTest, LocaleIsCutAtItsFirstHyphen) {
  install("zh-hant", MoBuilder().add("Run", "wrong").build());
  install("zh", MoBuilder().add("Run", "right").build());
  EXPECT_EQ(lookUp("Run", "zh-hant-tw"), "right");
}

TEST_F(MoCatalogTest, LocaleWithoutAnyFileGivesTheKeyAndIsLoadedForAtEachCall) {
  const char* key = "Run";
  EXPECT_EQ(translateInLocale(key, "fr-fr"), key);
  EXPECT_EQ(translateInLocale(key, "fr-fr"), key);
  EXPECT_TRUE(isUnloaded());
  install("fr", MoBuilder().add("Run", "Lancer").build());
  EXPECT_EQ(lookUp("Run", "fr-fr"), "Lancer");
}

TEST_F(MoCatalogTest, LoadedLocaleIsNotLookedForAgain) {
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run", "de"), "Start");
  std::filesystem::remove(filePath("de"));
  EXPECT_EQ(lookUp("Run", "de"), "Start");
}

TEST_F(MoCatalogTest, LastLoadOfAnotherDomainDoesntCount) {
  install("de", sample().build());
  const std::string other = installOther("de", MoBuilder().add("Run", "Los").build());
  EXPECT_EQ(lookUp("Run"), "Start");
  EXPECT_STREQ(translate(other.c_str(), "Run", nullptr, 1, kCategoryMessages, "de"), "Los");

  std::filesystem::remove(filePath("de"));

  // Looked for again, and not there any more, although it is mapped still.
  EXPECT_EQ(lookUp("Run"), "Run");
  EXPECT_NE(record().magic, 0U);
}

TEST_F(MoCatalogTest, LastLoadOfAnotherCategoryDoesntCount) {
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run"), "Start");
  EXPECT_STREQ(translate(nullptr, "Run", nullptr, 1, 5, "de"), "Run");
  writeFile(m_folder.file("de/LC_TIME/" + m_domain + ".mo"), MoBuilder().add("Run", "Los").build());
  // The file in use is still the first one.
  EXPECT_STREQ(translate(nullptr, "Run", nullptr, 1, 5, "de"), "Start");
}

TEST_F(MoCatalogTest, LocaleThatWasCutIsLookedForAgainAtEachCall) {
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run", "de-at"), "Start");
  EXPECT_EQ(lookUp("Run", "de-at"), "Start");
  std::filesystem::remove(filePath("de"));
  EXPECT_EQ(lookUp("Run", "de-at"), "Run");
  // The last load was stored under the cut locale.
  EXPECT_EQ(lookUp("Run", "de"), "Start");
}

TEST_F(MoCatalogTest, LoadedFileStaysInUseForEveryLocaleWhoseFileExists) {
  install("de", sample().build());
  install("fr", MoBuilder().add("Run", "Lancer").build());
  EXPECT_EQ(lookUp("Run", "de"), "Start");
  EXPECT_EQ(lookUp("Run", "fr"), "Start");
  EXPECT_EQ(lookUp("Run", "it"), "Run");
  EXPECT_EQ(lookUp("Run", "fr-ch"), "Start");
}

TEST_F(MoCatalogTest, LoadedFileStaysInUseEvenForALocaleWhoseFileIsBroken) {
  install("de", sample().build());
  install("fr", "no language file");
  EXPECT_EQ(lookUp("Run", "de"), "Start");
  EXPECT_EQ(lookUp("Run", "fr"), "Start");
}

TEST_F(MoCatalogTest, BindingAgainLoadsAgain) {
  install("de", sample().build());
  writeFile(m_folder.file("other/de/LC_MESSAGES/" + m_domain + ".mo"), MoBuilder().add("Run", "Los").build());
  EXPECT_EQ(lookUp("Run"), "Start");
  EXPECT_EQ(bindtextdomain(m_domain.c_str(), m_folder.file("other").c_str()), m_domain.c_str());
  EXPECT_EQ(record().magic, 0U);
  EXPECT_NE(record().mappedFile, nullptr);
  EXPECT_STREQ(gettextCharset(), "");
  EXPECT_EQ(lookUp("Run"), "Los");
}

TEST_F(MoCatalogTest, FileThatIsRefusedAfterBindingAgainTakesTheOldOneWithIt) {
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run"), "Start");
  bindtextdomain(m_domain.c_str(), m_folder.file("nothing here").c_str());
  EXPECT_EQ(lookUp("Run"), "Run");
  EXPECT_NE(record().mappedFile, nullptr);
  const std::string tooLarge = sample().build() + std::string(0x100000, '\0');
  writeFile(m_folder.file("other/de/LC_MESSAGES/" + m_domain + ".mo"), tooLarge);
  bindtextdomain(m_domain.c_str(), m_folder.file("other").c_str());
  EXPECT_EQ(lookUp("Run"), "Run");
  EXPECT_TRUE(isUnloaded());
}

TEST_F(MoCatalogTest, CAndPosixGiveNoTranslation) {
  install("C", sample().build());
  install("POSIX", sample().build());
  EXPECT_EQ(lookUp("Run", "C"), "Run");
  EXPECT_EQ(lookUp("Run", "POSIX"), "Run");
}

TEST_F(MoCatalogTest, CEndsTheWholeLocaleList) {
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run", "C:de"), "Run");
  EXPECT_EQ(lookUp("Run", "fr:POSIX:de"), "Run");
  EXPECT_EQ(lookUp("Run", "de:C"), "Start");
}

TEST_F(MoCatalogTest, NamesThatOnlyBeginLikeCDontEndTheLocaleList) {
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run", "c:C.utf8:POSIX.utf8:posix:de"), "Start");
}

TEST_F(MoCatalogTest, LocaleListIsTriedInOrderAndEmptyItemsAreSkipped) {
  install("de", sample().build());
  install("it", MoBuilder().add("Run", "Avvia").build());
  EXPECT_EQ(lookUp("Run", "::fr:it:de"), "Avvia");
}

TEST_F(MoCatalogTest, EmptyLocaleGivesTheKey) {
  install("", sample().build());
  EXPECT_EQ(lookUp("Run", ""), "Run");
}

TEST_F(MoCatalogTest, LocaleListIsCutBehindItsFirstHyphenAsAWhole) {
  install("de", sample().build());
  install("fr", MoBuilder().add("Run", "Lancer").build());
  EXPECT_EQ(lookUp("Run", "de-at:fr-ch"), "Start");
}

TEST_F(MoCatalogTest, LocaleWithASlashIsSkipped) {
  test::makeFolders(m_folder.file("x"));
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run", "x/../de"), "Run");
  EXPECT_EQ(lookUp("Run", "x/../de:de"), "Start");
}

TEST_F(MoCatalogTest, DomainWithASlashFindsNoFile) {
  install("de", sample().build());
  const std::string domain = "../LC_MESSAGES/" + m_domain;
  ASSERT_NE(bindtextdomain(domain.c_str(), m_folder.path().c_str()), nullptr);
  EXPECT_STREQ(translate(domain.c_str(), "Run", nullptr, 1, kCategoryMessages, "de"), "Run");
}

TEST_F(MoCatalogTest, LocaleOfTwoThousandCharactersGivesTheKey) {
  EXPECT_EQ(lookUp("Run", std::string(2000, 'x')), "Run");
  EXPECT_EQ(lookUp("Run", std::string(1024, 'x')), "Run");
  EXPECT_EQ(lookUp("Run", std::string(1023, 'x')), "Run");
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run", "de:" + std::string(1020, 'x')), "Start");
  EXPECT_EQ(lookUp("Run", "de:" + std::string(1021, 'x')), "Run");
}

TEST_F(MoCatalogTest, PathThatDoesntFitIsCutAndFindsNothing) {
  std::string folder = m_folder.path();
  while (folder.size() < 900) {
    folder += "/" + std::string(90, 'd');
  }
  folder += "/" + std::string(1022 - folder.size(), 'd');
  ASSERT_EQ(folder.size(), 1023U);
  // The path is cut to the folder itself.
  std::filesystem::create_directories(std::filesystem::path(folder).parent_path());
  ASSERT_NE(bindtextdomain(m_domain.c_str(), folder.c_str()), nullptr);
  EXPECT_EQ(lookUp("Run"), "Run");
}

TEST_F(MoCatalogTest, PathThatIsCutToAnotherFileReadsThatFile) {
  // The cut has no mark, so the file whose path is the cut one is the one that counts.
  std::string folder = m_folder.path();
  while (folder.size() < 900) {
    folder += "/" + std::string(90, 'd');
  }
  const std::string rest = "/de/LC_MESSAGES/" + m_domain;
  folder += "/" + std::string(1023 - rest.size() - folder.size() - 1, 'd');
  writeFile(folder + rest, sample().build());
  ASSERT_NE(bindtextdomain(m_domain.c_str(), folder.c_str()), nullptr);
  EXPECT_EQ(lookUp("Run"), "Start");
}

TEST_F(MoCatalogTest, UnreadableFileGivesTheKey) {
  install("de", sample().build());
  ASSERT_EQ(chmod(filePath("de").c_str(), 0), 0);
  std::string found;
  // Capabilities belong to a thread, so root can give its own up for the length of one.
  std::thread ordinary([&] {
    struct __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    struct __user_cap_data_struct none[2] = {};
    syscall(SYS_capset, &header, none);
    found = translateInLocale("Run", "de");
  });
  ordinary.join();
  EXPECT_EQ(found, "Run");
  EXPECT_TRUE(isUnloaded());
  ASSERT_EQ(chmod(filePath("de").c_str(), 0644), 0);
  EXPECT_EQ(lookUp("Run"), "Start");
}

TEST_F(MoCatalogTest, UnreadableFolderGivesTheKey) {
  install("de", sample().build());
  ASSERT_EQ(chmod(m_folder.file("de").c_str(), 0), 0);
  std::string found;
  std::thread ordinary([&] {
    struct __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    struct __user_cap_data_struct none[2] = {};
    syscall(SYS_capset, &header, none);
    found = translateInLocale("Run", "de");
  });
  ordinary.join();
  ASSERT_EQ(chmod(m_folder.file("de").c_str(), 0755), 0);
  EXPECT_EQ(found, "Run");
}

TEST_F(MoCatalogTest, FolderAndPipeInPlaceOfTheFileAreSkipped) {
  test::makeFolders(filePath("de"));
  EXPECT_EQ(lookUp("Run"), "Run");
  test::makeFolders(m_folder.file("fr/LC_MESSAGES"));
  ASSERT_EQ(mkfifo(filePath("fr").c_str(), 0644), 0);
  EXPECT_EQ(lookUp("Run", "fr"), "Run");
}

TEST_F(MoCatalogTest, SymbolicLinkToAFileIsFollowed) {
  writeFile(m_folder.file("elsewhere"), sample().build());
  test::makeFolders(m_folder.file("de/LC_MESSAGES"));
  std::filesystem::create_symlink(m_folder.file("elsewhere"), filePath("de"));
  EXPECT_EQ(lookUp("Run"), "Start");
}

TEST_F(MoCatalogTest, FileOfExactlyOneMebibyteIsAccepted) {
  std::string content = sample().build();
  content.resize(0x100000, '\0');
  install("de", content);
  EXPECT_EQ(lookUp("Run"), "Start");
  EXPECT_EQ(record().mappedSize, 0x100000U);
}

TEST_F(MoCatalogTest, FileOfOneByteMoreIsRefused) {
  std::string content = sample().build();
  content.resize(0x100000 + 1, '\0');
  expectRefused(content);
}

TEST_F(MoCatalogTest, FileInTheOtherByteOrderReadsTheSame) {
  install("de", sample(MoBuilder::Order::kSwapped).build());
  EXPECT_EQ(lookUp("Run"), "Start");
  EXPECT_EQ(lookUp("Cancel"), "Abbrechen");
  EXPECT_EQ(record().magic, 0xde120495U);
  EXPECT_EQ(record().stringCount, 4U);
  EXPECT_STREQ(gettextCharset(), "UTF-8");
}

TEST_F(MoCatalogTest, RevisionOneIsRefused) {
  expectRefused(sample().revision(1).build());
}

TEST_F(MoCatalogTest, RevisionOneInTheOtherByteOrderIsRefused) {
  expectRefused(sample(MoBuilder::Order::kSwapped).revision(1).build());
}

TEST_F(MoCatalogTest, WrongMagicIsRefused) {
  std::string content = sample().build();
  content[0] = static_cast<char>(content[0] + 1);
  expectRefused(content);
}

TEST_F(MoCatalogTest, EmptyFileIsRefused) {
  expectRefused("");
}

TEST_F(MoCatalogTest, FileThatEndsInsideTheRevisionIsRefused) {
  expectRefused(sample().build().substr(0, 7));
}

TEST_F(MoCatalogTest, FileWithoutTheRestOfItsHeaderReadsAsOneWithoutStrings) {
  install("de", sample().build().substr(0, 8));
  EXPECT_EQ(lookUp("Run"), "Run");
  EXPECT_NE(record().magic, 0U);
  EXPECT_EQ(record().stringCount, 0U);
}

// The header of a file with `count` strings, the tables at the given offsets, filled up to `size`.
std::string tables(std::uint32_t count, std::uint32_t originals, std::uint32_t translations,
                   std::size_t size) {
  const MoBuilder file;
  std::string content = file.number(0x950412de) + file.number(0) + file.number(count) +
                        file.number(originals) + file.number(translations);
  content.resize(size, '\0');
  return content;
}

TEST_F(MoCatalogTest, TableThatRunsPastTheEndIsRefusedAndLeavesTheRecordUnloaded) {
  expectRefused(tables(3, 28, 29, 52));
}

TEST_F(MoCatalogTest, TableOfOriginalsPastTheEndIsRefused) {
  expectRefused(tables(3, 29, 28, 52));
}

TEST_F(MoCatalogTest, TableOffsetPastTheEndIsRefusedEvenWithoutStrings) {
  expectRefused(tables(0, 28, 53, 52));
}

TEST_F(MoCatalogTest, TableOffsetAtTheEndIsAcceptedWithoutStrings) {
  install("de", tables(0, 52, 52, 52));
  EXPECT_EQ(lookUp("Run"), "Run");
  EXPECT_EQ(record().magic, 0x950412deU);
}

TEST_F(MoCatalogTest, TableWhoseEndWrapsAroundIsRefused) {
  // In 32 bits, 28 + 8 * 0x20000000 is 28 again, and 0xfffffff8 + 8 is 0.
  expectRefused(tables(0x20000000, 28, 28, 52));
}

TEST_F(MoCatalogTest, TableOffsetThatWrapsAroundIsRefused) {
  expectRefused(tables(1, 0xfffffff8, 0xfffffff8, 52));
}

TEST_F(MoCatalogTest, HugeStringCountIsRefused) {
  expectRefused(tables(0xffffffff, 28, 28, 0x1000));
}

// One string pair; the original "k" at 44, then the translation's text at 46 to the end. Its table
// entry says `length` and `offset`.
std::string onePair(std::uint32_t length, std::uint32_t offset, const std::string& text) {
  const MoBuilder file;
  std::string content = tables(1, 28, 36, 28) + file.number(1) + file.number(44);
  content += file.number(length) + file.number(offset);
  return content + std::string("k\0", 2) + text;
}

TEST_F(MoCatalogTest, StringThatEndsWithTheFileIsRead) {
  install("de", onePair(4, 46, std::string("text\0", 5)));
  EXPECT_EQ(lookUp("k"), "text");
}

TEST_F(MoCatalogTest, StringOneByteTooLongIsRefused) {
  expectRefused(onePair(5, 46, std::string("text\0", 5)));
}

TEST_F(MoCatalogTest, StringOffsetPastTheEndIsRefused) {
  expectRefused(onePair(0, 52, std::string("text\0", 5)));
}

TEST_F(MoCatalogTest, StringAtTheEndHasNoRoomForItsClosingZero) {
  expectRefused(onePair(0, 51, std::string("text\0", 5)));
}

TEST_F(MoCatalogTest, StringLengthThatWrapsAroundIsRefused) {
  expectRefused(onePair(0xffffffff, 46, std::string("text\0", 5)));
}

TEST_F(MoCatalogTest, TextIsReadToItsZeroWhateverLengthIsTold) {
  install("de", onePair(2, 46, std::string("text\0", 5)));
  EXPECT_EQ(lookUp("k"), "text");
}

TEST_F(MoCatalogTest, StringWithoutItsZeroEndsWithTheFile) {
  install("de", onePair(3, 46, "text"));
  EXPECT_EQ(lookUp("k"), "text");
}

TEST_F(MoCatalogTest, StringWithoutItsZeroEndsWithAFileOfWholePages) {
  const std::string text(8192 - 46, 't');
  install("de", onePair(3, 46, text));
  EXPECT_EQ(lookUp("k"), text);
}

TEST_F(MoCatalogTest, OriginalWithoutItsZeroIsComparedToTheEndOfAFileOfWholePages) {
  const MoBuilder file;
  std::string content = tables(1, 28, 36, 28) + file.number(3) + file.number(46);
  content += file.number(1) + file.number(44) + std::string("v\0", 2);
  content.resize(4096, 'k');
  install("de", content);
  EXPECT_EQ(lookUp(std::string(4096 - 46, 'k')), "v");
  EXPECT_EQ(lookUp(std::string(4096 - 46 + 1, 'k')), std::string(4096 - 46 + 1, 'k'));
}

TEST_F(MoCatalogTest, TablesMayLieAtOddOffsets) {
  const MoBuilder file;
  std::string content = tables(1, 29, 37, 29) + file.number(1) + file.number(45);
  content += file.number(1) + file.number(47) + std::string("k\0v\0", 4);
  install("de", content);
  EXPECT_EQ(lookUp("k"), "v");
}

TEST_F(MoCatalogTest, FileWithoutHeaderEntryIsLoadedWithoutCharset) {
  install("de", MoBuilder().add("Run", "Start").build());
  EXPECT_EQ(lookUp("Run"), "Start");
  EXPECT_EQ(record().header, nullptr);
  EXPECT_STREQ(gettextCharset(), "");
}

TEST_F(MoCatalogTest, HeaderWithoutCharsetIsLoadedWithoutCharset) {
  install("de", MoBuilder().add("", "Language: de\n").add("Run", "Start").build());
  EXPECT_EQ(lookUp("Run"), "Start");
  EXPECT_STREQ(record().header, "Language: de\n");
  EXPECT_STREQ(gettextCharset(), "");
}

TEST_F(MoCatalogTest, CharsetEndsAtItsLineFeedOrWithTheHeader) {
  install("de", MoBuilder().add("", "charset=utf-8; x\ncharset=other\n").build());
  EXPECT_EQ(lookUp("Run"), "Run");
  EXPECT_STREQ(gettextCharset(), "utf-8; x");
  install("de", MoBuilder().add("", "Content-Type: text/plain; charset=utf-8").build());
  bindtextdomain(m_domain.c_str(), m_folder.path().c_str());
  EXPECT_EQ(lookUp("Run"), "Run");
  EXPECT_STREQ(gettextCharset(), "utf-8");
}

TEST_F(MoCatalogTest, TextIsNotConverted) {
  install("de", MoBuilder().add("", "charset=ISO-8859-1\n").add("Run", "\xe4\xff").build());
  EXPECT_EQ(lookUp("Run"), "\xe4\xff");
}

TEST_F(MoCatalogTest, EmptyTranslationIsReturnedAsItIs) {
  install("de", sample().build());
  EXPECT_EQ(lookUp("empty"), "");
}

TEST_F(MoCatalogTest, PluralRequestIsLookedUpByItsPluralKey) {
  install("de", MoBuilder().add("file", "Datei").add("files", "Dateien").build());
  EXPECT_STREQ(translate(nullptr, "file", "files", 1, kCategoryMessages, "de"), "Datei");
  EXPECT_STREQ(translate(nullptr, "file", "files", 2, kCategoryMessages, "de"), "Dateien");
  EXPECT_STREQ(translate(nullptr, "file", "files", 0, kCategoryMessages, "de"), "Dateien");
  const char* pluralKey = "folders";
  EXPECT_EQ(translate(nullptr, "file", pluralKey, 2, kCategoryMessages, "de"), pluralKey);
}

TEST_F(MoCatalogTest, KeyThatCountsBeingNullGivesNull) {
  install("de", sample().build());
  EXPECT_EQ(translate(nullptr, nullptr, "files", 1, kCategoryMessages, "de"), nullptr);
  EXPECT_EQ(translate(nullptr, "file", nullptr, 2, kCategoryMessages, "de"), nullptr);
  EXPECT_EQ(translateInLocale(nullptr, "de"), nullptr);
  EXPECT_STREQ(translate(nullptr, nullptr, "Run", 2, kCategoryMessages, "de"), "Start");
}

TEST_F(MoCatalogTest, CategoryOutsideOneToSixAndNullLocaleGiveTheKey) {
  install("de", sample().build());
  EXPECT_STREQ(translate(nullptr, "Run", nullptr, 1, 0, "de"), "Run");
  EXPECT_STREQ(translate(nullptr, "Run", nullptr, 1, 7, "de"), "Run");
  EXPECT_STREQ(translate(nullptr, "Run", nullptr, 1, -1, "de"), "Run");
  EXPECT_STREQ(translateInLocale("Run", nullptr), "Run");
  EXPECT_STREQ(translate(nullptr, "Run", nullptr, 1, 6, "de"), "Start");
}

TEST_F(MoCatalogTest, EachCategoryHasItsFolder) {
  int category = 1;
  for (const char* name : {"LC_COLLATE", "LC_CTYPE", "LC_MONETARY", "LC_NUMERIC", "LC_TIME", "LC_MESSAGES"}) {
    writeFile(m_folder.file("de/" + std::string(name) + "/" + m_domain + ".mo"),
              MoBuilder().add("Run", name).build());
    bindtextdomain(m_domain.c_str(), m_folder.path().c_str());
    EXPECT_STREQ(translate(nullptr, "Run", nullptr, 1, category, "de"), name);
    ++category;
  }
}

TEST_F(MoCatalogTest, UnknownDomainGivesTheKeyAndIsNotBound) {
  EXPECT_STREQ(translate("never bound", "Run", nullptr, 1, kCategoryMessages, "de"), "Run");
  EXPECT_EQ(findDomain("never bound"), nullptr);
}

TEST_F(MoCatalogTest, EachDomainHasItsOwnFile) {
  install("de", sample().build());
  const std::string other = installOther("de", MoBuilder().add("Run", "Los").build());
  EXPECT_EQ(lookUp("Run"), "Start");
  EXPECT_STREQ(translate(other.c_str(), "Run", nullptr, 1, kCategoryMessages, "de"), "Los");
  EXPECT_EQ(lookUp("Run"), "Start");
  EXPECT_EQ(lookUp("Cancel"), "Abbrechen");
}

TEST_F(MoCatalogTest, BindingRefusesWhatItCantHold) {
  const std::string longText(1024, 'x');
  EXPECT_EQ(bindtextdomain(nullptr, "/x"), nullptr);
  EXPECT_EQ(bindtextdomain("", "/x"), nullptr);
  EXPECT_EQ(bindtextdomain("refused", nullptr), nullptr);
  EXPECT_EQ(bindtextdomain("refused", ""), nullptr);
  EXPECT_EQ(bindtextdomain("refused", "relative/folder"), nullptr);
  EXPECT_EQ(bindtextdomain("refused", ("/" + longText.substr(1)).c_str()), nullptr);
  EXPECT_EQ(bindtextdomain(longText.c_str(), "/x"), nullptr);
  EXPECT_EQ(findDomain("refused"), nullptr);
  const std::string name = longText.substr(1);
  EXPECT_EQ(bindtextdomain(name.c_str(), ("/" + longText.substr(2)).c_str()), name.c_str());
  ASSERT_NE(findDomain(name.c_str()), nullptr);
  EXPECT_EQ(std::string(findDomain(name.c_str())->directory).size(), 1023U);
}

TEST_F(MoCatalogTest, NewestRecordStandsAtTheHead) {
  const std::string newer = m_domain + "newer";
  ASSERT_NE(bindtextdomain(newer.c_str(), "/x"), nullptr);
  EXPECT_EQ(findDomain(newer.c_str())->next, &record());
}

TEST_F(MoCatalogTest, CurrentDomainIsMessagesAtFirst) {
  EXPECT_EQ(g_domainAtStart, "messages");
}

TEST_F(MoCatalogTest, CurrentDomainIsCutAndResetByTheEmptyName) {
  EXPECT_EQ(textdomain(nullptr), m_domain);
  EXPECT_EQ(textdomain(std::string(2000, 'x').c_str()), std::string(1023, 'x'));
  EXPECT_STREQ(textdomain(""), "messages");
  EXPECT_STREQ(textdomain(nullptr), "messages");
}

TEST_F(MoCatalogTest, CharsetOfADomainThatWasNeverBoundIsEmpty) {
  textdomain("never bound");
  EXPECT_STREQ(gettextCharset(), "");
}

TEST_F(MoCatalogTest, UnloadingUnmapsAndTheNextLookUpLoadsAgain) {
  install("de", sample().build());
  EXPECT_EQ(lookUp("Run"), "Start");
  unloadDomain(m_domain.c_str());
  EXPECT_TRUE(isUnloaded());
  EXPECT_STREQ(gettextCharset(), "");
  EXPECT_EQ(lookUp("Run"), "Start");
  unloadDomain("never bound");
}

TEST_F(MoCatalogTest, MarkersReturnTheirArgument) {
  EXPECT_STREQ(gettext_noop("Run"), "Run");
  EXPECT_STREQ(ngettext_noop("file", "files", 1), "file");
  EXPECT_STREQ(ngettext_noop("file", "files", 2), "files");
}

TEST_F(MoCatalogTest, SearchFindsEveryKeyAndNothingBetweenInFilesOfAnySize) {
  for (int count = 0; count <= 40; ++count) {
    MoBuilder file;
    for (int i = 0; i < count; ++i) {
      char key[8];
      std::snprintf(key, sizeof(key), "%02d", i % 100);
      file.add(key, std::string("value ") + key);
    }
    install("de", file.build());
    bindtextdomain(m_domain.c_str(), m_folder.path().c_str());
    EXPECT_EQ(lookUp("/ before all"), "/ before all");
    for (int i = 0; i < count; ++i) {
      char key[8];
      std::snprintf(key, sizeof(key), "%02d", i % 100);
      EXPECT_EQ(lookUp(key), std::string("value ") + key) << count << " strings";
      // One that sorts right behind the key.
      EXPECT_EQ(search(record(), (std::string(key) + "!").c_str()), nullptr) << count << " strings";
    }
    EXPECT_EQ(lookUp(": behind all"), ": behind all");
  }
}

TEST_F(MoCatalogTest, SearchComparesBytesAsUnsigned) {
  install("de", MoBuilder().add("a", "1").add("z", "2").add("\xc3\xa4", "3").add("\xff", "4").build());
  EXPECT_EQ(lookUp("a"), "1");
  EXPECT_EQ(lookUp("z"), "2");
  EXPECT_EQ(lookUp("\xc3\xa4"), "3");
  EXPECT_EQ(lookUp("\xff"), "4");
}

TEST_F(MoCatalogTest, SearchInARecordWhoseCountIsNegativeFindsNothing) {
  BoundDomain broken = {};
  broken.stringCount = 0x80000000;
  EXPECT_EQ(search(broken, "Run"), nullptr);
  broken.stringCount = 0xffffffff;
  EXPECT_EQ(search(broken, "Run"), nullptr);
  broken.stringCount = 0;
  EXPECT_EQ(search(broken, "Run"), nullptr);
}

TEST_F(MoCatalogTest, SearchEndsInAFileThatIsntSorted) {
  BoundDomain unsorted = {};
  unsorted.stringCount = 7;
  unsorted.originals.reset(
      new StringEntry[7]{{1, "g"}, {1, "a"}, {1, "f"}, {1, "b"}, {1, "e"}, {1, "c"}, {1, "d"}});
  unsorted.translations.reset(new StringEntry[7]{});
  for (const char* key : {"a", "b", "c", "d", "e", "f", "g", "h", "0"}) {
    search(unsorted, key);
  }
  // The one in the middle is found in any order.
  unsorted.translations[3].text = "B";
  EXPECT_STREQ(search(unsorted, "b"), "B");
}

TEST_F(MoCatalogTest, FailedAllocationOfARecordBindsNothing) {
  const std::string name = m_domain + "new";
  g_failingAllocation = 1;
  EXPECT_EQ(bindtextdomain(name.c_str(), "/x"), nullptr);
  EXPECT_EQ(findDomain(name.c_str()), nullptr);
}

TEST_F(MoCatalogTest, FailedAllocationOfATableLeavesTheRecordUnloaded) {
  install("de", sample().build());
  for (const int table : {1, 2}) {
    g_failingAllocation = table;
    EXPECT_EQ(lookUp("Run"), "Run");
    EXPECT_EQ(g_failingAllocation, 0);
    EXPECT_TRUE(isUnloaded());
  }
  EXPECT_EQ(lookUp("Run"), "Start");
}

TEST_F(MoCatalogTest, FailedCopyOfTheCharsetLeavesTheFileMappedForTheNextItem) {
  install("de", sample().build());
  g_failingAllocation = 3;
  EXPECT_EQ(lookUp("Run"), "Run");
  EXPECT_NE(record().mappedFile, nullptr);
  EXPECT_NE(record().magic, 0U);
  EXPECT_STREQ(gettextCharset(), "");
  unloadDomain(m_domain.c_str());
  g_failingAllocation = 3;
  EXPECT_EQ(lookUp("Run", "de:de"), "Start");
}

TEST_F(MoCatalogTest, FailedCopyOfTheLastLoadGivesTheKeyOnceAndForgetsTheLastLoad) {
  install("de", sample().build());
  for (const int copy : {4, 5}) {
    unloadDomain(m_domain.c_str());
    g_failingAllocation = copy;
    EXPECT_EQ(lookUp("Run"), "Run");
    EXPECT_EQ(g_failingAllocation, 0);
    EXPECT_NE(record().magic, 0U);
    // With no last load known, the file has to be there again.
    std::filesystem::rename(filePath("de"), m_folder.file("away"));
    EXPECT_EQ(lookUp("Run"), "Run");
    std::filesystem::rename(m_folder.file("away"), filePath("de"));
    EXPECT_EQ(lookUp("Run"), "Start");
  }
}

}  // namespace
}  // namespace halvo::mocatalog
