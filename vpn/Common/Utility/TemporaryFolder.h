// TemporaryFolder: a folder of this user alone that goes with its object, however the program ends.
//
// The destructor removes it with all that is in it. While there is one, SIGINT, SIGTERM, SIGHUP, SIGQUIT and
// SIGXFSZ remove it too before they end the program; a signal that is ignored, or that has a handler already,
// is left as it is: who handles it calls removeAll(). What a killed program leaves is told by its name and by
// its lock, which nobody holds any more.
//
// Made and destroyed on one thread, a few at a time in a process. A child that this process forks and that
// ends without a program of its own must end by _exit(). Logs nothing.

#pragma once

#include <string>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

class TemporaryFolder {
 public:
  TemporaryFolder() = default;
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // Makes `parent`/`start`XXXXXX, the X drawn. 0, or what the system says; EMFILE where this process has as
  // many as there can be. To be called once.
  [[nodiscard]] int make(const std::string& parent, const std::string& start);

  // Empty before make() and where that failed.
  [[nodiscard]] const std::string& path() const { return m_strPath; }

  // Removes all folders of this process, for a program that is about to end. Asks for no memory, and may be
  // called from a signal handler.
  static void removeAll();

 private:
  void giveUp();

  std::string m_strPath;
  DescriptorHolder m_Lock;
  int m_nPlace = -1;  // among those of the process
};

}  // namespace halvo
