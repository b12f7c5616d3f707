#include <cstdio>

#include "vpn/tools/TOLM/TOLMFrontEnd/ExclusiveRename.h"

namespace halvo {

int renameExclusivelyByHost(int folder, const char* from, const char* to) {
  return renameat2(folder, from, folder, to, RENAME_NOREPLACE);
}

}  // namespace halvo
