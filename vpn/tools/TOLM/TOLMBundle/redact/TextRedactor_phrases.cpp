// Values that stand behind a blank and nothing else, and places that tell what they hold by their shape
// alone.

#include <algorithm>
#include <array>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/EverydayWords.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestName = 64;
constexpr std::size_t kTunnelKey = 43;  // digits in Base64, in front of one "="

bool isNameByte(unsigned char c) {
  return isWordByte(c) || c == '-' || c == '_' || c == '.';
}

bool isBase64Byte(unsigned char c) {
  return (isWordByte(c) && c < 128) || c == '+' || c == '/';
}

bool isPlainWord(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

bool hasDigit(std::string_view text) {
  return text.find_first_of("0123456789") != std::string_view::npos;
}

// Texts in front of the value that a management interface asks for: password "Auth" "hunter2".
bool isRealm(std::string_view text) {
  return text == "Auth" || text == "Private Key" || text == "HTTP Proxy" || text == "SOCKS Proxy";
}

}  // namespace

// "wpa-psk hunter2", "user 'jane'", "User <jane>", "User [jane]": the word in [begin, end), and behind blanks
// `place`.
TextRedactor::Place TextRedactor::tryPhrase(Place begin, Place end, Place place) {
  const std::string_view word = text(begin, end);
  const PhraseGuess guess = mayBePhrase(word);
  const unsigned char opening = at(place);
  const bool opens = opening == '"' || opening == '\'' || opening == '<' || opening == '[' || opening == '0';
  if (guess == PhraseGuess::kNone || (guess == PhraseGuess::kFront && !opens && !isLineFront(begin))) {
    return begin;
  }
  const std::string_view before = wordBefore(begin);
  const Phrase phrase = phraseOf(before, word);
  const auto may = [&phrase](PhraseForm form) { return (phrase.forms & form) != 0; };
  if (phrase.look == KeyLook::kNone) {
    return begin;
  }
  if (may(kPhraseLookup)) {
    return std::max(begin, tryLookup(place));
  }
  if (phrase.look == KeyLook::kSearchLine) {
    return trySearchLine(begin, place);
  }
  const bool isBehindColon =
      begin > 0 && (at(begin - 1) == ':' || (begin > 1 && at(begin - 1) == ' ' && at(begin - 2) == ':'));
  if (may(kPhraseBehindColon) && !isBehindColon) {
    return begin;
  }
  Value value;
  value.begin = place;
  if ((opening == '<' || opening == '[') && may(kPhraseAngle)) {
    const unsigned char closing = opening == '<' ? '>' : ']';
    Place last = place + 1;
    while (last - place < kLongestName && isNameByte(at(last))) {
      ++last;
    }
    if (at(last) != closing || at(begin) != 'U' || last == place + 1) {
      return begin;
    }
    replaceUser(place + 1, last);
    return last;
  }
  if (opening == '"' || opening == '\'') {
    if (!may(kPhraseQuoted)) {
      return begin;
    }
    if (phrase.look == KeyLook::kRemoteLine) {
      return std::max(begin, trySelector(place));
    }
    value.ending = Ending::kQuote;
    value.quote = static_cast<char>(opening);
    ++value.begin;
    Place last = valueEnd(value);
    if (at(last) != opening && last - value.begin <= kLongestValue) {
      return begin;
    }
    bool isAsked = false;
    // Both together are in sight up to here; behind a longer one a secret goes on to its end unseen.
    const std::size_t size = last - value.begin;
    const bool isFar = size > kLongestValue / 2;
    const bool maySwallow =
        phrase.look == KeyLook::kSecret && size <= kLongestValue && !m_rKeep.keeps(RedactKind::kSecret);
    if (at(last) == opening && isBlankByte(at(last + 1)) && (!isFar || maySwallow) &&
        (phrase.look == KeyLook::kSecret || phrase.look == KeyLook::kUser)) {
      const bool isAnother = at(last + 2) == '"';
      const bool isOfRealm = isRealm(text(value.begin, last));
      isAsked = isAnother || isOfRealm;
      if (isAsked) {
        if (!isOfRealm) {
          takeValue(phrase.look, value);
          lookInto(value.begin, last);
        }
        value.begin = last + (isAnother ? 3 : 2);
        value.ending = isAnother ? Ending::kQuote : Ending::kWord;
        value.quote = '"';
        if (isFar) {
          m_Swallow = Swallow::kValue;
          m_SwallowValue = value;
          replace(value.begin, value.begin, RedactKind::kSecret, kSecretMark);
          return value.begin;
        }
        last = valueEnd(value);
      }
    }
    const std::string_view all = text(value.begin, last);
    // Sentences quote too, and their words are no names.
    const bool isOneWord = all.find_first_of(" \t") == std::string_view::npos;
    const bool isName =
        phrase.look == KeyLook::kUser || phrase.look == KeyLook::kUserMaybe || phrase.look == KeyLook::kHost;
    const bool isSecret = phrase.look == KeyLook::kSecret;
    if (all.empty() || (!isOneWord && !isAsked && (isName || (isSecret && !may(kPhraseBlanks)))) ||
        (isName && isSystemAccount(last)) || (isSecret && isCommonWord(all))) {
      return begin;
    }
    return takeValue(phrase.look, value);
  }
  if (isBehindColon && (phrase.forms & kPhraseQuoted) != 0 && phrase.look == KeyLook::kSecret &&
      opening == '0' && (at(place + 1) == 'x' || at(place + 1) == 's')) {
    return takeValue(phrase.look, value);  // : PSK 0x...
  }
  if (phrase.look == KeyLook::kId) {
    return std::max(begin, tryBareId(place));
  }
  if (const Place done = may(kPhraseBssid) ? tryBesideBssid(place) : begin; done > place) {
    return done;
  }
  if (may(kPhraseAny)) {
    const std::string_view all = text(place, valueEnd(value));
    const bool isWord = phrase.look == KeyLook::kHost
                            ? isEverydayText(all.substr(0, all.find_last_not_of(':') + 1))
                            : isPlainWord(all);
    return isWord ? begin : takeValue(phrase.look, value);
  }
  if ((!may(kPhraseFront) && !may(kPhraseDigit)) ||
      !isLineFront(phrase.isPair ? begin - before.size() - 1 : begin)) {
    return begin;
  }
  if (phrase.look == KeyLook::kRemoteLine) {
    return tryRemoteLine(begin, place);
  }
  if (phrase.look == KeyLook::kLoginLine) {
    return tryLoginLine(begin, end, place);
  }
  value.ending = Ending::kLine;
  const Place lineEnd = valueEnd(value);
  std::string_view all = text(place, lineEnd);
  all = all.substr(0, all.find_last_not_of(" \t\r") + 1);
  const bool isOneWord = all.find_first_of(" \t") == std::string_view::npos;
  if (lineEnd - place > kLongestName + kLongestName ||
      all.find_first_of("=:(){}<>[]") != std::string_view::npos) {
    return begin;
  }
  if (may(kPhraseDigit) && !(isOneWord && hasDigit(all) && all.front() != '/')) {
    return begin;
  }
  return takeValue(phrase.look, value);
}

// "search acme corp.acme" and "domain acme" of resolv.conf: in front of a line that has names alone, and
// known by the lines around it. One name alone is taken without these, and not looked for elsewhere.
TextRedactor::Place TextRedactor::trySearchLine(Place begin, Place place) {
  constexpr std::size_t kNear = 400;
  if ((begin > 0 && at(begin - 1) != '\n') || !isWordByte(at(place))) {
    return begin;
  }
  std::size_t words = 1;
  Place end = place;
  while (end - place < kNear && (isNameByte(at(end)) || isBlankByte(at(end)))) {
    words += isBlankByte(at(end)) && isNameByte(at(end + 1)) ? 1 : 0;
    ++end;
  }
  const unsigned char next = at(end);
  while (end > place && isBlankByte(at(end - 1))) {
    --end;
  }
  if ((next != '\n' && next != '\r' && next != 0) || at(end - 1) == '.') {
    return begin;
  }
  const std::string_view behind = seen(end, kNear);
  const std::string_view ahead = seen(begin - std::min(begin, kNear), std::min(begin, kNear));
  bool isSettings = false;
  for (const std::string_view name : {"nameserver ", "search ", "domain ", "options "}) {
    const std::string line = "\n" + std::string(name);
    isSettings = isSettings || behind.find(line) != std::string_view::npos ||
                 ahead.find(line) != std::string_view::npos || (begin <= kNear && ahead.starts_with(name));
  }
  const std::string_view first = text(place, end).substr(0, text(place, end).find_first_of(" \t"));
  isSettings = isSettings || hostLook(first) == HostLook::kStrong;
  if (!isSettings && words > 1) {
    return begin;
  }
  if (isSettings) {
    return takeHosts(place, end);
  }
  replaceHost(place, end, false);
  return std::max(end, m_nCopied);
}

// "remote vpn-acme 1194 udp", "http-proxy px7 3128 auth.txt basic" of a tunnel's settings.
TextRedactor::Place TextRedactor::tryRemoteLine(Place begin, Place place) {
  Place end = place;
  while (end - place < 256 && isNameByte(at(end))) {
    ++end;
  }
  const std::string_view host = text(place, end);
  const auto isLineEnd = [this](Place at0) { return at(at0) == '\n' || at(at0) == '\r' || at(at0) == 0; };
  if (host.empty() || host.find_first_not_of("0123456789.") == std::string_view::npos ||
      !isWordByte(at(end - 1))) {
    return begin;
  }
  bool isSetting = isLineEnd(end) && host.find_first_of(".-0123456789") != std::string_view::npos;
  if (at(end) == ' ') {
    Place port = end + 1;
    while (port - end < 7 && isDigitByte(at(port))) {
      ++port;
    }
    const std::string_view rest = std::string_view(m_Window).substr(port, 4);
    isSetting =
        port > end + 1 && (isLineEnd(port) || rest == " tcp" || rest == " udp" || rest.starts_with(" #") ||
                           (at(begin) != 'r' && at(port) == ' ' && !isEverydayWord(host)));
  }
  if (!isSetting) {
    return begin;
  }
  replaceHost(place, end);
  return std::max(end, m_nCopied);
}

// "--user jane", "--password hunter2".
TextRedactor::Place TextRedactor::tryOption(Place begin, Place end, Place place) {
  const KeyLook look = keyLook({}, text(begin, end));
  const bool isSecret = look == KeyLook::kSecret || look == KeyLook::kSecretWord || look == KeyLook::kToken ||
                        look == KeyLook::kPersonal;
  if ((!isSecret && look != KeyLook::kUser) || (look == KeyLook::kUser && isFlagOfUser(begin, place))) {
    return begin;
  }
  const Value value = bareOrQuoted(place);
  if (look == KeyLook::kUser) {
    if (const Place done = tryCredentials(begin, value); done > value.begin) {
      return done;
    }
  }
  return takeValue(look, value);
}

// "curl -u jane:hunter2", "--user 'jane:hunter2'". Other programs have a group behind the colon, or another
// thing behind "-u".
TextRedactor::Place TextRedactor::tryCredentials(Place option, const Value& value) {
  constexpr std::size_t kNear = 480;
  const Place begin = value.begin;
  const Place end = valueEnd(value);
  const std::string_view all = text(begin, std::min(end, begin + 4 * kLongestName));
  const std::size_t colon = all.find(':');
  if (colon == std::string_view::npos || all.substr(colon).starts_with("://") || !isWordByte(at(begin)) ||
      begin + colon + 1 >= end ||
      all.substr(0, colon).find_first_of(" \t/=,;()<>{}$%") != std::string_view::npos) {
    return begin;
  }
  std::string_view line = seen(option - std::min(option, kNear), std::min(option, kNear));
  line = line.substr(line.rfind('\n') + 1);
  const std::string_view group = all.substr(colon + 1);
  if (holdsStandIn(group)) {
    return begin;  // it was looked at before
  }
  if (line.find("curl") == std::string_view::npos) {
    // An address, and what stands for one, are of these digits and letters.
    if (at(option + 1) != '-' || !hasDigit(group) || group.find(':') != std::string_view::npos ||
        std::none_of(group.begin(), group.end(), [](char c) {
          return isLetterByte(static_cast<unsigned char>(c)) && !isHexByte(static_cast<unsigned char>(c));
        })) {
      return begin;
    }
  }
  Value user = value;
  user.ending = Ending::kQuote;  // its end is known
  if (takeUser(user, begin + colon) == begin) {
    lookInto(begin, begin + colon);
  }
  Value secret = value;
  secret.begin = begin + colon + 1;
  return std::max(takeSecret(secret), m_nCopied);
}

// "s/n", at its last letter.
bool TextRedactor::isSerialName(Place letter) const {
  return isSame(text(letter - 2, letter + 1), "s/n") && (letter == 2 || !isWordByte(at(letter - 3)));
}

// "S/N PF2ABC99", "IMEI 356938035643809": without a sign between them, so that the value must look like one.
// Gives back where it stands where it doesn't.
TextRedactor::Place TextRedactor::tryBareId(Place begin) {
  Place last = begin;
  while (last - begin < kLongestName && (isWordByte(at(last)) || at(last) == '-')) {
    ++last;
  }
  const bool isCapital = std::none_of(m_Window.begin() + static_cast<std::ptrdiff_t>(begin),
                                      m_Window.begin() + static_cast<std::ptrdiff_t>(last),
                                      [](char c) { return c >= 'a' && c <= 'z'; });
  const unsigned char next = at(last);
  if (!isCapital || last == begin || !isWordByte(at(last - 1)) || next == '_' || next == '/' || next == ':' ||
      next == '%' || (next == '.' && isWordByte(at(last + 1)))) {
    return begin;
  }
  Value value;
  value.begin = begin;
  return takeNames(KeyLook::kId, value, last);
}

// "Serial Number:" of a certificate that is written as text: its bytes stand in the next line. Elsewhere they
// are written without colons.
TextRedactor::Place TextRedactor::takeSerialBelow(Place begin) {
  constexpr std::size_t kFarthestSerial = 64;
  constexpr std::size_t kFewestBytes = 4;
  constexpr std::size_t kMostBytes = 32;
  Place first = begin + (at(begin) == '\r' ? 1U : 0U);
  if (at(first) != '\n') {
    return begin;
  }
  const Place line = ++first;
  while (first - line < kFarthestSerial && isBlankByte(at(first))) {
    ++first;
  }
  std::string plain;
  Place last = first;
  while (isHexByte(at(last)) && isHexByte(at(last + 1)) && plain.size() < 2 * kMostBytes) {
    plain += text(last, last + 2);
    last += 2;
    if (at(last) != ':') {
      break;
    }
    ++last;
  }
  if (first == line || plain.size() < 2 * kFewestBytes || at(last - 1) == ':' ||
      !(isSpaceByte(at(last)) || at(last) == 0)) {
    return begin;
  }
  found(RedactKind::kId, plain);
  if (m_pCollector == nullptr) {
    replace(first, last, RedactKind::kId, m_rStandIns.label(RedactKind::kId, plain));
  }
  return last;
}

// "systemctl --user start", "pip install --user x", "(systemd --user integration)", "the --user option": no
// name follows.
bool TextRedactor::isFlagOfUser(Place begin, Place value) const {
  static constexpr std::array<std::string_view, 9> kPrograms = {
      "systemctl", "systemd", "journalctl", "loginctl", "busctl", "pip", "install", "flatpak", "dbus"};
  static constexpr std::array<std::string_view, 12> kWords = {
      "option", "flag", "switch", "mode", "session", "manager", "units", "instance", "and", "or", "is", "to"};
  constexpr std::size_t kNear = 120;
  std::string_view line = seen(begin - std::min(begin, kNear), std::min(begin, kNear));
  line = line.substr(line.rfind('\n') + 1);
  for (const std::string_view program : kPrograms) {
    if (line.find(program) != std::string_view::npos) {
      return true;
    }
  }
  Place end = value;
  while (end - value < kLongestName && isNameByte(at(end))) {
    ++end;
  }
  const std::string_view word = text(value, end);
  return at(end) == ')' || std::any_of(kWords.begin(), kWords.end(),
                                       [word](std::string_view known) { return isSame(word, known); });
}

// The ids of machines and boots as a journal writes them, 32 digits: "-- Boot ID --", "-1 ID Sun 2026-03-15",
// /var/log/journal/ID, and behind the name of /etc/machine-id.
TextRedactor::Place TextRedactor::tryJournalId(Place begin, Place end) {
  static constexpr std::array<std::string_view, 7> kDays = {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"};
  constexpr std::string_view kNames = "/journal/";
  const std::string_view before = wordBefore(begin);
  std::string_view front = text(begin > 40 ? begin - 40 : 0, begin);
  bool isId = isSame(before, "boot") || front.ends_with(kNames);
  if (!isId && !before.empty() && before.find_first_not_of("-0123456789") == std::string_view::npos) {
    isId = at(end) == ' ' && std::find(kDays.begin(), kDays.end(), text(end + 1, end + 4)) != kDays.end();
  }
  const std::size_t last = front.find_last_not_of(" \t\r\n<>=:");
  front = front.substr(0, last == std::string_view::npos ? 0 : last + 1);
  isId = isId || front.ends_with("/machine-id");
  const std::string_view id = text(begin, end);
  if (!isId || id.find_first_not_of('0') == std::string_view::npos || holdsStandIn(id)) {
    return begin;
  }
  found(RedactKind::kId, id);
  if (m_pCollector == nullptr) {
    replace(begin, end, RedactKind::kId, m_rStandIns.label(RedactKind::kId, id));
  }
  return end;
}

// Lines of a tunnel's state with tabs between their fields, which may begin with the interface's name:
//   PRIVATE KEY, public key, port, mark
//   public key, SHARED KEY, endpoint, addresses, ...
// `begin` is where a field begins.
TextRedactor::Place TextRedactor::tryTunnelKeys(Place begin) {
  const auto isKey = [this](Place place) {
    if (at(place + kTunnelKey) != '=' || at(place + kTunnelKey + 1) != '\t') {
      return false;
    }
    const std::string_view digits = text(place, place + kTunnelKey);
    return std::all_of(digits.begin(), digits.end(),
                       [](char c) { return isBase64Byte(static_cast<unsigned char>(c)); });
  };
  if ((begin > 0 && at(begin - 1) != '\t' && at(begin - 1) != '\n') || !isKey(begin)) {
    return begin;
  }
  const Place second = begin + kTunnelKey + 2;
  if (!isKey(second)) {
    return begin;
  }
  const Place third = second + kTunnelKey + 2;
  Place last = third;
  while (last - third < 6 && isDigitByte(at(last))) {
    ++last;
  }
  const Place secret = last > third && at(last) == '\t' ? begin : second;
  replace(secret, secret + kTunnelKey + 1, RedactKind::kSecret, kSecretMark);
  return secret + kTunnelKey + 1;
}

}  // namespace halvo
