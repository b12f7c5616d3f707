// The classes of bytes that the finders of TextRedactor go by.

#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace halvo {

// A run is what a finder gets at once: letters, digits and the signs that stand inside names. Letters above
// 127 belong to it where their neighbours are of the same kind, see HighLook.
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
    } else if ((i >= 'g' && i <= 'z') || (i >= 'G' && i <= 'Z')) {
      bits = kByteRun | kByteLetter;
    } else if (i > 127) {
      bits = kByteLetter;
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
// The same without those above 127: what an address or a name of digits and such letters can't go on with.
inline bool isPlainByte(unsigned char c) {
  return c < 128 && isWordByte(c);
}
// What users' names are made of.
inline bool isUserByte(unsigned char c) {
  return isWordByte(c) || c == '-' || c == '_' || c == '.' || c == '+' || c == '$';
}
// What identifiers are made of.
inline bool isIdentifierByte(unsigned char c) {
  return isWordByte(c) || c == '_' || c == '-' || c == '.';
}
// What hosts' names are made of.
inline bool isHostByte(unsigned char c) {
  return isWordByte(c) || c == '-' || c == '.';
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
inline std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    c = static_cast<char>(lowerByte(static_cast<unsigned char>(c)));
  }
  return result;
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

template <std::size_t kCount>
bool isOneOf(std::string_view word, const std::array<std::string_view, kCount>& words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}
inline bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// What a byte above 127 is part of: a quotation mark, an arrow, a blank; a letter with an accent, which words
// of the plain letters hold; a letter of another script, where such a word ends.
enum class HighLook { kSign, kLatin, kForeign };

inline HighLook highLook(char32_t code) {
  const auto isIn = [code](char32_t first, char32_t last) { return code >= first && code <= last; };
  if ((code < 0xc0 && code != 0xaa && code != 0xb5 && code != 0xba) || code == 0xd7 || code == 0xf7 ||
      isIn(0x2000, 0x2bff) || isIn(0x2e00, 0x2e7f) || isIn(0x3000, 0x3004) || isIn(0x3008, 0x3020) ||
      isIn(0xd800, 0xf8ff) || isIn(0xfe00, 0xfe6f) || code == 0xfeff || isIn(0xff00, 0xff0f) ||
      isIn(0xff1a, 0xff20) || isIn(0xff3b, 0xff40) || isIn(0xff5b, 0xff65) || isIn(0xffe0, 0xffff) ||
      isIn(0x1f000, 0x1faff) || code >= 0xe0000) {
    return HighLook::kSign;
  }
  return code < 0x370 || isIn(0x1e00, 0x1eff) ? HighLook::kLatin : HighLook::kForeign;
}

// Of the byte at `place`, which is above 127, and where its character ends. What is no UTF-8 is taken for a
// byte of one of the older sets of characters, most of which have their letters in the upper quarter.
inline HighLook highLookAt(std::string_view text, std::size_t place, std::size_t& end) {
  std::size_t front = place;
  while (front > 0 && place - front < 3 && (static_cast<unsigned char>(text[front]) & 0xc0U) == 0x80) {
    --front;
  }
  const auto lead = static_cast<unsigned char>(text[front]);
  const std::size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead >= 0xc2 && lead < 0xf5 && front + length > place && front + length <= text.size()) {
    char32_t code = lead & (0x7fU >> length);
    std::size_t i = 1;
    for (; i < length && (static_cast<unsigned char>(text[front + i]) & 0xc0U) == 0x80; ++i) {
      code = code << 6U | (static_cast<unsigned char>(text[front + i]) & 0x3fU);
    }
    if (i == length) {
      end = front + length;
      return highLook(code);
    }
  }
  end = place + 1;
  return static_cast<unsigned char>(text[place]) >= 0xc0 ? HighLook::kLatin : HighLook::kSign;
}

// What stands for the bytes of such a sign.
inline constexpr unsigned char kSignByte = 0x7f;

// Bounds of what a finder looks at. All looks ahead together stay below kLookAhead, so that a text cut into
// pieces gives the same as in one.
inline constexpr std::size_t kLookAhead = 8192;
inline constexpr std::size_t kLookBehind = 2560;
inline constexpr std::size_t kLongestRun = 2048;
inline constexpr std::size_t kLongestValue = 4096;
inline constexpr std::size_t kLongestUser = 256;
inline constexpr std::size_t kLongestHost = 255;

}  // namespace halvo
