// The wizard's screens on AppKit from inside: the controls behind the controller's own fields, over GNUstep,
// on an X server of the test's own. Presses are events made here, so that their times are the test's.

#import <AppKit/AppKit.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <time.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/system/wizard_desktop.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitToolkit.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitWindow.h"
#import "vpn/tools/TOLM/TOLMOffline/Darwin/GUIController.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/HostText.h"
#import "vpn/tools/TOLM/TOLMOffline/Darwin/TOLMApplication.h"

// The wizard's application, but for its end, which would be the test's as well.
@interface CountingApplication : TOLMApplication {
 @public
  int m_nEnds;
}
@end

@implementation CountingApplication
- (void)terminate:(id)sender {
  static_cast<void>(sender);
  ++m_nEnds;
}
@end

namespace halvo {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

constexpr NSUInteger kLeftMouseDown = 1;
constexpr NSUInteger kLeftMouseUp = 2;
constexpr NSUInteger kKeyDown = 10;

// The clock of the events.
double secondsNow() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

class AppKitScreensTest : public ::testing::Test {
 protected:
  // One desktop and one application for all: the toolkit knows no second one in a process.
  static void SetUpTestSuite() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) {
      unsetenv(name);
    }
    s_pDesktop = new test::WizardDesktop();
    for (const auto& [name, value] : s_pDesktop->environment()) {
      setenv(name.c_str(), value.c_str(), 1);
    }
    s_pNotifications = new test::BackgroundProgram({"gdnc", "--no-fork"}, {}, "/run/gdnc");
    s_pPool = [NSAutoreleasePool new];
    static_cast<void>([CountingApplication sharedApplication]);
  }
  static void TearDownTestSuite() {
    delete s_pNotifications;
    delete s_pDesktop;
  }

  AppKitScreensTest() {
    std::filesystem::remove_all(m_strDesktopFolder);
    test::makeFolders(m_strDesktopFolder);
    test::writeFile("/opt/halvo/tessarmont/log/client.log", "the client's log\n");
    setConfig(test::documentText(
        "Client", test::describedItem("log", "log", test::copyAction("/opt/halvo/tessarmont/log/*.log"))));
    application()->m_nEnds = 0;
  }
  ~AppKitScreensTest() override { [control(@"mainWindow") orderOut:nil]; }

  static CountingApplication* application() { return static_cast<CountingApplication*>(NSApp); }
  static void setConfig(const std::string& document) {
    test::writeFile("/opt/halvo/tessarmont/tolm/xml/config/client.xml", document);
  }
  // The controller lives until the process ends, as it does in the program.
  void openWindow() {
    m_pController = [GUIController new];
    openWizardWindow(m_pController);
    turn(0.1);
    for (int i = 0; i < 6000 && ![control(@"mainWindow") isKeyWindow]; ++i) {
      turn(0.01);
    }
    EXPECT_TRUE([control(@"mainWindow") isKeyWindow]);
  }

  id control(NSString* name) { return [m_pController valueForKey:name]; }
  std::string text(NSString* name) { return textOf([control(name) stringValue]); }
  std::string title(NSString* name) { return textOf([control(name) title]); }
  bool isSeen(NSString* name) { return ![control(name) isHiddenOrHasHiddenAncestor]; }
  bool isGrey(NSString* name) {
    return [[control(name) textColor] isEqual:[NSColor disabledControlTextColor]];
  }
  int screen() {
    NSTabView* tabs = control(@"tabView");
    return static_cast<int>([tabs indexOfTabViewItem:[tabs selectedTabViewItem]]);
  }
  // Whether what is typed goes into this field.
  bool hasKeyboard(NSString* name) {
    id first = [control(@"mainWindow") firstResponder];
    return first == control(name) ||
           ([first isKindOfClass:[NSText class]] && [first delegate] == control(name));
  }

  // The event loop for a moment.
  static void turn(double seconds) {
    const double end = secondsNow() + seconds;
    do {
      NSAutoreleasePool* pool = [NSAutoreleasePool new];
      NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                          untilDate:[NSDate dateWithTimeIntervalSinceNow:0.01]
                                             inMode:NSDefaultRunLoopMode
                                            dequeue:YES];
      if (event != nil) {
        [NSApp sendEvent:event];
      }
      [pool release];
    } while (secondsNow() < end);
  }
  // Runs and waits for the finished screen. The result is a moment ahead of its being shown, and now is more
  // than a screen's first half-second behind it.
  double run() {
    [control(@"runButton") performClick:nil];
    double before = secondsNow();
    for (int i = 0; i < 3000 && screen() != 2; ++i) {
      before = secondsNow();
      turn(0.01);
    }
    EXPECT_EQ(screen(), 2);
    turn(0.7);
    return before;
  }

  // A key to the window. Its default button is told to GNUstep by hand, which knows it by its key alone in a
  // program that runs its own loop.
  void sendKey(NSString* key, double when, bool repeat) {
    NSButton* button = screen() == 0 ? control(@"runButton") : control(@"finishButton");
    [control(@"mainWindow") setDefaultButtonCell:screen() == 1 ? nil : [button cell]];
    [NSApp sendEvent:[NSEvent keyEventWithType:static_cast<NSEventType>(kKeyDown)
                                            location:NSMakePoint(0, 0)
                                       modifierFlags:0
                                           timestamp:when
                                        windowNumber:[control(@"mainWindow") windowNumber]
                                             context:nil
                                          characters:key
                         charactersIgnoringModifiers:key
                                           isARepeat:repeat
                                             keyCode:0]];
  }
  NSEvent* mouseEvent(NSUInteger kind, NSString* name, double when) {
    NSView* view = control(name);
    const NSRect area = [view bounds];
    const NSPoint middle = [view convertPoint:NSMakePoint(area.size.width / 2, area.size.height / 2)
                                       toView:nil];
    return [NSEvent mouseEventWithType:static_cast<NSEventType>(kind)
                              location:middle
                         modifierFlags:0
                             timestamp:when
                          windowNumber:[control(@"mainWindow") windowNumber]
                               context:nil
                           eventNumber:0
                            clickCount:1
                              pressure:1];
  }
  // A click whose button goes down at one moment and is let go now.
  void click(NSString* name, double when) {
    // Where the control under the pointer will look for it.
    [NSApp postEvent:mouseEvent(kLeftMouseUp, name, secondsNow()) atStart:NO];
    [NSApp sendEvent:mouseEvent(kLeftMouseDown, name, when)];
  }
  // As if the last press had been long ago.
  void forgetPresses() { sendKey(@"x", 0, false); }

  static test::WizardDesktop* s_pDesktop;
  static test::BackgroundProgram* s_pNotifications;
  static NSAutoreleasePool* s_pPool;
  const std::string m_strDesktopFolder = std::string(std::getenv("HOME")) + "/Desktop";
  GUIController* m_pController = nil;
};

test::WizardDesktop* AppKitScreensTest::s_pDesktop;
test::BackgroundProgram* AppKitScreensTest::s_pNotifications;
NSAutoreleasePool* AppKitScreensTest::s_pPool;

// The welcome screen.

TEST_F(AppKitScreensTest, PasswordIsGreyWithItsLabelUntilEncryptionIsTicked) {
  openWindow();
  EXPECT_EQ(title(@"mainWindow"), "Halvo TOLM");
  EXPECT_EQ(text(@"pswdText"), "Encryption Password");
  for (const bool isTicked : {false, true, false}) {
    EXPECT_EQ(isGrey(@"pswdText"), !isTicked);
    EXPECT_EQ(static_cast<bool>([control(@"passwordField") isEnabled]), isTicked);
    EXPECT_EQ(static_cast<bool>([control(@"maskPswdBox") isEnabled]), isTicked);
    [control(@"encryptionBox") performClick:nil];
  }
}

TEST_F(AppKitScreensTest, TickingEncryptionGivesTheKeyboardToThePasswordThatIsSeen) {
  openWindow();
  EXPECT_FALSE(hasKeyboard(@"passwordField"));
  [control(@"encryptionBox") performClick:nil];
  EXPECT_TRUE(hasKeyboard(@"passwordField"));

  [control(@"maskPswdBox") performClick:nil];
  [control(@"encryptionBox") performClick:nil];
  [control(@"encryptionBox") performClick:nil];
  EXPECT_TRUE(hasKeyboard(@"unmaskPassword"));
}

TEST_F(AppKitScreensTest, EmptyPasswordIsToldBesideTheFieldUntilSomethingIsTyped) {
  openWindow();
  EXPECT_FALSE(isSeen(@"passwordHint"));
  [control(@"encryptionBox") performClick:nil];
  EXPECT_TRUE(isSeen(@"passwordHint"));
  EXPECT_NE(text(@"passwordHint"), "");

  [[control(@"passwordField") currentEditor] insertText:@"s"];
  EXPECT_EQ(text(@"passwordField"), "s");
  EXPECT_FALSE(isSeen(@"passwordHint"));

  [control(@"passwordField") setStringValue:@""];
  [control(@"encryptionBox") performClick:nil];
  EXPECT_FALSE(isSeen(@"passwordHint"));
}

TEST_F(AppKitScreensTest, MissingDesktopFolderIsToldAtTheStart) {
  openWindow();
  EXPECT_FALSE(isSeen(@"desktopHint"));
  [control(@"mainWindow") orderOut:nil];

  std::filesystem::remove_all(m_strDesktopFolder);
  openWindow();
  EXPECT_TRUE(isSeen(@"desktopHint"));
  EXPECT_THAT(text(@"desktopHint"), HasSubstr(m_strDesktopFolder));
}

TEST_F(AppKitScreensTest, PasswordFieldsKeepTheirWidthInAWideWindow) {
  openWindow();
  NSWindow* window = control(@"mainWindow");
  const double field = [control(@"passwordField") frame].size.width;
  const double label = [control(@"tolmIntro") frame].size.width;
  [window setContentSize:NSMakeSize(900, 500)];
  EXPECT_GT([control(@"tolmIntro") frame].size.width, label);
  EXPECT_EQ([control(@"passwordField") frame].size.width, field);
  EXPECT_EQ([control(@"unmaskPassword") frame].size.width, field);
}

// The places of the window's controls, from the side that the language is read from.

constexpr const char* kArabicIntro =
    "TOLM \u064a\u062c\u0645\u0639 \u0645\u0639\u0644\u0648\u0645\u0627\u062a "
    "\u0627\u0644\u062a\u0634\u062e\u064a\u0635.";

TEST_F(AppKitScreensTest, IntroductionInArabicTurnsTheScreensRound) {
  openWindow();
  std::map<std::string, NSRect> before;
  NSString* const controls[] = {@"tolmIntro", @"encryptionBox", @"passwordField", @"maskPswdBox",
                                @"runButton", @"progressBar",   @"cancelButton",  @"outcomeIcon",
                                @"finishMsg", @"finishButton"};
  for (NSString* name : controls) {
    before[textOf(name)] = [control(name) frame];
  }
  const double width = [[[control(@"tabView") selectedTabViewItem] view] frame].size.width;
  AppKitToolkit toolkit(m_pController);
  toolkit.setStringValue(Outlet::tolmIntro, kArabicIntro);
  for (NSString* name : controls) {
    const NSRect was = before[textOf(name)];
    const NSRect now = [control(name) frame];
    EXPECT_EQ(now.origin.x, width - was.origin.x - was.size.width) << textOf(name);
    EXPECT_EQ(now.origin.y, was.origin.y) << textOf(name);
    EXPECT_EQ(now.size.width, was.size.width) << textOf(name);
  }
  for (NSString* name : {@"tolmIntro", @"pswdText", @"unmaskPassword", @"finishMsg", @"bundleName"}) {
    EXPECT_EQ([control(name) alignment], NSTextAlignmentRight) << textOf(name);
  }
  EXPECT_EQ([control(@"welcomeMsg") baseWritingDirection], NSWritingDirectionRightToLeft);
  EXPECT_EQ([control(@"encryptionBox") imagePosition], NSImageRight);

  toolkit.setStringValue(Outlet::tolmIntro, kArabicIntro);
  EXPECT_LT([control(@"runButton") frame].origin.x, width / 2);
}

TEST_F(AppKitScreensTest, ScreensThatAreTurnedRoundKeepTheirDistanceFromTheRight) {
  openWindow();
  AppKitToolkit(m_pController).setStringValue(Outlet::tolmIntro, kArabicIntro);
  const double button = [control(@"runButton") frame].origin.x;
  const NSRect field = [control(@"passwordField") frame];
  [static_cast<NSWindow*>(control(@"mainWindow")) setContentSize:NSMakeSize(900, 500)];
  EXPECT_EQ([control(@"runButton") frame].origin.x, button);
  EXPECT_EQ([control(@"passwordField") frame].size.width, field.size.width);
  EXPECT_GT([control(@"passwordField") frame].origin.x, field.origin.x + 100);
}

TEST_F(AppKitScreensTest, IntroductionInEnglishLeavesTheScreensAsTheyAre) {
  openWindow();
  const double button = [control(@"runButton") frame].origin.x;
  AppKitToolkit toolkit(m_pController);
  toolkit.setStringValue(Outlet::progressMsg, kArabicIntro);
  toolkit.setStringValue(Outlet::tolmIntro, "TOLM gathers files. \u00c4\u00d6\u00dc \u4e2d\u6587 (\u0639)");
  EXPECT_EQ([control(@"runButton") frame].origin.x, button);
  EXPECT_EQ([control(@"encryptionBox") imagePosition], NSImageLeft);
}

// The finished screen.

TEST_F(AppKitScreensTest, GoodRunShowsItsBundlesNameAndTheWayToIt) {
  // The toolkit of this host lacks the sign.
  NSImage* sign = [[NSImage alloc] initWithSize:NSMakeSize(16, 16)];
  [sign setName:@"NSStatusAvailable"];
  openWindow();
  run();
  EXPECT_THAT(text(@"finishMsg"), HasSubstr("on your Desktop."));
  ASSERT_EQ(test::listFolder(m_strDesktopFolder).size(), 1U);
  EXPECT_TRUE(isSeen(@"bundleName"));
  EXPECT_EQ(text(@"bundleName"), test::listFolder(m_strDesktopFolder)[0]);
  EXPECT_TRUE([control(@"bundleName") isSelectable]);
  EXPECT_TRUE(isSeen(@"showButton"));
  EXPECT_EQ(title(@"showButton"), "Show in Folder");
  EXPECT_EQ([control(@"outcomeIcon") image], sign);
  EXPECT_FALSE(isSeen(@"lossHint"));
  [sign setName:nil];
  [sign release];
}

TEST_F(AppKitScreensTest, ToolkitWithoutASignOfSuccessShowsTheOneForWhatIsToBeKnown) {
  ASSERT_EQ([NSImage imageNamed:@"NSStatusAvailable"], nil);
  openWindow();
  run();
  EXPECT_NE([control(@"outcomeIcon") image], nil);
  EXPECT_EQ([control(@"outcomeIcon") image], [NSImage imageNamed:@"NSInfo"]);
}

TEST_F(AppKitScreensTest, FailedRunShowsAWarningAndNoBundle) {
  setConfig("<no document");
  openWindow();
  run();
  EXPECT_THAT(text(@"finishMsg"), HasSubstr("An internal error"));
  EXPECT_FALSE(isSeen(@"bundleName"));
  EXPECT_FALSE(isSeen(@"showButton"));
  EXPECT_NE([control(@"outcomeIcon") image], nil);
  EXPECT_EQ([control(@"outcomeIcon") image], [NSImage imageNamed:@"NSCaution"]);
  EXPECT_THAT(test::listFolder(m_strDesktopFolder), ::testing::IsEmpty());
}

// Presses. Finish stands where Run stood, and takes Return as Run did.

TEST_F(AppKitScreensTest, ReturnThatIsHeldDownDoesNotFinish) {
  setConfig("<no document");
  openWindow();
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
  for (int i = 0; i < 6000 && screen() != 2; ++i) {
    turn(0.01);
  }
  EXPECT_EQ(screen(), 2);
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

// The table of controls.

TEST_F(AppKitScreensTest, ControlThatIsMissingOrOfAnotherClassIsLoggedAndNothingHappens) {
  GUIController* controller = [GUIController new];
  [controller setValue:@"a text" forKey:@"runButton"];
  AppKitToolkit toolkit(controller);
  test::LogRecorder log;
  toolkit.setTitle(Outlet::runButton, "Run");
  toolkit.setTitle(Outlet::mAbout, "About");
  toolkit.setHint(Hint::emptyPassword, "hint");
  EXPECT_EQ(toolkit.stringValue(Outlet::passwordField), "");
  EXPECT_EQ(toolkit.state(Outlet::encryptionBox), kStateOff);
  EXPECT_EQ(log.records().size(), 5U) << log.dump();
  ASSERT_FALSE(log.records().empty());
  EXPECT_EQ(log.records()[0].level, kLogError);
  EXPECT_THAT(log.records()[0].text(),
              MatchesRegex("The window's runButton is a .*String and not a NSButton[.]"));
  EXPECT_TRUE(log.has(kLogError, "The window's mAbout is a ")) << log.dump();
  EXPECT_TRUE(log.has(kLogError, "The window's passwordHint is a ")) << log.dump();
  EXPECT_TRUE(log.has(kLogError, "The window's passwordField is a ")) << log.dump();
  [controller release];
}

}  // namespace
}  // namespace halvo
