// Small scoped holders of what the C library hands out: whatever way a block is left, by a result, by no
// memory or by the cancelling of its thread, the thing is given back.
//
// Each owns what it holds, may be null, and belongs to one thread. Giving back tells nobody of a failure: a
// caller to whom the result of closing matters takes it out with release() and closes by itself.

#pragma once

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

namespace halvo {

struct FileCloser {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
// What fopen() gave.
using FileHolder = std::unique_ptr<std::FILE, FileCloser>;

struct FolderCloser {
  void operator()(DIR* folder) const { static_cast<void>(closedir(folder)); }
};
// What opendir() or fdopendir() gave; the latter's descriptor is the stream's from then on.
using FolderHolder = std::unique_ptr<DIR, FolderCloser>;

struct MemoryFreer {
  void operator()(void* memory) const { std::free(memory); }
};
// What malloc() or a function like getline() gave.
template <class Type>
using MemoryHolder = std::unique_ptr<Type, MemoryFreer>;

// A file descriptor; negative ones stand for none.
class DescriptorHolder {
 public:
  DescriptorHolder() = default;
  explicit DescriptorHolder(int descriptor) : m_nDescriptor(descriptor) {}
  ~DescriptorHolder() { reset(); }

  DescriptorHolder(DescriptorHolder&& other) noexcept : m_nDescriptor(other.release()) {}
  DescriptorHolder& operator=(DescriptorHolder&& other) noexcept {
    reset(other.release());
    return *this;
  }
  DescriptorHolder(const DescriptorHolder&) = delete;
  DescriptorHolder& operator=(const DescriptorHolder&) = delete;

  [[nodiscard]] int get() const { return m_nDescriptor; }
  explicit operator bool() const { return m_nDescriptor >= 0; }
  // Hands the descriptor over to the caller.
  [[nodiscard]] int release() { return std::exchange(m_nDescriptor, -1); }
  // Closes what is held and holds `descriptor` instead. A close that is interrupted has closed all the same.
  void reset(int descriptor = -1) {
    const int before = std::exchange(m_nDescriptor, descriptor);
    if (before >= 0 && before != descriptor) {
      close(before);
    }
  }

 private:
  int m_nDescriptor = -1;
};

}  // namespace halvo
