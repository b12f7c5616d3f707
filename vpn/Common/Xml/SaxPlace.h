// SaxPlace: where in its text a parse of libxml2's stands, for those who tell faults by their place.
//
// Borrows the context for the call. Nothing is logged.

#pragma once

#include <libxml/parser.h>

#include <cstdint>

namespace halvo {

// Both count from 1; columns count characters.
struct SaxPlace {
  std::uint32_t line = 1;
  std::uint32_t column = 1;
};

// The place of the "<" of the start tag whose end the parser has just reached: for the events of elements'
// starts.
SaxPlace startTagPlace(const xmlParserCtxt* context);

}  // namespace halvo
