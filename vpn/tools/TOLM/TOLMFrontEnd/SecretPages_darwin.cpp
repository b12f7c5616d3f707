#define __STDC_WANT_LIB_EXT1__ 1
#include <string.h>

#include "vpn/tools/TOLM/TOLMFrontEnd/SecretPages.h"

namespace halvo {

void eraseBytes(void* bytes, std::size_t size) {
  memset_s(bytes, size, 0, size);
}

// This host has no such marks: the limit on core files is all.
void keepOutOfDumps(void* /*pages*/, std::size_t /*size*/) {}

bool banDumps() {
  return false;
}

void undoDumpBan(bool /*wasFree*/) {}

}  // namespace halvo
