#include "vpn/Common/Utility/CoreFoundationUtils_darwin.h"

#include <vector>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/CoreFoundationHeld.h"
#include "vpn/Common/Utility/CoreFoundationUtils.h"

namespace halvo {

namespace {

// The value of one of the locale's keys, which the locale keeps owning.
std::optional<std::string> textOf(CFLocaleRef locale, CFLocaleKey key) {
  const auto text = static_cast<CFStringRef>(CFLocaleGetValue(locale, key));
  if (text == nullptr) {
    return std::nullopt;
  }
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
  std::vector<char> buffer(static_cast<std::size_t>(size));
  if (!CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8)) {
    // Empty and not missing: the two are different failures to those who read the log.
    return std::string();
  }
  return std::string(buffer.data());
}

}  // namespace

HostLocale readHostLocale() {
  const Held<CFLocaleRef> locale(CFLocaleCopyCurrent());
  if (locale == nullptr) {
    return {};
  }
  return {true, textOf(locale.get(), kCFLocaleLanguageCode), textOf(locale.get(), kCFLocaleCountryCode)};
}

ResultCode GetPreferredLanguage(CFStringRef& out) {
  out = nullptr;
  const Held<CFArrayRef> languages(CFLocaleCopyPreferredLanguages());
  if (languages == nullptr) {
    LOG_MESSAGE(kLogError, "CFLocaleCopyPreferredLanguages() returned NULL");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (CFArrayGetCount(languages.get()) < 1) {
    LOG_MESSAGE(kLogError, "PreferredLanguages array is empty");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  const void* first = CFArrayGetValueAtIndex(languages.get(), 0);
  if (first == nullptr) {
    LOG_MESSAGE(kLogError, "CFArrayGetValueAtIndex returned NULL");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  // A copy: the one in the array ends with the array.
  out = CFStringCreateCopy(kCFAllocatorDefault, static_cast<CFStringRef>(first));
  return out != nullptr ? 0 : GLOBAL_ERROR_UNEXPECTED;
}

}  // namespace halvo
