// CZip: turns a folder into a ZIP file, each file deflated at the best level and, with a password,
// encrypted with the traditional encryption (PKWARE APPNOTE.TXT, section 6.1).
//
// The class has no state; its operations may be used on any thread, on different files.

#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class CZip {
 public:
  [[nodiscard]] ResultCode Zip(const std::string& folder, const std::string& bundlePath,
                               const std::string& password, bool recursive);
};

}  // namespace halvo
