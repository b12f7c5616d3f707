#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "vpn/Common/Utility/OwnLinks.h"

namespace halvo {

namespace {

// Whether both are one link that nobody has renamed in between: that sets the time of its change.
bool isUntouched(const struct stat& before, const struct stat& after) {
  return before.st_dev == after.st_dev && before.st_ino == after.st_ino &&
         before.st_ctimespec.tv_sec == after.st_ctimespec.tv_sec &&
         before.st_ctimespec.tv_nsec == after.st_ctimespec.tv_nsec;
}

}  // namespace

DescriptorHolder passThrough(int folder, const char* name, int flags) {
  return DescriptorHolder(openat(folder, name, O_SEARCH | O_CLOEXEC | flags));
}

// The oldest system that this is built for can't read a link by its descriptor.
bool readLink(int folder, const char* name, uid_t& owner, std::string& target) {
  struct stat before;
  if (fstatat(folder, name, &before, AT_SYMLINK_NOFOLLOW) != 0) {
    return false;
  }
  if (!S_ISLNK(before.st_mode)) {
    errno = ENOTDIR;
    return false;
  }
  target.resize(PATH_MAX);
  const ssize_t length = readlinkat(folder, name, target.data(), target.size());
  target.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  struct stat after;
  if (length < 0 || fstatat(folder, name, &after, AT_SYMLINK_NOFOLLOW) != 0) {
    return false;
  }
  owner = before.st_uid;
  errno = EAGAIN;
  return isUntouched(before, after);
}

}  // namespace halvo
