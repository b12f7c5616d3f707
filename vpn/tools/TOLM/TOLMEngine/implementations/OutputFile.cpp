#include "vpn/tools/TOLM/TOLMEngine/implementations/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "vpn/Common/Utility/WriteAll.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/FileIdentity.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

constexpr mode_t kFileMode = 0666;

int flagsOf(OutputMode mode) {
  // O_NONBLOCK: a pipe without a reader must not hold a run up. It changes nothing for a regular file.
  return O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC |
         (mode == OutputMode::kAppend ? O_APPEND : 0);
}

// Whether the open file may be written to. A second name of a file may be somebody's link to it.
bool isOurOwnFile(int descriptor) {
  struct stat data;
  return fstat(descriptor, &data) == 0 && S_ISREG(data.st_mode) && data.st_uid == geteuid() &&
         data.st_nlink <= 1;
}

DescriptorHolder openIn(int folder, const char* path, OutputMode mode) {
  // A file that this call makes is ours; one that stood there is looked at before it loses a byte.
  DescriptorHolder output(openat(folder, path, flagsOf(mode) | O_CREAT | O_EXCL, kFileMode));
  if (output || errno != EEXIST) {
    return output;
  }
  output.reset(openat(folder, path, flagsOf(mode)));
  if (!output) {
    return output;
  }
  if (!isOurOwnFile(output.get())) {
    output.reset();
    errno = EPERM;
  } else if (mode == OutputMode::kReplace && ftruncate(output.get(), 0) != 0) {
    const int error = errno;
    output.reset();
    errno = error;
  }
  return output;
}

// Follows links: where they lead is what isBelow() judges.
DescriptorHolder openFolder(int folder, const char* path) {
  return DescriptorHolder(openat(folder, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

// Goes up from `folder` and looks for `base` on the way: what lies below it is told by where it is, and
// not by the words of its path.
bool isBelow(DescriptorHolder folder, const DescriptorHolder& base) {
  struct stat wanted;
  struct stat here;
  if (!base || !folder || fstat(base.get(), &wanted) != 0 || fstat(folder.get(), &here) != 0) {
    return false;
  }
  while (!(FileIdentity(here) == FileIdentity(wanted))) {
    // The topmost folder is its own ".."; there the way ends.
    const FileIdentity before(here);
    folder = openFolder(folder.get(), "..");
    if (!folder || fstat(folder.get(), &here) != 0 || FileIdentity(here) == before) {
      return false;
    }
  }
  return true;
}

}  // namespace

DescriptorHolder openOutput(const std::string& path, OutputMode mode) {
  return openIn(AT_FDCWD, path.c_str(), mode);
}

DescriptorHolder openOutputBelow(const std::string& base, const std::string& path, OutputMode mode) {
  const std::string folderPath = helperUtil::stringBeforeLast(path, "/", true);
  DescriptorHolder folder =
      openFolder(AT_FDCWD, path.find('/') == std::string::npos ? "." : folderPath.c_str());
  if (!folder) {
    return folder;
  }
  if (!isBelow(openFolder(folder.get(), "."), openFolder(AT_FDCWD, base.c_str()))) {
    errno = EPERM;
    return {};
  }
  return openIn(folder.get(), helperUtil::stringAfterLast(path, "/").c_str(), mode);
}

FileHolder toFile(DescriptorHolder output, OutputMode mode) {
  if (!output) {
    return nullptr;
  }
  FileHolder file(fdopen(output.get(), mode == OutputMode::kAppend ? "a" : "w"));
  if (file != nullptr) {
    static_cast<void>(output.release());
  }
  return file;
}

void closeOutput(const char* function, const std::string& path, FileHolder file) {
  const bool failed = std::ferror(file.get()) != 0;
  // Closing sets it only where it has something to write; what an earlier failure left in it is gone by now.
  errno = 0;
  if (std::fclose(file.release()) != 0 || failed) {
    recordLoss(function, LossKind::kCutShort, path, errno != 0 ? std::strerror(errno) : "a write failed");
  }
}

int closeAndTell(DescriptorHolder& output) {
  // A close that a signal interrupts has closed all the same.
  return close(output.release()) == 0 || errno == EINTR ? 0 : errno;
}

int OutputStream::close() {
  if (m_Output) {
    if (const int error = closeAndTell(m_Output); m_nError == 0) {
      m_nError = error;
    }
  }
  return m_nError;
}

std::streamsize OutputStream::Buffer::xsputn(const char* bytes, std::streamsize count) {
  // Behind the first failure nothing more is written: a file with a hole would be worse than a cut one.
  if (m_rStream.is_open() && m_rStream.m_nError == 0) {
    m_rStream.m_nError = writeAll(m_rStream.m_Output.get(), bytes, static_cast<std::size_t>(count));
  }
  return m_rStream.m_nError == 0 ? count : 0;
}

OutputStream::Buffer::int_type OutputStream::Buffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof())) {
    return traits_type::not_eof(character);
  }
  const char byte = traits_type::to_char_type(character);
  return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

}  // namespace halvo
