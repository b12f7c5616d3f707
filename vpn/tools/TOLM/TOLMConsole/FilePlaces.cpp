#include "vpn/tools/TOLM/TOLMConsole/FilePlaces.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>

namespace halvo {

namespace {

namespace fs = std::filesystem;

// Links on the way are followed; what isn't there yet stays as it is named.
std::string resolved(const std::string& path) {
  std::error_code error;
  // Absolute first: of a name without a folder in front, nothing would be there to be resolved.
  const fs::path whole = fs::absolute(path, error);
  const fs::path found = error ? fs::path() : fs::weakly_canonical(whole, error);
  return error ? path : found.lexically_normal().string();
}

}  // namespace

bool isSamePlace(const std::string& one, const std::string& other) {
  if (one.empty() || other.empty()) {
    return false;
  }
  struct stat first;
  struct stat second;
  const bool isFirst = stat(one.c_str(), &first) == 0;
  const bool isSecond = stat(other.c_str(), &second) == 0;
  if (isFirst && isSecond) {
    return S_ISREG(first.st_mode) && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
  }
  return !isFirst && !isSecond && resolved(one) == resolved(other);
}

std::string linkProblem(const std::vector<NamedFile>& files) {
  for (const NamedFile& written : files) {
    struct stat status;
    if (written.use == FileUse::kWritten && !written.path.empty() &&
        lstat(written.path.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
      return written.path + ": it is a link, and no file to be replaced (" + written.what + ")";
    }
  }
  return "";
}

std::string placeProblem(const std::vector<NamedFile>& files) {
  for (const NamedFile& written : files) {
    if (written.use != FileUse::kWritten) {
      continue;
    }
    for (const NamedFile& other : files) {
      if (&other != &written && isSamePlace(written.path, other.path)) {
        return written.what + " names the place of another file: " + other.path + " (" + other.what + ")";
      }
    }
  }
  return "";
}

}  // namespace halvo
