// Hardware addresses as bytes and as they are written. Pure functions.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"

namespace halvo {

// Those of nobody, everybody and groups, and stand-ins.
bool macStays(const MacBytes& mac);

// The new bytes in the writing of the old text: the same signs between digits, and capitals where it had any.
std::string inWritingOf(std::string_view old, const std::uint8_t* bytes);

// The hexadecimal digits of `text` two by two, at most `most` bytes; how many it had.
std::size_t bytesOf(std::string_view text, std::uint8_t* bytes, std::size_t most);

}  // namespace halvo
