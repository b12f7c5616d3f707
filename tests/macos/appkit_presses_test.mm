// Which presses count. Finish stands where Run stood, and takes Return as Run did.
#include "tests/macos/AppKitScreens_test.h"

namespace halvo {
namespace {

using test::AppKitScreensTest;
using test::secondsNow;

TEST_F(AppKitScreensTest, ReturnThatIsTypedAsTheWindowOpensStartsNoRun) {
  openWindow();
  sendKey(@"\r", secondsNow(), false);
  EXPECT_EQ(screen(), 0);
  turn(0.7);
  EXPECT_EQ(screen(), 0);
  sendKey(@"\r", secondsNow(), false);
  EXPECT_NE(screen(), 0);
  EXPECT_TRUE(turnUntil([this] { return screen() == 2; }));
}

TEST_F(AppKitScreensTest, WindowThatGetsTheKeyboardAgainTakesAPressAtOnce) {
  openWindow();
  waitForTheFirstScreen();
  [m_pController windowDidBecomeKey:nil];
  sendKey(@"\r", secondsNow(), false);
  EXPECT_NE(screen(), 0);
  EXPECT_TRUE(turnUntil([this] { return screen() == 2; }));
}

TEST_F(AppKitScreensTest, ReturnThatIsHeldDownDoesNotFinish) {
  setConfig("<no document");
  openWindow();
  waitForTheFirstScreen();
  sendKey(@"\r", secondsNow(), false);
  EXPECT_NE(screen(), 0);
  for (int i = 0; i < 3000 && screen() != 2; ++i) {
    turn(0.01);
    sendKey(@"\r", secondsNow(), true);
  }
  ASSERT_EQ(screen(), 2);
  // Longer than a press stands for what it does.
  for (int i = 0; i < 60; ++i) {
    turn(0.1);
    sendKey(@"\r", secondsNow(), true);
  }
  EXPECT_EQ(application()->m_nEnds, 0);
  sendKey(@"\r", secondsNow(), false);
  EXPECT_EQ(application()->m_nEnds, 1);
}

TEST_F(AppKitScreensTest, SecondPressOfADoubleClickOnRunDoesNotCancel) {
  const std::string go = std::string(std::getenv("HOME")) + "/go";
  std::filesystem::remove(go);
  setConfig(test::documentText(
      "Client", test::describedItem("slow", "slow",
                                    test::captureAction("for i in $(seq 1200); do test -e " + go +
                                                        " &amp;&amp; break; sleep 0.05; done"))));
  openWindow();
  waitForTheFirstScreen();
  const double first = secondsNow();
  [control(@"runButton") performClick:nil];
  ASSERT_EQ(screen(), 1);
  // Let go when the screen has long been there: by when it began it is the first screen's.
  turn(0.7);
  click(@"cancelButton", first + 0.1);
  EXPECT_EQ(application()->m_nEnds, 0);
  click(@"cancelButton", secondsNow());
  EXPECT_EQ(application()->m_nEnds, 1);
  test::writeFile(go, "");
  EXPECT_TRUE(turnUntil([this] { return screen() == 2; }));
}

TEST_F(AppKitScreensTest, SecondReturnOnARunThatFailsAtOnceDoesNotFinish) {
  setConfig("<no document");
  openWindow();
  const double before = run();
  sendKey(@"\r", before, false);
  EXPECT_EQ(application()->m_nEnds, 0);
  sendKey(@"\r", secondsNow(), false);
  EXPECT_EQ(application()->m_nEnds, 1);
}

TEST_F(AppKitScreensTest, PressThatBeganInAScreensFirstHalfSecondCountsForNothingWhenItIsLetGoLater) {
  openWindow();
  const double before = run();
  click(@"finishButton", before + 0.4);
  EXPECT_EQ(application()->m_nEnds, 0);
  click(@"finishButton", secondsNow());
  EXPECT_EQ(application()->m_nEnds, 1);
}

TEST_F(AppKitScreensTest, NorDoesOneThatIsHeldForLong) {
  openWindow();
  const double before = run();
  turn(6);
  click(@"finishButton", before + 0.4);
  EXPECT_EQ(application()->m_nEnds, 0);
}

TEST_F(AppKitScreensTest, ActionThatComesWithoutAPressIsTaken) {
  openWindow();
  run();
  forgetPresses();
  [control(@"finishButton") performClick:nil];
  EXPECT_EQ(application()->m_nEnds, 1);
}

}  // namespace
}  // namespace halvo
