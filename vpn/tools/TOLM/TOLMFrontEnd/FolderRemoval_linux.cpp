#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "vpn/Common/Utility/PathText.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/FolderRemoval.h"

namespace halvo {

namespace {

// As the kernel lays a folder's entries out; the C library has no type for it.
struct RawEntry {
  std::uint64_t inode;
  std::int64_t offset;
  std::uint16_t length;
  std::uint8_t type;
  char name[1];
};

// Each level needs a block on the stack and a descriptor: as deep as paths can be, and no deeper.
constexpr std::size_t kBlock = 2048;
constexpr int kDeepest = 900;

bool removeAt(int parent, const char* name, int depth);

// Removes what the open folder holds. Returns whether it is empty then.
bool emptyFolder(int folder, int depth) {
  // A folder that changes under the reading may hide entries: it is read again for as long as that helps.
  for (;;) {
    bool any = false;
    bool all = true;
    lseek(folder, 0, SEEK_SET);
    alignas(RawEntry) char block[kBlock];
    long got = 0;
    while ((got = syscall(SYS_getdents64, folder, block, sizeof(block))) > 0) {
      for (long at = 0; at < got;) {
        const auto* const entry = reinterpret_cast<const RawEntry*>(block + at);
        at += entry->length;
        const char* const name = reinterpret_cast<const char*>(entry) + offsetof(RawEntry, name);
        if (isDotName(name)) {
          continue;
        }
        const bool removed = removeAt(folder, name, depth + 1);
        any = any || removed;
        all = all && removed;
      }
    }
    if (got < 0) {
      return false;
    }
    if (!any) {
      return all;
    }
  }
}

bool removeAt(int parent, const char* name, int depth) {
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) {
    return true;
  }
  // EISDIR by this host, EPERM by the standard.
  if ((errno != EISDIR && errno != EPERM) || depth > kDeepest) {
    return false;
  }
  if (unlinkat(parent, name, AT_REMOVEDIR) == 0) {
    return true;
  }
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) {
    return false;
  }
  // A command may have made a folder that nobody can change; it is the user's own here.
  static_cast<void>(fchmod(folder, S_IRWXU));
  static_cast<void>(emptyFolder(folder, depth));
  close(folder);
  return unlinkat(parent, name, AT_REMOVEDIR) == 0;
}

}  // namespace

bool removeFolder(int parent, const char* name) {
  return removeAt(parent, name, 0);
}

}  // namespace halvo
