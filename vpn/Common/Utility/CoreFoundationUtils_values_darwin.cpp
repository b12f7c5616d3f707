#include <cstring>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/CoreFoundationHeld.h"
#include "vpn/Common/Utility/CoreFoundationUtils_darwin.h"

namespace halvo {

namespace {

constexpr const char* kConnectionPrefix = "ipsec://";

// The platform has no unsigned numbers: values go through its signed ones of the same size, bit for bit.
template <typename Value>
ResultCode numberTo(const char* function, int line, CFNumberRef number, CFNumberType type, Value& out) {
  out = 0;
  if (number == nullptr) {
    logDebugMessage(function, __FILE__, line, kLogError, "CFNumberRef is NULL");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  if (!CFNumberGetValue(number, type, &out)) {
    // A value that doesn't fit is stored cut.
    out = 0;
    logDebugMessage(function, __FILE__, line, kLogError, "CFNumberGetValue failed");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

template <typename Value>
ResultCode toNumber(const char* function, int line, const Value& value, CFNumberType type, CFNumberRef& out) {
  out = CFNumberCreate(kCFAllocatorDefault, type, &value);
  if (out == nullptr) {
    logDebugMessage(function, __FILE__, line, kLogError, "Failed to create CFNumber");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

ResultCode toData(const char* function, int line, const void* bytes, std::size_t size, CFDataRef& out) {
  out = CFDataCreate(kCFAllocatorDefault, static_cast<const UInt8*>(bytes), static_cast<CFIndex>(size));
  if (out == nullptr) {
    logDebugMessage(function, __FILE__, line, kLogError, "Failed to create CFData");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

void copyBytes(CFDataRef data, CFIndex length, void* out) {
  CFDataGetBytes(data, CFRange{0, length}, static_cast<UInt8*>(out));
}

}  // namespace

ResultCode CFNumberToUnsignedInt(CFNumberRef number, std::uint32_t& out) {
  return numberTo(__func__, __LINE__, number, kCFNumberIntType, out);
}

ResultCode CFNumberToUnsignedLong(CFNumberRef number, std::uint64_t& out) {
  return numberTo(__func__, __LINE__, number, kCFNumberLongType, out);
}

ResultCode UnsignedIntToCFNumber(std::uint32_t value, CFNumberRef& out) {
  return toNumber(__func__, __LINE__, value, kCFNumberIntType, out);
}

ResultCode UnsignedLongToCFNumber(std::uint64_t value, CFNumberRef& out) {
  return toNumber(__func__, __LINE__, value, kCFNumberLongType, out);
}

ResultCode CFDataToVector(CFDataRef data, std::vector<std::uint8_t>& out) {
  out.clear();
  if (data == nullptr) {
    LOG_MESSAGE(kLogError, "CFDataRef is NULL");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  out.resize(static_cast<std::size_t>(CFDataGetLength(data)));
  copyBytes(data, static_cast<CFIndex>(out.size()), out.data());
  return 0;
}

ResultCode VectorToCFData(const std::vector<std::uint8_t>& bytes, CFDataRef& out) {
  out = nullptr;
  if (bytes.empty()) {
    LOG_MESSAGE(kLogError, "Data is empty");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  return toData(__func__, __LINE__, bytes.data(), bytes.size(), out);
}

ResultCode CFDataToSockaddr(CFDataRef data, sockaddr_storage& out) {
  static_assert(sizeof(out) == 128);
  std::memset(&out, 0, sizeof(out));
  if (data == nullptr) {
    LOG_MESSAGE(kLogError, "CFDataRef is NULL");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const CFIndex length = CFDataGetLength(data);
  if (length > static_cast<CFIndex>(sizeof(out))) {
    LOG_MESSAGE(kLogError, "Data is not of the appropriate size");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  copyBytes(data, length, &out);
  return 0;
}

ResultCode SockaddrToCFData(std::uint64_t first, std::uint64_t second, CFDataRef& out) {
  const std::uint64_t halves[2] = {first, second};
  return toData(__func__, __LINE__, halves, sizeof(halves), out);
}

ResultCode CFDataToSocket(CFDataRef data, std::int32_t& out) {
  out = -1;
  if (data == nullptr) {
    LOG_MESSAGE(kLogError, "CFDataRef is NULL");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const CFIndex length = CFDataGetLength(data);
  if (length != static_cast<CFIndex>(sizeof(out))) {
    LOG_MESSAGE(kLogError, "Data is not of the appropriate size");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  copyBytes(data, length, &out);
  return 0;
}

ResultCode SocketToCFData(std::int32_t socket, CFDataRef& out) {
  return toData(__func__, __LINE__, &socket, sizeof(socket), out);
}

ResultCode CFStringToSTDString(CFStringRef string, std::string& out, std::size_t size) {
  out.clear();
  if (string == nullptr) {
    return 0;
  }
  // Only a look, where the platform keeps the text as UTF-8; any other text has to be converted.
  const char* text = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
  if (text != nullptr) {
    out = text;
    return 0;
  }
  std::vector<char> buffer(size);
  if (!CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(size), kCFStringEncodingUTF8)) {
    // Not logged: texts for the log are made by this as well.
    return GLOBAL_ERROR_UNEXPECTED;
  }
  out = buffer.data();
  return 0;
}

ResultCode STDStringToCFString(const std::string& text, CFStringRef& out) {
  out = nullptr;
  const Held<CFStringRef> format(CFStringCreateWithCString(kCFAllocatorDefault, "%s", kCFStringEncodingUTF8));
  if (format != nullptr) {
    // The text is the argument and never the format: it may hold percent signs.
    out = CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, format.get(), text.c_str());
  }
  if (out == nullptr) {
    LOG_MESSAGE(kLogError, "Failed to create CFString");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

ResultCode STDStringsToCFArray(const std::vector<std::string>& texts, CFArrayRef& out) {
  out = nullptr;
  if (texts.empty()) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  Held<CFMutableArrayRef> array(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  if (array == nullptr) {
    return GLOBAL_ERROR_MEMALLOC_FAILED;
  }
  for (const std::string& text : texts) {
    const Held<CFStringRef> string(
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
    if (string == nullptr) {
      return GLOBAL_ERROR_MEMALLOC_FAILED;
    }
    // The array counts its own hold on the string.
    CFArrayAppendValue(array.get(), string.get());
  }
  out = array.release();
  return 0;
}

ResultCode SplitConnectionText(const std::string& text, std::string& before, std::string& behind) {
  before.clear();
  behind.clear();
  // Anywhere, not at the start alone: what stands ahead of it is dropped.
  const std::size_t prefix = text.find(kConnectionPrefix);
  if (prefix == std::string::npos) {
    return GLOBAL_ERROR_UNEXPECTED;
  }
  const std::string rest = text.substr(prefix + std::strlen(kConnectionPrefix));
  const std::size_t mark = rest.find('@');
  before = rest.substr(0, mark);
  if (mark != std::string::npos) {
    behind = rest.substr(mark + 1);
  }
  return 0;
}

}  // namespace halvo
