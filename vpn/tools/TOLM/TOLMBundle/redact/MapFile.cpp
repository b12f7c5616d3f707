#include "vpn/tools/TOLM/TOLMBundle/redact/MapFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestMap = std::size_t{1} << 30U;

std::string failureOf(const std::string& path) {
  return path + ": " + std::strerror(errno);
}

}  // namespace

std::string readTextFile(const std::string& path, std::size_t limit, std::string& text) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return failureOf(path);
  }
  std::vector<char> block(65536);
  std::string failure;
  for (;;) {
    const ssize_t got = read(file, block.data(), block.size());
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got < 0) {
      failure = failureOf(path);
    }
    if (got <= 0) {
      break;
    }
    text.append(block.data(), static_cast<std::size_t>(got));
    if (text.size() > limit) {
      failure = path + ": the file is too long";
      break;
    }
  }
  close(file);
  return failure;
}

std::string writeTextFile(const std::string& path, const std::string& text, unsigned mode) {
  std::string temporary = path + ".XXXXXX";
  const int file = mkostemp(temporary.data(), O_CLOEXEC);
  if (file < 0) {
    return failureOf(path);
  }
  bool good = fchmod(file, static_cast<mode_t>(mode)) == 0;
  for (std::size_t done = 0; good && done < text.size();) {
    const ssize_t put = write(file, text.data() + done, text.size() - done);
    good = put > 0 || (put < 0 && errno == EINTR);
    done += put > 0 ? static_cast<std::size_t>(put) : 0;
  }
  // Ahead of the renaming: an older map must not go for one that isn't on the disk yet.
  good = good && fsync(file) == 0;
  good = close(file) == 0 && good;
  good = good && rename(temporary.c_str(), path.c_str()) == 0;
  if (!good) {
    std::string failure = failureOf(path);
    unlink(temporary.c_str());
    return failure;
  }
  return {};
}

std::string loadMap(const std::string& path, StandIns& standIns) {
  // The first redaction with a map makes it.
  if (access(path.c_str(), F_OK) != 0 && errno == ENOENT) {
    return {};
  }
  std::string text;
  if (std::string failure = readTextFile(path, kLongestMap, text); !failure.empty()) {
    return failure;
  }
  const std::string failure = standIns.load(text);
  return failure.empty() ? failure : path + ": " + failure;
}

std::string saveMap(const std::string& path, const StandIns& standIns) {
  return writeTextFile(path, standIns.save(), 0600);
}

}  // namespace halvo
