// What stands in front of a word and is no part of it: "\\n" and its like, written out, and the sequences of
// terminals' colours.

#include <algorithm>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kMostSlashes = 8;
constexpr std::size_t kLongestFront = 128;
constexpr std::size_t kLongestColour = 32;

bool isOctal(unsigned char c) {
  return c >= '0' && c <= '7';
}

}  // namespace

// Whether the backslash stands in a path of Windows: behind "C:\\" or "\\\\server" in the same word.
bool TextRedactor::isPathAt(Place slash) const {
  Place place = slash;
  while (place > 0 && slash - place < kLongestFront) {
    const unsigned char c = at(place - 1);
    if (c <= ' ' || c == '"' || c == '\'' || c == '=' || c == ',' || c == ';' || c == '(' || c == '<' ||
        c == kSignByte) {
      break;
    }
    --place;
    if (c == ':' && at(place + 1) == '\\' && place > 0 && isLetterByte(at(place - 1)) &&
        (place == 1 || !isWordByte(at(place - 2)))) {
      return true;
    }
  }
  return place < slash && at(place) == '\\' && at(place + 1) == '\\' && isWordByte(at(place + 2));
}

// Behind the escape that the backslash begins, or behind the backslashes where it begins none. In a path and
// behind two backslashes (a backslash of its own, or an escape inside an escape) the letter may be a name's
// as well: only what is no name's front then makes it an escape.
TextRedactor::Place TextRedactor::passEscape(Place slash) {
  Place letter = slash + 1;
  while (at(letter) == '\\' && letter - slash < kMostSlashes) {
    ++letter;
  }
  std::size_t length = 0;
  // Two stand for one in a text that is quoted inside a quoted text.
  bool isSure = (letter - slash) % 2 == 1 || lineFront(slash).find("\\\"") != std::string_view::npos;
  switch (at(letter)) {
    case 'n':
    case 'r':
    case 't':
      length = 1;
      break;
    case 'e':
      length = at(letter + 1) == '[' ? 1 : 0;
      break;
    case 'a':
    case 'b':
    case 'f':
    case 'v':
      length = 1;
      isSure = false;
      break;
    case 'x':
      length = isHexByte(at(letter + 1)) && isHexByte(at(letter + 2)) ? 3 : 0;
      break;
    case 'u':
      length = isHexByte(at(letter + 1)) && isHexByte(at(letter + 2)) && isHexByte(at(letter + 3)) &&
                       isHexByte(at(letter + 4))
                   ? 5
                   : 0;
      break;
    case '0':
    case '1':
    case '2':
    case '3':
      length = isOctal(at(letter + 1)) && isOctal(at(letter + 2)) && at(letter + 3) != '.' ? 3 : 0;
      break;
    default:
      break;
  }
  if (length == 0) {
    return letter;
  }
  if (const Place done = tryKnown(letter); done > letter) {
    return done;
  }
  const Place behind = letter + length;
  if (!isSure || isPathAt(slash)) {
    const Place barrier = m_nBarrier;
    const Place escape = m_nEscape;
    m_nBarrier = behind;
    m_nEscape = slash;
    const Place done = tryBehindEscape(behind);
    if (done == behind) {
      m_nBarrier = barrier;
      m_nEscape = escape;
      return letter;
    }
    return done;
  }
  m_nBarrier = behind;
  m_nEscape = slash;
  m_bLineBegins = at(letter) == 'n';
  return behind;
}

// An address or a known name.
TextRedactor::Place TextRedactor::tryBehindEscape(Place begin) {
  unsigned bits = 0;
  const Place end = runEnd(begin, bits);
  if (end == begin) {
    return begin;
  }
  if (isHexByte(at(begin)) && end - begin <= 4 && at(end) == ':') {
    if (const Place done = tryColons(begin); done > begin) {
      return done;
    }
  }
  return handlePart(begin, end);
}

// Where the sequence whose bracket stands here ends, the bracket's place where none does. "[31m" is one
// without what should stand in front, too.
TextRedactor::Place TextRedactor::colourEnd(Place bracket) const {
  Place place = bracket + 1;
  while (place - bracket < kLongestColour &&
         (isDigitByte(at(place)) || at(place) == ';' || at(place) == '?')) {
    ++place;
  }
  const unsigned char last = at(place);
  if (!isLetterByte(last) || last > 127) {
    return bracket;
  }
  const bool isColour = last == 'm' && place > bracket + 1;
  const std::string_view front = text(bracket - std::min<Place>(bracket, 4), bracket);
  const bool isSequence = front.ends_with('\x1b') || (bracket > 0 && bracket == m_nBarrier) ||
                          front.ends_with("^[") || front.ends_with("#033");
  return isColour || isSequence ? place + 1 : bracket;
}

TextRedactor::Place TextRedactor::passColour(Place bracket) {
  const Place end = colourEnd(bracket);
  if (end > bracket) {
    m_nBarrier = end;
    m_nEscape = bracket;
  }
  return end;
}

}  // namespace halvo
