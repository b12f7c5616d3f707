// LineReader: an entry's content line by line, in flat memory. One thread.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"
#include "vpn/tools/TOLM/TOLMBundle/TextKind.h"

namespace halvo {

class LineReader {
 public:
  // A longer line comes in parts of this size, each given as a line.
  static constexpr std::size_t kLongestLine = 65536;
  // Each part but the first begins with the last bytes of the one before it, so that what lies at the cut is
  // whole in one of them.
  static constexpr std::size_t kOverlap = 4096;

  // The entry is open on `entry`, which must outlive the reader.
  explicit LineReader(EntryReader& entry);

  // What the entry's front tells; lines of what is no text are of no use. To be asked ahead of next().
  TextKind kind();
  // The next line without its line end (LF, or CR and LF; a CR at the end of the file), each run of zero
  // bytes in it as one; without the byte order mark of UTF-8 in front of the file; valid until the next call.
  // False at the end and at a failure, which the entry's error() tells then.
  bool next(std::string_view& line);
  // Whether the line of the last next() is no line of its own, but goes on with the one before it.
  [[nodiscard]] bool isContinued() const { return m_bContinued; }
  // Whether more of it comes with the next one.
  [[nodiscard]] bool isCut() const { return m_bCut; }

 private:
  bool fill();
  void passMark();

  EntryReader& m_rEntry;
  ZeroJoiner m_Zeros;
  std::vector<char> m_Block;
  std::size_t m_nAt = 0;
  std::size_t m_nFilled = 0;
  bool m_bStart = true;
  bool m_bEnd = false;
  bool m_bContinued = false;
  bool m_bCut = false;
};

}  // namespace halvo
