#include <algorithm>
#include <cstdlib>

#include "vpn/Common/Utility/CoreFoundationUtils.h"

namespace halvo {

// A locale's name is language[_COUNTRY][.CODESET][@MODIFIER] (XPG, locale(7)).
HostLocale readHostLocale() {
  std::string name;
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    // The first that is set decides, even for no locale: so the C library has it.
    if (value != nullptr && value[0] != '\0') {
      name = value;
      break;
    }
  }
  // Ahead of the comparison: "C.UTF-8" is no locale either.
  name.resize(std::min(name.size(), name.find_first_of(".@")));
  if (name.empty() || name == "C" || name == "POSIX") {
    return {};
  }
  HostLocale locale;
  locale.known = true;
  const std::size_t mark = name.find('_');
  locale.language = name.substr(0, mark);
  if (mark != std::string::npos && mark + 1 < name.size()) {
    locale.country = name.substr(mark + 1);
  }
  return locale;
}

}  // namespace halvo
