// RunLock: lets one user make one run at a time, and knows what runs before this one left half done.
//
// The lock is on files that only the user can reach. For root that is one in /run. Another user has one below
// the home folder, in .cache/tolm/ and with the machine's name in its own, and one in the runtime folder of
// the session: both are locked, so that a run in a session and one outside of it, which knows no runtime
// folder, meet. Folders of somebody else aren't used, nor ones for the file that others can write to; where
// a user has none at all, the run goes on without a lock, and the log says so. The files hold the id of the
// process at work and the path of the bundle that it is writing. The system drops the lock with the process,
// however that ends; a run that ends by itself takes the files away.

#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

// Where a user's lock may lie, as absolute paths; others, and empty ones, count for none.
struct LockFolders {
  // Root's own, which is enough where it can be had.
  std::string root;
  std::vector<std::string> homes;
  std::vector<std::string> runtimes;
};
// Of the user whom the process acts for, as the user database, the environment and the system have them.
LockFolders lockFoldersOfUser();

class RunLock {
 public:
  explicit RunLock(LockFolders folders = lockFoldersOfUser());
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

  // The half-written bundles that earlier runs, ended from outside, have noted. Once the lock is held.
  [[nodiscard]] const std::vector<std::string>& unfinishedBundles() const { return m_Unfinished; }

  // Notes the file that this run writes; an empty path once there is none any more. Nothing where the
  // lock isn't held.
  void noteBundle(const std::string& path);

 private:
  struct Place {
    DescriptorHolder folder;
    std::string name;
    DescriptorHolder file;
  };
  enum class Taking { kAll, kBusy, kAgain };

  Answer take(bool wait);
  Taking takeAll();
  void openPlaces();
  void addPlace(DescriptorHolder folder, const std::string& name);
  // What the file says: the process, and the path of a bundle or an empty one.
  static pid_t readContent(int file, std::string& bundle);
  void writeContent(const std::string& bundle);

  LockFolders m_Folders;
  std::vector<Place> m_Places;
  DescriptorHolder m_Busy;  // the file that another process holds
  bool m_bHeld = false;
  pid_t m_nHolder = 0;
  std::vector<std::string> m_Unfinished;
};

}  // namespace halvo
