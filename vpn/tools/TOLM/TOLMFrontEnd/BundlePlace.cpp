#include "vpn/tools/TOLM/TOLMFrontEnd/BundlePlace.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

// The most that deflate takes out of anything.
constexpr std::uint64_t kMostShrunk = 1032;
constexpr int kMostNames = 10'000;

std::string quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string sizeWords(std::uint64_t bytes) {
  return helperUtil::sizeToText(static_cast<double>(bytes), 1);
}

// What stands in the way at `path` itself; a file that is there doesn't.
std::string obstacleAt(const std::string& path) {
  struct stat data;
  if (stat(path.c_str(), &data) != 0 || S_ISREG(data.st_mode)) {
    return "";
  }
  const char* const kind = S_ISDIR(data.st_mode)    ? "a folder"
                           : S_ISFIFO(data.st_mode) ? "a pipe"
                           : S_ISSOCK(data.st_mode) ? "a socket"
                                                    : "a device";
  return quoted(path) + " is " + kind + ", and a bundle is a file: name a file in a folder";
}

}  // namespace

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

std::string takenProblem(const std::string& folder, const std::string& name) {
  struct stat place;
  struct stat taken;
  if (lstat((folder + name).c_str(), &taken) != 0) {
    return errno == ENAMETOOLONG ? "its name is too long" : "";
  }
  const bool isForeign = geteuid() != 0 && taken.st_uid != geteuid();
  if (isForeign && stat(folder.c_str(), &place) == 0 && (place.st_mode & S_ISVTX) != 0 &&
      place.st_uid != geteuid()) {
    return "the file that is there is another user's";
  }
  return "";
}

std::string bundlePlaceProblem(const std::string& path, const std::string& ending) {
  if (!path.empty() && path.back() == '/') {
    return quoted(path) + " is the name of a folder, and a bundle is a file: name a file in it";
  }
  const std::string zip = TOLMEngine::zipPath(path) + ending;
  // Both: the engine puts ".zip" behind a name, and whoever named a pipe means that pipe.
  for (const std::string& candidate : {path, zip}) {
    if (const std::string obstacle = obstacleAt(candidate); !obstacle.empty()) {
      return obstacle;
    }
  }
  const std::string folder = folderOf(zip);
  struct stat data;
  if (stat(folder.c_str(), &data) != 0 || !S_ISDIR(data.st_mode) ||
      access(folder.c_str(), W_OK | X_OK) != 0) {
    return "is there a folder for " + quoted(zip) + ", and may you write there?";
  }
  const std::string problem = takenProblem(folder, zip.substr(zip.rfind('/') + 1));
  return problem.empty() ? "" : quoted(zip) + " can't be written: " + problem;
}

std::string freeBundlePath(const std::string& path, const std::string& ending) {
  const std::string zip = TOLMEngine::zipPath(path);
  const std::string stem = zip.substr(0, zip.size() - std::strlen(".zip"));
  std::string candidate = zip;
  // A link counts, wherever it leads: the bundle would take its place.
  struct stat data;
  for (int number = 2; number < kMostNames && lstat((candidate + ending).c_str(), &data) == 0; ++number) {
    candidate = stem + "_" + std::to_string(number) + ".zip";
  }
  return candidate;
}

std::int64_t freeSpace(const std::string& folder) {
  struct statvfs data;
  if (statvfs(folder.c_str(), &data) != 0) {
    return -1;
  }
  // A file system of no size at all (some virtual ones) tells nothing.
  if (data.f_blocks == 0) {
    return -1;
  }
  // Root may use what is kept back for it.
  const std::uint64_t blocks = geteuid() == 0 ? data.f_bfree : data.f_bavail;
  return static_cast<std::int64_t>(blocks * data.f_frsize);
}

SpaceFindings compareSpace(std::uint64_t plannedBytes, std::int64_t freeForWork, std::int64_t freeForBundle,
                           const std::string& workFolder, const std::string& bundleFolder) {
  SpaceFindings findings;
  const std::string needs = " free, and the files to gather have " + sizeWords(plannedBytes);
  if (freeForWork >= 0 && plannedBytes > static_cast<std::uint64_t>(freeForWork)) {
    findings.problem = quoted(workFolder) + " has " + sizeWords(static_cast<std::uint64_t>(freeForWork)) +
                       needs + ": make room, or ask for fewer items with a request";
    return findings;
  }
  if (freeForBundle < 0 || plannedBytes <= static_cast<std::uint64_t>(freeForBundle)) {
    return findings;
  }
  const std::string text =
      quoted(bundleFolder) + " has " + sizeWords(static_cast<std::uint64_t>(freeForBundle)) + needs;
  if (plannedBytes / kMostShrunk > static_cast<std::uint64_t>(freeForBundle)) {
    findings.problem = text + ": make room, or write the bundle elsewhere";
  } else {
    // Logs shrink to a part of their size, so the run is worth a try.
    findings.remark = text + "; the bundle may not fit";
  }
  return findings;
}

std::string largeFileProblem(const std::string& file, std::uint64_t bytes, bool encrypted) {
  if (encrypted || bytes < kLargeFile) {
    return "";
  }
  return quoted(file) + " has " + sizeWords(bytes) +
         ", and a bundle without a password holds no file of 4 GiB or more: give a password, or ask for "
         "fewer "
         "items with a request";
}

}  // namespace halvo
