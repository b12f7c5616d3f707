// Capital and small letters beyond ASCII: those of Latin, Greek and Cyrillic that are two bytes in UTF-8, in
// both cases. The locale has no say in it: a bundle is read on another machine than it comes from.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace halvo {

// The small letter of a code point; others come back as they are. Never of another length in UTF-8.
constexpr char32_t foldedCode(char32_t code) {
  const auto isIn = [code](char32_t first, char32_t last) { return code >= first && code <= last; };
  const bool isEven = code % 2 == 0;
  if (isIn(0xc0, 0xde)) {
    return code == 0xd7 ? code : code + 0x20;
  }
  if (isIn(0x100, 0x12f) || isIn(0x132, 0x137) || isIn(0x14a, 0x177)) {
    return code + (isEven ? 1 : 0);
  }
  if (isIn(0x139, 0x148) || isIn(0x179, 0x17e)) {
    return code + (isEven ? 0 : 1);
  }
  if (code == 0x178) {
    return 0xff;
  }
  if (isIn(0x391, 0x3ab)) {
    return code == 0x3a2 ? code : code + 0x20;
  }
  if (isIn(0x388, 0x38a)) {
    return code + 0x25;
  }
  if (isIn(0x38e, 0x38f)) {
    return code + 0x3f;
  }
  switch (code) {
    case 0x386:
      return 0x3ac;
    case 0x38c:
      return 0x3cc;
    case 0x3c2:
      return 0x3c3;  // at a word's end
    case 0x4c0:
      return 0x4cf;
    default:
      break;
  }
  if (isIn(0x400, 0x40f)) {
    return code + 0x50;
  }
  if (isIn(0x410, 0x42f)) {
    return code + 0x20;
  }
  if (isIn(0x460, 0x481) || isIn(0x48a, 0x4bf) || isIn(0x4d0, 0x52f)) {
    return code + (isEven ? 1 : 0);
  }
  if (isIn(0x4c1, 0x4ce)) {
    return code + (isEven ? 0 : 1);
  }
  return code;
}

// Code points that foldedCode() knows lie below.
inline constexpr char32_t kFoldedCodes = 0x530;

// One of two bytes at `place`, 0 where there is none of those.
inline char32_t foldableAt(std::string_view text, std::size_t place) {
  if (place + 1 >= text.size()) {
    return 0;
  }
  const auto lead = static_cast<unsigned char>(text[place]);
  const auto next = static_cast<unsigned char>(text[place + 1]);
  const char32_t code = (lead & 0x1fU) << 6U | (next & 0x3fU);
  return lead >= 0xc3 && lead < 0xe0 && (next & 0xc0U) == 0x80 && code < kFoldedCodes ? code : 0;
}

// The small letter of such a one.
inline void putFolded(char32_t code, char* to) {
  const char32_t small = foldedCode(code);
  to[0] = static_cast<char>(0xc0U | small >> 6U);
  to[1] = static_cast<char>(0x80U | (small & 0x3fU));
}

// In small letters, ASCII's too. As long as `text`.
inline std::string folded(std::string_view text) {
  std::string result(text);
  for (std::size_t i = 0; i < result.size(); ++i) {
    const auto c = static_cast<unsigned char>(result[i]);
    if (c < 128) {
      result[i] = static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
    } else if (const char32_t code = foldableAt(result, i); code != 0) {
      putFolded(code, result.data() + i);
      ++i;
    }
  }
  return result;
}

// The other code points that are folded to one, 0 for none: at most two are.
using Unfolded = std::array<std::array<std::uint16_t, 2>, kFoldedCodes>;
inline constexpr Unfolded kUnfolded = [] {
  Unfolded table = {};
  for (char32_t code = 0x80; code < kFoldedCodes; ++code) {
    if (const char32_t small = foldedCode(code); small != code) {
      table[small][table[small][0] == 0 ? 0 : 1] = static_cast<std::uint16_t>(code);
    }
  }
  return table;
}();

}  // namespace halvo
