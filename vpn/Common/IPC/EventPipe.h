// The pipe of an event. A unit of its own, so that a test program can have it fail by itself.

#pragma once

namespace halvo {

// pipe(2): 0, or -1 with errno set. The ends are inherited by children, as every descriptor is here.
int openEventPipe(int (&ends)[2]);

}  // namespace halvo
