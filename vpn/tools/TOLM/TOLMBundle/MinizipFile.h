// MinizipFile: lets minizip read an open file. Many such streams may stand on one descriptor at once, each
// with a place and a buffer of its own: a bundle is looked up by its name once, and read on every core.

#pragma once

#include <ioapi.h>

#include <cstdint>

namespace halvo {

// The functions to hand to unzOpen2_64(), with any name. The descriptor is a regular file's of that many
// bytes; it is borrowed and must outlive the archive.
struct MinizipFile {
  MinizipFile(int descriptor, std::uint64_t size);

  int descriptor;
  std::uint64_t size;
  zlib_filefunc64_def functions;
};

}  // namespace halvo
