// CStoragePath: where the client suite is installed, and the well-known folders below that place.
//
// A reference-counted singleton of the process. It is created once, on the main thread, before any
// other thread exists, and lives until its last count is given back; users borrow it through
// CInstanceSmartPtr<CStoragePath>. The count may be taken and given back on any thread. The path
// operations take no lock, since the path doesn't change after construction. No folder is looked at
// or created here.

#pragma once

#include <cstdint>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Utility/InstanceSmartPtr.h"

namespace halvo {

class CStoragePath {
 public:
  // `rc` receives 0. Ordinary users take the singleton instead of an object of their own.
  explicit CStoragePath(ResultCode& rc);

  CStoragePath(const CStoragePath&) = delete;
  CStoragePath& operator=(const CStoragePath&) = delete;

  // Makes the singleton with a count of one, or adds a count to the one that exists. `instanceOut`
  // receives it, or null on failure. Takes no lock while it makes the singleton. Returns 0 or the
  // constructor's code, which is logged as an error of "CStoragePath".
  [[nodiscard]] static ResultCode CreateSingletonInstance(CStoragePath*& instanceOut);
  // Adds a count. Returns the instance, or null where there is none.
  static CStoragePath* acquireInstance();
  // Gives a count back and destroys the instance with its last one. A `pointer` that isn't the
  // singleton is simply destroyed and no count changes; null does nothing.
  static void releaseInstance(CStoragePath* pointer);
  // How many holders the instance has.
  [[nodiscard]] static std::uint32_t getAcquisitionCount();

  // "/opt/halvo/tessarmont/"
  [[nodiscard]] std::string getInstallPath() const;
  // Ends in "bin/".
  [[nodiscard]] std::string getBinPath() const;
  // The folder of `userName` (see GetUserProgramDataPath) where `userSpecific`, otherwise the
  // installation folder.
  [[nodiscard]] static std::string getDataPath(bool userSpecific, const std::string& userName);
  // The home folder of `userName`, of the current user where it is empty, with a "/" at its end. For
  // an unknown user ".", without a slash, and "Error retrieving user pswd struct." as a warning.
  [[nodiscard]] static std::string GetUserProgramDataPath(const std::string& userName);
  // No slash at its end.
  [[nodiscard]] std::string getFeedbackDataPath() const;
  // The profile folder of the management tunnel for a `profileKind` of 1, otherwise the plain one. No
  // slash at its end.
  [[nodiscard]] std::string getProfilePath(std::int32_t profileKind) const;
  // The folder of the window's own logs of the current user, but only with HOME unset: with HOME set,
  // and for a user without a record, the empty text and a warning. Prints the home folder to standard
  // output where it has one.
  [[nodiscard]] static std::string GetUILogPath();
  // `path` becomes "/tmp/", whatever the result. Returns 0, or CSTORAGEPATH_ERROR_TEMPPATH_TOO_BIG
  // where that is longer than `maximumLength` characters.
  [[nodiscard]] static ResultCode getTempPath(std::string& path, unsigned maximumLength);

 private:
  friend class StoragePathTest;

  using Maker = CStoragePath* (*)(ResultCode& rc);
  [[nodiscard]] static ResultCode CreateSingletonInstance(CStoragePath*& instanceOut, Maker maker);

  std::string installPath;
};

}  // namespace halvo
