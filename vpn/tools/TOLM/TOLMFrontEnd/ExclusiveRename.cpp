#include "vpn/tools/TOLM/TOLMFrontEnd/ExclusiveRename.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace halvo {

namespace {

bool isUnknown(int error) {
  return error == EINVAL || error == ENOSYS || error == ENOTSUP;
}

}  // namespace

int renameExclusively(int folder, const std::string& from, const std::string& to) {
  if (renameExclusivelyByHost(folder, from.c_str(), to.c_str()) == 0) {
    return 0;
  }
  if (!isUnknown(errno)) {
    return errno;
  }
  if (linkat(folder, from.c_str(), folder, to.c_str(), 0) == 0) {
    static_cast<void>(unlinkat(folder, from.c_str(), 0));
    return 0;
  }
  // EPERM: a file system without second names.
  if (!isUnknown(errno) && errno != EPERM) {
    return errno;
  }
  // It can do neither. A look ahead is all that is left, and better than no bundle.
  struct stat data;
  if (fstatat(folder, to.c_str(), &data, AT_SYMLINK_NOFOLLOW) == 0) {
    return EEXIST;
  }
  return renameat(folder, from.c_str(), folder, to.c_str()) == 0 ? 0 : errno;
}

}  // namespace halvo
