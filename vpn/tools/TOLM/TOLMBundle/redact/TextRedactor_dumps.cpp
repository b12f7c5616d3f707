// Names of values in what isn't their settings: in dumps of structures, in declarations, in front of a block
// of YAML and as a test's verdict.

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestField = 64;

bool isIn(std::string_view signs, unsigned char c) {
  return c != 0 && signs.find(static_cast<char>(c)) != std::string_view::npos;
}

}  // namespace

// Some("hunter2"), Secret(Some("hunter2")): in front of the quote, `place` where none stands so.
TextRedactor::Place TextRedactor::behindWrappers(Place place) const {
  constexpr std::size_t kLongestWrapper = 16;
  constexpr unsigned kMostWrappers = 3;
  Place behind = place;
  for (unsigned wrappers = 0; wrappers < kMostWrappers && at(behind) >= 'A' && at(behind) <= 'Z';
       ++wrappers) {
    Place end = behind;
    while (end - behind < kLongestWrapper && isIdentifierByte(at(end))) {
      ++end;
    }
    if (at(end) != '(') {
      return place;
    }
    behind = end + 1;
  }
  return isIn("\"'", at(behind)) || escapesOfQuote(behind) > 0 ? behind : place;
}

// {User:jane Password: Server:gw7 MTU:1380}: a structure that Go has written, where the value is empty and
// the next name follows. In front of the first name a bracket stands, in front of the others no comma.
bool TextRedactor::isEmptyField(Place key, const Value& value) const {
  Place end = value.begin;
  while (end - value.begin < kLongestField && isIdentifierByte(at(end))) {
    ++end;
  }
  if (!value.isColon || value.ending != Ending::kWord || value.wasQuoted ||
      !isBlankByte(at(value.begin - 1)) || !isLetterByte(at(value.begin)) || at(end) != ':' ||
      isSpaceByte(at(end + 1)) || isIn("/:", at(end + 1)) || at(end + 1) == 0) {
    return false;
  }
  const std::string_view front = lineFront(key);
  const std::size_t bracket = front.rfind('{');
  const std::size_t last = front.find_last_not_of(' ');
  if (bracket == std::string_view::npos || front.find('}', bracket) != std::string_view::npos ||
      isIn(",;:", static_cast<unsigned char>(front[last]))) {
    return false;
  }
  // { password: a:b } may be one of YAML's.
  return last > bracket ||
         (at(key) >= 'A' && at(key) <= 'Z' && at(value.begin) >= 'A' && at(value.begin) <= 'Z');
}

// login(user: str, password: str), token:(NSString *)token: a type stands for the value.
bool TextRedactor::isDeclared(const Value& value) const {
  static constexpr std::array<std::string_view, 22> kTypes = {
      "str",    "string",   "String", "bytes",        "int",       "bool",    "char", "NSString",
      "Option", "Optional", "Vec",    "Union",        "number",    "boolean", "any",  "Any",
      "object", "Data",     "NSData", "SecretString", "SecretStr", "Arc"};
  constexpr std::size_t kLongestType = 16;
  if (!value.isColon || value.ending != Ending::kWord || value.wasQuoted) {
    return false;
  }
  const bool isInBrackets = at(value.begin) == '(';
  Place place = value.begin + (isInBrackets ? 1U : 0U);
  place += at(place) == '&' ? 1U : 0U;
  const Place begin = place;
  while (place - begin < kLongestType && isIdentifierByte(at(place))) {
    ++place;
  }
  if (std::find(kTypes.begin(), kTypes.end(), text(begin, place)) == kTypes.end()) {
    return false;
  }
  place += at(place) == ' ' ? 1U : 0U;
  if (isInBrackets) {
    return at(place) == ')' || (at(place) == '*' && at(place + 1) == ')');
  }
  const std::string_view front = lineFront(value.begin);
  const std::size_t bracket = front.rfind('(');
  return bracket != std::string_view::npos && front.find(')', bracket) == std::string_view::npos &&
         isIn("),=[<|?", at(place));
}

// "PASS: mtu-1380 probe": of a test, in front of a line or behind its time.
bool TextRedactor::isVerdict(Place key, Place end, const Value& value) const {
  if (text(key, end) != "PASS" || !value.isColon || value.ending != Ending::kWord || value.wasQuoted ||
      lineFront(key).find_first_not_of("0123456789:.,+-TZ[]() \t") != std::string_view::npos) {
    return false;
  }
  const Place last = valueEnd(value);
  return isBlankByte(at(last)) && isWordByte(at(last + 1));
}

// "cookie: 12 bytes"
bool TextRedactor::isSize(const Value& value) const {
  constexpr std::size_t kMostDigits = 7;
  Place place = value.begin;
  while (place - value.begin < kMostDigits && isDigitByte(at(place))) {
    ++place;
  }
  const std::string_view unit = seen(place, 6);
  return place > value.begin && value.isColon && (unit == " bytes" || unit == " chars") &&
         !isWordByte(at(place + unit.size())) && at(place + unit.size()) != ' ';
}

// What stands for the secret: in the key's quotes where it is a number of JSON, which has none.
std::string TextRedactor::secretMark(const Value& value, Place end) const {
  constexpr std::size_t kLongestSign = 16;
  const std::string_view secret = text(value.begin, end);
  std::string_view front = text(value.begin - std::min(value.begin, kLongestSign), value.begin);
  front = front.substr(0, front.find_last_not_of(" \t:") + 1);
  std::string mark(kSecretMark);
  if (!value.wasQuoted || value.ending != Ending::kWord || secret.empty() ||
      secret.find_first_not_of("0123456789.-+eE") != std::string_view::npos || !front.ends_with('"')) {
    return mark;
  }
  const std::size_t slashes =
      front.size() - 1 - (front.substr(0, front.size() - 1).find_last_not_of('\\') + 1);
  const std::string quote = std::string(slashes, '\\') + '"';
  return quote + mark + quote;
}

// "token: >-" of YAML: the value stands in the next lines, which begin with more blanks than this one.
TextRedactor::Place TextRedactor::takeBlock(Place key, const Value& value) {
  constexpr std::size_t kLongestBlock = 2048;
  Place place = value.begin + 1;
  while (place - value.begin < 3 && (isIn("+-", at(place)) || isDigitByte(at(place)))) {
    ++place;
  }
  place += at(place) == '\r' ? 1U : 0U;
  if (!value.isColon || value.ending != Ending::kWord || !isIn("|>", at(value.begin)) || at(place) != '\n') {
    return value.begin;
  }
  const std::string_view front = lineFront(key);
  const std::size_t indent = std::min(front.find_first_not_of(" -"), front.size());
  while (at(place) == '\n' && place - value.begin < kLongestBlock) {
    Place first = place + 1;
    while (first - place < 2 * kLongestField && at(first) == ' ') {
      ++first;
    }
    if (first - place - 1 <= indent || isSpaceByte(at(first)) || seen(first, 5) == "-----") {
      break;
    }
    Value line;
    line.begin = first;
    line.ending = Ending::kLine;
    place = std::max(first, takeSecret(line));
    if (m_Swallow != Swallow::kNothing) {
      return place;
    }
    place = valueEnd(line);
    place += at(place) == '\r' ? 1U : 0U;
  }
  return std::max(place, m_nCopied);
}

}  // namespace halvo
