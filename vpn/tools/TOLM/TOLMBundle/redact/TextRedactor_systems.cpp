// Values behind keys that mean something else in one system's tools than elsewhere, and are told by their
// form.

#include <algorithm>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestOfSystem = 256;

// "NB-ORLA7", "DESKTOP7": what Windows makes of a machine's name, and makers of a model's.
bool isMachineName(std::string_view name) {
  constexpr std::size_t kShortest = 4;
  constexpr std::size_t kLongest = 15;
  return name.size() >= kShortest && name.size() <= kLongest && name.front() >= 'A' && name.front() <= 'Z' &&
         name.find_first_of("0123456789-") != std::string_view::npos &&
         name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-") == std::string_view::npos;
}

}  // namespace

TextRedactor::Place TextRedactor::takeOfSystem(KeyLook look, Value value) {
  constexpr std::size_t kShortestId = 14;
  const Place begin = value.begin;
  const Place end = std::min(valueEnd(value, kLongestOfSystem), begin + kLongestOfSystem);
  const std::string_view all = text(begin, end);
  switch (look) {
    case KeyLook::kElementHost:
      return value.ending == Ending::kElement ? takeValue(KeyLook::kHost, value) : begin;
    case KeyLook::kDevice:
      if (isMachineName(all)) {
        replaceHost(begin, end, false);
      }
      return std::max(begin, m_nCopied);
    case KeyLook::kSessionManager: {
      // "local/nb7:@/tmp/.ICE-unix/1234,unix/nb7:/tmp/.ICE-unix/1234"
      const std::size_t slash = all.find('/');
      const std::size_t colon = all.find(':');
      if (slash < colon && all.find("/.ICE-unix/") < all.size()) {
        replaceHost(begin + slash + 1, begin + colon);
      }
      return std::max(begin, m_nCopied);
    }
    case KeyLook::kLongId:
      return all.size() < kShortestId ? begin : takeValue(KeyLook::kId, value);
    case KeyLook::kPersonName:
      value.ending =
          value.ending == Ending::kWord && hasWordsBehind(value, end) ? Ending::kLine : value.ending;
      return takeValue(KeyLook::kFullName, value);
    default:
      return begin;
  }
}

}  // namespace halvo
