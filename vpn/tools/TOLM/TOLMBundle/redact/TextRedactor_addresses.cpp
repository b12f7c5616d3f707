// The finders of IPv4 and IPv6 addresses, and of what has signs between groups of digits.

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/MacText.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestColons = 80;

std::string quad(std::uint32_t address) {
  return std::to_string(address >> 24U) + '.' + std::to_string(address >> 16U & 255U) + '.' +
         std::to_string(address >> 8U & 255U) + '.' + std::to_string(address & 255U);
}

// Netmasks in both forms, and the blocks of RFC 6890 that are the same everywhere: this network, loopback,
// link-local, documentation, benchmarks, multicast, reserved (stand-ins among these).
bool ipv4Stays(std::uint32_t address) {
  const std::uint32_t first = address >> 24U;
  const std::uint32_t upper = address >> 16U;
  const std::uint32_t network = address >> 8U;
  const bool isMask = (~address & (~address + 1U)) == 0;
  // "1.0.0.0" is the version of something.
  const bool isBareVersion = (address & 0x00ffffffU) == 0 && first < 10;
  return first == 0 || first == 127 || first >= 224 || upper == 0xa9fe || network == 0xc00002 ||
         network == 0xc63364 || network == 0xcb0071 || (address >> 17U) == (0xc6120000U >> 17U) || isMask ||
         isBareVersion;
}

// Whether the word can only stand in front of an address.
bool isOfAddress(std::string_view word) {
  static constexpr std::array<std::string_view, 17> kWords = {
      "ip",  "ip4", "ipv4",        "inet",   "addr",    "address",  "peer", "src",   "dst",
      "via", "gw",  "destination", "remote", "gateway", "endpoint", "host", "source"};
  return std::any_of(kWords.begin(), kWords.end(),
                     [word](std::string_view known) { return isSame(word, known); });
}

bool isPrivateIpv4(std::uint32_t address) {
  return address >> 24U == 10 || address >> 20U == 0xac1 || address >> 16U == 0xc0a8 ||
         address >> 22U == 0x6440U >> 6U;
}

enum class Ipv6Look { kNone, kStays, kReplace, kLinkLocal, kSolicited, kHoldsIpv4 };

Ipv6Look ipv6Look(const Ipv6Bytes& a) {
  static constexpr Ipv6Bytes kZero = {};
  const auto zeros = [&a](std::size_t count) {
    return std::equal(a.begin(), a.begin() + static_cast<long>(count), kZero.begin());
  };
  if (zeros(10) && ((a[10] == 0xff && a[11] == 0xff) || (zeros(12) && (a[12] | a[13]) != 0))) {
    return Ipv6Look::kHoldsIpv4;
  }
  if (zeros(15)) {
    return Ipv6Look::kStays;  // :: and ::1
  }
  if (a[0] == 0 && a[1] == 0x64 && a[2] == 0xff && a[3] == 0x9b) {
    return Ipv6Look::kHoldsIpv4;  // RFC 6052
  }
  if ((a[0] == 0x20 && a[1] == 0x01 && a[2] == 0x0d && a[3] == 0xb8) ||
      (a[0] == 0x3f && a[1] == 0xff && a[2] < 0x10)) {
    return Ipv6Look::kStays;  // documentation, and stand-ins
  }
  if (a[0] == 0xff) {
    return a[11] == 1 && a[12] == 0xff ? Ipv6Look::kSolicited : Ipv6Look::kStays;
  }
  if (a[0] == 0xfe && (a[1] & 0xc0U) == 0x80) {
    return Ipv6Look::kLinkLocal;
  }
  const bool isGlobal = (a[0] & 0xe0U) == 0x20;
  const bool isLocal = (a[0] & 0xfeU) == 0xfc || (a[0] == 0xfe && (a[1] & 0xc0U) == 0xc0);
  return isGlobal || isLocal ? Ipv6Look::kReplace : Ipv6Look::kNone;
}

std::string ipv6Text(const Ipv6Bytes& address) {
  std::array<char, INET6_ADDRSTRLEN> buffer = {};
  inet_ntop(AF_INET6, address.data(), buffer.data(), buffer.size());
  return buffer.data();
}

// With the last four bytes as in an IPv4 address.
std::string mixedText(const Ipv6Bytes& address) {
  std::string result;
  for (std::size_t i = 0; i < 12; i += 2) {
    result += hexText(std::uint64_t{address[i]} << 8U | address[i + 1], 4) + ':';
  }
  std::uint32_t last = 0;
  for (std::size_t i = 12; i < 16; ++i) {
    last = last << 8U | address[i];
  }
  return result + quad(last);
}

}  // namespace

// The number at `place`, which moves behind it; of `most` digits at most, 0 for none.
unsigned TextRedactor::takeNumber(Place& place, std::size_t most) const {
  unsigned value = 0;
  for (const Place first = place; place - first < most && isDigitByte(at(place)); ++place) {
    value = value * 10 + hexValue(at(place));
  }
  return value;
}

// One of an address's numbers at `place`, which moves behind it; false for no number or one above 255.
bool TextRedactor::takeByte(Place& place, Place end, std::uint32_t& address) const {
  std::uint32_t value = 0;
  const Place first = place;
  while (place < end && isDigitByte(at(place)) && place - first < 4) {
    value = value * 10 + hexValue(at(place));
    ++place;
  }
  address = address << 8U | value;
  return place > first && place - first <= 3 && value <= 255;
}

TextRedactor::Place TextRedactor::tryIpv4(Place begin, Place end) {
  std::uint32_t address = 0;
  Place place = begin;
  for (unsigned part = 0; part < 4; ++part) {
    if (!takeByte(place, end, address)) {
      return begin;
    }
    if (part < 3 && at(place) != '.') {
      return at(place) == '/' && part > 0 ? tryShortNetwork(begin, place, address, part + 1) : begin;
    }
    place += part < 3 ? 1 : 0;
  }
  const unsigned char next = at(place);
  const bool goesOn = next == '.' && isPlainByte(at(place + 1));
  if ((isPlainByte(next) && !isUnit(place)) ||
      (goesOn && isDigitByte(at(place + 1)) && !isPort(begin, place))) {
    // Five numbers and more, or a number with a letter behind: to be passed as one.
    while (place < end && (isWordByte(at(place)) || at(place) == '.')) {
      ++place;
    }
    return place;
  }
  if (!ipv4Stays(address) && isVersion(begin, place)) {
    return place;
  }
  if (const std::uint32_t standIn = standInOfIpv4(address); standIn != address) {
    replace(begin, place, RedactKind::kAddress, quad(standIn));
  }
  if (next == ' ' && begin > 3 && at(begin - 4) == ':') {
    return tryLease(begin, place);
  }
  return next == '[' ? tryIdentity(place) : place;
}

// "84.17.52.3ms": what was measured, or a port's name.
bool TextRedactor::isUnit(Place begin) const {
  Place end = begin;
  while (isLetterByte(at(end)) && end - begin < 6) {
    ++end;
  }
  const std::string_view unit = text(begin, end);
  return !isWordByte(at(end)) && (unit == "ms" || unit == "us" || unit == "sec" || unit == "port");
}

// "peer_84.17.52.3": the word in front of the sign, or of the digits in "IP84.17.52.3".
bool TextRedactor::isBehindAddressWord(Place end) const {
  constexpr std::size_t kLongestWord = 12;
  Place begin = end;
  while (begin > 0 && end - begin <= kLongestWord && isLetterByte(at(begin - 1))) {
    --begin;
  }
  return isOfAddress(text(begin, end));
}

// "IP84.17.52.3"
TextRedactor::Place TextRedactor::tryWordIpv4(Place begin, Place end) {
  Place digits = begin;
  while (digits < end && digits - begin < 12 && isLetterByte(at(digits))) {
    ++digits;
  }
  if (!isDigitByte(at(digits)) || digits == begin || !isOfAddress(text(begin, digits))) {
    return begin;
  }
  const Place done = tryIpv4(digits, end);
  return done > digits ? done : begin;
}

// "10.64.1/24", as the BSDs and macOS write networks in their tables of routes: with the bytes that count.
TextRedactor::Place TextRedactor::tryShortNetwork(Place begin, Place slash, std::uint32_t address,
                                                  unsigned parts) {
  Place place = slash + 1;
  const unsigned bits = takeNumber(place, 3);
  const unsigned char next = at(place);
  address <<= 8U * (4 - parts);
  const bool atFront = isBareFront(begin);
  const bool isPrivate = isPrivateIpv4(address);
  if (place == slash + 1 || bits < 8 || bits > 8 * parts || isWordByte(next) || next == '.' || next == '/' ||
      next == '-' || isWordByte(before(begin)) || ipv4Stays(address) ||
      !(parts == 3 ? atFront || isPrivate : atFront && isPrivate)) {
    return begin;
  }
  if (m_pCollector == nullptr) {
    std::string standIn = quad(m_rStandIns.ipv4(address));
    for (unsigned part = parts; part < 4; ++part) {
      standIn.erase(standIn.rfind('.'));
    }
    replace(begin, slash, RedactKind::kAddress, standIn);
  }
  return place;
}

// "ip-84-17-52-3", as clouds call their machines.
TextRedactor::Place TextRedactor::tryDashedIpv4(Place begin, Place end) {
  std::uint32_t address = 0;
  Place place = begin;
  for (unsigned part = 0; part < 4; ++part) {
    if (!takeByte(place, end, address) || (part < 3 && at(place) != '-')) {
      return begin;
    }
    place += part < 3 ? 1 : 0;
  }
  if (isPlainByte(at(place)) || (at(place) == '-' && isDigitByte(at(place + 1)))) {
    return begin;
  }
  if (m_pCollector == nullptr && !ipv4Stays(address)) {
    std::string standIn = quad(m_rStandIns.ipv4(address));
    std::replace(standIn.begin(), standIn.end(), '.', '-');
    replace(begin, place, RedactKind::kAddress, standIn);
  }
  return place;
}

// Times, hardware addresses and IPv6 addresses: digits with colons between them.
TextRedactor::Place TextRedactor::tryColons(Place begin) {
  if (begin < m_nColonsTried || isPlainByte(before(begin))) {
    return begin;
  }
  Place end = begin;
  std::size_t groups = 0;  // of two digits
  std::size_t digits = 0;
  bool onlyPairs = true;
  bool onlyShort = true;  // one digit or two
  bool hasDouble = false;
  std::size_t colons = 0;
  while (end - begin < kLongestColons && (isHexByte(at(end)) || at(end) == ':')) {
    if (at(end) == ':') {
      hasDouble = hasDouble || at(end + 1) == ':';
      onlyPairs = onlyPairs && digits == 2;
      onlyShort = onlyShort && digits > 0 && digits < 3;
      digits = 0;
      ++colons;
    } else if (++digits == 2) {
      ++groups;
    }
    ++end;
  }
  m_nColonsTried = std::max(m_nColonsTried, end);
  Place last = end;
  if (last > begin && at(last - 1) == ':' && !(last - begin > 1 && at(last - 2) == ':')) {
    --last;  // "from 2001:db8::1: no answer"
    --colons;
  } else {
    onlyPairs = onlyPairs && digits == 2;
    onlyShort = onlyShort && digits > 0 && digits < 3;
  }
  if (isPlainByte(at(end))) {
    return begin;
  }
  if (onlyPairs && groups == 7 && at(last) == '.' && isDigitByte(at(last + 1))) {
    last -= 3;  // "3c:52:82:1a:2b:3c:10.1.2.3"
    --groups;
  }
  if (onlyPairs && groups >= 6) {
    return tryMacColons(begin, last, groups);
  }
  if (onlyShort && (colons == 5 || colons == 6 || colons == 9 || colons == 13)) {
    if (const Place done = tryShortMac(begin, last, colons + 1); done > begin) {
      return done;
    }
  }
  if (hasDouble || colons >= 6) {
    if (const Place done = tryIpv6(begin, last); done > begin) {
      return done;
    }
  }
  // "dead:00:11:22:33:44:55": the first may be a word.
  if (const std::size_t first = text(begin, last).find(':');
      first != 2 && colons == 6 && first != std::string_view::npos) {
    std::array<std::uint8_t, 8> bytes = {};
    const Place rest = begin + first + 1;
    if (last - rest == 17 && bytesOf(text(rest, last), bytes.data(), bytes.size()) == 6) {
      return tryMacColons(rest, last, 6);
    }
  }
  if (text(begin, last).starts_with("::")) {
    m_nColonsTried = begin + 2;  // "=::2001:db8::1": what stands behind may be one by itself
  }
  return begin;
}

TextRedactor::Place TextRedactor::tryIpv6(Place begin, Place end) {
  // An IPv4 address may stand at the end.
  Place last = end;
  if (at(end) == '.') {
    while (last - begin < kLongestColons &&
           (isDigitByte(at(last)) || (at(last) == '.' && isDigitByte(at(last + 1))))) {
      ++last;
    }
  }
  if (last - begin >= INET6_ADDRSTRLEN || last - begin < 3) {
    return begin;
  }
  Ipv6Bytes bytes = {};
  const auto isOne = [this, begin, &bytes](Place to) {
    return inet_pton(AF_INET6, std::string(text(begin, to)).c_str(), bytes.data()) == 1;
  };
  if (!isOne(last)) {
    // "2001:db8::1.443": a port, as the BSDs and macOS write it.
    if (last == end || text(end + 1, last).find('.') != std::string_view::npos || !isOne(end)) {
      return begin;
    }
    last = end;
  }
  if (at(last) == '/' && isDigitByte(at(last + 1)) && text(begin, last).ends_with("::") &&
      (!isDigitByte(at(last + 2)) || (at(last + 1) == '1' && at(last + 2) < '7')) &&
      !(isDigitByte(at(last + 2)) && isDigitByte(at(last + 3)))) {
    return last;  // "2000::/3", "fc00::/7": up to sixteen bits are the same everywhere
  }
  Ipv6Bytes result = bytes;
  if (!standInOfIpv6(bytes, result)) {
    return begin;
  }
  if (result != bytes) {
    // Joined to a word the stand-in ends as the address does: a second look then sees what this one did.
    const bool isJoined = last > end && isPlainByte(at(last));
    replace(begin, last, RedactKind::kAddress, isJoined ? mixedText(result) : ipv6Text(result));
  }
  return at(last) == '[' ? tryIdentity(last) : last;
}

std::uint32_t TextRedactor::standInOfIpv4(std::uint32_t address) {
  return m_pCollector != nullptr || ipv4Stays(address) ? address : m_rStandIns.ipv4(address);
}

// False for what is no address that a machine has. `result` stays what it is, the address, where that one
// does.
bool TextRedactor::standInOfIpv6(const Ipv6Bytes& bytes, Ipv6Bytes& result) {
  switch (ipv6Look(bytes)) {
    case Ipv6Look::kNone:
      return false;
    case Ipv6Look::kStays:
      break;
    case Ipv6Look::kSolicited:
      result[13] = result[14] = result[15] = 0;
      break;
    case Ipv6Look::kHoldsIpv4: {
      std::uint32_t inner = 0;
      for (std::size_t i = 12; i < 16; ++i) {
        inner = inner << 8U | bytes[i];
      }
      inner = standInOfIpv4(inner);
      for (std::size_t i = 0; i < 4; ++i) {
        result[12 + i] = static_cast<std::uint8_t>(inner >> (8U * (3 - i)));
      }
      break;
    }
    case Ipv6Look::kLinkLocal: {
      // The network stays. An interface made of the hardware address holds it (RFC 4291, appendix A).
      if (bytes[11] != 0xff || bytes[12] != 0xfe || m_pCollector != nullptr) {
        break;
      }
      const MacBytes mac = {
          static_cast<std::uint8_t>(bytes[8] ^ 2U), bytes[9], bytes[10], bytes[13], bytes[14], bytes[15]};
      if (macStays(mac)) {
        break;
      }
      const MacBytes other = m_rStandIns.mac(mac);
      result[8] = static_cast<std::uint8_t>(other[0] ^ 2U);
      result[9] = other[1];
      result[10] = other[2];
      std::copy_n(other.begin() + 3, 3, result.begin() + 13);
      break;
    }
    case Ipv6Look::kReplace:
      if (m_pCollector == nullptr) {
        result = m_rStandIns.ipv6(bytes);
      }
      break;
  }
  return true;
}

// An address of 32 digits in front of a line of the kernel's tables:
//   fe80..4f99 02 40 20 80     eth0                            its number, prefix, scope, flags, name
//   2a02..0000 40 0000..0000 00 fe80..0001 00000400 ...        prefix, source, prefix, next hop
TextRedactor::Place TextRedactor::tryPlainIpv6(Place begin, Place end) {
  constexpr std::size_t kDigits = 32;
  if (!isBareFront(begin)) {
    return begin;
  }
  Place place = end;
  // A field of so many digits with a blank on either side, behind which the place moves.
  const auto field = [this, &place](std::size_t least, std::size_t most) {
    const Place first = place + 1;
    if (at(place) != ' ') {
      return false;
    }
    place = first;
    while (place - first <= most && isHexByte(at(place))) {
      ++place;
    }
    return place - first >= least && place - first <= most && at(place) == ' ';
  };
  std::array<Place, 3> addresses = {begin, 0, 0};
  std::size_t count = 1;
  if (!(field(2, 3) && field(2, 2) && field(2, 2) && field(2, 2))) {
    place = end;
    const bool isRoute = field(2, 2) && field(kDigits, kDigits) && field(2, 2) && field(kDigits, kDigits);
    addresses = {begin, end + 4, end + 4 + kDigits + 4};
    count = 3;
    if (!isRoute || !field(8, 8)) {
      return begin;
    }
  }
  for (std::size_t i = 0; i < count; ++i) {
    const Place first = addresses[i];
    Ipv6Bytes bytes = {};
    bytesOf(text(first, first + kDigits), bytes.data(), bytes.size());
    Ipv6Bytes result = bytes;
    if (standInOfIpv6(bytes, result) && result != bytes) {
      std::string digits;
      for (const std::uint8_t byte : result) {
        digits += hexText(byte, 2);
      }
      replace(first, first + kDigits, RedactKind::kAddress, digits);
    }
  }
  return addresses[count - 1] + kDigits;
}

// 00-11-22-33-44-55, 0011.2233.4455 and UUIDs.
TextRedactor::Place TextRedactor::tryDashed(Place begin, Place end) {
  const auto matches = [this, begin, end](std::size_t length, std::size_t group, char sign) {
    if (begin + length > end || isPlainByte(at(begin + length))) {
      return false;
    }
    for (std::size_t i = 0; i < length; ++i) {
      const bool isSign = i % (group + 1) == group;
      if (isSign ? at(begin + i) != static_cast<unsigned char>(sign) : !isHexByte(at(begin + i))) {
        return false;
      }
    }
    return true;
  };
  MacBytes mac = {};
  for (const char sign : {'-', '_'}) {
    if (matches(17, 2, sign) &&
        !(at(begin + 17) == static_cast<unsigned char>(sign) && isHexByte(at(begin + 18)))) {
      bytesOf(text(begin, begin + 17), mac.data(), mac.size());
      replaceMac(begin, begin + 17, mac);
      return begin + 17;
    }
  }
  if (matches(14, 4, '.') && at(begin + 14) != '.') {
    const std::string_view all = text(begin, begin + 14);
    if (std::any_of(all.begin(), all.end(),
                    [](char c) { return isLetterByte(static_cast<unsigned char>(c)); })) {
      bytesOf(all, mac.data(), mac.size());
      replaceMac(begin, begin + 14, mac);
      return begin + 14;
    }
  }
  if (begin + 36 > end || at(begin + 8) != '-' || isPlainByte(at(begin + 36))) {
    return begin;
  }
  for (std::size_t i = 0; i < 36; ++i) {
    const bool isSign = i == 8 || i == 13 || i == 18 || i == 23;
    if (isSign ? at(begin + i) != '-' : !isHexByte(at(begin + i))) {
      return begin;
    }
  }
  const std::string_view uuid = text(begin, begin + 36);
  // Nobody's, and those of Bluetooth services.
  const bool stays = StandIns::isUuid(uuid) || isSame(uuid.substr(8), "-0000-1000-8000-00805f9b34fb") ||
                     uuid.find_first_not_of("0-") == std::string_view::npos;
  if (!stays && m_pCollector == nullptr) {
    replace(begin, begin + 36, RedactKind::kId, m_rStandIns.uuid(uuid));
  }
  return begin + 36;
}

}  // namespace halvo
