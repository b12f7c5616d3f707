// How a record is filled from the os-release file that Linux distributions carry (see os-release(5)).
//
// For OSInfo_linux.cpp and its tests.

#pragma once

#include <string>

#include "vpn/Common/Utility/OSInfo.h"

namespace halvo {

// Fills name and numbers from the text of an os-release file: NAME ("Linux" where it is missing) and
// VERSION_ID, whose numbers are filled to three: "12" reads as 12.0.0, "24.04" as 24.4.0. A release
// without a VERSION_ID, or with one that doesn't start with a number, reads as 0.0.0. The family is 6.
void fillFromOsRelease(const std::string& text, OSInfo& record);

// The same from the first of the two files that can be read; an empty text if neither can.
void fillFromOsReleaseFiles(const char* path, const char* secondPath, OSInfo& record);

}  // namespace halvo
