// FileText: what of a file stands on the page: all of it, or its front and its end. In flat memory.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"
#include "vpn/tools/TOLM/TOLMBundle/report/Timeline.h"

namespace halvo {

// Longer files are cut to half of it from each end, at a line where there is one.
inline constexpr std::size_t kLongestText = std::size_t{256} << 10U;

// A run of zero bytes counts and stands as one.
struct FileText {
  bool binary = false;  // no text by its front, and the rest isn't told
  std::string head;
  std::string tail;
  std::uint64_t leftOut = 0;   // bytes between them
  std::uint64_t tailLine = 0;  // the number of the tail's first line
  std::uint64_t lines = 0;
};

// Reads the entry `entry` of the stream's bundle to its end and shows every line to `timeline`. Returns what
// went wrong, empty if nothing; what came ahead of it is in `text`.
std::string readFileText(EntryReader& stream, std::size_t entry, Timeline& timeline, FileText& text);

}  // namespace halvo
