#include "vpn/tools/TOLM/TOLMFrontEnd/WholeBundle.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/DescriptorPath.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/sysutils.h"
#include "vpn/Common/Zip/CZip.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/BundleCheck.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/BundlePlace.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/ExclusiveRename.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/LeftOvers.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

namespace halvo {

namespace {

constexpr mode_t kOwnFile = 0600;
constexpr int kMostNames = 100;
// Less than this is a full disk: no archive ends without a little room.
constexpr std::int64_t kNoRoom = 65536;

// Makes a new file in the folder, under a hidden name for `name`, which it tells. -1 with errno where it
// can't.
int makeHidden(int folder, const std::string& name, std::string& hidden) {
  unsigned mark = tickMilliseconds() ^ (static_cast<unsigned>(getpid()) << 8U);
  for (int i = 0; i < kMostNames; ++i, ++mark) {
    hidden = unfinishedName(name, mark);
    const int file =
        openat(folder, hidden.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwnFile);
    if (file >= 0 || errno != EEXIST) {
      return file;
    }
  }
  return -1;
}

// Whether the name in the folder is still that of the open file: in a folder that others can write to it
// may not be.
bool isStill(int folder, const std::string& name, int file) {
  struct stat open;
  struct stat named;
  return fstat(file, &open) == 0 && fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

std::string nameOf(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

// For a run that begins in another folder and is to find the file.
std::string absolute(const std::string& folder) {
  const MemoryHolder<char> real(realpath(folder.c_str(), nullptr));
  return real ? std::string(real.get()) + "/" : folder;
}

// What isn't to be a bundle: gone with its name and, where that has become another's, without content.
void discard(int folder, const std::string& name, int file) {
  if (isStill(folder, name, file)) {
    unlinkat(folder, name.c_str(), 0);
  }
  static_cast<void>(!ftruncate(file, 0));
}

std::string systemText(const std::string& what, int error) {
  return what + ": " + std::strerror(error);
}

}  // namespace

WholeBundle::WholeBundle(const Secret& password, Noter noter, Writer writer)
    : m_rPassword(password), m_Noter(std::move(noter)), m_Writer(std::move(writer)) {}

ResultCode WholeBundle::fail(const std::string& reason) {
  m_strReason = reason;
  LOG_RETURN_CODE_TEXT(kLogError, "WholeBundle::make", TOLMENGINE_ERROR_WRITE_FAILURE, "%s", reason.c_str());
  return TOLMENGINE_ERROR_WRITE_FAILURE;
}

int WholeBundle::giveName(int parent, const std::string& hidden) {
  if (!m_NextPath) {
    return renameat(parent, hidden.c_str(), parent, nameOf(m_strPath).c_str()) == 0 ? 0 : errno;
  }
  int error = renameExclusively(parent, hidden, nameOf(m_strPath));
  for (int i = 0; i < kMostNames && error == EEXIST; ++i) {
    m_strPath = m_NextPath();
    error = renameExclusively(parent, hidden, nameOf(m_strPath));
  }
  return error;
}

ResultCode WholeBundle::make(const std::string& folder, const std::string& bundlePath) {
  m_strPath = bundlePath;
  const std::string place = folderOf(bundlePath);
  const std::string name = nameOf(bundlePath);
  const std::string unreachable = "is there a folder for \"" + bundlePath + "\", and may you write there?";
  // By the open folder from here on: its path may lead elsewhere a moment later.
  const DescriptorHolder parent(open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (parent.get() < 0) {
    return fail(unreachable);
  }
  std::string hidden;
  const DescriptorHolder file(makeHidden(parent.get(), name, hidden));
  if (file.get() < 0) {
    return fail(errno == EACCES || errno == EROFS || errno == EPERM || errno == ENOENT
                    ? unreachable
                    : systemText("no file can be made in \"" + place + "\"", errno));
  }
  // Whoever tidies up meanwhile leaves a locked file alone.
  static_cast<void>(flock(file.get(), LOCK_EX | LOCK_NB));
  m_Noter(absolute(place) + hidden);
  std::string problem;
  std::string current = hidden;
  try {
    problem = write(file.get(), folder, bundlePath);
    const std::string changed = "somebody else has changed \"" + place + "\" meanwhile";
    if (problem.empty() && !isStill(parent.get(), hidden, file.get())) {
      problem = changed;
    }
    // Ahead of the name: one that survives a crash must have its content with it. Some file systems can't do
    // that.
    if (problem.empty() && fsync(file.get()) != 0 && errno != EINVAL && errno != ENOSYS) {
      problem = systemText("it can't be written to the disk", errno);
    }
    if (problem.empty()) {
      // Once more: a run that a signal ends by now must not take an older bundle's place.
      m_Noter(absolute(place) + hidden);
    }
    if (const int error = problem.empty() ? giveName(parent.get(), hidden) : 0; error != 0) {
      problem = systemText("it can't be given its name", error);
    } else if (problem.empty()) {
      current = nameOf(m_strPath);
    }
    // Between the look and the new name there was time for another change.
    if (problem.empty() && !isStill(parent.get(), current, file.get())) {
      problem = changed;
    }
  } catch (...) {
    // No memory, most likely; nothing half-written stays for that.
    discard(parent.get(), current, file.get());
    m_Noter("");
    throw;
  }
  if (!problem.empty()) {
    discard(parent.get(), current, file.get());
    m_Noter("");
    return fail(problem);
  }
  m_Noter("");
  // The name is durable with its folder. A file system that can't do that has done what it can.
  static_cast<void>(fsync(parent.get()));
  return 0;
}

std::string WholeBundle::write(int file, const std::string& folder, const std::string& bundlePath) {
  WorkFiles files;
  if (const std::string problem = listWorkFiles(folder, files); !problem.empty()) {
    return "the work folder can't be read: " + problem;
  }
  for (const auto& [name, size] : files) {
    if (std::string problem = largeFileProblem(name, size, !m_rPassword.empty());
        !problem.empty() && !m_Writer) {
      return problem;
    }
  }
  ResultCode rc = 0;
  std::string reason;
  m_rPassword.with([&](const std::string& password) {
    rc = m_Writer ? m_Writer(folder, file, password, reason)
                  : CZip().Zip(folder, descriptorPath(file), password, true);
  });
  // Looked at now, while the unfinished file still takes its room: what failed may have left no reason but
  // this.
  const std::string place = folderOf(bundlePath);
  const std::int64_t room = freeSpace(place);
  const std::string full = room >= 0 && room < kNoRoom ? "; there is no room left in \"" + place + "\"" : "";
  if (rc != 0) {
    return (reason.empty() ? "it can't be written" : reason) + full;
  }
  if (!m_Writer) {
    if (const std::string problem = bundleProblem(file, folder, files); !problem.empty()) {
      return problem + full;
    }
  }
  struct stat data;
  if (fstat(file, &data) == 0) {
    m_nBytes = static_cast<std::uint64_t>(data.st_size);
  }
  m_nFiles = files.size();
  return "";
}

}  // namespace halvo
