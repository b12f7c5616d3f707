// removeFolder: takes a folder and all that is in it away, by descriptors and without asking for memory.
//
// For moments at which nothing else may be called: the thread that runs the engine stands still wherever
// a signal has met it, perhaps inside of the allocator. Links are unlinked and never followed, so a name
// that is swapped for a link meanwhile leads nowhere. May be used on any thread.

#pragma once

namespace halvo {

// Removes `name` in the open folder `parent` (or AT_FDCWD), a folder or anything else. Goes on behind
// what can't be removed; returns whether nothing is left.
bool removeFolder(int parent, const char* name);

}  // namespace halvo
