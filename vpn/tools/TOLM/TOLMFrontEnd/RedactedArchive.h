// RedactedArchive: the archive writer of a run whose bundle is redacted before it gets its name.
//
// The plain archive is made inside the work folder, which only the user can look into, and goes with it: it
// never stands where the bundle will, nor anywhere else. For one run, on its thread.
//
// What is told of the run elsewhere goes by the same stand-ins: RedactedArchiveOutcome::redact().

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/BundleRedactor.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/CollectRun.h"

namespace halvo {

// What this machine is called; empty where the system doesn't tell.
std::vector<std::string> namesOfThisMachine();

// What was done, for who asks afterwards.
struct RedactedArchiveOutcome {
  std::uint64_t replaced = 0;  // places
  std::uint64_t leftOut = 0;   // files that aren't text
  std::vector<RedactedEntry> entries;
  std::uint64_t bundleEntries = 0;  // of the redacted bundle
  StandIns standIns;
  std::vector<std::string> hosts = namesOfThisMachine();  // to be found in all texts
  std::shared_ptr<const KnownNames> known;                // null until the archive is made

  // A text about the run, without what identifies people and machines. Before the archive is made the names
  // that it gives away aren't known: only what tells itself by its look is found then.
  [[nodiscard]] std::string redact(const std::string& text);
};

// Makes the redacted archive of `folder`, and gives back the file without a name that holds it; none with a
// reason where that failed.
[[nodiscard]] DescriptorHolder makeRedactedArchive(const std::string& folder, const std::string& password,
                                                   RedactedArchiveOutcome& outcome, std::string& reason);

// The writer owns nothing but `outcome`, which it fills when it succeeds.
CollectSettings::ArchiveWriter redactedArchiveWriter(std::shared_ptr<RedactedArchiveOutcome> outcome);

}  // namespace halvo
