#include "vpn/Common/Utility/PlainText.h"

#include <cstddef>
#include <cstdio>

namespace halvo {

namespace {

// What a line of a terminal can bear beside the words around it.
constexpr std::size_t kMaxQuoted = 60;

// The length of the UTF-8 character at `at`; 0 where none begins there. A terminal that takes bytes for
// characters obeys those of 0x80 to 0x9f.
std::size_t characterLength(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) {
    return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U;
  };
  const unsigned first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
  // Those that would be longer than they need to be, halves of surrogates, and what lies above U+10FFFF.
  if (first < 0xc2 || first > 0xf4 || (first == 0xe0 && byte(1) < 0xa0) ||
      (first == 0xed && byte(1) > 0x9f) || (first == 0xf0 && byte(1) < 0x90) ||
      (first == 0xf4 && byte(1) > 0x8f)) {
    return 0;
  }
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0U) != 0x80) {
      return 0;
    }
  }
  return length;
}

// Controls (U+0000 to U+001F, U+007F to U+009F), and those that turn the order of what stands around them:
// U+061C, U+200E, U+200F, U+202A to U+202E, U+2066 to U+2069.
bool movesTerminal(const std::string& character) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(character[i]); };
  switch (character.size()) {
    case 1:
      return byte(0) < 0x20 || byte(0) == 0x7f;
    case 2:
      return (byte(0) == 0xc2 && byte(1) < 0xa0) || (byte(0) == 0xd8 && byte(1) == 0x9c);
    case 3:
      return byte(0) == 0xe2 && ((byte(1) == 0x80 && (byte(2) == 0x8e || byte(2) == 0x8f ||
                                                      (byte(2) >= 0xaa && byte(2) <= 0xae))) ||
                                 (byte(1) == 0x81 && byte(2) >= 0xa6 && byte(2) <= 0xa9));
    default:
      return false;
  }
}

// Writes what movesTerminal() by its number, but for what is below the blank: that is for who made the text.
std::string withControlsAs(const std::string& text, std::string (*escape)(unsigned c)) {
  std::string clean;
  clean.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = static_cast<unsigned char>(text[i]) < 0x7f ? 0 : characterLength(text, i);
    const std::string character = text.substr(i, length == 0 ? 1 : length);
    i += character.size();
    if (length == 0 || !movesTerminal(character)) {
      clean += character;
      continue;
    }
    // Of three bytes at most.
    unsigned c = static_cast<unsigned char>(character[0]) & (length == 1   ? 0x7fU
                                                             : length == 2 ? 0x1fU
                                                                           : 0xfU);
    for (std::size_t k = 1; k < length; ++k) {
      c = c << 6U | (static_cast<unsigned char>(character[k]) & 0x3fU);
    }
    clean += escape(c);
  }
  return clean;
}

}  // namespace

std::string withoutControls(const std::string& text) {
  std::string clean;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t length = characterLength(text, i);
    const std::string character = text.substr(i, length == 0 ? 1 : length);
    if (length == 0 || movesTerminal(character)) {
      for (const char byte : character) {
        char escape[8];
        std::snprintf(escape, sizeof(escape), "\\x%02x",
                      static_cast<unsigned>(static_cast<unsigned char>(byte)));
        clean += escape;
      }
    } else {
      clean += character;
    }
    i += character.size();
  }
  return clean;
}

std::string jsonWithoutControls(const std::string& json) {
  return withControlsAs(json, [](unsigned c) {
    char escape[8];
    std::snprintf(escape, sizeof(escape), "\\u%04x", c);
    return std::string(escape);
  });
}

std::string xmlWithoutControls(const std::string& xml) {
  return withControlsAs(xml, [](unsigned c) { return "&#" + std::to_string(c) + ";"; });
}

std::string quotedText(const std::string& text) {
  std::size_t length = text.size();
  if (length > kMaxQuoted) {
    length = kMaxQuoted;
    // Back to the start of a character: half of one would be no text.
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80) {
      --length;
    }
  }
  return "\"" + withoutControls(text.substr(0, length)) + (length < text.size() ? "...\"" : "\"");
}

}  // namespace halvo
