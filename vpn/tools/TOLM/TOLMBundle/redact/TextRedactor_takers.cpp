// What becomes of the values behind keys, by what the keys say.

#include <algorithm>
#include <array>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/EverydayWords.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::array<std::string_view, 9> kSchemes = {"bearer", "basic",  "digest", "negotiate", "ntlm",
                                                      "token",  "apikey", "oauth",  "hawk"};

bool isOfSmallLetters(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

// "Linux_6.1.0_xhci-hcd", "linux-64", "ttyUSB0": a controller, a platform, a device of the system's own.
bool isOfSystem(std::string_view name) {
  static constexpr std::array<std::string_view, 6> kFronts = {"Linux_", "linux-",   "win-",
                                                              "mac-",   "android-", "tty"};
  return std::any_of(kFronts.begin(), kFronts.end(),
                     [name](std::string_view front) { return name.starts_with(front); });
}

bool isUuidLike(std::string_view name) {
  return name.size() == 36 && name[8] == '-' && name[13] == '-';
}

// A host, an e-mail address or an address, of which what stands for it may be longer.
bool isNameOfSentence(std::string_view word) {
  word = word.substr(std::min(word.find('@') + 1, word.size()));
  word = word.substr(0, word.find_last_not_of(",.;:)") + 1);
  const bool isAddress = word.find_first_of(".:") != std::string_view::npos &&
                         word.find_first_not_of("0123456789abcdefABCDEF.:[]/%") == std::string_view::npos;
  word = word.substr(0, word.find(':'));
  const bool isOfHost = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
    return isIdentifierByte(static_cast<unsigned char>(c));
  });
  return isAddress || (isOfHost && word.front() != '.' && hostLook(word) != HostLook::kNone);
}

// "Times New Roman", "DejaVu Sans Bold": fonts have full names too.
bool isFontName(std::string_view name) {
  static constexpr std::array<std::string_view, 10> kOfFonts = {
      "sans", "serif", "mono", "monospace", "bold", "italic", "oblique", "condensed", "medium", "semibold"};
  if (isSame(name, "times new roman")) {
    return true;
  }
  const std::size_t first = name.find(' ');
  for (std::string_view rest = name.substr(std::min(first, name.size())); !rest.empty();) {
    rest.remove_prefix(1);
    const std::string_view word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(word.size());
    if (std::any_of(kOfFonts.begin(), kOfFonts.end(),
                    [word](std::string_view known) { return isSame(word, known); })) {
      return true;
    }
  }
  return false;
}

}  // namespace

TextRedactor::Place TextRedactor::takeValue(KeyLook look, Value value) {
  const bool isBare = value.ending == Ending::kWord;
  const bool isSecretList = isBare && at(value.begin) == '[';
  const Place listed = look == KeyLook::kSecret && isSecretList ? valueEnd(value) : 0;
  if (look == KeyLook::kSecretList ||
      (listed > 0 && (at(listed) == ',' || saysNothing(text(value.begin, listed))))) {
    return isSecretList ? takeSecretList(value.begin) : value.begin;
  }
  if (look >= KeyLook::kElementHost) {
    return takeOfSystem(look, value);
  }
  if (look == KeyLook::kSecretItem) {
    value.ending = isBare ? Ending::kItem : value.ending;
    return takeSecret(value);
  }
  if (look == KeyLook::kUserPass) {
    return takeUserPass(value);
  }
  if (look == KeyLook::kSecretLine) {
    return !isBare ? takeSecret(value) : isSecretList ? takeHeaderList(value) : takeHeader(value);
  }
  if (look == KeyLook::kMessage) {
    constexpr std::size_t kShortestMessage = 24;
    for (const Place front = value.begin; value.begin - front < 64 && isSpaceByte(at(value.begin));) {
      ++value.begin;
    }
    const std::string_view all = text(value.begin, std::min(valueEnd(value), value.begin + kLongestValue));
    const std::string_view front = all.substr(0, kShortestMessage);
    const bool isMessage =
        front.size() == kShortestMessage && std::all_of(front.begin(), front.end(), [](char c) {
          return isPlainByte(static_cast<unsigned char>(c)) ||
                 std::string_view("+/=%").find(c) != std::string_view::npos;
        });
    return isMessage && !holdsStandIn(all) ? takeSecret(value) : value.begin;
  }
  if (look == KeyLook::kSecret || look == KeyLook::kSecretWord || look == KeyLook::kToken ||
      look == KeyLook::kPersonal) {
    const Place end = valueEnd(value);
    const std::string_view all = text(value.begin, end);
    if (isNoSecret(look, value, all)) {
      return value.begin;
    }
    if (isBare && value.isColon && !value.wasQuoted && isRemark(value)) {
      return value.begin;
    }
    // The value may hold blanks then.
    const bool isPair =
        isBare && !value.isColon && (look == KeyLook::kSecret || look == KeyLook::kSecretWord);
    if (isPair && m_bOfForm) {
      value.ending = Ending::kPair;
    } else if (!saysNothing(all) &&
               ((isBare && value.isColon && !value.wasQuoted && hasLineForItself(value.begin)) ||
                (isPair && !value.wasQuoted && hasWordsBehind(value, end)))) {
      value.ending = Ending::kLine;
    }
    return takeSecret(value);
  }
  if (look == KeyLook::kUserIds) {
    return takeUserIds(value.begin);
  }
  if (look == KeyLook::kId && isBare && value.isColon) {
    if (const Place done = takeSerialBelow(value.begin); done > value.begin) {
      return done;
    }
  }
  const bool isOfLine = look == KeyLook::kFullName || look == KeyLook::kDisplayName ||
                        look == KeyLook::kNamePart || look == KeyLook::kWifi ||
                        look == KeyLook::kConnection || look == KeyLook::kHosts;
  if (isBare && isOfLine && value.isColon) {
    value.ending = Ending::kLine;
  }
  if (look == KeyLook::kUserMaybe && isBare && value.isColon) {
    return value.begin;
  }
  if (look == KeyLook::kUser && isBare && value.isColon) {
    if (const Place done = takeWholeUser(value); done > value.begin) {
      return done;
    }
  }
  if (look == KeyLook::kComputer) {
    if (const Place done = takeComputer(value); done > value.begin) {
      return done;
    }
    look = KeyLook::kHost;
  }
  constexpr std::size_t kLongestWithBlanks = 512;
  Place end = valueEnd(value, kLongestWithBlanks);
  if (end - value.begin > kLongestWithBlanks || (isBare && isNextKey(value.begin))) {
    return value.begin;
  }
  end = isBare && look == KeyLook::kWifi ? wifiEnd(value.begin, end) : end;
  while (end > value.begin && isSpaceByte(at(end - 1))) {
    --end;
  }
  if (end - value.begin > 256 || end == value.begin ||
      (value.ending == Ending::kElement && text(value.begin, end).find('<') != std::string_view::npos)) {
    return value.begin;
  }
  return takeNames(look, value, end);
}

// "ruser= rhost=84.17.52.7": behind a blank the next name, where the value is empty.
bool TextRedactor::isNextKey(Place begin) const {
  constexpr std::size_t kLongestNext = 64;
  if (begin == 0 || !isBlankByte(at(begin - 1)) || !isLetterByte(at(begin))) {
    return false;
  }
  Place end = begin;
  while (end - begin < kLongestNext && isIdentifierByte(at(end))) {
    ++end;
  }
  return at(end) == '=' && at(end + 1) != '=';
}

// Headers as programs keep them: "Cookie":["a=b","c=d"], map[Authorization:[Bearer abc]], {Cookie=[a=b]}.
TextRedactor::Place TextRedactor::takeHeaderList(Value value) {
  constexpr std::size_t kShortestToken = 16;
  Place first = value.begin + 1;
  while (first - value.begin < 32 && isSpaceByte(at(first))) {
    ++first;
  }
  if (at(first) == '"' || at(first) == '\'' || escapesOfQuote(first) > 0) {
    return takeSecretList(value.begin);
  }
  value.begin = first;
  value.ending = Ending::kLine;
  value.around = ']';
  const std::string_view all = text(first, valueEnd(value, kShortestToken));
  // "cookie: [none]", cookie => [$a, $b]
  const bool isOne = all.size() < kShortestToken && all.find_first_of(" =") == std::string_view::npos;
  return isOne || (!isWordByte(at(first)) && at(first) != '_') ? value.begin : takeHeader(value);
}

// "Cookie: a=b; c=d" and "Authorization: Bearer ...", up to the line's end; and what only begins so:
// "SPI cookie: 0x1 state=up", "authorization: failed for peer 4".
TextRedactor::Place TextRedactor::takeHeader(Value value) {
  constexpr std::size_t kShortestToken = 16;
  const Place begin = value.begin;
  value.ending = Ending::kLine;
  // Where such keys stand again and again in one sentence, each would look at all of it.
  Value rest = value;
  rest.begin = value.around == m_cSentenceAround ? std::max(begin, m_nSentenceEnd) : begin;
  const Place end = std::min(valueEnd(rest, kLongestValue - (rest.begin - begin)), begin + kLongestValue);
  const std::string_view line = text(begin, end);
  const std::string_view first = line.substr(0, line.find_first_of(" \t,"));
  if (first.size() < line.size()) {
    if (saysNothing(first)) {
      return begin;
    }
    if (first.starts_with("0x") &&
        first.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string_view::npos) {
      value.ending = Ending::kWord;
      return takeSecret(value);
    }
    // A sentence, unless there is a word in it that looks like no other.
    bool isSentence = (isOfSmallLetters(first) || StandIns::isLabel(first)) &&
                      std::none_of(kSchemes.begin(), kSchemes.end(),
                                   [first](std::string_view scheme) { return first == scheme; });
    for (std::string_view words = text(rest.begin, end); isSentence && !words.empty();) {
      const std::string_view word = words.substr(0, words.find(' '));
      words.remove_prefix(std::min(words.size(), word.size() + 1));
      isSentence = word.find('=') == std::string_view::npos &&
                   (word.size() < kShortestToken || isNameOfSentence(word) || holdsStandIn(word));
    }
    if (isSentence) {
      // The last word may have been cut.
      m_nSentenceEnd = end - begin < kLongestValue ? end : begin + line.rfind(' ') + 1;
      m_cSentenceAround = value.around;
      return begin;
    }
  }
  return takeSecret(value);
}

TextRedactor::Place TextRedactor::takeNames(KeyLook look, const Value& value, Place end) {
  const Place begin = value.begin;
  const std::string_view name = text(begin, end);
  switch (look) {
    case KeyLook::kUserMaybe: {
      // A host, a certificate's subject, an id.
      const std::string_view front = name.substr(0, escapedSignIn(name));
      if (hostLook(front) != HostLook::kNone || front.find('=') != std::string_view::npos ||
          isUuidLike(front)) {
        return begin;
      }
      return takeUser(value, end);
    }
    case KeyLook::kUser:
      return takeUser(value, end);
    case KeyLook::kCommonName:
      return takeCommonName(value);
    case KeyLook::kHosts:
      return takeHosts(begin, end);
    case KeyLook::kDisplayName:
      return isPersonsName(name) ? takeNames(KeyLook::kFullName, value, end) : begin;
    case KeyLook::kNamePart:
      return isNamePart(name) ? takeNames(KeyLook::kFullName, value, end) : begin;
    case KeyLook::kFullName:
      if (name.find_first_of("@/\\<>{}[]=\"%") != std::string_view::npos || name.size() > 64 ||
          isFontName(name)) {
        return begin;
      }
      replaceUser(begin, end);
      // What stays may hold a name.
      return m_pCollector == nullptr && m_nCopied < end ? begin : end;
    case KeyLook::kHost:
    case KeyLook::kHostMaybe: {
      constexpr std::size_t kLongestWord = 32;
      if (look == KeyLook::kHost && name.starts_with("\\\\")) {
        Value host = value;
        host.begin = begin + 2;  // "LOGONSERVER=\\\\DC7"
        return takeNames(look, host, end);
      }
      Place last = begin;
      while (last < end && (isIdentifierByte(at(last)))) {
        ++last;
      }
      while (last > begin && !isWordByte(at(last - 1))) {
        --last;
      }
      const std::string_view host = text(begin, last);
      const bool isNumber = host.find_first_not_of("0123456789.") == std::string_view::npos;
      const bool looks = host.find_first_of(".-0123456789") != std::string_view::npos;
      const unsigned char next = at(last);
      if (isNumber || next == '/' || next == '@' || next == '%' ||
          (next == ':' && (at(last + 1) == '/' || (isHexByte(at(last + 1)) && host.size() <= 4))) ||
          (value.ending != Ending::kQuote && isEverydayWord(host)) ||
          (look == KeyLook::kHostMaybe &&
           (!looks || (host.find('.') == std::string_view::npos && value.isColon)))) {
        return begin;
      }
      if (look == KeyLook::kHostMaybe && host.find('.') != std::string_view::npos &&
          hostLook(host) == HostLook::kNone) {
        return begin;
      }
      // "hostname: sethostname: Operation not permitted", "hostname: unrecognized option": a sentence, unless
      // another name with its value follows.
      const Place word = last + (next == ':' ? 2U : 1U);
      Place wordEnd = word;
      while (wordEnd - word < kLongestWord && isIdentifierByte(at(wordEnd))) {
        ++wordEnd;
      }
      const bool goesOn = value.isColon && value.ending == Ending::kWord && isBlankByte(at(word - 1)) &&
                          wordEnd > word && at(wordEnd) != ':' && at(wordEnd) != '=';
      if (goesOn && !looks) {
        return begin;
      }
      replaceHost(begin, last, !goesOn || (next == ':' && looks));
      return std::max(last, m_nCopied);
    }
    case KeyLook::kId: {
      const bool hasDigit = name.find_first_of("0123456789") != std::string_view::npos;
      const bool isOne = name.find_first_of(" \t/\\<>{}()=:") == std::string_view::npos;
      if (name.size() < 6 || !hasDigit || !isOne || holdsStandIn(name) || StandIns::isUuid(name) ||
          name.find_first_not_of("0-xX") == std::string_view::npos || isOfSystem(name)) {
        return begin;
      }
      if (isUuidLike(name)) {
        return begin;  // told by its look
      }
      found(RedactKind::kId, name);
      if (m_pCollector == nullptr) {
        replace(begin, end, RedactKind::kId, m_rStandIns.label(RedactKind::kId, name));
      }
      return end;
    }
    case KeyLook::kConnection:
      // "Wired connection 1", "lo", "docker0", "--": nobody chose these.
      if (name.starts_with("Wired ") || !isWordByte(at(begin)) ||
          std::none_of(name.begin(), name.end(), [](char c) {
            return (c >= 'A' && c <= 'Z') || c == ' ' || static_cast<unsigned char>(c) > 127;
          })) {
        return begin;
      }
      [[fallthrough]];
    case KeyLook::kWifi:
      if (name.size() > 64 || isCommonWord(name) || holdsStandIn(name) || name == "off/any" ||
          (value.ending != Ending::kQuote && isOfSmallLetters(name) && isEverydayWord(name)) ||
          name.find_first_of("<>{}=") != std::string_view::npos) {
        return begin;
      }
      found(RedactKind::kWifi, name);
      if (m_pCollector == nullptr) {
        replace(begin, end, RedactKind::kWifi, m_rStandIns.label(RedactKind::kWifi, name));
      }
      return end;
    case KeyLook::kMac: {
      if (name.size() != 12 || !std::all_of(name.begin(), name.end(), [](char c) {
            return isHexByte(static_cast<unsigned char>(c));
          })) {
        return begin;
      }
      MacBytes bytes = {};
      for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] =
            static_cast<std::uint8_t>(hexValue(at(begin + 2 * i)) << 4U | hexValue(at(begin + 2 * i + 1)));
      }
      replaceMac(begin, end, bytes);
      return end;
    }
    default:
      return begin;
  }
}

// "ssid: Home Net, bss: a4:...", "ssid: Home Net  signal: -60": a network's name that isn't in quotes ends in
// front of the next value and of two blanks.
TextRedactor::Place TextRedactor::wifiEnd(Place begin, Place end) const {
  constexpr std::size_t kLongestNext = 32;
  for (Place place = begin; place < end; ++place) {
    if (!isBlankByte(at(place))) {
      continue;
    }
    Place word = place + 1;
    while (word - place < kLongestNext && word < end && isIdentifierByte(at(word))) {
      ++word;
    }
    const bool isKey =
        isLetterByte(at(place + 1)) &&
        (at(word) == '=' || (at(word) == ':' && (isBlankByte(at(word + 1)) || word + 1 == end)));
    if (isKey || isBlankByte(at(place + 1))) {
      return place > begin && (at(place - 1) == ',' || at(place - 1) == ';') ? place - 1 : place;
    }
  }
  return end;
}

// "SSID Home Net BSSID a4:...": behind `begin` the word for the access point's address.
TextRedactor::Place TextRedactor::tryBesideBssid(Place begin) {
  constexpr std::size_t kLongestSsid = 32;
  constexpr std::string_view kNext = " BSSID ";
  std::string_view name = seen(begin, kLongestSsid + kNext.size());
  name = name.substr(0, name.find('\n'));
  const std::size_t size = name.find(kNext);
  if (size == std::string_view::npos || !isWordByte(at(begin))) {
    return begin;
  }
  Value value;
  value.begin = begin;
  return takeNames(KeyLook::kWifi, value, begin + name.substr(0, size).find_last_not_of(" ,;") + 1);
}

// Names of domains and hosts with blanks, commas or semicolons between them; addresses stand among them.
TextRedactor::Place TextRedactor::takeHosts(Place begin, Place end) {
  constexpr std::string_view kSigns = " \t,;~*";
  constexpr std::size_t kMostPlainWords = 3;
  std::size_t plain = 0;
  bool hasEveryday = false;
  bool hasName = false;
  for (Place place = begin; place < end;) {
    const Place first = place;
    bool hasDot = false;
    while (place < end && !isBlankByte(at(place)) && at(place) != ',') {
      hasDot = hasDot || at(place) == '.' || at(place) == ';' || at(place) == ':';
      ++place;
    }
    plain += !hasDot && place > first && isLetterByte(at(first)) && isBlankByte(at(place)) ? 1 : 0;
    hasEveryday = hasEveryday || (!hasDot && isEverydayWord(text(first, place)));
    hasName = hasName || hasDot;
    ++place;
  }
  const std::string_view all = text(begin, end);
  const bool isOther = std::any_of(all.begin(), all.end(), [kSigns](char c) {
    return !isIdentifierByte(static_cast<unsigned char>(c)) && kSigns.find(c) == std::string_view::npos &&
           c != '/' && c != ':';
  });
  if (plain > kMostPlainWords || (hasEveryday && !hasName) ||
      all.find(kSecretMark) != std::string_view::npos ||
      (isOther && all.find(' ') != std::string_view::npos)) {
    return begin;  // a sentence
  }
  Place done = begin;
  for (Place place = begin; place < end;) {
    if (kSigns.find(static_cast<char>(at(place))) != std::string_view::npos || at(place) == '.') {
      ++place;
      continue;
    }
    Place last = place;
    while (last < end && isIdentifierByte(at(last))) {
      ++last;
    }
    while (last > place && !isWordByte(at(last - 1))) {
      --last;
    }
    const Place next = last + (at(last) == '.' && last < end ? 1 : 0);
    const bool isName = last > place && isHostText(text(place, last)) &&
                        (next >= end || kSigns.find(static_cast<char>(at(next))) != std::string_view::npos);
    if (isName) {
      replaceHost(place, last);
    } else if (tryIpv4(place, last) == place) {
      break;  // for those who know what it is
    }
    if (!isName && at(last) == '/') {
      ++last;
      while (last < end && isDigitByte(at(last))) {
        ++last;
      }
    }
    done = place = last;
  }
  return std::max(done, m_nCopied);
}

}  // namespace halvo
