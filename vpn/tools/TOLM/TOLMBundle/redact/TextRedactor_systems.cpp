// Values behind keys that mean something else in one system's tools than elsewhere, and are told by their
// form.

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/EverydayWords.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/MacText.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestOfSystem = 256;
constexpr std::size_t kDashedMac = 17;

// "NB-ORLA7", "DESKTOP7": what Windows makes of a machine's name, and makers of a model's.
bool isMachineName(std::string_view name) {
  constexpr std::size_t kShortest = 4;
  constexpr std::size_t kLongest = 15;
  return name.size() >= kShortest && name.size() <= kLongest && name.front() >= 'A' && name.front() <= 'Z' &&
         name.find_first_of("0123456789-") != std::string_view::npos &&
         name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-") == std::string_view::npos;
}

}  // namespace

TextRedactor::Place TextRedactor::takeOfSystem(KeyLook look, Value value) {
  constexpr std::size_t kShortestId = 14;
  const Place begin = value.begin;
  const Place end = std::min(valueEnd(value, kLongestOfSystem), begin + kLongestOfSystem);
  const std::string_view all = text(begin, end);
  switch (look) {
    case KeyLook::kElementHost:
      return value.ending == Ending::kElement ? takeValue(KeyLook::kHost, value) : begin;
    case KeyLook::kDevice:
      if (isMachineName(all)) {
        replaceHost(begin, end, false);
      }
      return std::max(begin, m_nCopied);
    case KeyLook::kSessionManager: {
      // "local/nb7:@/tmp/.ICE-unix/1234,unix/nb7:/tmp/.ICE-unix/1234"
      const std::size_t slash = all.find('/');
      const std::size_t colon = all.find(':');
      if (slash < colon && all.find("/.ICE-unix/") < all.size()) {
        replaceHost(begin + slash + 1, begin + colon);
      }
      return std::max(begin, m_nCopied);
    }
    case KeyLook::kLongId:
      return all.size() < kShortestId ? begin : takeValue(KeyLook::kId, value);
    case KeyLook::kWifiList: {
      std::string_view front = lineFront(begin);
      front.remove_prefix(std::min(front.find_first_not_of(' '), front.size()));
      const bool isList = front.starts_with("All User Profile ") ||
                          front.starts_with("Current User Profile ") || front.starts_with("Profil ");
      return isList && value.isColon ? takeValue(KeyLook::kWifi, value) : begin;
    }
    case KeyLook::kWifiBelow:
      return takeSsidBelow(begin);
    case KeyLook::kSsidHex:
      return value.ending == Ending::kElement ? takeSsid(begin, end) : begin;
    case KeyLook::kStation: {
      // "A4-91-B1-03-F2-1C:Home Net" (RFC 3580)
      const Place colon = begin + kDashedMac;
      if (colon < end && at(colon) == ':' && tryDashed(begin, colon) == colon) {
        value.begin = colon + 1;
        return std::max(takeNames(KeyLook::kWifi, value, end), m_nCopied);
      }
      return begin;
    }
    case KeyLook::kDnsLine: {
      // "DNS = 10.1.2.3, acmeint"
      const std::string_view front = lineFront(begin);
      if (!isSame(front.substr(0, 3), "dns") ||
          front.find_first_not_of(" \t=", 3) != std::string_view::npos || !isDigitByte(at(begin)) ||
          value.isColon) {
        return begin;
      }
      value.ending = Ending::kLine;
      const Place last = std::min(valueEnd(value, kLongestOfSystem), begin + kLongestOfSystem);
      return text(begin, last).find(',') != std::string_view::npos ? takeHosts(begin, last) : begin;
    }
    case KeyLook::kSearchDomains:
      return lineFront(begin).ends_with("search domain list to: ") ? takeValue(KeyLook::kHosts, value)
                                                                   : begin;
    case KeyLook::kClient:
      return takeClient(begin);
    case KeyLook::kPersonName:
      value.ending =
          value.ending == Ending::kWord && hasWordsBehind(value, end) ? Ending::kLine : value.ending;
      return takeValue(KeyLook::kFullName, value);
    default:
      return begin;
  }
}

// "Computer Name: Friedas iMac": where a computer is called as its owner likes, of several words. Without
// quotes it has the line for itself, and a capital.
TextRedactor::Place TextRedactor::takeComputer(Value value) {
  constexpr std::size_t kLongestComputer = 64;
  static constexpr std::array<std::string_view, 5> kModels = {"macbook pro", "macbook air", "mac mini",
                                                              "mac studio", "mac pro"};
  const Place begin = value.begin;
  const bool isBare = value.ending == Ending::kWord;
  if (isBare && (!value.isColon || !hasLineForItself(begin))) {
    return begin;
  }
  value.ending = isBare ? Ending::kLine : value.ending;
  Place end = valueEnd(value, kLongestComputer);
  while (end > begin && isSpaceByte(at(end - 1))) {
    --end;
  }
  const std::string_view name = text(begin, end);
  const bool hasCapital = std::any_of(name.begin(), name.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
  if (name.size() > kLongestComputer || name.find(' ') == std::string_view::npos || (isBare && !hasCapital) ||
      name.find_first_of("@/\\<>{}[]=\"%:;,.") != std::string_view::npos || !isWordByte(at(begin)) ||
      isEverydayText(name) || holdsStandIn(name)) {
    return begin;
  }
  if (std::any_of(kModels.begin(), kModels.end(),
                  [name](std::string_view model) { return isSame(name, model); })) {
    return end;  // nobody chose it
  }
  found(RedactKind::kHost, name);
  if (m_pCollector == nullptr) {
    replace(begin, end, RedactKind::kHost, m_rStandIns.host(name));
  }
  return end;
}

// "Current Network Information:" and in the next line "Home Net:".
TextRedactor::Place TextRedactor::takeSsidBelow(Place begin) {
  constexpr std::size_t kLongestLine = 96;
  std::string_view line = seen(begin, kLongestLine);
  const std::size_t front = line.find_first_not_of(" \t\r\n");
  const std::size_t size = front == std::string_view::npos ? front : line.find('\n', front);
  if (size == std::string_view::npos || line.find('\n') > front ||
      !lineFront(begin).ends_with("Current Network Information:")) {
    return begin;
  }
  line = line.substr(0, size);
  line = line.substr(0, line.find_last_not_of(" \r") + 1);
  Value value;
  value.begin = begin + front;
  return line.ends_with(':') ? takeNames(KeyLook::kWifi, value, begin + line.size() - 1) : begin;
}

// <SSID><hex>486f6d65</hex><name>Home</name></SSID> of a wireless profile: the same name twice.
TextRedactor::Place TextRedactor::takeSsid(Place begin, Place end) {
  constexpr std::size_t kNear = 64;
  constexpr std::string_view kBegin = "<name>";
  constexpr std::string_view kEnd = "</hex>";
  const auto withoutBlanks = [](std::string_view all) {
    return all.substr(0, all.find_last_not_of(" \t\r\n") + 1);
  };
  std::string_view front = withoutBlanks(text(begin - std::min(begin, kNear), begin));
  front.remove_suffix(front.ends_with("<hex>") ? 5 : 0);
  const std::string_view hex = text(begin, end);
  if (!withoutBlanks(front).ends_with("<SSID>") || hex.empty() ||
      !std::all_of(hex.begin(), hex.end(), [](char c) { return isHexByte(static_cast<unsigned char>(c)); })) {
    return begin;
  }
  const std::string_view rest = seen(end, 2 * kNear);
  const std::size_t named =
      rest.starts_with(kEnd) ? rest.find_first_not_of(" \t\r\n", kEnd.size()) : rest.size();
  const bool hasName = named < rest.size() && rest.substr(named).starts_with(kBegin);
  const Place first = end + (hasName ? named + kBegin.size() : 0);
  Place last = first;
  while (hasName && last - first < kNear && at(last) >= ' ' && at(last) != '<') {
    ++last;
  }
  const std::string_view name = last > first ? text(first, last) : hex;
  const std::string standIn = m_rStandIns.label(RedactKind::kWifi, name);
  replace(begin, end, RedactKind::kWifi, standIn);
  if (last > first) {
    found(RedactKind::kWifi, name);
    replace(first, last, RedactKind::kWifi, standIn);
  }
  return std::max(last, end);
}

// Where a realm of Kerberos ends that begins here: capitals, with or without a dot (RFC 4120).
TextRedactor::Place TextRedactor::realmEnd(Place begin) const {
  constexpr std::size_t kShortest = 3;
  constexpr std::size_t kLongest = 253;
  Place end = begin;
  while (end - begin < kLongest &&
         ((at(end) >= 'A' && at(end) <= 'Z') || isDigitByte(at(end)) || at(end) == '.' || at(end) == '-')) {
    ++end;
  }
  while (end > begin && !isWordByte(at(end - 1))) {
    --end;
  }
  const bool isRealm = end - begin >= kShortest && isLetterByte(at(begin)) && !isIdentifierByte(at(end)) &&
                       isHostText(text(begin, end));
  return isRealm ? end : begin;
}

// "Client: jane @ ACME.DE" in a list of tickets.
TextRedactor::Place TextRedactor::takeClient(Place begin) {
  const Place last = userEnd(begin);
  const Place realm = last + 3;
  const Place end = realmEnd(realm);
  if (last == begin || seen(last, 3) != " @ " || end == realm) {
    return begin;
  }
  replaceUser(begin, last);
  replaceHost(realm, end);
  return std::max(end, m_nCopied);
}

// "Client 'jane@ACME' not found in Kerberos database", "Default principal: jane@ACME", "krbtgt/ACME@ACME": a
// name and its realm, which needs no dot. The run in [begin, end) stands in front of the '@'.
TextRedactor::Place TextRedactor::tryPrincipal(Place begin, Place end) {
  static constexpr std::array<std::string_view, 7> kWords = {"Client '", "rincipal", "kinit",  "klist",
                                                             "krb5",     "krbtgt",   "erberos"};
  const Place realm = end + 1;
  const Place last = realmEnd(realm);
  if (last == realm || userEnd(begin) != end || !isLetterByte(at(begin))) {
    return begin;
  }
  const std::string_view front = lineFront(begin);
  if (std::none_of(kWords.begin(), kWords.end(),
                   [front](std::string_view word) { return front.find(word) != std::string_view::npos; })) {
    return begin;
  }
  if (front.ends_with('/')) {
    replaceHost(begin, end);
  } else {
    replaceUser(begin, end);
  }
  replaceHost(realm, last);
  return std::max(last, m_nCopied);
}

// " 14...3c 52 82 7e 11 0a ......Acme Ethernet Adapter": the hardware address in a table of interfaces.
void TextRedactor::tryInterfaceLine(Place lineBegin) {
  constexpr std::size_t kWidest = 4;
  Place place = lineBegin;
  while (place - lineBegin < kWidest && (at(place) == ' ' || isDigitByte(at(place)))) {
    ++place;
  }
  if (seen(place, 3) != "..." || place == lineBegin || !isDigitByte(at(place - 1))) {
    return;
  }
  const Place begin = place + 3;
  const Place end = begin + kDashedMac;
  for (place = begin; place < end; place += 3) {
    if (!isHexByte(at(place)) || !isHexByte(at(place + 1)) || at(place + 2) != ' ') {
      return;
    }
  }
  if (seen(end, 4) == " ...") {
    MacBytes bytes = {};
    bytesOf(text(begin, end), bytes.data(), bytes.size());
    replaceMac(begin, end, bytes);
    m_nPlace = std::max(end, m_nCopied);
  }
}

}  // namespace halvo
