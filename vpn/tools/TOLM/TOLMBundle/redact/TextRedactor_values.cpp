// What stands behind keys: where a value begins and ends, and what it is.

#include <algorithm>
#include <array>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kMostBlanks = 32;

bool isIdentifierByte(unsigned char c) {
  return isWordByte(c) || c == '_' || c == '-' || c == '.';
}

}  // namespace

// <key> and <ns:key>
bool TextRedactor::isElementName(Place begin) const {
  Place tag = begin;
  while (tag > 1 && at(begin - 1) == ':' && begin - tag < 64 &&
         (isWordByte(at(tag - 2)) || at(tag - 2) == '-')) {
    --tag;
  }
  return (begin > 0 && at(begin - 1) == '<') || (tag > 1 && tag < begin && at(tag - 2) == '<');
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
  if (at(place) == '<' && at(place + 1) == '/') {
    // A property list's key.
    while (place - end < 24 && at(place) != '>' && at(place) != '\n') {
      ++place;
    }
    if (at(place) != '>') {
      return value;
    }
    ++place;
    while (place - end < 128 && isSpaceByte(at(place))) {
      ++place;
    }
    for (const std::string_view element : {"<string>", "<data>", "<integer>"}) {
      if (std::string_view(m_Window).substr(place, element.size()) == element) {
        value.begin = place + element.size();
        value.ending = Ending::kElement;
        value.isFound = true;
        return value;
      }
    }
    return value;
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
    value.begin = place + 1;
    value.ending = Ending::kElement;
    value.isFound = at(value.begin) != '<';
    return value;
  }
  bool wasQuoted = false;
  if (at(place) == '\\' && at(place + 1) == '"') {
    isEscaped = wasQuoted = true;
    place += 2;
  } else if (at(place) == '"' || at(place) == '\'') {
    wasQuoted = true;
    ++place;
  }
  place += at(place) == ']' ? 1U : 0U;
  const Place blanks = place;
  while (place - blanks < kMostBlanks && isBlankByte(at(place))) {
    ++place;
  }
  if (at(place) == '=' || (at(place) == ':' && at(place + 1) == '=')) {
    place += at(place) == ':' ? 2U : 1U;
    place += at(place) == '>' || at(place) == '=' ? 1U : 0U;
  } else if (at(place) == ':' && at(place + 1) != ':' && !(at(place + 1) == '/' && at(place + 2) == '/')) {
    ++place;
    value.isColon = true;
  } else if (wasQuoted && place > blanks && isSame(std::string_view(m_Window).substr(place, 6), "value=")) {
    place += 6;
  } else {
    return value;
  }
  const Place afterSign = place;
  while (place - afterSign < kMostBlanks && isBlankByte(at(place))) {
    ++place;
  }
  value.isFound = true;
  if (at(place) == '\\' && at(place + 1) == '"') {
    value.ending = Ending::kEscapedQuote;
    place += 2;
  } else if (at(place) == '"' || at(place) == '\'' || at(place) == '`') {
    value.ending = Ending::kQuote;
    value.quote = static_cast<char>(at(place));
    ++place;
  } else if (isEscaped && at(place) == '\\') {
    value.isFound = false;
  } else if (!wasQuoted && (before == '"' || before == '\'')) {
    value.around = static_cast<char>(before);
  }
  value.begin = place;
  return value;
}

// Whether the sign at `place` ends a bare value: it does unless the value goes on behind it.
bool TextRedactor::endsSoftly(Place place) const {
  const unsigned char c = at(place);
  if (std::string_view("\"'`,;)]}|&>").find(static_cast<char>(c)) == std::string_view::npos || c == 0) {
    return false;
  }
  Place next = place + 1;
  if (c == ',' || c == ';' || c == '&' || c == '|') {
    next += at(next) == '"' || at(next) == '\'' ? 1U : 0U;
    const Place word = next;
    while (next - word < 40 && isIdentifierByte(at(next))) {
      ++next;
    }
    next += at(next) == '"' || at(next) == '\'' ? 1U : 0U;
    if (next > word && (at(next) == '=' || at(next) == ':')) {
      return true;
    }
    next = place + 1;
  }
  while (next - place < 4 &&
         std::string_view("\"'`,;)]}|.").find(static_cast<char>(at(next))) != std::string_view::npos &&
         at(next) != 0) {
    ++next;
  }
  return isSpaceByte(at(next)) || at(next) == 0 || at(next) == '<';
}

// Where the value ends; past the bound where its end isn't in sight.
TextRedactor::Place TextRedactor::valueEnd(const Value& value) const {
  Place place = value.begin;
  for (; place - value.begin <= kLongestValue && place < m_Window.size(); ++place) {
    const unsigned char c = at(place);
    if (c == '\n' || (c == '\r' && at(place + 1) == '\n')) {
      if (value.ending != Ending::kElement) {
        break;
      }
      continue;
    }
    bool ends = false;
    switch (value.ending) {
      case Ending::kWord:
        ends = isSpaceByte(c) || c == '<' || endsSoftly(place);
        break;
      case Ending::kLine:
        ends = value.around != 0 && c == static_cast<unsigned char>(value.around);
        break;
      case Ending::kQuote:
        if (c == '\\' && at(place + 1) != '\n' && place + 1 < m_Window.size()) {
          ++place;
        } else {
          ends = c == static_cast<unsigned char>(value.quote);
        }
        break;
      case Ending::kEscapedQuote:
        ends = c == '"' || (c == '\\' && at(place + 1) == '"');
        break;
      case Ending::kElement:
        ends = c == '<';
        break;
    }
    if (ends) {
      break;
    }
  }
  return std::min(place, m_Window.size());
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
    if (at(sign) != '=' && !(at(sign) == ':' && at(sign + 1) != ':') && !isOption && !isElement) {
      // "Bearer TOKEN", "Basic BASE64" (RFC 6750, RFC 7617).
      const std::string_view word = text(begin, end);
      if (!isSame(word, "bearer") && !(isSame(word, "basic") && at(sign) != 0)) {
        return begin;
      }
      Place last = sign;
      while (last - sign < kLongestValue &&
             (isWordByte(at(last)) ||
              std::string_view("-._~+/=").find(static_cast<char>(at(last))) != std::string_view::npos) &&
             at(last) != 0) {
        ++last;
      }
      const std::string_view token = text(sign, last);
      const bool hasDigit = token.find_first_of("0123456789=") != std::string_view::npos;
      if (token.size() < 8 || !hasDigit || holdsStandIn(token)) {
        return begin;
      }
      replace(sign, last, RedactKind::kSecret, kSecretMark);
      return last;
    }
    if (isOption && at(sign) != '=' && at(sign) != ':' && at(sign) != '-') {
      const KeyLook look = keyLook({}, text(begin, end));
      if (look != KeyLook::kSecret && look != KeyLook::kUser) {
        return begin;
      }
      Value value;
      value.begin = sign;
      value.isFound = true;
      if (at(sign) == '"' || at(sign) == '\'') {
        value.ending = Ending::kQuote;
        value.quote = static_cast<char>(at(sign));
        ++value.begin;
      }
      return takeValue(look, value);
    }
  }
  if (next == ':' && at(end + 1) == 'x' && at(end + 2) == ':' && isLineFront(begin)) {
    if (const Place done = tryPasswdLine(begin, end); done > begin) {
      return done;
    }
  }
  // "sudo: jane : TTY=pts/0"
  if (next == ':' && at(end + 1) == ' ' && text(begin, end) == "sudo") {
    Place first = end + 2;
    while (first - end < kMostBlanks && at(first) == ' ') {
      ++first;
    }
    Place last = first;
    while (last - first < 64 &&
           (isWordByte(at(last)) || at(last) == '-' || at(last) == '_' || at(last) == '.')) {
      ++last;
    }
    if (std::string_view(m_Window).substr(last, 6) == " : TTY") {
      replaceUser(first, last);
      return last;
    }
    return begin;
  }
  const std::string_view key = text(begin, end);
  // Last letters of the keys that are known, before anything that costs more.
  if (key.size() > 96 || !mayBeKey(key)) {
    return begin;
  }
  const Value value = valueBehind(begin, end);
  if (!value.isFound) {
    return begin;
  }
  const KeyLook look = keyLook(wordBefore(begin), key);
  return look == KeyLook::kNone ? begin : takeValue(look, value);
}

// Whether nothing but the key, of a few words, stands between the line's front and the value.
bool TextRedactor::hasLineForItself(Place value) const {
  constexpr std::size_t kLongestFront = 40;
  const Place reach = value > 2 * kLongestFront ? value - 2 * kLongestFront : 0;
  const std::string_view before = text(reach, value);
  const std::size_t lineEnd = before.rfind('\n');
  if (lineEnd == std::string_view::npos && reach > 0) {
    return false;
  }
  std::string_view front = before.substr(lineEnd == std::string_view::npos ? 0 : lineEnd + 1);
  while (!front.empty() && !isWordByte(static_cast<unsigned char>(front.front()))) {
    front.remove_prefix(1);
  }
  return front.size() < kLongestFront && front.find_first_of(",;([{|") == std::string_view::npos &&
         std::count(front.begin(), front.end(), ' ') <= 3 && std::count(front.begin(), front.end(), ':') == 1;
}

TextRedactor::Place TextRedactor::takeValue(KeyLook look, Value value) {
  const bool isBare = value.ending == Ending::kWord;
  if (look == KeyLook::kSecretLine) {
    if (isBare) {
      value.ending = Ending::kLine;
    }
    return takeSecret(value);
  }
  if (look == KeyLook::kSecret || look == KeyLook::kPersonal) {
    const Place end = valueEnd(value);
    const std::string_view all = text(value.begin, end);
    if (look == KeyLook::kPersonal && (all.size() < 4 || all.size() > 12 ||
                                       all.find_first_not_of("0123456789") != std::string_view::npos)) {
      return value.begin;
    }
    if (look == KeyLook::kSecret && all.starts_with('/') && isBare) {
      return value.begin;  // PWD=/home/jane, key=/etc/ssl/key.pem
    }
    // The value may hold blanks then.
    if (isBare && value.isColon && !saysNothing(all) && hasLineForItself(value.begin)) {
      value.ending = Ending::kLine;
    }
    return takeSecret(value);
  }
  if (look == KeyLook::kUserIds) {
    return takeUserIds(value.begin);
  }
  if (isBare && (look == KeyLook::kFullName || look == KeyLook::kWifi) && value.isColon) {
    value.ending = Ending::kLine;
  }
  Place end = valueEnd(value);
  while (end > value.begin && isSpaceByte(at(end - 1))) {
    --end;
  }
  if (end - value.begin > 256 || end == value.begin) {
    return value.begin;
  }
  return takeNames(look, value, end);
}

TextRedactor::Place TextRedactor::takeNames(KeyLook look, const Value& value, Place end) {
  const Place begin = value.begin;
  const std::string_view name = text(begin, end);
  switch (look) {
    case KeyLook::kUser: {
      if (name.find('@') != std::string_view::npos || name.find('/') != std::string_view::npos ||
          name.find('%') != std::string_view::npos) {
        return begin;
      }
      // DOMAIN\jane
      const std::size_t slash = name.rfind('\\');
      const Place user = slash == std::string_view::npos ? begin : begin + slash + 1;
      if (slash != std::string_view::npos) {
        const std::size_t domain = name.find('\\');
        replaceHost(begin, begin + domain);
      }
      Place last = user;
      while (last < end && (isWordByte(at(last)) || std::string_view("-_.+$ ").find(static_cast<char>(
                                                        at(last))) != std::string_view::npos)) {
        ++last;
      }
      while (last > user && (at(last - 1) == ' ' || at(last - 1) == '.')) {
        --last;
      }
      // A call, a type, a comparison: a program and not a setting.
      const bool isCode =
          at(last) == '(' || at(last) == '<' || at(last) == '[' || at(last) == ':' || at(last) == '>';
      if (last == user || (isCode && value.ending == Ending::kWord)) {
        return begin;
      }
      // "owner: the one who": a sentence goes on.
      const bool goesOn = value.isColon && value.ending == Ending::kWord && isBlankByte(at(last)) &&
                          isWordByte(at(last + 1)) && last - user < 32;
      replaceUser(user, last, !goesOn);
      return std::max(last, m_nCopied);
    }
    case KeyLook::kFullName:
      if (name.find_first_of("@/\\<>{}[]=\"%") != std::string_view::npos || name.size() > 64) {
        return begin;
      }
      replaceUser(begin, end);
      return end;
    case KeyLook::kHost:
    case KeyLook::kHostMaybe: {
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
          (next == ':' && isHexByte(at(last + 1)) && host.size() <= 4) ||
          (look == KeyLook::kHostMaybe &&
           (!looks || (host.find('.') == std::string_view::npos && value.isColon)))) {
        return begin;
      }
      if (look == KeyLook::kHostMaybe && host.find('.') != std::string_view::npos &&
          hostLook(host) == HostLook::kNone) {
        return begin;
      }
      replaceHost(begin, last);
      return std::max(last, m_nCopied);
    }
    case KeyLook::kId: {
      const bool hasDigit = name.find_first_of("0123456789") != std::string_view::npos;
      const bool isOne = name.find_first_of(" \t/\\<>{}()=:") == std::string_view::npos;
      if (name.size() < 6 || !hasDigit || !isOne || holdsStandIn(name) || StandIns::isUuid(name) ||
          name.find_first_not_of("0-xX") == std::string_view::npos) {
        return begin;
      }
      if (name.size() == 36 && name[8] == '-' && name[13] == '-') {
        return begin;  // told by its look
      }
      found(RedactKind::kId, name);
      if (m_pCollector == nullptr) {
        replace(begin, end, RedactKind::kId, m_rStandIns.label(RedactKind::kId, name));
      }
      return end;
    }
    case KeyLook::kWifi:
      if (name.size() > 64 || isCommonWord(name) || holdsStandIn(name) || name == "off/any" ||
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

// 1000(jane),27(sudo)
TextRedactor::Place TextRedactor::takeUserIds(Place begin) {
  Place place = begin;
  for (;;) {
    const Place first = place;
    while (isDigitByte(at(place)) && place - first < 12) {
      ++place;
    }
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
    replaceUser(name, place);
    ++place;
    if (at(place) != ',') {
      return place;
    }
    ++place;
  }
}

}  // namespace halvo
