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

// As many as tryColons() passes on.
using ColonBytes = std::array<std::uint8_t, 20>;

// Whether a hardware address stands behind its kind alone: a client's identifier (RFC 2132), or a DHCP unique
// one without a time.
bool isBehindKind(const ColonBytes& bytes, std::size_t groups) {
  constexpr std::size_t kClient = 7;
  constexpr std::size_t kUnique = 10;
  return groups == kClient
             ? bytes[0] == 1
             : groups == kUnique && bytes[0] == 0 && bytes[1] == 3 && bytes[2] == 0 && bytes[3] == 1;
}

MacBytes lastOf(const ColonBytes& bytes, std::size_t groups) {
  MacBytes mac = {};
  std::copy_n(bytes.begin() + static_cast<long>(groups - mac.size()), mac.size(), mac.begin());
  return mac;
}

// The last six have the hardware address's stand-in, and what stands in front has one too.
ColonBytes standInOf(StandIns& standIns, const ColonBytes& bytes, std::size_t groups) {
  MacBytes front = {};
  std::copy_n(bytes.begin(), front.size(), front.begin());
  front = standIns.mac(front);
  const MacBytes back = standIns.mac(lastOf(bytes, groups));
  ColonBytes result = {};
  std::copy(back.begin(), back.end(), result.begin() + static_cast<long>(groups - back.size()));
  std::copy_n(front.begin(), std::min(front.size(), groups), result.begin());
  return result;
}

// "MAC=3c:52:82:1a:2b:3c:3c:52:82:aa:bb:cc:08:00" of a packet filter's log: the front of a frame, which has
// the two hardware addresses and the protocol. As many bytes has a DHCP unique identifier with a time (RFC
// 8415), and what stands for one.
bool isFrame(const ColonBytes& bytes) {
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
  ColonBytes bytes = {};
  bytesOf(text(begin, end), bytes.data(), bytes.size());
  MacBytes mac = {};
  std::copy_n(bytes.begin(), mac.size(), mac.begin());
  if (groups == 6) {
    replaceMac(begin, end, mac);
    if (at(end) == ' ') {
      tryLeaseName(end);
    }
    return std::max(end, m_nCopied);
  }
  constexpr Place kWritten = 17;
  if (isBehindKind(bytes, groups)) {
    replaceMac(end - kWritten, end, lastOf(bytes, groups));
    return end;
  }
  if (groups == kFrameGroups && isFrame(bytes)) {
    replaceMac(begin, begin + kWritten, mac);
    std::copy_n(bytes.begin() + 6, 6, mac.begin());
    replaceMac(begin + kWritten + 1, begin + 2 * kWritten + 1, mac);
    return end;
  }
  if (!StandIns::isMac(mac) && m_pCollector == nullptr) {
    const ColonBytes standIn = standInOf(m_rStandIns, bytes, groups);
    replace(begin, end, RedactKind::kMac, inWritingOf(text(begin, end), standIn.data()));
  }
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

// "0:1b:21:a:b:c": without the zeros in front, as macOS writes it in its tables, and identifiers as leases of
// DHCP clients have them.
TextRedactor::Place TextRedactor::tryShortMac(Place begin, Place end, std::size_t groups) {
  ColonBytes bytes = {};
  std::size_t group = 0;
  Place last = begin;  // of the last six
  bool hasLetter = false;
  for (Place place = begin; place < end; ++place) {
    if (at(place) == ':') {
      last = ++group + 6 == groups ? place + 1 : last;
    } else {
      hasLetter = hasLetter || isLetterByte(at(place));
      bytes[group] = static_cast<std::uint8_t>(unsigned{bytes[group]} << 4U | hexValue(at(place)));
    }
  }
  if (groups == 6 && !hasLetter) {
    return end;  // any six numbers
  }
  const bool isTimed =
      groups == kFrameGroups && bytes[0] == 0 && bytes[1] == 1 && bytes[2] == 0 && bytes[3] == 1;
  const bool isTold = hasLetter || groups > 7 || wordBefore(begin).ends_with("identifier");
  if (groups == kFrameGroups && bytes[0] == 2 && bytes[1] == 0 && bytes[2] == 0x5e) {
    return end;  // what stands for one
  }
  if (groups != 6 && !isTimed && !(isBehindKind(bytes, groups) && isTold)) {
    return begin;
  }
  const MacBytes mac = lastOf(bytes, groups);
  if (macStays(mac)) {
    return end;
  }
  if (m_pCollector != nullptr) {
    replaceMac(last, end, mac);
    return end;
  }
  ColonBytes result = {};
  if (isTimed) {
    result = standInOf(m_rStandIns, bytes, groups);
    last = begin;
  } else {
    const MacBytes back = m_rStandIns.mac(mac);
    std::copy(back.begin(), back.end(), result.begin());
  }
  std::string standIn;
  for (std::size_t i = 0; i < (isTimed ? groups : mac.size()); ++i) {
    standIn += (i == 0 ? "" : ":") + hexText(result[i], result[i] < 16 ? 1 : 2);
  }
  replace(last, end, RedactKind::kMac, standIn);
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
