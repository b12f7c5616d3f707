// removeFolder: takes a folder and all that is in it away, by descriptors and without asking for memory.
//
// For moments at which nothing else may be called: a signal handler, and the watcher of a run whose own
// thread stands still wherever the signal has met it, perhaps inside of the allocator. Links are unlinked and
// never followed, so a name that is swapped for a link meanwhile leads nowhere. Any depth goes with a few
// dozen descriptors, or fewer where there are no more. May be used on any thread. Logs nothing.
//
// The engine removes its work folder by code of its own first (helperUtil_removal.cpp): that one has a record
// to log for each entry that stays, opens nothing that a command has closed, and asks for memory.

#pragma once

namespace halvo {

// Removes `name` in the open folder `parent` (or AT_FDCWD), a folder or anything else. Goes on behind
// what can't be removed; returns whether nothing is left.
bool removeFolder(int parent, const char* name);

}  // namespace halvo
