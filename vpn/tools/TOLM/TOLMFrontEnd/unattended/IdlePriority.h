// Gives way to everything else that runs on the machine.

#pragma once

namespace halvo {

// Sets this process, and what it starts from now on, to the priority of what has nothing better to do, for
// the processor and for the disk. A system that refuses is left as it is: the run only takes longer for
// others. Before any thread is started.
void takeIdlePriority();

}  // namespace halvo
