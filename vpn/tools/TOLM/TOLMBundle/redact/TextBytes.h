// The classes of bytes that the finders of TextRedactor go by.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace halvo {

// A run is what a finder gets at once: letters, digits, bytes above 127 and the signs that stand inside
// names.
enum ByteBits : unsigned {
  kByteRun = 1U,
  kByteDigit = 2U,
  kByteHexLetter = 4U,
  kByteLetter = 8U,  // other letters, and bytes above 127
  kByteDot = 16U,
  kByteDash = 32U,
  kBytePercent = 64U,
  kByteOther = 128U,  // + and _
};

inline constexpr std::array<unsigned char, 256> kByteTable = [] {
  std::array<unsigned char, 256> table = {};
  for (std::size_t i = 0; i < table.size(); ++i) {
    unsigned bits = 0;
    if (i >= '0' && i <= '9') {
      bits = kByteRun | kByteDigit;
    } else if ((i >= 'a' && i <= 'f') || (i >= 'A' && i <= 'F')) {
      bits = kByteRun | kByteHexLetter;
    } else if ((i >= 'g' && i <= 'z') || (i >= 'G' && i <= 'Z') || i > 127) {
      bits = kByteRun | kByteLetter;
    } else if (i == '.') {
      bits = kByteRun | kByteDot;
    } else if (i == '-') {
      bits = kByteRun | kByteDash;
    } else if (i == '%') {
      bits = kByteRun | kBytePercent;
    } else if (i == '+' || i == '_') {
      bits = kByteRun | kByteOther;
    }
    table[i] = static_cast<unsigned char>(bits);
  }
  return table;
}();

inline unsigned byteBits(unsigned char c) {
  return kByteTable[c];
}
inline bool isDigitByte(unsigned char c) {
  return (kByteTable[c] & kByteDigit) != 0;
}
inline bool isHexByte(unsigned char c) {
  return (kByteTable[c] & (kByteDigit | kByteHexLetter)) != 0;
}
// What words are made of.
inline bool isWordByte(unsigned char c) {
  return (kByteTable[c] & (kByteDigit | kByteHexLetter | kByteLetter)) != 0;
}
inline bool isLetterByte(unsigned char c) {
  return (kByteTable[c] & (kByteHexLetter | kByteLetter)) != 0;
}
inline bool isBlankByte(unsigned char c) {
  return c == ' ' || c == '\t';
}
inline bool isSpaceByte(unsigned char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
inline unsigned hexValue(unsigned char c) {
  return c <= '9' ? c - '0' : (c & 0x5fU) - 'A' + 10U;
}
inline std::string hexText(std::uint64_t value, int digits) {
  std::string text;
  for (int i = digits - 1; i >= 0; --i) {
    text += "0123456789abcdef"[(value >> (4U * static_cast<unsigned>(i))) & 15U];
  }
  return text;
}
inline unsigned char lowerByte(unsigned char c) {
  return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
}
// Letters count alike in both cases; `small` is in small letters.
inline bool isSame(std::string_view text, std::string_view small) {
  if (text.size() != small.size()) {
    return false;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (lowerByte(static_cast<unsigned char>(text[i])) != static_cast<unsigned char>(small[i])) {
      return false;
    }
  }
  return true;
}

// Bounds of what a finder looks at. All looks ahead together stay below kLookAhead, so that a text cut into
// pieces gives the same as in one.
inline constexpr std::size_t kLookAhead = 8192;
inline constexpr std::size_t kLookBehind = 512;
inline constexpr std::size_t kLongestRun = 2048;
inline constexpr std::size_t kLongestValue = 4096;

}  // namespace halvo
