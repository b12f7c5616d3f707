// Operations on the lines of text files. No flow of the system calls them.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <initializer_list>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

// What the operations share logs under the operation's own name and line: readers of a log look for the
// operation, not for a function that it happens to be made of. So the place of the call is an argument.
#define TOLM_CALLER const char *function = __builtin_FUNCTION(), int line = __builtin_LINE()

// False, with an error record, where one of the arguments is empty.
bool areGiven(std::initializer_list<const std::string*> arguments, const char* complaint, TOLM_CALLER) {
  for (const std::string* argument : arguments) {
    if (argument->empty()) {
      logDebugMessage(function, __FILE__, line, kLogError, "%s", complaint);
      return false;
    }
  }
  return true;
}

// Null, with an error record, where the file can't be opened.
FileHolder openFile(const std::string& path, const char* mode, TOLM_CALLER) {
  FileHolder file(std::fopen(path.c_str(), mode));
  if (file == nullptr) {
    logDebugMessage(function, __FILE__, line, kLogError, "Failed to open file %s", path.c_str());
  }
  return file;
}

// Hands each line of `file`, the open file of `path`, to `visit`, its line end included, until `visit`
// gives false. False, with an error record that begins with `complaint`, where reading failed.
bool forEachLine(const FileHolder& file, const std::string& path, const char* complaint,
                 const std::function<bool(const std::string&)>& visit, TOLM_CALLER) {
  char* buffer = nullptr;
  std::size_t size = 0;
  ssize_t length = 0;
  bool wanted = true;
  while (wanted && (length = getline(&buffer, &size, file.get())) >= 0) {
    // getline() moves its buffer about, so it is held for the length of the visit alone, which may throw.
    MemoryHolder<char> hold(buffer);
    wanted = visit(std::string(buffer, static_cast<std::size_t>(length)));
    static_cast<void>(hold.release());
  }
  std::free(buffer);
  // -1 says both "no more" and "no memory for the line"; only the first sets the end of the file.
  if (std::ferror(file.get()) != 0 || (wanted && std::feof(file.get()) == 0)) {
    logDebugMessage(function, __FILE__, line, kLogError, "%s file %s", complaint, path.c_str());
    return false;
  }
  return true;
}

// Writes `text` to `file`, the open file of `path`, and closes it. False, with an error record that begins
// with `complaint`, where that failed.
bool writeAndClose(FileHolder file, const std::string& text, const std::string& path, const char* complaint,
                   TOLM_CALLER) {
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size();
  // Much of a failure to write shows only when the file is closed, so a failed write doesn't save the look.
  const bool closed = std::fclose(file.release()) == 0;
  if (!written || !closed) {
    logDebugMessage(function, __FILE__, line, kLogError, "%s file %s", complaint, path.c_str());
    return false;
  }
  return true;
}

#undef TOLM_CALLER

std::string trimmed(const std::string& line) {
  return CStringUtils::trimRight(line, false);
}

// The complaints, in the words that administrators search their logs for.
constexpr char kNoFileName[] = "File name argument is invalid";
constexpr char kNoArgument[] = "At least one argument is invalid";
constexpr char kBadFileName[] = "Invalid file name";
constexpr char kNotInspected[] = "Failed to inspect all lines in";
constexpr char kNotRead[] = "Failed to fully inspect";

}  // namespace

ResultCode SetTextFileContents(const std::string& path, const std::string& text) {
  // An empty text is no empty argument: it is what is left of a file that loses its only line.
  if (!areGiven({&path}, kNoFileName)) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  FileHolder file = openFile(path, "w");
  return file != nullptr && writeAndClose(std::move(file), text, path, "Failed to update")
             ? 0
             : GLOBAL_ERROR_UNEXPECTED;
}

ResultCode AppendLineToFile(const std::string& path, const std::string& line) {
  if (!areGiven({&path, &line}, kNoArgument)) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  FileHolder file = openFile(path, "a");
  return file != nullptr && writeAndClose(std::move(file), line + "\n", path, "Failed to append to")
             ? 0
             : GLOBAL_ERROR_UNEXPECTED;
}

bool SeachFileForMatchingLine(const std::string& path, const std::string& line) {
  if (!areGiven({&path, &line}, kNoArgument)) {
    return false;
  }
  const FileHolder file = openFile(path, "r");
  bool found = false;
  // A failure to read on doesn't take back what was found, and there the loop has ended by itself.
  static_cast<void>(file != nullptr &&
                    forEachLine(file, path, kNotInspected, [&](const std::string& current) {
                      found = trimmed(current) == line;
                      return !found;
                    }));
  return found;
}

ResultCode RemoveFromFileMatchingLine(const std::string& path, const std::string& line) {
  if (!areGiven({&path, &line}, kNoArgument)) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  FileHolder file = openFile(path, "r");
  std::string kept;
  // Half a file is never written back.
  if (file == nullptr || !forEachLine(file, path, kNotRead, [&](const std::string& current) {
        if (trimmed(current) != line) {
          kept += current;
        }
        return true;
      })) {
    return GLOBAL_ERROR_UNEXPECTED;
  }
  file.reset();  // ahead of the same file's opening for writing
  return SetTextFileContents(path, kept);
}

ResultCode insertIntoFilePrePostMatchingLine(const std::string& path, const std::string& match,
                                             const std::string& line, bool before) {
  if (!areGiven({&path, &match, &line}, kNoArgument)) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  FileHolder file = openFile(path, "r");
  std::string text;
  if (file == nullptr || !forEachLine(file, path, kNotRead, [&](const std::string& current) {
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
      })) {
    return GLOBAL_ERROR_UNEXPECTED;
  }
  file.reset();
  return SetTextFileContents(path, text);
}

bool FileHasOnlyWhiteSpace(const std::string& path) {
  if (!areGiven({&path}, kBadFileName)) {
    return false;
  }
  const FileHolder file = openFile(path, "r");
  bool blank = true;
  return file != nullptr &&
         forEachLine(file, path, kNotInspected,
                     [&](const std::string& current) {
                       blank = trimmed(current).empty();
                       return blank;
                     }) &&
         blank;
}

ResultCode ReadTextFile(const std::string& path, std::vector<std::string>& lines) {
  lines.clear();  // whatever comes: nobody takes the lines of another file for this one's
  if (!areGiven({&path}, kBadFileName)) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const FileHolder file = openFile(path, "r");
  return file != nullptr && forEachLine(file, path, kNotInspected,
                                        [&](const std::string& current) {
                                          lines.push_back(trimmed(current));
                                          return true;
                                        })
             ? 0
             : GLOBAL_ERROR_UNEXPECTED;
}

}  // namespace halvo
