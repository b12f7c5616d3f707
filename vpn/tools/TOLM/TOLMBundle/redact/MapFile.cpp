#include "vpn/tools/TOLM/TOLMBundle/redact/MapFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestMap = std::size_t{1} << 30U;

std::string failureOf(const std::string& path) {
  return path + ": " + std::strerror(errno);
}

std::string readText(const DescriptorHolder& file, const std::string& path, std::size_t limit,
                     std::string& text) {
  std::vector<char> block(65536);
  for (;;) {
    const ssize_t got = read(file.get(), block.data(), block.size());
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return got < 0 ? failureOf(path) : "";
    }
    text.append(block.data(), static_cast<std::size_t>(got));
    if (text.size() > limit) {
      return path + ": the file is too long";
    }
  }
}

}  // namespace

MapLock::~MapLock() {
  if (!m_strLock.empty()) {
    // While it is still locked: whoever waits for it sees that the name is gone, and makes another.
    unlink(m_strLock.c_str());
  }
}

std::string MapLock::take(const std::string& path, const std::function<void()>& onWait) {
  // A name may be as long as the file system takes; its lock's is cut then.
  constexpr std::size_t kLongestName = 200;
  const std::size_t name = path.rfind('/') + 1;  // 0 where there is no folder
  const std::string lock = path.substr(0, name) + "." + path.substr(name, kLongestName) + ".lock";
  bool told = false;
  for (;;) {
    DescriptorHolder file(open(lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (!file) {
      return path + ": it can't be locked: " + std::strerror(errno);
    }
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK) {
        // No locks here. The file is nobody's then.
        unlink(lock.c_str());
        return "";
      }
      if (!told) {
        told = true;
        onWait();
      }
      while (flock(file.get(), LOCK_EX) != 0) {
        if (errno != EINTR) {
          return path + ": it can't be locked: " + std::strerror(errno);
        }
      }
    }
    struct stat held = {};
    struct stat named = {};
    if (fstat(file.get(), &held) == 0 && lstat(lock.c_str(), &named) == 0 && held.st_dev == named.st_dev &&
        held.st_ino == named.st_ino) {
      m_strLock = lock;
      m_File = std::move(file);
      return "";
    }
  }
}

std::string readTextFile(const std::string& path, std::size_t limit, std::string& text) {
  const DescriptorHolder file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  return file ? readText(file, path, limit, text) : failureOf(path);
}

std::string loadMap(const std::string& path, StandIns& standIns) {
  const DescriptorHolder file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) {
    // The first redaction with a map makes it.
    return errno == ENOENT ? "" : errno == ELOOP ? path + ": it is a link, and no map" : failureOf(path);
  }
  struct stat data;
  if (fstat(file.get(), &data) != 0 || !S_ISREG(data.st_mode)) {
    return path + ": it is no file";
  }
  std::string text;
  if (std::string failure = readText(file, path, kLongestMap, text); !failure.empty()) {
    return failure;
  }
  const std::string failure = standIns.load(text);
  return failure.empty() ? failure : path + ": " + failure;
}

}  // namespace halvo
