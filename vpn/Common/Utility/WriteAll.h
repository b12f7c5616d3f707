// Writing to an open file until all of it is there.

#pragma once

#include <cstddef>

namespace halvo {

// Writes all of it, however many calls that takes. Returns 0 or an errno value; logs nothing.
[[nodiscard]] int writeAll(int descriptor, const char* bytes, std::size_t count);

}  // namespace halvo
