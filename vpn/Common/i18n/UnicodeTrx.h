// UnicodeTrx: conversions between the byte strings and the wide strings of the C library's locale.
//
// No state; any thread may call while none changes the locale.

#pragma once

#include <string>

namespace halvo {

class UnicodeTrx {
 public:
  virtual ~UnicodeTrx() = default;

  // Empty for a null or empty text and for one that the locale can't convert; null and the latter are
  // logged as errors.
  static std::wstring convertMultiByteToWide(const char* text);
  static std::string convertWideToMultibyte(const wchar_t* text);
  // Up to the first zero of the text.
  static std::string convertWideToMultibyte(const std::wstring& text);
};

}  // namespace halvo
