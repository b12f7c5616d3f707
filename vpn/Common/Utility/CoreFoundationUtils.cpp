#include "vpn/Common/Utility/CoreFoundationUtils.h"

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/StringUtils.h"

namespace halvo {

// The messages name the calls of macOS on every host: those who read logs search for these texts.
ResultCode GetLangCode(const HostLocale& locale, std::string& out) {
  // In the order in which macOS is asked: a locale that lacks several parts is told by the first of them.
  out.clear();
  if (!locale.known) {
    LOG_MESSAGE(kLogError, "CFLocaleCopyCurrent returned NULL");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (!locale.language) {
    LOG_MESSAGE(kLogError, "CFLocaleGetValue(kCFLocaleLanguageCode) returned NULL");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (!locale.country) {
    LOG_MESSAGE(kLogError, "CFLocaleGetValue(kCFLocaleCountryCode) returned NULL");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (locale.language->empty()) {
    LOG_MESSAGE(kLogError, "Could not get the locale information");
    return GLOBAL_ERROR_UNEXPECTED;
  }
  std::string code = *locale.language;
  if (!locale.country->empty()) {
    code += "-" + *locale.country;
  }
  out = CStringUtils::toLower(code);
  return 0;
}

ResultCode GetLangCode(std::string& out) {
  return GetLangCode(readHostLocale(), out);
}

}  // namespace halvo
