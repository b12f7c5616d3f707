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

// The lines of one file in their order. In a table of processes, known by its heading, ids, times, and what
// of the processor and the memory is used are replaced as well, and blanks between the columns joined.
class LineNormalizer {
 public:
  void normalize(std::string_view line, std::string& result);

 private:
  [[nodiscard]] bool takeHeading(std::string_view line);
  [[nodiscard]] bool takeRow(const std::string& row, std::string& result) const;

  // Which columns of the table at hand are replaced; empty outside of one. The last is never: a command may
  // have blanks.
  std::vector<bool> m_Replaced;
  std::size_t m_nIdColumn = 0;
};

}  // namespace halvo
