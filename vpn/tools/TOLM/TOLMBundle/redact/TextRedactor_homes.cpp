// Home folders: whose they are.

#include <algorithm>
#include <array>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::array<std::string_view, 7> kHomes = {
    "home", "users", "documents and settings", "run/media", "var/mail", "spool/mail", "spool/cron/crontabs"};

// URLs of these name files; those of others lead to pages.
constexpr std::array<std::string_view, 12> kFileSchemes = {"file", "sftp", "ftp",   "ftps", "ssh",  "scp",
                                                           "smb",  "nfs",  "rsync", "afp",  "cifs", "davs"};

// Methods of HTTP (RFC 9110), behind which a page is named.
constexpr std::array<std::string_view, 7> kMethods = {"GET",    "HEAD",  "POST",   "PUT",
                                                      "DELETE", "PATCH", "OPTIONS"};

// Where programs keep their sources and texts.
constexpr std::array<std::string_view, 8> kSourceFolders = {
    "/include/", "/src/", "/node_modules/", "/site-packages/", "/pages/", "/views/", "/doc/", "/docs/"};

constexpr std::array<std::string_view, 18> kSourceEndings = {"vue", "ts",   "tsx", "js",  "jsx",  "mjs",
                                                             "c",   "cc",   "cpp", "h",   "hpp",  "py",
                                                             "rb",  "java", "kt",  "css", "html", "svg"};

bool isSourceFile(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot != std::string_view::npos && isOneOf(name.substr(dot + 1), kSourceEndings);
}

}  // namespace

// What the path in front of the '/' at `slash` says about a home folder behind it.
TextRedactor::HomeFront TextRedactor::homeFront(Place slash) const {
  constexpr std::size_t kLongestPath = 160;
  constexpr std::string_view kSigns = "/:~@%+$";
  Place place = slash;
  while (place > 0 && slash - place < kLongestPath &&
         (isIdentifierByte(at(place - 1)) ||
          kSigns.find(static_cast<char>(at(place - 1))) != std::string_view::npos)) {
    --place;
  }
  std::string_view path = text(place, slash);
  if (const std::size_t scheme = path.find("://"); scheme != std::string_view::npos) {
    return isOneOf(path.substr(0, scheme), kFileSchemes) ? HomeFront::kDeep : HomeFront::kPages;
  }
  // "PATH=/usr/bin:/home/jane/bin", "nas:/home/jane", "C:/Users/jane"
  path.remove_prefix(path.rfind(':') + 1);
  if (path.empty()) {
    return isOneOf(wordBefore(slash), kMethods) ? HomeFront::kPages : HomeFront::kRoot;
  }
  const bool isOfSources =
      std::any_of(kSourceFolders.begin(), kSourceFolders.end(), [path](std::string_view folder) {
        return path.find(folder) != std::string_view::npos ||
               path.ends_with(folder.substr(0, folder.size() - 1));
      });
  return isOfSources || path.front() == '.' ? HomeFront::kPages : HomeFront::kDeep;
}

// /home/NAME, /run/media/NAME, /var/mail/NAME, /Users/NAME, \Users\NAME, \\Users\\NAME, \/Users\/NAME.
TextRedactor::Place TextRedactor::tryHome(Place slash) {
  constexpr std::size_t kMostOfOne = 4;
  const unsigned char sign = at(slash);
  Place place = slash + 1;
  while (sign == '\\' && at(place) == '\\' && place - slash < kMostOfOne) {
    ++place;
  }
  // JSON may have its slashes escaped.
  const bool isEscaped = sign == '\\' && at(place) == '/';
  place += isEscaped ? 1U : 0U;
  std::size_t folder = 0;
  for (const std::string_view home : kHomes) {
    if (isSame(std::string_view(m_Window).substr(place, home.size()), home)) {
      folder = home.size();
    }
  }
  const Place folderEnd = place + folder;
  if (folder == 0 || at(folderEnd) != sign) {
    return slash;
  }
  const bool isUsers = at(place) == 'u';
  place = folderEnd;
  while ((at(place) == sign || (isEscaped && at(place) == '/')) && place - slash < 40) {
    ++place;
  }
  Place end = place;
  while (end - place < kLongestUser &&
         (isUserByte(at(end)) || (sign == '\\' && at(end) == ' ' && isWordByte(at(end + 1)) &&
                                  text(end, end + kLongestUser).find('\\') != std::string_view::npos))) {
    ++end;
  }
  while (end > place && at(end - 1) == '.') {
    --end;
  }
  if (end == place || beginsAddress(place, end) || (sign == '/' && isSourceFile(text(place, end)))) {
    return slash;
  }
  const HomeFront front = sign == '/'                 ? homeFront(slash)
                          : isWordByte(before(slash)) ? HomeFront::kDeep
                                                      : HomeFront::kRoot;
  // "/users/list" is a server's.
  replaceUser(place, end,
              front == HomeFront::kPages              ? Evidence::kGuess
              : front == HomeFront::kRoot && !isUsers ? Evidence::kProven
                                                      : Evidence::kNamed);
  return end;
}

}  // namespace halvo
