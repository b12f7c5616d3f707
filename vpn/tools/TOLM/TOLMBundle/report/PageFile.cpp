#include "vpn/tools/TOLM/TOLMBundle/report/PageFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace halvo {

bool isStandardOutput(const std::string& path) {
  return path == "-" || path == "/dev/stdout" || path == "/dev/fd/1" || path == "/proc/self/fd/1";
}

std::string PageFile::open(const std::string& path) {
  m_strPath = path;
  m_bPrinted = isStandardOutput(path);
  if (m_bPrinted) {
    m_File.reset(fdopen(dup(STDOUT_FILENO), "wb"));
    return m_File == nullptr ? failure(std::strerror(errno)) : "";
  }
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return "\"" + path + "\" is " + (S_ISLNK(status.st_mode) ? "a link, and no page" : "no file") +
           "; a report can't be written there";
  }
  if (const std::string reason = m_Unfinished.open(path); !reason.empty()) {
    return failure(reason);
  }
  m_File.reset(fdopen(dup(m_Unfinished.descriptor()), "wb"));
  return m_File == nullptr ? failure(std::strerror(errno)) : "";
}

void PageFile::put(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), m_File.get());
}

void PageFile::put(std::FILE* from) {
  std::rewind(from);
  std::vector<char> block(65536);
  std::size_t got = 0;
  while ((got = std::fread(block.data(), 1, block.size(), from)) > 0) {
    std::fwrite(block.data(), 1, got, m_File.get());
  }
}

std::string PageFile::finish() {
  if (std::fflush(m_File.get()) != 0 || std::ferror(m_File.get()) != 0) {
    return failure(std::strerror(errno));
  }
  if (m_bPrinted) {
    return "";
  }
  const std::string reason = m_Unfinished.finish();
  return reason.empty() ? "" : failure(reason);
}

std::string PageFile::failure(const std::string& reason) const {
  return (m_bPrinted ? "standard output" : "\"" + m_strPath + "\"") + " can't be written: " + reason;
}

}  // namespace halvo
