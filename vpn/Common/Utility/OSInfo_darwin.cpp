#include "vpn/Common/Utility/OSInfo_darwin.h"

#include <CoreServices/CoreServices.h>

#include <cstring>
#include <fstream>
#include <sstream>

#include "vpn/Common/Utility/CoreFoundationHeld.h"

namespace halvo {

namespace {

constexpr const char* kVersionList = "/System/Library/CoreServices/SystemVersion.plist";

}  // namespace

void getOSInfo(OSInfo& record) {
  std::memset(&record, 0, sizeof(record));
  record.family = kFamilyMac;
  SInt32 numbers[3] = {};
  // The results aren't looked at: a number that can't be had stays zero.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  // "sys1" to "sys3"; as characters in one constant they draw a warning.
  static_cast<void>(Gestalt(0x73797331, &numbers[0]));
  static_cast<void>(Gestalt(0x73797332, &numbers[1]));
  static_cast<void>(Gestalt(0x73797333, &numbers[2]));
#pragma GCC diagnostic pop
  setOSInfo(record, "Mac OS X", numbers[0], numbers[1], numbers[2]);
}

// CoreFoundation is linked, so its functions need no look-up by name.
std::optional<std::string> productVersionIn(const char* file) {
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    return std::nullopt;
  }
  std::ostringstream content;
  content << stream.rdbuf();
  const std::string text = content.str();
  // Not copied: the text outlives the data, and the null allocator leaves its bytes alone.
  const Held<CFDataRef> data(CFDataCreateWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                         static_cast<CFIndex>(text.size()),
                                                         kCFAllocatorNull));
  if (data == nullptr) {
    return std::nullopt;
  }
  const Held<CFPropertyListRef> list(
      CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, nullptr, nullptr));
  if (list == nullptr || CFGetTypeID(list.get()) != CFDictionaryGetTypeID()) {
    return std::nullopt;
  }
  const Held<CFStringRef> key(
      CFStringCreateWithCStringNoCopy(nullptr, "ProductVersion", kCFStringEncodingUTF8, kCFAllocatorNull));
  if (key == nullptr) {
    return std::nullopt;
  }
  const void* value = CFDictionaryGetValue(static_cast<CFDictionaryRef>(list.get()), key.get());
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) {
    return std::nullopt;
  }
  char version[32] = {};
  if (!CFStringGetCString(static_cast<CFStringRef>(value), version, sizeof(version), kCFStringEncodingUTF8)) {
    return std::nullopt;
  }
  return std::string(version);
}

std::optional<std::string> readProductVersion() {
  return productVersionIn(kVersionList);
}

}  // namespace halvo
