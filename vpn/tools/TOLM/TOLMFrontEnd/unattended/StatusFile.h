// StatusFile: where the status of a run goes, found and tried before the run.
//
// A reader meets an older status or the whole new one: it is written beside its name and renamed. A pipe or a
// device in its place is written to as it is. A link there is replaced, not followed, for the folder may be
// another user's; but for the names of the process's own descriptors (/dev/stdout, /dev/fd/3), which are
// links everywhere. For one run, on one thread. Operations return a text for people, empty on success.

#pragma once

#include <string>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

class StatusFile {
 public:
  // Looks whether the status can be written to `path`; "-" is standard output. Leaves nothing there.
  [[nodiscard]] std::string open(const std::string& path);
  // Once it is open.
  [[nodiscard]] std::string write(const std::string& text);

 private:
  std::string openPlace();
  std::string replace(const std::string& text);
  int makeBeside(std::string& name) const;

  std::string m_strPath;
  std::string m_strName;
  DescriptorHolder m_Folder;  // of a file
  DescriptorHolder m_Stream;  // what is written to as it is
};

}  // namespace halvo
