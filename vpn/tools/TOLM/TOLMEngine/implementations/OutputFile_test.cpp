#include "vpn/tools/TOLM/TOLMEngine/implementations/OutputFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tests/support/FileSizeLimit.h"
#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/WriteAll.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"

namespace halvo {
namespace {

using namespace test;

class OutputFileTest : public ::testing::Test {
 protected:
  OutputFileTest() { resetLosses(); }
  [[nodiscard]] std::string at(const std::string& name) const { return m_Folder.file(name); }

  // 0, or the errno value of a file that can't be opened.
  static int openError(const std::string& path, OutputMode mode = OutputMode::kReplace) {
    errno = 0;
    return openOutput(path, mode) ? 0 : errno;
  }

  LogRecorder m_Log;
  TempFolder m_Folder;
};

TEST_F(OutputFileTest, AFileIsMadeReplacedOrAppendedTo) {
  for (const auto& [mode, due] :
       {std::pair(OutputMode::kReplace, "new"), std::pair(OutputMode::kAppend, "newnew")}) {
    unlink(at("file").c_str());
    for (int i = 0; i < 2; ++i) {
      const DescriptorHolder output = openOutput(at("file"), mode);
      ASSERT_TRUE(output);
      EXPECT_EQ(writeAll(output.get(), "new", 3), 0);
    }
    EXPECT_EQ(readFile(at("file")), due);
  }
}

TEST_F(OutputFileTest, ALinkInThePlaceOfAnOutputIsNotFollowed) {
  writeFile(at("precious"), "precious");
  ASSERT_EQ(symlink(at("precious").c_str(), at("link").c_str()), 0);
  ASSERT_EQ(symlink(at("nothing").c_str(), at("dangling").c_str()), 0);
  for (const OutputMode mode : {OutputMode::kReplace, OutputMode::kAppend}) {
    EXPECT_EQ(openError(at("link"), mode), ELOOP);
    EXPECT_EQ(openError(at("dangling"), mode), ELOOP);
  }
  EXPECT_EQ(readFile(at("precious")), "precious");
  EXPECT_FALSE(exists(at("nothing")));
}

TEST_F(OutputFileTest, APipeOrADeviceIsAFailureAndNothingIsWaitedFor) {
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  EXPECT_EQ(openError(at("pipe")), ENXIO);
  const DescriptorHolder reader(open(at("pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  EXPECT_EQ(openError(at("pipe")), EPERM);
  EXPECT_EQ(openError("/dev/null"), EPERM);
  EXPECT_EQ(openError("/dev/full", OutputMode::kAppend), EPERM);
}

TEST_F(OutputFileTest, AFileWithAnotherNameIsLeftAlone) {
  writeFile(at("precious"), "precious");
  ASSERT_EQ(link(at("precious").c_str(), at("planted").c_str()), 0);
  EXPECT_EQ(openError(at("planted")), EPERM);
  EXPECT_EQ(readFile(at("precious")), "precious");
}

TEST_F(OutputFileTest, AFileOfAnotherUserIsLeftAlone) {
  // Of a file system that belongs to the host, whoever runs the tests.
  writeFile(at("foreign"), "theirs");
  if (geteuid() == 0) {
    ASSERT_EQ(chown(at("foreign").c_str(), 1, 1), 0);
    EXPECT_EQ(openError(at("foreign")), EPERM);
    EXPECT_EQ(readFile(at("foreign")), "theirs");
  } else {
    EXPECT_NE(openError("/etc/passwd"), 0);
  }
}

TEST_F(OutputFileTest, NoChildInheritsAnOutput) {
  const DescriptorHolder output = openOutput(at("file"), OutputMode::kAppend);
  EXPECT_NE(fcntl(output.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(OutputFileTest, APathIsHeldToItsFolderWhateverItsWordsAre) {
  makeFolders(at("base/sub"));
  makeFolders(at("elsewhere"));
  ASSERT_EQ(symlink(at("elsewhere").c_str(), at("base/link").c_str()), 0);
  for (const char* name : {"file", "sub/file", "sub/../other", "../base/third"}) {
    EXPECT_TRUE(openOutputBelow(at("base"), at("base") + "/" + name, OutputMode::kReplace)) << name;
  }
  for (const char* name : {"../file", "sub/../../file", "link/file", "../elsewhere/file", "/", "..", "."}) {
    EXPECT_FALSE(openOutputBelow(at("base"), at("base") + "/" + name, OutputMode::kReplace)) << name;
  }
  EXPECT_FALSE(openOutputBelow(at("base"), "/etc/no_such_file_here", OutputMode::kReplace));
  EXPECT_FALSE(openOutputBelow(at("base"), "", OutputMode::kReplace));
  EXPECT_FALSE(openOutputBelow(at("missing"), at("base/file"), OutputMode::kReplace));
  EXPECT_EQ(listFolder(at("elsewhere")).size(), 0U);
  EXPECT_FALSE(exists(at("file")));
}

TEST_F(OutputFileTest, AStreamTellsTheFirstWriteThatFailedAndWritesNoMore) {
  OutputStream stream(at("file"), OutputMode::kReplace);
  {
    const FileSizeLimit full(10);
    stream << "0123456789"
           << "lost"
           << "lost too" << 'x';
    EXPECT_EQ(stream.close(), EFBIG);
  }
  EXPECT_EQ(readFile(at("file")), "0123456789");
}

TEST_F(OutputFileTest, AStreamThatIsNotOpenTakesEverything) {
  OutputStream stream(at("missing/file"), OutputMode::kReplace);
  EXPECT_FALSE(stream.is_open());
  stream << "gone" << 'x';
  EXPECT_TRUE(stream.good());
  EXPECT_EQ(stream.close(), 0);
}

TEST_F(OutputFileTest, AFileWhoseWritesFailedIsALossWhenItIsClosed) {
  FileHolder file = toFile(openOutput(at("file"), OutputMode::kAppend), OutputMode::kAppend);
  ASSERT_NE(file, nullptr);
  {
    const FileSizeLimit full(4);
    std::fputs("too long", file.get());
    closeOutput("printSummary", at("file"), std::move(file));
  }
  ASSERT_EQ(lossCount(LossKind::kCutShort), 1U);
  EXPECT_EQ(losses(LossKind::kCutShort)[0].path, at("file"));
  EXPECT_EQ(losses(LossKind::kCutShort)[0].what, "File too large");
  EXPECT_EQ(m_Log.records().at(0).field("Function"), "printSummary");
}

TEST_F(OutputFileTest, NothingBecomesNoFile) {
  EXPECT_EQ(toFile(openOutput(at("missing/file"), OutputMode::kAppend), OutputMode::kAppend), nullptr);
}

}  // namespace
}  // namespace halvo
