#include <algorithm>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/OutputFile.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {

namespace {

constexpr char kScratchFile[] = "temp_out.txt";
constexpr std::size_t kBlock = 65536;
// What a cut that runs into the end of the file leaves behind the file's bytes: readers of bundles
// know the mark, so it stays.
constexpr char kEndOfFileByte = '\xff';

// Opens the file and the scratch file. `function` is the cut's own name, for the log.
ResultCode openBoth(const char* function, const char* path, std::ifstream& input, OutputStream& scratch) {
  if (path == nullptr) {
    logDebugMessage(function, __FILE__, __LINE__, kLogError, "pszFilename is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  input.open(path, std::ios::binary);
  if (!input.is_open()) {
    logDebugMessage(function, __FILE__, __LINE__, kLogError, "Failed to open \"%s\"", path);
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  scratch.open(kScratchFile, OutputMode::kReplace);
  if (!scratch.is_open()) {
    logDebugMessage(function, __FILE__, __LINE__, kLogError, "Failed to open \"temp_out.txt\"");
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  return 0;
}

// Copies up to `limit` bytes. Returns how many there were.
std::int64_t copyBytes(std::ifstream& input, OutputStream& scratch, std::int64_t limit) {
  std::vector<char> block(kBlock);
  std::int64_t copied = 0;
  while (copied < limit && input.good()) {
    const std::int64_t wanted =
        std::min<std::int64_t>(limit - copied, static_cast<std::int64_t>(block.size()));
    input.read(block.data(), wanted);
    scratch.write(block.data(), input.gcount());
    copied += input.gcount();
  }
  return copied;
}

// Puts the scratch file in the place of the file. From here on nothing can fail as far as the caller
// is told, although the file may be gone.
ResultCode copyBack(const char* function, const char* path, std::ifstream& input, OutputStream& scratch) {
  input.close();
  // What the scratch file couldn't take is lost without a word. Told so.
  static_cast<void>(scratch.close());
  std::string errorText;
  if (const ResultCode rc = fileCopy(kScratchFile, path, errorText); rc != 0) {
    logDebugReturnCode(function, __FILE__, __LINE__, kLogWarning, "helperUtil::fileCopy", rc, nullptr, "%s",
                       errorText.c_str());
  }
  return 0;
}

}  // namespace

ResultCode fileTruncateEnd(std::int32_t keepSize, const char* path) {
  std::ifstream input;
  OutputStream scratch;
  if (const ResultCode rc = openBoth(__func__, path, input, scratch); rc != 0) {
    return rc;
  }
  // A negative size can't be sought to, which leaves nothing to keep.
  if (keepSize > 0 && copyBytes(input, scratch, keepSize) < keepSize) {
    scratch.put(kEndOfFileByte);
  }
  return copyBack(__func__, path, input, scratch);
}

ResultCode fileTruncateEnd(std::int32_t keepSize, const std::string& path) {
  return fileTruncateEnd(keepSize, path.c_str());
}

ResultCode fileTruncateFront(std::int32_t keepSize, const char* path) {
  std::ifstream input;
  OutputStream scratch;
  if (const ResultCode rc = openBoth(__func__, path, input, scratch); rc != 0) {
    return rc;
  }
  // Widened before it is negated: the smallest 32-bit number has no positive twin. A negative size
  // seeks past the end, where only the mark is read; a larger one than the file can't be sought to.
  input.seekg(-static_cast<std::int64_t>(keepSize), std::ios::end);
  if (input.good()) {
    static_cast<void>(copyBytes(input, scratch, INT64_MAX));
    scratch.put(kEndOfFileByte);
  }
  return copyBack(__func__, path, input, scratch);
}

ResultCode fileTruncateFront(std::int32_t keepSize, const std::string& path) {
  return fileTruncateFront(keepSize, path.c_str());
}

}  // namespace halvo::helperUtil
