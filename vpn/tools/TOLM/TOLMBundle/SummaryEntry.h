// SummaryEntry: the rows of one entry of a summary's table, put together again.
//
// Rows come one after the other, and nothing in the table says where an entry begins: that is told by the
// size of an included file, which never wraps, and by the reason of an omitted one, of which the engine has
// few. Not safe for threads.

#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/Summary.h"

namespace halvo {

inline constexpr std::size_t kSummaryColumns = 4;
using SummaryWidths = std::array<std::size_t, kSummaryColumns>;
using SummaryCells = std::array<std::string, kSummaryColumns>;

// As the engine sees it: in no locale, and never a byte of 128 or above.
inline bool isSummaryBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

class SummaryEntry {
 public:
  // `widths` are borrowed.
  explicit SummaryEntry(const SummaryWidths& widths) : m_rWidths(widths) { clear(); }

  // Whether the row is one more of this entry and not the first of another. `sizeTells`: the last column has
  // sizes, else reasons.
  [[nodiscard]] bool takes(const SummaryCells& cells, bool sizeTells) const;
  void add(const SummaryCells& cells);
  // Puts the entry behind the rows, if there is any, and begins a new one.
  void moveTo(std::vector<SummaryRow>& rows);

 private:
  // What the reason so far says of the next row.
  enum class Reason { kOpen, kMayEnd, kWhole, kUnknown };

  [[nodiscard]] bool isEmpty() const { return m_nRows == 0; }
  [[nodiscard]] Reason reasonSoFar() const;
  [[nodiscard]] bool takesReason(const SummaryCells& cells) const;
  [[nodiscard]] bool endsWithin(std::size_t column) const;
  [[nodiscard]] bool mayFollow(const SummaryCells& cells, std::size_t column) const;
  void partSingleBytes();
  void clear();

  const SummaryWidths& m_rWidths;
  SummaryCells m_Texts;
  // Where the last line was put behind another without a blank.
  std::array<std::size_t, kSummaryColumns> m_JoinedAt = {};
  SummaryCells m_LastLines;
  std::string m_FirstId;
  std::string m_NameKey;
  bool m_bConfigTold = false;  // the words behind a temporary output's path have come
  std::size_t m_nRows = 0;
};

}  // namespace halvo
