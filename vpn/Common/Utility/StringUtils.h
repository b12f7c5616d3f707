// CStringUtils: static operations over byte strings.

#pragma once

#include <string>

namespace halvo {

class CStringUtils {
 public:
  virtual ~CStringUtils() = default;

  // A lower-case copy, byte by byte, by the C library's tolower.
  static std::string toLower(const std::string& text);
};

}  // namespace halvo
