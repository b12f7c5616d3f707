// TextKind: whether a file is one whose lines can be looked at, and what becomes of zero bytes in them. Power
// cuts leave holes of zeros in logs, so that a run of them counts as one byte everywhere here.

#pragma once

#include <cstddef>
#include <string_view>

namespace halvo {

enum class TextKind { kText, kBinary, kUtf16 };

// How much of a file's front tells.
inline constexpr std::size_t kTextTestSize = 65536;

// What has no zero byte in its first kTextTestSize bytes is text. Where there is one, the share of control
// characters in these tells, or in all of a shorter file. A byte order mark of two bytes makes it UTF-16,
// whose lines aren't looked at. The zeros are joined already.
TextKind textKindOf(std::string_view front);

// Joins runs of zero bytes into one each, over the blocks of a file.
class ZeroJoiner {
 public:
  // Changes the block in its place; returns how many bytes are left.
  std::size_t join(char* data, std::size_t size);

 private:
  bool m_bAfterZero = false;
};

}  // namespace halvo
