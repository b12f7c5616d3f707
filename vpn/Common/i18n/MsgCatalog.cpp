#include "vpn/Common/i18n/MsgCatalog.h"

#include <clocale>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/CoreFoundationUtils.h"
#include "vpn/Common/Utility/StoragePath.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/Common/i18n/MoCatalog.h"

namespace halvo {

CManualLock MsgCatalog::lock;
const std::string MsgCatalog::l10nFolder = "l10n";
const std::string MsgCatalog::defaultCatalog = "Tessarmont";
std::string MsgCatalog::catalogName;
std::string MsgCatalog::locale;
std::string MsgCatalog::basePathOverride;
bool MsgCatalog::initialised = false;
std::int64_t MsgCatalog::value64 = 0;
std::int32_t MsgCatalog::value32 = 0;

namespace {

// The two Chinese scripts by the part of a locale behind its language: Taiwan, Macau, Hong Kong and
// the script's own name read the traditional one, everyone else the simplified one.
std::string chooseChinese(const std::string& requested, std::size_t mark) {
  std::string region = CStringUtils::toLower(requested.substr(mark + 1));
  if (requested.size() >= 8) {
    region = region.substr(0, region.find('-'));
  }
  const bool traditional = region == "tw" || region == "mo" || region == "hk" || region == "hant";
  return traditional ? "zh-tw" : "zh-cn";
}

}  // namespace

void MsgCatalog::init(const std::string& catalog, const std::string& requestedLocale) {
  const CManualLockHolder hold(lock);
  // Meant as it stands: the requested locale is looked up and then dropped, and the host's is taken below.
  std::string unused = requestedLocale;
  if (unused.empty()) {
    getLangCode(unused);
  }
  initialised = true;
  if (!setCatalog(catalog)) {
    LOG_MESSAGE(kLogError, "Error setting the translation catalog %s.", catalog.c_str());
  }
  // The host decides, and a locale given by setLocale() doesn't survive.
  getLangCode(locale);
  LOG_MESSAGE(kLogInformation, "initialized catalog: %s with locale: %s", catalogName.c_str(),
              locale.c_str());
}

void MsgCatalog::initForLocale(const std::string& requestedLocale, const std::string& catalog) {
  init(catalog, requestedLocale);
}

bool MsgCatalog::setCatalog(const std::string& catalog) {
  const CManualLockHolder hold(lock);
  if (catalog == catalogName) {
    return true;
  }
  // Stored whatever comes: a catalog that is refused below is the current one all the same.
  catalogName = catalog;
  // No look-up follows the C library's locale; the host's own texts, such as strerror's, do.
  static_cast<void>(std::setlocale(LC_ALL, ""));
  std::string path;
  getLocalizationPath(path);
  static_cast<void>(mocatalog::bindtextdomain(catalog.c_str(), path.c_str()));
  static_cast<void>(mocatalog::textdomain(catalog.c_str()));
  std::string charset = mocatalog::gettextCharset();
  if (charset.empty()) {
    // A file is loaded at the first look-up only, and the marker makes none: a catalog that was never
    // used has no character set yet.
    static_cast<void>(mocatalog::gettext_noop("DummyMessageToForceMessageCatSetup"));
    charset = mocatalog::gettextCharset();
  }
  if (charset.empty()) {
    return true;
  }
  if (charset != "utf-8") {
    LOG_MESSAGE(kLogError, "The specified character set <%s> is unsupported.", charset.c_str());
    return false;
  }
  LOG_MESSAGE(kLogInformation, "The character set is utf-8.");
  return true;
}

bool MsgCatalog::prepareLookup(const char* key) {
  if (key[0] == '\0') {
    return false;
  }
  if (!initialised) {
    init(defaultCatalog, "");
    initialised = true;
  }
  return true;
}

const char* MsgCatalog::lookupLocale() {
  return locale.empty() ? nullptr : locale.c_str();
}

void MsgCatalog::getMessage(const char* key, std::string& out) {
  const CManualLockHolder hold(lock);
  out.clear();
  if (key == nullptr) {
    LOG_MESSAGE(kLogError, "Error getting the translated message. NULL pointer.");
    return;
  }
  if (prepareLookup(key)) {
    out = mocatalog::translateInLocale(key, lookupLocale());
  }
}

void MsgCatalog::getMessage(const char* key, const std::string& catalog, std::string& out) {
  const CManualLockHolder hold(lock);
  out.clear();
  if (key == nullptr) {
    LOG_MESSAGE(kLogError, "Error getting the translated message. NULL pointer.");
    return;
  }
  if (prepareLookup(key)) {
    // Where it fails, for its character set, the catalog is current all the same.
    // Behind the set-up of a first request, which makes the default catalog current.
    static_cast<void>(setCatalog(catalog));
    getMessage(key, out);
  }
}

void MsgCatalog::getMessage(const char* key, const char* pluralKey, unsigned long count, std::string& out) {
  const CManualLockHolder hold(lock);
  out.clear();
  if (key == nullptr || pluralKey == nullptr) {
    LOG_MESSAGE(kLogError, "Error getting the translated message. NULL pointer.");
    return;
  }
  if (pluralKey[0] != '\0' && prepareLookup(key)) {
    out = mocatalog::translate(nullptr, key, pluralKey, count, mocatalog::kCategoryMessages, lookupLocale());
  }
}

void MsgCatalog::getLocalizationPath(std::string& out) {
  const CManualLockHolder hold(lock);
  const CInstanceSmartPtr<CStoragePath> storagePath;
  out.clear();
  if (!storagePath) {
    LOG_RETURN_CODE(kLogError, "CInstanceSmartPtr<StoragePath>", CSTORAGEPATH_ERROR_NO_INSTANCE);
    return;
  }
  out = basePathOverride.empty() ? storagePath->getInstallPath() : basePathOverride;
  out += l10nFolder;
}

void MsgCatalog::getLangCode(std::string& out) {
  const CManualLockHolder hold(lock);
  const ResultCode result = GetLangCode(out);
  if (result != 0) {
    LOG_RETURN_CODE(kLogError, "CoreFoundationUtils::GetLangCode", result);
  }
}

ResultCode MsgCatalog::GetLangCodeFromSupportedLangs(std::list<std::string>& supportedLanguages,
                                                     std::string& out, std::string requested) {
  const CManualLockHolder hold(lock);
  if (supportedLanguages.empty()) {
    return 0;
  }
  out.clear();
  if (requested.empty()) {
    getLangCode(requested);
  }
  if (requested.empty()) {
    LOG_RETURN_CODE(kLogError, "MsgCatalog::GetLangCode", GLOBAL_ERROR_UNEXPECTED);
    return GLOBAL_ERROR_UNEXPECTED;
  }
  // Shortest first: where nothing matches in full, the language by itself stands in ahead of its countries.
  supportedLanguages.sort(
      [](const std::string& one, const std::string& other) { return one.size() < other.size(); });
  const std::size_t mark = requested.find('-');
  if (mark == std::string::npos) {
    return GLOBAL_ERROR_UNEXPECTED;
  }
  const std::string language = requested.substr(0, mark);
  for (const std::string& candidate : supportedLanguages) {
    if (candidate == requested) {
      out = candidate;
      break;
    }
    if (!out.empty() || !candidate.starts_with(language)) {
      continue;
    }
    if (requested.size() >= 5 && language == "zh") {
      out = chooseChinese(requested, mark);
      break;
    }
    // A full match further down still replaces it.
    out = candidate;
  }
  return 0;
}

void MsgCatalog::setBasePath(const std::string& path) {
  const CManualLockHolder hold(lock);
  basePathOverride = path;
}

void MsgCatalog::setLocale(const std::string& newLocale) {
  const CManualLockHolder hold(lock);
  locale = newLocale;
}

void MsgCatalog::resetCatalog() {
  const CManualLockHolder hold(lock);
  catalogName.clear();
}

void MsgCatalog::unloadCatalog() {
  const CManualLockHolder hold(lock);
  mocatalog::unloadDomain(defaultCatalog.c_str());
}

std::int64_t MsgCatalog::getValue64() {
  const CManualLockHolder hold(lock);
  return value64;
}

void MsgCatalog::setValue64(std::int64_t value) {
  const CManualLockHolder hold(lock);
  value64 = value;
}

std::int32_t MsgCatalog::getValue32() {
  const CManualLockHolder hold(lock);
  return value32;
}

void MsgCatalog::setValue32(std::int32_t value) {
  const CManualLockHolder hold(lock);
  value32 = value;
}

}  // namespace halvo
