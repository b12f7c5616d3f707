// Timeline: how many lines a minute all logs of a bundle hold, and how many of them tell of errors. In
// bounded memory, whatever times the lines have. One thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace halvo {

class Timeline {
 public:
  // `madeAt` as BundleContent's; of times that lie more than a day behind it only
  // the number is told.
  explicit Timeline(std::int64_t madeAt) : m_nMadeAt(madeAt) {}

  // Counts the line where a time stands in it.
  void add(std::string_view line);

  // A drawing (SVG) with its words below, for the page; a sentence where no line had a time.
  [[nodiscard]] std::string html() const;
  [[nodiscard]] std::uint64_t lines() const { return m_nLines; }
  [[nodiscard]] std::uint64_t errors() const { return m_nErrors; }

 private:
  struct Count {
    std::uint64_t lines = 0;
    std::uint64_t errors = 0;
  };

  std::int64_t m_nMadeAt;
  std::uint64_t m_nLines = 0;
  std::uint64_t m_nErrors = 0;
  std::uint64_t m_nLater = 0;  // than the bundle
  std::unordered_map<std::int64_t, Count> m_Minutes;
};

// Whether the line has a word that tells of an error, whatever its case.
bool tellsError(std::string_view line);

}  // namespace halvo
