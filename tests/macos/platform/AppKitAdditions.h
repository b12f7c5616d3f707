// What macOS' AppKit has and GNUstep's lacks, of what this system uses. Read ahead of every Objective-C
// source.

#pragma once

#ifdef __OBJC__
#import <AppKit/AppKit.h>

// What a screen reader tells. Kept, so that a test can ask; nobody reads it out.
@interface NSView (Accessibility)
- (void)setAccessibilityLabel:(NSString*)label;
- (NSString*)accessibilityLabel;
- (void)setAccessibilityHelp:(NSString*)help;
- (NSString*)accessibilityHelp;
@end

#endif
