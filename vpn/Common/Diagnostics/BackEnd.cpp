#include "vpn/Common/Diagnostics/BackEnd.h"

#include <algorithm>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

namespace {

constexpr std::uint32_t kDebugSeverity = 7;

}  // namespace

int systemLevel(std::uint32_t severity, int level) {
  // Only the debug rows leave the level to their caller: all of this system's do.
  if (severity < kDebugSeverity) {
    return static_cast<int>(severity);
  }
  switch (level) {
    case kLogError:
      return 3;
    case kLogWarning:
      return 4;
    case kLogInformation:
    case kLogTrace:
      return 6;
    default:
      return 7;
  }
}

std::string onOneLine(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

}  // namespace halvo
