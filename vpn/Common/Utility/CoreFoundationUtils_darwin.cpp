#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <vector>

#include "vpn/Common/Utility/CoreFoundationUtils.h"

namespace halvo {

namespace {

struct Release {
  void operator()(const void* object) const { CFRelease(object); }
};

// The value of one of the locale's keys, which the locale keeps owning.
std::optional<std::string> textOf(CFLocaleRef locale, CFLocaleKey key) {
  const auto text = static_cast<CFStringRef>(CFLocaleGetValue(locale, key));
  if (text == nullptr) {
    return std::nullopt;
  }
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
  std::vector<char> buffer(static_cast<std::size_t>(size));
  if (!CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8)) {
    return std::string();
  }
  return std::string(buffer.data());
}

}  // namespace

HostLocale readHostLocale() {
  const std::unique_ptr<const void, Release> holder(CFLocaleCopyCurrent());
  if (!holder) {
    return {};
  }
  const auto locale = static_cast<CFLocaleRef>(holder.get());
  return {true, textOf(locale, kCFLocaleLanguageCode), textOf(locale, kCFLocaleCountryCode)};
}

}  // namespace halvo
