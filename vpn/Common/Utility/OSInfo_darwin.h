// The version list of macOS, for OSInfo_darwin.cpp and its test.

#pragma once

#include <optional>
#include <string>

#include "vpn/Common/Utility/OSInfo.h"

namespace halvo {

// The text of the key "ProductVersion" in the property list `file`, if it is a string of at most 31 bytes
// of UTF-8. Nothing where the file can't be read or holds something else. Logs nothing.
std::optional<std::string> productVersionIn(const char* file);

}  // namespace halvo
