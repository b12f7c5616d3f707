// Which presses count. Finish stands where Run stood, and takes Return as Run did.
#include "tests/macos/AppKitScreens_test.h"

namespace halvo {
namespace {

using test::AppKitScreensTest;
using test::secondsNow;

// The keys that press a button: Return, Enter of the number pad, and the blank.
NSString* const kReturn = @"\r";
NSString* const kEnter = @"\x03";
NSString* const kBlank = @" ";

class AppKitEarlyPressTest : public AppKitScreensTest {
 protected:
  // A window that has just got the keyboard. Its first half-second is told by the events' times: it lasts as
  // long as a busy machine needs for what a test does in it.
  void openAndNote() {
    openWindow();
    m_dOpened = secondsNow();
  }
  bool isTicked(NSString* box) { return [control(box) state] == NSOnState; }
  void give(NSString* name) {
    [control(@"mainWindow") makeFirstResponder:control(name)];
    ASSERT_TRUE(hasKeyboard(name));
  }
  void sendEarly(NSString* key, bool repeat = false, NSUInteger modifiers = 0) {
    sendKey(key, m_dOpened, repeat, modifiers);
  }
  void sendNow(NSString* key, bool repeat = false) { sendKey(key, secondsNow(), repeat); }

  double m_dOpened = 0;
};

TEST_F(AppKitEarlyPressTest, BlankThatIsTypedAsTheWindowOpensTicksNoBox) {
  openAndNote();
  give(@"encryptionBox");
  sendEarly(kBlank);
  EXPECT_FALSE(isTicked(@"encryptionBox"));
  turn(0.7);
  EXPECT_FALSE(isTicked(@"encryptionBox"));
  sendNow(kBlank);
  EXPECT_TRUE(isTicked(@"encryptionBox"));
}

TEST_F(AppKitEarlyPressTest, BoxThatMasksThePasswordTakesNoneEither) {
  openAndNote();
  [control(@"encryptionBox") performClick:nil];
  give(@"maskPswdBox");
  sendEarly(kBlank);
  EXPECT_TRUE(isTicked(@"maskPswdBox"));
  turn(0.7);
  sendNow(kBlank);
  EXPECT_FALSE(isTicked(@"maskPswdBox"));
}

TEST_F(AppKitEarlyPressTest, ClickAsTheWindowOpensTicksNoBox) {
  openAndNote();
  click(@"encryptionBox", m_dOpened);
  EXPECT_FALSE(isTicked(@"encryptionBox"));
  turn(0.7);
  click(@"encryptionBox", secondsNow());
  EXPECT_TRUE(isTicked(@"encryptionBox"));
}

TEST_F(AppKitEarlyPressTest, NoKeyThatPressesStartsARunAsTheWindowOpens) {
  openAndNote();
  for (NSString* key : {kReturn, kEnter, kBlank}) {
    give(@"runButton");
    sendEarly(key);
    EXPECT_EQ(screen(), 0) << [key characterAtIndex:0];
  }
  turn(0.7);
  EXPECT_EQ(screen(), 0);
  give(@"runButton");
  sendNow(kBlank);
  EXPECT_NE(screen(), 0);
  EXPECT_TRUE(turnUntil([this] { return screen() == 2; }));
}

TEST_F(AppKitEarlyPressTest, NoKeyThatPressesFinishesAsTheLastScreenComes) {
  setConfig("<no document");
  openWindow();
  m_dOpened = run();
  int ends = 0;
  for (NSString* key : {kReturn, kEnter, kBlank}) {
    give(@"finishButton");
    sendEarly(key);
    EXPECT_EQ(application()->m_nEnds, ends) << [key characterAtIndex:0];
    give(@"finishButton");
    sendNow(key);
    EXPECT_EQ(application()->m_nEnds, ++ends) << [key characterAtIndex:0];
  }
}

TEST_F(AppKitEarlyPressTest, WhatIsTypedIntoTheFieldIsNotLost) {
  openAndNote();
  [control(@"encryptionBox") performClick:nil];
  ASSERT_TRUE(hasKeyboard(@"passwordField"));
  for (const char* key : {"s", " ", "e", "\r", "c"}) {
    sendEarly(hostText(key));
  }
  // A Return that counted would have started the run, or selected all for the next letter to replace.
  EXPECT_EQ(screen(), 0);
  EXPECT_EQ(text(@"passwordField"), "s ec");
  EXPECT_EQ(textOf([[control(@"passwordField") currentEditor] string]), "s ec");
}

TEST_F(AppKitEarlyPressTest, QuitIsTakenAsTheWindowOpens) {
  openAndNote();
  sendEarly(@"q", false, NSCommandKeyMask);
  EXPECT_EQ(application()->m_nEnds, 1);
}

TEST_F(AppKitEarlyPressTest, BlankThatIsHeldDownTicksOnceAndIsTypedAgainAndAgain) {
  openWindow();
  waitForTheFirstScreen();
  give(@"encryptionBox");
  sendNow(kBlank);
  EXPECT_TRUE(isTicked(@"encryptionBox"));
  give(@"encryptionBox");
  for (int i = 0; i < 3; ++i) {
    sendNow(kBlank, true);
  }
  EXPECT_TRUE(isTicked(@"encryptionBox"));

  give(@"passwordField");
  for (int i = 0; i < 3; ++i) {
    sendNow(kBlank, true);
  }
  EXPECT_EQ(textOf([[control(@"passwordField") currentEditor] string]), "   ");
}

TEST_F(AppKitEarlyPressTest, PressWithoutATimeOrOfAnotherClockIsOneOfThisMoment) {
  openAndNote();
  give(@"encryptionBox");
  turn(0.7);
  for (const double when : {0.0, secondsNow() * 1000}) {
    const bool was = isTicked(@"encryptionBox");
    give(@"encryptionBox");
    sendKey(kBlank, when, false);
    EXPECT_NE(isTicked(@"encryptionBox"), was) << when;
  }
}

TEST_F(AppKitEarlyPressTest, EscapePressesNothing) {
  openWindow();
  waitForTheFirstScreen();
  sendNow(@"\x1b");
  EXPECT_EQ(screen(), 0);
  run();
  sendNow(@"\x1b");
  EXPECT_EQ(application()->m_nEnds, 0);
}

std::function<void()> s_whileHeld;

// In place of the toolkit's own: its action comes when the button is let go, wherever the screen is by then.
// GNUstep's reports of a run wait meanwhile, and those of macOS don't.
void holdButton(NSButton* button, SEL /*name*/, NSEvent* /*event*/) {
  s_whileHeld();
  [button sendAction:[button action] to:[button target]];
}

TEST_F(AppKitScreensTest, CancelThatIsHeldDownWhileTheRunEndsEndsNothing) {
  const std::string go = setSlowConfig();
  openWindow();
  waitForTheFirstScreen();
  [control(@"runButton") performClick:nil];
  turn(0.7);
  ASSERT_EQ(screen(), 1);
  const test::Replaced hold([NSButton class], @selector(mouseDown:), holdButton);
  s_whileHeld = [&] {
    test::writeFile(go, "");
    EXPECT_TRUE(turnUntil([this] { return screen() == 2; }));
    turn(0.7);
  };
  click(@"cancelButton", secondsNow());
  EXPECT_EQ(screen(), 2);
  EXPECT_EQ(application()->m_nEnds, 0);

  // The next one is meant for the screen that is there.
  s_whileHeld = [] {};
  click(@"finishButton", secondsNow());
  EXPECT_EQ(application()->m_nEnds, 1);
}

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
  const std::string go = setSlowConfig();
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
  waitForTheFirstScreen();
  // A press that is over, on the screen before, isn't the one that the action comes from.
  sendKey(kReturn, secondsNow(), false);
  ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));
  turn(0.7);
  [control(@"finishButton") performClick:nil];
  EXPECT_EQ(application()->m_nEnds, 1);
}

}  // namespace
}  // namespace halvo
