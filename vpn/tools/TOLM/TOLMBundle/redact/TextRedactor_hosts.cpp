// Where a text gives away what its machine is called, and names of hosts that are joined to other words.

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestPrompt = 128;
constexpr std::size_t kMostNames = 6;

bool hasDigitOrSign(std::string_view name) {
  return name.find_first_of("0123456789-.") != std::string_view::npos;
}

bool hasLetter(std::string_view name) {
  return std::any_of(name.begin(), name.end(),
                     [](char c) { return isLetterByte(static_cast<unsigned char>(c)); });
}

// "eth0", "wlp3s0", "utun4", "v1": letters, and digits at once.
bool isInterface(std::string_view name) {
  static constexpr std::array<std::string_view, 24> kKinds = {
      "eth", "en", "wlan", "wl",   "tun",  "tap", "utun", "ppp", "docker", "br",   "veth", "virbr",
      "lo",  "wg", "bond", "vlan", "awdl", "llw", "gif",  "stf", "ap",     "anpi", "vnet", "v"};
  return name.find_first_of("-.") == std::string_view::npos &&
         std::any_of(kKinds.begin(), kKinds.end(), [name](std::string_view kind) {
           return name.size() > kind.size() && name.starts_with(kind) &&
                  (isDigitByte(static_cast<unsigned char>(name[kind.size()])) ||
                   (kind.size() == 2 && name.size() > 3 && isDigitByte(static_cast<unsigned char>(name[3]))));
         });
}

bool isSocketKind(std::string_view word) {
  return word == "STREAM" || word == "DGRAM" || word == "RAW" || word == "SEQPACKET";
}

}  // namespace

void TextRedactor::learnHost(std::string_view name) {
  if (isHostText(name) && !isReservedHost(name) && !isCommonWord(name) && !holdsStandIn(name)) {
    const HostParts parts = splitHost(name);
    found(RedactKind::kHost, parts.base.empty() ? name : parts.base);
    found(RedactKind::kHost, parts.labels.empty() ? name : parts.labels.front());
  }
}

// A line of a hosts file: an address and names, and nothing else. Behind the machine's own address stands its
// name, whatever it looks like; behind others it must look like one, since other lines begin so too.
void TextRedactor::learnHostsLine(Place lineBegin) {
  Place place = lineBegin;
  while (place - lineBegin < INET6_ADDRSTRLEN &&
         (isHexByte(at(place)) || at(place) == '.' || at(place) == ':')) {
    ++place;
  }
  if (place - lineBegin < 3 || !isBlankByte(at(place))) {
    return;
  }
  const std::string address(text(lineBegin, place));
  std::array<unsigned char, sizeof(in6_addr)> bytes = {};
  if (inet_pton(AF_INET, address.c_str(), bytes.data()) != 1 &&
      inet_pton(AF_INET6, address.c_str(), bytes.data()) != 1) {
    return;
  }
  std::vector<std::string_view> names;
  while (place - lineBegin < 2 * kLongestHost) {
    while (isBlankByte(at(place)) && place - lineBegin < 2 * kLongestHost) {
      ++place;
    }
    const Place begin = place;
    while (place - begin < kLongestHost && isHostByte(at(place))) {
      ++place;
    }
    if (place > begin) {
      names.push_back(text(begin, place));
      if (!isHostText(names.back()) || names.size() > kMostNames) {
        return;
      }
    } else {
      break;
    }
  }
  // "getent ahosts" prints the kind of socket in front of the name, and no name in most lines.
  if (!names.empty() && isSocketKind(names.front())) {
    names.erase(names.begin());
  }
  const unsigned char last = at(place);
  if (names.empty() || (last != '\n' && last != '\r' && last != '#' && last != 0)) {
    return;
  }
  const bool isOwn =
      address == "127.0.1.1" || std::find(names.begin(), names.end(), "localhost") != names.end();
  if (!isOwn && (!hasDigitOrSign(names.front()) || isInterface(names.front()))) {
    return;
  }
  for (const std::string_view name : names) {
    if (isOwn || hasDigitOrSign(name) || names.front().starts_with(name)) {
      learnHost(name);
    }
  }
}

// "Linux HOST 6.1.0", "==> /etc/hostname <==" and the name behind it.
void TextRedactor::learnMachine(Place begin, Place end) {
  const std::string_view word = text(begin, end);
  Place first = end + 1;
  bool isNumbered = false;
  if (word == "Linux" || word == "Darwin" || word == "FreeBSD") {
    isNumbered = true;
  } else if (word == "hostname" && begin >= 5 && text(begin - 5, begin) == "/etc/" &&
             seen(end, 5) == " <==\n") {
    first = end + 5;
  } else {
    return;
  }
  Place last = first;
  while (last - first < kLongestHost && isHostByte(at(last))) {
    ++last;
  }
  const bool fits = isNumbered ? at(last) == ' ' && isDigitByte(at(last + 1)) && at(last + 2) != ' '
                               : at(last) == '\n' || at(last) == '\r' || at(last) == 0;
  if (last > first && fits && hasLetter(text(first, last))) {
    learnHost(text(first, last));
  }
}

// "jane@HOST:~$ ", "[jane@HOST src]# "
void TextRedactor::learnPrompt(Place begin, Place end) {
  const Place first = end + 1;
  Place last = first;
  while (last - first < kLongestHost && isHostByte(at(last))) {
    ++last;
  }
  const bool isBracket = begin > 0 && at(begin - 1) == '[';
  if (last == first ||
      (isBracket ? at(last) != ' ' : at(last) != ':' || (at(last + 1) != '~' && at(last + 1) != '/'))) {
    return;
  }
  Place place = last + 1;
  while (place - last < kLongestPrompt && at(place) > ' ' && at(place) != ']' && at(place) != '$' &&
         at(place) != '#') {
    ++place;
  }
  place += isBracket && at(place) == ']' ? 1U : 0U;
  const unsigned char behind = at(place + 1);
  if ((at(place) != '$' && at(place) != '#') || (behind != ' ' && behind != '\n' && behind != 0)) {
    return;
  }
  learnHost(text(first, last));
  replaceUser(begin, end);
}

// "\\fileserver\share", and with each backslash written twice. What is an escape inside an escape has as many
// in front of its second word as in front of its first, or begins as an escape does.
TextRedactor::Place TextRedactor::tryShare(Place slash) {
  constexpr std::size_t kLongestLabel = 63;
  const unsigned char front = before(slash);
  if (at(slash + 1) != '\\' || front == '\\' || isWordByte(front)) {
    return slash;
  }
  const auto slashes = [this](Place place) {
    std::size_t count = 0;
    while (count < 5 && at(place + count) == '\\') {
      ++count;
    }
    return count;
  };
  const std::size_t count = slashes(slash);
  const Place first = slash + count;
  Place last = first;
  while (last - first < kLongestLabel && isHostByte(at(last)) && at(last) != '.') {
    ++last;
  }
  const Place share = last + count / 2;
  const std::string_view name = text(first, last);
  const bool isEscape = (name.size() == 3 && name.find_first_not_of("01234567") == std::string_view::npos) ||
                        ((name.starts_with('x') || name.starts_with('u')) &&
                         name.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string_view::npos);
  if ((count != 2 && count != 4) || slashes(last) * 2 != count || name.size() < 2 || isEscape ||
      !isWordByte(at(share)) || (!isIdentifierByte(at(share + 1)) && at(share + 1) != '$')) {
    return slash;
  }
  replaceHost(first, last, hasDigitOrSign(name));
  return std::max(last, m_nCopied);
}

// "CRON[1]: (jane) CMD (x)", and a lease's "DHCPACK on 84.17.52.3 to 3c:52:82:1a:2b:3c (phone7) via eth0".
TextRedactor::Place TextRedactor::tryBracketed(Place begin, Place end) {
  const std::string_view rest = std::string_view(m_Window).substr(end, 6);
  if (rest == ") CMD ") {
    replaceUser(begin, end, Evidence::kProven);
    return std::max(end, m_nCopied);
  }
  if (rest == ") via " && lineFront(begin).find("DHCP") != std::string_view::npos) {
    replaceHost(begin, end, hasDigitOrSign(text(begin, end)));
    return std::max(end, m_nCopied);
  }
  return begin;
}

// "DHCPACK(eth0) 84.17.52.3 3c:52:82:1a:2b:3c phone7": the name behind the hardware address.
void TextRedactor::tryLeaseName(Place end) {
  const Place first = end + 1;
  Place last = first;
  while (last - first < kLongestHost && isHostByte(at(last))) {
    ++last;
  }
  if (last > first && (at(last) == '\n' || at(last) == '\r' || at(last) == 0) && isWordByte(at(last - 1)) &&
      lineFront(end).find("DHCPACK(") != std::string_view::npos) {
    replaceHost(first, last, hasDigitOrSign(text(first, last)));
  }
}

// "1773571321 3c:52:82:1a:2b:3c 84.17.52.3 phone 01:3c:52:82:1a:2b:3c", at the address: the name behind it,
// if it isn't a star.
TextRedactor::Place TextRedactor::tryLease(Place begin, Place end) {
  constexpr std::size_t kMac = 17;
  std::string_view line = lineFront(begin);
  const std::size_t blank = line.find(' ');
  const Place first = end + 1;
  Place last = first;
  while (last - first < kLongestHost && isHostByte(at(last))) {
    ++last;
  }
  if (blank == std::string_view::npos || blank == 0 || line.size() != blank + 1 + kMac + 1 ||
      line.find_first_not_of("0123456789") != blank || at(last) != ' ' || last == first ||
      !(isHexByte(at(last + 1)) || at(last + 1) == '*')) {
    return end;
  }
  replaceHost(first, last, hasDigitOrSign(text(first, last)));
  return std::max(end, m_nCopied);
}

// "fileserver:/export", where the line is one of a table of mounts or of disks.
TextRedactor::Place TextRedactor::tryExport(Place begin, Place end) {
  const unsigned char front = before(begin);
  const std::string_view name = text(begin, end);
  if (!isWordByte(at(begin)) || name.find('.') != std::string_view::npos ||
      !(isSpaceByte(front) || front == '"' || front == '\'' || front == '=' || front == '[')) {
    return begin;
  }
  std::string_view rest = seen(end, kLongestHost);
  rest = rest.substr(0, rest.find('\n'));
  const std::string_view line = lineFront(begin);
  const bool isMount =
      rest.find(" nfs") != std::string_view::npos || rest.find("\tnfs") != std::string_view::npos ||
      rest.find("% /") != std::string_view::npos ||
      (line.find("nfs") != std::string_view::npos && line.find("mount") != std::string_view::npos);
  if (!isMount) {
    return begin;
  }
  replaceHost(begin, end, hasDigitOrSign(name));
  return std::max(end, m_nCopied);
}

// "PING fileserver (84.17.52.3)", "traceroute to fs7 (84.17.52.3)", "64 bytes from fs7 (84.17.52.3)": a name
// and its address. `end` is the end of the word in front.
void TextRedactor::tryNameOfAddress(Place end, bool isSure) {
  const Place first = end + 1;
  Place last = first;
  while (last - first < kLongestHost && (isHostByte(at(last)) || at(last) == '_')) {
    ++last;
  }
  const std::string_view name = text(first, last);
  if (name.empty() || at(last) != ' ' || at(last + 1) != '(' || name.find('.') != std::string_view::npos ||
      !isWordByte(at(first)) || !isWordByte(at(last - 1)) || isInterface(name)) {
    return;
  }
  Place place = last + 2;
  while (place - last < INET6_ADDRSTRLEN && (isHexByte(at(place)) || at(place) == '.' || at(place) == ':')) {
    ++place;
  }
  const std::string address(text(last + 2, place));
  std::array<unsigned char, sizeof(in6_addr)> bytes = {};
  if (at(place) == ')' && (inet_pton(AF_INET, address.c_str(), bytes.data()) == 1 ||
                           inet_pton(AF_INET6, address.c_str(), bytes.data()) == 1)) {
    replaceHost(first, last, isSure || hasDigitOrSign(name));
  }
}

// "vpn7.acme.de_2026-03-15.log", "vpn7.acme.de.log": a host's name and what a file's name puts behind it, by
// the domain where it is known, else by the look of what stands between signs.
TextRedactor::Place TextRedactor::tryJoinedHost(Place begin, Place end, unsigned bits) {
  Place part = begin;
  for (Place place = begin; place < end; ++place) {
    const unsigned char c = at(place);
    if (c == '_' || c == '+' || c == '%') {
      part = place + 1;
      continue;
    }
    const bool isFront = place == begin || !isWordByte(at(place - 1));
    if (!isFront || !isWordByte(c)) {
      continue;
    }
    Place last = place;
    if (m_pKnown != nullptr && place > part && at(place - 1) == '.' && m_pKnown->mayBegin(c, at(place + 1))) {
      const KnownNames::Match match =
          m_pKnown->find(std::string_view(m_Window).substr(place, kLongestHost + 2));
      if (match.length != 0 && match.kind == RedactKind::kHost &&
          text(place, place + match.length).find('.') != std::string_view::npos) {
        last = place + match.length;
      }
    }
    if (last == place && place == part && (bits & kByteOther) != 0) {
      while (last < end && isHostByte(at(last))) {
        ++last;
      }
      const std::string_view name = text(part, last);
      if (std::count(name.begin(), name.end(), '.') < 2 || hostLook(name) != HostLook::kStrong) {
        last = place;
      }
    }
    if (last == place) {
      continue;
    }
    if (begin < part) {
      handleParts(begin, part, bits);
    }
    if (m_nCopied > part) {
      return m_nCopied;
    }
    replaceHost(part, last);
    return std::max(last, m_nCopied);
  }
  return begin;
}

}  // namespace halvo
