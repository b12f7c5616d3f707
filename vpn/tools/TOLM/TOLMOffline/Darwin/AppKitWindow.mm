#import "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitWindow.h"

#include <initializer_list>

namespace halvo {

namespace {

constexpr double kWidth = 560;
constexpr double kHeight = 400;
constexpr double kMargin = 20;
constexpr double kInner = kWidth - 2 * kMargin;
constexpr double kLine = 22;
constexpr double kIcon = 48;
constexpr double kIndent = 20;
// Room for some forty letters: a longer line is harder to check, not easier.
constexpr double kFieldWidth = 320;
constexpr double kButtonWidth = 130;
constexpr double kButtonHeight = 32;

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

// A line that is shown only where there is a reason.
NSTextField* makeHint(NSRect frame) {
  NSTextField* hint = makeLabel(frame, false);
  [hint setHidden:YES];
  return hint;
}

// Both fields have one place; the controller shows one of them, and hears of each change.
void placePassword(id controller, NSView* screen, Class kind, NSString* outlet) {
  NSTextField* field = [[kind alloc] initWithFrame:lineAt(246, kLine, kIndent)];
  [field setFrameSize:NSMakeSize(kFieldWidth, kLine)];
  [field setDelegate:controller];
  place(controller, screen, field, outlet, NSViewMaxXMargin | kKeepsTop);
}

void fillWelcomeScreen(id controller, NSView* screen) {
  const NSUInteger wide = NSViewWidthSizable | kKeepsTop;
  place(controller, screen, makeLabel(lineAt(20, 40, 0), true), @"welcomeMsg", wide);
  place(controller, screen, makeLabel(lineAt(66, 80, 0), false), @"tolmIntro", wide);
  place(controller, screen, makeHint(lineAt(148, 36, 0)), @"desktopHint", wide);
  place(controller, screen, makeBox(lineAt(192, kLine, 0), controller, @selector(enableEncrypt:)),
        @"encryptionBox", wide);
  place(controller, screen, makeLabel(lineAt(222, kLine, kIndent), false), @"pswdText", wide);
  placePassword(controller, screen, [NSSecureTextField class], @"passwordField");
  placePassword(controller, screen, [NSTextField class], @"unmaskPassword");
  place(controller, screen, makeBox(lineAt(276, kLine, kIndent), controller, @selector(maskPassword:)),
        @"maskPswdBox", wide);
  place(controller, screen, makeHint(lineAt(304, 36, kIndent)), @"passwordHint", wide);
  NSButton* run = makeButton(buttonPlace(), controller, @selector(runButton:));
  [run setKeyEquivalent:@"\r"];
  place(controller, screen, run, @"runButton", NSViewMinXMargin | kKeepsBottom);
}

void fillProgressScreen(id controller, NSView* screen) {
  const NSUInteger wide = NSViewWidthSizable | kKeepsTop;
  place(controller, screen, makeLabel(lineAt(40, 150, 0), false), @"progressMsg", wide);
  NSProgressIndicator* bar = [[NSProgressIndicator alloc] initWithFrame:lineAt(200, 20, 0)];
  [bar setIndeterminate:NO];
  [bar setMinValue:0];
  [bar setMaxValue:100];
  place(controller, screen, bar, @"progressBar", wide);
  // No key: Return on Run, pressed twice, must not end the program.
  place(controller, screen, makeButton(buttonPlace(), controller, @selector(cancelButton:)), @"cancelButton",
        NSViewMinXMargin | kKeepsBottom);
}

void fillFinishedScreen(id controller, NSView* screen) {
  NSImageView* icon = [[NSImageView alloc] initWithFrame:lineAt(40, kIcon, 0)];
  [icon setFrameSize:NSMakeSize(kIcon, kIcon)];
  // The toolkit's signs are of many sizes.
  [icon setImageScaling:NSImageScaleProportionallyUpOrDown];
  place(controller, screen, icon, @"outcomeIcon", NSViewMaxXMargin | kKeepsTop);
  NSTextField* message = makeLabel(lineAt(40, 190, kIcon + 12), false);
  [message setSelectable:YES];
  place(controller, screen, message, @"finishMsg", NSViewWidthSizable | NSViewHeightSizable);
  NSTextField* name = makeHint(lineAt(240, kLine, kIcon + 12));
  [name setSelectable:YES];
  place(controller, screen, name, @"bundleName", NSViewWidthSizable | kKeepsBottom);
  NSButton* show = makeButton(lineAt(270, kButtonHeight, kIcon + 12), controller, @selector(showBundle:));
  [show setFrameSize:NSMakeSize(2 * kButtonWidth, kButtonHeight)];
  [show setHidden:YES];
  place(controller, screen, show, @"showButton", NSViewMaxXMargin | kKeepsBottom);
  place(controller, screen, makeHint(lineAt(304, 36, kIcon + 12)), @"lossHint",
        NSViewWidthSizable | kKeepsBottom);
  NSButton* finish = makeButton(buttonPlace(), controller, @selector(finishButton:));
  [finish setKeyEquivalent:@"\r"];
  place(controller, screen, finish, @"finishButton", NSViewMinXMargin | kKeepsBottom);
}

NSMenuItem* addItem(id controller, NSMenu* menu, NSString* outlet, SEL action, NSString* key) {
  NSMenuItem* item = [[NSMenuItem alloc] initWithTitle:@"" action:action keyEquivalent:key];
  // No target: the application takes what nobody before it does.
  [menu addItem:item];
  [controller setValue:item forKey:outlet];
  [item release];
  return item;
}

void makeMenu(id controller) {
  NSMenu* bar = [[NSMenu alloc] initWithTitle:@""];
  NSMenuItem* holder = [[NSMenuItem alloc] initWithTitle:@"" action:nullptr keyEquivalent:@""];
  NSMenu* menu = [[NSMenu alloc] initWithTitle:@""];
  [bar addItem:holder];
  [bar setSubmenu:menu forItem:holder];
  addItem(controller, menu, @"mAbout", @selector(orderFrontStandardAboutPanel:), @"");
  [menu addItem:[NSMenuItem separatorItem]];
  addItem(controller, menu, @"mHideTolm", @selector(hide:), @"h");
  addItem(controller, menu, @"mHideOthers", @selector(hideOtherApplications:), @"");
  addItem(controller, menu, @"mShowAll", @selector(unhideAllApplications:), @"");
  [menu addItem:[NSMenuItem separatorItem]];
  addItem(controller, menu, @"mQuitTolm", @selector(terminate:), @"q");
  [NSApp setMainMenu:bar];
  [menu release];
  [holder release];
  [bar release];
}

// A place is told from the left edge, also on a system whose user reads from the right.
void turnRound(NSView* view, double width) {
  const NSRect frame = [view frame];
  [view setFrameOrigin:NSMakePoint(width - frame.origin.x - frame.size.width, frame.origin.y)];
  constexpr NSUInteger kSides = NSViewMinXMargin | NSViewMaxXMargin;
  const NSUInteger mask = [view autoresizingMask];
  // One that keeps its distance from one side keeps it from the other now; one that keeps both keeps both.
  const NSUInteger sides = mask & kSides;
  const bool isOneSided = sides == NSViewMinXMargin || sides == NSViewMaxXMargin;
  [view setAutoresizingMask:isOneSided ? mask ^ kSides : mask];
}

}  // namespace

void turnWizardScreens(id controller) {
  NSArray* screens = [static_cast<NSTabView*>([controller valueForKey:@"tabView"]) tabViewItems];
  for (NSUInteger i = 0; i < [screens count]; ++i) {
    NSView* screen = [static_cast<NSTabViewItem*>([screens objectAtIndex:i]) view];
    NSArray* views = [screen subviews];
    for (NSUInteger j = 0; j < [views count]; ++j) {
      turnRound(static_cast<NSView*>([views objectAtIndex:j]), [screen frame].size.width);
    }
  }
  for (NSString* field : {@"passwordField", @"unmaskPassword", @"bundleName"}) {
    [static_cast<NSTextField*>([controller valueForKey:field]) setAlignment:NSTextAlignmentRight];
  }
  for (NSString* label : {@"welcomeMsg", @"tolmIntro", @"desktopHint", @"pswdText", @"passwordHint",
                          @"progressMsg", @"finishMsg", @"lossHint"}) {
    NSTextField* text = [controller valueForKey:label];
    [text setAlignment:NSTextAlignmentRight];
    // Also where the text begins with the product's Latin name.
    [text setBaseWritingDirection:NSWritingDirectionRightToLeft];
  }
  for (NSString* name : {@"encryptionBox", @"maskPswdBox"}) {
    NSButton* box = [controller valueForKey:name];
    [box setImagePosition:NSImageRight];
    [box setAlignment:NSTextAlignmentRight];
  }
  [static_cast<NSView*>([controller valueForKey:@"progressBar"])
      setUserInterfaceLayoutDirection:NSUserInterfaceLayoutDirectionRightToLeft];
}

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
  makeMenu(controller);

  [controller awakeFromNib];
  [window center];
  [window makeKeyAndOrderFront:nil];
  [NSApp activateIgnoringOtherApps:YES];
}

}  // namespace halvo
