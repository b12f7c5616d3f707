#include "vpn/tools/TOLM/TOLMAuthoring/check/PathCheck.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

// The longest name that file systems take.
constexpr std::size_t kMaxName = 255;

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::vector<std::string> componentsOf(const std::string& path) {
  std::vector<std::string> all;
  for (std::size_t at = 0; at <= path.size();) {
    const std::size_t slash = std::min(path.find('/', at), path.size());
    if (slash > at) {
      all.push_back(path.substr(at, slash - at));
    }
    at = slash + 1;
  }
  return all;
}

// The path without what leads nowhere: "//", "/./" and "/x/..".
std::string straightPath(const std::string& path) {
  if (path.find("//") == std::string::npos && path.find("/.") == std::string::npos) {
    return path;
  }
  std::vector<std::string> kept;
  for (const std::string& component : componentsOf(path)) {
    if (component == ".." && !kept.empty()) {
      kept.pop_back();
    } else if (component != "." && component != "..") {
      kept.push_back(component);
    }
  }
  std::string straight = startsWith(path, "/") ? "/" : "";
  for (const std::string& component : kept) {
    straight += (straight.empty() || straight == "/" ? "" : "/") + component;
  }
  return straight;
}

bool isWild(const std::string& pattern) {
  return pattern.find_first_of("*?") != std::string::npos;
}

// A pattern that takes all that is there: it says nothing about what is meant.
bool takesAll(const std::string& pattern) {
  return isWild(pattern) && pattern.find_first_not_of("*?.") == std::string::npos;
}

// Folders whose whole content is somebody's secret, wherever they stand in a path.
struct SecretFolder {
  const char* name;
  const char* what;
};
constexpr std::array<SecretFolder, 14> kSecretFolders = {{
    {".gnupg", "private keys"},
    {".password-store", "passwords"},
    {"keyrings", "a keyring"},
    {"kwalletd", "a keyring"},
    {"keychains", "a keyring"},
    {"system-connections", "the passwords of network connections"},
    {".mozilla", "a browser's profile"},
    {"firefox", "a browser's profile"},
    {"google-chrome", "a browser's profile"},
    {"chromium", "a browser's profile"},
    {".thunderbird", "a mail program's profile"},
    {".aws", "access keys"},
    {".kube", "access keys"},
    {".docker", "access keys"},
}};

// Files by a pattern of their name; `folder` is the component in front of it, null for any.
struct SecretFile {
  const char* folder;
  const char* name;
  const char* what;
};
constexpr std::array<SecretFile, 15> kSecretFiles = {{
    {"etc", "shadow", "password hashes"},
    {"etc", "gshadow", "password hashes"},
    {"etc", "shadow-", "password hashes"},
    {"etc", "gshadow-", "password hashes"},
    {nullptr, "wpa_supplicant.conf", "the passwords of network connections"},
    {nullptr, "ipsec.secrets", "the secrets of VPN connections"},
    {"ppp", "chap-secrets", "the secrets of VPN connections"},
    {"ppp", "pap-secrets", "the secrets of VPN connections"},
    {nullptr, ".netrc", "passwords"},
    {nullptr, ".pgpass", "passwords"},
    {nullptr, ".git-credentials", "passwords"},
    {nullptr, "credentials", "passwords"},
    {nullptr, "environ", "the environment of a program, which may hold passwords"},
    {nullptr, "id_rsa", "private keys"},
    {nullptr, "id_ed25519", "private keys"},
}};

constexpr std::array<const char*, 4> kKeySuffixes = {".p12", ".pfx", ".key", ".jks"};

// Where secrets lie by the whole path: who copies a folder above takes them along. "~" is a home.
struct SecretPlace {
  const char* path;
  const char* what;
  bool all;  // whatever lies below is one, too
};
constexpr std::array<SecretPlace, 14> kSecretPlaces = {{
    {"/etc/shadow", "password hashes", false},
    {"/etc/NetworkManager/system-connections", "the passwords of network connections", false},
    {"/etc/wpa_supplicant/wpa_supplicant.conf", "the passwords of network connections", false},
    {"/etc/wireguard", "private keys", true},
    {"/etc/ipsec.d/private", "private keys", true},
    {"/etc/swanctl/private", "private keys", true},
    {"/etc/ssl/private", "private keys", true},
    {"/etc/ssh/ssh_host_rsa_key", "private keys", false},
    {"~/.ssh", "private keys", false},
    {"~/.gnupg", "private keys", false},
    {"~/.local/share/keyrings", "a keyring", false},
    {"~/.mozilla/firefox", "a browser's profile", false},
    {"~/.config/google-chrome", "a browser's profile", false},
    {"~/.config/chromium", "a browser's profile", false},
}};

// What waits or never ends when it is read.
constexpr std::array<const char*, 3> kBlockingPlaces = {"/proc/kmsg", "/proc/kcore", "/proc/acpi/event"};

bool isHomeFolder(const std::vector<std::string>& folders) {
  if (folders.size() == 1) {
    return folders[0] == "$HOME" || folders[0] == "~" || folders[0] == "root";
  }
  return folders.size() == 2 && (folders[0] == "home" || folders[0] == "users");
}

// The components in lower case, with "~" for those of a home; of a pattern that takes the folder of all
// homes, too.
std::vector<std::string> placeOf(const std::string& path) {
  std::vector<std::string> components = componentsOf(path);
  for (std::string& component : components) {
    component = component == "$HOME" ? component : CStringUtils::toLower(component);
  }
  for (const std::size_t length : {std::size_t{1}, std::size_t{2}}) {
    if (components.size() >= length &&
        isHomeFolder({components.begin(), components.begin() + static_cast<std::ptrdiff_t>(length)})) {
      components.erase(components.begin(), components.begin() + static_cast<std::ptrdiff_t>(length));
      components.insert(components.begin(), "~");
      break;
    }
  }
  if (components == std::vector<std::string>{"home"} || components == std::vector<std::string>{"users"}) {
    components = {"~"};
  }
  return components;
}

// Whether what the pattern takes, with all that lies below, has `place` in it.
bool takesPlace(const std::vector<std::string>& pattern, const std::vector<std::string>& place) {
  if (pattern.empty() || pattern.size() > place.size() ||
      !std::equal(pattern.begin(), pattern.end() - 1, place.begin())) {
    return false;
  }
  return helperUtil::wildcardMatch(pattern.back().c_str(), place[pattern.size() - 1].c_str());
}

}  // namespace

std::string secretAt(const std::string& given) {
  const std::string path = straightPath(given);
  std::vector<std::string> components = componentsOf(path);
  std::string last = components.empty() ? "" : CStringUtils::toLower(components.back());
  for (std::string& component : components) {
    component = component == "$HOME" ? component : CStringUtils::toLower(component);
  }
  for (const std::string& component : components) {
    for (const SecretFolder& folder : kSecretFolders) {
      if (component == folder.name) {
        return folder.what;
      }
    }
  }
  const bool wild = isWild(last);
  if (std::find(components.begin(), components.end(), ".ssh") != components.end() &&
      !endsWith(last, ".pub") && !startsWith(last, "known_hosts") && !startsWith(last, "authorized_keys") &&
      last != "config") {
    return "private keys";
  }
  if (startsWith(path, "/etc/ssl/private") || (startsWith(last, "ssh_host_") && !endsWith(last, ".pub"))) {
    return "private keys";
  }
  for (const char* suffix : kKeySuffixes) {
    if (endsWith(last, suffix)) {
      return "private keys";
    }
  }
  if (components.empty()) {
    return "";
  }
  const std::string folder = components.size() < 2 ? "" : components[components.size() - 2];
  for (const SecretFile& file : kSecretFiles) {
    // A pattern names a file that lies anywhere only where it begins with some letters of its name: "*.conf"
    // isn't about anybody's passwords.
    const bool folderFits =
        file.folder == nullptr ? !wild || last.find_first_of("*?") >= 3 : folder == file.folder;
    if (folderFits && helperUtil::wildcardMatch(last.c_str(), file.name)) {
      return file.what;
    }
  }
  const std::vector<std::string> taken = placeOf(path);
  components.pop_back();
  if ((wild && takesAll(last) && isHomeFolder(components)) || taken == std::vector<std::string>{"~"}) {
    return "a home as a whole, with its keys and passwords";
  }
  for (const SecretPlace& secret : kSecretPlaces) {
    const std::vector<std::string> place = placeOf(secret.path);
    if (takesPlace(taken, place) || (secret.all && taken.size() > place.size() &&
                                     std::equal(place.begin(), place.end(), taken.begin()))) {
      return secret.what;
    }
  }
  return "";
}

bool isBlockingPath(const std::string& given) {
  const std::string path = straightPath(given);
  if (startsWith(path, "/dev/")) {
    for (const char* harmless : {"/dev/null", "/dev/shm/", "/dev/disk/", "/dev/fd/", "/dev/stdin"}) {
      if (startsWith(path, harmless)) {
        return false;
      }
    }
    return true;
  }
  const std::vector<std::string> taken = placeOf(path);
  return path == "/dev" || endsWith(path, "/trace_pipe") || endsWith(path, "/trace_pipe_raw") ||
         (startsWith(path, "/") &&
          std::any_of(kBlockingPlaces.begin(), kBlockingPlaces.end(),
                      [&taken](const char* place) { return takesPlace(taken, placeOf(place)); }));
}

bool isSystemPlace(const std::string& given) {
  const std::string path = straightPath(given);
  for (const char* folder : {"/etc/", "/usr/", "/bin/", "/sbin/", "/lib/", "/lib32/", "/lib64/", "/boot/",
                             "/dev/", "/proc/", "/sys/", "/System/", "/Library/"}) {
    if (startsWith(path, folder)) {
      return true;
    }
  }
  for (const char* whole : {"/etc", "/usr", "/boot", "/", "/home", "/root", "~", "$HOME"}) {
    if (path == whole) {
      return true;
    }
  }
  std::vector<std::string> components = componentsOf(path);
  if (components.empty()) {
    return false;
  }
  const std::string last = components.back();
  for (std::string& component : components) {
    component = component == "$HOME" ? component : CStringUtils::toLower(component);
  }
  if (isHomeFolder(components)) {
    return true;
  }
  components.pop_back();
  return isWild(last) && takesAll(last) && (components.empty() || isHomeFolder(components));
}

void checkNoBreakSpace(FindingList& list, const DocumentElement& element, const std::string& text) {
  if (text.find("\xc2\xa0") != std::string::npos || text.find("\xe2\x80\xaf") != std::string::npos) {
    list.add("no-break-space", element,
             "a no-break space in " + tagOf(element) +
                 ": a run takes it for a letter and not for a blank; type a plain one");
  }
}

void checkPathNames(FindingList& list, const DocumentElement& element, const std::string& text) {
  checkNoBreakSpace(list, element, text);
  for (const std::string& component : componentsOf(text)) {
    if (component.size() > kMaxName) {
      list.add("name-too-long", element,
               "a name of " + std::to_string(component.size()) + " bytes in " + tagOf(element) +
                   ": file systems take " + std::to_string(kMaxName) + ", and a run finds nothing there");
      return;
    }
  }
}

void checkGathered(FindingList& list, const DocumentElement& loc, ICheckHost& host) {
  const std::string& path = loc.text;
  const std::string pattern = helperUtil::stringAfterLast(path, "/");
  if (const std::string what = secretAt(path); !what.empty()) {
    list.add("secret", loc,
             quotedText(path) + " holds " + what +
                 ": a run puts it into the bundle as it is; show it through a filter, or leave it out");
  }
  if (isBlockingPath(path) || (!isWild(pattern) && startsWith(path, "/") && host.isSpecialFile(path))) {
    list.add("path-blocks", loc,
             quotedText(path) +
                 " is no file that ends: a run waits on it, perhaps for ever, or stores nothing of it");
  }
  const std::size_t comma = path.find(',');
  const bool braces = path.find('{') != std::string::npos &&
                      path.find('}', path.find('{')) != std::string::npos &&
                      path.find("${") == std::string::npos;
  const bool brackets =
      path.find('[') != std::string::npos && path.find(']', path.find('[')) != std::string::npos;
  const bool commas =
      comma != std::string::npos && (isWild(path) || path.find('/', comma) != std::string::npos);
  if (braces || brackets || commas || pattern.find("**") != std::string::npos) {
    list.add("foreign-wildcard", loc,
             quotedText(path) +
                 " is written as for a shell: a run knows \"*\" and \"?\" in the last part of the "
                 "path and takes " +
                 (braces     ? "braces"
                  : brackets ? "brackets"
                  : commas   ? "commas"
                             : "\"**\"") +
                 (braces || brackets || commas ? " for letters of the name; write one action for each"
                                               : " for \"*\", without a look into folders"));
  }
}

}  // namespace halvo
