// Removing a folder with everything in it, though somebody else may change it meanwhile.
//
// A path that is looked at and then used is two paths: between the two, a folder can become a link to
// somebody else's. So only the folder itself is opened by its path, and never where its name is a link; all
// below is done by descriptors and by names that no link is followed for.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/FileIdentity.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {

namespace {

// What happens to the inside is told under the name of the operation.
constexpr char kRemoval[] = "fileDeleteDirectory";

// A folder in removal, on the way from the topmost one to where the removal is.
struct Level {
  FileIdentity identity;
  std::string name;  // in the folder above; empty for the topmost
  std::vector<std::string> entries;
  std::size_t next = 0;
};

DescriptorHolder openFolder(int parent, const char* name) {
  return DescriptorHolder(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

// Whether the folder could be listed. A listing that breaks off counts: the folder that stays will tell.
bool listFolder(int folder, std::vector<std::string>& entries) {
  DescriptorHolder own(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  const FolderHolder stream(own ? fdopendir(own.get()) : nullptr);
  if (stream == nullptr) {
    return false;
  }
  static_cast<void>(own.release());
  while (const dirent* entry = readdir(stream.get())) {
    if (std::string name = entry->d_name; !isDotName(name)) {
      entries.push_back(std::move(name));
    }
  }
  return true;
}

void tellUnlisted() {
  logDebugReturnCode(kRemoval, __FILE__, __LINE__, kLogWarning, "helperUtil::fileFindAll",
                     TOLMENGINE_ERROR_FILE_OPEN_FAILURE, nullptr, nullptr);
}

void removeFile(int folder, const char* name) {
  if (unlinkat(folder, name, 0) == 0 || errno == ENOENT) {
    return;
  }
  logDebugReturnCode("fileDelete", __FILE__, __LINE__, kLogError, "unlink_file",
                     static_cast<ResultCode>(errno), nullptr, nullptr);
  logDebugReturnCode(kRemoval, __FILE__, __LINE__, kLogError, "helperUtil::fileDelete",
                     TOLMENGINE_ERROR_UNEXPECTED, nullptr, nullptr);
}

// One removal. Holds one descriptor however deep the folders lie, and none of them in its call stack: what is
// removed was made by somebody else.
class Removal {
 public:
  explicit Removal(DescriptorHolder top) : m_Here(std::move(top)) {}

  // False where the topmost folder can't be listed.
  bool removeInside() {
    if (!enter("")) {
      return false;
    }
    while (!m_Levels.empty()) {
      Level& level = m_Levels.back();
      if (level.next < level.entries.size()) {
        removeEntry(level.entries[level.next++]);
      } else if (!leave()) {
        break;
      }
    }
    return true;
  }

 private:
  bool enter(const std::string& name) {
    struct stat data;
    std::vector<std::string> entries;
    if (fstat(m_Here.get(), &data) != 0 || !listFolder(m_Here.get(), entries)) {
      return false;
    }
    m_Levels.push_back({FileIdentity(data), name, std::move(entries)});
    return true;
  }

  void removeEntry(const std::string& name) {
    struct stat data;
    if (fstatat(m_Here.get(), name.c_str(), &data, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISDIR(data.st_mode)) {
      removeFile(m_Here.get(), name.c_str());
      return;
    }
    // An empty folder goes at once, also one that may not be listed.
    if (unlinkat(m_Here.get(), name.c_str(), AT_REMOVEDIR) == 0) {
      return;
    }
    DescriptorHolder inner = openFolder(m_Here.get(), name.c_str());
    if (!inner) {
      tellUnlisted();
      return;
    }
    DescriptorHolder above = std::exchange(m_Here, std::move(inner));
    if (!enter(name)) {
      tellUnlisted();
      m_Here = std::move(above);
    }
  }

  // Back to the folder above, and removes the one that is done with. False where nothing is left to do.
  bool leave() {
    const std::string name = std::move(m_Levels.back().name);
    m_Levels.pop_back();
    if (m_Levels.empty()) {
      return false;
    }
    m_Here = openFolder(m_Here.get(), "..");
    struct stat data;
    // A folder that was moved away meanwhile has another one above it, which is none of ours.
    if (!m_Here || fstat(m_Here.get(), &data) != 0 || !(FileIdentity(data) == m_Levels.back().identity)) {
      return false;
    }
    // One that can't be removed shows through the folders above it, which stay too.
    static_cast<void>(unlinkat(m_Here.get(), name.c_str(), AT_REMOVEDIR));
    return true;
  }

  DescriptorHolder m_Here;
  std::vector<Level> m_Levels;
};

enum class Locked { kRemoved, kLeft };

ResultCode removeFolder(const std::string& folder, Locked locked) {
  if (folder.empty()) {
    logDebugMessage(kRemoval, __FILE__, __LINE__, kLogInformation, "rtstrDirectory is an empty string");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  // Looked at for its result alone, as told: also a folder that doesn't exist is "access denied".
  if (access(withSlash(folder).c_str(), F_OK) != 0) {
    logDebugReturnCode(kRemoval, __FILE__, __LINE__, kLogError, "access", static_cast<ResultCode>(errno),
                       nullptr, nullptr);
    return TOLMENGINE_ERROR_ACCESS_DENIED;
  }
  // With a "/" behind it, the name would be followed where it is a link.
  const std::string path = folder.substr(0, std::max<std::size_t>(folder.find_last_not_of('/') + 1, 1));
  DescriptorHolder top = openFolder(AT_FDCWD, path.c_str());
  if (!top && (errno == ENOTDIR || errno == ELOOP)) {
    // A link, planted or not, is nobody's folder: nothing is touched.
    return TOLMENGINE_ERROR_UNEXPECTED;
  }
  if (!top && errno == ENOENT) {
    logDebugMessage("fileFindAll", __FILE__, __LINE__, kLogInformation, "\"%s\" is not a directory",
                    withSlash(folder).c_str());
    logDebugReturnCode(kRemoval, __FILE__, __LINE__, kLogWarning, "helperUtil::fileFindAll",
                       TOLMENGINE_ERROR_FILE_NOT_FOUND, nullptr, nullptr);
    if (rmdir(path.c_str()) == 0) {
      return 0;
    }
    logDebugReturnCode(kRemoval, __FILE__, __LINE__, kLogError, "rmdir", static_cast<ResultCode>(errno),
                       nullptr, nullptr);
    return TOLMENGINE_ERROR_UNEXPECTED;
  }
  // The lock is held until the folder is gone: a run that has just made it finds that out.
  const DescriptorHolder lock(top && locked == Locked::kLeft ? fcntl(top.get(), F_DUPFD_CLOEXEC, 0) : -1);
  if (lock && flock(lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    logDebugMessage(kRemoval, __FILE__, __LINE__, kLogInformation, "\"%s\" is locked by a run", path.c_str());
    return TOLMENGINE_ERROR_UNEXPECTED;
  }
  if (!top || !Removal(std::move(top)).removeInside()) {
    tellUnlisted();
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  return rmdir(path.c_str()) == 0 ? 0 : TOLMENGINE_ERROR_UNEXPECTED;
}

}  // namespace

ResultCode fileDeleteDirectory(const std::string& folder) {
  return removeFolder(folder, Locked::kRemoved);
}

ResultCode fileDeleteLeftOver(const std::string& folder) {
  return removeFolder(folder, Locked::kLeft);
}

}  // namespace halvo::helperUtil
