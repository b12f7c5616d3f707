// FileIdentity: which file it is, whatever path leads to it.

#pragma once

#include <sys/stat.h>
#include <sys/types.h>

namespace halvo {

struct FileIdentity {
  dev_t device;
  ino_t inode;
  explicit FileIdentity(const struct stat& data) : device(data.st_dev), inode(data.st_ino) {}
  bool operator==(const FileIdentity& other) const { return device == other.device && inode == other.inode; }
};

}  // namespace halvo
