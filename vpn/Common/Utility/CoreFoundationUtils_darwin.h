// Conversions between the system's own values and CoreFoundation's objects, and property lists.
//
// Free functions without shared state: any thread may call, an object at a time. For hosts that have
// CoreFoundation. Nothing here throws.
//
// A caller that has an object in a holder hands over the holder: the forms that take one by constant
// reference are those that take the object, and a holder of nothing is a null object.
//
// What a function stores in `out` belongs to the caller, who gives it back with CFRelease(). On every
// failure `out` is null or empty, whichever it can be, and nothing is left to release.
//
// Where nothing else is said, the result is 0, GLOBAL_ERROR_BAD_PARAMETER for bad input or
// GLOBAL_ERROR_UNEXPECTED for a call of the platform that failed, and each failure is logged as an error in
// a text of its own.

#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Utility/CoreFoundationHeld.h"

namespace halvo {

// Numbers of 32 and of 64 bits. `out` is 0 on failure.
[[nodiscard]] ResultCode CFNumberToUnsignedInt(CFNumberRef number, std::uint32_t& out);
[[nodiscard]] ResultCode CFNumberToUnsignedLong(CFNumberRef number, std::uint64_t& out);
[[nodiscard]] ResultCode UnsignedIntToCFNumber(std::uint32_t value, CFNumberRef& out);
[[nodiscard]] ResultCode UnsignedLongToCFNumber(std::uint64_t value, CFNumberRef& out);

// Bytes. An empty vector makes no data: it is bad input.
[[nodiscard]] ResultCode CFDataToVector(CFDataRef data, std::vector<std::uint8_t>& out);
[[nodiscard]] ResultCode VectorToCFData(const std::vector<std::uint8_t>& bytes, CFDataRef& out);

// A socket's address. Data of more than 128 bytes is none; what it doesn't fill is zero.
[[nodiscard]] ResultCode CFDataToSockaddr(CFDataRef data, sockaddr_storage& out);
// 16 bytes of an address, given as its two halves in the host's byte order.
[[nodiscard]] ResultCode SockaddrToCFData(std::uint64_t first, std::uint64_t second, CFDataRef& out);

// A socket's descriptor, which is data of exactly 4 bytes. `out` is -1 on failure.
[[nodiscard]] ResultCode CFDataToSocket(CFDataRef data, std::int32_t& out);
[[nodiscard]] ResultCode SocketToCFData(std::int32_t socket, CFDataRef& out);

// Text as UTF-8. A null string is an empty text. Where the platform hands out no pointer to the text it is
// converted in a buffer of `size` bytes, its end included; a text that doesn't fit there is
// GLOBAL_ERROR_UNEXPECTED, with nothing logged.
[[nodiscard]] ResultCode CFStringToSTDString(CFStringRef string, std::string& out, std::size_t size = 1024);
// Made with the platform's format "%s", which reads the bytes in the system's own encoding: text beyond
// ASCII comes out as that encoding has it.
[[nodiscard]] ResultCode STDStringToCFString(const std::string& text, CFStringRef& out);

// A list of strings in the order of `texts`. An empty list is bad input; the results for a failed
// allocation are GLOBAL_ERROR_MEMALLOC_FAILED. Nothing is logged.
[[nodiscard]] ResultCode STDStringsToCFArray(const std::vector<std::string>& texts, CFArrayRef& out);

// The first of the user's preferred languages, as a copy. One that can't be made isn't logged.
[[nodiscard]] ResultCode GetPreferredLanguage(CFStringRef& out);

// Whether something is at `path`. An empty path is bad input, with nothing logged. An error that the
// platform gives as the reason for a no is logged as information, and the result is 0 all the same.
[[nodiscard]] ResultCode FileExistsAtPath(const std::string& path, bool& exists);

// Reads the property list at `path`, whose root must be a dictionary, and writes one as XML. An empty path
// and a null dictionary are bad input, with nothing logged. A failed write logs a text that names the
// reading call: readers of logs know it so.
[[nodiscard]] ResultCode ParseFileToDict(const std::string& path, CFDictionaryRef& out);
[[nodiscard]] ResultCode WriteDictionaryToFile(const std::string& path, CFDictionaryRef dictionary);

// The time in `seconds` from now, in the user's locale and time zone; `format` is one of Unicode's date
// format patterns. GLOBAL_ERROR_MEMALLOC_FAILED, with nothing logged, if a date, a formatter or the text
// can't be made.
inline constexpr const char* kDateFormat = "MM-dd-yy HH:mm:ss:SSS";
[[nodiscard]] ResultCode FormatTimeFromNow(double seconds, std::string& out,
                                           const char* format = kDateFormat);

// Compares two such texts: `order` is -1 where the first is the earlier one, 0 or 1.
// GLOBAL_ERROR_MEMALLOC_FAILED, with nothing logged, if a formatter or one of the dates can't be made.
[[nodiscard]] ResultCode CompareDateTexts(const std::string& first, const std::string& second, int& order,
                                          const char* format = kDateFormat);

// Takes a connection text apart: what stands behind its prefix "ipsec://", up to the first at sign and
// behind it. Without an at sign all of it is `before`. GLOBAL_ERROR_UNEXPECTED, with nothing logged, if the
// prefix is missing.
[[nodiscard]] ResultCode SplitConnectionText(const std::string& text, std::string& before,
                                             std::string& behind);

// The forms for holders.
[[nodiscard]] inline ResultCode CFNumberToUnsignedInt(const Held<CFNumberRef>& number, std::uint32_t& out) {
  return CFNumberToUnsignedInt(number.get(), out);
}
[[nodiscard]] inline ResultCode CFNumberToUnsignedLong(const Held<CFNumberRef>& number, std::uint64_t& out) {
  return CFNumberToUnsignedLong(number.get(), out);
}
[[nodiscard]] inline ResultCode CFDataToVector(const Held<CFDataRef>& data, std::vector<std::uint8_t>& out) {
  return CFDataToVector(data.get(), out);
}
[[nodiscard]] inline ResultCode CFDataToSockaddr(const Held<CFDataRef>& data, sockaddr_storage& out) {
  return CFDataToSockaddr(data.get(), out);
}
[[nodiscard]] inline ResultCode CFDataToSocket(const Held<CFDataRef>& data, std::int32_t& out) {
  return CFDataToSocket(data.get(), out);
}
[[nodiscard]] inline ResultCode CFStringToSTDString(const Held<CFStringRef>& string, std::string& out,
                                                    std::size_t size = 1024) {
  return CFStringToSTDString(string.get(), out, size);
}
[[nodiscard]] inline ResultCode WriteDictionaryToFile(const std::string& path,
                                                      const Held<CFDictionaryRef>& dictionary) {
  return WriteDictionaryToFile(path, dictionary.get());
}

}  // namespace halvo
