// Where words begin and end: letters above 127 and signs among them, and what stands in front of a word and
// is no part of it: "\\n" and its like, written out, and the sequences of terminals' colours.

#include <algorithm>
#include <cstring>
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

// Where the run that begins at `begin` ends, and what it is made of.
TextRedactor::Place TextRedactor::runEnd(Place begin, unsigned& allBits) const {
  Place end = begin;
  unsigned bits = 0;
  const Place bound = std::min(m_Seen.size(), begin + kLongestRun + 1);
  const char* const data = m_Seen.data();
  for (;;) {
    // Most bytes of a text pass here.
    unsigned more = 0;
    for (; end < bound; ++end) {
      more = byteBits(static_cast<unsigned char>(data[end]));
      if ((more & kByteRun) == 0) {
        break;
      }
      bits |= more;
    }
    if (end >= bound || more == 0) {
      break;
    }
    bool stops = false;
    const Place next = highEnd(begin, end, stops);
    if (next == end) {
      break;
    }
    bits |= more;
    end = next;
    if (stops) {
      break;
    }
  }
  allBits |= bits;
  if (end - begin > kLongestRun) {
    // Cut where no name goes on, and else anywhere.
    end = begin + kLongestRun;
    while (end > begin + kLongestRun / 2 && isWordByte(at(end - 1))) {
      --end;
    }
    if (end == begin + kLongestRun / 2) {
      end = begin + kLongestRun;
    }
  }
  return end;
}

// Where the letter above 127 at `end` ends, `end` itself where a run that began at `begin` doesn't go on with
// it. `stops`: the run goes on with nothing behind it.
TextRedactor::Place TextRedactor::highEnd(Place begin, Place end, bool& stops) const {
  Place last = end;
  Place ignored = end;
  const HighLook look = highLookAt(m_Window, end, last);
  const unsigned char next = at(last);
  const HighLook nextLook = next > 127 ? highLookAt(m_Window, last, ignored) : HighLook::kSign;
  if (look == HighLook::kLatin) {
    stops = isDigitByte(next) || nextLook == HighLook::kForeign;
    return end > begin && isDigitByte(at(end - 1)) ? end : last;
  }
  stops = isPlainByte(next) || nextLook == HighLook::kLatin;
  return end > begin && isPlainByte(at(end - 1)) ? end : last;
}

// Takes over what came behind `from`. A letter of another script right behind a plain one begins something
// else: it is seen as a sign. A '\r' that no '\n' follows ends a line: bars of progress are written over
// themselves with it, and old texts have no other end.
void TextRedactor::see(Place from) {
  // A character may have been cut.
  constexpr std::size_t kLongestCharacter = 4;
  const Place first = from - std::min(from, kLongestCharacter);
  Place place = first;
  m_Seen.resize(place);
  m_Seen.append(m_Window, place);
  const std::size_t size = m_Window.size();
  const char* const data = m_Window.data();
  while (place < size) {
    // Most texts have none at all.
    std::uint64_t eight = 0;
    while (place + sizeof(eight) <= size) {
      std::memcpy(&eight, data + place, sizeof(eight));
      if ((eight & 0x8080808080808080U) != 0) {
        break;
      }
      place += sizeof(eight);
    }
    while (place < size && static_cast<unsigned char>(data[place]) < 128) {
      ++place;
    }
    if (place == size) {
      break;
    }
    Place front = place;
    while (front > 0 && place - front < kLongestCharacter - 1 &&
           (static_cast<unsigned char>(data[front]) & 0xc0U) == 0x80) {
      --front;
    }
    Place end = place;
    const HighLook look = highLookAt(m_Window, place, end);
    const bool isOther =
        look == HighLook::kForeign && front > 0 && isPlainByte(static_cast<unsigned char>(data[front - 1]));
    for (; place < end; ++place) {
      m_Seen[place] = look == HighLook::kSign || isOther ? static_cast<char>(kSignByte) : data[place];
    }
  }
  seeLineEnds(first);
}

void TextRedactor::seeLineEnds(Place from) {
  const std::size_t size = m_Seen.size();
  char* const data = m_Seen.data();
  for (Place place = from; place < size; ++place) {
    const void* const found = std::memchr(data + place, '\r', size - place);
    if (found == nullptr) {
      return;
    }
    place = static_cast<Place>(static_cast<const char*>(found) - data);
    if (place + 1 == size || data[place + 1] != '\n') {
      data[place] = '\n';
    }
  }
}

// The word in front of `begin`, where one blank or sign of a key stands between.
std::string_view TextRedactor::wordBefore(Place begin) const {
  if (begin < 2 || at(begin - 1) != ' ') {
    return {};
  }
  Place end = begin - 1;
  Place front = end;
  while (front > 0 && end - front < 40 && (byteBits(at(front - 1)) & kByteRun) != 0) {
    --front;
  }
  return text(front, end);
}

bool TextRedactor::isLineFront(Place begin) const {
  for (Place place = begin; place > 0; --place) {
    const unsigned char c = at(place - 1);
    if (c == '\n') {
      return true;
    }
    if (!isBlankByte(c) && c != '-' && c != '"' && c != '\'' && c != '#' && c != ';') {
      return false;
    }
    if (begin - place > 64) {
      return false;
    }
  }
  return true;
}

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
  bool mayBeSure = true;
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
      mayBeSure = false;
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
  // Two stand for one in a text that is quoted inside a quoted text.
  const auto isInQuoted = [](std::string_view front) {
    for (std::size_t quote = front.find('"', 1); quote < front.size(); quote = front.find('"', quote + 1)) {
      if (front[quote - 1] == '\\') {
        return true;
      }
    }
    return false;
  };
  const bool isSure = mayBeSure && ((letter - slash) % 2 == 1 || isInQuoted(lineFront(slash)));
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

// How many backslashes stand in front of a quotation mark here: one in a text within JSON, three in a text
// within that.
std::size_t TextRedactor::escapesOfQuote(Place place) const {
  constexpr std::size_t kMost = 31;
  std::size_t slashes = 0;
  while (at(place + slashes) == '\\' && slashes <= kMost) {
    ++slashes;
  }
  return slashes <= kMost && at(place + slashes) == '"' ? slashes : 0;
}

// Whether a value that began behind so many ends here. With more in front a mark is the value's own, unless
// these are backslashes at its end. Passes what is its own.
bool TextRedactor::endsEscaped(const Value& value, Place& place) const {
  constexpr std::size_t kMost = 256;
  std::size_t slashes = 0;
  while (at(place + slashes) == '\\' && slashes < kMost) {
    ++slashes;
  }
  if (at(place + slashes) != '"') {
    place += slashes > 0 ? slashes - 1 : 0;
    return false;
  }
  if (slashes <= value.slashes) {
    return true;
  }
  const bool ends = slashes % (2 * (value.slashes + 1)) == value.slashes;
  place += ends ? slashes - value.slashes : slashes;
  return ends;
}

// {\u0022key\u0022:\u0022value\u0022}: JSON in a text of JSON, with its quotes written by their numbers.
TextRedactor::Value TextRedactor::valueBehindCode(Place end) const {
  const auto behindCode = [this](Place place) {
    constexpr std::string_view kCode = "u0022";
    Place letter = place;
    while (at(letter) == '\\' && letter - place < kMostSlashes) {
      ++letter;
    }
    const bool isCode = letter > place && std::string_view(m_Window).substr(letter, kCode.size()) == kCode;
    return isCode ? letter + kCode.size() : place;
  };
  Value value;
  Place place = behindCode(end);
  place += place > end && at(place) == ' ' ? 1U : 0U;
  if (place == end || at(place) != ':') {
    return value;
  }
  const Place opening = place + (at(place + 1) == ' ' ? 2U : 1U);
  value.begin = behindCode(opening);
  value.isColon = value.wasQuoted = true;
  if (value.begin == opening) {
    value.isFound = isDigitByte(at(opening));  // a number has no quotes
    return value;
  }
  value.ending = Ending::kElement;
  for (place = value.begin; place - value.begin < kLongestValue && at(place) >= ' ' && at(place) != '"';) {
    const Place behind = at(place) == '\\' ? behindCode(place) : place;
    // With more backslashes a quote is the value's own.
    if (behind > place && behind - place <= value.begin - opening) {
      value.isFound = true;
      value.elementEnd = place;
      break;
    }
    place = std::max(behind, place + 1);
  }
  return value;
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
