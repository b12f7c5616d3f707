#include "vpn/tools/TOLM/TOLMAuthoring/plan/PlanHost.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/OwnLinks.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ProgramSearch.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"

namespace halvo {

ResultCode PlanHost::findAll(std::string folder, std::string pattern,
                             std::list<helperUtil::FileFindEntry>& entries) {
  const std::size_t before = lossCount(LossKind::kCutShort);
  const ResultCode rc = helperUtil::fileFindAll(folder, pattern, entries);
  // A listing that broke off reads as a short one, or as an empty one.
  return lossCount(LossKind::kCutShort) == before ? rc : TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
}

HostKind PlanHost::kindOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    return HostKind::kMissing;
  }
  return S_ISREG(status.st_mode)   ? HostKind::kFile
         : S_ISDIR(status.st_mode) ? HostKind::kFolder
                                   : HostKind::kOther;
}

std::int64_t PlanHost::sizeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? static_cast<std::int64_t>(status.st_size) : -1;
}

std::string PlanHost::readProblem(const std::string& path) {
  // Only asked, not opened: opening a FIFO or a device can wait, or do something.
  return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0 ? "" : std::strerror(errno);
}

std::string PlanHost::deleteProblem(const std::string& path) {
  // The folder decides. One that keeps each user's files from others may refuse all the same.
  const std::string folder = helperUtil::stringBeforeLast(path, "/", true);
  if (!openFolderByOwnLinks(folder) && errno == EPERM) {
    return "a link that another user has made leads there";
  }
  return faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0 ? "" : std::strerror(errno);
}

bool PlanHost::hasProgram(const std::string& program) {
  return findsProgram(program);
}

ResultCode PlanHost::logLocations(const std::string& file, std::vector<std::string>& locations) {
  return TOLMAction::getLogLocationArray(file, locations);
}

std::vector<std::string> PlanHost::listFolder(const std::string& path) {
  std::vector<std::string> names;
  const FolderHolder stream(opendir(path.c_str()));
  while (const dirent* entry = stream == nullptr ? nullptr : readdir(stream.get())) {
    const std::string name = entry->d_name;
    if (!isDotName(name)) {
      names.push_back(name);
    }
  }
  return names;
}

std::optional<IPlanHost::Identity> PlanHost::identityOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) {
    return std::nullopt;
  }
  return Identity(status.st_dev, status.st_ino);
}

std::string PlanHost::linkTarget(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) {
    return "";
  }
  const MemoryHolder<char> real(realpath(path.c_str(), nullptr));
  return real == nullptr ? "" : real.get();
}

}  // namespace halvo
