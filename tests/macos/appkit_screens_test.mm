// What the wizard's screens show on AppKit, and when.
#include <cstdint>
#include <thread>
#include <utility>
#include <vector>
#include "tests/macos/AppKitScreens_test.h"

#include "tests/support/LogRecorder.h"
#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitToolkit.h"

namespace halvo {
namespace {

using test::AppKitScreensTest;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

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

TEST_F(AppKitScreensTest, MaskingThePasswordWhileItIsTypedLeavesTheKeyboardInItsPlace) {
  openWindow();
  [control(@"encryptionBox") performClick:nil];
  [[control(@"passwordField") currentEditor] insertText:@"firs"];
  [control(@"maskPswdBox") performClick:nil];
  EXPECT_TRUE(hasKeyboard(@"unmaskPassword"));
  // And not in place of what is there.
  [[control(@"unmaskPassword") currentEditor] insertText:@"t"];
  EXPECT_EQ(text(@"unmaskPassword"), "first");

  [[control(@"unmaskPassword") currentEditor] setSelectedRange:NSMakeRange(1, 2)];
  [control(@"maskPswdBox") performClick:nil];
  EXPECT_TRUE(hasKeyboard(@"passwordField"));
  [[control(@"passwordField") currentEditor] insertText:@"a"];
  [[control(@"passwordField") currentEditor] insertText:@"r"];
  EXPECT_EQ(text(@"passwordField"), "farst");
}

TEST_F(AppKitScreensTest, MaskingThePasswordWhileNobodyTypesMovesNoKeyboard) {
  openWindow();
  [control(@"encryptionBox") performClick:nil];
  [control(@"mainWindow") makeFirstResponder:control(@"maskPswdBox")];
  [control(@"maskPswdBox") performClick:nil];
  EXPECT_TRUE(hasKeyboard(@"maskPswdBox"));
}

NSPasteboard* boardWith(NSString* text) {
  NSPasteboard* board = [NSPasteboard generalPasteboard];
  [board declareTypes:[NSArray arrayWithObject:NSStringPboardType] owner:nil];
  [board setString:text forType:NSStringPboardType];
  return board;
}

TEST_F(AppKitScreensTest, PasswordCanBeCutCopiedPastedAndSelectedByKeys) {
  openWindow();
  [control(@"encryptionBox") performClick:nil];
  [control(@"maskPswdBox") performClick:nil];
  NSPasteboard* board = boardWith(@"pasted");
  sendCommand(@"v");
  EXPECT_EQ(text(@"unmaskPassword"), "pasted");

  [[control(@"unmaskPassword") currentEditor] insertText:@"+more"];
  sendCommand(@"a");
  sendCommand(@"c");
  EXPECT_EQ(textOf([board stringForType:NSStringPboardType]), "pasted+more");
  sendCommand(@"a");
  sendCommand(@"x");
  EXPECT_EQ(text(@"unmaskPassword"), "");
}

TEST_F(AppKitScreensTest, PasswordThatIsMaskedCanBePastedByAKey) {
  openWindow();
  [control(@"encryptionBox") performClick:nil];
  static_cast<void>(boardWith(@"pasted"));
  sendCommand(@"v");
  EXPECT_EQ(text(@"passwordField"), "pasted");
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

// What a screen reader tells.

TEST_F(AppKitScreensTest, ControlsWithoutATitleHaveANameForAScreenReader) {
  openWindow();
  for (NSString* field : {@"passwordField", @"unmaskPassword"}) {
    EXPECT_EQ(textOf([control(field) accessibilityLabel]), "Encryption Password") << textOf(field);
    EXPECT_EQ(textOf([control(field) accessibilityHelp]), "") << textOf(field);
  }
  EXPECT_EQ(textOf([control(@"progressBar") accessibilityLabel]), "Halvo TOLM");
  [control(@"encryptionBox") performClick:nil];
  EXPECT_EQ(textOf([control(@"passwordField") accessibilityHelp]), text(@"passwordHint"));
  [control(@"encryptionBox") performClick:nil];

  run();
  EXPECT_EQ(textOf([control(@"progressBar") accessibilityHelp]), text(@"progressMsg"));
  EXPECT_EQ(textOf([control(@"outcomeIcon") accessibilityLabel]), text(@"finishMsg"));
  EXPECT_EQ(textOf([control(@"bundleName") accessibilityLabel]), text(@"finishMsg"));
  EXPECT_THAT(textOf([control(@"showButton") accessibilityHelp]), HasSubstr(m_strDesktopFolder));
}

// The progress screen.

struct Shown {
  double value;
  bool isOnMainThread;
};
std::vector<Shown> s_shown;

void noteValue(id /*bar*/, SEL /*name*/, double value) {
  s_shown.push_back({value, static_cast<bool>([NSThread isMainThread])});
}

TEST_F(AppKitScreensTest, ReportsOfARunAreShownOnTheMainThreadInTheirOrder) {
  openWindow();
  s_shown.clear();
  const test::Replaced note([NSProgressIndicator class], @selector(setDoubleValue:), noteValue);
  std::thread([] {
    for (const std::uint32_t percent : {10U, 20U}) {
      reportProgress(percent, "Step " + std::to_string(percent), TOLMOFFLINE_ERROR_PROCESSING);
    }
  }).join();
  // Nothing is drawn from the other thread.
  EXPECT_TRUE(s_shown.empty());
  EXPECT_EQ(text(@"progressMsg"), "");

  EXPECT_TRUE(turnUntil([] { return s_shown.size() == 2; }));
  EXPECT_EQ(s_shown[0].value, 10);
  EXPECT_EQ(s_shown[1].value, 20);
  EXPECT_TRUE(s_shown[0].isOnMainThread && s_shown[1].isOnMainThread);
  EXPECT_EQ(text(@"progressMsg"), "Step 20");
  EXPECT_EQ(text(@"percentText"), "\u200e20 %");
}

TEST_F(AppKitScreensTest, ReportsFillTheBarAndTellThePercentage) {
  openWindow();
  AppKitToolkit toolkit(m_pController);
  toolkit.startAnimation(Outlet::progressBar);
  EXPECT_EQ(text(@"percentText"), "\u200e0 %");
  const std::pair<double, std::string> steps[] = {{37, "37"}, {99.9, "99"}, {100, "100"}, {250, "100"}};
  for (const auto& [value, percent] : steps) {
    toolkit.setDoubleValue(Outlet::progressBar, value);
    EXPECT_EQ(text(@"percentText"), "\u200e" + percent + " %");
  }
  EXPECT_EQ([control(@"progressBar") doubleValue], 100);
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

TEST_F(AppKitScreensTest, BundleThatCannotBeSavedIsToldWithItsTwoCharactersAsTheyStand) {
  openWindow();
  std::filesystem::remove_all(m_strDesktopFolder);
  run();
  EXPECT_EQ(textOf([m_pController getFinishedMsg]), text(@"finishMsg"));
  EXPECT_THAT(text(@"finishMsg"), HasSubstr("%s"));
  EXPECT_EQ([control(@"outcomeIcon") image], [NSImage imageNamed:@"NSCaution"]);
}

TEST_F(AppKitScreensTest, LostFilesAreToldBelowTheBundle) {
  openWindow();
  run();
  AppKitToolkit(m_pController).setHint(Hint::lostFiles, "12 files are lost.");
  EXPECT_TRUE(isSeen(@"lossHint"));
  EXPECT_EQ(text(@"lossHint"), "12 files are lost.");
  EXPECT_LT(NSMaxY([control(@"lossHint") frame]), NSMinY([control(@"showButton") frame]));
}

TEST_F(AppKitScreensTest, EndOfARunAsksForTheUsersAttention) {
  openWindow();
  application()->m_nCalls = 0;
  run();
  EXPECT_EQ(application()->m_nCalls, 1);
}

std::vector<std::string> s_selected;

BOOL noteSelected(id /*workspace*/, SEL /*name*/, NSString* path, NSString* root) {
  s_selected.push_back(textOf(path) + "|" + textOf(root));
  return YES;
}

TEST_F(AppKitScreensTest, ShowInFolderSelectsTheBundle) {
  s_selected.clear();
  const test::Replaced note([NSWorkspace class], @selector(selectFile:inFileViewerRootedAtPath:),
                            noteSelected);
  openWindow();
  run();
  ASSERT_EQ(test::listFolder(m_strDesktopFolder).size(), 1U);
  click(@"showButton", test::secondsNow());
  EXPECT_THAT(s_selected, ::testing::ElementsAre(m_strDesktopFolder + "/" +
                                                 test::listFolder(m_strDesktopFolder)[0] + "|"));
}

TEST_F(AppKitScreensTest, ShowInFolderTakesNoPressOfTheScreensFirstHalfSecond) {
  s_selected.clear();
  const test::Replaced note([NSWorkspace class], @selector(selectFile:inFileViewerRootedAtPath:),
                            noteSelected);
  openWindow();
  const double before = run();
  click(@"showButton", before + 0.2);
  EXPECT_TRUE(s_selected.empty());
}

// The menu.

TEST_F(AppKitScreensTest, MenuForEditingActsOnWhoeverHasTheKeyboard) {
  openWindow();
  NSMenu* menu = [[[NSApp mainMenu] itemAtIndex:1] submenu];
  std::string all = textOf([menu title]) + ":";
  for (int i = 0; i < [menu numberOfItems]; ++i) {
    NSMenuItem* item = [menu itemAtIndex:i];
    all += " " + textOf([item title]) + "=" + textOf(NSStringFromSelector([item action])) +
           textOf([item keyEquivalent]);
    EXPECT_EQ([item target], nil);
    EXPECT_EQ([item keyEquivalentModifierMask], NSCommandKeyMask);
  }
  EXPECT_EQ(all, "Edit: Cut=cut:x Copy=copy:c Paste=paste:v Select All=selectAll:a");
}

NSString* germanWord(id /*bundle*/, SEL /*name*/, NSString* key, NSString* value, NSString* /*table*/) {
  return [key isEqual:@"Paste"] ? @"Einsetzen" : value;
}

TEST_F(AppKitScreensTest, MenuForEditingHasTheToolkitsOwnWords) {
  const test::Replaced words([NSBundle class], @selector(localizedStringForKey:value:table:), germanWord);
  openWindow();
  NSMenu* menu = [[[NSApp mainMenu] itemAtIndex:1] submenu];
  EXPECT_EQ(textOf([[menu itemAtIndex:2] title]), "Einsetzen");
  // It has none for this.
  EXPECT_EQ(textOf([[menu itemAtIndex:3] title]), "Select All");
}

TEST_F(AppKitScreensTest, NameOfTheBundleCanBeCopiedByAKey) {
  openWindow();
  run();
  [control(@"mainWindow") makeFirstResponder:control(@"bundleName")];
  sendCommand(@"a");
  sendCommand(@"c");
  EXPECT_EQ(textOf([[NSPasteboard generalPasteboard] stringForType:NSStringPboardType]), text(@"bundleName"));
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
  EXPECT_EQ(log.records().size(), 7U) << log.dump();
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
