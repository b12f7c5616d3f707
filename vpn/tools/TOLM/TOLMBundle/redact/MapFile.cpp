#include "vpn/tools/TOLM/TOLMBundle/redact/MapFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "vpn/Common/Utility/Holders.h"
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
