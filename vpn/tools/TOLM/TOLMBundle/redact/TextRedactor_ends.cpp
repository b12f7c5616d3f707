// Where values end: in front of a sign or a blank, at their own quote, and at that of the text they stand in.

#include <algorithm>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

// Whether what stands behind the quote may stand behind a text: behind one in another, that one's quote too.
bool TextRedactor::mayEndText(Place quote, std::size_t slashes) const {
  const unsigned char next = at(quote + 1);
  return isSpaceByte(next) || next == 0 || (slashes > 0 && (next == '"' || next == '\\')) ||
         std::string_view(",;:)]}>|").find(static_cast<char>(next)) != std::string_view::npos ||
         (next == '/' && at(quote + 2) == '>') ||
         (next == '\\' && (at(quote + 2) == 'n' || at(quote + 2) == 'r'));
}

// "no user or password:": whether the quote, with so many backslashes in front, ends the text that stands in
// front of `begin`. Then it is in one's quotes there, and no value follows. `quoted` is what a look for the
// quote's kind has told, and what this one tells.
bool TextRedactor::closesQuote(Place quote, std::size_t slashes, Place begin, Quoted& quoted) const {
  const unsigned char next = at(quote + 1);
  if (!mayEndText(quote, slashes) || next == 0) {
    return next == 0;
  }
  if (next == ',' && (slashes > 0 ? escapesOfQuote(quote + 2) == slashes : at(quote + 2) == at(quote))) {
    return true;
  }
  quoted = quoted == Quoted::kUnasked ? lookForQuote(begin, at(quote), slashes) : quoted;
  if (quoted != Quoted::kFar) {
    return quoted == Quoted::kYes;
  }
  // The next of a list or an object, or its end.
  const unsigned char third = at(quote + 2);
  if (next == ',') {
    return third == '{' || third == '[' || (third == ' ' && at(quote + 3) == at(quote));
  }
  return (next == '}' || next == ']') &&
         (isSpaceByte(third) ||
          std::string_view(",}]\\\"").find(static_cast<char>(third)) != std::string_view::npos || third == 0);
}

// Whether a number of such quotes that is odd stands in front of `begin` in the line, or in the text around
// it whose own quotes have fewer backslashes. Where the line's front is far, the last quote's neighbours
// tell.
TextRedactor::Quoted TextRedactor::lookForQuote(Place begin, unsigned char sign, std::size_t slashes) const {
  constexpr std::size_t kNear = 2048;
  bool isOdd = false;
  bool isInText = false;
  Quoted last = Quoted::kFar;
  const Place reach = begin - std::min(begin, kNear);
  Place place = begin;
  while (place > reach && at(place - 1) != '\n' && !isInText) {
    --place;
    if (at(place) != sign || (sign == '\'' && isLetterByte(at(place + 1)) && isLetterByte(at(place - 1)))) {
      continue;  // "isn't"
    }
    const Place behind = place;
    while (place > reach && at(place - 1) == '\\') {
      --place;
    }
    isInText = behind - place < slashes;
    const bool isOne = slashes > 0 ? behind - place == slashes : (behind - place) % 2 == 0;
    isOdd = isOdd != isOne;
    last = last == Quoted::kFar && isOne ? opensText(place, behind) : last;
  }
  const bool isWhole = isInText || place == 0 || at(place - 1) == '\n';
  return !isWhole ? last : isOdd ? Quoted::kYes : Quoted::kNo;
}

// Whether a text begins at the quote, whose backslashes begin at `front`.
TextRedactor::Quoted TextRedactor::opensText(Place front, Place quote) const {
  constexpr std::size_t kMostBlanks = 4;
  Place place = front;
  while (place > 0 && front - place < kMostBlanks && isBlankByte(at(place - 1))) {
    --place;
  }
  const unsigned char before = place > 0 ? at(place - 1) : 0;
  const bool opens =
      before != 0 && std::string_view(":,[{(=").find(static_cast<char>(before)) != std::string_view::npos;
  const unsigned char next = at(quote + 1);
  return opens && std::string_view(",:]}").find(static_cast<char>(next)) == std::string_view::npos
             ? Quoted::kYes
             : Quoted::kNo;
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

// So it does at a quote behind a backslash, which is no part of it.
bool TextRedactor::endsSoftlyEscaped(Place place) const {
  if (at(place) != '\\' || at(place - (place > 0 ? 1U : 0U)) == '\\') {
    return false;
  }
  const std::size_t slashes = escapesOfQuote(place);
  return slashes % 2 == 1 && endsSoftly(place + slashes);
}

// Whether a quote at `place`, or behind the backslashes that begin there, may end the text that the value
// that begins at `begin` stands in, by what stands around the quote.
bool TextRedactor::mayBeTextEnd(Place begin, Place place) const {
  const unsigned char c = at(place);
  if (c == '\\') {
    const std::size_t slashes = at(place - (place > 0 ? 1U : 0U)) == '\\' ? 0 : escapesOfQuote(place);
    return slashes > 0 && (mayEndText(place + slashes, slashes) || text(begin, place).ends_with(kSecretMark));
  }
  return (c == '"' || c == '\'') &&
         ((mayEndText(place, 0) && !isEscaped(begin, place)) || text(begin, place).ends_with(kSecretMark));
}

// {"m":"password=x","n":1}, "{\"m\":\"password=x\"}": whether the text that the value stands in ends at such
// a quote. It doesn't where the quote is the value's own.
bool TextRedactor::endsText(const Value& value, Place place, QuoteLooks& looks) const {
  if (text(value.begin, place).ends_with(kSecretMark)) {
    return true;  // of what was replaced, whatever stood in front of it then
  }
  const std::size_t slashes = escapesOfQuote(place);
  const Place quote = place + slashes;
  return closesQuote(quote, slashes, value.begin, looks[at(quote) == '"' ? slashes : looks.size() - 1]);
}

// Whether the quote that opened in front of the key ends here, with so many backslashes in front as there.
bool TextRedactor::endsAround(const Value& value, Place& place) const {
  if (value.slashes > 0) {
    return endsEscaped(value, place);
  }
  return value.around != 0 && at(place) == static_cast<unsigned char>(value.around) &&
         (value.around == ']' || !isEscaped(value.begin, place));
}

// Whether a number of backslashes that is odd stands in front of `place`.
bool TextRedactor::isEscaped(Place begin, Place place) const {
  std::size_t slashes = 0;
  while (place - slashes > begin && at(place - slashes - 1) == '\\') {
    ++slashes;
  }
  return slashes % 2 == 1;
}

// The quotes of what is replaced count no more: nobody sees them who redacts the text again.
void TextRedactor::hideQuotes(Place begin, Place end) {
  for (Place place = begin; place < std::min(end, m_Seen.size()); ++place) {
    m_Seen[place] = m_Seen[place] == '"' || m_Seen[place] == '\'' ? 'x' : m_Seen[place];
  }
}

// Whether a number of a JSON text, which has no quotes around it, or what stands for one, ends at `place`.
bool TextRedactor::endsNumber(Place begin, Place place) const {
  const unsigned char c = at(place);
  return (c == ',' || c == '}' || c == ']') && place > begin &&
         (text(begin, place).find_first_not_of("0123456789.-+eE") == std::string_view::npos ||
          text(begin, place).ends_with(kSecretMark));
}

// Where the value ends; past the bound where its end isn't in sight.
TextRedactor::Place TextRedactor::valueEnd(const Value& value, std::size_t longest) const {
  if (value.ending == Ending::kElement) {
    return value.elementEnd;
  }
  Place place = value.begin;
  // Where names stand again and again in one word, each would look at all of it.
  const bool isWord = value.ending == Ending::kWord && !value.wasQuoted;
  const bool isWithin = isWord && place >= m_nWordBegin && place < m_nWordEnd;
  if (isWithin) {
    place = std::max(place, m_nWordQuote);  // where the first quote stands that may end it
  }
  const Place skipTo = isWithin ? m_nWordEnd : 0;
  Place firstQuote = 0;
  QuoteLooks looks = {};
  looks[0] = value.quoted;
  for (; place - value.begin <= longest && place < m_Window.size(); ++place) {
    const unsigned char c = at(place);
    if (c == '\n' || (c == '\r' && at(place + 1) == '\n')) {
      break;
    }
    bool ends = false;
    switch (value.ending) {
      case Ending::kWord:
        ends = isSpaceByte(c) || c == '<' || c == 0x1b || endsSoftly(place) || endsSoftlyEscaped(place) ||
               (value.wasQuoted && endsNumber(value.begin, place));
        if (!ends && mayBeTextEnd(value.begin, place)) {
          firstQuote = firstQuote == 0 ? place : firstQuote;
          ends = endsText(value, place, looks);
          if (!ends && place < skipTo) {
            place = skipTo - 1;
          }
        }
        break;
      case Ending::kPair:
        ends = endsSoftly(place);
        break;
      case Ending::kItem:
        ends = isSpaceByte(c) ||
               (c != 0 && std::string_view("\"'`,;<>)").find(static_cast<char>(c)) != std::string_view::npos);
        break;
      case Ending::kLine:
        ends =
            endsAround(value, place) || (mayBeTextEnd(value.begin, place) && endsText(value, place, looks));
        break;
      case Ending::kQuote:
        // Behind a backslash, and doubled as one of YAML's, a quote ends nothing.
        if ((c == '\\' && at(place + 1) != '\n' && place + 1 < m_Window.size()) ||
            (c == '\'' && value.quote == '\'' && at(place + 1) == '\'' && place > value.begin)) {
          ++place;
        } else {
          ends = c == static_cast<unsigned char>(value.quote);
        }
        break;
      case Ending::kEscapedQuote:
        ends = endsEscaped(value, place);
        break;
      case Ending::kElement:
        break;
      case Ending::kMarkup:
        ends = c == '<';
        break;
    }
    if (ends) {
      break;
    }
  }
  place = std::min(place, m_Window.size());
  if (isWord) {
    m_nWordBegin = value.begin;
    m_nWordQuote = firstQuote > 0 ? firstQuote : place;
    m_nWordEnd = std::max(place, skipTo);
  }
  return place;
}

}  // namespace halvo
