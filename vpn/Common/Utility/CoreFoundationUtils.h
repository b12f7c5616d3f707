// The host's locale, in the form that names the folders of the language files.
//
// No state; any thread may call while none changes the environment.

#pragma once

#include <optional>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

// What a host tells of its locale. A part that it doesn't tell holds no value.
struct HostLocale {
  bool known = false;
  std::optional<std::string> language;
  std::optional<std::string> country;
};

// Asks the host: the user's locale on macOS; on Linux the first of LC_ALL, LC_MESSAGES and LANG that
// is set and not empty, where "C" and "POSIX" count as no locale.
HostLocale readHostLocale();

// Stores language, "-" and country of the host's locale in `out`, in lower case, such as "de-at" or
// "en-us". A locale that lacks one of both is an error, although the other is known: `out` is empty
// then, the reason is logged as an error and the result is GLOBAL_ERROR_UNEXPECTED.
[[nodiscard]] ResultCode GetLangCode(std::string& out);

// The same for a locale that has been read.
[[nodiscard]] ResultCode GetLangCode(const HostLocale& locale, std::string& out);

}  // namespace halvo
