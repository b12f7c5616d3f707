#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/ResultFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "vpn/Common/Utility/sysutils.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/BundlePlace.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/LeftOvers.h"

namespace halvo {

namespace {

constexpr mode_t kOwnFile = 0600;
constexpr int kMostNames = 100;
constexpr std::size_t kMostDigits = 6;
// A reader of a full pipe that does nothing for so long has gone to sleep.
constexpr int kMostPatienceMs = 60'000;

// The number behind one of the names that a process's own descriptors have; -1 for any other path.
int descriptorOf(const std::string& path) {
  if (path == "-" || path == "/dev/stdout") {
    return STDOUT_FILENO;
  }
  if (path == "/dev/stderr") {
    return STDERR_FILENO;
  }
  for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/"}) {
    const std::string number = path.compare(0, folder.size(), folder) == 0 ? path.substr(folder.size()) : "";
    if (!number.empty() && number.size() <= kMostDigits &&
        number.find_first_not_of("0123456789") == std::string::npos) {
      return static_cast<int>(std::strtol(number.c_str(), nullptr, 10));
    }
  }
  return -1;
}

// 0, or why it isn't written whole.
int writeAll(int stream, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t count = write(stream, text.data() + done, text.size() - done);
    if (count >= 0) {
      done += static_cast<std::size_t>(count);
      continue;
    }
    if (errno == EAGAIN) {
      pollfd ready = {stream, POLLOUT, 0};
      if (poll(&ready, 1, kMostPatienceMs) == 0) {
        return EAGAIN;
      }
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

// Whether the name in the folder is that of the open file: others may be able to write to the folder.
bool isNamed(int folder, const std::string& name, int file) {
  struct stat open;
  struct stat named;
  return fstat(file, &open) == 0 && fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

}  // namespace

bool ResultFile::isStream(const std::string& path) {
  return descriptorOf(path) >= 0;
}

std::string ResultFile::problemOf(const std::string& why) const {
  return m_strWhat + " can't be written to \"" + m_strPath + "\": " + why;
}

std::string ResultFile::open(const std::string& path) {
  m_strPath = path;
  const std::string problem = openPlace();
  return problem.empty() ? "" : problemOf(problem);
}

std::string ResultFile::openPlace() {
  if (const int own = descriptorOf(m_strPath); own >= 0) {
    // One that was closed when the program began leads nowhere, and can only be read.
    if ((fcntl(own, F_GETFL) & O_ACCMODE) == O_RDONLY) {
      return std::strerror(EBADF);
    }
    m_Stream.reset(fcntl(own, F_DUPFD_CLOEXEC, 0));
    return m_Stream ? "" : std::strerror(errno);
  }
  m_strName = m_strPath.substr(m_strPath.rfind('/') + 1);
  m_Folder.reset(::open(folderOf(m_strPath).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!m_Folder) {
    return std::strerror(errno);
  }
  if (m_strName.empty() || m_strName == "." || m_strName == "..") {
    return "it is a folder";
  }
  // Opened first, and looked at then: what is at the name may change between two calls. Nothing is waited
  // for, a pipe that nobody reads isn't either.
  DescriptorHolder place(
      openat(m_Folder.get(), m_strName.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat data;
  if (place) {
    if (fstat(place.get(), &data) != 0) {
      return std::strerror(errno);
    }
    if (!S_ISREG(data.st_mode)) {
      if (m_Streams == Streams::kRefused) {
        return "it is no file";
      }
      m_Stream = std::move(place);
      return "";
    }
  } else if (errno == ENXIO) {
    return m_Streams == Streams::kRefused ? "it is no file" : "nobody reads from it";
  } else if (errno != ENOENT && errno != EACCES && errno != ELOOP && errno != ETXTBSY && errno != EPERM) {
    // A file that is there without a right to write to it is replaced all the same.
    return std::strerror(errno);
  }
  if (std::string problem = takenProblem(folderOf(m_strPath), m_strName); !problem.empty()) {
    return problem;
  }
  // Made and taken away: a run of hours may end by a signal, and nothing should be left then.
  std::string beside;
  const DescriptorHolder trial(makeBeside(beside));
  if (!trial) {
    return std::strerror(errno);
  }
  unlinkat(m_Folder.get(), beside.c_str(), 0);
  return "";
}

int ResultFile::makeBeside(std::string& name) const {
  unsigned mark = tickMilliseconds() ^ (static_cast<unsigned>(getpid()) << 8U);
  for (int i = 0; i < kMostNames; ++i, ++mark) {
    name = unfinishedName(m_strName, mark);
    const int file =
        openat(m_Folder.get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kOwnFile);
    if (file >= 0 || errno != EEXIST) {
      return file;
    }
  }
  return -1;
}

std::string ResultFile::removeOlder() {
  if (m_Stream || unlinkat(m_Folder.get(), m_strName.c_str(), 0) == 0 || errno == ENOENT) {
    return "";
  }
  return problemOf(std::strerror(errno));
}

std::string ResultFile::write(const std::string& text) {
  std::string problem;
  if (m_Stream) {
    // What was printed stands ahead of it.
    std::fflush(stdout);
    const int error = writeAll(m_Stream.get(), text);
    problem = error == 0 ? "" : std::strerror(error);
  } else {
    problem = replace(text);
  }
  return problem.empty() ? "" : problemOf(problem);
}

std::string ResultFile::replace(const std::string& text) {
  std::string beside;
  const DescriptorHolder file(makeBeside(beside));
  if (!file) {
    return std::strerror(errno);
  }
  int error = writeAll(file.get(), text);
  if (error == 0 && fsync(file.get()) != 0 && errno != EINVAL && errno != ENOSYS) {
    error = errno;
  }
  if (error == 0 && renameat(m_Folder.get(), beside.c_str(), m_Folder.get(), m_strName.c_str()) != 0) {
    error = errno;
  }
  if (error != 0) {
    unlinkat(m_Folder.get(), beside.c_str(), 0);
    return std::strerror(error);
  }
  return isNamed(m_Folder.get(), m_strName, file.get()) ? ""
                                                        : "somebody else has changed its folder meanwhile";
}

}  // namespace halvo
