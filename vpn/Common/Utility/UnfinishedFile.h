// UnfinishedFile: a new file that appears under its name when it is whole.
//
// Until then it has no name, where the file system has such files: whatever ends the program, nothing is left
// of it. Elsewhere it lies beside its name, under one that nobody foresees, and goes with the object. It is
// its owner's alone (mode 0600), and what it is given a name by is its descriptor: a file that somebody who
// can write to the folder puts in its place doesn't get the name. One thread at a time.

#pragma once

#include <string>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

class UnfinishedFile {
 public:
  UnfinishedFile() = default;
  ~UnfinishedFile();
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  // Once for each object.
  [[nodiscard]] std::string open(const std::string& path);

  // To write to; the object closes it.
  [[nodiscard]] int descriptor() const { return m_File.get(); }

  // Gives it its name; a file there is replaced. What it holds is written by then.
  [[nodiscard]] std::string finish();

 private:
  bool giveNameBeside();

  std::string m_strPath;
  std::string m_strBeside;  // the name of the unfinished file, once it has one
  DescriptorHolder m_File;
  bool m_bNamed = false;
};

}  // namespace halvo
