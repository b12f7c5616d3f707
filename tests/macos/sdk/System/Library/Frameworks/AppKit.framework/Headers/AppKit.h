// Stand-in for macOS' AppKit: the classes and methods that this system uses, and nothing else.
//
// Declared from their public documentation, for builds without an SDK.

#pragma once

#import <Foundation/Foundation.h>

#define IBOutlet
#define IBAction void

typedef NSUInteger NSBezelStyle;
typedef NSUInteger NSButtonType;
typedef NSUInteger NSTabViewType;
typedef NSUInteger NSBackingStoreType;
typedef NSUInteger NSWindowStyleMask;
typedef NSInteger NSControlStateValue;
typedef NSUInteger NSEventType;

enum { NSNoTabsNoBorder = 6 };
enum { NSBackingStoreBuffered = 2 };
typedef enum : NSUInteger { NSImageScaleProportionallyUpOrDown = 3 } NSImageScaling;
typedef enum : NSUInteger { NSImageRight = 3 } NSCellImagePosition;
// The numbers are another system's there, but for processors that had this one before.
#ifdef __x86_64__
typedef enum : NSInteger { NSTextAlignmentLeft = 0, NSTextAlignmentRight = 1 } NSTextAlignment;
#else
typedef enum : NSInteger { NSTextAlignmentLeft = 0, NSTextAlignmentRight = 2 } NSTextAlignment;
#endif
typedef enum : NSInteger { NSStringDrawingUsesLineFragmentOrigin = 1 } NSStringDrawingOptions;
typedef enum : NSInteger { NSWritingDirectionRightToLeft = 1 } NSWritingDirection;
typedef enum : NSInteger { NSUserInterfaceLayoutDirectionRightToLeft = 1 } NSUserInterfaceLayoutDirection;
typedef enum : NSUInteger { NSInformationalRequest = 10 } NSRequestUserAttentionType;
enum : NSUInteger {
  NSWindowStyleMaskTitled = 1 << 0,
  NSWindowStyleMaskClosable = 1 << 1,
  NSWindowStyleMaskMiniaturizable = 1 << 2,
  NSWindowStyleMaskResizable = 1 << 3,
};
enum : NSUInteger {
  NSViewMinXMargin = 1,
  NSViewWidthSizable = 2,
  NSViewMaxXMargin = 4,
  NSViewMinYMargin = 8,
  NSViewHeightSizable = 16,
  NSViewMaxYMargin = 32,
};

@class NSMenu;
@class NSView;

@interface NSObject (NSNibAwaking)
- (void)awakeFromNib;
@end

@interface NSAttributedString (NSStringDrawing)
- (NSRect)boundingRectWithSize:(NSSize)size options:(NSStringDrawingOptions)options;
@end

@interface NSFont : NSObject
+ (double)systemFontSize;
+ (NSFont*)systemFontOfSize:(double)size;
+ (NSFont*)boldSystemFontOfSize:(double)size;
@end

@interface NSResponder : NSObject
@end

@interface NSCell : NSObject
- (NSSize)cellSize;
- (void)setWraps:(BOOL)wraps;
@end

@interface NSView : NSResponder
- (instancetype)initWithFrame:(NSRect)frame;
- (void)addSubview:(NSView*)view;
- (NSView*)superview;
- (NSArray*)subviews;
- (NSRect)frame;
- (void)setFrameOrigin:(NSPoint)origin;
- (void)setFrameSize:(NSSize)size;
- (NSUInteger)autoresizingMask;
- (void)setAutoresizingMask:(NSUInteger)mask;
- (void)setUserInterfaceLayoutDirection:(NSUserInterfaceLayoutDirection)direction;
- (BOOL)isHidden;
- (void)setHidden:(BOOL)hidden;
- (void)setToolTip:(NSString*)text;
- (void)setAccessibilityLabel:(NSString*)label;
- (void)setAccessibilityHelp:(NSString*)help;
- (void)displayIfNeeded;
@end

@interface NSText : NSView
- (void)cut:(id)sender;
- (void)copy:(id)sender;
- (void)paste:(id)sender;
- (void)selectAll:(id)sender;
- (NSRange)selectedRange;
- (void)setSelectedRange:(NSRange)range;
@end

@interface NSControl : NSView
- (void)setEnabled:(BOOL)enabled;
- (void)setTarget:(id)target;
- (void)setAction:(SEL)action;
- (void)setFont:(NSFont*)font;
- (void)setAlignment:(NSTextAlignment)alignment;
- (void)setBaseWritingDirection:(NSWritingDirection)direction;
- (id)cell;
- (NSText*)currentEditor;
- (void)validateEditing;
- (NSAttributedString*)attributedStringValue;
- (NSString*)stringValue;
- (void)setStringValue:(NSString*)text;
@end

@interface NSButton : NSControl
- (void)setTitle:(NSString*)title;
- (void)setBezelStyle:(NSBezelStyle)style;
- (void)setButtonType:(NSButtonType)type;
- (void)setImagePosition:(NSCellImagePosition)position;
- (void)setKeyEquivalent:(NSString*)key;
- (NSControlStateValue)state;
- (void)setState:(NSControlStateValue)state;
@end

@interface NSColor : NSObject
+ (NSColor*)controlTextColor;
+ (NSColor*)disabledControlTextColor;
@end

@interface NSTextField : NSControl
- (void)setTextColor:(NSColor*)color;
- (void)setEditable:(BOOL)editable;
- (void)setSelectable:(BOOL)selectable;
- (void)setBezeled:(BOOL)bezeled;
- (void)setDrawsBackground:(BOOL)draws;
- (void)setDelegate:(id)delegate;
@end

@interface NSSecureTextField : NSTextField
@end

@interface NSImage : NSObject
+ (NSImage*)imageNamed:(NSString*)name;
@end

@interface NSImageView : NSControl
- (void)setImage:(NSImage*)image;
- (void)setImageScaling:(NSImageScaling)scaling;
@end

@interface NSWorkspace : NSObject
+ (NSWorkspace*)sharedWorkspace;
- (BOOL)selectFile:(NSString*)path inFileViewerRootedAtPath:(NSString*)root;
@end

@interface NSProgressIndicator : NSView
- (void)setIndeterminate:(BOOL)indeterminate;
- (void)setMinValue:(double)value;
- (void)setMaxValue:(double)value;
- (void)setDoubleValue:(double)value;
- (void)startAnimation:(id)sender;
@end

@interface NSTabViewItem : NSObject
- (instancetype)initWithIdentifier:(id)identifier;
- (NSView*)view;
- (void)setView:(NSView*)view;
@end

@interface NSTabView : NSView
- (NSArray*)tabViewItems;
- (void)addTabViewItem:(NSTabViewItem*)item;
- (void)setTabViewType:(NSTabViewType)type;
- (void)selectNextTabViewItem:(id)sender;
@end

@interface NSWindow : NSResponder
- (instancetype)initWithContentRect:(NSRect)rect
                          styleMask:(NSWindowStyleMask)style
                            backing:(NSBackingStoreType)backing
                              defer:(BOOL)defer;
- (NSRect)frame;
- (void)setFrame:(NSRect)frame display:(BOOL)display;
- (NSView*)contentView;
- (id)delegate;
- (void)setDelegate:(id)delegate;
- (void)setTitle:(NSString*)title;
- (void)setReleasedWhenClosed:(BOOL)released;
- (NSSize)contentMinSize;
- (void)setContentMinSize:(NSSize)size;
- (BOOL)makeFirstResponder:(NSResponder*)responder;
- (void)center;
- (void)makeKeyAndOrderFront:(id)sender;
@end

@interface NSMenuItem : NSObject
+ (NSMenuItem*)separatorItem;
- (instancetype)initWithTitle:(NSString*)title action:(SEL)action keyEquivalent:(NSString*)key;
- (void)setTitle:(NSString*)title;
@end

@interface NSMenu : NSObject
- (instancetype)initWithTitle:(NSString*)title;
- (void)addItem:(NSMenuItem*)item;
- (void)setSubmenu:(NSMenu*)menu forItem:(NSMenuItem*)item;
@end

@interface NSEvent : NSObject
- (NSEventType)type;
- (NSWindow*)window;
- (NSTimeInterval)timestamp;
- (NSPoint)locationInWindow;
- (NSString*)charactersIgnoringModifiers;
- (BOOL)isARepeat;
@end

@interface NSApplication : NSResponder
- (void)sendEvent:(NSEvent*)event;
- (void)setDelegate:(id)delegate;
- (void)setMainMenu:(NSMenu*)menu;
- (void)finishLaunching;
- (void)terminate:(id)sender;
- (NSInteger)requestUserAttention:(NSRequestUserAttentionType)type;
- (void)activateIgnoringOtherApps:(BOOL)flag;
- (void)orderFrontStandardAboutPanel:(id)sender;
- (void)hide:(id)sender;
- (void)hideOtherApplications:(id)sender;
- (void)unhideAllApplications:(id)sender;
@end

@interface NSController : NSObject
@end

@interface NSObjectController : NSController
@end

extern "C" {
extern NSApplication* NSApp;
int NSApplicationMain(int argc, const char* argv[]);
}
