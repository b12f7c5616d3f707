// RedactedArchive: the archive writer of a run whose bundle is redacted before it gets its name.
//
// The plain archive is made inside the work folder, which only the user can look into, and goes with it: it
// never stands where the bundle will, nor anywhere else. For one run, on its thread.

#pragma once

#include <cstdint>
#include <memory>

#include "vpn/tools/TOLM/TOLMFrontEnd/CollectRun.h"

namespace halvo {

// What was done, for who asks afterwards.
struct RedactedArchiveOutcome {
  std::uint64_t replaced = 0;  // places
  std::uint64_t leftOut = 0;   // files that aren't text
};

// The writer owns nothing but `outcome`, which it fills when it succeeds.
CollectSettings::ArchiveWriter redactedArchiveWriter(std::shared_ptr<RedactedArchiveOutcome> outcome);

}  // namespace halvo
