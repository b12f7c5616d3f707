#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "vpn/Common/Utility/OwnLinks.h"

namespace halvo {

DescriptorHolder passThrough(int folder, const char* name, int flags) {
  return DescriptorHolder(openat(folder, name, O_PATH | O_DIRECTORY | O_CLOEXEC | flags));
}

bool readLink(int folder, const char* name, uid_t& owner, std::string& target) {
  const DescriptorHolder link(openat(folder, name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
  struct stat data;
  if (!link || fstat(link.get(), &data) != 0) {
    return false;
  }
  if (!S_ISLNK(data.st_mode)) {
    errno = ENOTDIR;
    return false;
  }
  target.resize(PATH_MAX);
  const ssize_t length = readlinkat(link.get(), "", target.data(), target.size());
  target.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
  owner = data.st_uid;
  return length >= 0;
}

}  // namespace halvo
