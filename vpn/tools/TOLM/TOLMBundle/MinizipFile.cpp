#include "vpn/tools/TOLM/TOLMBundle/MinizipFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

namespace halvo {

namespace {

constexpr std::size_t kBufferSize = 65536;

struct OpenStream {
  int descriptor = -1;
  std::uint64_t size = 0;
  std::uint64_t place = 0;
  bool failed = false;
  // minizip reads the records byte by byte.
  std::uint64_t bufferPlace = 0;
  std::size_t bufferFilled = 0;
  std::vector<char> buffer = std::vector<char>(kBufferSize);
};

OpenStream& streamOf(voidpf stream) {
  return *static_cast<OpenStream*>(stream);
}

voidpf openStream(voidpf opaque, const void*, int) {
  const auto* const file = static_cast<const MinizipFile*>(opaque);
  auto* const stream = new OpenStream;
  stream->descriptor = file->descriptor;
  stream->size = file->size;
  return stream;
}

// Fills the buffer from the stream's place; false at the end of the file and where reading fails.
bool fillBuffer(OpenStream& stream) {
  ssize_t got = 0;
  do {
    got = pread(stream.descriptor, stream.buffer.data(), stream.buffer.size(),
                static_cast<off_t>(stream.place));
  } while (got < 0 && errno == EINTR);
  // minizip takes a byte that is missing at the end of the file for a zero unless it is told of a failure.
  stream.failed = got <= 0;
  stream.bufferPlace = stream.place;
  stream.bufferFilled = got > 0 ? static_cast<std::size_t>(got) : 0;
  return got > 0;
}

uLong readStream(voidpf, voidpf handle, void* target, uLong wanted) {
  OpenStream& stream = streamOf(handle);
  uLong done = 0;
  while (done < wanted) {
    const bool inside =
        stream.place >= stream.bufferPlace && stream.place - stream.bufferPlace < stream.bufferFilled;
    if (!inside && !fillBuffer(stream)) {
      break;
    }
    const std::size_t start = static_cast<std::size_t>(stream.place - stream.bufferPlace);
    const std::size_t part = std::min<std::size_t>(wanted - done, stream.bufferFilled - start);
    std::memcpy(static_cast<char*>(target) + done, stream.buffer.data() + start, part);
    stream.place += part;
    done += part;
  }
  return done;
}

uLong writeNothing(voidpf, voidpf, const void*, uLong) {
  return 0;
}

ZPOS64_T tellStream(voidpf, voidpf stream) {
  return streamOf(stream).place;
}

long seekStream(voidpf, voidpf handle, ZPOS64_T offset, int origin) {
  OpenStream& stream = streamOf(handle);
  std::uint64_t base = 0;
  if (origin == ZLIB_FILEFUNC_SEEK_CUR) {
    base = stream.place;
  } else if (origin == ZLIB_FILEFUNC_SEEK_END) {
    base = stream.size;
  }
  // The offsets come from the bundle: nothing may wrap, and nothing lies behind the end.
  if (base > stream.size || offset > stream.size - base) {
    return -1;
  }
  stream.place = base + offset;
  return 0;
}

int closeStream(voidpf, voidpf stream) {
  delete static_cast<OpenStream*>(stream);
  return 0;
}

int streamFailed(voidpf, voidpf stream) {
  return streamOf(stream).failed ? 1 : 0;
}

}  // namespace

MinizipFile::MinizipFile(int openDescriptor, std::uint64_t bytes)
    : descriptor(openDescriptor), size(bytes), functions{openStream, readStream,  writeNothing, tellStream,
                                                         seekStream, closeStream, streamFailed, this} {}

}  // namespace halvo
