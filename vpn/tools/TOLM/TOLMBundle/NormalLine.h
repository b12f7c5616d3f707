// NormalLine: lines without what differs between any two runs: times and process ids. For comparisons.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

// The line for a comparison: times and process ids are replaced by a mark. A process id is the number in
// "word[123]:" and one behind "pid". What was set to a time, as in "notAfter=", stays.
void normalizeLine(std::string_view line, std::string& result);

// Puts the normal form of a part of the line, from `from` to `to`, behind the result. Returns where it
// ended: at `to`, or behind the time or the id that stands there. It looks at the bytes around it, no further
// than kAroundPart, so that parts give what the whole gives, wherever it is cut.
std::size_t appendNormal(std::string_view line, std::size_t from, std::size_t to, std::string& result);
inline constexpr std::size_t kAroundPart = 2048;

// The lines of one file in their order. In a table of processes, known by its heading, ids, times, and what
// of the processor and the memory is used are replaced as well, and blanks between the columns joined.
class LineNormalizer {
 public:
  // Of a line up to `to` alone. Returns where that ended, as appendNormal() does.
  std::size_t normalize(std::string_view line, std::string& result, std::size_t to = std::string_view::npos);

 private:
  [[nodiscard]] bool takeHeading(std::string_view line);
  [[nodiscard]] bool takeRow(const std::string& row, std::string& result) const;

  // Which columns of the table at hand are replaced; empty outside of one. The last is never: a command may
  // have blanks.
  std::vector<bool> m_Replaced;
  std::size_t m_nIdColumn = 0;
};

}  // namespace halvo
