// RunLock: lets one user make one run at a time, and knows what a run before this one left half done.
//
// The lock is on a file that only the user can reach: in $XDG_RUNTIME_DIR (or the folder that it would
// be), for root in /run, else below the home folder. A folder that belongs to somebody else, or that
// others can write to, isn't used; where a user has none at all, the run goes on without a lock, and the
// log says so. The file holds the id of the process at work and the path of the bundle that it is
// writing. The system drops the lock with the process, however that ends; a run that ends by itself takes
// the file away.

#pragma once

#include <sys/types.h>

#include <string>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

class RunLock {
 public:
  RunLock() = default;
  ~RunLock();
  RunLock(const RunLock&) = delete;
  RunLock& operator=(const RunLock&) = delete;

  enum class Answer {
    kHeld,         // this process's now
    kBusy,         // another process holds it: see holder()
    kUnavailable,  // there is no file that could be locked
  };

  // Asks for the lock once.
  Answer tryAcquire();
  // Waits for as long as another process holds it.
  Answer acquire();

  // The process that held the lock at the last kBusy; 0 where its file doesn't tell.
  [[nodiscard]] pid_t holder() const { return m_nHolder; }

  // The half-written bundle that an earlier run, ended from outside, has noted; empty for none. Once the
  // lock is held.
  [[nodiscard]] const std::string& unfinishedBundle() const { return m_strUnfinished; }

  // Notes the file that this run writes; an empty path once there is none any more. Nothing where the
  // lock isn't held.
  void noteBundle(const std::string& path);

 private:
  bool open();
  // flock() with that operation, once more where the last holder has taken the file away.
  Answer take(int operation);
  void readContent();
  void writeContent(const std::string& bundle);

  DescriptorHolder m_Folder;
  std::string m_strName;
  DescriptorHolder m_File;
  bool m_bHeld = false;
  pid_t m_nHolder = 0;
  std::string m_strUnfinished;
};

}  // namespace halvo
