// DescriptorSet: a set of file descriptors for select(), of any size.
//
// fd_set and its FD_ macros end at descriptor 1,023, and the checked builds of the C library stop the
// program beyond it. select() itself takes as many bits as its first argument says; so this keeps the
// same words in a vector and does the bit operations on its own. (A Darwin build defines
// _DARWIN_UNLIMITED_SELECT for the same.)

#pragma once

#include <sys/select.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace halvo {

class DescriptorSet {
 public:
  // A set as large as an fd_set at least, which select() may be given for smaller counts too.
  DescriptorSet() : m_words(sizeof(fd_set) / sizeof(fd_mask), 0) {}

  // `descriptor` isn't negative.
  void add(int descriptor) {
    const std::size_t word = wordOf(descriptor);
    if (word >= m_words.size()) {
      m_words.resize(word + 1, 0);
    }
    m_words[word] = static_cast<fd_mask>(static_cast<Bits>(m_words[word]) | bitOf(descriptor));
  }

  void remove(int descriptor) {
    if (contains(descriptor)) {
      fd_mask& word = m_words[wordOf(descriptor)];
      word = static_cast<fd_mask>(static_cast<Bits>(word) & ~bitOf(descriptor));
    }
  }

  // False for a negative descriptor and for one beyond the set.
  [[nodiscard]] bool contains(int descriptor) const {
    return descriptor >= 0 && wordOf(descriptor) < m_words.size() &&
           (static_cast<Bits>(m_words[wordOf(descriptor)]) & bitOf(descriptor)) != 0;
  }

  // Room for `count` descriptors: select() writes that many bits to each of its sets.
  void reserve(int count) {
    if (count > 0) {
      m_words.resize(std::max(m_words.size(), wordOf(count - 1) + 1), 0);
    }
  }

  // What select() takes. Good until the set grows.
  [[nodiscard]] fd_set* get() { return reinterpret_cast<fd_set*>(m_words.data()); }

 private:
  using Bits = std::make_unsigned_t<fd_mask>;
  static constexpr std::size_t kWordBits = sizeof(fd_mask) * 8;

  static std::size_t wordOf(int descriptor) { return static_cast<std::size_t>(descriptor) / kWordBits; }
  static Bits bitOf(int descriptor) {
    return static_cast<Bits>(1) << (static_cast<std::size_t>(descriptor) % kWordBits);
  }

  std::vector<fd_mask> m_words;
};

// A time limit in milliseconds as select() takes it.
inline timeval limitAsTime(std::uint32_t limitMs) {
  timeval limit = {};
  limit.tv_sec = limitMs / 1000;
  limit.tv_usec = static_cast<decltype(limit.tv_usec)>(limitMs % 1000 * 1000);
  return limit;
}

// The read and the write set of one wait, and the count that select() wants.
struct WaitSets {
  DescriptorSet read;
  DescriptorSet write;
  int count = 0;

  void addRead(int descriptor) {
    read.add(descriptor);
    count = std::max(count, descriptor + 1);
  }
  void addWrite(int descriptor) {
    write.add(descriptor);
    count = std::max(count, descriptor + 1);
  }
  // To be called behind the last add: both sets get as long as the count says.
  void close() {
    read.reserve(count);
    write.reserve(count);
  }
};

}  // namespace halvo
