// What stands behind keys: where a value begins, and what it is.

#include <algorithm>
#include <array>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kMostBlanks = 32;
constexpr std::size_t kMostColours = 64;  // bytes of their sequences

}  // namespace

// {"name": "password", "value": "..."}: where the value's sign ends, or `place`, which is behind the key's
// quote.
TextRedactor::Place TextRedactor::valueOfNamedMember(Place begin, Place place) const {
  static constexpr std::array<std::string_view, 3> kNaming = {"name", "key", "id"};
  if (at(place) != ',') {
    return place;
  }
  // Backwards over the quote, the colon and the word in quotes in front of it; quotes may be escaped.
  std::string_view before = text(begin > 64 ? begin - 64 : 0, begin);
  const auto drop = [&before](std::string_view signs) {
    const std::size_t last = before.find_last_not_of(signs);
    const bool any = last == std::string_view::npos ? !before.empty() : last + 1 < before.size();
    before = before.substr(0, last == std::string_view::npos ? 0 : last + 1);
    return any;
  };
  if (!drop("\"'\\") || (drop(" \t"), !before.ends_with(':'))) {
    return place;
  }
  before.remove_suffix(1);
  drop(" \t");
  if (!drop("\"'\\")) {
    return place;
  }
  if (std::none_of(kNaming.begin(), kNaming.end(), [before](std::string_view name) {
        return before.size() > name.size() && isSame(before.substr(before.size() - name.size()), name) &&
               !isIdentifierByte(static_cast<unsigned char>(before[before.size() - name.size() - 1]));
      })) {
    return place;
  }
  Place next = place + 1;
  const auto skip = [this, &next](std::string_view signs) {
    const Place from = next;
    while (next - from < 64 && at(next) != 0 &&
           signs.find(static_cast<char>(at(next))) != std::string_view::npos) {
      ++next;
    }
    return next > from;
  };
  skip(" \t\r\n");
  if (!skip("\"'\\") || std::string_view(m_Window).substr(next, 5) != "value") {
    return place;
  }
  next += 5;
  if (!skip("\"'\\") || (skip(" \t"), at(next) != ':')) {
    return place;
  }
  return next + 1;
}

// "Serial Number (system):": behind what stands in brackets, where a colon follows at once.
TextRedactor::Place TextRedactor::behindRemark(Place place) const {
  constexpr std::size_t kLongestRemark = 16;
  if (at(place) != '(') {
    return place;
  }
  Place end = place + 1;
  while (end - place < kLongestRemark && isLetterByte(at(end))) {
    ++end;
  }
  return at(end) == ')' && at(end + 1) == ':' && at(end + 2) != ':' ? end + 1 : place;
}

// Where the value of the key in [begin, end) begins and how it ends:
//   key=value  key: value  "key": "value"  key => value  <key>value<  <key>..</key><string>value<  "key"
//   value="value"
TextRedactor::Value TextRedactor::valueBehind(Place begin, Place end) const {
  Value value;
  Place place = end;
  const unsigned char before = begin > 0 ? at(begin - 1) : ' ';
  const bool isElement = isElementName(begin);
  bool isEscaped = false;
  if (at(place) == '\\') {
    if (const Value coded = valueBehindCode(end); coded.isFound) {
      return coded;
    }
  }
  if (at(place) == '<' && at(place + 1) == '/') {
    return valueBehindKeyElement(place);
  }
  if (isElement && isBlankByte(at(place))) {
    while (place - end < 256 && at(place) != '>' && at(place) != '\n' && at(place) != '<') {
      ++place;
    }
    if (at(place) != '>' || at(place - 1) == '/') {
      return value;
    }
  }
  if (at(place) == '>' && isElement) {
    return textOfElement(place + 1, text(elementFront(begin), end));
  }
  bool wasQuoted = false;
  if (const std::size_t slashes = escapesOfQuote(place); slashes > 0) {
    isEscaped = wasQuoted = true;
    place += slashes + 1;
  } else if (at(place) == '"' || at(place) == '\'') {
    if (const Value named = valueOfNamedElement(begin, end); named.isFound) {
      return named;
    }
    wasQuoted = true;
    ++place;
  }
  const Place member = wasQuoted ? valueOfNamedMember(begin, place) : place;
  if (at(place) == ']' && at(place + 1) == '[' && !wasQuoted) {
    return value;  // "gdm-password][812]: "
  }
  place += at(place) == ']' && (wasQuoted || before == '[') ? 1U : 0U;  // not "gdm-password]: "
  if (at(place) == '[' && isDigitByte(at(place + 1))) {
    // "IP4.DOMAIN[1]:"
    const Place digits = ++place;
    while (place - digits < 4 && isDigitByte(at(place))) {
      ++place;
    }
    if (at(place) != ']') {
      return value;
    }
    ++place;
  }
  const Place blanks = place;
  while (place - blanks < kMostBlanks && isBlankByte(at(place))) {
    ++place;
  }
  place = behindRemark(place);
  place += at(place) == '#' && (at(place + 1) == ':' || at(place + 1) == '=') ? 1U : 0U;  // "Serial#:"
  if (member > place) {
    place = member;
    value.isColon = true;
  } else if (at(place) == '=' || (at(place) == ':' && at(place + 1) == '=')) {
    if (place == end && isBlankByte(at(place + 1)) && isKeyBehind(place + 1)) {
      return value;  // "password= expires=3600"
    }
    place += at(place) == ':' ? 2U : 1U;
    place += at(place) == '>' || at(place) == '=' ? 1U : 0U;
  } else if (at(place) == ':' && at(place + 1) != ':' && !(at(place + 1) == '/' && at(place + 2) == '/')) {
    ++place;
    value.isColon = true;
  } else if (place == end && at(place) == ':' && at(place + 1) == ':' && at(place + 2) == ' ') {
    place += 2;  // "userPassword:: BASE64" (RFC 2849)
    value.isColon = true;
  } else if (wasQuoted && place > blanks &&
             (isSame(std::string_view(m_Window).substr(place, 6), "value=") ||
              std::string_view(m_Window).substr(place, 7) == "value '")) {
    place += 6;  // name="password" value="..", added 'ssid' value '..'
  } else {
    return value;
  }
  const Place afterSign = place;
  while (place - afterSign < kMostBlanks && isBlankByte(at(place))) {
    ++place;
  }
  // The sequences of colours are no part of the value.
  const Place colours = place;
  while (at(place) == 0x1b && at(place + 1) == '[' && colourEnd(place + 1) > place + 1 &&
         place - colours < kMostColours) {
    place = colourEnd(place + 1);
  }
  value.colours = place > colours ? colours : 0;
  place = behindWrappers(place);
  value.isFound = true;
  value.wasQuoted = wasQuoted;
  Quoted quoted = Quoted::kUnasked;
  if (const std::size_t slashes = escapesOfQuote(place); slashes > 0) {
    value.isFound = wasQuoted || !closesQuote(place + slashes, slashes, place, quoted);
    value.ending = Ending::kEscapedQuote;
    value.slashes = slashes;
    place += slashes + 1;
  } else if (at(place) == '"' || at(place) == '\'' || at(place) == '`') {
    value.isFound = wasQuoted || !closesQuote(place, 0, place, quoted);
    value.ending = Ending::kQuote;
    value.quote = static_cast<char>(at(place));
    ++place;
  } else if (isEscaped && at(place) == '\\') {
    value.isFound = false;
  } else if (!wasQuoted && (before == '"' || before == '\'')) {
    value.around = static_cast<char>(before);
    for (Place slash = begin - 1; slash > 0 && at(slash - 1) == '\\' && before == '"'; --slash) {
      ++value.slashes;
    }
  }
  value.begin = place;
  return value;
}

// Behind a blank and no sign.
TextRedactor::Value TextRedactor::bareOrQuoted(Place place) const {
  Value value;
  value.begin = place;
  value.isFound = true;
  value.slashes = escapesOfQuote(place);
  if (value.slashes > 0) {
    value.ending = Ending::kEscapedQuote;
    value.begin += value.slashes + 1;
  } else if (at(place) == '"' || at(place) == '\'') {
    value.ending = Ending::kQuote;
    value.quote = static_cast<char>(at(place));
    ++value.begin;
  }
  return value;
}

// "/callback?code=4f9a...&state=x": what a login gives a client that has its token by it (RFC 6749).
bool TextRedactor::isLoginCode(Place begin, Place end) const {
  const unsigned char front = before(begin);
  if ((front != '?' && front != '&') || at(end) != '=' || text(begin, end) != "code") {
    return false;
  }
  constexpr std::size_t kNear = 512;
  static constexpr std::array<std::string_view, 5> kSigns = {"callback", "/cb?", "redirect", "oauth",
                                                             "state="};
  const std::string_view line = lineFront(begin);
  const std::string_view rest = seen(end, kNear);
  return std::any_of(kSigns.begin(), kSigns.end(),
                     [line](std::string_view sign) { return line.find(sign) != std::string_view::npos; }) ||
         rest.substr(0, rest.find_first_of(" \n")).find("&state=") != std::string_view::npos;
}

TextRedactor::Place TextRedactor::tryKey(Place begin, Place end) {
  const unsigned char next = at(end);
  if (isBlankByte(next)) {
    // Nearly every word of a text is followed by a blank, few by a sign behind it.
    Place sign = end + 1;
    while (sign - end < kMostBlanks && isBlankByte(at(sign))) {
      ++sign;
    }
    const bool isOption = at(begin) == '-' && at(begin + 1) == '-' && sign == end + 1;
    const bool isElement = isElementName(begin);
    const bool hasSign = at(sign) == '=' || (at(sign) == ':' && at(sign + 1) != ':') ||
                         (at(sign) == '(' && behindRemark(sign) > sign) ||
                         (at(sign) == '#' && at(sign + 1) == ':');
    if (!hasSign && !isOption) {
      if (const Place done = trySecretOfLine(begin, end, sign); done > begin) {
        return done;
      }
      if (const Place done = tryCommand(begin, end, sign); done > begin) {
        return done;
      }
      if (const Place done = tryPhrase(begin, end, sign); done > begin) {
        return done;
      }
      if (isOfSerial(begin, end)) {
        return tryBareId(sign);
      }
      if (at(begin) == '-' && (at(end - 1) == 'u' || at(end - 1) == 'U')) {
        const Value value = bareOrQuoted(sign);
        if (const Place done = tryCredentials(begin, value); done > value.begin) {
          return done;
        }
      }
    }
    if (!hasSign && !isOption && !isElement) {
      // "Bearer TOKEN", "Basic BASE64" (RFC 6750, RFC 7617).
      const std::string_view word = text(begin, end);
      if (!isSame(word, "bearer") && !(isSame(word, "basic") && at(sign) != 0)) {
        return begin;
      }
      Place last = sign;
      while (last - sign < kLongestValue &&
             (isWordByte(at(last)) ||
              std::string_view("-._~+/").find(static_cast<char>(at(last))) != std::string_view::npos) &&
             at(last) != 0) {
        ++last;
      }
      const Place body = last;
      while (at(last) == '=' && last - body < 3) {
        ++last;
      }
      const std::string_view token = text(sign, last);
      const bool isKey = last > body && isWordByte(at(last));  // "Bearer expires_in=3600"
      const bool looks = token.find_first_of("0123456789=") != std::string_view::npos ||
                         (isSame(word, "basic") && isCredentials(token));
      if (token.size() < 8 || isKey || !looks || holdsStandIn(token)) {
        return begin;
      }
      replace(sign, last, RedactKind::kSecret, kSecretMark);
      return last;
    }
    if (isOption && !hasSign && at(sign) != '-') {
      return tryOption(begin, end, sign);
    }
    // "jane : EAP "hunter2"" in a file of secrets.
    if (at(sign) == ':' && isBlankByte(at(sign + 1)) && isLineFront(begin)) {
      const std::string_view kind = std::string_view(m_Window).substr(sign + 2, 7);
      if (kind.starts_with("EAP \"") || kind == "XAUTH \"" || kind.starts_with("NTLM \"")) {
        replaceUser(begin, end);
        return end;
      }
    }
  }
  if (next == '"' && isBlankByte(at(end + 1)) && at(end + 2) == '*') {
    if (const Place done = tryChapLine(begin, end, end + 2); done > begin) {
      return done;
    }
  }
  if (next == '\\') {
    if (const Place done = tryDomainUser(begin, end); done > begin) {
      return done;
    }
  }
  if (next == ':' && (at(end + 1) == 'x' || at(end + 1) == '*') && isLineFront(begin)) {
    if (const Place done = tryPasswdLine(begin, end); done > begin) {
      return done;
    }
  }
  // "sudo: jane : TTY=pts/0", "sudo[812]: jane : command not allowed ; TTY=pts/0"
  if ((next == ':' || next == '[') && text(begin, end) == "sudo") {
    constexpr std::size_t kLongestRefusal = 80;
    Place first = end;
    while (first - end < kMostBlanks && (at(first) == '[' || isDigitByte(at(first)) || at(first) == ']')) {
      ++first;
    }
    if (at(first) != ':' || at(first + 1) != ' ') {
      return begin;
    }
    first += 2;
    while (first - end < kMostBlanks && at(first) == ' ') {
      ++first;
    }
    Place last = first;
    while (last - first < 64 &&
           (isWordByte(at(last)) || at(last) == '-' || at(last) == '_' || at(last) == '.')) {
      ++last;
    }
    std::string_view rest = seen(last, kLongestRefusal);
    rest = rest.substr(0, rest.find('\n'));
    if (rest.starts_with(" : TTY=") || (rest.starts_with(" : ") && rest.find(" ; TTY=") < rest.size())) {
      replaceUser(first, last);
      return last;
    }
    return begin;
  }
  const std::string_view key = isOfSerial(begin, end) ? text(begin - 2, end) : text(begin, end);
  if (next == ':' && key.size() <= 2) {
    if (const Place done = tryDesktopOption(begin, end); done > begin) {
      return done;
    }
  }
  // Last letters of the keys that are known, before anything that costs more.
  if (key.size() > 96 || !mayBeKey(key)) {
    return begin;
  }
  if (at(begin) == '-') {
    if (const Place done = tryListedOption(begin, end); done > begin) {
      return done;
    }
  }
  const Value value = valueBehind(begin, end);
  if (!value.isFound) {
    // "Serial# PF2ABC99"
    return next == '#' && at(end + 1) == ' ' && keyLook(wordBefore(begin), key) == KeyLook::kId
               ? std::max(begin, tryBareId(end + 2))
               : begin;
  }
  const KeyLook look = isLoginCode(begin, end) ? KeyLook::kToken : keyLook(wordBefore(begin), key);
  if (look == KeyLook::kNone || (next == '[' && look != KeyLook::kHosts)) {
    return begin;  // "login[812]: " is a program
  }
  if (m_bOfForm && next == ':' && isDigitByte(at(end - 1))) {
    return begin;  // "passwd_1%3a4.13-1_amd64.deb" is a package
  }
  if (next == ':' && at(end + 1) == ':' && look != KeyLook::kSecret && look != KeyLook::kSecretWord) {
    return begin;  // Base64, which is looked into
  }
  const bool isSecret = look == KeyLook::kSecret || look == KeyLook::kSecretWord || look == KeyLook::kToken;
  if (isEmptyField(begin, value) || isDeclared(value) || (isSecret && isVerdict(begin, end, value)) ||
      ((isSecret || look == KeyLook::kSecretLine) && isSize(value))) {
    return value.begin;
  }
  if (isSecret) {
    if (const Place done = takeBlock(begin, value); done > value.begin) {
      return done;
    }
  }
  if (look == KeyLook::kUser && at(begin) == '-') {
    if (const Place done = tryCredentials(begin, value); done > value.begin) {
      return done;
    }
  }
  // What isn't taken is looked at for itself, behind its colours.
  const Place done = takeValue(look, value);
  return done <= value.begin && value.colours != 0 ? value.colours : done;
}

}  // namespace halvo
