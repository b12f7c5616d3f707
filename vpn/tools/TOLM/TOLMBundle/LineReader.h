// LineReader: an entry's content line by line, in flat memory. One thread.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"

namespace halvo {

class LineReader {
 public:
  // A longer line comes in parts of this size, each given as a line.
  static constexpr std::size_t kLongestLine = 65536;

  // The entry is open on `entry`, which must outlive the reader.
  explicit LineReader(EntryReader& entry);

  // The next line without its line end (LF, or CR and LF); valid until the next call. False at the end and at
  // a failure, which the entry's error() tells then.
  bool next(std::string_view& line);
  // Whether the line of the last next() is no line of its own, but goes on with the one before it.
  [[nodiscard]] bool isContinued() const { return m_bContinued; }
  // Whether a zero byte has come so far: what holds one is no text.
  [[nodiscard]] bool sawZero() const { return m_bZero; }

 private:
  bool fill();

  EntryReader& m_rEntry;
  std::vector<char> m_Block;
  std::size_t m_nAt = 0;
  std::size_t m_nFilled = 0;
  bool m_bEnd = false;
  bool m_bContinued = false;
  bool m_bCut = false;  // the last line was a part, with more to come
  bool m_bZero = false;
};

}  // namespace halvo
