#include "vpn/tools/TOLM/TOLMEngine/implementations/WorkFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/FolderRemoval.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/Common/Utility/sysutils.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/FileIdentity.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

constexpr mode_t kPrivateMode = 0700;
constexpr mode_t kWritableByOthers = 0022;
// More than a day of names. Whoever plants that many keeps a run from beginning, which is told; the look at
// them all takes a second.
constexpr std::time_t kNamesInReach = 100'000;

std::string suffixOf(std::time_t second) {
  // The time text begins with an underscore of its own, so the name holds two in a row.
  return "_" + timeText(1, second) + "_" +
         helperUtil::floatToText(static_cast<float>(helperUtil::randomFiveDigits(second)), 0);
}

// A name is free where there is nothing, not even a link that leads nowhere.
bool isFree(const std::string& path) {
  struct stat data;
  return lstat(path.c_str(), &data) != 0 && errno == ENOENT;
}

bool isEmpty(int folder) {
  DescriptorHolder own(fcntl(folder, F_DUPFD_CLOEXEC, 0));
  const FolderHolder stream(own ? fdopendir(own.get()) : nullptr);
  if (stream == nullptr) {
    return false;
  }
  static_cast<void>(own.release());
  errno = 0;
  const dirent* entry = readdir(stream.get());
  while (entry != nullptr && isDotName(entry->d_name)) {
    entry = readdir(stream.get());
  }
  return entry == nullptr && errno == 0;
}

}  // namespace

WorkFolder::WorkFolder() : m_strPath(helperUtil::translatePath(helperUtil::workFolder())) {}

void WorkFolder::choose() {
  const ResultCode rc = helperUtil::fileDeleteLeftOver(m_strPath);
  if (rc == 0) {
    return;
  }
  // Under the name of the run whose step this is, as its other records.
  logDebugReturnCode("collectLogs", __FILE__, __LINE__, kLogWarning, "helperUtil::fileDeleteDirectory", rc,
                     nullptr, nullptr);
  // A folder that doesn't exist is told as "access denied", so a clean machine gets the suffix, and the
  // plain name is used only after a left-over folder has been removed. This is meant.
  if (rc != TOLMENGINE_ERROR_FILE_NOT_FOUND) {
    static_cast<void>(draw());
  }
}

bool WorkFolder::draw() {
  const std::time_t now = currentTime();
  if (!m_bDrawn) {
    m_bDrawn = true;
    m_nNextSecond = now;
  }
  const std::string plain = helperUtil::translatePath(helperUtil::workFolder());
  while (m_nNextSecond < now + kNamesInReach) {
    m_strPath = plain + suffixOf(m_nNextSecond++);
    if (isFree(m_strPath)) {
      return true;
    }
  }
  m_strProblem = "every name that the work folder could have in the next " + std::to_string(kNamesInReach) +
                 " seconds is taken, the last one is \"" + m_strPath + "\": remove what stands there";
  LOG_MESSAGE(kLogError, "%s", m_strProblem.c_str());
  return false;
}

ResultCode WorkFolder::make() {
  for (;;) {
    errno = 0;
    const int error = mkdir(m_strPath.c_str(), kPrivateMode) == 0 ? 0 : errno;
    if (error != 0) {
      // As every folder that can't be made is logged, the existing one too.
      logDebugReturnCode("MakeDirectory", __FILE__, __LINE__, kLogError, "mkdir",
                         static_cast<ResultCode>(error), nullptr, nullptr);
    }
    if (error != 0 && error != EEXIST) {
      m_strProblem = "\"" + m_strPath + "\" can't be made: " + std::strerror(error);
      return helperUtil::mkdirResult(error);
    }
    // A drawn name that is taken is passed over. Under the plain name an existing folder will do, if it
    // stands the look: a run of this user may have made it a moment ago and gone.
    const Look look = error == EEXIST && m_bDrawn ? Look::kTakenAway : takeHold();
    if (look == Look::kOurs) {
      setHeld(m_strPath);
      return 0;
    }
    m_Lock.reset();
    if (look == Look::kForeign) {
      m_strProblem = "\"" + m_strPath + "\" is not an empty folder of this user alone";
      LOG_MESSAGE(kLogError, "%s", m_strProblem.c_str());
      return TOLMENGINE_ERROR_ACCESS_DENIED;
    }
    if (!draw()) {
      return TOLMENGINE_ERROR_ACCESS_DENIED;
    }
  }
}

WorkFolder::Look WorkFolder::takeHold() {
  m_Lock.reset(open(m_strPath.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!m_Lock) {
    return errno == ENOENT ? Look::kTakenAway : Look::kForeign;
  }
  struct stat data;
  if (fstat(m_Lock.get(), &data) != 0 || data.st_uid != geteuid() ||
      (data.st_mode & kWritableByOthers) != 0) {
    return Look::kForeign;
  }
  // A file system without locks has none for anybody: only a lock that is held elsewhere counts.
  if (flock(m_Lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    return Look::kTakenAway;
  }
  // Another run may have removed it as a left-over between its making and the lock.
  struct stat named;
  if (lstat(m_strPath.c_str(), &named) != 0 || !(FileIdentity(named) == FileIdentity(data))) {
    return Look::kTakenAway;
  }
  return isEmpty(m_Lock.get()) ? Look::kOurs : Look::kForeign;
}

void WorkFolder::remove() {
  if (held().empty()) {
    // A making that broke off may have left one's own lock, which would keep the folder from going.
    m_Lock.reset();
    helperUtil::fileDeleteLeftOver(m_strPath);
    return;
  }
  // Under its own lock: nobody finds it without one as long as it is there.
  if (helperUtil::fileDeleteDirectory(m_strPath) != 0) {
    // That opens no folder which a command has closed, and has told so: what a run left would stay for good.
    static_cast<void>(removeFolder(AT_FDCWD, m_strPath.c_str()));
  }
  setHeld("");
  m_Lock.reset();
}

std::string WorkFolder::held() const {
  const std::lock_guard<std::mutex> guard(m_HeldMutex);
  return m_strHeld;
}

void WorkFolder::setHeld(const std::string& path) {
  const std::lock_guard<std::mutex> guard(m_HeldMutex);
  m_strHeld = path;
}

}  // namespace halvo
