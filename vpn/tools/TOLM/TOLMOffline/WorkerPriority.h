// The priority of the thread that runs the engine, and of the commands that it starts.

#pragma once

#include "vpn/tools/TOLM/TOLMOffline/IToolkit.h"

namespace halvo {

// Lowers the calling thread to what the class of queue stands for, for good. Children inherit it. Nothing
// is told where the host refuses: a run at full priority is a run too.
void lowerThisThread(GlobalQueue queue);

}  // namespace halvo
