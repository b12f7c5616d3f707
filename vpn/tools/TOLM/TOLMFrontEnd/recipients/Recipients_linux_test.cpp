// Bundles to public keys, made with the real program and read by it in a home of the reader's own.

#include "vpn/tools/TOLM/TOLMFrontEnd/recipients/Recipients.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/Holders.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr char kUnknown[] = "0123456789ABCDEF0123456789ABCDEF01234567";

// A reader with a keyring of his own. The sender's is another.
class Reader {
 public:
  Reader() { chmod(home().c_str(), 0700); }
  ~Reader() { static_cast<void>(runProgram({"gpgconf", "--homedir", home(), "--kill", "all"})); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  [[nodiscard]] const std::string& home() const { return m_Home.path(); }

  RunResult gpg(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {"gpg", "--homedir", home(), "--batch", "--quiet", "--yes",
                                         "--passphrase", "", "--pinentry-mode", "loopback"});
    return runProgram(arguments);
  }

  // Makes a key and gives its file.
  std::string makeKey(const std::string& name, const std::vector<std::string>& more = {},
                      const std::string& usage = "default", const std::string& expire = "never") const {
    std::vector<std::string> arguments = more;
    arguments.insert(arguments.end(), {"--quick-generate-key", name, "future-default", usage, expire});
    const RunResult made = gpg(arguments);
    EXPECT_EQ(made.exitStatus, 0) << made.err;
    std::string file = home() + "/" + name + ".asc";
    EXPECT_EQ(gpg({"--armor", "--output", file, "--export", name}).exitStatus, 0);
    return file;
  }

  [[nodiscard]] std::string fingerprint(const std::string& name) const {
    const std::string text = gpg({"--with-colons", "--list-keys", name}).out;
    const std::size_t at = text.find("\nfpr:");
    return at == std::string::npos ? "" : text.substr(at + 13, 40);
  }

  // What the file holds for this reader; an empty text where he can't open it.
  [[nodiscard]] std::string read(const std::string& path) const { return gpg({"--decrypt", path}).out; }

 private:
  TempFolder m_Home;
};

class RecipientsTest : public ::testing::Test {
 protected:
  RecipientsTest() {
    // The sender's keyring is empty but for what a test puts there.
    chmod(m_Sender.path().c_str(), 0700);
  }

  // Encrypts `text` and gives what failed.
  std::string encrypt(const Recipients& recipients, const std::string& text) {
    const DescriptorHolder plain(recipients.makePlainFile());
    EXPECT_TRUE(plain);
    EXPECT_EQ(write(plain.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    const DescriptorHolder cipher(open(m_Cipher.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    return recipients.encrypt(plain.get(), cipher.get());
  }

  static std::vector<std::string> keyFolders() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
      if (entry.path().filename().string().rfind("TOLM_Keys_", 0) == 0) {
        names.push_back(entry.path());
      }
    }
    return names;
  }

  TempFolder m_Sender;
  const ScopedEnv m_Home{"GNUPGHOME", m_Sender.path().c_str()};
  TempFolder m_Folder;
  const std::string m_Cipher = m_Folder.file("bundle.zip.gpg");
  Reader m_Reader;
};

TEST_F(RecipientsTest, TheHolderOfTheKeyReadsWhatWasEncrypted) {
  const std::string text(3 << 20, 'x');
  Recipients recipients;
  ASSERT_EQ(recipients.open({m_Reader.makeKey("support")}), "");
  ASSERT_EQ(encrypt(recipients, text), "");
  EXPECT_EQ(readFile(m_Cipher).find("xxxxxxxx"), std::string::npos);
  EXPECT_TRUE(m_Reader.read(m_Cipher) == text);
}

TEST_F(RecipientsTest, EachOfSeveralHoldersReadsItAndNobodyElse) {
  const Reader second;
  const Reader stranger;
  stranger.makeKey("stranger");
  Recipients recipients;
  ASSERT_EQ(recipients.open({m_Reader.makeKey("support"), second.makeKey("office")}), "");
  ASSERT_EQ(encrypt(recipients, "for both"), "");
  EXPECT_EQ(m_Reader.read(m_Cipher), "for both");
  EXPECT_EQ(second.read(m_Cipher), "for both");
  EXPECT_EQ(stranger.read(m_Cipher), "");
}

TEST_F(RecipientsTest, AFingerprintIsLookedUpInTheUsersKeyring) {
  const std::string file = m_Reader.makeKey("support");
  ASSERT_EQ(runProgram({"gpg", "--batch", "--quiet", "--import", file}).exitStatus, 0);
  Recipients recipients;
  ASSERT_EQ(recipients.open({m_Reader.fingerprint("support")}), "");
  ASSERT_EQ(encrypt(recipients, "by fingerprint"), "");
  EXPECT_EQ(m_Reader.read(m_Cipher), "by fingerprint");
}

TEST_F(RecipientsTest, AKeyFileLeavesTheUsersKeyringAlone) {
  Recipients recipients;
  ASSERT_EQ(recipients.open({m_Reader.makeKey("support")}), "");
  EXPECT_EQ(runProgram({"gpg", "--batch", "--list-keys"}).out, "");
}

TEST_F(RecipientsTest, TheOwnKeyringIsClosedToOthersAndGoesWithTheObject) {
  {
    Recipients recipients;
    ASSERT_EQ(recipients.open({m_Reader.makeKey("support")}), "");
    ASSERT_EQ(keyFolders().size(), 1U);
    struct stat data;
    ASSERT_EQ(stat(keyFolders().front().c_str(), &data), 0);
    EXPECT_EQ(data.st_mode & 0777U, 0700U);
    const DescriptorHolder plain(recipients.makePlainFile());
    ASSERT_EQ(fstat(plain.get(), &data), 0);
    EXPECT_EQ(data.st_nlink, 0U);
  }
  EXPECT_THAT(keyFolders(), IsEmpty());
}

TEST_F(RecipientsTest, AnUnknownFingerprintIsTold) {
  Recipients recipients;
  EXPECT_THAT(recipients.open({kUnknown}), HasSubstr(std::string(kUnknown) + "\" can't be used: "));
}

TEST_F(RecipientsTest, AFileThatIsMissingIsTold) {
  Recipients recipients;
  EXPECT_THAT(recipients.open({"/nowhere/key.asc"}), HasSubstr("No such file or directory"));
}

TEST_F(RecipientsTest, AFileThatHoldsNoKeyIsTold) {
  for (const std::string& text : {std::string(), std::string("no key"), std::string(100000, '\x99')}) {
    const std::string file = m_Folder.file("not-a-key");
    writeFile(file, text);
    Recipients recipients;
    EXPECT_THAT(recipients.open({file}), HasSubstr("can't be used: "));
  }
}

TEST_F(RecipientsTest, AFolderAPipeOrADeviceIsNoKey) {
  const std::string pipe = m_Folder.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const std::string& path : {m_Folder.path(), pipe, std::string("/dev/zero")}) {
    Recipients recipients;
    EXPECT_THAT(recipients.open({path}), HasSubstr("no file of a key's size"));
  }
}

TEST_F(RecipientsTest, ASecretKeyIsRefusedAndWrittenNowhere) {
  m_Reader.makeKey("support");
  const std::string armored = m_Folder.file("secret.asc");
  const std::string binary = m_Folder.file("secret.gpg");
  const std::string behind = m_Folder.file("behind.asc");
  ASSERT_EQ(m_Reader.gpg({"--armor", "--output", armored, "--export-secret-keys", "support"}).exitStatus, 0);
  ASSERT_EQ(m_Reader.gpg({"--output", binary, "--export-secret-keys", "support"}).exitStatus, 0);
  for (const std::string& file : {armored, binary}) {
    Recipients recipients;
    EXPECT_THAT(recipients.open({file}), HasSubstr("it holds a secret key")) << file;
    ASSERT_EQ(keyFolders().size(), 1U);
    EXPECT_FALSE(exists(keyFolders().front() + "/private-keys-v1.d")) << file;
  }
  // What begins as a public key is known by what was read of it.
  std::string both;
  ASSERT_EQ(m_Reader.gpg({"--output", m_Folder.file("public.gpg"), "--export", "support"}).exitStatus, 0);
  both = readFile(m_Folder.file("public.gpg")) + readFile(binary);
  writeFile(behind, both);
  Recipients recipients;
  EXPECT_THAT(recipients.open({behind}), HasSubstr("it holds a secret key"));
}

TEST_F(RecipientsTest, AKeyThatIsGivenTwiceIsOneReader) {
  const std::string file = m_Reader.makeKey("support");
  Recipients recipients;
  ASSERT_EQ(recipients.open({file, file}), "");
  EXPECT_THAT(recipients.fingerprints(), SizeIs(1));
  ASSERT_EQ(encrypt(recipients, "once"), "");
  EXPECT_EQ(m_Reader.read(m_Cipher), "once");
}

TEST_F(RecipientsTest, AnExpiredKeyIsTold) {
  const std::string file =
      m_Reader.makeKey("old", {"--faked-system-time", "20200101T000000"}, "default", "1d");
  Recipients recipients;
  EXPECT_THAT(recipients.open({file}), HasSubstr("it has expired"));
}

TEST_F(RecipientsTest, AKeyForSignaturesAloneIsTold) {
  Recipients recipients;
  EXPECT_THAT(recipients.open({m_Reader.makeKey("signer", {}, "sign")}), HasSubstr("no key for encryption"));
}

TEST_F(RecipientsTest, AFileOfSeveralKeysIsTold) {
  m_Reader.makeKey("one");
  m_Reader.makeKey("two");
  const std::string both = m_Folder.file("both.asc");
  ASSERT_EQ(m_Reader.gpg({"--armor", "--output", both, "--export"}).exitStatus, 0);
  Recipients recipients;
  EXPECT_THAT(recipients.open({both}), HasSubstr("several keys"));
}

TEST_F(RecipientsTest, ADiskThatFillsUpIsNoSuccess) {
  Recipients recipients;
  ASSERT_EQ(recipients.open({m_Reader.makeKey("support")}), "");
  const DescriptorHolder plain(recipients.makePlainFile());
  const std::string text(1 << 20, 'x');
  ASSERT_EQ(write(plain.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  const DescriptorHolder full(open("/dev/full", O_RDWR | O_CLOEXEC));
  EXPECT_THAT(recipients.encrypt(plain.get(), full.get()), HasSubstr("No space left"));
}

// A stand-in for gpg that answers as the real one until it has to encrypt.
TEST_F(RecipientsTest, AProgramThatIsKilledWhileItEncryptsIsNoSuccess) {
  const std::string key = m_Reader.makeKey("support");
  const ForkedResult result = runForked([&] {
    // The library asks for the program by its full path, so that the stand-in lies there.
    writeFile("/tmp/real", readFile("/usr/bin/gpg"));
    chmod("/tmp/real", 0755);
    writeFile("/tmp/gpg",
              "#!/bin/sh\ncase \" $* \" in *\" --encrypt \"*) printf half; kill -9 $$;; esac\n"
              "exec /tmp/real \"$@\"\n");
    chmod("/tmp/gpg", 0755);
    if (mount("/tmp/gpg", "/usr/bin/gpg", nullptr, MS_BIND, nullptr) != 0) {
      return 3;
    }
    Recipients recipients;
    const std::string opened = recipients.open({key});
    if (!opened.empty()) {
      return 4;
    }
    return encrypt(recipients, "never whole").empty() ? 5 : 0;
  });
  static_cast<void>(umount("/usr/bin/gpg"));
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
}

TEST_F(RecipientsTest, WithoutTheProgramNoKeyCanBeUsed) {
  const ForkedResult result = runForked([&] {
    writeFile("/tmp/nothing", "");
    if (mount("/tmp/nothing", "/usr/bin/gpg", nullptr, MS_BIND, nullptr) != 0) {
      return 3;
    }
    Recipients recipients;
    return recipients.open({kUnknown}).empty() ? 4 : 0;
  });
  static_cast<void>(umount("/usr/bin/gpg"));
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
}

}  // namespace
}  // namespace halvo
