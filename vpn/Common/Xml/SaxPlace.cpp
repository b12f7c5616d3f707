#include "vpn/Common/Xml/SaxPlace.h"

namespace halvo {

namespace {

std::uint32_t positive(int number) {
  return number < 1 ? 1U : static_cast<std::uint32_t>(number);
}

}  // namespace

// A start tag holds no other "<", so the nearest one behind the reader is its beginning, as long as the
// parser still holds it.
SaxPlace startTagPlace(const xmlParserCtxt* context) {
  const xmlParserInput* const input = context->input;
  SaxPlace place{positive(input->line), positive(input->col)};
  const xmlChar* const first = input->base;
  const xmlChar* tag = input->cur;
  std::uint32_t lineFeeds = 0;
  std::uint32_t characters = 0;
  while (tag > first && *tag != '<') {
    --tag;
    lineFeeds += *tag == '\n' ? 1 : 0;
    characters += (*tag & 0xc0) != 0x80 ? 1 : 0;
  }
  if (*tag != '<') {
    return place;
  }
  if (lineFeeds == 0) {
    place.column = place.column > characters ? place.column - characters : 1;
    return place;
  }
  place.line = place.line > lineFeeds ? place.line - lineFeeds : 1;
  place.column = 1;
  for (const xmlChar* at = tag; at > first && at[-1] != '\n'; --at) {
    place.column += (at[-1] & 0xc0) != 0x80 ? 1 : 0;
  }
  return place;
}

}  // namespace halvo
