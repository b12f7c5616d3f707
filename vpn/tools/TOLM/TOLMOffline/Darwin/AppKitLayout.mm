#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitLayout.h"

#include <algorithm>
#include <initializer_list>
#include <limits>

namespace halvo {

namespace {

constexpr double kGap = 8;
// A cell keeps some room round its text, and no two toolkits the same.
constexpr double kTextMargin = 5;
// Ten lines and a little more.
constexpr double kHighestText = 180;

// Nil where the field holds something else, which whoever uses it logs.
id viewOf(id controller, NSString* field, Class wanted) {
  id view = [controller valueForKey:field];
  return [view isKindOfClass:wanted] ? view : nil;
}

// What stands on a screen, from its upper edge down.
struct Row {
  NSString* field;
  // Where the row begins if what is above it leaves the place free, so that controls have one place in every
  // language in which they can.
  double top;
  double leastHeight;
  bool isText;
};

double heightOf(NSTextField* label, double width) {
  const NSSize room = NSMakeSize(width - 2 * kTextMargin, std::numeric_limits<short>::max());
  const NSRect needed =
      [[label attributedStringValue] boundingRectWithSize:room options:NSStringDrawingUsesLineFragmentOrigin];
  return static_cast<double>(static_cast<long>(needed.size.height + 1)) + kTextMargin;
}

// The height that the row is to have.
double heightOf(const Row& row, NSView* view) {
  if (!row.isText) {
    return [view frame].size.height;
  }
  NSTextField* label = static_cast<NSTextField*>(view);
  // What it has in the narrowest window: the user may come back to that one.
  const double width = [view frame].size.width - ([[view superview] frame].size.width - kWizardWidth);
  const double needed = heightOf(label, width);
  [view setToolTip:needed > kHighestText ? [label stringValue] : nil];
  return std::min(needed, kHighestText);
}

// The result is the height that the screen needs.
double layOut(id controller, std::initializer_list<Row> rows) {
  double below = 0;
  for (const Row& row : rows) {
    NSView* view = viewOf(controller, row.field, row.isText ? [NSTextField class] : [NSView class]);
    if (view == nil || (row.isText && [view isHidden])) {
      continue;
    }
    const double height = heightOf(row, view);
    const double top = std::max(below, row.top);
    // A text of one line stands in the middle of a row that is higher for what is beside it.
    const double down = top + std::max(0.0, (row.leastHeight - height) / 2);
    const NSRect frame = [view frame];
    [view setFrameSize:NSMakeSize(frame.size.width, height)];
    [view setFrameOrigin:NSMakePoint(frame.origin.x, [[view superview] frame].size.height - down - height)];
    below = top + std::max(height, row.leastHeight) + kGap;
  }
  return below + kWizardButtonHeight + kWizardMargin;
}

// The side from which it keeps its distance stays where it is.
void fitToTitle(NSButton* button, double leastWidth) {
  if (button == nil) {
    return;
  }
  const NSRect frame = [button frame];
  const double width = std::max(leastWidth, static_cast<double>([[button cell] cellSize].width));
  const bool keepsRight = ([button autoresizingMask] & NSViewMinXMargin) != 0;
  [button setFrameSize:NSMakeSize(width, frame.size.height)];
  [button setFrameOrigin:NSMakePoint(frame.origin.x + (keepsRight ? frame.size.width - width : 0),
                                     frame.origin.y)];
}

void makeHigh(NSWindow* window, double height) {
  if (window == nil || height <= [window contentMinSize].height) {
    return;
  }
  [window setContentMinSize:NSMakeSize(kWizardWidth, height)];
  const double more = height - [[window contentView] frame].size.height;
  if (more > 0) {
    // Downwards: the title bar stays where it is.
    NSRect frame = [window frame];
    frame.origin.y -= more;
    frame.size.height += more;
    [window setFrame:frame display:YES];
  }
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

void layOutWizardScreens(id controller) {
  constexpr double kIcon = 48;
  const double welcome = layOut(controller, {{@"welcomeMsg", 20, 0, true},
                                             {@"tolmIntro", 66, 0, true},
                                             {@"desktopHint", 148, 0, true},
                                             {@"encryptionBox", 192, 0, false},
                                             {@"pswdText", 222, 0, true},
                                             {@"passwordField", 246, 0, false},
                                             {@"maskPswdBox", 276, 0, false},
                                             {@"passwordHint", 304, 0, true}});
  if (NSView* masked = viewOf(controller, @"passwordField", [NSView class]); masked != nil) {
    [static_cast<NSView*>(viewOf(controller, @"unmaskPassword", [NSView class]))
        setFrameOrigin:[masked frame].origin];
  }
  // The highest one ends above the bar, which stands still while texts come and go.
  const double progress = layOut(controller, {{@"progressMsg", 20, 0, true}});
  const double finished = layOut(controller, {{@"finishMsg", 40, kIcon, true},
                                              {@"bundleName", 0, 0, true},
                                              {@"showButton", 0, 0, false},
                                              {@"lossHint", 0, 0, true}});
  for (NSString* name : {@"runButton", @"cancelButton", @"finishButton", @"showButton"}) {
    constexpr double kLeastWidth = 130;
    fitToTitle(viewOf(controller, name, [NSButton class]), kLeastWidth);
  }
  makeHigh(viewOf(controller, @"mainWindow", [NSWindow class]), std::max({welcome, progress, finished}));
}

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
  [static_cast<NSTextField*>([controller valueForKey:@"percentText"]) setAlignment:NSTextAlignmentLeft];
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

}  // namespace halvo
