// What becomes of the values behind keys that name users.

#include <algorithm>
#include <array>
#include <string>

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

// "issuer=", "Issuer: ", and "  i:" in a list of certificates.
bool isIssuerLine(std::string_view front) {
  const std::size_t first = std::min(front.find_first_not_of(" \t"), front.size());
  front.remove_prefix(first);
  return front.starts_with("i:") || isSame(front.substr(0, 6), "issuer");
}

}  // namespace

// Where a "\\n" or its like, written out, ends a user's name. "CORP\\nadine" is a domain and a name.
std::size_t TextRedactor::escapeIn(std::string_view name) {
  const std::size_t slash = name.find('\\');
  if (slash == std::string_view::npos || slash == 0 || slash + 1 >= name.size() ||
      std::string_view("nrt").find(name[slash + 1]) == std::string_view::npos) {
    return std::string_view::npos;
  }
  const std::string_view rest = name.substr(slash + 2);
  const bool goesOn = !rest.empty() && isWordByte(static_cast<unsigned char>(rest.front())) &&
                      rest.find_first_of("=:\\") == std::string_view::npos;
  return goesOn ? std::string_view::npos : slash;
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

// jane, CORP\jane, jane@corp.
TextRedactor::Place TextRedactor::takeUser(const Value& value, Place end) {
  const Place begin = value.begin;
  std::string_view name = text(begin, end);
  if (name.find_first_of("/%") != std::string_view::npos) {
    return begin;
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
      return begin;
    }
    replaceUser(begin, begin + sign);
    replaceHost(begin + sign + 1, last);
    return std::max(last, m_nCopied);
  }
  if (const std::size_t escape = escapeIn(name); escape != std::string_view::npos) {
    end = begin + escape;
    name = name.substr(0, escape);
  }
  const std::size_t slash = name.rfind('\\');
  const Place user = slash == std::string_view::npos ? begin : begin + slash + 1;
  if (slash != std::string_view::npos) {
    const std::size_t domain = name.find('\\');
    replaceHost(begin, begin + domain);
  }
  Place last = user;
  while (last < end &&
         (isWordByte(at(last)) ||
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
    return begin;
  }
  // "owner: the one who": a sentence goes on.
  const bool goesOn = value.isColon && value.ending == Ending::kWord && isBlankByte(at(last)) &&
                      isWordByte(at(last + 1)) && last - user < 32;
  const bool isVariable = value.ending == Ending::kWord && isUserVariable(begin);
  replaceUser(user, last, goesOn ? Evidence::kGuess : isVariable ? Evidence::kProven : Evidence::kNamed);
  return std::max(last, m_nCopied);
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
TextRedactor::Place TextRedactor::takeCommonName(const Value& value, Place end) {
  constexpr std::size_t kLongestCommonName = 64;
  const Place begin = value.begin;
  if (value.isColon) {
    return begin;
  }
  Place last = begin;
  while (last - begin < kLongestCommonName && at(last) != 0 &&
         (isIdentifierByte(at(last)) || at(last) == ' ' || at(last) == '\'')) {
    ++last;
  }
  last -= last > begin && at(last - 1) == '\'' ? 1U : 0U;
  while (last > begin && (at(last - 1) == ' ' || at(last - 1) == '.')) {
    --last;
  }
  (void)end;
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
  // Two or three words with a capital each.
  std::size_t words = 0;
  for (std::string_view rest = name; !rest.empty();) {
    const std::string_view word = rest.substr(0, rest.find(' '));
    rest.remove_prefix(std::min(rest.size(), word.size() + 1));
    const bool isName =
        word.size() > 1 && word.front() >= 'A' && word.front() <= 'Z' &&
        std::all_of(word.begin() + 1, word.end(), [](char c) {
          return (c >= 'a' && c <= 'z') || c == '-' || c == '\'' || static_cast<unsigned char>(c) > 127;
        });
    if (!isName || isOfIssuer(word) || ++words > 3) {
      return begin;
    }
  }
  replaceUser(begin, last, Evidence::kGuess);
  return std::max(last, m_nCopied);
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
