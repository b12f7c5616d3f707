#include "vpn/tools/TOLM/TOLMBundle/report/PageFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vpn/Common/Utility/DescriptorPath.h"

namespace halvo {

namespace {

std::string folderAbove(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

}  // namespace

bool isStandardOutput(const std::string& path) {
  return path == "-" || path == "/dev/stdout" || path == "/dev/fd/1" || path == "/proc/self/fd/1";
}

PageFile::~PageFile() {
  if (!m_strBeside.empty()) {
    unlink(m_strBeside.c_str());
  }
}

std::string PageFile::open(const std::string& path) {
  m_strPath = path;
  m_bPrinted = isStandardOutput(path);
  if (m_bPrinted) {
    m_File.reset(fdopen(dup(STDOUT_FILENO), "wb"));
    return m_File == nullptr ? failure() : "";
  }
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return "\"" + path + "\" is " + (S_ISLNK(status.st_mode) ? "a link, and no page" : "no file") +
           "; a report can't be written there";
  }
  DescriptorHolder file(openNameless(folderAbove(path)));
  if (!file) {
    std::string beside = path + ".XXXXXX";
    file.reset(mkostemp(beside.data(), O_CLOEXEC));
    if (!file) {
      return failure();
    }
    m_strBeside = beside;
  }
  m_File.reset(fdopen(file.get(), "wb"));
  if (m_File == nullptr) {
    return failure();
  }
  static_cast<void>(file.release());
  return "";
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

// A file without a name takes the place of none: it is given one that is free, and renamed.
bool PageFile::giveNameBeside() {
  constexpr int kMostNames = 100;
  for (int i = 0; i < kMostNames; ++i) {
    std::string beside = m_strPath + ".XXXXXX";
    const DescriptorHolder free(mkostemp(beside.data(), O_CLOEXEC));
    if (!free || unlink(beside.c_str()) != 0) {
      return false;
    }
    if (nameDescriptor(fileno(m_File.get()), beside)) {
      m_strBeside = beside;
      return true;
    }
    if (errno != EEXIST) {
      return false;
    }
  }
  return false;
}

std::string PageFile::finish() {
  if (std::fflush(m_File.get()) != 0 || std::ferror(m_File.get()) != 0) {
    return failure();
  }
  if (m_bPrinted) {
    return "";
  }
  if ((m_strBeside.empty() && !giveNameBeside()) || rename(m_strBeside.c_str(), m_strPath.c_str()) != 0) {
    return failure();
  }
  m_strBeside.clear();
  return "";
}

std::string PageFile::failure() const {
  return (m_bPrinted ? "standard output" : "\"" + m_strPath + "\"") +
         " can't be written: " + std::strerror(errno);
}

}  // namespace halvo
