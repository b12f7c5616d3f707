// Values in elements of XML and property lists. A placeholder looks like one, "--password <password>", and so
// does a type, "List<Token> x": an element is what its end follows.

#include <algorithm>
#include <array>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestPrefix = 64;
constexpr std::size_t kLongestTag = 256;
constexpr std::size_t kMostInside = 32;  // signs of other elements

bool isSameName(std::string_view text, std::string_view name) {
  return std::equal(text.begin(), text.end(), name.begin(), name.end(), [](char one, char other) {
    return lowerByte(static_cast<unsigned char>(one)) == lowerByte(static_cast<unsigned char>(other));
  });
}

}  // namespace

// <key> and <ns:key>
bool TextRedactor::isElementName(Place begin) const {
  // Asked for nearly every word.
  if (begin == 0 || (at(begin - 1) != '<' && at(begin - 1) != ':')) {
    return false;
  }
  const Place tag = elementFront(begin);
  return tag > 0 && at(tag - 1) == '<';
}

// Where the name of an element begins, with what stands in front of the colon.
TextRedactor::Place TextRedactor::elementFront(Place begin) const {
  Place tag = begin;
  if (begin > 1 && at(begin - 1) == ':') {
    --tag;
    while (tag > 0 && begin - tag < kLongestPrefix && (isWordByte(at(tag - 1)) || at(tag - 1) == '-')) {
      --tag;
    }
  }
  return tag;
}

// What an element of this name holds, as it is or in a CDATA section. Other elements may stand in the first
// of its lines only, and not in front.
TextRedactor::Value TextRedactor::textOfElement(Place begin, std::string_view name) const {
  constexpr std::string_view kCdata = "<![CDATA[";
  Value value;
  value.begin = begin;
  value.ending = Ending::kElement;
  Place place = begin;
  while (place - begin < 128 && isSpaceByte(at(place))) {
    ++place;
  }
  if (std::string_view(m_Window).substr(place, kCdata.size()) == kCdata) {
    value.begin = place + kCdata.size();
    const std::size_t size = std::string_view(m_Window).substr(value.begin, kLongestValue).find("]]>");
    value.isFound = size != std::string_view::npos;
    value.elementEnd = value.isFound ? value.begin + size : 0;
    return value;
  }
  if (at(begin) == '<') {
    return value;
  }
  const std::string_view all = seen(begin, kLongestValue);
  const std::size_t line = std::min(all.find('\n'), all.size());
  std::size_t others = 0;
  for (std::size_t sign = all.find('<'); sign != std::string_view::npos; sign = all.find('<', sign + 1)) {
    std::size_t behind = sign + 1;
    behind += behind < all.size() && all[behind] == '\\' ? 1 : 0;  // as in JSON
    if (behind < all.size() && all[behind] == '/' &&
        isSameName(seen(begin + behind + 1, name.size()), name) &&
        !isIdentifierByte(at(begin + behind + 1 + name.size()))) {
      value.isFound = true;
      value.elementEnd = begin + sign;
      return value;
    }
    if (sign > line) {
      break;
    }
    if (++others > kMostInside) {
      return value;  // a page, and no setting
    }
  }
  // Cut, or longer than what is looked at: a word of one line is taken alone.
  Place front = begin;
  while (front > 0 && begin - front < kLongestTag && at(front - 1) != '<' && at(front - 1) != '\n') {
    --front;
  }
  value.isFound =
      (line == kLongestValue && all.find('<') == std::string_view::npos) ||
      (front > 0 && at(front - 1) == '<' && isLineFront(front - 1) && line > 0 && isWordByte(at(begin)));
  value.ending = Ending::kMarkup;
  return value;
}

// <entry key="password">value<, <Property Name="Password">value<, <item id='password'>value<, and with the
// value in an element <value> or <string> of its own; "acct"<blob>="value" of a keychain.
TextRedactor::Value TextRedactor::valueOfNamedElement(Place begin, Place end) const {
  static constexpr std::array<std::string_view, 3> kNaming = {"key", "name", "id"};
  // What pages are made of has names for themselves and not for what they hold.
  static constexpr std::array<std::string_view, 18> kOfPages = {
      "a",  "div", "span",   "section", "label",  "p",    "li",      "td",    "th",
      "dt", "dd",  "button", "form",    "legend", "main", "article", "input", "option"};
  Value value;
  if (constexpr std::string_view kBlob = "\"<blob>=\""; seen(end, kBlob.size()) == kBlob) {
    value.begin = end + kBlob.size();
    value.ending = Ending::kQuote;
    value.quote = '"';
    value.isFound = value.wasQuoted = true;
    return value;
  }
  if (begin < 6 || at(begin - 1) != at(end) || at(begin - 2) != '=') {
    return value;
  }
  const Place attributeEnd = begin - 2;
  Place attribute = attributeEnd;
  while (attribute > 0 && attributeEnd - attribute < 8 && isLetterByte(at(attribute - 1))) {
    --attribute;
  }
  const std::string_view naming = text(attribute, attributeEnd);
  if (std::none_of(kNaming.begin(), kNaming.end(),
                   [naming](std::string_view name) { return isSame(naming, name); })) {
    return value;
  }
  Place front = attribute;
  while (front > 0 && attribute - front < 200 && at(front - 1) != '<' && at(front - 1) != '>' &&
         at(front - 1) != '\n') {
    --front;
  }
  Place nameEnd = front;
  while (nameEnd < attribute && (isWordByte(at(nameEnd)) || at(nameEnd) == ':' || at(nameEnd) == '-')) {
    ++nameEnd;
  }
  const std::string_view element = text(front, nameEnd);
  const bool isHeading = element.size() == 2 && isSame(element.substr(0, 1), "h");
  if (front == 0 || at(front - 1) != '<' || nameEnd == front || isHeading ||
      std::any_of(kOfPages.begin(), kOfPages.end(),
                  [element](std::string_view page) { return isSame(element, page); })) {
    return value;
  }
  Place place = end + 1;
  while (place - end < 256 && at(place) != '>' && at(place) != '<' && at(place) != '\n' && at(place) != 0) {
    ++place;
  }
  if (at(place) != '>' || at(place - 1) == '/') {
    return value;
  }
  Place inner = ++place;
  while (inner - place < 128 && isSpaceByte(at(inner))) {
    ++inner;
  }
  for (const std::string_view own : {"value", "string"}) {
    if (at(inner) == '<' && isSame(std::string_view(m_Window).substr(inner + 1, own.size()), own) &&
        at(inner + 1 + own.size()) == '>') {
      return textOfElement(inner + own.size() + 2, own);
    }
  }
  return textOfElement(place, element);
}

// <key>Password</key><string>value</string> of a property list, and
// <name>password</name><value>value</value>.
TextRedactor::Value TextRedactor::valueBehindKeyElement(Place end) const {
  Value value;
  Place place = end;
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
  for (const std::string_view element : {"string", "data", "integer", "value"}) {
    if (at(place) == '<' && std::string_view(m_Window).substr(place + 1, element.size()) == element &&
        at(place + 1 + element.size()) == '>') {
      return textOfElement(place + element.size() + 2, element);
    }
  }
  return value;
}

}  // namespace halvo
