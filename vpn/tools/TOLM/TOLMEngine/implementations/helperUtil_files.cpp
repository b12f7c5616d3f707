#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/OwnLinks.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/Utility/WriteAll.h"
#include "vpn/Common/Utility/sysutils.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/FileIdentity.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/OutputFile.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {

namespace {

constexpr std::size_t kCopyBlock = 4096;
constexpr mode_t kFolderMode = 0777;

// The functions below do the work of these two, and log under their names.
constexpr char kCopy[] = "fileCopy";
constexpr char kFind[] = "fileFindAll";

// The folders that a copy must not enter: those it is inside of, which a symbolic link may lead back
// to, and the one it writes to.
using ClosedFolders = std::vector<FileIdentity>;

ResultCode copyEntry(const std::string& source, const std::string& destination, std::string& errorText,
                     ClosedFolders& closed);

// An entry of a copied folder that failed: told to the log alone, since nothing below a folder changes the
// result of its copy.
void tellFailedEntry(const std::string& source, ResultCode rc, const std::string& errorText) {
  logDebugReturnCode(kCopy, __FILE__, __LINE__, kLogWarning, "helperUtil::fileCopy", rc, nullptr, "%s",
                     errorText.c_str());
  if (rc == TOLMENGINE_ERROR_FILE_NOT_FOUND) {
    recordLoss(kCopy, LossKind::kUnreadable, source, std::strerror(ENOENT));
  } else if (rc == TOLMENGINE_ERROR_FILE_OPEN_FAILURE && !errorText.empty()) {
    recordLoss(kCopy, LossKind::kUnreadable, source, errorText);
  } else if (rc != TOLMENGINE_ERROR_UNEXPECTED || errorText.empty()) {
    // With a text, that code is a folder that leads back into itself, of which nothing is lost.
    recordLoss(kCopy, LossKind::kCutShort, source, "its copy can't be made");
  }
}

void copyEntries(DIR* stream, const std::string& source, const std::string& destination,
                 ClosedFolders& closed) {
  errno = 0;
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (!isDotName(name)) {
      const std::string path = source + "/" + name;
      std::string errorText;
      if (const ResultCode rc = copyEntry(path, destination + "/" + name, errorText, closed); rc != 0) {
        tellFailedEntry(path, rc, errorText);
      }
    }
    // What has been done for the entry left an errno of its own.
    errno = 0;
  }
  if (errno != 0) {
    recordLoss(kCopy, LossKind::kCutShort, source, std::strerror(errno));
  }
}

ResultCode copyFolder(const std::string& source, const struct stat& sourceData,
                      const std::string& destination, ClosedFolders& closed) {
  const FolderHolder stream(opendir(source.c_str()));
  const int openError = errno;
  if (MakeDirectory(destination) != 0) {
    // Success all the same: nothing below a folder changes the result of its copy.
    logDebugMessage(kCopy, __FILE__, __LINE__, kLogError, "helperUtils::MakeDirectory");
    recordLoss(kCopy, LossKind::kCutShort, source, "its copy can't be made");
    return 0;
  }
  if (stream == nullptr) {
    // The empty folder counts as its copy, so the summary lists it as included.
    if (S_ISDIR(sourceData.st_mode)) {
      recordLoss(kCopy, LossKind::kCutShort, source, std::strerror(openError));
    } else {
      recordLoss(kCopy, LossKind::kUnreadable, source, "neither a file nor a folder");
    }
    return 0;
  }
  const std::size_t closedBefore = closed.size();
  closed.emplace_back(sourceData);
  if (struct stat made; stat(destination.c_str(), &made) == 0) {
    closed.emplace_back(made);
  }
  copyEntries(stream.get(), source, destination, closed);
  closed.erase(closed.begin() + static_cast<std::ptrdiff_t>(closedBefore), closed.end());
  return 0;
}

// Opens a source for reading without waiting: between the look at it and this, a pipe may have taken its
// place.
DescriptorHolder openSource(const std::string& source, std::string& errorText) {
  DescriptorHolder input(open(source.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat data;
  if (!input || fstat(input.get(), &data) != 0) {
    errorText = std::strerror(errno);
    input.reset();
  } else if (!S_ISREG(data.st_mode)) {
    errorText = "Not a regular file";
    input.reset();
  }
  return input;
}

// Copies block by block. Returns 0 or the errno value of a read or a write, which ends the copying.
int copyBytes(int input, int output) {
  std::vector<char> block(kCopyBlock);
  for (;;) {
    const ssize_t count = read(input, block.data(), block.size());
    if (count < 0 && errno == EINTR) {
      continue;
    }
    // EAGAIN is the end of what a file of the kernel's has to say at this moment.
    if (count == 0 || (count < 0 && errno == EAGAIN)) {
      return 0;
    }
    if (count < 0) {
      return errno;
    }
    if (const int error = writeAll(output, block.data(), static_cast<std::size_t>(count)); error != 0) {
      return error;
    }
  }
}

ResultCode copyRegularFile(const std::string& source, const std::string& destination,
                           std::string& errorText) {
  const DescriptorHolder input = openSource(source, errorText);
  if (!input) {
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  DescriptorHolder output = openOutput(destination, OutputMode::kReplace);
  if (!output) {
    // The record names the source, as readers of the log expect, though it is the destination that failed.
    logDebugMessage(kCopy, __FILE__, __LINE__, kLogError, "Failed to open file \"%s\"", source.c_str());
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  // A copy that breaks off is a success, as far as the caller is told: the file stays as far as it goes.
  int error = copyBytes(input.get(), output.get());
  if (const int closeError = closeAndTell(output); error == 0) {
    error = closeError;
  }
  if (error != 0) {
    recordLoss(kCopy, LossKind::kCutShort, source, std::strerror(error));
  }
  return 0;
}

ResultCode copyEntry(const std::string& source, const std::string& destination, std::string& errorText,
                     ClosedFolders& closed) {
  struct stat sourceData;
  if (stat(source.c_str(), &sourceData) != 0) {
    return TOLMENGINE_ERROR_FILE_NOT_FOUND;
  }
  // Behind the look: a missing file is not found, onto itself too.
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
    logDebugReturnCode(kCopy, __FILE__, __LINE__, kLogError, "helperUtil::fileDelete", rc, nullptr, nullptr);
    return rc;
  }
  if (!S_ISREG(sourceData.st_mode)) {
    return copyFolder(source, sourceData, destination, closed);
  }
  return copyRegularFile(source, destination, errorText);
}

FolderHolder openAny(const std::string& folder) {
  return FolderHolder(opendir(folder.c_str()));
}

// For what is to be deleted.
FolderHolder openOwn(const std::string& folder) {
  DescriptorHolder opened = openFolderByOwnLinks(folder);
  FolderHolder stream(opened ? fdopendir(opened.get()) : nullptr);
  if (stream != nullptr) {
    static_cast<void>(opened.release());
  } else if (errno == EPERM) {
    recordLoss(kFind, LossKind::kUnreadable, folder, "a link that another user has made leads there");
  } else if (const int error = errno; error != ENOENT && error != ENOTDIR) {
    // What can't be deleted has no summary to stand in.
    recordLoss(kFind, LossKind::kUnreadable, folder, std::strerror(error));
    errno = error;
  }
  return stream;
}

// fileFindAll()'s work, logged under its name. `stream` gets the folder that was listed: whose path leads
// elsewhere a moment later is known by it.
ResultCode findThrough(FolderHolder (*open)(const std::string&), FolderHolder& stream, std::string& folder,
                       std::string& pattern, std::list<FileFindEntry>& entries) {
  if (folder.empty()) {
    logDebugMessage(kFind, __FILE__, __LINE__, kLogError, "tstrDirectory is an empty string");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  folder = withSlash(folder);
  errno = 0;
  stream = open(folder);
  if (stream == nullptr) {
    if (errno == ENOENT) {
      logDebugMessage(kFind, __FILE__, __LINE__, kLogInformation, "\"%s\" is not a directory",
                      folder.c_str());
      return TOLMENGINE_ERROR_FILE_NOT_FOUND;
    }
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  // Only here: a folder that can't be opened leaves the caller's text as it was.
  pattern = CStringUtils::toLower(pattern);
  // Kept across entries: one that can't be looked at is listed with the time of the last reading.
  struct stat data = {};
  errno = 0;
  while (const dirent* entry = readdir(stream.get())) {
    const std::string name = entry->d_name;
    if (wildcardMatch(pattern.c_str(), CStringUtils::toLower(name).c_str())) {
      const bool known = fstatat(dirfd(stream.get()), name.c_str(), &data, 0) == 0;
      entries.push_back({name, known && S_ISDIR(data.st_mode), data.st_mtime});
    }
    // A null entry is the end, or a failure where errno says so.
    errno = 0;
  }
  if (errno != 0) {
    recordLoss(kFind, LossKind::kCutShort, folder, std::strerror(errno));
  }
  return entries.empty() ? TOLMENGINE_ERROR_FILE_NOT_FOUND : 0;
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
  return error == EEXIST ? 0 : mkdirResult(error);
}

ResultCode mkdirResult(int error) {
  return error == EACCES ? TOLMENGINE_ERROR_ACCESS_DENIED : TOLMENGINE_ERROR_UNEXPECTED;
}

ResultCode fileFindAll(std::string& folder, std::string& pattern, std::list<FileFindEntry>& entries) {
  FolderHolder stream;
  return findThrough(openAny, stream, folder, pattern, entries);
}

ResultCode fileDeleteMatching(const std::string& folder, const std::string& pattern) {
  FolderHolder stream;
  std::string folderCopy = folder;
  std::string patternCopy = pattern;
  std::list<FileFindEntry> entries;
  if (const ResultCode rc = findThrough(openOwn, stream, folderCopy, patternCopy, entries); rc != 0) {
    return rc;
  }
  for (const FileFindEntry& entry : entries) {
    if (isDotName(entry.name)) {
      continue;
    }
    if (folder.back() != '/') {
      // Folder and name stand side by side, meant as it stands: what that names wasn't listed.
      static_cast<void>(fileDelete(folder + entry.name));
    } else if (unlinkat(dirfd(stream.get()), entry.name.c_str(), 0) != 0 && errno != ENOENT) {
      const int error = errno;
      logDebugReturnCode("fileDelete", __FILE__, __LINE__, kLogError, "unlink_file",
                         static_cast<ResultCode>(error), nullptr, nullptr);
      if (!entry.isDirectory) {
        recordLoss("fileDelete", LossKind::kUnreadable, folder + entry.name, std::strerror(error));
      }
    }
  }
  return 0;
}

ResultCode fileDeleteAll(std::string& folder) {
  if (folder.empty()) {
    LOG_MESSAGE(kLogInformation, "tstrDirectory is an empty string");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  std::string pattern = "*";
  std::list<FileFindEntry> entries;
  // "." and ".." are among the entries and can't be deleted, so a folder that can be listed always fails.
  ResultCode rc = fileFindAll(folder, pattern, entries);
  for (const FileFindEntry& entry : entries) {
    if (const ResultCode failure = fileDelete(folder + entry.name); failure != 0) {
      rc = failure;
    }
  }
  return rc;
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
  // The best so far is the time 0: a file from before 1970 is never the newest.
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
  // Translated here too, whatever the caller has done: below a folder named like a variable nothing has a
  // size.
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
