#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <vector>

namespace halvo {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::uint64_t kProcessing = TOLMOFFLINE_ERROR_PROCESSING;

class RecordingListener : public IProgressListener {
 public:
  void updateMsg(const std::string& message) override { calls.push_back("msg " + message); }
  void updateProgress(const std::uint32_t* percent) override {
    calls.push_back("bar " + std::to_string(*percent));
  }
  void tolmFinished(ResultCode code) override { calls.push_back("finished " + std::to_string(code)); }

  std::vector<std::string> calls;
};

class HoldingQueue : public IMainQueue {
 public:
  void submit(std::function<void()> block) override { blocks.push_back(std::move(block)); }

  std::vector<std::function<void()>> blocks;
};

class ProgressTest : public ::testing::Test {
 protected:
  ~ProgressTest() override {
    setProgressListener(nullptr);
    setMainQueue(nullptr);
    setConsoleMode(0);
  }

  void listen() { setProgressListener(&m_Listener); }

  static std::string printed(std::uint32_t percent, const std::string& message, std::uint64_t code) {
    ::testing::internal::CaptureStdout();
    reportProgress(percent, message, code);
    std::fflush(stdout);
    return ::testing::internal::GetCapturedStdout();
  }

  RecordingListener m_Listener;
};

TEST_F(ProgressTest, AListenerGetsTextAndThenBar) {
  listen();
  EXPECT_EQ(getProgressListener(), &m_Listener);
  reportProgress(7, "Processing x...", kProcessing);
  EXPECT_THAT(m_Listener.calls, ElementsAre("msg Processing x...", "bar 7"));
  EXPECT_EQ(getProgressState().percent, 7U);
  EXPECT_EQ(getProgressState().message, "Processing x...");
}

TEST_F(ProgressTest, PercentZeroLeavesTheStateButMovesTheBar) {
  listen();
  reportProgress(12, "a", kProcessing);
  reportProgress(0, "Reading instructions ...", kProcessing);
  EXPECT_EQ(getProgressState().percent, 12U);
  EXPECT_EQ(getProgressState().message, "Reading instructions ...");
  EXPECT_EQ(m_Listener.calls.back(), "bar 0");
}

TEST_F(ProgressTest, AnEmptyTextLeavesTheStateButEmptiesTheLabel) {
  listen();
  reportProgress(3, "text", kProcessing);
  reportProgress(4, "", kProcessing);
  EXPECT_EQ(getProgressState().message, "text");
  EXPECT_EQ(getProgressState().percent, 4U);
  EXPECT_THAT(m_Listener.calls, ElementsAre("msg text", "bar 3", "msg ", "bar 4"));
}

TEST_F(ProgressTest, AFinishWithoutATextOnlyTellsTheCode) {
  listen();
  reportProgress(5, "before", kProcessing);
  m_Listener.calls.clear();
  reportProgress(0, "", 0);
  EXPECT_THAT(m_Listener.calls, ElementsAre("finished 0"));
  EXPECT_EQ(getProgressState().percent, 5U);
  EXPECT_EQ(getProgressState().message, "before");
}

TEST_F(ProgressTest, AFailuresTextStaysInTheStateAndDoesntGoToTheListener) {
  listen();
  reportProgress(0, "Internal Error: all configs failed...", TOLMENGINE_ERROR_INTERNAL);
  EXPECT_THAT(m_Listener.calls, ElementsAre("finished " + std::to_string(TOLMENGINE_ERROR_INTERNAL)));
  EXPECT_EQ(getProgressState().message, "Internal Error: all configs failed...");
}

TEST_F(ProgressTest, ProgressCrossesByTheQueueInOrderAndTheFinishDirectly) {
  listen();
  HoldingQueue queue;
  setMainQueue(&queue);
  {
    std::string text = "first";
    reportProgress(1, text, kProcessing);
    text = "changed";
  }
  reportProgress(2, "second", kProcessing);
  reportProgress(0, "", 0);
  EXPECT_THAT(m_Listener.calls, ElementsAre("finished 0"));
  for (const auto& block : queue.blocks) {
    block();
  }
  EXPECT_THAT(m_Listener.calls, ElementsAre("finished 0", "msg first", "bar 1", "msg second", "bar 2"));
}

// The block held a bare pointer, and a listener that had gone meanwhile was called all the same.
TEST_F(ProgressTest, AWaitingReportKeepsListenerAndTextAlive) {
  HoldingQueue queue;
  setMainQueue(&queue);
  auto listener = std::make_shared<RecordingListener>();
  const std::weak_ptr<RecordingListener> watched = listener;
  setProgressListener(listener.get());
  reportProgress(1, std::string(100, 'x'), kProcessing);
  setProgressListener(nullptr);
  listener.reset();
  ASSERT_FALSE(watched.expired());
  queue.blocks.front()();
  EXPECT_THAT(watched.lock()->calls, ElementsAre("msg " + std::string(100, 'x'), "bar 1"));
  queue.blocks.clear();
  EXPECT_TRUE(watched.expired());
}

TEST_F(ProgressTest, WithoutAListenerAReportIsDropped) {
  ProgressState before;
  before = getProgressState();
  EXPECT_EQ(printed(50, "text", kProcessing), "");
  EXPECT_EQ(printed(0, "text", 0), "");
  EXPECT_EQ(getProgressState().percent, before.percent);
  EXPECT_EQ(getProgressState().message, before.message);
}

TEST_F(ProgressTest, TheConsolePadsAndCutsToFiftyColumns) {
  setConsoleMode(1);
  EXPECT_EQ(printed(5, "Processing x...", kProcessing),
            "\rProcessing x...                                      5%");
  const std::string longText(60, 'y');
  EXPECT_EQ(printed(100, longText, kProcessing), "\r" + std::string(50, 'y') + " 100%");
}

TEST_F(ProgressTest, AConsoleLineIsSeenAtOnceThoughItHasNoEnd) {
  setConsoleMode(1);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  std::fflush(stdout);
  const int terminal = dup(STDOUT_FILENO);
  dup2(ends[1], STDOUT_FILENO);
  reportProgress(5, "x", kProcessing);
  char line[80];
  const ssize_t seen = read(ends[0], line, sizeof(line));
  std::fflush(stdout);
  dup2(terminal, STDOUT_FILENO);
  for (const int descriptor : {terminal, ends[0], ends[1]}) {
    close(descriptor);
  }
  EXPECT_EQ(seen, 56);
}

TEST_F(ProgressTest, TheConsolePrintsNothingAtPercentZeroOrWithoutAText) {
  setConsoleMode(1);
  EXPECT_EQ(printed(0, "Reading instructions ...", kProcessing), "");
  EXPECT_EQ(printed(9, "", kProcessing), "");
}

TEST_F(ProgressTest, TheConsolePrintsEveryFinishBetweenTwoLineEnds) {
  setConsoleMode(1);
  EXPECT_EQ(printed(0, "", 0), "\r\n\r\n");
  EXPECT_EQ(printed(0, "Internal Error: 100% failed...", TOLMENGINE_ERROR_INTERNAL),
            "\r\nInternal Error: 100% failed...\r\n");
}

TEST_F(ProgressTest, InConsoleModeTheListenerAndTheStateRest) {
  listen();
  ProgressState before;
  before = getProgressState();
  setConsoleMode(1);
  static_cast<void>(printed(33, "text of the console", kProcessing));
  EXPECT_THAT(m_Listener.calls, IsEmpty());
  EXPECT_EQ(getProgressState().percent, before.percent);
  EXPECT_EQ(getProgressState().message, before.message);
}

// A title or a description comes from a document, and would move the terminal's cursor.
TEST_F(ProgressTest, TheConsolePrintsNoControlCharactersOfAMessage) {
  setConsoleMode(1);
  EXPECT_THAT(printed(33, "Processing \x1b[2J\xc2\x9b\n...", kProcessing),
              ::testing::StartsWith("\rProcessing \\x1b[2J\\xc2\\x9b\\x0a... "));
  EXPECT_EQ(printed(0, "failed: \x07", 1), "\r\nfailed: \\x07\r\n");
}

TEST_F(ProgressTest, ConsoleModeIsTwoBytesOfANumber) {
  setConsoleMode(0xAABBCC01);
  EXPECT_EQ(getConsoleMode().console, 0x01);
  EXPECT_EQ(getConsoleMode().second, 0xCC);
  setConsoleMode(0x0100);
  EXPECT_EQ(getConsoleMode().console, 0);
  EXPECT_EQ(getConsoleMode().second, 1);
  getConsoleMode().console = 1;
  EXPECT_NE(printed(1, "x", kProcessing), "");
}

}  // namespace
}  // namespace halvo
