#include "vpn/Common/Utility/Directory.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

namespace {

constexpr mode_t kNewFolderMode = 0770;

}  // namespace

Directory::Directory(const std::string& path, ResultCode& rc) {
  rc = Open(path);
}

Directory::~Directory() {
  if (const ResultCode rc = close(); rc != 0) {
    LOG_RETURN_CODE(kLogWarning, "Directory::close", rc);
  }
}

ResultCode Directory::Open(const std::string& path) {
  if (path.empty()) {
    return DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED;
  }
  // Ahead of the new one: an object that can't let go of its folder stays where it is.
  if (const ResultCode rc = close(); rc != 0) {
    LOG_RETURN_CODE(kLogError, "Directory::close", rc);
    return rc;
  }
  // Owned by hand and not by a holder: what a failed close() leaves open is part of what this class tells.
  m_pHandle = opendir(path.c_str());
  return m_pHandle != nullptr ? 0 : DIRECTORY_ERROR_DIRECTORY_NOT_FOUND;
}

ResultCode Directory::next(std::string& name) {
  if (m_pHandle == nullptr) {
    return DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED;
  }
  // A read that fails reads as the end; callers are told of names alone.
  const dirent* entry = m_bUnclosable ? nullptr : readdir(m_pHandle);
  if (entry == nullptr) {
    return DIRECTORY_ERROR_NO_MORE_FILES;
  }
  name = entry->d_name;
  return 0;
}

ResultCode Directory::close() {
  if (m_pHandle == nullptr) {
    return 0;
  }
  const int result = m_bUnclosable ? -1 : closedir(m_pHandle);
  if (result != 0) {
    LOG_RETURN_CODE(kLogError, "closedir", result);
    m_bUnclosable = true;
    return DIRECTORY_ERROR_UNEXPECTED;
  }
  m_pHandle = nullptr;
  return 0;
}

ResultCode Directory::CreateNewDirectory(const std::string& path, bool failIfExists) {
  if (path.empty()) {
    return DIRECTORY_ERROR_BAD_PARAMETER;
  }
  if (Directory existing; existing.Open(path) == 0) {
    return failIfExists ? DIRECTORY_ERROR_DIRECTORY_ALREADY_EXISTS : 0;
  }
  // From the second character on, so that the root folder makes no call of its own. A path that ends in
  // "/" meets its last level twice, which EEXIST forgives.
  std::size_t slash = 0;
  do {
    slash = path.find('/', slash + 1);
    const std::string level = path.substr(0, slash);
    if (mkdir(level.c_str(), kNewFolderMode) != 0 && errno != EEXIST) {
      const int failure = errno;
      LOG_RETURN_CODE_DESCRIBED(kLogError, "::CreateDirectory", failure, std::strerror(failure));
      return DIRECTORY_ERROR_FAILED_TO_CREATE_DIR;
    }
  } while (slash != std::string::npos);

  // A level that existed may have been a plain file, which EEXIST forgives as well: only the folder itself
  // tells that it is there.
  ResultCode rc = 0;
  const Directory made(path, rc);
  if (rc != 0) {
    LOG_RETURN_CODE(kLogError, "Directory::Directory", rc);
  }
  return rc;
}

}  // namespace halvo
