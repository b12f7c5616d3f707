// Versions and the like: numbers with dots that aren't addresses, and ports that are joined to them.

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestLineFront = 256;

constexpr std::array<std::string_view, 12> kArchitectures = {"amd64",   "arm64", "i386",   "armhf",
                                                             "armel",   "all",   "any",    "riscv64",
                                                             "ppc64el", "s390x", "x86_64", "noarch"};

bool isArchitecture(std::string_view word) {
  return std::find(kArchitectures.begin(), kArchitectures.end(), word) != kArchitectures.end();
}

// The word that `text` begins with.
std::string_view firstWord(std::string_view text) {
  std::size_t size = 0;
  while (size < text.size() && (isWordByte(static_cast<unsigned char>(text[size])) || text[size] == '_')) {
    ++size;
  }
  return text.substr(0, size);
}

bool isPackageEnding(std::string_view word) {
  return isOneOf(word, {"deb", "rpm", "tar", "tgz", "gz",  "xz",  "bz2",  "zst",  "zip", "jar",   "whl", "so",
                        "dmg", "pkg", "msi", "exe", "apk", "dsc", "orig", "udeb", "dll", "dylib", "1"});
}

// Whether the rest of a file's name ends so: "_x64.exe".
bool endsLikePackage(std::string_view rest) {
  std::size_t size = 0;
  while (size < rest.size() && (isIdentifierByte(static_cast<unsigned char>(rest[size])))) {
    ++size;
  }
  const std::size_t dot = rest.substr(0, size).rfind('.');
  return dot != std::string_view::npos && isPackageEnding(rest.substr(dot + 1, size - dot - 1));
}

bool isPrivate(std::string_view address) {
  if (address.starts_with("10.") || address.starts_with("192.168.")) {
    return true;
  }
  if (address.size() < 7 || address[3] != '.' || !isDigitByte(static_cast<unsigned char>(address[5]))) {
    return false;
  }
  const int second = std::stoi(std::string(address.substr(4, 3)));
  return (address.starts_with("172.") && second >= 16 && second < 32) ||
         (address.starts_with("100.") && second >= 64 && second < 128);
}

// "upgrading from", "upgraded to", "upgrading from 5.1.2.42 to", "update available:": `word` is the last, and
// `front` what stands in front of it in the line.
bool isVersionSentence(std::string_view front, std::string_view word) {
  constexpr std::size_t kLongestFrom = 24;
  const auto endsWith = [front](std::initializer_list<std::string_view> ends) {
    return std::any_of(ends.begin(), ends.end(),
                       [front](std::string_view end) { return front.ends_with(end); });
  };
  if (word == "available") {
    return endsWith({"update ", "version ", "release "});
  }
  const std::size_t from = word == "to" ? front.rfind("grading from ") : std::string_view::npos;
  return endsWith({"upgrade ", "upgraded ", "upgrading ", "downgrade ", "downgraded ", "downgrading "}) ||
         (from != std::string_view::npos && front.size() - from < kLongestFrom + kLongestFrom);
}

// Names of objects of four parts that certificates hold: a subject's parts, extensions, kinds of keys (X.520,
// RFC 5280, RFC 8410).
bool isObject(std::string_view address) {
  return address.starts_with("2.5.4.") || address.starts_with("2.5.29.") ||
         (address.size() == 11 && address.starts_with("1.3.101.11"));
}

}  // namespace

// What stands in the line in front of `begin`.
std::string_view TextRedactor::lineFront(Place begin) const {
  const Place reach = begin - std::min(begin, kLongestLineFront);
  const std::size_t lineEnd = seen(reach, begin - reach).rfind('\n');
  return text(lineEnd == std::string_view::npos ? reach : reach + lineEnd + 1, begin);
}

// Whether nothing but blanks stands there.
bool TextRedactor::isBareFront(Place begin) const {
  Place place = begin;
  while (place > 0 && begin - place < 32 && isBlankByte(at(place - 1))) {
    --place;
  }
  return place == 0 || at(place - 1) == '\n' || place == m_nBarrier;
}

// "10.1.2.3.443": an address and its port, as the BSDs, macOS and their dumps of packets write it, and no
// number of five parts.
bool TextRedactor::isPort(Place begin, Place dot) const {
  Place end = dot + 1;
  const unsigned port = takeNumber(end, 6);
  const unsigned char front = before(begin);
  if (port == 0 || port > 65535 || at(dot + 1) == '0' || isWordByte(at(end)) || at(end) == '-' ||
      at(end) == '_' || at(end) == '+' || at(end) == '~' || (at(end) == '.' && isWordByte(at(end + 1))) ||
      isWordByte(front) || front == '.' || front == '-' || front == '_' || front == '/') {
    return false;
  }
  const std::string_view line = lineFront(begin);
  const std::size_t first = line.find_first_not_of(" \t");
  const std::string_view start = first == std::string_view::npos ? std::string_view() : line.substr(first);
  if (start.starts_with("tcp") || start.starts_with("udp") || start.starts_with("icm") ||
      line.ends_with("IP ") || line.ends_with("> ") || std::string_view(m_Window).substr(end, 3) == " > ") {
    return true;
  }
  // Names of objects (1.3.6.1.2) begin with one of these; parts of versions are small.
  const bool isObject = at(begin + 1) == '.' && at(begin) <= '2';
  return port > 255 && !isObject;
}

// A package's version: "1.2.3.4-1" where it stands as one.
bool TextRedactor::isPackageVersion(Place begin, Place end) const {
  Place rest = end;
  if (at(end) == '-' && isDigitByte(at(end + 1))) {
    ++rest;
    while (isDigitByte(at(rest)) && rest - end < 8) {
      ++rest;
    }
    const unsigned char next = at(rest);
    const bool isMac = isHexByte(at(end + 2)) && at(end + 3) == ':' && isHexByte(at(end + 4));
    if (next == '+' || next == '~' || (isPlainByte(next) && !isMac)) {
      return true;  // "-1ubuntu2", "-2+deb12u1"
    }
    if (next == '.') {
      const std::string_view word = firstWord(std::string_view(m_Window).substr(rest + 1, 16));
      return word.starts_with("el") || word.starts_with("fc") || word.starts_with("amzn") ||
             word.starts_with("lp") || word.starts_with("mga") || isArchitecture(word);
    }
  }
  if (rest == end && at(end) != ' ') {
    return false;
  }
  const std::string_view line = lineFront(begin);
  // The tables of dpkg: "ii  name:amd64  1.2.3.4-1  amd64  what it is".
  if (line.size() > 3 && std::string_view("uirph").find(line[0]) != std::string_view::npos &&
      std::string_view("nicufhWt").find(line[1]) != std::string_view::npos && line[2] == ' ') {
    Place behind = rest;
    while (at(behind) == ' ' && behind - rest < 64) {
      ++behind;
    }
    if (behind > rest && isArchitecture(firstWord(std::string_view(m_Window).substr(behind, 16)))) {
      return true;
    }
  }
  if (at(rest) == ' ' && !isPrivate(text(begin, end))) {
    const std::string_view word = firstWord(std::string_view(m_Window).substr(rest + 1, 16));
    if (word != "all" && word != "any" && isArchitecture(word)) {
      return true;
    }
  }
  if (rest == end) {
    return false;
  }
  // Behind its name with the machine's kind, behind that of nothing before, or behind the version before.
  std::string_view front = line;
  for (int versions = 0; versions < 2; ++versions) {
    while (!front.empty() && (isBlankByte(static_cast<unsigned char>(front.back())) || front.back() == '(' ||
                              front.back() == ',')) {
      front.remove_suffix(1);
    }
    const std::size_t blank = front.find_last_of(" \t(");
    const std::string_view word = blank == std::string_view::npos ? front : front.substr(blank + 1);
    const std::size_t colon = word.rfind(':');
    if (word == "<none>" ||
        (colon != std::string_view::npos && colon > 0 && isArchitecture(word.substr(colon + 1)))) {
      return true;
    }
    if (word.empty() || !isDigitByte(static_cast<unsigned char>(word.front())) ||
        word.find_first_of("-.") == std::string_view::npos) {
      return false;
    }
    front.remove_suffix(word.size());
  }
  return false;
}

// "foo_1.2.3.4-1", "libfoo.so.1.2.3.4", "foo-1.2.3.4.tar.gz", "usb 1-1.2.3.4", but "client_10.1.2.3.ovpn".
bool TextRedactor::isJoinedVersion(Place begin, Place end) const {
  const unsigned char front = before(begin);
  const std::string_view address = text(begin, end);
  const std::string_view rest = std::string_view(m_Window).substr(end, 20);
  const std::string_view longRest = std::string_view(m_Window).substr(end, 64);
  const std::string_view ending = rest.starts_with('.') ? firstWord(rest.substr(1)) : std::string_view();
  const bool isPackage =
      isPackageEnding(ending) || (rest.starts_with('_') && isArchitecture(firstWord(rest.substr(1))));
  if (front == '_') {
    const bool isSetting = isOneOf(ending, {"ovpn", "conf", "pcap", "pcapng", "cap", "pem", "crt", "cer",
                                            "key", "mobileconfig", "nmconnection"});
    if (!isPackage && isBehindAddressWord(begin - 1)) {
      return false;
    }
    // "jane_84.17.52.3_x.txt", and "setup_1.2.3.4_x64.exe".
    return !isSetting && (isPackage || rest.starts_with('-') ||
                          (!isPrivate(address) && !(rest.starts_with('_') && !endsLikePackage(longRest))));
  }
  if (front == '.') {
    const bool isLibrary = begin > 3 && text(begin - 4, begin) == ".so.";
    return begin > 1 && isWordByte(at(begin - 2)) && (isLibrary || !isPrivate(address));
  }
  if (front == '-' && begin > 1) {
    // "name-1.2.3.4.gz", "name64-1.2.3.4.gz".
    Place word = begin - 1;
    while (word > 0 && begin - word < 40 && isDigitByte(at(word - 1))) {
      --word;
    }
    if (isLetterByte(before(word))) {
      return isPackage && !isPrivate(address);
    }
    // A port of a hub: small numbers, the first that of the bus.
    Place bus = begin - 1;
    while (bus > 0 && begin - bus < 4 && isDigitByte(at(bus - 1))) {
      --bus;
    }
    return bus < begin - 1 && begin - bus < 4 && !isWordByte(before(bus)) && before(bus) != '.' &&
           before(bus) != '-' && address.size() == 7;
  }
  return false;
}

// "Agent/5.1.2.42", "Version: 5.1.2.42", "upgrading from 5.1.2.42 to 5.1.3.1", and the above.
bool TextRedactor::isVersion(Place begin, Place end) const {
  if (at(end) == '+' || at(end) == '~' || isObject(text(begin, end))) {
    return true;
  }
  if (isPackageVersion(begin, end) || isJoinedVersion(begin, end)) {
    return true;
  }
  const Place joint = begin == m_nBarrier ? m_nEscape : begin;
  if (joint == 0) {
    return false;
  }
  const unsigned char before = at(joint - 1);
  Place place = joint - 1;
  if (before == '/' && place > 1) {
    Place front = place;
    bool hasSmall = false;
    while (front > 0 && begin - front < 40 && isLetterByte(at(front - 1))) {
      --front;
      hasSmall = hasSmall || (at(front) >= 'a' && at(front) <= 'z');
    }
    return hasSmall && at(front) >= 'A' && at(front) <= 'Z' && (front == 0 || at(front - 1) != '/');
  }
  while (place > 0 && joint - place < 16 && !isWordByte(at(place)) && at(place) != '\n') {
    --place;
  }
  Place front = place + 1;
  while (front > 0 && begin - front < 40 && isLetterByte(at(front - 1))) {
    --front;
  }
  std::string word(text(front, place + 1));
  std::transform(word.begin(), word.end(), word.begin(),
                 [](char c) { return static_cast<char>(lowerByte(static_cast<unsigned char>(c))); });
  if (front < m_nReplaced) {
    return false;  // went with what stood there
  }
  if (isOneOf(word, {"ver", "rev", "oid", "dll", "exe", "sys", "driver"})) {
    return true;
  }
  if (isOneOf(word, {"from", "to", "available"})) {
    return isVersionSentence(lowered(lineFront(front)), word);
  }
  static constexpr std::array<std::string_view, 5> kVersionWords = {"version", "release", "build", "revision",
                                                                    "firmware"};
  return std::any_of(kVersionWords.begin(), kVersionWords.end(),
                     [&word](std::string_view ending) { return word.ends_with(ending); });
}

}  // namespace halvo
