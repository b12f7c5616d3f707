// The places of the window's controls.
#include "tests/macos/AppKitScreens_test.h"

#include <algorithm>
#include <map>
#include <vector>

#include "vpn/Common/i18n/MoCatalog.h"
#include "vpn/Common/i18n/UiTexts.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitToolkit.h"

namespace halvo {
namespace {

using test::AppKitScreensTest;

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
    // By its top: the new text needs fewer lines.
    EXPECT_EQ(now.origin.y + now.size.height, was.origin.y + was.size.height) << textOf(name);
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

// English, and every language of the sources.
std::vector<std::string> languages() {
  std::vector<std::string> names = {"en"};
  for (const auto& entry : std::filesystem::directory_iterator(TOLM_TEST_SOURCE_DIR "/l10n")) {
    if (entry.path().extension() == ".po") {
      names.push_back(entry.path().stem());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

class AppKitLanguageTest : public AppKitScreensTest {
 protected:
  ~AppKitLanguageTest() override { mocatalog::unloadDomain("Tessarmont"); }

  std::string translated(const std::string& key, const std::string& filling = "%s") {
    std::string text = mocatalog::translateInLocale(key.c_str(), m_strLanguage.c_str());
    if (const std::size_t place = text.find("%s"); place != std::string::npos) {
      text.replace(place, 2, filling);
    }
    return text;
  }
  // A window with all that the three screens can show, in a language.
  void openWholeWindow(const std::string& language) {
    if (m_pController != nil) {
      [control(@"mainWindow") orderOut:nil];
    }
    m_strLanguage = language;
    openWindow();
    // Behind the window, which has set the catalog up for itself.
    mocatalog::unloadDomain("Tessarmont");
    static_cast<void>(mocatalog::bindtextdomain("Tessarmont", TOLM_TEST_BUILD_DIR "/l10n"));
    static_cast<void>(mocatalog::textdomain("Tessarmont"));
    EXPECT_EQ(translated(textIntro) == textIntro, language == "en") << language;
    AppKitToolkit toolkit(m_pController);
    toolkit.setStringValue(Outlet::welcomeMsg, translated(textWelcome));
    toolkit.setStringValue(Outlet::tolmIntro, translated(textIntro));
    toolkit.setStringValue(Outlet::pswdText, translated(textEncryptionPassword));
    toolkit.setTitle(Outlet::encryptionBox, translated(textEnableEncryption));
    toolkit.setTitle(Outlet::maskPswdBox, translated(textMaskPassword));
    toolkit.setTitle(Outlet::runButton, translated(textRun));
    toolkit.setHint(Hint::emptyPassword, translated(textPasswordEmpty));
    toolkit.setHint(Hint::desktopFolder, translated(textDesktopMissing, kLongFolder));
    toolkit.setTitle(Outlet::cancelButton, translated(textCancel));
    toolkit.setTitle(Outlet::finishButton, translated(textFinish));
    toolkit.setStringValue(Outlet::finishMsg, translated(textBundleCannotBeSaved));
    toolkit.showOutcome(
        {true, std::string(kLongFolder) + "TOLMBundle_0315_1042.zip", translated(textShowInFolder)});
    toolkit.setHint(Hint::lostFiles, translated(textFilesLost, "1234"));
  }
  // Whether the text, broken into lines at the label's width by the toolkit itself, is higher than the label.
  bool isCut(NSString* name) {
    NSTextField* label = control(name);
    NSTextView* measure =
        [[NSTextView alloc] initWithFrame:NSMakeRect(0, 0, [label frame].size.width - 4, 10)];
    [[measure textContainer] setLineFragmentPadding:2];
    [[measure textStorage] setAttributedString:[label attributedStringValue]];
    [[measure layoutManager] glyphRangeForTextContainer:[measure textContainer]];
    const NSRect used = [[measure layoutManager] usedRectForTextContainer:[measure textContainer]];
    const bool cut = used.size.height > [label frame].size.height;
    [measure release];
    return cut;
  }
  std::string m_strLanguage;
  static constexpr const char* kLongFolder = "/home/CORP/departments/research-and-development/"
                                             "firstname.middlename.lastname@company.example.com/Desktop/";
};

TEST_F(AppKitLanguageTest, EveryTextOfEveryLanguageHasTheRoomThatItNeeds) {
  for (const std::string& language : languages()) {
    openWholeWindow(language);
    SCOPED_TRACE(language);
    for (NSString* name : {@"welcomeMsg", @"tolmIntro", @"desktopHint", @"pswdText", @"passwordHint",
                           @"finishMsg", @"bundleName", @"lossHint"}) {
      EXPECT_FALSE(isCut(name)) << textOf(name) << ": " << text(name);
    }
  }
}

TEST_F(AppKitLanguageTest, EveryTitleOfEveryLanguageHasTheRoomThatItNeeds) {
  for (const std::string& language : languages()) {
    openWholeWindow(language);
    SCOPED_TRACE(language);
    for (NSString* name :
         {@"encryptionBox", @"maskPswdBox", @"runButton", @"cancelButton", @"showButton", @"finishButton"}) {
      NSButton* button = control(name);
      EXPECT_LE([[button cell] cellSize].width, [button frame].size.width) << title(name);
      EXPECT_GE([button frame].origin.x, 0);
      EXPECT_LE(NSMaxX([button frame]), [[button superview] frame].size.width);
    }
  }
}

TEST_F(AppKitLanguageTest, ControlsOfAScreenDoNotLieOnEachOtherInAnyLanguage) {
  for (const std::string& language : languages()) {
    openWholeWindow(language);
    SCOPED_TRACE(language);
    NSArray* items = [static_cast<NSTabView*>(control(@"tabView")) tabViewItems];
    // Shown one by one, as the window lays out what it shows.
    for (NSUInteger i = 0; i < [items count]; ++i) {
      [control(@"tabView") selectTabViewItemAtIndex:static_cast<NSInteger>(i)];
      NSArray* views = [[[items objectAtIndex:i] view] subviews];
      for (NSUInteger j = 0; j < [views count]; ++j) {
        NSView* one = [views objectAtIndex:j];
        EXPECT_GE([one frame].origin.y, 0) << textOf([one description]);
        for (NSUInteger k = 0; k < j; ++k) {
          NSView* other = [views objectAtIndex:k];
          if (![one isHidden] && ![other isHidden]) {
            EXPECT_FALSE(NSIntersectsRect([one frame], [other frame]))
                << textOf([one description]) << " " << textOf([other description]);
          }
        }
      }
    }
  }
}

// A text of any length.

TEST_F(AppKitScreensTest, TextOfManyLinesGetsSomeOfThemAndIsWholeInItsToolTip) {
  openWindow();
  AppKitToolkit toolkit(m_pController);
  std::string endless;
  for (int i = 0; i < 5000; ++i) {
    endless += "word ";
  }
  const double bar = [control(@"progressBar") frame].origin.y;
  toolkit.setStringValue(Outlet::progressMsg, endless);
  EXPECT_EQ(textOf([control(@"progressMsg") toolTip]), endless);
  EXPECT_GT(NSMinY([control(@"progressMsg") frame]), NSMaxY([control(@"progressBar") frame]));
  EXPECT_EQ([control(@"progressBar") frame].origin.y, bar);

  toolkit.setStringValue(Outlet::progressMsg, "short");
  EXPECT_EQ([control(@"progressMsg") toolTip], nil);
}

TEST_F(AppKitScreensTest, WindowThatHasGrownForATextCannotBeMadeSmallerThanItNeeds) {
  openWindow();
  NSWindow* window = control(@"mainWindow");
  const double before = [window contentMinSize].height;
  const double top = NSMaxY([window frame]);
  std::string folder = "/home";
  for (int i = 0; i < 40; ++i) {
    folder += "/a-folder-of-a-folder";
  }
  AppKitToolkit(m_pController).setHint(Hint::desktopFolder, folder + folder);
  EXPECT_GT([window contentMinSize].height, before);
  EXPECT_GE([[window contentView] frame].size.height, [window contentMinSize].height);
  EXPECT_EQ(NSMaxY([window frame]), top);
  EXPECT_GT(NSMinY([control(@"passwordHint") frame]), NSMaxY([control(@"runButton") frame]));
}

}  // namespace
}  // namespace halvo
