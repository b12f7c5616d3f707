#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/LogRecorder.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/StoragePath.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMOffline/FakeToolkit.h"

namespace halvo {
namespace {

using test::FakeToolkit;
using test::LogRecorder;
using test::ScopedEnv;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What the flow asked of an engine.
struct EngineRequest {
  std::string requestPath;
  std::string bundlePath;
  std::string password;
  bool clearLogs;
};

class FakeEngine : public IEngineRun {
 public:
  FakeEngine(std::vector<std::string>& events, std::function<void()> work, FakeToolkit& toolkit,
             std::size_t lostFiles, std::string bundle)
      : m_rEvents(events),
        m_Work(std::move(work)),
        m_rToolkit(toolkit),
        m_nLostFiles(lostFiles),
        m_strBundle(std::move(bundle)) {}
  ~FakeEngine() override {
    m_rEvents.push_back("destroyed with " + std::to_string(m_rToolkit.queue.size()) + " blocks queued");
  }
  void run() override {
    m_rEvents.emplace_back("run");
    if (m_Work) {
      m_Work();
    }
  }
  [[nodiscard]] std::size_t lostFiles() const override { return m_nLostFiles; }
  [[nodiscard]] std::string bundlePath() const override { return m_strBundle; }

 private:
  std::vector<std::string>& m_rEvents;
  std::function<void()> m_Work;
  FakeToolkit& m_rToolkit;
  std::size_t m_nLostFiles;
  std::string m_strBundle;
};

class GUIControllerTest : public ::testing::Test {
 protected:
  GUIControllerTest() {
    m_Services.getMessage = [](const std::string& key) { return "<" + key + ">"; };
    m_Services.bundleTimeText = [this] { return m_strTimeText; };
    m_Services.takesFiles = [this](const std::string& folder) {
      m_strBundleFolder = folder;
      return m_bTakesFiles;
    };
    m_Services.isSystemVersionAtLeast = [this](int major, int minor, int patch) {
      m_AskedVersion = {major, minor, patch};
      return m_bNewSystem;
    };
    m_Services.makeEngine = [this](const std::string& requestPath, const std::string& bundlePath,
                                   const std::string& password, bool clearLogs) {
      m_Requests.push_back({requestPath, bundlePath, password, clearLogs});
      return std::make_unique<FakeEngine>(m_EngineEvents, m_EngineWork, m_Toolkit, m_nLostFiles,
                                          m_strWritten);
    };
    m_Services.exitProcess = [this](int status) { m_Exits.push_back(status); };
  }
  ~GUIControllerTest() override {
    setProgressListener(nullptr);
    setMainQueue(nullptr);
    while (CStoragePath* instance = CStoragePath::acquireInstance()) {
      CStoragePath::releaseInstance(instance);
      CStoragePath::releaseInstance(instance);
    }
  }

  // A wizard whose window has just opened.
  GUIController& open() {
    m_pController = std::make_unique<GUIController>(m_Toolkit, m_Services);
    m_pController->awakeFromNib();
    m_Toolkit.calls.clear();
    return *m_pController;
  }
  // The user clicks a check box: the toolkit turns it over and sends the action.
  void clickEncryption() {
    turnOver(Outlet::encryptionBox);
    m_pController->enableEncrypt();
  }
  void clickMask() {
    turnOver(Outlet::maskPswdBox);
    m_pController->maskPassword();
  }
  void type(const std::string& text) {
    m_Toolkit
        .texts[m_Toolkit.hidden[Outlet::passwordField] ? Outlet::unmaskPassword : Outlet::passwordField] =
        text;
  }
  // The background queue and then the main queue run dry.
  void runQueues() {
    for (auto& [queue, block] : m_Toolkit.background) {
      block();
    }
    m_Toolkit.background.clear();
    m_Toolkit.queue.drain();
  }
  void turnOver(Outlet box) {
    int& state = m_Toolkit.states[box];
    state = state == kStateOn ? kStateOff : kStateOn;
  }
  std::string passwordOfRun() {
    m_pController->runButton();
    runQueues();
    return m_Requests.empty() ? "no run" : m_Requests.back().password;
  }

  FakeToolkit m_Toolkit;
  WizardServices m_Services;
  std::unique_ptr<GUIController> m_pController;
  ScopedEnv m_Home{"HOME", "/home/tester"};
  std::string m_strTimeText = "_0315_1042";
  bool m_bNewSystem = false;
  std::vector<int> m_AskedVersion;
  std::vector<EngineRequest> m_Requests;
  std::vector<std::string> m_EngineEvents;
  std::function<void()> m_EngineWork;
  std::string m_strWritten;  // what the engine tells of its bundle
  std::vector<int> m_Exits;
  std::string m_strBundleFolder;
  bool m_bTakesFiles = true;
  std::size_t m_nLostFiles = 0;
};

TEST_F(GUIControllerTest, WindowOpensInTheToldOrder) {
  GUIController controller(m_Toolkit, m_Services);

  controller.awakeFromNib();

  EXPECT_THAT(
      m_Toolkit.calls,
      ElementsAre(
          "setTitle mAbout <About TOLM>", "setTitle mHideTolm <Hide TOLM>",
          "setTitle mHideOthers <Hide Others>", "setTitle mShowAll <Show All>",
          "setTitle mQuitTolm <Quit TOLM>",    //
          "setTitle mainWindow <Halvo TOLM>",  //
          "setTabViewType tabView 6",          //
          "setStringValue welcomeMsg <Welcome to the Halvo Fieldcase (TOLM).>",
          "setStringValue tolmIntro <TOLM is a tool that helps to bundle the appropriate log files and "
          "diagnostic information that can be used for analyzing and debugging the Tessarmont client "
          "connections.>",
          "setTitle encryptionBox <Enable Bundle Encryption>",
          "setStringValue pswdText <Encryption Password>",  //
          "setTitle maskPswdBox <Mask Password>",           //
          "setTitle runButton <Run>",                       //
          "setState encryptionBox 0",                       //
          "setEnabled passwordField no", "setHidden passwordField no", "setEnabled unmaskPassword no",
          "setHidden unmaskPassword yes", "setEnabled maskPswdBox no", "setState maskPswdBox 1",  //
          "setDelegate controller"));
  EXPECT_EQ(m_Toolkit.screen, 0);
}

TEST_F(GUIControllerTest, MenuIsTranslatedBeforeAnythingIsShownAndAfterTheStoragePathIsMade) {
  std::vector<std::string> events;
  m_Services.createStoragePath = [&events](CStoragePath*& out) {
    events.emplace_back("storage path");
    out = nullptr;
    return ResultCode{0};
  };
  m_Services.getMessage = [&events](const std::string& key) {
    events.push_back(key);
    return key;
  };
  m_Services.bundleTimeText = [&events] {
    events.emplace_back("time");
    return std::string();
  };
  GUIController controller(m_Toolkit, m_Services);

  controller.awakeFromNib();

  ASSERT_GE(events.size(), 8U);
  EXPECT_EQ(std::vector<std::string>(events.begin(), events.begin() + 8),
            (std::vector<std::string>{"storage path", "About TOLM", "Hide TOLM", "Hide Others", "Show All",
                                      "Quit TOLM", "time", "Halvo TOLM"}));
}

TEST_F(GUIControllerTest, WindowThatOpensTakesTheEnginesProgress) {
  GUIController& controller = open();

  EXPECT_EQ(getProgressListener(), &controller);
}

TEST_F(GUIControllerTest, WindowThatOpensHoldsOneCountOfTheStoragePath) {
  open();

  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 1U);
}

TEST_F(GUIControllerTest, StoragePathThatCannotBeMadeIsLoggedAndTheWizardGoesOn) {
  LogRecorder log;
  m_Services.createStoragePath = [](CStoragePath*& out) {
    out = reinterpret_cast<CStoragePath*>(8);  // must be put back to null
    return CSTORAGEPATH_ERROR_MEMALLOC_FAILED;
  };
  bool released = false;
  m_Services.releaseStoragePath = [&released](CStoragePath*) { released = true; };

  open();

  ASSERT_TRUE(log.hasReturnCode(kLogError, "CStoragePath::CreateSingletonInstance",
                                CSTORAGEPATH_ERROR_MEMALLOC_FAILED))
      << log.dump();
  EXPECT_EQ(log.records().front().field("Function"), "-[GUIController awakeFromNib]");
  EXPECT_EQ(log.records().front().field("Line"), "40");
  EXPECT_EQ(m_Toolkit.texts[Outlet::welcomeMsg], "<Welcome to the Halvo Fieldcase (TOLM).>");
  m_pController->applicationWillTerminate();
  EXPECT_FALSE(released);
}

TEST_F(GUIControllerTest, StoragePathThatIsMadeLogsNothing) {
  LogRecorder log;

  open();

  EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(GUIControllerTest, BundleNameIsFixedWhenTheWindowOpensAndNotWhenRunIsPressed) {
  open();
  m_strTimeText = "_0315_1107";

  m_pController->runButton();
  runQueues();

  ASSERT_EQ(m_Requests.size(), 1U);
  EXPECT_EQ(m_Requests[0].bundlePath, "/home/tester/Desktop/TOLMBundle_0315_1042.zip");
}

TEST_F(GUIControllerTest, TwoWizardStartsInTheSameMinuteUseTheSameBundleName) {
  open();
  passwordOfRun();
  FakeToolkit other;
  GUIController second(other, m_Services);
  second.awakeFromNib();

  second.runButton();
  other.background[0].second();

  ASSERT_EQ(m_Requests.size(), 2U);
  EXPECT_EQ(m_Requests[0].bundlePath, m_Requests[1].bundlePath);
}

TEST_F(GUIControllerTest, BundleNameCarriesMonthDayHourAndMinute) {
  m_Services.bundleTimeText = WizardServices().bundleTimeText;
  open();

  passwordOfRun();

  ASSERT_EQ(m_Requests.size(), 1U);
  EXPECT_THAT(m_Requests[0].bundlePath,
              ::testing::MatchesRegex(
                  "/home/tester/Desktop/TOLMBundle_[0-1][0-9][0-3][0-9]_[0-2][0-9][0-5][0-9].zip"));
}

TEST_F(GUIControllerTest, RunIsADefaultRunThatGathers) {
  open();

  passwordOfRun();

  ASSERT_EQ(m_Requests.size(), 1U);
  EXPECT_EQ(m_Requests[0].requestPath, "");
  EXPECT_FALSE(m_Requests[0].clearLogs);
}

TEST_F(GUIControllerTest, TickedEncryptionEnablesTheThreePasswordControlsAndChangesNothingElse) {
  GUIController& controller = open();
  m_Toolkit.states[Outlet::encryptionBox] = kStateOn;

  controller.enableEncrypt();

  EXPECT_THAT(m_Toolkit.calls, ElementsAre("state encryptionBox", "setEnabled passwordField yes",
                                           "setEnabled unmaskPassword yes", "setEnabled maskPswdBox yes"));
}

TEST_F(GUIControllerTest, UntickedEncryptionDisablesTheThreePasswordControlsAndChangesNothingElse) {
  GUIController& controller = open();

  controller.enableEncrypt();

  EXPECT_THAT(m_Toolkit.calls, ElementsAre("state encryptionBox", "setEnabled passwordField no",
                                           "setEnabled unmaskPassword no", "setEnabled maskPswdBox no"));
}

TEST_F(GUIControllerTest, UnmaskingMovesTheTextToTheFieldThatShowsIt) {
  GUIController& controller = open();
  m_Toolkit.texts[Outlet::passwordField] = "secret";
  m_Toolkit.states[Outlet::maskPswdBox] = kStateOff;

  controller.maskPassword();

  EXPECT_THAT(m_Toolkit.calls, ElementsAre("state maskPswdBox", "stringValue passwordField",
                                           "setStringValue unmaskPassword secret",
                                           "setHidden unmaskPassword no", "setHidden passwordField yes"));
}

TEST_F(GUIControllerTest, MaskingMovesTheTextBackToTheFieldThatShowsBullets) {
  GUIController& controller = open();
  m_Toolkit.texts[Outlet::unmaskPassword] = "secret";
  m_Toolkit.states[Outlet::maskPswdBox] = kStateOn;

  controller.maskPassword();

  EXPECT_THAT(m_Toolkit.calls, ElementsAre("state maskPswdBox", "stringValue unmaskPassword",
                                           "setStringValue passwordField secret",
                                           "setHidden passwordField no", "setHidden unmaskPassword yes"));
}

TEST_F(GUIControllerTest, RunShowsTheProgressScreenBeforeAnythingElse) {
  GUIController& controller = open();

  controller.runButton();

  EXPECT_THAT(m_Toolkit.calls, ElementsAre("selectNextTabViewItem tabView", "startAnimation progressBar",
                                           "setTitle cancelButton <Cancel>", "displayIfNeeded tabView",
                                           "state encryptionBox", "dispatchAsync -2"));
  EXPECT_EQ(m_Toolkit.screen, 1);
}

TEST_F(GUIControllerTest, RunDoesNotWaitForTheEngine) {
  GUIController& controller = open();

  controller.runButton();

  EXPECT_THAT(m_Requests, IsEmpty());
  EXPECT_EQ(m_Toolkit.background.size(), 1U);
}

TEST_F(GUIControllerTest, NewSystemRunsOnTheUtilityQueue) {
  m_bNewSystem = true;
  GUIController& controller = open();

  controller.runButton();

  ASSERT_EQ(m_Toolkit.background.size(), 1U);
  EXPECT_EQ(static_cast<int>(m_Toolkit.background[0].first), 17);
  EXPECT_THAT(m_AskedVersion, ElementsAre(10, 10, 0));
}

TEST_F(GUIControllerTest, OldOrUnknownSystemRunsOnTheBackgroundQueue) {
  GUIController& controller = open();

  controller.runButton();

  ASSERT_EQ(m_Toolkit.background.size(), 1U);
  EXPECT_EQ(static_cast<int>(m_Toolkit.background[0].first), -2);
}

TEST_F(GUIControllerTest, WithTheBoxOffThePasswordIsEmpty) {
  open();
  m_Toolkit.texts[Outlet::passwordField] = "left from somewhere";
  m_Toolkit.texts[Outlet::unmaskPassword] = "left from somewhere else";

  EXPECT_EQ(passwordOfRun(), "");
}

TEST_F(GUIControllerTest, WithTheBoxOnAndMaskedThePasswordIsTheBulletFields) {
  open();
  clickEncryption();
  type("correct horse");

  EXPECT_EQ(passwordOfRun(), "correct horse");
}

TEST_F(GUIControllerTest, PasswordTypedMaskedAndThenUnmaskedShowsUpAndIsUsed) {
  open();
  clickEncryption();
  type("first");
  clickMask();
  EXPECT_EQ(m_Toolkit.texts[Outlet::unmaskPassword], "first");

  type("second");

  EXPECT_EQ(passwordOfRun(), "second");
}

TEST_F(GUIControllerTest, PasswordChangedUnmaskedAndThenMaskedAgainIsTheChangedOne) {
  open();
  clickEncryption();
  type("first");
  clickMask();
  type("second");
  clickMask();

  EXPECT_EQ(m_Toolkit.texts[Outlet::passwordField], "second");
  EXPECT_EQ(passwordOfRun(), "second");
}

TEST_F(GUIControllerTest, WithTheBoxOnAndThenOffAgainThePasswordIsNotUsed) {
  open();
  clickEncryption();
  type("secret");
  clickMask();
  clickEncryption();

  EXPECT_EQ(m_Toolkit.texts[Outlet::passwordField], "secret");
  EXPECT_EQ(m_Toolkit.texts[Outlet::unmaskPassword], "secret");
  EXPECT_TRUE(m_Toolkit.hidden[Outlet::passwordField]);
  EXPECT_EQ(passwordOfRun(), "");
}

TEST_F(GUIControllerTest, BoxOnAndEmptyPasswordRunsWithAnEmptyPassword) {
  open();
  clickEncryption();

  EXPECT_EQ(passwordOfRun(), "");
  EXPECT_EQ(m_Toolkit.screen, 2);
}

TEST_F(GUIControllerTest, PasswordOfAnyBytesReachesTheEngineUnchanged) {
  std::string password = "\xc3\xa4\xe2\x82\xac\xf0\x9f\x94\x91\r\n\t line two";
  password += std::string(10000, 'x');
  open();
  clickEncryption();
  type(password);

  EXPECT_EQ(passwordOfRun(), password);
}

TEST_F(GUIControllerTest, PasswordAndPlaceAreCopiedWhenRunIsPressed) {
  open();
  clickEncryption();
  type("at the press");
  m_pController->runButton();
  type("later");

  runQueues();

  EXPECT_EQ(m_Requests[0].password, "at the press");
}

// Before the protection began with the engine's own work, and a run that waits for another waits for hours.
TEST_F(GUIControllerTest, ThePasswordIsKeptFromOtherProgramsFromTheButtonToTheRunsEnd) {
  ASSERT_EQ(prctl(PR_SET_DUMPABLE, 1, 0, 0, 0), 0);
  int during = -1;
  m_EngineWork = [&during] { during = prctl(PR_GET_DUMPABLE, 0, 0, 0, 0); };
  open();
  clickEncryption();
  type("s3cret");
  m_pController->runButton();
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 0);
  runQueues();
  EXPECT_EQ(during, 0);
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 1);
}

// A bundle of the same minute stays, and the new one has a number in its name.
TEST_F(GUIControllerTest, TheBundleIsShownUnderTheNameThatItGot) {
  m_strWritten = "/home/tester/Desktop/TOLMBundle_0315_1042_2.zip";
  open();
  m_pController->runButton();
  runQueues();
  EXPECT_EQ(m_Toolkit.outcomes.at(0).bundlePath, m_strWritten);
}

TEST_F(GUIControllerTest, PasswordIsNeverLogged) {
  LogRecorder log;
  open();
  clickEncryption();
  type("hunter-two");
  clickMask();
  passwordOfRun();
  m_pController->finishButton();

  EXPECT_EQ(log.count("hunter-two"), 0U) << log.dump();
}

TEST_F(GUIControllerTest, EngineIsDestroyedAfterTheFinishedScreenWasQueued) {
  open();
  m_EngineWork = [] { reportProgress(50, "half", TOLMOFFLINE_ERROR_PROCESSING); };
  m_pController->runButton();

  m_Toolkit.background[0].second();

  EXPECT_THAT(m_EngineEvents, ElementsAre("run", "destroyed with 2 blocks queued"));
}

TEST_F(GUIControllerTest, ProgressAppearsInOrderAndRepaintsAtOnceAndThenTheFinishedScreen) {
  open();
  m_EngineWork = [] {
    reportProgress(1, "one", TOLMOFFLINE_ERROR_PROCESSING);
    reportProgress(0, "", TOLMOFFLINE_ERROR_PROCESSING);
    reportProgress(100, "done", TOLMOFFLINE_ERROR_PROCESSING);
    reportProgress(0, "", 0);
  };
  m_pController->runButton();
  m_Toolkit.calls.clear();

  runQueues();

  EXPECT_THAT(m_Toolkit.calls,
              ElementsAre("setStringValue progressMsg one", "displayIfNeeded progressMsg",
                          "setDoubleValue progressBar 1.000000", "displayIfNeeded progressBar",
                          "setStringValue progressMsg", "displayIfNeeded progressMsg",
                          "setDoubleValue progressBar 0.000000", "displayIfNeeded progressBar",
                          "setStringValue progressMsg done", "displayIfNeeded progressMsg",
                          "setDoubleValue progressBar 100.000000", "displayIfNeeded progressBar",
                          "selectNextTabViewItem tabView", "setTitle finishButton <Finish>",
                          "setStringValue finishMsg <The bundle was created successfully on your Desktop.>",
                          "displayIfNeeded finishMsg", "displayIfNeeded tabView"));
}

TEST_F(GUIControllerTest, EngineGoesOnWhileNoProgressIsShown) {
  open();
  m_EngineWork = [] {
    for (std::uint32_t i = 0; i < 10000; ++i) {
      reportProgress(i % 101, std::to_string(i), TOLMOFFLINE_ERROR_PROCESSING);
    }
  };
  m_pController->runButton();

  m_Toolkit.background[0].second();  // returns although nobody takes blocks from the main queue

  EXPECT_EQ(m_Toolkit.queue.size(), 10001U);
  m_Toolkit.calls.clear();
  m_Toolkit.queue.drain();
  std::size_t next = 0;
  for (const std::string& call : m_Toolkit.calls) {
    if (call.rfind("setStringValue progressMsg ", 0) == 0) {
      ASSERT_EQ(call, "setStringValue progressMsg " + std::to_string(next));
      ++next;
    }
  }
  EXPECT_EQ(next, 10000U);
}

TEST_F(GUIControllerTest, FinishOfTheEngineOnlyStoresTheCode) {
  GUIController& controller = open();

  controller.tolmFinished(TOLMENGINE_ERROR_INTERNAL);

  EXPECT_THAT(m_Toolkit.calls, IsEmpty());
  EXPECT_EQ(m_Toolkit.queue.size(), 0U);
  EXPECT_EQ(controller.getFinishedMsg(),
            "<An internal error occurred while creating the TOLM bundle.  Please try "
            "again later.>");
}

TEST_F(GUIControllerTest, CodeStoredOnTheEnginesThreadIsReadByTheFinishedScreen) {
  open();
  m_EngineWork = [] { reportProgress(0, "no room", TOLMENGINE_ERROR_WRITE_FAILURE); };
  m_pController->runButton();

  std::thread engine([this] { m_Toolkit.background[0].second(); });
  engine.join();
  m_Toolkit.queue.drain();

  EXPECT_EQ(
      m_Toolkit.texts[Outlet::finishMsg],
      "<The bundle cannot be saved in the location \"%s\".  Please specify another location and try again.>");
}

TEST_F(GUIControllerTest, RunThatEndsWithWriteFailureShowsTheTextWithTheLiteralPlaceholder) {
  m_Services.getMessage = [](const std::string& key) { return key; };
  GUIController& controller = open();
  controller.tolmFinished(0xfeaf000b);

  controller.setFinishedWindow();

  EXPECT_EQ(
      m_Toolkit.texts[Outlet::finishMsg],
      "The bundle cannot be saved in the location \"%s\".  Please specify another location and try again.");
}

struct CodeAndText {
  ResultCode code;
  const char* text;
};

class FinishedMessageTest : public GUIControllerTest, public ::testing::WithParamInterface<CodeAndText> {};

TEST_P(FinishedMessageTest, TextFollowsTheCode) {
  GUIController& controller = open();
  controller.tolmFinished(GetParam().code);

  EXPECT_EQ(controller.getFinishedMsg(), GetParam().text);
}

const char* const kUnknown =
    "<An unknown error occurred while creating the TOLM bundle, possibly due to restricted file permissions. "
    " Please "
    "try again later.>";

INSTANTIATE_TEST_SUITE_P(
    Codes, FinishedMessageTest,
    ::testing::Values(
        CodeAndText{0xfeaf000b,
                    "<The bundle cannot be saved in the location \"%s\".  Please specify another location "
                    "and try again.>"},
        CodeAndText{0xfeaf000a,
                    "<An internal error occurred while creating the TOLM bundle.  Please try again later.>"},
        CodeAndText{0xfeaf0011, kUnknown}, CodeAndText{0xfeaf000c, kUnknown}, CodeAndText{1, kUnknown},
        CodeAndText{0xffffffff, kUnknown}, CodeAndText{0xfeb0000b, kUnknown},
        CodeAndText{0, "<The bundle was created successfully on your Desktop.>"}));

TEST_F(GUIControllerTest, RunThatNeverReportsAFinishEndsWithTheSuccessMessage) {
  open();

  passwordOfRun();

  EXPECT_EQ(m_Toolkit.screen, 2);
  EXPECT_EQ(m_Toolkit.texts[Outlet::finishMsg], "<The bundle was created successfully on your Desktop.>");
}

TEST_F(GUIControllerTest, TranslationWithPercentSignsIsShownAsItStands) {
  m_Services.getMessage = [](const std::string&) { return std::string("%n%s%d 100%"); };
  GUIController& controller = open();

  EXPECT_EQ(controller.getFinishedMsg(), "%n%s%d 100%");
}

TEST_F(GUIControllerTest, TextsOfTenThousandCharactersGoThroughWhole) {
  const std::string lengthy(10000, 'w');
  m_Services.getMessage = [&lengthy](const std::string&) { return lengthy; };
  open();

  passwordOfRun();

  for (const Outlet outlet : {Outlet::welcomeMsg, Outlet::tolmIntro, Outlet::pswdText, Outlet::finishMsg}) {
    EXPECT_EQ(m_Toolkit.texts[outlet], lengthy) << test::outletName(outlet);
  }
  for (const Outlet outlet : {Outlet::mainWindow, Outlet::encryptionBox, Outlet::maskPswdBox,
                              Outlet::runButton, Outlet::cancelButton, Outlet::finishButton, Outlet::mAbout,
                              Outlet::mHideTolm, Outlet::mHideOthers, Outlet::mShowAll, Outlet::mQuitTolm}) {
    EXPECT_EQ(m_Toolkit.titles[outlet], lengthy) << test::outletName(outlet);
  }
}

TEST_F(GUIControllerTest, ClosingTheLastWindowEndsTheProgram) {
  EXPECT_TRUE(open().applicationShouldTerminateAfterLastWindowClosed());
}

TEST_F(GUIControllerTest, CancelEndsTheProcessWithStatusZeroAndDoesNotStopTheEngine) {
  open();
  m_pController->runButton();

  m_pController->cancelButton();

  EXPECT_EQ(m_Toolkit.terminations, 1);
  EXPECT_THAT(m_Exits, ElementsAre(0));
  EXPECT_EQ(m_Toolkit.background.size(), 1U);
  EXPECT_THAT(m_EngineEvents, IsEmpty());
}

TEST_F(GUIControllerTest, FinishEndsTheProcessWithStatusZeroAlsoAfterAFailedRun) {
  open();
  m_EngineWork = [] { reportProgress(0, "broken", TOLMENGINE_ERROR_INTERNAL); };
  passwordOfRun();

  m_pController->finishButton();

  EXPECT_EQ(m_Toolkit.terminations, 1);
  EXPECT_THAT(m_Exits, ElementsAre(0));
}

TEST_F(GUIControllerTest, EndOfTheApplicationGivesTheStoragePathBack) {
  GUIController& controller = open();
  ASSERT_EQ(CStoragePath::getAcquisitionCount(), 1U);
  std::uint32_t countAtExit = 99;
  m_Services.exitProcess = [&countAtExit](int) { countAtExit = CStoragePath::getAcquisitionCount(); };
  GUIController second(m_Toolkit, m_Services);
  second.awakeFromNib();
  ASSERT_EQ(CStoragePath::getAcquisitionCount(), 2U);

  controller.applicationWillTerminate();
  second.applicationWillTerminate();

  EXPECT_EQ(countAtExit, 0U);
  EXPECT_THAT(m_Exits, ElementsAre(0));
}

TEST_F(GUIControllerTest, EachScreenComesUpOnce) {
  open();
  m_pController->runButton();
  runQueues();

  EXPECT_EQ(std::count(m_Toolkit.calls.begin(), m_Toolkit.calls.end(), "selectNextTabViewItem tabView"), 2);
  EXPECT_EQ(m_Toolkit.screen, 2);
}

TEST_F(GUIControllerTest, EveryTextIsTranslatedBeforeItIsShown) {
  std::vector<std::string> keys;
  m_Services.getMessage = [&keys](const std::string& key) {
    keys.push_back(key);
    return key;
  };
  open();
  passwordOfRun();

  EXPECT_THAT(
      keys, ElementsAre("About TOLM", "Hide TOLM", "Hide Others", "Show All", "Quit TOLM", "Halvo TOLM",
                        "Welcome to the Halvo Fieldcase (TOLM).",
                        ::testing::StartsWith("TOLM is a tool that helps to bundle"),
                        "Enable Bundle Encryption", "Encryption Password", "Mask Password", "Run", "Cancel",
                        "Finish", "The bundle was created successfully on your Desktop.", "Show in Folder"));
}

TEST_F(GUIControllerTest, FolderThatTakesNoFilesIsToldWhenTheWindowOpens) {
  m_bTakesFiles = false;
  const test::ScopedEnv home("HOME", "/home/somebody");
  open();

  EXPECT_EQ(m_strBundleFolder, "/home/somebody/Desktop/");
  EXPECT_EQ(m_Toolkit.hints[Hint::desktopFolder],
            "<The bundle is saved in the folder \"/home/somebody/Desktop/\", which is missing or cannot be "
            "written to.>");
}

TEST_F(GUIControllerTest, FolderThatTakesFilesIsNotMentioned) {
  open();

  EXPECT_EQ(m_Toolkit.hints.count(Hint::desktopFolder), 0U);
}

TEST_F(GUIControllerTest, HandOnTheBoxEnablesThePasswordAndLeadsToTheFieldThatIsSeen) {
  GUIController& controller = open();
  m_Toolkit.states[Outlet::encryptionBox] = kStateOn;
  controller.encryptionTicked();
  m_Toolkit.states[Outlet::maskPswdBox] = kStateOff;
  controller.encryptionTicked();
  m_Toolkit.states[Outlet::encryptionBox] = kStateOff;
  controller.encryptionTicked();

  EXPECT_THAT(m_Toolkit.focused, ElementsAre(Outlet::passwordField, Outlet::unmaskPassword));
  EXPECT_FALSE(m_Toolkit.enabled[Outlet::passwordField]);
}

TEST_F(GUIControllerTest, EmptyPasswordIsToldWhileTheBoxIsOnAndTheVisibleFieldIsEmpty) {
  GUIController& controller = open();
  m_Toolkit.texts[Outlet::unmaskPassword] = "not seen";
  controller.passwordEdited();
  EXPECT_EQ(m_Toolkit.hints[Hint::emptyPassword], "");

  m_Toolkit.states[Outlet::encryptionBox] = kStateOn;
  controller.passwordEdited();
  EXPECT_EQ(m_Toolkit.hints[Hint::emptyPassword], "<Without a password the bundle is not encrypted.>");

  m_Toolkit.texts[Outlet::passwordField] = "p";
  controller.passwordEdited();
  EXPECT_EQ(m_Toolkit.hints[Hint::emptyPassword], "");
}

// A bundle with files that a full disk had cut short ended on the screen of a success, and the log alone
// told.
TEST_F(GUIControllerTest, FilesThatAreLostInABundleThatStandsAreToldBelowTheClosingMessage) {
  m_nLostFiles = 12;
  open();
  passwordOfRun();
  EXPECT_EQ(m_Toolkit.hints[Hint::lostFiles],
            "<Files that are cut short or missing in the bundle: 12. The system log names them.>");
  EXPECT_EQ(m_Toolkit.texts[Outlet::finishMsg], "<The bundle was created successfully on your Desktop.>");
  EXPECT_TRUE(m_Toolkit.outcomes.at(0).isGood);
}

TEST_F(GUIControllerTest, OfABundleThatIsWholeNoLossIsTold) {
  open();
  passwordOfRun();
  EXPECT_EQ(m_Toolkit.hints.count(Hint::lostFiles), 0U);
}

TEST_F(GUIControllerTest, OutcomeOfAGoodRunNamesItsBundleBehindTheClosingMessage) {
  open();
  passwordOfRun();

  ASSERT_EQ(m_Toolkit.outcomes.size(), 1U);
  EXPECT_TRUE(m_Toolkit.outcomes[0].isGood);
  EXPECT_EQ(m_Toolkit.outcomes[0].bundlePath, m_Requests[0].bundlePath);
  EXPECT_EQ(m_Toolkit.outcomes[0].showInFolderTitle, "<Show in Folder>");
}

TEST_F(GUIControllerTest, OutcomeOfABadRunNamesNoBundle) {
  m_EngineWork = [] { reportProgress(0, "", TOLMENGINE_ERROR_WRITE_FAILURE); };
  open();
  passwordOfRun();

  ASSERT_EQ(m_Toolkit.outcomes.size(), 1U);
  EXPECT_FALSE(m_Toolkit.outcomes[0].isGood);
  EXPECT_EQ(m_Toolkit.outcomes[0].bundlePath, "");
}

}  // namespace
}  // namespace halvo
