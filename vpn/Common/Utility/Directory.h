// Directory: an open folder, read entry by entry.
//
// The object owns the host's stream, and closes it when it is destroyed. It belongs to one thread.
// All results are codes of the DIRECTORY module.

#pragma once

#include <dirent.h>

#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class Directory {
 public:
  // A closed object.
  Directory() = default;
  // Opens `path`; `rc` receives what Open gives.
  Directory(const std::string& path, ResultCode& rc);
  // Closes. A failure is logged as a warning.
  ~Directory();

  Directory(const Directory&) = delete;
  Directory& operator=(const Directory&) = delete;

  // Closes the folder that is open, if any, and opens `path`. DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED
  // for an empty path, which leaves all as it is; the code of close(), logged, where that fails;
  // DIRECTORY_ERROR_DIRECTORY_NOT_FOUND where `path` can't be opened, whatever the reason.
  [[nodiscard]] ResultCode Open(const std::string& path);

  // Stores the name of the next entry, in the host's order and with "." and ".." among them.
  // DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED on a closed object, DIRECTORY_ERROR_NO_MORE_FILES at the
  // end; both leave `name` as it is.
  [[nodiscard]] ResultCode next(std::string& name);

  // Does nothing on a closed object. DIRECTORY_ERROR_UNEXPECTED where the host fails, with an error log
  // of "closedir"; the object then stays open.
  [[nodiscard]] ResultCode close();

  // Makes `path` and all folders above it that are missing, with mode 0770 less the umask.
  // DIRECTORY_ERROR_BAD_PARAMETER for an empty path; DIRECTORY_ERROR_DIRECTORY_ALREADY_EXISTS where it
  // is a folder already and `failIfExists` is set; DIRECTORY_ERROR_FAILED_TO_CREATE_DIR, with an error
  // log of "::CreateDirectory", where a level can't be made; otherwise what opening the result gives.
  // Levels that were made before a failure stay.
  [[nodiscard]] static ResultCode CreateNewDirectory(const std::string& path, bool failIfExists);

 private:
  DIR* m_pHandle = nullptr;
  // The host refused to close the handle. It has taken the stream's memory back all the same, so the
  // handle is only looked at from then on.
  bool m_bUnclosable = false;
};

}  // namespace halvo
