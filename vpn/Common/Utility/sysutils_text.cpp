// Operations on the lines of text files. No flow of the system calls them.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Hands each line of `file` to `visit`, its line end included, until `visit` gives false. Returns
// false where reading failed.
bool forEachLine(std::FILE* file, const std::function<bool(const std::string&)>& visit) {
  char* buffer = nullptr;
  std::size_t size = 0;
  ssize_t length = 0;
  bool wanted = true;
  while (wanted && (length = getline(&buffer, &size, file)) >= 0) {
    wanted = visit(std::string(buffer, static_cast<std::size_t>(length)));
  }
  std::free(buffer);
  return std::ferror(file) == 0 && (!wanted || std::feof(file) != 0);
}

// Writes `text` and closes the file. Much of a failure to write shows only when it is closed.
bool writeAndClose(File file, const std::string& text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
  return std::fclose(file.release()) == 0 && written;
}

std::string trimmed(const std::string& line) {
  return CStringUtils::trimRight(line, false);
}

}  // namespace

ResultCode SetTextFileContents(const std::string& path, const std::string& text) {
  // An empty text is no empty argument: it is what is left of a file that loses its only line.
  if (path.empty()) {
    LOG_MESSAGE(kLogError, "File name argument is invalid");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  File file(std::fopen(path.c_str(), "w"));
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "Failed to open file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (!writeAndClose(std::move(file), text)) {
    LOG_MESSAGE(kLogError, "Failed to update file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

ResultCode AppendLineToFile(const std::string& path, const std::string& line) {
  if (path.empty() || line.empty()) {
    LOG_MESSAGE(kLogError, "At least one argument is invalid");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  File file(std::fopen(path.c_str(), "a"));
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "Failed to open file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (!writeAndClose(std::move(file), line + "\n")) {
    LOG_MESSAGE(kLogError, "Failed to append to file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

bool SeachFileForMatchingLine(const std::string& path, const std::string& line) {
  if (path.empty() || line.empty()) {
    LOG_MESSAGE(kLogError, "At least one argument is invalid");
    return false;
  }
  const File file(std::fopen(path.c_str(), "r"));
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "Failed to open file %s", path.c_str());
    return false;
  }
  bool found = false;
  const bool readAll = forEachLine(file.get(), [&](const std::string& current) {
    found = trimmed(current) == line;
    return !found;
  });
  if (!readAll) {
    LOG_MESSAGE(kLogError, "Failed to inspect all lines in file %s", path.c_str());
  }
  return found;
}

ResultCode RemoveFromFileMatchingLine(const std::string& path, const std::string& line) {
  if (path.empty() || line.empty()) {
    LOG_MESSAGE(kLogError, "At least one argument is invalid");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  File file(std::fopen(path.c_str(), "r"));
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "Failed to open file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  std::string kept;
  const bool readAll = forEachLine(file.get(), [&](const std::string& current) {
    if (trimmed(current) != line) {
      kept += current;
    }
    return true;
  });
  // Half a file is never written back.
  if (!readAll) {
    LOG_MESSAGE(kLogError, "Failed to fully inspect file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  file.reset();
  return SetTextFileContents(path, kept);
}

ResultCode insertIntoFilePrePostMatchingLine(const std::string& path, const std::string& match,
                                             const std::string& line, bool before) {
  if (path.empty() || match.empty() || line.empty()) {
    LOG_MESSAGE(kLogError, "At least one argument is invalid");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  File file(std::fopen(path.c_str(), "r"));
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "Failed to open file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  std::string text;
  const bool readAll = forEachLine(file.get(), [&](const std::string& current) {
    const bool matches = trimmed(current) == match;
    if (matches && before) {
      text += line + "\n";
    }
    text += current;
    if (matches && !before) {
      // The last line of a file may have no line feed.
      text += (current.back() == '\n' ? "" : "\n") + line + "\n";
    }
    return true;
  });
  if (!readAll) {
    LOG_MESSAGE(kLogError, "Failed to fully inspect file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  file.reset();
  return SetTextFileContents(path, text);
}

bool FileHasOnlyWhiteSpace(const std::string& path) {
  if (path.empty()) {
    LOG_MESSAGE(kLogError, "Invalid file name");
    return false;
  }
  const File file(std::fopen(path.c_str(), "r"));
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "Failed to open file %s", path.c_str());
    return false;
  }
  bool blank = true;
  const bool readAll = forEachLine(file.get(), [&](const std::string& current) {
    blank = trimmed(current).empty();
    return blank;
  });
  if (!readAll) {
    LOG_MESSAGE(kLogError, "Failed to inspect all lines in file %s", path.c_str());
    return false;
  }
  return blank;
}

ResultCode ReadTextFile(const std::string& path, std::vector<std::string>& lines) {
  lines.clear();
  if (path.empty()) {
    LOG_MESSAGE(kLogError, "Invalid file name");
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const File file(std::fopen(path.c_str(), "r"));
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "Failed to open file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  const bool readAll = forEachLine(file.get(), [&](const std::string& current) {
    lines.push_back(trimmed(current));
    return true;
  });
  if (!readAll) {
    LOG_MESSAGE(kLogError, "Failed to inspect all lines in file %s", path.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

}  // namespace halvo
