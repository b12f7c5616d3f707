#include "vpn/Common/Utility/CoreFoundationHeld.h"
#include "vpn/Common/Utility/CoreFoundationUtils_darwin.h"

namespace halvo {

namespace {

Held<CFStringRef> stringOf(const char* text) {
  return Held<CFStringRef>(CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8));
}

// Null where it can't be made.
Held<CFDateFormatterRef> formatterOf(const char* format) {
  const Held<CFStringRef> pattern = stringOf(format);
  const Held<CFLocaleRef> locale(CFLocaleCopyCurrent());
  if (pattern == nullptr || locale == nullptr) {
    return nullptr;
  }
  Held<CFDateFormatterRef> formatter(CFDateFormatterCreate(kCFAllocatorDefault, locale.get(),
                                                           kCFDateFormatterNoStyle, kCFDateFormatterNoStyle));
  if (formatter != nullptr) {
    CFDateFormatterSetFormat(formatter.get(), pattern.get());
  }
  return formatter;
}

Held<CFDateRef> dateOf(CFDateFormatterRef formatter, const std::string& text) {
  const Held<CFStringRef> string = stringOf(text.c_str());
  if (string == nullptr) {
    return nullptr;
  }
  return Held<CFDateRef>(
      CFDateFormatterCreateDateFromString(kCFAllocatorDefault, formatter, string.get(), nullptr));
}

}  // namespace

ResultCode FormatTimeFromNow(double seconds, std::string& out, const char* format) {
  out.clear();
  const Held<CFDateRef> date(CFDateCreate(kCFAllocatorDefault, CFAbsoluteTimeGetCurrent() + seconds));
  if (date == nullptr) {
    return GLOBAL_ERROR_MEMALLOC_FAILED;
  }
  const Held<CFDateFormatterRef> formatter = formatterOf(format);
  if (formatter == nullptr) {
    return GLOBAL_ERROR_MEMALLOC_FAILED;
  }
  const Held<CFStringRef> text(
      CFDateFormatterCreateStringWithDate(kCFAllocatorDefault, formatter.get(), date.get()));
  if (text == nullptr) {
    return GLOBAL_ERROR_MEMALLOC_FAILED;
  }
  return CFStringToSTDString(text.get(), out);
}

ResultCode CompareDateTexts(const std::string& first, const std::string& second, int& order,
                            const char* format) {
  order = 0;
  const Held<CFDateFormatterRef> formatter = formatterOf(format);
  if (formatter == nullptr) {
    return GLOBAL_ERROR_MEMALLOC_FAILED;
  }
  const Held<CFDateRef> firstDate = dateOf(formatter.get(), first);
  const Held<CFDateRef> secondDate = dateOf(formatter.get(), second);
  if (firstDate == nullptr || secondDate == nullptr) {
    return GLOBAL_ERROR_MEMALLOC_FAILED;
  }
  order = static_cast<int>(CFDateCompare(firstDate.get(), secondDate.get(), nullptr));
  return 0;
}

}  // namespace halvo
