#include "vpn/Common/IPC/EventPipe.h"

#include <unistd.h>

namespace halvo {

int openEventPipe(int (&ends)[2]) {
  return pipe(ends);
}

}  // namespace halvo
