// The host's means to hear of writes to an open file: inotify on Linux, kqueue on Darwin.
//
// Free functions over descriptors, in the shape that CKevent's loop needs. Errors leave errno set.

#pragma once

namespace halvo {

// A new watch; -1 on failure.
int openWriteWatch();

// Gives a watch back that nobody waits on any more. Negative ones are none.
void closeWriteWatch(int watch);

// Asks for the next write to the file behind `descriptor`, through whatever descriptor it comes. To be
// repeated before each wait. -1 on failure.
int registerWriteWatch(int watch, int descriptor);

// Waits for at most a second for a write to the file registered with `descriptor`. 1: there was one; 0:
// there was none, or something else came; -1 on failure.
int awaitWrite(int watch, int descriptor);

}  // namespace halvo
