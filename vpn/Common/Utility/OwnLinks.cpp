#include "vpn/Common/Utility/OwnLinks.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

namespace {

// As many as the kernel itself follows.
constexpr int kMostLinks = 40;

// Puts the components of a path on the pile of those still to walk, the first one on top.
void pushComponents(const std::string& path, std::vector<std::string>& ahead) {
  std::size_t end = path.size();
  while (end > 0) {
    const std::size_t slash = path.rfind('/', end - 1);
    const std::size_t begin = slash == std::string::npos ? 0 : slash + 1;
    if (begin < end) {
      ahead.push_back(path.substr(begin, end - begin));
    }
    end = slash == std::string::npos ? 0 : slash;
  }
}

DescriptorHolder startOf(const std::string& path) {
  return passThrough(AT_FDCWD, !path.empty() && path.front() == '/' ? "/" : ".", 0);
}

// Where a link leads that may be followed; false, with errno set, for anything else.
bool readOwnLink(int folder, const char* name, std::string& target) {
  uid_t owner = 0;
  if (!readLink(folder, name, owner, target)) {
    return false;
  }
  if (owner != 0 && owner != geteuid()) {
    errno = EPERM;
    return false;
  }
  return true;
}

}  // namespace

DescriptorHolder openFolderByOwnLinks(const std::string& path) {
  if (path.empty()) {
    errno = ENOENT;
    return DescriptorHolder();
  }
  std::vector<std::string> ahead;
  pushComponents(path, ahead);
  DescriptorHolder here = startOf(path);
  int links = 0;
  while (here && !ahead.empty()) {
    const std::string name = std::move(ahead.back());
    ahead.pop_back();
    DescriptorHolder next = passThrough(here.get(), name.c_str(), O_NOFOLLOW);
    if (!next && (errno == ELOOP || errno == ENOTDIR)) {
      std::string target;
      if (!readOwnLink(here.get(), name.c_str(), target)) {
        return DescriptorHolder();
      }
      if (++links > kMostLinks) {
        errno = ELOOP;
        return DescriptorHolder();
      }
      pushComponents(target, ahead);
      if (target.empty() || target.front() != '/') {
        continue;
      }
      next = startOf(target);
    }
    here = std::move(next);
  }
  return here ? DescriptorHolder(openat(here.get(), ".", O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC))
              : DescriptorHolder();
}

}  // namespace halvo
