// What a front-end may set or ask beside a run.

#include <sys/stat.h>

#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineRuns_test.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::MatchesRegex;

class EngineSeamsTest : public TOLMEngineTest {
 protected:
  EngineSeamsTest() { config("a.xml", documentText("Alpha", logsItem())); }
};

TEST_F(EngineSeamsTest, AFrontEndsArchiveStepGetsFolderBundleAndPassword) {
  std::vector<std::string> given;
  std::vector<std::string> present;
  TOLMEngine engine("", "/tmp/out", "secret", false);
  engine.setArchiveStep(
      [&](const std::string& folder, const std::string& bundle, const std::string& password) {
        given = {folder, bundle, password};
        present = listFolder(folder);
        return ResultCode{0};
      });
  EXPECT_RESULT(engine.run(), 0);
  ASSERT_EQ(given.size(), 3U);
  EXPECT_THAT(given[0], MatchesRegex("/tmp/TOLM_Temp_Bundle__[0-9]{4}_[0-9]{4}_[0-9]{1,5}"));
  EXPECT_EQ(given[1], "/tmp/out.zip");
  EXPECT_EQ(given[2], "secret");
  std::sort(present.begin(), present.end());
  EXPECT_THAT(present, ElementsAre("Alpha", "summary.txt"));
  EXPECT_FALSE(exists("/tmp/out.zip"));
}

TEST_F(EngineSeamsTest, ABadRequestIsLoggedUnderTheRunsName) {
  EXPECT_RESULT(run("/tmp/missing.xml"), TOLMENGINE_ERROR_INVALID_XML);
  std::string function;
  for (const LogRecord& record : m_Log.records()) {
    if (record.text() == m_strFailure) {
      function = record.field("Function");
    }
  }
  EXPECT_EQ(function, "collectLogs") << m_Log.dump();
}

TEST_F(EngineSeamsTest, ALeftOverThatIsntThereIsLoggedUnderTheRunsName) {
  EXPECT_RESULT(run(), 0);
  for (const LogRecord& record : m_Log.records()) {
    if (record.field("Invoked Function") == "helperUtil::fileDeleteDirectory") {
      EXPECT_EQ(record.field("Function"), "collectLogs");
      return;
    }
  }
  FAIL() << m_Log.dump();
}

TEST_F(EngineSeamsTest, AFailingArchiveStepEndsTheRunWithTheOneCode) {
  TOLMEngine engine("", "/tmp/out.zip", "", false);
  engine.setArchiveStep(
      [](const std::string&, const std::string&, const std::string&) { return ResultCode{7}; });
  const ResultCode rc = engine.run();
  m_strFailure = engine.failureText();
  expectFailure(rc, TOLMENGINE_ERROR_WRITE_FAILURE, "Internal Error: failed to zip the bundle...");
}

TEST_F(EngineSeamsTest, ATrialRunReadsTheFolderThatItWasGiven) {
  writeFile("/opt/commands/trial/b.xml", documentText("Trial", logsItem()));
  for (const char* folder : {"/opt/commands/trial", "/opt/commands/trial/"}) {
    TOLMEngine engine("", "/tmp/out.zip", "", false);
    engine.setConfigFolder(folder);
    EXPECT_RESULT(engine.run(), 0) << folder;
    m_strBundle = engine.bundlePath();
    EXPECT_THAT(entries(), ElementsAre("Trial/TWO.LOG", "Trial/one.log", "summary.txt")) << folder;
  }
}

TEST_F(EngineSeamsTest, TheWorkFolderIsToldWhileTheRunHasIt) {
  std::string during;
  std::string given;
  TOLMEngine engine("", "/tmp/out.zip", "", false);
  engine.setArchiveStep([&](const std::string& folder, const std::string&, const std::string&) {
    given = folder;
    during = engine.tempFolder();
    return ResultCode{0};
  });
  EXPECT_EQ(engine.tempFolder(), "");
  EXPECT_RESULT(engine.run(), 0);
  EXPECT_EQ(during, given);
  EXPECT_NE(during, "");
  EXPECT_EQ(engine.tempFolder(), "");
}

// What there is of a run at the moment of each of its reports.
class WatchingListener : public IProgressListener {
 public:
  explicit WatchingListener(const LogRecorder& log) : m_rLog(log) { setProgressListener(this); }
  ~WatchingListener() override { setProgressListener(nullptr); }
  WatchingListener(const WatchingListener&) = delete;
  WatchingListener& operator=(const WatchingListener&) = delete;

  void updateMsg(const std::string& message) override { m_strMessage = message; }
  void updateProgress(const std::uint32_t* percent) override {
    seen.push_back(std::to_string(*percent) + state());
  }
  void tolmFinished(ResultCode code) override {
    seen.push_back((code == 0 ? "done" : "failed") + state() +
                   (m_rLog.has(kLogError, "Internal Error: ") ? ", logged" : ""));
  }

  std::vector<std::string> seen;

 private:
  static std::string state() {
    for (const std::string& name : listFolder("/tmp")) {
      if (name.starts_with("TOLM_Temp_Bundle")) {
        return exists("/tmp/out.zip") ? " with folder and bundle" : " with folder";
      }
    }
    return exists("/tmp/out.zip") ? " with bundle" : "";
  }

  const LogRecorder& m_rLog;
  std::string m_strMessage;
};

TEST_F(EngineSeamsTest, AFailureIsLoggedThenReportedAndOnlyThenDoesTheFolderGo) {
  const WatchingListener listener(m_Log);
  EXPECT_RESULT(run("", "/tmp/missing/out.zip"), TOLMENGINE_ERROR_WRITE_FAILURE);
  ASSERT_FALSE(listener.seen.empty());
  EXPECT_EQ(listener.seen.back(), "failed with folder, logged");
  EXPECT_THAT(leftovers(), ::testing::IsEmpty());
}

TEST_F(EngineSeamsTest, TheArchiveIsMadeBehindItsReportAndTheFolderIsGoneAtTheLastOne) {
  const WatchingListener listener(m_Log);
  EXPECT_RESULT(run(), 0);
  ASSERT_GE(listener.seen.size(), 3U);
  EXPECT_EQ(*(listener.seen.end() - 3), "96 with folder");
  EXPECT_EQ(*(listener.seen.end() - 2), "100 with bundle");
  EXPECT_EQ(listener.seen.back(), "done with bundle");
}

}  // namespace
}  // namespace halvo
