#include "vpn/Common/Zip/CZip.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unzip.h>
#include <zip.h>
#include <zlib.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <sstream>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/Common/Utility/WriteAll.h"

namespace halvo {

namespace {

constexpr std::size_t kBlockSize = 16384;
// From here on a size doesn't fit into the plain form of an entry.
constexpr std::streamoff kLargeFileSize = 0xffffffff;
// The length of a name is a 16-bit field.
constexpr std::size_t kLongestName = 0xffff;

constexpr int kMemoryLevel = 8;

// Fields of an entry, PKWARE APPNOTE.TXT, sections 4.4.4 and 4.4.5.
constexpr uLong kEncryptedFlag = 1;
constexpr uLong kStored = 0;
constexpr uLong kDeflated = 8;

// Puts the regular files of `folder` on the list. Nothing here fails: what can't be walked becomes an
// entry of its own, so that the bundle shows that it was there.
void listFiles(const std::string& folder, bool recursive, std::list<std::string>& paths) {
  const std::string prefix = withSlash(folder);
  const FolderHolder stream(opendir(prefix.c_str()));
  if (stream == nullptr) {
    paths.push_back(prefix);
    return;
  }
  while (const dirent* const entry = readdir(stream.get())) {
    const std::string name = entry->d_name;
    if (entry->d_type == DT_REG) {
      paths.push_back(prefix + name);
    } else if (entry->d_type == DT_DIR && !isDotName(name) && recursive) {
      listFiles(prefix + name, recursive, paths);
    }
  }
}

// minizip takes a quarter of a megabyte for each entry and gives it back. glibc hands that much back to the
// system every time, which costs more than to deflate a small file, until it has seen a larger block come
// and go: then it keeps as much as that. Elsewhere this does nothing.
void keepMemoryBetweenEntries() {
  void* volatile block = std::malloc(std::size_t{1} << 20U);  // volatile: or the compiler drops the pair
  std::free(block);
}

// A modification time in local time, as minizip wants it.
tm_zip entryTime(std::time_t modified) {
  tm_zip result = {};
  std::tm local = {};
  if (localtime_r(&modified, &local) != nullptr) {
    result.tm_sec = local.tm_sec;
    result.tm_min = local.tm_min;
    result.tm_hour = local.tm_hour;
    result.tm_mday = local.tm_mday;
    result.tm_mon = local.tm_mon;
    result.tm_year = local.tm_year;  // years since 1900: minizip takes these as well
  }
  return result;
}

struct ZipCloser {
  void operator()(void* archive) const { static_cast<void>(zipClose(archive, nullptr)); }
};
// What zipOpen64() gave. Closing writes the archive's directory. Its failure is nobody's, meant as it stands:
// what is in the archive counts.
using ZipHolder = std::unique_ptr<void, ZipCloser>;

struct UnzipCloser {
  void operator()(void* archive) const { static_cast<void>(unzClose(archive)); }
};
using UnzipHolder = std::unique_ptr<void, UnzipCloser>;

// Whether the name stays below the folder that it is put behind.
bool isSafeName(const std::string& name) {
  if (name.empty() || name.front() == '/') {
    return false;
  }
  std::istringstream components(name);
  std::string component;
  while (std::getline(components, component, '/')) {
    if (component == "..") {
      return false;
    }
  }
  return true;
}

ResultCode copyOpenEntry(unzFile archive, int descriptor) {
  std::vector<char> block(kBlockSize);
  for (;;) {
    const int got = unzReadCurrentFile(archive, block.data(), static_cast<unsigned>(block.size()));
    if (got < 0) {
      LOG_RETURN_CODE(kLogError, "unzReadCurrentFile", got);
      return static_cast<ResultCode>(got);
    }
    if (got == 0) {
      break;
    }
    if (const int error = writeAll(descriptor, block.data(), static_cast<std::size_t>(got)); error != 0) {
      LOG_RETURN_CODE_DESCRIBED(kLogError, "write", error, std::strerror(error));
      return GLOBAL_ERROR_UNEXPECTED;
    }
  }
  // Closing an entry that was read to its end compares its CRC.
  const int closed = unzCloseCurrentFile(archive);
  if (closed != UNZ_OK) {
    LOG_RETURN_CODE(kLogError, "unzCloseCurrentFile", closed);
  }
  return static_cast<ResultCode>(closed);
}

// Writes the open entry to the file `path`, in a folder that exists.
ResultCode extractFile(unzFile archive, const std::string& path, bool overwrite) {
  // A link at the file's place isn't followed.
  const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | (overwrite ? O_TRUNC : O_EXCL);
  DescriptorHolder descriptor(open(path.c_str(), flags, 0666));
  if (!descriptor) {
    if (!overwrite && errno == EEXIST) {
      LOG_MESSAGE(kLogWarning, "Skipping file %s, because it already exists.", path.c_str());
      return 0;
    }
    LOG_RETURN_CODE_DESCRIBED(kLogError, "open", errno, std::strerror(errno));
    return GLOBAL_ERROR_UNEXPECTED;
  }
  const ResultCode result = copyOpenEntry(archive, descriptor.get());
  descriptor.reset();
  if (result != 0) {
    // Half a file would pass for a whole one.
    unlink(path.c_str());
  }
  return result;
}

ResultCode extractEntry(unzFile archive, const std::string& targetFolder, std::list<std::string>& names,
                        bool overwrite) {
  int answer = unzOpenCurrentFile(archive);
  if (answer != UNZ_OK) {
    LOG_RETURN_CODE(kLogError, "unzOpenCurrentFile", answer);
    return static_cast<ResultCode>(answer);
  }
  unz_file_info information = {};
  std::vector<char> buffer(kLongestName + 1);
  answer = unzGetCurrentFileInfo(archive, &information, buffer.data(), static_cast<uLong>(buffer.size()),
                                 nullptr, 0, nullptr, 0);
  if (answer != UNZ_OK) {
    LOG_RETURN_CODE(kLogError, "unzGetCurrentFileInfo", answer);
    return static_cast<ResultCode>(answer);
  }

  std::string name = buffer.data();
  if (!name.empty() && name.front() == '/') {
    name.erase(0, 1);
  }
  if (!isSafeName(name)) {
    LOG_MESSAGE(kLogError, "Refusing entry \"%s\", because it doesn't stay in the target folder.",
                buffer.data());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  names.push_back(name);

  const std::string path = targetFolder + "/" + name;
  const std::string folder = path.substr(0, path.rfind('/'));
  if (!makeFolderPath(folder.c_str())) {
    LOG_MESSAGE(kLogError, "Could not create the following dir: %s", folder.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (name.back() == '/') {
    return 0;
  }
  // minizip has no look at either before it reads.
  if ((information.flag & kEncryptedFlag) != 0 ||
      (information.compression_method != kStored && information.compression_method != kDeflated)) {
    LOG_MESSAGE(kLogError, "Entry %s is encrypted or of an unknown compression method.", name.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return extractFile(archive, path, overwrite);
}

}  // namespace

ResultCode CZip::Zip(const std::string& folder, const std::string& bundlePath, const std::string& password,
                     bool recursive) {
  if (folder.empty() || bundlePath.empty()) {
    LOG_MESSAGE(kLogError, "Bad parameter(s), parameter(s) is equal to NULL.");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  std::list<std::string> paths;
  listFiles(folder, recursive, paths);

  const std::size_t folderLength = withSlash(folder).size();
  std::list<std::string> names;
  for (const std::string& path : paths) {
    names.push_back(path.substr(folderLength));
  }

  const ResultCode result = createZipFile(paths, bundlePath, names, password);
  if (result != 0) {
    LOG_RETURN_CODE(kLogError, "CZip::createZipFile", result);
  }
  return result;
}

ResultCode CZip::createZipFile(const std::list<std::string>& paths, const std::string& bundlePath,
                               const std::list<std::string>& names, const std::string& password) {
  const ZipHolder holder(zipOpen64(bundlePath.c_str(), APPEND_STATUS_CREATE));
  const zipFile archive = holder.get();
  if (archive == nullptr) {
    LOG_RETURN_CODE(kLogError, "zipOpen64", GLOBAL_ERROR_BAD_PARAMETER);
    return GLOBAL_ERROR_BAD_PARAMETER;
  }

  struct stat bundleStatus = {};
  const bool hasBundleStatus = stat(bundlePath.c_str(), &bundleStatus) == 0;
  keepMemoryBetweenEntries();
  tzset();  // localtime_r() needn't look at TZ by itself
  char block[kBlockSize];
  auto name = names.begin();
  for (auto path = paths.begin(); path != paths.end() && name != names.end(); ++path, ++name) {
    // "-" stands for no file: it gets the time 0 as well.
    struct stat status = {};
    const bool hasStatus = *path != "-" && stat(path->c_str(), &status) == 0;
    if (!hasStatus) {
      LOG_MESSAGE(kLogWarning, "Failed to get file time attributes.");
    }
    zip_fileinfo information = {};
    information.tmz_date = entryTime(hasStatus ? status.st_mtime : 0);

    // The header of the encryption stands in front of the data and holds a check on the file's CRC. An
    // entry that isn't encrypted keeps the plain form, however large its file is.
    std::uint32_t crc = 0;
    bool largeFile = false;
    if (!password.empty()) {
      crc = getCrc(*path, largeFile);
    }

    // minizip would write a longer name under a wrong length and so spoil the whole archive.
    if (name->size() > kLongestName) {
      break;
    }
    if (zipOpenNewFileInZip3_64(archive, name->c_str(), &information, nullptr, 0, nullptr, 0, nullptr,
                                Z_DEFLATED, Z_BEST_COMPRESSION, 0, -MAX_WBITS, kMemoryLevel,
                                Z_DEFAULT_STRATEGY, password.empty() ? nullptr : password.c_str(), crc,
                                largeFile ? 1 : 0) != ZIP_OK) {
      // Meant: a refused entry ends the bundle without a word, and what is in it counts.
      break;
    }

    // An old bundle in the folder is overwritten by now. Read while it is written it would never end.
    if (hasStatus && hasBundleStatus && status.st_dev == bundleStatus.st_dev &&
        status.st_ino == bundleStatus.st_ino) {
      continue;
    }
    std::ifstream file(*path, std::ios::binary);
    if (!file.is_open()) {
      // Meant: the entry stays empty. minizip closes it when the next one opens, or with the archive.
      continue;
    }
    uLong written = 0;  // the CRC of no bytes
    while (file.good()) {
      file.read(block, sizeof(block));
      const std::streamsize got = file.gcount();
      written = crc32(written, reinterpret_cast<const Bytef*>(block), static_cast<uInt>(got));
      // A write that failed shows again when the entry is closed.
      if (got == 0 || zipWriteInFileInZip(archive, block, static_cast<unsigned>(got)) != ZIP_OK) {
        break;
      }
    }
    file.close();
    const int closed = zipCloseFileInZip(archive);
    if (closed < 0) {
      LOG_RETURN_CODE(kLogError, "zipCloseFileInZip", closed);
      return static_cast<ResultCode>(closed);
    }
    // The check in front of the data is that of another content then: readers take the entry for one with
    // another password.
    if (!password.empty() && crc != written) {
      LOG_MESSAGE(kLogError, "%s could not be read twice alike", path->c_str());
      return GLOBAL_ERROR_UNEXPECTED;
    }
  }
  return 0;
}

std::uint32_t CZip::getCrc(const std::string& path, bool& largeFile) {
  largeFile = false;
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file.is_open()) {
    LOG_MESSAGE(kLogError, "Could not open %s", path.c_str());
    return 0;
  }
  largeFile = static_cast<std::streamoff>(file.tellg()) >= kLargeFileSize;
  file.seekg(0);
  const auto block = std::make_unique_for_overwrite<char[]>(kBlockSize);
  uLong crc = 0;
  while (file.good()) {
    file.read(block.get(), kBlockSize);
    crc = crc32(crc, reinterpret_cast<const Bytef*>(block.get()), static_cast<uInt>(file.gcount()));
  }
  return static_cast<std::uint32_t>(crc);
}

ResultCode CZip::Unzip(const std::string& bundlePath, const std::string& targetFolder,
                       std::list<std::string>& names, bool overwrite) {
  const UnzipHolder holder(unzOpen64(bundlePath.c_str()));
  const unzFile archive = holder.get();
  if (archive == nullptr) {
    LOG_MESSAGE(kLogError, "unzOpen64 returned NULL.");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  unz_global_info64 summary = {};
  static_cast<void>(unzGetGlobalInfo64(archive, &summary));  // copies what the opening has read

  ResultCode result = 0;
  for (ZPOS64_T i = 0; i < summary.number_entry; ++i) {
    const int moved = i == 0 ? unzGoToFirstFile(archive) : unzGoToNextFile(archive);
    if (moved != UNZ_OK) {
      LOG_RETURN_CODE(kLogError, i == 0 ? "unzGoToFirstFile" : "unzGoToNextFile", moved);
      result = result != 0 ? result : static_cast<ResultCode>(moved);
      break;
    }
    const ResultCode extracted = extractEntry(archive, targetFolder, names, overwrite);
    static_cast<void>(unzCloseCurrentFile(archive));  // closed already where all went well
    result = result != 0 ? result : extracted;
  }
  return result;
}

bool makeFolderPath(const char* path) {
  if (path == nullptr || path[0] != '/') {
    return false;
  }
  std::string grown = "/";
  std::istringstream components(path);
  std::string component;
  while (std::getline(components, component, '/')) {
    if (component.empty()) {
      continue;
    }
    grown += component;
    struct stat status = {};
    if (stat(grown.c_str(), &status) == 0) {
      if (!S_ISDIR(status.st_mode)) {
        return false;
      }
    } else if (mkdir(grown.c_str(), 0777) != 0) {
      return false;
    }
    grown += '/';
  }
  return true;
}

}  // namespace halvo
