// Addresses without dots in the kernel's tables of connections and routes: words of four bytes in the
// processor's order, which is the lowest byte first on all that are in use; and the table of accounts.

#include <algorithm>
#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kWordDigits = 8;

// Out of the processor's order, or into it.
template <typename Bytes>
void turnWords(Bytes& bytes, std::size_t count) {
  for (std::size_t i = 0; i < count; i += 4) {
    std::reverse(bytes.begin() + static_cast<long>(i), bytes.begin() + static_cast<long>(i + 4));
  }
}

}  // namespace

// The run in [begin, end), of hexadecimal digits, in front of a colon or a tab.
TextRedactor::Place TextRedactor::tryTable(Place begin, Place end) {
  return at(end) == ':' ? tryConnection(begin, end) : tryRoute(begin, end);
}

bool TextRedactor::areHex(Place begin, std::size_t count) const {
  for (Place place = begin; place < begin + count; ++place) {
    if (!isHexByte(at(place))) {
      return false;
    }
  }
  return true;
}

// /proc/net/tcp and its like:
//    0: 0100007F:1F90 00000000:0000 0A 00000000:00000000 ...
TextRedactor::Place TextRedactor::tryConnection(Place begin, Place end) {
  const std::size_t digits = end - begin;
  std::string_view number = lineFront(begin);
  number.remove_prefix(std::min(number.size(), number.find_first_not_of(' ')));
  const std::size_t colon = number.find_first_not_of("0123456789");
  if (colon == 0 || colon == std::string_view::npos || number.substr(colon) != ": ") {
    return begin;
  }
  const Place second = end + 6;
  const Place state = second + digits + 6;
  if (!areHex(end + 1, 4) || at(second - 1) != ' ' || !areHex(second, digits) || at(second + digits) != ':' ||
      !areHex(second + digits + 1, 4) || at(state - 1) != ' ' || !areHex(state, 2) || at(state + 2) != ' ') {
    return begin;
  }
  replaceHex(begin, digits);
  replaceHex(second, digits);
  return second + digits;
}

// /proc/net/route, with tabs: name, destination, gateway, flags, three numbers, mask.
TextRedactor::Place TextRedactor::tryRoute(Place begin, Place end) {
  std::string_view name = lineFront(begin);
  if (end - begin != kWordDigits || !name.ends_with('\t')) {
    return begin;
  }
  name.remove_suffix(1);
  const Place gateway = end + 1;
  Place place = gateway + kWordDigits;
  if (name.empty() || name.find_first_of(" \t") != std::string_view::npos || !areHex(gateway, kWordDigits) ||
      at(place) != '\t' || !areHex(place + 1, 4) || at(place + 5) != '\t') {
    return begin;
  }
  place += 6;
  for (int i = 0; i < 3; ++i) {
    const Place first = place;
    takeNumber(place, 9);
    if (place == first || at(place) != '\t') {
      return begin;
    }
    ++place;
  }
  if (!areHex(place, kWordDigits) || at(place + kWordDigits) != '\t') {
    return begin;
  }
  replaceHex(begin, kWordDigits);
  replaceHex(gateway, kWordDigits);
  return gateway + kWordDigits;
}

void TextRedactor::replaceHex(Place begin, std::size_t digits) {
  Ipv6Bytes bytes = {};
  for (std::size_t i = 0; i < digits; i += 2) {
    bytes[i / 2] = static_cast<std::uint8_t>(hexValue(at(begin + i)) << 4U | hexValue(at(begin + i + 1)));
  }
  turnWords(bytes, digits / 2);
  Ipv6Bytes result = bytes;
  if (digits == kWordDigits) {
    std::uint32_t address = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      address = address << 8U | bytes[i];
    }
    address = standInOfIpv4(address);
    for (std::size_t i = 0; i < 4; ++i) {
      result[i] = static_cast<std::uint8_t>(address >> (24U - 8U * i));
    }
  } else if (!standInOfIpv6(bytes, result)) {
    return;
  }
  if (result == bytes) {
    return;
  }
  turnWords(result, digits / 2);
  std::string written;
  for (std::size_t i = 0; i < digits / 2; ++i) {
    written += "0123456789ABCDEF"[result[i] >> 4U];
    written += "0123456789ABCDEF"[result[i] & 15U];
  }
  replace(begin, begin + digits, RedactKind::kAddress, written);
}

// jane:x:1000:1000:Jane Doe,,,:/home/jane:/bin/bash, and jane:*:501:20:Jane Doe:/Users/jane:/bin/zsh, which
// may have a class and two times in front of the full name.
TextRedactor::Place TextRedactor::tryPasswdLine(Place begin, Place end) {
  constexpr unsigned long kFirstOfPeople = 1000;
  constexpr unsigned long kFirstOnMacs = 500;  // whose passwords are stars
  constexpr unsigned long kNobody = 65534;
  Place place = end + 1;
  const auto fieldEnd = [this](Place from) {
    Place to = from;
    while (at(to) != ':' && at(to) >= ' ' && to - from < 256) {
      ++to;
    }
    return to;
  };
  const auto number = [this](Place from, Place to) {
    const std::string_view digits = text(from, to);
    return !digits.empty() && digits.size() < 11 &&
           digits.find_first_not_of("0123456789") == std::string_view::npos;
  };
  Place last = fieldEnd(place);
  const std::string_view password = text(place, last);
  if (at(last) != ':' || (password != "x" && password.find_first_not_of('*') != std::string_view::npos)) {
    return begin;
  }
  place = last + 1;
  last = fieldEnd(place);
  if (at(last) != ':' || !number(place, last)) {
    return begin;
  }
  const unsigned long id = std::stoul(std::string(text(place, last)));
  place = last + 1;
  last = fieldEnd(place);
  if (at(last) != ':' || !number(place, last) || id < (password == "x" ? kFirstOfPeople : kFirstOnMacs) ||
      id == kNobody) {
    return begin;
  }
  place = last + 1;
  last = fieldEnd(place);
  if (at(last) == ':' && at(last + 1) == '0' && at(last + 2) == ':' && at(last + 3) == '0' &&
      at(last + 4) == ':') {
    place = last + 5;
    last = fieldEnd(place);
  }
  if (at(last) != ':') {
    return begin;
  }
  replaceUser(begin, end, Evidence::kProven);
  const Place name = place;
  while (place < last && at(place) != ',') {
    ++place;
  }
  if (place > name) {
    replaceUser(name, place);
  }
  return std::max(place, m_nCopied);
}

}  // namespace halvo
