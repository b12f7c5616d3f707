#include "vpn/tools/TOLM/TOLMBundle/report/Html.h"

#include <cstddef>

namespace halvo {

namespace {

constexpr std::string_view kReplacement = "\xef\xbf\xbd";

// The length of the UTF-8 character that begins here (RFC 3629, section 4); 0 where none does, or one of the
// second block of control characters.
std::size_t characterLength(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t offset) {
    return at + offset < text.size() ? static_cast<unsigned char>(text[at + offset]) : 0U;
  };
  const auto follows = [&](std::size_t offset) { return (byte(offset) & 0xc0U) == 0x80U; };
  const unsigned first = byte(0);
  if (first >= 0xc2 && first <= 0xdf) {
    return follows(1) && !(first == 0xc2 && byte(1) < 0xa0) ? 2 : 0;
  }
  if (first >= 0xe0 && first <= 0xef) {
    const bool overlong = first == 0xe0 && byte(1) < 0xa0;
    const bool surrogate = first == 0xed && byte(1) >= 0xa0;
    return follows(1) && follows(2) && !overlong && !surrogate ? 3 : 0;
  }
  if (first >= 0xf0 && first <= 0xf4) {
    const bool overlong = first == 0xf0 && byte(1) < 0x90;
    const bool beyond = first == 0xf4 && byte(1) >= 0x90;
    return follows(1) && follows(2) && follows(3) && !overlong && !beyond ? 4 : 0;
  }
  return 0;
}

void appendAscii(std::string& html, char c) {
  switch (c) {
    case '<':
      html += "&lt;";
      return;
    case '>':
      html += "&gt;";
      return;
    case '&':
      html += "&amp;";
      return;
    case '"':
      html += "&quot;";
      return;
    case '\'':
      html += "&#39;";
      return;
    default:
      break;
  }
  const auto byte = static_cast<unsigned char>(c);
  if (byte == 0x7f) {
    html += "\xe2\x90\xa1";
  } else if (byte < 0x20 && c != '\n' && c != '\t') {
    html += "\xe2\x90";
    html += static_cast<char>(0x80U + byte);
  } else {
    html += c;
  }
}

}  // namespace

void appendHtml(std::string& html, std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    if (text[at] == '\r' && at + 1 < text.size() && text[at + 1] == '\n') {
      ++at;
      continue;
    }
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      appendAscii(html, text[at++]);
      continue;
    }
    const std::size_t length = characterLength(text, at);
    if (length == 0) {
      html += kReplacement;
      ++at;
    } else {
      html += text.substr(at, length);
      at += length;
    }
  }
}

std::string htmlText(std::string_view text) {
  std::string html;
  appendHtml(html, text);
  return html;
}

}  // namespace halvo
