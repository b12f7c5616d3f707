// The finders of hardware addresses in all their writings.

#include <algorithm>
#include <array>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/MacText.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestIndent = 64;
constexpr std::size_t kDumpGroups = 15;
constexpr std::size_t kFrameGroups = 14;

// "MAC=3c:52:82:1a:2b:3c:3c:52:82:aa:bb:cc:08:00" of a packet filter's log: the front of a frame, which has
// the two hardware addresses and the protocol. As many bytes has a DHCP unique identifier with a time (RFC
// 8415), and what stands for one.
bool isFrame(const std::array<std::uint8_t, 20>& bytes) {
  const bool isIdentifier = bytes[0] == 0 && bytes[1] == 1 && bytes[2] == 0;
  const MacBytes back = {bytes[8], bytes[9], bytes[10], bytes[11], bytes[12], bytes[13]};
  const bool isStandIn = bytes[0] == 2 && bytes[6] == 0 && bytes[7] == 0 && StandIns::isMac(back);
  return !isIdentifier && !isStandIn;
}

}  // namespace

bool macStays(const MacBytes& m) {
  static constexpr MacBytes kNobody = {};
  static constexpr MacBytes kEverybody = {0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
  return m == kNobody || m == kEverybody || StandIns::isMac(m) ||
         (m[0] == 0x01 && m[1] == 0x00 && m[2] == 0x5e) || (m[0] == 0x01 && m[1] == 0x80 && m[2] == 0xc2) ||
         (m[0] == 0x33 && m[1] == 0x33 && m[2] != 0xff) ||
         (m[0] == 0 && m[1] == 0 && m[2] == 0x5e && m[3] == 0 && m[4] == 0x53);
}

std::string inWritingOf(std::string_view old, const std::uint8_t* bytes) {
  const bool capitals = std::any_of(old.begin(), old.end(), [](char c) { return c >= 'A' && c <= 'F'; });
  const std::string_view digits = capitals ? "0123456789ABCDEF" : "0123456789abcdef";
  std::string result(old);
  std::size_t digit = 0;
  for (char& c : result) {
    if (isHexByte(static_cast<unsigned char>(c))) {
      const unsigned value = bytes[digit / 2];
      c = digits[digit % 2 == 0 ? value >> 4U : value & 15U];
      ++digit;
    }
  }
  return result;
}

std::size_t bytesOf(std::string_view text, std::uint8_t* bytes, std::size_t most) {
  std::size_t digits = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (isHexByte(byte) && digits < 2 * most) {
      bytes[digits / 2] = static_cast<std::uint8_t>(digits % 2 == 0 ? hexValue(byte) << 4U
                                                                    : bytes[digits / 2] | hexValue(byte));
      ++digits;
    }
  }
  return digits / 2;
}

TextRedactor::Place TextRedactor::tryMacColons(Place begin, Place end, std::size_t groups) {
  // Sixteen, twenty, thirty-two and more are fingerprints of keys; the others hold a hardware address
  // (EUI-64, DHCP unique identifiers).
  if (groups == 16 || groups > 19 || isDump(begin, end, groups)) {
    return end;
  }
  std::array<std::uint8_t, 20> bytes = {};
  bytesOf(text(begin, end), bytes.data(), bytes.size());
  MacBytes mac = {};
  if (groups == 6) {
    std::copy_n(bytes.begin(), 6, mac.begin());
    replaceMac(begin, end, mac);
    if (at(end) == ' ') {
      tryLeaseName(end);
    }
    return std::max(end, m_nCopied);
  }
  std::copy_n(bytes.begin(), 6, mac.begin());
  if (groups == kFrameGroups && isFrame(bytes)) {
    constexpr Place kWritten = 17;
    replaceMac(begin, begin + kWritten, mac);
    std::copy_n(bytes.begin() + 6, 6, mac.begin());
    replaceMac(begin + kWritten + 1, begin + 2 * kWritten + 1, mac);
    return end;
  }
  if (StandIns::isMac(mac) || m_pCollector != nullptr) {
    return end;
  }
  // The front and the end are those of two hardware addresses' stand-ins.
  const MacBytes front = m_rStandIns.mac(mac);
  std::copy_n(bytes.begin() + static_cast<long>(groups - 6), 6, mac.begin());
  const MacBytes back = m_rStandIns.mac(mac);
  std::fill(bytes.begin(), bytes.end(), std::uint8_t{0});
  std::copy(back.begin(), back.end(), bytes.begin() + static_cast<long>(groups - 6));
  std::copy_n(front.begin(), std::min<std::size_t>(6, groups), bytes.begin());
  replace(begin, end, RedactKind::kMac, inWritingOf(text(begin, end), bytes.data()));
  return end;
}

// A line of the bytes of a key or a signature: fifteen or eighteen in a line and a colon behind each, the
// rest in the last.
bool TextRedactor::isDump(Place begin, Place end, std::size_t groups) const {
  Place front = begin;
  while (front > 0 && begin - front < kLongestIndent && isBlankByte(at(front - 1))) {
    --front;
  }
  if (front == 0 || at(front - 1) != '\n') {
    return front == 0 && groups >= kDumpGroups && at(end) == ':';
  }
  if (groups >= kDumpGroups && at(end) == ':' && isSpaceByte(at(end + 1))) {
    return true;
  }
  const Place last = front - (front > 1 && at(front - 2) == '\r' ? 2 : 1);
  return last > 4 && at(last - 1) == ':' && isHexByte(at(last - 2)) && isHexByte(at(last - 3)) &&
         at(last - 4) == ':';
}

// "0:1b:21:a:b:c": without the zeros in front, as macOS writes it in its tables.
TextRedactor::Place TextRedactor::tryShortMac(Place begin, Place end) {
  const std::string_view old = text(begin, end);
  if (std::none_of(old.begin(), old.end(),
                   [](char c) { return isLetterByte(static_cast<unsigned char>(c)); })) {
    return end;  // any six numbers
  }
  MacBytes bytes = {};
  std::size_t group = 0;
  for (const char c : old) {
    if (c == ':') {
      ++group;
    } else {
      const unsigned value = bytes[group];
      bytes[group] = static_cast<std::uint8_t>(value << 4U | hexValue(static_cast<unsigned char>(c)));
    }
  }
  if (macStays(bytes)) {
    return end;
  }
  if (m_pCollector != nullptr) {
    replaceMac(begin, end, bytes);
    return end;
  }
  std::string standIn;
  for (const std::uint8_t byte : m_rStandIns.mac(bytes)) {
    standIn += (standIn.empty() ? "" : ":") + hexText(byte, byte < 16 ? 1 : 2);
  }
  replace(begin, end, RedactKind::kMac, standIn);
  return end;
}

// "3c\:52\:82\:aa\:bb\:cc": where colons are what stands between fields.
TextRedactor::Place TextRedactor::tryEscapedMac(Place begin) {
  constexpr std::size_t kGroup = 4;
  const Place end = begin + 5 * kGroup + 2;
  for (Place place = begin; place < end; place += kGroup) {
    if (!isHexByte(at(place)) || !isHexByte(at(place + 1)) ||
        (place + 2 < end && (at(place + 2) != '\\' || at(place + 3) != ':'))) {
      return begin;
    }
  }
  if (isPlainByte(before(begin)) || isPlainByte(at(end))) {
    return begin;
  }
  MacBytes bytes = {};
  bytesOf(text(begin, end), bytes.data(), bytes.size());
  replaceMac(begin, end, bytes);
  return end;
}

// "wlx001b213a4f99": interfaces that are called by their address.
TextRedactor::Place TextRedactor::tryMacInterface(Place begin) {
  constexpr std::size_t kFront = 3;
  const Place end = begin + kFront + 12;
  for (Place place = begin + kFront; place < end; ++place) {
    if (!isHexByte(at(place))) {
      return begin;
    }
  }
  if (isPlainByte(at(end))) {
    return begin;
  }
  MacBytes bytes = {};
  bytesOf(text(begin + kFront, end), bytes.data(), bytes.size());
  replaceMac(begin + kFront, end, bytes);
  return end;
}

void TextRedactor::replaceMac(Place begin, Place end, const MacBytes& bytes) {
  if (bytes[0] == 0x33 && bytes[1] == 0x33 && bytes[2] == 0xff) {
    // Holds the end of an address (RFC 2464).
    const MacBytes plain = {0x33, 0x33, 0xff, 0, 0, 0};
    replace(begin, end, RedactKind::kMac, inWritingOf(text(begin, end), plain.data()));
    return;
  }
  if (macStays(bytes)) {
    return;
  }
  if (m_pCollector != nullptr) {
    // Without signs between the digits it can't be told from other numbers, unless it is known.
    std::string plain;
    for (const std::uint8_t byte : bytes) {
      plain += "0123456789abcdef"[byte >> 4U];
      plain += "0123456789abcdef"[byte & 15U];
    }
    found(RedactKind::kMac, plain);
    return;
  }
  const MacBytes standIn = m_rStandIns.mac(bytes);
  replace(begin, end, RedactKind::kMac, inWritingOf(text(begin, end), standIn.data()));
}

}  // namespace halvo
