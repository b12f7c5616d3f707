// The archive writer of a run whose bundle is encrypted to public keys.

#pragma once

#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class Recipients;
struct RedactedArchiveOutcome;

// Packs everything below `folder` and writes it, encrypted, to the open file, which is empty. The plain
// archive lies in a file without a name, in a folder of this user alone, and is looked at before it is
// encrypted. With a `redaction`, which is filled, what is encrypted is the redacted archive; null for none.
// TOLMENGINE_ERROR_WRITE_FAILURE with a reason where anything failed.
[[nodiscard]] ResultCode writeEncryptedBundle(const Recipients& recipients, const std::string& folder,
                                              int file, RedactedArchiveOutcome* redaction,
                                              std::string& reason);

}  // namespace halvo
