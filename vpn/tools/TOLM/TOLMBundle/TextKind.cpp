#include "vpn/tools/TOLM/TOLMBundle/TextKind.h"

#include <algorithm>
#include <cstring>

namespace halvo {

namespace {

// Of programs, pictures and what is packed, one byte in ten or more is a control character.
constexpr std::size_t kControlShare = 32;

// Those of texts aside: backspace to carriage return, and what sets a terminal's colours.
bool isForeignToText(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 && (byte < '\b' || byte > '\r') && byte != 0x1b;
}

}  // namespace

TextKind textKindOf(std::string_view front) {
  front = front.substr(0, kTextTestSize);
  if (front.substr(0, 2) == "\xff\xfe" || front.substr(0, 2) == "\xfe\xff") {
    return TextKind::kUtf16;
  }
  if (front.find('\0') == std::string_view::npos) {
    return TextKind::kText;
  }
  const auto controls = static_cast<std::size_t>(std::count_if(front.begin(), front.end(), isForeignToText));
  // One is free: a short log may have a hole as well.
  return controls > 1 && (controls - 1) * kControlShare > front.size() ? TextKind::kBinary : TextKind::kText;
}

std::size_t ZeroJoiner::join(char* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const bool afterZero = m_bAfterZero;
  m_bAfterZero = data[size - 1] == '\0';
  // Most blocks have none.
  auto* const first = static_cast<char*>(std::memchr(data, '\0', size));
  if (first == nullptr) {
    return size;
  }
  char* to = first;
  bool isZero = first == data && afterZero;
  for (const char* from = first; from < data + size; ++from) {
    if (*from != '\0' || !isZero) {
      *to++ = *from;
    }
    isZero = *from == '\0';
  }
  return static_cast<std::size_t>(to - data);
}

}  // namespace halvo
