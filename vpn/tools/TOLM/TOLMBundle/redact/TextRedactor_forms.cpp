// Texts in other forms: percent signs, Base64, names of the reverse DNS.

#include <arpa/inet.h>

#include <algorithm>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int kDeepest = 2;
constexpr std::size_t kShortestBase64 = 16;
constexpr std::size_t kLongestBase64 = 4096;

int base64Value(unsigned char c) {
  if (c >= 'A' && c <= 'Z') {
    return c - 'A';
  }
  if (c >= 'a' && c <= 'z') {
    return c - 'a' + 26;
  }
  if (isDigitByte(c)) {
    return c - '0' + 52;
  }
  if (c == '+' || c == '-') {
    return 62;
  }
  return c == '/' || c == '_' ? 63 : -1;
}

bool isPrintable(unsigned char c) {
  return (c >= ' ' && c != 0x7f) || c == '\t' || c == '\n' || c == '\r';
}

bool isBase64(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return base64Value(static_cast<unsigned char>(c)) >= 0; });
}

bool decodeBase64(std::string_view text, std::string& result) {
  unsigned bits = 0;
  unsigned filled = 0;
  for (const char c : text) {
    bits = (bits << 6U | static_cast<unsigned>(base64Value(static_cast<unsigned char>(c)))) & 0xffffffU;
    filled += 6;
    if (filled >= 8) {
      filled -= 8;
      const auto byte = static_cast<unsigned char>(bits >> filled);
      if (!isPrintable(byte)) {
        return false;
      }
      result += static_cast<char>(byte);
    }
  }
  return true;
}

// Text, as most writers encode it, or the front of one. Bytes of a key or a digest that happen to be
// printable aren't.
bool isUtf8(std::string_view text) {
  for (std::size_t place = 0; place < text.size();) {
    const auto lead = static_cast<unsigned char>(text[place++]);
    const unsigned length = lead < 0x80 ? 1 : lead < 0xc2 ? 0 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
    if (length == 0 || lead > 0xf4) {
      return false;
    }
    for (unsigned i = 1; i < length && place < text.size(); ++i, ++place) {
      if ((static_cast<unsigned char>(text[place]) & 0xc0U) != 0x80) {
        return false;
      }
    }
  }
  return true;
}

std::string encodeBase64(std::string_view text, bool urlForm, bool padded) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, text.size() - i);
    unsigned bits = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      bits = bits << 8U | (k < count ? static_cast<unsigned char>(text[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      if (k <= count) {
        char c = kBase64[bits >> (18U - 6U * k) & 63U];
        c = urlForm && c == '+' ? '-' : urlForm && c == '/' ? '_' : c;
        result += c;
      } else if (padded) {
        result += '=';
      }
    }
  }
  return result;
}

std::vector<std::string_view> labelsOf(std::string_view text) {
  std::vector<std::string_view> labels;
  for (;;) {
    const std::size_t dot = text.find('.');
    labels.push_back(text.substr(0, dot));
    if (dot == std::string_view::npos) {
      return labels;
    }
    text.remove_prefix(dot + 1);
  }
}

bool parseByte(std::string_view text, std::uint32_t& value) {
  value = 0;
  for (const char c : text) {
    value = value * 10 + static_cast<unsigned>(c - '0');
  }
  return !text.empty() && text.size() <= 3 && value <= 255 &&
         text.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace

// What a text inside this text becomes.
std::string TextRedactor::nested(std::string_view inner, bool isOfForm) {
  if (m_nDepth >= kDeepest) {
    return std::string(inner);
  }
  const auto run = [this, inner, isOfForm](TextRedactor&& redactor) {
    redactor.m_bLineBegins = false;
    redactor.m_bOfForm = isOfForm;
    redactor.m_nDepth = m_nDepth + 1;
    redactor.m_pRules = m_pRules;
    std::string result = redactor.redact(inner);
    m_Counts.add(redactor.m_Counts);
    return result;
  };
  if (m_pCollector != nullptr) {
    run(TextRedactor(m_rKeep, m_rStandIns, *m_pCollector));
    return std::string(inner);
  }
  return run(TextRedactor(m_rKeep, m_rStandIns, *m_pKnown));
}

// With what was made of a text in another form, whose finds were counted and noted on the way.
void TextRedactor::rewrite(Place begin, Place end, std::string_view written) {
  if (m_pCollector != nullptr || begin < m_nCopied || text(begin, end) == written) {
    return;
  }
  m_pOut->append(m_Window, m_nCopied, begin - m_nCopied);
  m_pOut->append(written);
  m_nCopied = m_nReplaced = end;
}

// For what is passed without having been replaced: an address may stand there, or a host's name.
void TextRedactor::lookInto(Place begin, Place end) {
  if (begin >= m_nCopied && text(begin, end).find_first_of(".:@") != std::string_view::npos) {
    rewrite(begin, end, nested(text(begin, end)));
  }
}

// Whether there is a stand-in in the text, or in what it is the Base64 of: it was redacted before, and only
// looks like a name.
bool TextRedactor::holdsStandIn(std::string_view text) {
  const auto holds = [](std::string_view plain) {
    for (std::size_t at = 0; at < plain.size(); ++at) {
      if (StandIns::labelAt(plain.substr(at)) != 0) {
        return true;
      }
    }
    return plain.find(kSecretMark) != std::string_view::npos;
  };
  if (holds(text)) {
    return true;
  }
  text = text.substr(0, text.find_last_not_of('=') + 1);
  std::string decoded;
  return text.size() >= kShortestBase64 - 2 && isBase64(text) && decodeBase64(text, decoded) &&
         holds(decoded);
}

// Whether it is the Base64 of "jane:hunter".
bool TextRedactor::isCredentials(std::string_view text) {
  std::string decoded;
  return isBase64(text) && decodeBase64(text, decoded) && decoded.find(':') != std::string::npos;
}

// "jane%40acme.de": decoded, redacted, and only where that changed something encoded again.
TextRedactor::Place TextRedactor::tryPercent(Place begin, Place end) {
  std::string decoded;
  bool any = false;
  for (Place place = begin; place < end; ++place) {
    if (at(place) == '%' && place + 2 < end && isHexByte(at(place + 1)) && isHexByte(at(place + 2))) {
      const unsigned byte = hexValue(at(place + 1)) << 4U | hexValue(at(place + 2));
      if (!isPrintable(static_cast<unsigned char>(byte))) {
        return begin;
      }
      decoded += static_cast<char>(byte);
      place += 2;
      any = true;
    } else {
      decoded += static_cast<char>(at(place));
    }
  }
  if (!any) {
    return begin;
  }
  const std::string redacted = nested(decoded, true);
  if (redacted == decoded) {
    return begin;
  }
  // What didn't change stays as it was written, and the rest is written likewise.
  std::size_t same = 0;
  while (same < std::min(decoded.size(), redacted.size()) && decoded[same] == redacted[same]) {
    ++same;
  }
  std::size_t sameEnd = 0;
  while (sameEnd < std::min(decoded.size(), redacted.size()) - same &&
         decoded[decoded.size() - 1 - sameEnd] == redacted[redacted.size() - 1 - sameEnd]) {
    ++sameEnd;
  }
  std::vector<Place> places;  // of what was decoded
  bool isSmall = false;
  for (Place place = begin; place < end; ++place) {
    places.push_back(place);
    if (at(place) == '%' && place + 2 < end && isHexByte(at(place + 1)) && isHexByte(at(place + 2))) {
      isSmall = isSmall || at(place + 1) >= 'a' || at(place + 2) >= 'a';
      place += 2;
    }
  }
  places.push_back(end);
  const std::string_view digits = isSmall ? "0123456789abcdef" : "0123456789ABCDEF";
  std::string encoded(text(begin, places[same]));
  for (const char c : redacted.substr(same, redacted.size() - same - sameEnd)) {
    const auto byte = static_cast<unsigned char>(c);
    if (isPlainByte(byte) || c == '-' || c == '_' || c == '.') {
      encoded += c;
    } else {
      encoded += '%';
      encoded += digits[byte >> 4U];
      encoded += digits[byte & 15U];
    }
  }
  // "%40fe80::1": what may go on behind the run is left for the next look.
  Place tail = end;
  while (at(end) == ':' && tail > places[decoded.size() - sameEnd] && isHexByte(at(tail - 1))) {
    --tail;
  }
  if (tail > begin && (isWordByte(at(tail - 1)) || at(tail - 1) == '%')) {
    tail = end;
  }
  encoded += text(places[decoded.size() - sameEnd], tail);
  rewrite(begin, tail, encoded);
  return tail;
}

TextRedactor::Place TextRedactor::tryBase64(Place begin) {
  if (base64Value(before(begin)) >= 0 || before(begin) == '.') {
    return begin;
  }
  // Most words end here: their first bytes are no text.
  unsigned bits = 0;
  for (std::size_t i = 0; i < 8; ++i) {
    const int value = base64Value(at(begin + i));
    if (value < 0) {
      return begin;
    }
    bits = bits << 6U | static_cast<unsigned>(value);
    if (i % 4 == 3 && (!isPrintable(static_cast<unsigned char>(bits >> 16U)) ||
                       !isPrintable(static_cast<unsigned char>(bits >> 8U)) ||
                       !isPrintable(static_cast<unsigned char>(bits)))) {
      return begin;
    }
  }
  Place end = begin;
  bool urlForm = false;
  while (end - begin <= kLongestBase64 && base64Value(at(end)) >= 0) {
    urlForm = urlForm || at(end) == '-' || at(end) == '_';
    ++end;
  }
  const std::size_t length = end - begin;
  Place last = end;
  while (at(last) == '=' && last - end < 2) {
    ++last;
  }
  if (length < kShortestBase64 - 2 || length > kLongestBase64 || length % 4 == 1 || at(last) == '.' ||
      at(last) == '=' || at(last) == '%' || base64Value(at(last)) >= 0 ||
      (last > end && (last - begin) % 4 != 0)) {
    return begin;
  }
  std::string decoded;
  if (!decodeBase64(text(begin, end), decoded) || !isUtf8(decoded)) {
    return begin;
  }
  const std::string redacted = nested(decoded);
  if (redacted == decoded) {
    return begin;
  }
  rewrite(begin, last, encodeBase64(redacted, urlForm, last > end || length % 4 == 0));
  return last;
}

// 4.3.2.1.in-addr.arpa and the digits of an IPv6 address in ip6.arpa (RFC 1035, RFC 3596): the stand-in of
// the address, turned round too.
TextRedactor::Place TextRedactor::tryArpa(Place begin, Place end) {
  const std::string_view name = text(begin, end);
  const bool is4 = name.size() > 13 && isSame(name.substr(name.size() - 13), ".in-addr.arpa");
  const bool is6 = name.size() > 9 && isSame(name.substr(name.size() - 9), ".ip6.arpa");
  if (!is4 && !is6) {
    return begin;
  }
  const std::vector<std::string_view> labels = labelsOf(name.substr(0, name.size() - (is4 ? 13 : 9)));
  std::string turned;
  if (is4) {
    std::string straight;
    for (std::size_t i = labels.size(); i > 0; --i) {
      std::uint32_t byte = 0;
      if (!parseByte(labels[i - 1], byte)) {
        return begin;
      }
      straight += std::to_string(byte) + ".";
    }
    // A whole address, or a network that stays one.
    if (labels.size() > 4 || labels.size() < 3) {
      return end;
    }
    straight += labels.size() == 3 ? "0" : "";
    straight.erase(labels.size() == 3 ? straight.size() : straight.size() - 1);
    const std::string standIn = nested(straight);
    std::vector<std::string_view> parts = labelsOf(standIn);
    parts.resize(labels.size());
    for (std::size_t i = parts.size(); i > 0; --i) {
      turned += std::string(parts[i - 1]) + ".";
    }
  } else {
    if (labels.size() > 32 || labels.size() < 12) {
      return end;
    }
    std::string straight;
    for (std::size_t i = 0; i < 32; ++i) {
      const std::string_view label = i < labels.size() ? labels[labels.size() - 1 - i] : "0";
      if (label.size() != 1 || !isHexByte(static_cast<unsigned char>(label[0]))) {
        return begin;
      }
      straight += i > 0 && i % 4 == 0 ? ":" : "";
      straight += label;
    }
    const std::string standIn = nested(straight);
    if (standIn == straight) {
      return end;
    }
    Ipv6Bytes bytes = {};
    if (inet_pton(AF_INET6, standIn.c_str(), bytes.data()) != 1) {
      return end;
    }
    std::string digits;
    for (const std::uint8_t byte : bytes) {
      digits += hexText(byte, 2);
    }
    for (std::size_t i = labels.size(); i > 0; --i) {
      turned += std::string(1, digits[i - 1]) + ".";
    }
  }
  turned += is4 ? "in-addr.arpa" : "ip6.arpa";
  rewrite(begin, end, turned);
  return end;
}

}  // namespace halvo
