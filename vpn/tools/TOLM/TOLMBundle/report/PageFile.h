// PageFile: the file that a page is written to, or standard output.
//
// It appears under its name when it is whole. A file there is replaced, anything else (a folder, a device, a
// link) refused. Only its owner may read it. One thread at a time.

#pragma once

#include <cstdio>
#include <string>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/UnfinishedFile.h"

namespace halvo {

// Whether the path stands for standard output: "-", and the names of it that lead to it on every host. Those
// are links, and what is written in their place would be in everybody's way.
bool isStandardOutput(const std::string& path);

class PageFile {
 public:
  // Returns a text for people, empty on success, as finish() does.
  [[nodiscard]] std::string open(const std::string& path);
  // What these give isn't looked at: finish() tells of every write that failed.
  void put(const std::string& text);
  void put(std::FILE* from);
  [[nodiscard]] std::string finish();

 private:
  [[nodiscard]] std::string failure(const std::string& reason) const;

  std::string m_strPath;
  UnfinishedFile m_Unfinished;
  bool m_bPrinted = false;
  FileHolder m_File;
};

}  // namespace halvo
