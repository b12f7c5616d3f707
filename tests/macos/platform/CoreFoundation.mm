// CoreFoundation over GNUstep's Foundation objects, as far as this system uses it.
//
// What a "Create" or "Copy" call returns is counted as owned until CFRelease gives it back.

#include <CoreFoundation/CoreFoundation.h>
#import <Foundation/Foundation.h>

#include <atomic>
#include <cstdlib>

#include "tests/macos/platform/Control.h"

struct CFArrayCallBacks {
  int unused;
};
const CFArrayCallBacks kCFTypeArrayCallBacks = {0};
const CFAllocatorRef kCFAllocatorDefault = nullptr;
static int s_noAllocator;
const CFAllocatorRef kCFAllocatorNull = reinterpret_cast<CFAllocatorRef>(&s_noAllocator);
const CFLocaleKey kCFLocaleLanguageCode = reinterpret_cast<CFLocaleKey>(@"language");
const CFLocaleKey kCFLocaleCountryCode = reinterpret_cast<CFLocaleKey>(@"country");

namespace {

std::atomic<long> s_owned{0};
bool s_direct = true;
std::optional<std::string> s_language = "en";
std::optional<std::string> s_country = "US";
std::vector<std::string> s_languages = {"en"};
std::string s_listReason;

using halvo::test::platform::fails;

id objectOf(const void* object) {
  if (object == nullptr) {
    std::abort();  // as the real one does
  }
  return static_cast<id>(const_cast<void*>(object));
}

// Hands an object with its one reference to the caller; null is a failure and is handed on.
template <typename Ref>
Ref owned(id object) {
  if (object != nil) {
    ++s_owned;
  }
  return reinterpret_cast<Ref>(object);
}

void checkAllocator(CFAllocatorRef allocator) {
  if (allocator != kCFAllocatorDefault) {
    std::abort();
  }
}

void checkEncoding(CFStringEncoding encoding) {
  if (encoding != kCFStringEncodingUTF8) {
    std::abort();
  }
}

// Every call runs in a pool of its own: the callers know none.
class Pool {
 public:
  Pool() : m_pPool([NSAutoreleasePool new]) {}
  ~Pool() { [m_pPool release]; }
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

 private:
  NSAutoreleasePool* m_pPool;
};

NSString* pathOf(CFURLRef url) {
  return [static_cast<NSURL*>(objectOf(url)) path];
}

id listOf(CFDataRef data, NSString** reason) {
  NSPropertyListFormat format;
  NSError* error = nil;
  id list = nil;
  // Its XML reader throws at some texts that are no property list.
  @try {
    list = [NSPropertyListSerialization propertyListWithData:static_cast<NSData*>(objectOf(data))
                                                     options:NSPropertyListImmutable
                                                      format:&format
                                                       error:&error];
  } @catch (NSException* exception) {
    list = nil;
    *reason = [exception reason];
    return nil;
  }
  if (list == nil) {
    *reason = error != nil ? [error description] : @"no property list";
  }
  return list;
}

}  // namespace

namespace halvo::test::platform {

long ownedObjects() {
  return s_owned;
}
void setDirectPointers(bool direct) {
  s_direct = direct;
}
void setLocale(std::optional<std::string> language, std::optional<std::string> country) {
  s_language = std::move(language);
  s_country = std::move(country);
}
void setPreferredLanguages(const std::vector<std::string>& languages) {
  s_languages = languages;
}
void setListReason(const std::string& reason) {
  s_listReason = reason;
}

}  // namespace halvo::test::platform

// Base.

CFTypeRef CFRetain(CFTypeRef object) {
  ++s_owned;
  return [objectOf(object) retain];
}

void CFRelease(CFTypeRef object) {
  const Pool pool;
  --s_owned;
  [objectOf(object) release];
}

CFTypeID CFGetTypeID(CFTypeRef object) {
  const Pool pool;
  if ([objectOf(object) isKindOfClass:[NSString class]]) {
    return CFStringGetTypeID();
  }
  return [objectOf(object) isKindOfClass:[NSDictionary class]] ? CFDictionaryGetTypeID() : 99;
}

// Strings.

CFTypeID CFStringGetTypeID(void) {
  return 7;
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding) {
  const Pool pool;
  checkAllocator(allocator);
  checkEncoding(encoding);
  if (fails("CFStringCreateWithCString")) {
    return nullptr;
  }
  return owned<CFStringRef>([[NSString alloc] initWithUTF8String:text]);
}

CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef allocator, const char* text,
                                            CFStringEncoding encoding, CFAllocatorRef deallocator) {
  if (deallocator != kCFAllocatorNull) {
    std::abort();
  }
  return fails("CFStringCreateWithCStringNoCopy") ? nullptr
                                                  : CFStringCreateWithCString(allocator, text, encoding);
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef allocator, CFDictionaryRef options, CFStringRef format,
                                     ...) {
  const Pool pool;
  checkAllocator(allocator);
  if (options != nullptr) {
    std::abort();
  }
  if (fails("CFStringCreateWithFormat")) {
    return nullptr;
  }
  va_list arguments;
  va_start(arguments, format);
  NSString* text = [[NSString alloc] initWithFormat:static_cast<NSString*>(objectOf(format))
                                          arguments:arguments];
  va_end(arguments);
  return owned<CFStringRef>(text);
}

CFStringRef CFStringCreateCopy(CFAllocatorRef allocator, CFStringRef string) {
  const Pool pool;
  checkAllocator(allocator);
  return fails("CFStringCreateCopy") ? nullptr : owned<CFStringRef>([objectOf(string) copy]);
}

CFIndex CFStringGetLength(CFStringRef string) {
  return static_cast<CFIndex>([static_cast<NSString*>(objectOf(string)) length]);
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  checkEncoding(encoding);
  return length * 3;
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding) {
  const Pool pool;
  checkEncoding(encoding);
  if (!s_direct) {
    return nullptr;
  }
  // Good until the thread asks again.
  thread_local std::string s_text;
  s_text = [static_cast<NSString*>(objectOf(string)) UTF8String];
  return s_text.c_str();
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
  const Pool pool;
  checkEncoding(encoding);
  return [static_cast<NSString*>(objectOf(string)) getCString:buffer
                                                    maxLength:static_cast<NSUInteger>(size)
                                                     encoding:NSUTF8StringEncoding];
}

// Numbers, data, arrays, dictionaries.

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value) {
  const Pool pool;
  checkAllocator(allocator);
  if (fails("CFNumberCreate")) {
    return nullptr;
  }
  if (type == kCFNumberIntType) {
    return owned<CFNumberRef>([[NSNumber alloc] initWithInt:*static_cast<const int*>(value)]);
  }
  if (type == kCFNumberLongType) {
    return owned<CFNumberRef>([[NSNumber alloc] initWithLong:*static_cast<const long*>(value)]);
  }
  std::abort();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  const Pool pool;
  const long long whole = [static_cast<NSNumber*>(objectOf(number)) longLongValue];
  if (type == kCFNumberIntType) {
    *static_cast<int*>(value) = static_cast<int>(whole);
    return whole == static_cast<int>(whole);
  }
  if (type == kCFNumberLongType) {
    *static_cast<long*>(value) = static_cast<long>(whole);
    return [static_cast<NSNumber*>(objectOf(number)) doubleValue] == static_cast<double>(whole);
  }
  std::abort();
}

CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length) {
  const Pool pool;
  checkAllocator(allocator);
  if (fails("CFDataCreate")) {
    return nullptr;
  }
  return owned<CFDataRef>([[NSData alloc] initWithBytes:bytes length:static_cast<NSUInteger>(length)]);
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef deallocator) {
  if (deallocator != kCFAllocatorNull) {
    std::abort();
  }
  return fails("CFDataCreateWithBytesNoCopy") ? nullptr : CFDataCreate(allocator, bytes, length);
}

CFIndex CFDataGetLength(CFDataRef data) {
  return static_cast<CFIndex>([static_cast<NSData*>(objectOf(data)) length]);
}

void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer) {
  [static_cast<NSData*>(objectOf(data))
      getBytes:buffer
         range:NSMakeRange(static_cast<NSUInteger>(range.location), static_cast<NSUInteger>(range.length))];
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                       const CFArrayCallBacks* callBacks) {
  const Pool pool;
  checkAllocator(allocator);
  if (capacity != 0 || callBacks != &kCFTypeArrayCallBacks) {
    std::abort();
  }
  return fails("CFArrayCreateMutable") ? nullptr : owned<CFMutableArrayRef>([NSMutableArray new]);
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) {
  [static_cast<NSMutableArray*>(objectOf(array)) addObject:objectOf(value)];
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  return static_cast<CFIndex>([static_cast<NSArray*>(objectOf(array)) count]);
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  if (fails("CFArrayGetValueAtIndex")) {
    return nullptr;
  }
  return [static_cast<NSArray*>(objectOf(array)) objectAtIndex:static_cast<NSUInteger>(index)];
}

CFTypeID CFDictionaryGetTypeID(void) {
  return 18;
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const Pool pool;
  return [static_cast<NSDictionary*>(objectOf(dictionary)) objectForKey:objectOf(key)];
}

// Files.

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef path, CFURLPathStyle style,
                                       Boolean isDirectory) {
  const Pool pool;
  checkAllocator(allocator);
  if (style != kCFURLPOSIXPathStyle || isDirectory) {
    std::abort();
  }
  if (fails("CFURLCreateWithFileSystemPath")) {
    return nullptr;
  }
  return owned<CFURLRef>([[NSURL alloc] initFileURLWithPath:static_cast<NSString*>(objectOf(path))]);
}

Boolean CFURLResourceIsReachable(CFURLRef url, CFErrorRef* error) {
  const Pool pool;
  if ([[NSFileManager defaultManager] fileExistsAtPath:pathOf(url)]) {
    return 1;
  }
  NSDictionary* info = [NSDictionary dictionaryWithObject:@"no such file" forKey:NSLocalizedDescriptionKey];
  *error = owned<CFErrorRef>([[NSError alloc] initWithDomain:@"NSCocoaErrorDomain" code:260 userInfo:info]);
  return 0;
}

Boolean CFURLCreateDataAndPropertiesFromResource(CFAllocatorRef allocator, CFURLRef url, CFDataRef* data,
                                                 CFDictionaryRef* properties, CFArrayRef desiredProperties,
                                                 SInt32* errorCode) {
  const Pool pool;
  checkAllocator(allocator);
  if (properties != nullptr || desiredProperties != nullptr) {
    std::abort();
  }
  if (fails("data of CFURLCreateDataAndPropertiesFromResource")) {
    return 1;
  }
  NSData* content = [[NSData alloc] initWithContentsOfFile:pathOf(url)];
  if (content == nil) {
    *errorCode = -15;
    return 0;
  }
  *data = owned<CFDataRef>(content);
  return 1;
}

Boolean CFURLWriteDataAndPropertiesToResource(CFURLRef url, CFDataRef data, CFDictionaryRef properties,
                                              SInt32* errorCode) {
  const Pool pool;
  if (properties != nullptr) {
    std::abort();
  }
  if (![static_cast<NSData*>(objectOf(data)) writeToFile:pathOf(url) atomically:NO]) {
    *errorCode = -10;
    return 0;
  }
  return 1;
}

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef allocator, CFDataRef data,
                                               CFOptionFlags options, CFPropertyListFormat* format,
                                               CFErrorRef* error) {
  const Pool pool;
  checkAllocator(allocator);
  if (options != kCFPropertyListImmutable || format != nullptr || error != nullptr) {
    std::abort();
  }
  NSString* reason = nil;
  return owned<CFPropertyListRef>([listOf(data, &reason) retain]);
}

CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef data,
                                                  CFOptionFlags options, CFStringRef* errorText) {
  const Pool pool;
  checkAllocator(allocator);
  if (options != kCFPropertyListImmutable) {
    std::abort();
  }
  NSString* reason = nil;
  id list = [listOf(data, &reason) retain];
  if (!s_listReason.empty()) {
    reason = [NSString stringWithUTF8String:s_listReason.c_str()];
    s_listReason.clear();
  }
  if (reason != nil && !fails("errorText of CFPropertyListCreateFromXMLData")) {
    *errorText = owned<CFStringRef>([reason copy]);
  }
  return owned<CFPropertyListRef>(list);
}

CFDataRef CFPropertyListCreateXMLData(CFAllocatorRef allocator, CFPropertyListRef list) {
  const Pool pool;
  checkAllocator(allocator);
  if (fails("CFPropertyListCreateXMLData")) {
    return nullptr;
  }
  NSError* error = nil;
  NSData* data = [NSPropertyListSerialization dataWithPropertyList:objectOf(list)
                                                            format:NSPropertyListXMLFormat_v1_0
                                                           options:0
                                                             error:&error];
  return owned<CFDataRef>([data retain]);
}

CFErrorDomain CFErrorGetDomain(CFErrorRef error) {
  return reinterpret_cast<CFErrorDomain>([static_cast<NSError*>(objectOf(error)) domain]);
}

CFIndex CFErrorGetCode(CFErrorRef error) {
  return [static_cast<NSError*>(objectOf(error)) code];
}

CFStringRef CFErrorCopyDescription(CFErrorRef error) {
  const Pool pool;
  return owned<CFStringRef>([[static_cast<NSError*>(objectOf(error)) localizedDescription] copy]);
}

// Locale and dates.

CFLocaleRef CFLocaleCopyCurrent(void) {
  const Pool pool;
  if (fails("CFLocaleCopyCurrent")) {
    return nullptr;
  }
  NSMutableDictionary* locale = [NSMutableDictionary new];
  if (s_language.has_value()) {
    [locale setObject:[NSString stringWithUTF8String:s_language->c_str()] forKey:@"language"];
  }
  if (s_country.has_value()) {
    [locale setObject:[NSString stringWithUTF8String:s_country->c_str()] forKey:@"country"];
  }
  return owned<CFLocaleRef>(locale);
}

CFTypeRef CFLocaleGetValue(CFLocaleRef locale, CFLocaleKey key) {
  const Pool pool;
  return [static_cast<NSDictionary*>(objectOf(locale)) objectForKey:objectOf(key)];
}

CFArrayRef CFLocaleCopyPreferredLanguages(void) {
  const Pool pool;
  if (fails("CFLocaleCopyPreferredLanguages")) {
    return nullptr;
  }
  NSMutableArray* languages = [NSMutableArray new];
  for (const std::string& language : s_languages) {
    [languages addObject:[NSString stringWithUTF8String:language.c_str()]];
  }
  return owned<CFArrayRef>(languages);
}

CFAbsoluteTime CFAbsoluteTimeGetCurrent(void) {
  return [NSDate timeIntervalSinceReferenceDate];
}

CFDateRef CFDateCreate(CFAllocatorRef allocator, CFAbsoluteTime time) {
  const Pool pool;
  checkAllocator(allocator);
  if (fails("CFDateCreate")) {
    return nullptr;
  }
  return owned<CFDateRef>([[NSDate alloc] initWithTimeIntervalSinceReferenceDate:time]);
}

CFComparisonResult CFDateCompare(CFDateRef date, CFDateRef other, void* context) {
  if (context != nullptr) {
    std::abort();
  }
  return [static_cast<NSDate*>(objectOf(date)) compare:static_cast<NSDate*>(objectOf(other))];
}

CFDateFormatterRef CFDateFormatterCreate(CFAllocatorRef allocator, CFLocaleRef locale,
                                         CFDateFormatterStyle dateStyle, CFDateFormatterStyle timeStyle) {
  const Pool pool;
  checkAllocator(allocator);
  if (dateStyle != kCFDateFormatterNoStyle || timeStyle != kCFDateFormatterNoStyle) {
    std::abort();
  }
  if (fails("CFDateFormatterCreate")) {
    return nullptr;
  }
  NSDateFormatter* formatter = [NSDateFormatter new];
  [formatter setFormatterBehavior:NSDateFormatterBehavior10_4];
  NSDictionary* parts = static_cast<NSDictionary*>(objectOf(locale));
  NSString* name =
      [NSString stringWithFormat:@"%@_%@", [parts objectForKey:@"language"], [parts objectForKey:@"country"]];
  [formatter setLocale:[[[NSLocale alloc] initWithLocaleIdentifier:name] autorelease]];
  return owned<CFDateFormatterRef>(formatter);
}

void CFDateFormatterSetFormat(CFDateFormatterRef formatter, CFStringRef format) {
  const Pool pool;
  [static_cast<NSDateFormatter*>(objectOf(formatter)) setDateFormat:static_cast<NSString*>(objectOf(format))];
}

CFStringRef CFDateFormatterCreateStringWithDate(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                                CFDateRef date) {
  const Pool pool;
  checkAllocator(allocator);
  if (fails("CFDateFormatterCreateStringWithDate")) {
    return nullptr;
  }
  return owned<CFStringRef>([[static_cast<NSDateFormatter*>(objectOf(formatter))
      stringFromDate:static_cast<NSDate*>(objectOf(date))] copy]);
}

CFDateRef CFDateFormatterCreateDateFromString(CFAllocatorRef allocator, CFDateFormatterRef formatter,
                                              CFStringRef text, CFRange* range) {
  const Pool pool;
  checkAllocator(allocator);
  if (range != nullptr) {
    std::abort();
  }
  return owned<CFDateRef>([[static_cast<NSDateFormatter*>(objectOf(formatter))
      dateFromString:static_cast<NSString*>(objectOf(text))] retain]);
}
