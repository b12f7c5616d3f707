#include <stdio.h>

#include "vpn/tools/TOLM/TOLMFrontEnd/ExclusiveRename.h"

namespace halvo {

int renameExclusivelyByHost(int folder, const char* from, const char* to) {
  return renameatx_np(folder, from, folder, to, RENAME_EXCL);
}

}  // namespace halvo
