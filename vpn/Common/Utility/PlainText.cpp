#include "vpn/Common/Utility/PlainText.h"

#include <cstddef>
#include <cstdio>

namespace halvo {

namespace {

// What a line of a terminal can bear beside the words around it.
constexpr std::size_t kMaxQuoted = 60;

// Writes DEL and U+0080 to U+009F by their numbers. Those below the blank are for who made the text.
std::string withControlsAs(const std::string& text, std::string (*escape)(unsigned c)) {
  std::string clean;
  clean.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    const bool secondControl =
        c == 0xc2 && i + 1 < text.size() && (static_cast<unsigned char>(text[i + 1]) & 0xe0) == 0x80;
    if (c != 0x7f && !secondControl) {
      clean += text[i];
      continue;
    }
    if (secondControl) {
      c = static_cast<unsigned char>(text[++i]);
    }
    clean += escape(c);
  }
  return clean;
}

}  // namespace

std::string withoutControls(const std::string& text) {
  std::string clean;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    // U+0080 to U+009F, which some terminals obey, are 0xc2 and one such byte in UTF-8.
    const bool secondControl =
        c == 0xc2 && i + 1 < text.size() && (static_cast<unsigned char>(text[i + 1]) & 0xe0) == 0x80;
    if (c < 0x20 || c == 0x7f || secondControl) {
      char escape[16];
      std::snprintf(escape, sizeof(escape), "\\x%02x", static_cast<unsigned>(c));
      clean += escape;
      if (secondControl) {
        std::snprintf(escape, sizeof(escape), "\\x%02x",
                      static_cast<unsigned>(static_cast<unsigned char>(text[++i])));
        clean += escape;
      }
    } else {
      clean += text[i];
    }
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
