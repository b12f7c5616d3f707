#include "vpn/tools/TOLM/TOLMBundle/LineReader.h"

#include <algorithm>
#include <cstring>

namespace halvo {

namespace {

// Room for the longest line and as much again to read ahead.
constexpr std::size_t kBlock = 2 * LineReader::kLongestLine;

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

}  // namespace

LineReader::LineReader(EntryReader& entry) : m_rEntry(entry), m_Block(kBlock) {}

// Moves what is left to the front and reads more behind it; false where nothing more comes.
bool LineReader::fill() {
  if (m_bEnd) {
    return false;
  }
  std::memmove(m_Block.data(), m_Block.data() + m_nAt, m_nFilled - m_nAt);
  m_nFilled -= m_nAt;
  m_nAt = 0;
  const std::int64_t got = m_rEntry.read(m_Block.data() + m_nFilled, m_Block.size() - m_nFilled);
  if (got <= 0) {
    m_bEnd = true;
    return false;
  }
  m_nFilled += m_Zeros.join(m_Block.data() + m_nFilled, static_cast<std::size_t>(got));
  return true;
}

TextKind LineReader::kind() {
  while (m_nFilled < kTextTestSize && fill()) {
  }
  return textKindOf(std::string_view(m_Block.data(), m_nFilled));
}

void LineReader::passMark() {
  while (m_nFilled < kByteOrderMark.size() && fill()) {
  }
  if (std::string_view(m_Block.data(), m_nFilled).starts_with(kByteOrderMark)) {
    m_nAt = kByteOrderMark.size();
  }
}

bool LineReader::next(std::string_view& line) {
  if (m_bStart) {
    m_bStart = false;
    passMark();
  }
  std::size_t looked = 0;
  for (;;) {
    const char* const start = m_Block.data() + m_nAt;
    const std::size_t there = m_nFilled - m_nAt;
    const auto* const end = static_cast<const char*>(std::memchr(start + looked, '\n', there - looked));
    std::size_t length = 0;
    std::size_t taken = 0;
    bool cut = false;
    if (end != nullptr && static_cast<std::size_t>(end - start) <= kLongestLine) {
      length = static_cast<std::size_t>(end - start);
      taken = length + 1;
      length -= length > 0 && start[length - 1] == '\r' ? 1 : 0;
    } else if (there > kLongestLine) {  // one byte more, which might have been its line end
      length = kLongestLine;
      taken = kLongestLine - kOverlap;
      cut = true;
    } else {
      looked = there;
      if (fill()) {
        continue;
      }
      if (there == 0) {
        return false;
      }
      // The last line has no line end. What was read ahead of a failure counts as well.
      length = taken = there;
      length -= m_Block[m_nAt + length - 1] == '\r' ? 1 : 0;  // `start` was before fill()
    }
    line = std::string_view(m_Block.data() + m_nAt, length);
    m_nAt += taken;
    m_bContinued = m_bCut;
    m_bCut = cut;
    return true;
  }
}

}  // namespace halvo
