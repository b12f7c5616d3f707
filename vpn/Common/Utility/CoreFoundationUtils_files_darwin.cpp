#include <cstdio>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/CoreFoundationHeld.h"
#include "vpn/Common/Utility/CoreFoundationUtils_darwin.h"

namespace halvo {

namespace {

std::string textOf(CFStringRef string) {
  std::string text;
  // A text that can't be had reads as empty.
  static_cast<void>(CFStringToSTDString(string, text));
  return text;
}

// A platform error as a text for the log. No blank stands before "Description": readers of logs search for
// the text in this form.
std::string textOfError(CFErrorRef error) {
  const Held<CFStringRef> description(CFErrorCopyDescription(error));
  char code[32];
  std::snprintf(code, sizeof(code), "%lx", static_cast<unsigned long>(CFErrorGetCode(error)));
  return "Error occurred. Domain: " + textOf(CFErrorGetDomain(error)) + " Code: 0x" + code +
         "Description: " + textOf(description.get());
}

// The file URL of `path`; null, with its reason logged as `function`, where it can't be made.
Held<CFURLRef> urlOf(const char* function, int line, const std::string& path) {
  const Held<CFStringRef> string(
      CFStringCreateWithCString(kCFAllocatorDefault, path.c_str(), kCFStringEncodingUTF8));
  if (string == nullptr) {
    logDebugMessage(function, __FILE__, line, kLogError, "CFStringCreateWithCString returned NULL.");
    return nullptr;
  }
  Held<CFURLRef> url(
      CFURLCreateWithFileSystemPath(kCFAllocatorDefault, string.get(), kCFURLPOSIXPathStyle, false));
  if (url == nullptr) {
    logDebugMessage(function, __FILE__, line, kLogError, "CFURLCreateWithFileSystemPath returned NULL.");
  }
  return url;
}

}  // namespace

// Several calls here are deprecated on later systems and stand on all of them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

ResultCode FileExistsAtPath(const std::string& path, bool& exists) {
  exists = false;
  if (path.empty()) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const Held<CFURLRef> url = urlOf(__func__, __LINE__, path);
  if (url == nullptr) {
    return GLOBAL_ERROR_UNEXPECTED;
  }
  CFErrorRef reason = nullptr;
  exists = CFURLResourceIsReachable(url.get(), &reason) != 0;
  const Held<CFErrorRef> error(reason);
  if (error != nullptr) {
    LOG_MESSAGE(kLogInformation, "CFURLResourceIsReachable error:%s", textOfError(error.get()).c_str());
  }
  return 0;
}

ResultCode ParseFileToDict(const std::string& path, CFDictionaryRef& out) {
  out = nullptr;
  if (path.empty()) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const Held<CFURLRef> url = urlOf(__func__, __LINE__, path);
  if (url == nullptr) {
    return GLOBAL_ERROR_UNEXPECTED;
  }

  CFDataRef content = nullptr;
  SInt32 code = 0;
  const bool read = CFURLCreateDataAndPropertiesFromResource(kCFAllocatorDefault, url.get(), &content,
                                                             nullptr, nullptr, &code) != 0;
  const Held<CFDataRef> data(content);
  if (!read) {
    LOG_MESSAGE(kLogError, "CFURLCreateDataAndPropertiesFromResource returned with error code: %d", code);
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (data == nullptr) {
    LOG_MESSAGE(kLogWarning, "Could not get data from plist file.");
    return GLOBAL_ERROR_UNEXPECTED;
  }

  CFStringRef reason = nullptr;
  const Held<CFPropertyListRef> list(
      CFPropertyListCreateFromXMLData(kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, &reason));
  const Held<CFStringRef> error(reason);
  if (list == nullptr) {
    LOG_MESSAGE(kLogError, "CFPropertyListCreateFromXMLData returned NULL.");
  }
  if (error != nullptr) {
    LOG_MESSAGE(kLogError, "CFPropertyListCreateFromXMLData returned with error: %s",
                textOf(error.get()).c_str());
  }
  // A list that comes with an error isn't taken: it may be a part of what the file says.
  if (list == nullptr || error != nullptr) {
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (CFGetTypeID(list.get()) != CFDictionaryGetTypeID()) {
    LOG_MESSAGE(kLogError, "Unexpect plist type.");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  // The caller's own hold; that of this function ends here.
  out = static_cast<CFDictionaryRef>(CFRetain(list.get()));
  return 0;
}

ResultCode WriteDictionaryToFile(const std::string& path, CFDictionaryRef dictionary) {
  if (path.empty() || dictionary == nullptr) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const Held<CFURLRef> url = urlOf(__func__, __LINE__, path);
  if (url == nullptr) {
    return GLOBAL_ERROR_UNEXPECTED;
  }
  const Held<CFDataRef> data(CFPropertyListCreateXMLData(kCFAllocatorDefault, dictionary));
  if (data == nullptr) {
    LOG_MESSAGE(kLogError, "CFPropertyListCreateXMLData returned NULL.");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  SInt32 code = 0;
  if (!CFURLWriteDataAndPropertiesToResource(url.get(), data.get(), nullptr, &code)) {
    // The text names the reading call. Meant.
    LOG_MESSAGE(kLogError, "CFURLCreateDataAndPropertiesFromResource returned with error code: %d", code);
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

#pragma GCC diagnostic pop

}  // namespace halvo
