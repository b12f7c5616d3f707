// The SHA-256 (FIPS 180-4) of a file, by which a bundle is told to be the one that was made.

#pragma once

#include <cstdint>
#include <string>

namespace halvo {

struct FileDigest {
  std::string path;
  std::uint64_t bytes = 0;
  std::string
      sha256;  // 64 hex digits; empty where the file can't be read to its end, or no library counts it
};

// Reads the file at `path`, in blocks. A link in its place isn't followed.
FileDigest digestFile(const std::string& path);

}  // namespace halvo
