#import "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitWindow.h"

#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitLayout.h"

namespace halvo {

namespace {

constexpr double kWidth = kWizardWidth;
constexpr double kHeight = kWizardHeight;
constexpr double kMargin = kWizardMargin;
constexpr double kInner = kWidth - 2 * kMargin;
constexpr double kLine = 22;
constexpr double kIcon = 48;
constexpr double kIndent = 20;
// Room for some forty letters: a longer line is harder to check, not easier.
constexpr double kFieldWidth = 320;
constexpr double kButtonWidth = 130;
constexpr double kButtonHeight = kWizardButtonHeight;
constexpr double kPercentWidth = 56;

// A check box and a button with round ends, as the toolkit numbers them under names that differ by version.
constexpr NSUInteger kSwitchType = 3;
constexpr NSUInteger kRoundedBezel = 1;

// Which edge of a view keeps its distance when the window is resized.
constexpr NSUInteger kKeepsTop = NSViewMinYMargin;
constexpr NSUInteger kKeepsBottom = NSViewMaxYMargin;

// Sets the view's name for the controller and puts it on its screen.
void place(id controller, NSView* screen, NSView* view, NSString* outlet, NSUInteger resizing) {
  [view setAutoresizingMask:resizing];
  [screen addSubview:view];
  [controller setValue:view forKey:outlet];
  [view release];
}

NSTextField* makeLabel(NSRect frame, bool bold) {
  NSTextField* label = [[NSTextField alloc] initWithFrame:frame];
  [label setEditable:NO];
  [label setSelectable:NO];
  [label setBezeled:NO];
  [label setDrawsBackground:NO];
  // Many translations are longer than the English text.
  [[label cell] setWraps:YES];
  const double size = [NSFont systemFontSize];
  [label setFont:bold ? [NSFont boldSystemFontOfSize:size] : [NSFont systemFontOfSize:size]];
  return label;
}

NSButton* makeButton(NSRect frame, id controller, SEL action) {
  NSButton* button = [[NSButton alloc] initWithFrame:frame];
  [button setBezelStyle:static_cast<NSBezelStyle>(kRoundedBezel)];
  [button setTarget:controller];
  [button setAction:action];
  return button;
}

NSButton* makeBox(NSRect frame, id controller, SEL action) {
  NSButton* box = makeButton(frame, controller, action);
  [box setButtonType:static_cast<NSButtonType>(kSwitchType)];
  return box;
}

// A screen of the tab view.
NSView* addScreen(NSTabView* tabs, NSString* name) {
  NSTabViewItem* item = [[NSTabViewItem alloc] initWithIdentifier:name];
  NSView* screen = [[NSView alloc] initWithFrame:NSMakeRect(0, 0, kWidth, kHeight)];
  [item setView:screen];
  [tabs addTabViewItem:item];
  [screen release];
  [item release];
  return screen;
}

NSRect buttonPlace() {
  return NSMakeRect(kWidth - kMargin - kButtonWidth, kMargin - 4, kButtonWidth, kButtonHeight);
}

// From the screen's upper edge.
NSRect lineAt(double top, double height, double indent) {
  return NSMakeRect(kMargin + indent, kHeight - top - height, kInner - indent, height);
}

// A line that gets its place, and a text's its height, from layOutWizardScreens().
NSRect line(double indent) {
  return lineAt(0, kLine, indent);
}

// A line that is shown only where there is a reason.
NSTextField* makeHint(NSRect frame) {
  NSTextField* hint = makeLabel(frame, false);
  [hint setHidden:YES];
  return hint;
}

// Both fields have one place; the controller shows one of them, and hears of each change.
void placePassword(id controller, NSView* screen, Class kind, NSString* outlet) {
  NSTextField* field = [[kind alloc] initWithFrame:line(kIndent)];
  [field setFrameSize:NSMakeSize(kFieldWidth, kLine)];
  [field setDelegate:controller];
  place(controller, screen, field, outlet, NSViewMaxXMargin | kKeepsTop);
}

void fillWelcomeScreen(id controller, NSView* screen) {
  const NSUInteger wide = NSViewWidthSizable | kKeepsTop;
  place(controller, screen, makeLabel(line(0), true), @"welcomeMsg", wide);
  place(controller, screen, makeLabel(line(0), false), @"tolmIntro", wide);
  place(controller, screen, makeHint(line(0)), @"desktopHint", wide);
  place(controller, screen, makeBox(line(0), controller, @selector(enableEncrypt:)), @"encryptionBox", wide);
  place(controller, screen, makeLabel(line(kIndent), false), @"pswdText", wide);
  placePassword(controller, screen, [NSSecureTextField class], @"passwordField");
  placePassword(controller, screen, [NSTextField class], @"unmaskPassword");
  place(controller, screen, makeBox(line(kIndent), controller, @selector(maskPassword:)), @"maskPswdBox",
        wide);
  place(controller, screen, makeHint(line(kIndent)), @"passwordHint", wide);
  NSButton* run = makeButton(buttonPlace(), controller, @selector(runButton:));
  [run setKeyEquivalent:@"\r"];
  place(controller, screen, run, @"runButton", NSViewMinXMargin | kKeepsBottom);
}

void fillProgressScreen(id controller, NSView* screen) {
  const NSUInteger wide = NSViewWidthSizable | kKeepsTop;
  place(controller, screen, makeLabel(line(0), false), @"progressMsg", wide);
  NSProgressIndicator* bar = [[NSProgressIndicator alloc] initWithFrame:lineAt(208, 20, 0)];
  [bar setFrameSize:NSMakeSize(kInner - kPercentWidth, 20)];
  [bar setIndeterminate:NO];
  [bar setMinValue:0];
  [bar setMaxValue:100];
  place(controller, screen, bar, @"progressBar", wide);
  NSTextField* percent = makeLabel(lineAt(208, 20, kInner - kPercentWidth), false);
  [percent setAlignment:NSTextAlignmentRight];
  place(controller, screen, percent, @"percentText", NSViewMinXMargin | kKeepsTop);
  // No key: Return on Run, pressed twice, must not end the program.
  place(controller, screen, makeButton(buttonPlace(), controller, @selector(cancelButton:)), @"cancelButton",
        NSViewMinXMargin | kKeepsBottom);
}

void fillFinishedScreen(id controller, NSView* screen) {
  const NSUInteger wide = NSViewWidthSizable | kKeepsTop;
  NSImageView* icon = [[NSImageView alloc] initWithFrame:lineAt(40, kIcon, 0)];
  [icon setFrameSize:NSMakeSize(kIcon, kIcon)];
  // The toolkit's signs are of many sizes.
  [icon setImageScaling:NSImageScaleProportionallyUpOrDown];
  place(controller, screen, icon, @"outcomeIcon", NSViewMaxXMargin | kKeepsTop);
  NSTextField* message = makeLabel(line(kIcon + 12), false);
  [message setSelectable:YES];
  place(controller, screen, message, @"finishMsg", wide);
  NSTextField* name = makeHint(line(kIcon + 12));
  [name setSelectable:YES];
  place(controller, screen, name, @"bundleName", wide);
  NSButton* show = makeButton(line(kIcon + 12), controller, @selector(showBundle:));
  [show setFrameSize:NSMakeSize(kButtonWidth, kButtonHeight)];
  [show setHidden:YES];
  place(controller, screen, show, @"showButton", NSViewMaxXMargin | kKeepsTop);
  place(controller, screen, makeHint(line(kIcon + 12)), @"lossHint", wide);
  NSButton* finish = makeButton(buttonPlace(), controller, @selector(finishButton:));
  [finish setKeyEquivalent:@"\r"];
  place(controller, screen, finish, @"finishButton", NSViewMinXMargin | kKeepsBottom);
}

// A menu of the bar, which holds it from here on.
NSMenu* addMenu(NSMenu* bar, NSString* title) {
  NSMenuItem* holder = [[NSMenuItem alloc] initWithTitle:title action:nullptr keyEquivalent:@""];
  NSMenu* menu = [[NSMenu alloc] initWithTitle:title];
  [bar addItem:holder];
  [bar setSubmenu:menu forItem:holder];
  [menu release];
  [holder release];
  return menu;
}

// No target: whoever is first to know the action takes it, the application at the latest.
NSMenuItem* addItem(NSMenu* menu, NSString* title, SEL action, NSString* key) {
  NSMenuItem* item = [[NSMenuItem alloc] initWithTitle:title action:action keyEquivalent:key];
  [menu addItem:item];
  [item release];
  return item;
}

// The application's menu, whose titles the controller sets.
void fillApplicationMenu(id controller, NSMenu* menu) {
  const auto add = [=](NSString* outlet, SEL action, NSString* key) {
    [controller setValue:addItem(menu, @"", action, key) forKey:outlet];
  };
  add(@"mAbout", @selector(orderFrontStandardAboutPanel:), @"");
  [menu addItem:[NSMenuItem separatorItem]];
  add(@"mHideTolm", @selector(hide:), @"h");
  add(@"mHideOthers", @selector(hideOtherApplications:), @"");
  add(@"mShowAll", @selector(unhideAllApplications:), @"");
  [menu addItem:[NSMenuItem separatorItem]];
  add(@"mQuitTolm", @selector(terminate:), @"q");
}

// In the user's language where the toolkit has the word in its own texts.
NSString* toolkitsWord(NSString* english) {
  return [[NSBundle bundleForClass:[NSApplication class]] localizedStringForKey:english
                                                                          value:english
                                                                          table:nil];
}

// Fields know no keys of their own for these: they come from the menu, or not at all.
void fillEditMenu(NSMenu* menu) {
  addItem(menu, toolkitsWord(@"Cut"), @selector(cut:), @"x");
  addItem(menu, toolkitsWord(@"Copy"), @selector(copy:), @"c");
  addItem(menu, toolkitsWord(@"Paste"), @selector(paste:), @"v");
  addItem(menu, toolkitsWord(@"Select All"), @selector(selectAll:), @"a");
}

void makeMenu(id controller) {
  NSMenu* bar = [[NSMenu alloc] initWithTitle:@""];
  fillApplicationMenu(controller, addMenu(bar, @""));
  fillEditMenu(addMenu(bar, toolkitsWord(@"Edit")));
  [NSApp setMainMenu:bar];
  [bar release];
}

}  // namespace

void openWizardWindow(id controller) {
  const NSUInteger style = NSWindowStyleMaskTitled | NSWindowStyleMaskClosable |
                           NSWindowStyleMaskMiniaturizable | NSWindowStyleMaskResizable;
  NSWindow* window = [[NSWindow alloc] initWithContentRect:NSMakeRect(0, 0, kWidth, kHeight)
                                                 styleMask:style
                                                   backing:NSBackingStoreBuffered
                                                     defer:NO];
  // What the run still reports goes to the controls, also behind a close.
  [window setReleasedWhenClosed:NO];
  [window setContentMinSize:NSMakeSize(kWidth, kHeight)];

  NSTabView* tabs = [[NSTabView alloc] initWithFrame:NSMakeRect(0, 0, kWidth, kHeight)];
  // Now and not only by the controller: the items' size hangs on it.
  [tabs setTabViewType:NSNoTabsNoBorder];
  place(controller, [window contentView], tabs, @"tabView", NSViewWidthSizable | NSViewHeightSizable);
  fillWelcomeScreen(controller, addScreen(tabs, @"welcome"));
  fillProgressScreen(controller, addScreen(tabs, @"progress"));
  fillFinishedScreen(controller, addScreen(tabs, @"finished"));
  [controller setValue:window forKey:@"mainWindow"];
  [window setDelegate:controller];
  makeMenu(controller);

  [controller awakeFromNib];
  [window center];
  [window makeKeyAndOrderFront:nil];
  [NSApp activateIgnoringOtherApps:YES];
}

}  // namespace halvo
