// What a secret needs of its host: see Secret.h.

#pragma once

#include <cstddef>

namespace halvo {

// Overwrites with zero bytes, which no compiler takes for needless.
void eraseBytes(void* bytes, std::size_t size);

// Keeps the pages out of memory dumps, where the host has a mark for that.
void keepOutOfDumps(void* pages, std::size_t size);

// Keeps the whole process out of memory dumps, and other programs of the user out of it, where the host has a
// mark for that. Returns whether it had been free to be dumped, for undoDumpBan().
bool banDumps();
void undoDumpBan(bool wasFree);

}  // namespace halvo
