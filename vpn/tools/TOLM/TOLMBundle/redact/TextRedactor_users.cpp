// What becomes of the values behind keys that name users.

#include <algorithm>
#include <array>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/EverydayWords.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

// Words in the names of issuers and of the keys that they issue.
bool isOfIssuer(std::string_view word) {
  static constexpr std::array<std::string_view, 29> kWords = {
      "root",         "ca",          "authority",     "global",   "issuing", "class",
      "server",       "client",      "trust",         "security", "public",  "signing",
      "code",         "service",     "services",      "network",  "policy",  "device",
      "intermediate", "certificate", "certification", "system",   "vpn",     "openvpn",
      "rsa",          "ecc",         "ecdsa",         "tls",      "ssl"};
  return std::any_of(kWords.begin(), kWords.end(),
                     [word](std::string_view known) { return isSame(word, known); });
}

// "R11", "vpn-client", "device-01", "Easy-RSA": called so everywhere.
bool isNameOfKey(std::string_view name) {
  const std::size_t capitals = std::min(name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), name.size());
  const bool isNumbered = name.find_first_not_of("0123456789", capitals) == std::string_view::npos;
  if (isNumbered && capitals < 4 && name.size() - capitals < 3) {
    return true;
  }
  bool areAll = true;
  while (!name.empty()) {
    const std::size_t size = std::min(name.find_first_of("-_."), name.size());
    const std::string_view word = name.substr(0, name.substr(0, size).find_last_not_of("0123456789") + 1);
    if (isSame(word, "ca") || isSame(word, "rsa") || isSame(word, "ecc") || isSame(word, "root")) {
      return true;
    }
    areAll = areAll && (word.empty() || isOfIssuer(word));
    name.remove_prefix(std::min(name.size(), size + 1));
  }
  return areAll;
}

// Two or three words with a capital each: "Jane Doe", "Anne-Marie O'Brien".
bool isFullName(std::string_view name) {
  std::size_t words = 0;
  while (!name.empty()) {
    const std::string_view word = name.substr(0, name.find(' '));
    name.remove_prefix(std::min(name.size(), word.size() + 1));
    char before = ' ';
    for (const char c : word) {
      const bool isCapital = c >= 'A' && c <= 'Z';
      const bool isOther = (c >= 'a' && c <= 'z') || c == '-' || c == '\'';
      if (!isCapital && static_cast<unsigned char>(c) < 128 && (before == ' ' || !isOther)) {
        return false;
      }
      if (isCapital && before != ' ' && before != '-' && before != '\'') {
        return false;
      }
      before = c;
    }
    if (word.size() < 2 || isOfIssuer(word) || ++words > 3) {
      return false;
    }
  }
  return words > 1;
}

bool holdsEverydayWord(std::string_view name) {
  while (!name.empty()) {
    const std::string_view word = name.substr(0, name.find(' '));
    name.remove_prefix(std::min(name.size(), word.size() + 1));
    if (isEverydayText(word) && !isCalendarWord(word)) {
      return true;
    }
  }
  return false;
}

// "issuer=", "Issuer: ", and "  i:" in a list of certificates.
bool isIssuerLine(std::string_view front) {
  const std::size_t first = std::min(front.find_first_not_of(" \t"), front.size());
  front.remove_prefix(first);
  return front.starts_with("i:") || isSame(front.substr(0, 6), "issuer");
}

constexpr char32_t kEscapeCode = 0x1b;

// "password=" at the front of `text`: a name and its sign.
bool beginsKey(std::string_view text) {
  const std::size_t size = static_cast<std::size_t>(
      std::find_if_not(text.begin(), text.end(),
                       [](char c) { return isIdentifierByte(static_cast<unsigned char>(c)); }) -
      text.begin());
  return size > 0 && size < text.size() && text[size] == '=';
}

}  // namespace

// What the backslashes at `place` begin in a user's name. A sign that is written as an escape ("\\u0026",
// "\\x26", "\\046", "\\'") ends the name, and so do a line's end and the next name of a value. "CORP\\nadine"
// is a domain and a name, and so is "CORP\\u001234": digits alone follow, and more than an escape has.
TextRedactor::Slashes TextRedactor::slashesAt(std::string_view name, std::size_t place) {
  const std::size_t letter = std::min(name.find_first_not_of('\\', place), name.size());
  if (letter == name.size()) {
    return {SlashKind::kSign, letter, 0};
  }
  const auto first = static_cast<unsigned char>(name[letter]);
  if (!isUserByte(first) && first != '@' && first != '/' && first != '%') {
    return {SlashKind::kSign, letter + 1, first};
  }
  const std::string_view behind = name.substr(letter);
  if (beginsKey(behind) && mayBeKey(behind.substr(0, behind.find('=')))) {
    return {SlashKind::kSign, letter, '='};
  }
  if (first == 'e' && name.substr(letter + 1).starts_with('[')) {
    return {SlashKind::kSign, letter + 1, kEscapeCode};
  }
  if (first == 'n' || first == 'r' || first == 't') {
    const std::string_view rest = name.substr(letter + 1);
    // Behind two the next backslash is no part of the word: one in a text that is quoted.
    const std::string_view word = rest.substr(0, letter - place > 1 ? rest.find('\\') : rest.size());
    const bool goesOn = place > 0 && !word.empty() && isWordByte(static_cast<unsigned char>(word.front())) &&
                        word.find_first_of("=:\\") == std::string_view::npos;
    return {goesOn ? SlashKind::kDomain : SlashKind::kSign, letter + 1, first == 't' ? U'\t' : U'\n'};
  }
  const bool isHex = first == 'u' || first == 'x';
  const std::string_view rest = name.substr(letter + (isHex ? 1 : 0));
  const std::size_t digits = first == 'u' ? 4 : first == 'x' ? 2 : 3;
  const std::string_view code = rest.substr(0, digits);
  const std::string_view digitsOf(isHex ? "0123456789abcdefABCDEF" : "01234567");
  if (code.size() < digits || code.find_first_not_of(digitsOf) != std::string_view::npos ||
      (!isHex && rest.size() > digits && isDigitByte(static_cast<unsigned char>(rest[digits])))) {
    return {SlashKind::kDomain, letter, 0};
  }
  char32_t value = 0;
  for (const char c : code) {
    value = value * (isHex ? 16 : 8) + hexValue(static_cast<unsigned char>(c));
  }
  const bool isLetter = value < 0x80 ? isUserByte(static_cast<unsigned char>(value))
                                     : first != 'u' || highLook(value) != HighLook::kSign;
  const bool isNumber = rest.find_first_not_of("0123456789") == std::string_view::npos;
  const bool isCapital =
      place > 0 && std::none_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(place),
                                [](char c) { return c >= 'a' && c <= 'z'; });
  // A byte of 0x80 to 0xbf begins no letter.
  if ((isNumber && (rest.size() > digits || (isLetter && isCapital))) ||
      (first != 'u' && value >= 0x80 && value < 0xc0)) {
    return {SlashKind::kDomain, letter, 0};
  }
  return {isLetter ? SlashKind::kLetter : SlashKind::kSign, letter + (isHex ? 1 : 0) + digits, value};
}

// Where a sign that is written as an escape ends the name.
std::size_t TextRedactor::escapedSignIn(std::string_view name) {
  for (std::size_t place = name.find('\\'); place != std::string_view::npos;) {
    const Slashes slashes = slashesAt(name, place);
    if (slashes.kind == SlashKind::kSign && place > 0) {
      return place;
    }
    place = name.find('\\', slashes.end);
  }
  return name.size();
}

// "USER=", "LOGNAME=" of an environment or the summary's "User Name:", in front of `value`.
bool TextRedactor::isUserVariable(Place value) const {
  constexpr std::size_t kLongest = 9;
  const std::string_view front = text(value - std::min(value, kLongest), value);
  if (at(value - (value > 0 ? 1U : 0U)) == ' ') {
    constexpr std::string_view kOfSummary = "User Name:";
    std::string_view line = lineFront(value);
    line = line.substr(0, line.find_last_not_of(' ') + 1);
    return line == kOfSummary;
  }
  return front.ends_with("USER=") || front.ends_with("LOGNAME=") || front.ends_with("USERNAME=");
}

// jane, CORP\jane, jane@corp, M\u00fcller; "\u0022jane\u0022" and "jane\u0026x=1".
TextRedactor::Place TextRedactor::takeUser(const Value& value, Place end) {
  Place begin = value.begin;
  unsigned domains = 0;
  bool isSpelt = false;  // with letters that are written as escapes
  for (Place place = begin; place < end; ++place) {
    if (at(place) != '\\') {
      continue;
    }
    const Slashes slashes = slashesAt(text(begin, end), place - begin);
    const Place behind = begin + slashes.end;
    if (slashes.kind == SlashKind::kSign && place > begin) {
      end = place;
    } else if (slashes.kind == SlashKind::kSign) {
      // Other signs say that the value is empty.
      constexpr std::u32string_view kOpening = U"\t\x1b \"'`<([{";
      if (slashes.code < 128 && kOpening.find(slashes.code) == std::u32string_view::npos) {
        return value.begin;
      }
      begin = slashes.code == kEscapeCode && at(behind) == '[' ? std::min(colourEnd(behind), end) : behind;
      if (beginsKey(text(begin, end))) {
        return value.begin;
      }
    } else {
      domains += slashes.kind == SlashKind::kDomain ? 1U : 0U;
      isSpelt = isSpelt || slashes.kind == SlashKind::kLetter;
    }
    place = behind - 1;
  }
  const std::string_view name = text(begin, end);
  const bool isPath = domains > 1 && (name.front() == '\\' || name.find(':') != std::string_view::npos);
  if (name.find_first_of("/%") != std::string_view::npos || (isPath && !isSpelt)) {
    return value.begin;
  }
  if (const std::size_t sign = name.find('@'); sign != std::string_view::npos) {
    // "user:password@host" is another's, and an e-mail address is told by its look.
    Place last = begin + sign + 1;
    while (last < end && isIdentifierByte(at(last))) {
      ++last;
    }
    const std::string_view domain = text(begin + sign + 1, last);
    const std::string_view local = name.substr(0, sign);
    if (sign == 0 || last < end || (value.isColon && at(begin - 1) == ':') || !isHostText(domain) ||
        (hostLook(domain) != HostLook::kNone && !isReservedHost(domain)) ||
        !std::all_of(local.begin(), local.end(),
                     [](char c) { return isIdentifierByte(static_cast<unsigned char>(c)) || c == '+'; })) {
      return value.begin;
    }
    replaceUser(begin, begin + sign);
    replaceHost(begin + sign + 1, last);
    return std::max(last, m_nCopied);
  }
  const bool hasDomain = domains > 0 && !isSpelt;
  const Place user = hasDomain ? begin + name.rfind('\\') + 1 : begin;
  Place last = user;
  while (last < end &&
         (isWordByte(at(last)) || (isSpelt && at(last) == '\\') ||
          std::string_view("-_.+$ ").find(static_cast<char>(at(last))) != std::string_view::npos ||
          (at(last) == '\'' && last > user && last + 1 < end && isWordByte(at(last + 1))))) {
    ++last;
  }
  while (last > user && (at(last - 1) == ' ' || at(last - 1) == '.')) {
    --last;
  }
  // A call, a type, a comparison: a program and not a setting. "user:jane:" is a list of who may.
  const bool isOneOfList = at(last) == ':' && at(last + 1) != ':' && begin > 0 && at(begin - 1) == ':';
  const bool isCode = at(last) == '(' || at(last) == '<' || (at(last) == '[' && colourEnd(last) == last) ||
                      at(last) == '>' || (at(last) == ':' && !isOneOfList);
  // An address is told by its look.
  const bool isNumber = text(user, last).find_first_not_of("0123456789.") == std::string_view::npos;
  if (last == user || (isCode && value.ending == Ending::kWord) || (isNumber && user == begin)) {
    return value.begin;
  }
  for (Place place = begin; hasDomain && place < user;) {
    const std::size_t size = name.substr(place - begin).find('\\');
    replaceHost(place, place + size, place == begin);
    place = begin + std::min(name.find_first_not_of('\\', place - begin + size), user - begin);
  }
  // "owner: the one who": a sentence goes on.
  const bool goesOn = value.isColon && value.ending == Ending::kWord && isBlankByte(at(last)) &&
                      isWordByte(at(last + 1)) && last - user < 32;
  // "acct"<blob>="jane": programs keep names of their own there.
  const bool isOfKeychain = lineFront(begin).ends_with("<blob>=\"");
  const bool isVariable = value.ending == Ending::kWord && isUserVariable(begin);
  replaceAccount(user, last,
                 goesOn || isSpelt || isOfKeychain ? Evidence::kGuess
                 : isVariable                      ? Evidence::kProven
                                                   : Evidence::kNamed);
  return std::max(last, m_nCopied);
}

// "Slattery", "Anne-Marie", and not "$surname" or "(none)".
bool TextRedactor::isNamePart(std::string_view name) {
  const auto isPart = [](char c) {
    return isLetterByte(static_cast<unsigned char>(c)) || c == ' ' || c == '-' || c == '\'';
  };
  return ((name.front() >= 'A' && name.front() <= 'Z') || static_cast<unsigned char>(name.front()) > 127) &&
         std::all_of(name.begin(), name.end(), isPart) && !holdsEverydayWord(name);
}

// "Jane Doe", and not "Tunnel Service".
bool TextRedactor::isPersonsName(std::string_view name) {
  return isFullName(name) && !holdsEverydayWord(name);
}

// Whether an address begins here, which is told by its look: "81.2.69.142", the front of "2a02:8071::1".
bool TextRedactor::beginsAddress(Place begin, Place end) const {
  const std::string_view name = text(begin, end);
  const bool isHex =
      std::all_of(name.begin(), name.end(), [](char c) { return isHexByte(static_cast<unsigned char>(c)); });
  return (name.find('.') != std::string_view::npos &&
          name.find_first_not_of("0123456789.") == std::string_view::npos) ||
         (isHex && at(end) == ':' && (isHexByte(at(end + 1)) || at(end + 1) == ':'));
}

// "CN = jane" and "CN = Jane Doe", and not "CN = Acme Root CA".
TextRedactor::Place TextRedactor::takeCommonName(const Value& value) {
  constexpr std::size_t kLongestCommonName = 64;
  const Place begin = value.begin;
  if (value.isColon) {
    return begin;
  }
  Place last = begin;
  while (last - begin < kLongestCommonName && at(last) != 0 &&
         (isIdentifierByte(at(last)) || at(last) == ' ' ||
          (at(last) == '\'' && last > begin && isLetterByte(at(last - 1)) && isLetterByte(at(last + 1))))) {
    ++last;  // "O'Brien"; elsewhere the quote ends what stands in quotes
  }
  while (last > begin && (at(last - 1) == ' ' || at(last - 1) == '.')) {
    --last;
  }
  const std::string_view name = text(begin, last);
  const std::size_t blank = name.find(' ');
  if (blank == std::string_view::npos) {
    const bool isPlain = std::all_of(name.begin(), name.end(),
                                     [](char c) { return isLetterByte(static_cast<unsigned char>(c)); });
    if (name.size() < 3 || hostLook(name) != HostLook::kNone || beginsAddress(begin, last)) {
      return begin;
    }
    const bool isGuess = isPlain || isNameOfKey(name) || isIssuerLine(lineFront(begin));
    replaceUser(begin, last, isGuess ? Evidence::kGuess : Evidence::kNamed);
    return std::max(last, m_nCopied);
  }
  if (!isFullName(name)) {
    return begin;
  }
  replaceUser(begin, last, Evidence::kGuess);
  return std::max(last, m_nCopied);
}

// "User Name: Bruno Sattler (bruno)", "Username: Karl Meier", where nothing else stands in the line.
TextRedactor::Place TextRedactor::takeWholeUser(const Value& value) {
  constexpr std::size_t kLongestFullName = 64;
  const Place begin = value.begin;
  std::string_view front = lineFront(begin);
  front = front.substr(0, front.find_last_not_of(" \t:") + 1);
  const auto isBehind = [front](std::string_view key) {
    return front.size() >= key.size() && isSame(front.substr(front.size() - key.size()), key);
  };
  std::string_view line = restOfLine(begin, value.around);
  line = line.substr(0, line.find_last_not_of(" \t") + 1);
  if ((!isBehind("username") && !isBehind("user name")) || line.size() > 2 * kLongestFullName ||
      line.find(' ') == std::string_view::npos || !hasLineForItself(begin)) {
    return begin;
  }
  const std::size_t bracket = line.ends_with(')') ? line.rfind(" (") : std::string_view::npos;
  const std::string_view full = line.substr(0, bracket);
  const Place fullEnd = begin + full.size();
  const Place userBegin = fullEnd + 2;
  const Place last = userEnd(std::min(userBegin, m_Window.size()));
  const bool hasUser = bracket != std::string_view::npos && last > userBegin &&
                       last + 1 == begin + line.size() && !isEverydayText(text(userBegin, last)) &&
                       !(at(userBegin) >= 'A' && at(userBegin) <= 'Z');  // "(EAP)"
  const bool isOne = full.find(' ') == std::string_view::npos;
  // A sentence may stand there too.
  const bool isName = hasUser ? full.size() <= kLongestFullName && !full.empty() &&
                                    !(full[0] >= 'a' && full[0] <= 'z' && !isOne) &&
                                    full.find_first_of("@/\\<>{}[]=\"%:;,()") == std::string_view::npos
                              : isFullName(full) && !holdsEverydayWord(full);
  if (!isName || isEverydayText(full) || holdsStandIn(full)) {
    return begin;
  }
  replaceUser(begin, fullEnd);
  if (hasUser) {
    // "Username: jane7 (local)"
    replaceUser(userBegin, last, isOne ? Evidence::kGuess : Evidence::kNamed);
  }
  return m_pCollector == nullptr && m_nCopied < fullEnd ? begin
                                                        : std::max(hasUser ? last : fullEnd, m_nCopied);
}

// "Creating user 'polkitd' (User for polkitd) with UID 996": one of the system's own.
bool TextRedactor::isSystemAccount(Place quote) const {
  constexpr unsigned kFirstOfPeople = 1000;
  std::string_view rest = seen(quote, 160);
  rest = rest.substr(0, rest.find('\n'));
  const std::size_t uid = rest.find("UID ");
  if (uid == std::string_view::npos) {
    return false;
  }
  unsigned id = 0;
  std::size_t place = uid + 4;
  while (place < rest.size() && isDigitByte(static_cast<unsigned char>(rest[place])) && id < kFirstOfPeople) {
    id = id * 10 + hexValue(static_cast<unsigned char>(rest[place]));
    ++place;
  }
  return place > uid + 4 && id < kFirstOfPeople;
}

// <auth-user-pass>: a name and a password on a line each.
TextRedactor::Place TextRedactor::takeUserPass(const Value& value) {
  const auto skip = [this](Place place) {
    const Place front = place;
    while (place - front < 32 && isSpaceByte(at(place))) {
      ++place;
    }
    return place;
  };
  const auto lineEnd = [this](Place place) {
    const Place front = place;
    while (place - front < 256 && at(place) >= ' ' && at(place) != '<') {
      ++place;
    }
    return place;
  };
  const Place user = skip(value.begin);
  const Place userEnd = lineEnd(user);
  const bool hasLines = at(value.begin) == '\n' || (at(value.begin) == '\r' && at(value.begin + 1) == '\n');
  if (value.ending != Ending::kElement || !hasLines || userEnd == user || at(userEnd) >= ' ') {
    return value.begin;
  }
  const std::size_t sign = text(user, userEnd).find('@');
  if (sign == std::string_view::npos || tryEmail(user, user + sign) == user) {
    replaceUser(user, userEnd);
  }
  Value password;
  password.begin = skip(userEnd);
  password.ending = Ending::kLine;
  if (at(password.begin) == '<') {
    return std::max(userEnd, m_nCopied);
  }
  return std::max(takeSecret(password), m_nCopied);
}

// 1000(jane),27(sudo): the latter is one of the system's own.
TextRedactor::Place TextRedactor::takeUserIds(Place begin) {
  constexpr unsigned kFirstOfPeople = 500;  // on some systems
  Place place = begin;
  for (;;) {
    const Place first = place;
    constexpr std::size_t kMostDigits = 10;  // of a domain's
    const unsigned id = takeNumber(place, kMostDigits);
    if (place == first || at(place) != '(' || place - begin > 2048) {
      return std::max(begin, m_nCopied);
    }
    const Place name = ++place;
    while (place - name < 64 &&
           (isWordByte(at(place)) ||
            std::string_view("-_.+$ ").find(static_cast<char>(at(place))) != std::string_view::npos) &&
           at(place) != 0) {
      ++place;
    }
    if (at(place) != ')') {
      return std::max(begin, m_nCopied);
    }
    if (beginsAddress(name, place)) {
      return std::max(begin, m_nCopied);
    }
    if (id >= kFirstOfPeople) {
      // "domain users" is a group of everybody.
      const bool isWord = text(name, place).find(' ') == std::string_view::npos;
      replaceUser(name, place, isWord ? Evidence::kProven : Evidence::kNamed);
    }
    ++place;
    if (at(place) != ',') {
      return place;
    }
    ++place;
  }
}

}  // namespace halvo
