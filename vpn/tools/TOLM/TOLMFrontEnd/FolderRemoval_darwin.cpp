#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "vpn/Common/Utility/PathText.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/FolderRemoval.h"

namespace halvo {

namespace {

constexpr int kDeepest = 200;

bool removeAt(int parent, const char* name, int depth);

// Takes `folder` over. This host offers no reading of folders without memory; its library asks for a
// small block, which is there but for a thread that was stopped inside of the allocator.
bool emptyFolder(int folder, int depth) {
  DIR* const stream = fdopendir(folder);
  if (stream == nullptr) {
    close(folder);
    return false;
  }
  bool all = true;
  while (const dirent* const entry = readdir(stream)) {
    all = (isDotName(entry->d_name) || removeAt(dirfd(stream), entry->d_name, depth + 1)) && all;
  }
  closedir(stream);
  return all;
}

bool removeAt(int parent, const char* name, int depth) {
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) {
    return true;
  }
  // EPERM by this host and the standard.
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
  return unlinkat(parent, name, AT_REMOVEDIR) == 0;
}

}  // namespace

bool removeFolder(int parent, const char* name) {
  return removeAt(parent, name, 0);
}

}  // namespace halvo
