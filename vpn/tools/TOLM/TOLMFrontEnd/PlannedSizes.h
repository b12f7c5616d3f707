// PlannedSizes: how much a collect run will copy, as a plan of it says, and what it was asked for in vain.
//
// An estimate: what commands print and what gathered folders hold isn't in it. Documents are read for it once
// more, and what their reader logs stands in the log twice.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace halvo {

struct PlannedSizes {
  std::uint64_t bytes = 0;
  std::uint64_t largestBytes = 0;
  std::string largestFile;
  // Ids of the request that no document has instructions for.
  std::vector<std::string> unmatchedIds;
};

// Plans a run over the documents in `configFolder` for the request (empty for none).
PlannedSizes planSizes(const std::string& requestPath, const std::string& configFolder);

}  // namespace halvo
