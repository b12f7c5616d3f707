// MsgCatalog: gives the texts of the user interface in the user's language.
//
// An English text is the key; what comes back is its translation or, where there is none for any
// reason, the key itself. The language files lie at
//
//   <installation>/l10n/<locale>/LC_MESSAGES/Tessarmont.mo
//
// with a locale such as "de-at", and those of "de" stand in where that one is missing. The texts of
// the files are taken to be UTF-8 and go out as they stand.
//
// Every operation acts on static state and holds one static recursive lock from end to end, so any
// thread may call; that lock also covers the reader below (MoCatalog.h). The storage path's lock is
// taken inside it, never the other way round. The first request for a text sets the catalog up.

#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Utility/ManualLock.h"

namespace halvo {

class MsgCatalog {
 public:
  virtual ~MsgCatalog() = default;

  // Makes `catalog` current and takes the host's locale. `requestedLocale` has no influence on the
  // look-ups: empty, it costs one more look at the host's locale. Logs an error where setCatalog()
  // fails, and the outcome as information.
  static void init(const std::string& catalog, const std::string& requestedLocale);
  // The same with the arguments in the other order.
  static void initForLocale(const std::string& requestedLocale, const std::string& catalog);

  // Makes `catalog` the current translation domain, with the language files of this installation.
  // Returns false, with an error in the log, where a file is loaded that tells another character set
  // than "utf-8", in that spelling. No file is loaded by this call itself.
  static bool setCatalog(const std::string& catalog);

  // Stores the text for `key` in `out`. A null key is logged as an error and gives the empty text.
  // An empty key isn't looked up and gives the empty text.
  static void getMessage(const char* key, std::string& out);
  // The same after making `catalog` current, where it stays.
  static void getMessage(const char* key, const std::string& catalog, std::string& out);
  // Looks `key` up for a `count` of 1 and otherwise `pluralKey`; both are required.
  static void getMessage(const char* key, const char* pluralKey, unsigned long count, std::string& out);

  // The folder that holds the locale folders. Empty, with an error in the log, where there is no
  // CStoragePath.
  static void getLocalizationPath(std::string& out);

  // The host's locale as GetLangCode() gives it; empty on failure, which is logged.
  static void getLangCode(std::string& out);

  // Chooses among the languages available, such as "en-us" or "zh-tw", for `requested` or, where that
  // is empty, for the host's locale. Sorts the list by length. `out` is left alone where the list is
  // empty, and receives the empty text where nothing matches. Returns GLOBAL_ERROR_UNEXPECTED for a
  // locale without "-" and for a host without one.
  [[nodiscard]] static ResultCode GetLangCodeFromSupportedLangs(std::list<std::string>& supportedLanguages,
                                                                std::string& out, std::string requested);

  // Stands in place of the installation path from the next setCatalog() on; with a "/" at its end.
  static void setBasePath(const std::string& path);
  // Holds until the next init().
  static void setLocale(const std::string& newLocale);
  // Forgets the current catalog, so that the next setCatalog() binds it anew.
  static void resetCatalog();
  // Unmaps the language file of the default catalog. Texts are copies and stay.
  static void unloadCatalog();

  // Two values that are kept for the suite's other programs.
  static std::int64_t getValue64();
  static void setValue64(std::int64_t value);
  static std::int32_t getValue32();
  static void setValue32(std::int32_t value);

 private:
  friend class MsgCatalogTest;

  // The checks ahead of a look-up; the first one runs init(). False where there is nothing to look up.
  static bool prepareLookup(const char* key);
  // What the reader gets: null, which finds nothing, where the locale isn't known.
  static const char* lookupLocale();

  static CManualLock lock;
  static const std::string l10nFolder;
  static const std::string defaultCatalog;
  static std::string catalogName;
  static std::string locale;
  static std::string basePathOverride;
  static bool initialised;
  static std::int64_t value64;
  static std::int32_t value32;
};

}  // namespace halvo
