// WorkFolder: the one folder below /tmp that a run works in, and that is its alone.
//
// /tmp is shared and the folder's name can be guessed, so a folder that exists is no proof of anything: what
// has been made is opened without following links, looked at, and kept locked (flock) until it is removed or
// the process ends. Another run takes a locked folder for one that can't be removed.
//
// Belongs to one engine and its thread; held() may be asked on any.

#pragma once

#include <ctime>
#include <mutex>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Utility/Holders.h"

namespace halvo {

class WorkFolder {
 public:
  // Stands on the plain name, helperUtil::workFolder().
  WorkFolder();
  // Gives the lock back. A folder that wasn't removed stays.
  ~WorkFolder() = default;
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return m_strPath; }

  // Removes what an earlier run has left under the plain name. Where that was possible the plain name stays;
  // where it wasn't, because nothing was there too, a name with the time and a number is drawn, and the next
  // second's as long as a name is taken by anything. A failed removal is logged as a warning.
  void choose();

  // Makes the folder with mode 0700. TOLMENGINE_ERROR_ACCESS_DENIED for EACCES, and where what then stands
  // under the name isn't an empty folder of this user that nobody else can write to, or all names in reach
  // are taken; TOLMENGINE_ERROR_UNEXPECTED for the rest. Logged. A name that is taken, or a folder that
  // another run takes away meanwhile, only leads to the next drawn name.
  [[nodiscard]] ResultCode make();

  // Why make() has failed, for people, with the path; empty where it hasn't.
  [[nodiscard]] const std::string& problem() const { return m_strProblem; }

  // Removes the folder, by whatever name it has now; one that this run hasn't made only as a left-over.
  // Failures are logged.
  void remove();

  // The path while the folder is made and this run's, empty before and afterwards.
  [[nodiscard]] std::string held() const;

 private:
  enum class Look { kOurs, kTakenAway, kForeign };

  // Moves on to the next free name; false where there is none in reach.
  bool draw();
  [[nodiscard]] Look takeHold();
  void setHeld(const std::string& path);

  std::string m_strPath;
  std::string m_strProblem;
  bool m_bDrawn = false;
  std::time_t m_nNextSecond = 0;
  DescriptorHolder m_Lock;
  mutable std::mutex m_HeldMutex;
  std::string m_strHeld;
};

}  // namespace halvo
