#include "vpn/Common/Utility/UnfinishedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vpn/Common/Utility/DescriptorPath.h"

namespace halvo {

namespace {

std::string folderAbove(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

// Whether the name is that of the open file.
bool isNamed(const std::string& path, int file) {
  struct stat open = {};
  struct stat named = {};
  return fstat(file, &open) == 0 && lstat(path.c_str(), &named) == 0 && open.st_dev == named.st_dev &&
         open.st_ino == named.st_ino;
}

int makeBeside(const std::string& path, std::string& name) {
  name = path + ".XXXXXX";
  return mkostemp(name.data(), O_CLOEXEC);
}

}  // namespace

UnfinishedFile::~UnfinishedFile() {
  if (m_bNamed || !m_File) {
    return;
  }
  // Where the name has become another's that file stays, and this one keeps nothing.
  if (!m_strBeside.empty() && isNamed(m_strBeside, m_File.get())) {
    unlink(m_strBeside.c_str());
  }
  static_cast<void>(!ftruncate(m_File.get(), 0));
}

std::string UnfinishedFile::open(const std::string& path) {
  m_strPath = path;
  m_File.reset(openNameless(folderAbove(path)));
  if (!m_File) {
    m_File.reset(makeBeside(path, m_strBeside));
  }
  return m_File ? "" : std::strerror(errno);
}

// A file without a name takes the place of none: it is given one that is free, and renamed.
bool UnfinishedFile::giveNameBeside() {
  constexpr int kMostNames = 100;
  for (int i = 0; i < kMostNames; ++i) {
    std::string beside;
    const DescriptorHolder free(makeBeside(m_strPath, beside));
    if (!free || unlink(beside.c_str()) != 0) {
      return false;
    }
    if (nameDescriptor(m_File.get(), beside)) {
      m_strBeside = beside;
      return true;
    }
    if (errno != EEXIST) {
      return false;
    }
  }
  return false;
}

std::string UnfinishedFile::finish() {
  const char* const changed = "somebody else has changed its folder meanwhile";
  if (m_strBeside.empty() && !giveNameBeside()) {
    return std::strerror(errno);
  }
  if (!isNamed(m_strBeside, m_File.get())) {
    return changed;
  }
  if (rename(m_strBeside.c_str(), m_strPath.c_str()) != 0) {
    return std::strerror(errno);
  }
  // Between the look and the new name there was time for another change.
  if (!isNamed(m_strPath, m_File.get())) {
    return changed;
  }
  m_bNamed = true;
  return "";
}

}  // namespace halvo
