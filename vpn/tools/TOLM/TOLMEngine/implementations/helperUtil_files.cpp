#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/Utility/sysutils.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {

namespace {

constexpr std::size_t kCopyBlock = 4096;
constexpr mode_t kFolderMode = 0777;

bool isDotOrDotDot(const std::string& name) {
  return name == "." || name == "..";
}

bool isLink(const std::string& path) {
  struct stat data;
  return lstat(path.c_str(), &data) == 0 && S_ISLNK(data.st_mode);
}

// A file's identity, whatever path leads to it.
struct FileIdentity {
  dev_t device;
  ino_t inode;
  explicit FileIdentity(const struct stat& data) : device(data.st_dev), inode(data.st_ino) {}
  bool operator==(const FileIdentity& other) const { return device == other.device && inode == other.inode; }
};

// The folders that a copy must not enter: those it is inside of, which a symbolic link may lead back
// to, and the one it writes to.
using ClosedFolders = std::vector<FileIdentity>;

ResultCode copyEntry(const std::string& source, const std::string& destination, std::string& errorText,
                     ClosedFolders& closed);

ResultCode copyFolder(const std::string& source, const struct stat& sourceData,
                      const std::string& destination, ClosedFolders& closed) {
  DIR* const stream = opendir(source.c_str());
  if (MakeDirectory(destination) != 0) {
    // Success all the same: nothing below a folder changes the result of its copy.
    LOG_MESSAGE(kLogError, "helperUtils::MakeDirectory");
    if (stream != nullptr) {
      closedir(stream);
    }
    return 0;
  }
  if (stream == nullptr) {
    return 0;
  }
  const std::size_t closedBefore = closed.size();
  closed.emplace_back(sourceData);
  if (struct stat made; stat(destination.c_str(), &made) == 0) {
    closed.emplace_back(made);
  }
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (isDotOrDotDot(name)) {
      continue;
    }
    std::string errorText;
    const ResultCode rc = copyEntry(source + "/" + name, destination + "/" + name, errorText, closed);
    if (rc != 0) {
      LOG_RETURN_CODE_TEXT(kLogWarning, "helperUtil::fileCopy", rc, "%s", errorText.c_str());
    }
  }
  closedir(stream);
  closed.erase(closed.begin() + static_cast<std::ptrdiff_t>(closedBefore), closed.end());
  return 0;
}

ResultCode copyRegularFile(const std::string& source, const std::string& destination,
                           std::string& errorText) {
  errno = 0;
  std::ifstream input(source, std::ios::binary);
  if (!input.is_open()) {
    errorText = std::strerror(errno);
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  std::ofstream output(destination, std::ios::binary | std::ios::trunc);
  if (!output.is_open()) {
    // The record names the source, as readers of the log expect, though it is the destination that failed.
    LOG_MESSAGE(kLogError, "Failed to open file \"%s\"", source.c_str());
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  std::vector<char> block(kCopyBlock);
  bool more = true;
  while (more) {
    input.read(block.data(), static_cast<std::streamsize>(block.size()));
    more = input.good();
    if (input.gcount() > 0) {
      output.write(block.data(), input.gcount());
    }
  }
  return 0;
}

ResultCode copyEntry(const std::string& source, const std::string& destination, std::string& errorText,
                     ClosedFolders& closed) {
  struct stat sourceData;
  if (stat(source.c_str(), &sourceData) != 0) {
    return TOLMENGINE_ERROR_FILE_NOT_FOUND;
  }
  if (source == destination || source.empty() || destination.empty()) {
    return 0;
  }
  if (S_ISDIR(sourceData.st_mode)) {
    const FileIdentity identity(sourceData);
    for (const FileIdentity& folder : closed) {
      if (folder == identity) {
        errorText = "The folder leads back into itself: " + source;
        return TOLMENGINE_ERROR_UNEXPECTED;
      }
    }
  }
  // The destination goes before anything is known about the copy. This is meant.
  if (const ResultCode rc = fileDelete(destination); rc != 0) {
    LOG_RETURN_CODE(kLogError, "helperUtil::fileDelete", rc);
    return rc;
  }
  if (!S_ISREG(sourceData.st_mode)) {
    return copyFolder(source, sourceData, destination, closed);
  }
  return copyRegularFile(source, destination, errorText);
}

// Removes one entry of a folder that is being removed.
void deleteEntry(const std::string& path, const FileFindEntry& entry) {
  if (entry.isDirectory && !isLink(path)) {
    if (!isDotOrDotDot(entry.name) && rmdir(path.c_str()) != 0) {
      static_cast<void>(fileDeleteDirectory(path));
    }
    return;
  }
  if (const ResultCode rc = fileDelete(path); rc != 0) {
    LOG_RETURN_CODE(kLogError, "helperUtil::fileDelete", rc);
  }
}

}  // namespace

ResultCode fileCopy(const std::string& source, const std::string& destination, std::string& errorText) {
  ClosedFolders closed;
  return copyEntry(source, destination, errorText, closed);
}

ResultCode fileDelete(const std::string& path) {
  const int error = unlink_file(path.c_str());
  if (error == 0 || error == ENOENT) {
    return 0;
  }
  LOG_RETURN_CODE(kLogError, "unlink_file", error);
  return TOLMENGINE_ERROR_UNEXPECTED;
}

ResultCode MakeDirectory(const std::string& path) {
  errno = 0;
  if (mkdir(path.c_str(), kFolderMode) == 0) {
    return 0;
  }
  const int error = errno;
  // Logged in the harmless case of an existing folder too.
  LOG_RETURN_CODE(kLogError, "mkdir", error);
  switch (error) {
    case EACCES:
      return TOLMENGINE_ERROR_ACCESS_DENIED;
    case EEXIST:
      return 0;
    default:
      return TOLMENGINE_ERROR_UNEXPECTED;
  }
}

ResultCode fileFindAll(std::string& folder, std::string& pattern, std::list<FileFindEntry>& entries) {
  if (folder.empty()) {
    LOG_MESSAGE(kLogError, "tstrDirectory is an empty string");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  if (folder.back() != '/') {
    folder += '/';
  }
  errno = 0;
  DIR* const stream = opendir(folder.c_str());
  if (stream == nullptr) {
    if (errno == ENOENT) {
      LOG_MESSAGE(kLogInformation, "\"%s\" is not a directory", folder.c_str());
      return TOLMENGINE_ERROR_FILE_NOT_FOUND;
    }
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  pattern = CStringUtils::toLower(pattern);
  // Kept across entries: one that can't be looked at is listed with the time of the last reading.
  struct stat data = {};
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (!wildcardMatch(pattern.c_str(), CStringUtils::toLower(name).c_str())) {
      continue;
    }
    const bool known = stat((folder + name).c_str(), &data) == 0;
    entries.push_back({name, known && S_ISDIR(data.st_mode), data.st_mtime});
  }
  closedir(stream);
  return entries.empty() ? TOLMENGINE_ERROR_FILE_NOT_FOUND : 0;
}

ResultCode fileDeleteAll(std::string& folder) {
  if (folder.empty()) {
    LOG_MESSAGE(kLogInformation, "tstrDirectory is an empty string");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  std::string pattern = "*";
  std::list<FileFindEntry> entries;
  ResultCode rc = fileFindAll(folder, pattern, entries);
  for (const FileFindEntry& entry : entries) {
    if (const ResultCode failure = fileDelete(folder + entry.name); failure != 0) {
      rc = failure;
    }
  }
  return rc;
}

ResultCode fileDeleteDirectory(const std::string& folder) {
  if (folder.empty()) {
    LOG_MESSAGE(kLogInformation, "rtstrDirectory is an empty string");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  std::string path = folder.back() == '/' ? folder : folder + "/";
  if (access(path.c_str(), F_OK) != 0) {
    LOG_RETURN_CODE(kLogError, "access", errno);
    return TOLMENGINE_ERROR_ACCESS_DENIED;
  }
  // The temporary folder lies in a shared place: a link planted under its name must not lead the
  // removal into somebody's files.
  if (isLink(path.substr(0, path.find_last_not_of('/') + 1))) {
    return TOLMENGINE_ERROR_UNEXPECTED;
  }
  std::string pattern = "*";
  std::list<FileFindEntry> entries;
  if (const ResultCode rc = fileFindAll(path, pattern, entries); rc != 0) {
    LOG_RETURN_CODE(kLogWarning, "helperUtil::fileFindAll", rc);
    if (rc != TOLMENGINE_ERROR_FILE_NOT_FOUND) {
      return rc;
    }
    if (rmdir(path.c_str()) != 0) {
      LOG_RETURN_CODE(kLogError, "rmdir", errno);
      return TOLMENGINE_ERROR_UNEXPECTED;
    }
    return 0;
  }
  for (const FileFindEntry& entry : entries) {
    deleteEntry(path + entry.name, entry);
  }
  return rmdir(path.c_str()) == 0 ? 0 : TOLMENGINE_ERROR_UNEXPECTED;
}

ResultCode fileGetNewestMatchingFile(const std::string& folder, const std::string& pattern,
                                     NewestFile& newest) {
  std::string folderCopy = folder;
  std::string patternCopy = pattern;
  std::list<FileFindEntry> entries;
  if (const ResultCode rc = fileFindAll(folderCopy, patternCopy, entries); rc != 0) {
    if (rc != TOLMENGINE_ERROR_FILE_NOT_FOUND) {
      LOG_RETURN_CODE(kLogError, "helperUtil::fileFindAll", rc);
    }
    return rc;
  }
  newest = NewestFile();
  for (const FileFindEntry& entry : entries) {
    // At least as new: ties go to the later entry.
    if (entry.modifiedTime >= newest.modifiedTime) {
      newest.name = entry.name;
      newest.modifiedTime = entry.modifiedTime;
    }
  }
  return 0;
}

double fileGetSize(const std::string& path) {
  struct stat data;
  return stat(translatePath(path).c_str(), &data) == 0 ? static_cast<double>(data.st_size) : -1.0;
}

bool wildcardMatch(const char* pattern, const char* text) {
  if (pattern == nullptr || text == nullptr) {
    return false;
  }
  // Where to go back to at a mismatch: behind the latest "*", and the text position it tries next.
  const char* afterStar = nullptr;
  const char* retry = nullptr;
  while (*text != '\0') {
    if (*pattern == '*') {
      afterStar = ++pattern;
      if (*afterStar == '\0') {
        return true;
      }
      retry = text + 1;
    } else if (*pattern == *text || *pattern == '?') {
      ++pattern;
      ++text;
    } else if (afterStar != nullptr) {
      pattern = afterStar;
      text = retry++;
    } else {
      return false;
    }
  }
  while (*pattern == '*') {
    ++pattern;
  }
  return *pattern == '\0';
}

}  // namespace halvo::helperUtil
