#include "vpn/Common/Utility/StringUtils.h"

#include <cctype>

namespace halvo {

std::string CStringUtils::toLower(const std::string& text) {
  std::string lower = text;
  for (char& character : lower) {
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return lower;
}

}  // namespace halvo
