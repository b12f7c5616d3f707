#include <string.h>
#include <sys/mman.h>
#include <sys/prctl.h>

#include "vpn/tools/TOLM/TOLMFrontEnd/SecretPages.h"

namespace halvo {

void eraseBytes(void* bytes, std::size_t size) {
  explicit_bzero(bytes, size);
}

void keepOutOfDumps(void* pages, std::size_t size) {
  static_cast<void>(madvise(pages, size, MADV_DONTDUMP));
}

bool banDumps() {
  const bool wasFree = prctl(PR_GET_DUMPABLE, 0, 0, 0, 0) == 1;
  static_cast<void>(prctl(PR_SET_DUMPABLE, 0, 0, 0, 0));
  return wasFree;
}

void undoDumpBan(bool wasFree) {
  static_cast<void>(prctl(PR_SET_DUMPABLE, wasFree ? 1 : 0, 0, 0, 0));
}

}  // namespace halvo
