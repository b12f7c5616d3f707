// Descendants: every process that this one's commands have started, found and ended.
//
// A command may start others and end before them. While this process adopts orphans, those stay below it
// and are found. All operations use the stack alone: they are called while another thread stands still,
// perhaps inside of the allocator. Any thread.

#pragma once

#include <cstdint>

namespace halvo {

// From here on the processes below this one that lose their parent become its own, where the host can do
// that. Returns whether it can.
bool adoptOrphans();

// Undoes that for processes that lose their parent later on: what the user starts from here, and not a run.
// On hosts that adopt.
void leaveOrphans();

// A moment in the units that processes' starts are counted in.
std::uint64_t processClock();

// Ends the living processes below this one that have started at `since` or later: asks them to
// (SIGTERM), and makes them (SIGKILL) `graceMs` later. Returns when none is left, at the latest two
// seconds after that, and how many are left: this process may not end one that works with more rights than
// its own. The dead are left for whoever waits for them.
int endDescendants(std::uint64_t since, unsigned graceMs);

// How many living processes are below this one that have started at `since` or later.
int countDescendants(std::uint64_t since);

}  // namespace halvo
