// Stand-in for macOS' Foundation: the classes and methods that this system uses, and nothing else.
//
// Declared from their public documentation, for builds without an SDK.

#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <objc/NSObject.h>
#include <objc/objc.h>

typedef struct _NSZone NSZone;
typedef double NSTimeInterval;
typedef NSUInteger NSStringEncoding;

enum { NSUTF8StringEncoding = 4, NSISOLatin1StringEncoding = 5 };

typedef struct CGPoint {
  double x;
  double y;
} NSPoint;
typedef struct CGSize {
  double width;
  double height;
} NSSize;
typedef struct CGRect {
  NSPoint origin;
  NSSize size;
} NSRect;

typedef struct _NSRange {
  NSUInteger location;
  NSUInteger length;
} NSRange;

static inline NSPoint NSMakePoint(double x, double y) {
  return NSPoint{x, y};
}
static inline NSSize NSMakeSize(double width, double height) {
  return NSSize{width, height};
}
static inline NSRect NSMakeRect(double x, double y, double width, double height) {
  return NSRect{NSPoint{x, y}, NSSize{width, height}};
}

@interface NSString : NSObject
- (instancetype)initWithBytes:(const void*)bytes
                       length:(NSUInteger)length
                     encoding:(NSStringEncoding)encoding;
- (const char*)UTF8String;
- (NSString*)lastPathComponent;
- (NSUInteger)length;
- (unsigned short)characterAtIndex:(NSUInteger)index;
@end

@interface NSAttributedString : NSObject
@end

@interface NSBundle : NSObject
+ (NSBundle*)bundleForClass:(Class)aClass;
- (NSString*)localizedStringForKey:(NSString*)key value:(NSString*)value table:(NSString*)table;
@end

@interface NSArray : NSObject
- (NSUInteger)count;
- (id)objectAtIndex:(NSUInteger)index;
@end

@interface NSAutoreleasePool : NSObject
@end

@interface NSNotification : NSObject
@end

@interface NSObject (NSKeyValueCoding)
- (id)valueForKey:(NSString*)key;
- (void)setValue:(id)value forKey:(NSString*)key;
@end
