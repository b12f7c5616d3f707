// What a secret needs of its host: see Secret.h.

#pragma once

#include <cstddef>

namespace halvo {

// Overwrites with zero bytes, which no compiler takes for needless.
void eraseBytes(void* bytes, std::size_t size);

// Keeps the pages, and with them the process where the host has a mark for it, out of memory dumps. Returns
// whether the process had been free to be dumped, for undoDumpBan().
bool banDumps(void* pages, std::size_t size);
void undoDumpBan(bool wasFree);

}  // namespace halvo
