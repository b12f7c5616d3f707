// Stand-in for macOS' CoreFoundation: the types and calls that this system uses, and nothing else.
//
// Declared from their public documentation, for builds without an SDK. The calls carry the names and
// signatures that a program on macOS links to; objects are opaque here.

#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__APPLE__)
#include <MacTypes.h>
#else
typedef unsigned char Boolean;
typedef unsigned char UInt8;
typedef signed int SInt32;
typedef unsigned int UInt32;
#endif

#if defined(__cplusplus)
extern "C" {
#endif

typedef signed long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFOptionFlags;
typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;
typedef CFIndex CFComparisonResult;
typedef UInt32 CFStringEncoding;
typedef CFIndex CFNumberType;
typedef CFIndex CFURLPathStyle;
typedef CFIndex CFPropertyListFormat;
typedef CFIndex CFDateFormatterStyle;

typedef const void* CFTypeRef;
typedef CFTypeRef CFPropertyListRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;
typedef const struct __CFData* CFDataRef;
typedef const struct __CFDate* CFDateRef;
typedef struct __CFDateFormatter* CFDateFormatterRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFError* CFErrorRef;
typedef const struct __CFLocale* CFLocaleRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFURL* CFURLRef;
typedef CFStringRef CFLocaleKey;
typedef CFStringRef CFErrorDomain;

typedef struct {
  CFIndex location;
  CFIndex length;
} CFRange;

// Opaque here: only the address of kCFTypeArrayCallBacks is handed on.
typedef struct CFArrayCallBacks CFArrayCallBacks;

enum { kCFStringEncodingUTF8 = 0x08000100 };
enum { kCFNumberIntType = 9, kCFNumberLongType = 10 };
enum { kCFURLPOSIXPathStyle = 0 };
enum { kCFPropertyListImmutable = 0 };
enum { kCFDateFormatterNoStyle = 0 };
enum { kCFCompareLessThan = -1, kCFCompareEqualTo = 0, kCFCompareGreaterThan = 1 };

extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFAllocatorRef kCFAllocatorNull;
extern const CFArrayCallBacks kCFTypeArrayCallBacks;
extern const CFLocaleKey kCFLocaleLanguageCode;
extern const CFLocaleKey kCFLocaleCountryCode;

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);

CFTypeID CFStringGetTypeID(void);
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef allocator, const char* text,
                                            CFStringEncoding encoding, CFAllocatorRef deallocator);
CFStringRef CFStringCreateWithFormat(CFAllocatorRef allocator, CFDictionaryRef options, CFStringRef format,
                                     ...);
CFStringRef CFStringCreateCopy(CFAllocatorRef allocator, CFStringRef string);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding);

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef deallocator);
CFIndex CFDataGetLength(CFDataRef data);
void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer);

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks);
void CFArrayAppendValue(CFMutableArrayRef array, const void* value);
CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

CFTypeID CFDictionaryGetTypeID(void);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef path, CFURLPathStyle style,
                                       Boolean isDirectory);
Boolean CFURLResourceIsReachable(CFURLRef url, CFErrorRef* error);
Boolean CFURLCreateDataAndPropertiesFromResource(CFAllocatorRef allocator, CFURLRef url, CFDataRef* data,
                                                 CFDictionaryRef* properties, CFArrayRef desiredProperties,
                                                 SInt32* errorCode);
Boolean CFURLWriteDataAndPropertiesToResource(CFURLRef url, CFDataRef data, CFDictionaryRef properties,
                                              SInt32* errorCode);

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error);
CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef data,
                                                  CFOptionFlags options, CFStringRef* errorText);
CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef list);

CFErrorDomain CFErrorGetDomain(CFErrorRef error);
CFIndex CFErrorGetCode(CFErrorRef error);
CFStringRef CFErrorCopyDescription(CFErrorRef error);

CFLocaleRef CFLocaleCopyCurrent(void);
CFTypeRef CFLocaleGetValue(CFLocaleRef locale, CFLocaleKey key);
CFArrayRef CFLocaleCopyPreferredLanguages(void);

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void);
CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime time);
CFComparisonResult CFDateCompare(CFDateRef date, CFDateRef other, void* context);
CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                         CFDateFormatterStyle dateStyle, CFDateFormatterStyle timeStyle);
void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef format);
CFStringRef CFDateFormatterCreateStringWithDate(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                CFDateRef date);
CFDateRef CFDateFormatterCreateDateFromString(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                              CFStringRef text, CFRange* range);

#if defined(__cplusplus)
}
#endif
