#include "vpn/tools/TOLM/TOLMBundle/redact/HostNames.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <unordered_set>

#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"

namespace halvo {

namespace {

using Words = std::unordered_set<std::string_view>;

// Country codes (ISO 3166) and the older generic domains that aren't everyday words or file endings.
const Words& strongDomains() {
  static const Words words = {
      "com", "net", "org", "edu", "gov", "mil", "int", "biz", "aero", "coop", "museum", "travel", "jobs",
      "asia", "eu", "example", "test", "invalid", "ae", "af", "ag", "al", "ao", "aq", "ar", "at", "au", "aw",
      "ax", "az", "ba", "bb", "bd", "be", "bf", "bg", "bh", "bi", "bj", "bm", "bn", "bo", "br", "bs", "bt",
      "bw", "by", "bz", "ca", "cd", "cg", "ch", "ci", "ck", "cl", "cm", "cn", "co", "cr", "cu", "cv", "cw",
      "cx", "cy", "cz", "de", "dj", "dk", "dm", "dz", "ec", "ee", "eg", "er", "es", "et", "fi", "fj", "fk",
      "fo", "fr", "ga", "gd", "ge", "gf", "gg", "gh", "gi", "gl", "gm", "gn", "gp", "gq", "gr", "gt", "gu",
      "gw", "gy", "hk", "hm", "hn", "hr", "ht", "hu", "ie", "il", "im", "io", "iq", "ir", "it", "je", "jm",
      "jo", "jp", "ke", "kg", "kh", "ki", "km", "kn", "kp", "kr", "kw", "ky", "kz", "lb", "lc", "li", "lk",
      "lr", "ls", "lt", "lu", "lv", "ly", "ma", "mc", "mg", "mh", "mn", "mq", "mr", "mt", "mu", "mv", "mw",
      "mx", "mz", "na", "nc", "ne", "nf", "ng", "ni", "nl", "np", "nu", "nz", "om", "pa", "pe", "pf", "pg",
      "ph", "pk", "pn", "pr", "pt", "pw", "qa", "re", "ro", "ru", "rw", "sa", "sb", "sc", "sd", "se", "sg",
      "si", "sk", "sl", "sm", "sn", "sr", "st", "su", "sv", "sx", "sy", "sz", "tc", "td", "tg", "th", "tj",
      "tl", "tm", "tn", "tr", "tt", "tv", "tw", "tz", "ua", "ug", "uk", "us", "uy", "uz", "va", "vc", "ve",
      "vg", "vn", "vu", "wf", "ws", "ye", "yt", "za", "zm", "zw",
      // Newer ones that are seen in logs.
      "agency", "ai", "app", "berlin", "blog", "bayern", "cloud", "consulting", "dev", "domains", "bank",
      "engineering", "enterprises", "expert", "finance", "fyi", "gmbh", "hamburg", "health", "hosting", "inc",
      "institute", "international", "koeln", "lawyer", "llc", "london", "ltd", "mobi", "nyc", "paris",
      "partners", "photography", "ruhr", "shop", "solutions", "swiss", "tech", "technology", "tirol", "tokyo",
      "university", "ventures", "wien", "xyz"};
  return words;
}

// Names that are used inside networks alone. They aren't registered by anybody.
const Words& localDomains() {
  static const Words words = {"local",   "lan",       "home",        "corp",  "internal", "intranet",
                              "private", "intern",    "localdomain", "intra", "fritz",    "box",
                              "lokal",   "workgroup", "domain",      "onion"};
  return words;
}

// Domains that are words, file endings or fields too.
const Words& weakDomains() {
  static const Words words = {
      "ac",       "cf",       "md",        "mk",      "mo",       "la",    "email", "group",  "media",
      "support",  "services", "systems",   "global",  "online",   "space", "store", "zone",   "plus",
      "pro",      "site",     "software",  "digital", "school",   "chat",  "city",  "club",   "company",
      "computer", "energy",   "education", "center",  "business", "world", "works", "studio", "ad",
      "am",       "as",       "cc",        "do",      "gs",       "id",    "in",    "info",   "is",
      "me",       "ml",       "mm",        "mov",     "mp",       "ms",    "my",    "name",   "no",
      "pl",       "pm",       "ps",        "pub",     "py",       "rs",    "run",   "sh",     "so",
      "tf",       "tk",       "to",        "vi",      "zip",      "bar",   "link",  "live",   "network",
      "host",     "page",     "win",       "top",     "work",     "tools", "team",  "today",  "watch",
      "data",     "download", "cat",       "gt",      "nr",       "loc",   "priv"};
  return words;
}

// What stands in front of a country's code for everybody there.
const Words& secondLevels() {
  static const Words words = {"co", "com", "net", "org", "ac",  "gov", "edu", "go", "or",
                              "ne", "gob", "gv",  "ltd", "plc", "mil", "nom", "web"};
  return words;
}

// Code and files that end like a domain.
const Words& otherThings() {
  static const Words words = {
      "java.net",  "javax.net",  "java.io",   "asp.net",     "vb.net",   "ado.net",
      "socket.io", "system.net", "system.io", "android.net", "rc.local", "org.apache.commons.net",
      "issue.net", "next.js",    "conf.d",    "sun.net",     "log.io",   "microsoft.net"};
  return words;
}

// Domains that stand in every machine's texts: names of XML vocabularies, of algorithms, of distributions.
const Words& everybodys() {
  static const Words words = {"w3.org",     "xmlsoap.org", "openssh.com",    "libssh.org",
                              "purl.org",   "gnu.org",     "kernel.org",     "freedesktop.org",
                              "debian.org", "ubuntu.com",  "oasis-open.org", "openxmlformats.org",
                              "iana.org",   "ietf.org",    "json-schema.org"};
  return words;
}

// Those of systems' makers, whose property lists and programs are called by them.
const Words& makers() {
  static const Words words = {"apple.com", "microsoft.com"};
  return words;
}

std::string_view lastLabel(std::string_view text) {
  const std::size_t dot = text.rfind('.');
  return dot == std::string_view::npos ? text : text.substr(dot + 1);
}

std::string_view lastTwoLabels(std::string_view text) {
  const std::size_t dot = text.rfind('.');
  const std::size_t before = dot == std::string_view::npos || dot == 0 ? dot : text.rfind('.', dot - 1);
  return before == std::string_view::npos ? text : text.substr(before + 1);
}

bool isUpper(char c) {
  return c >= 'A' && c <= 'Z';
}
bool isLower(char c) {
  return c >= 'a' && c <= 'z';
}

// Names in programs: a capital behind a small letter, or every word with a capital in front.
bool looksLikeCode(std::string_view text) {
  const std::string_view last = lastLabel(text);
  for (std::size_t i = 1; i < last.size(); ++i) {
    if (isUpper(last[i]) && isLower(last[i - 1])) {
      return true;
    }
  }
  if (std::none_of(last.begin(), last.end(), isUpper) || std::none_of(text.begin(), text.end(), isLower)) {
    return false;
  }
  // "System.Net" is code, "gw7.Acme-Corp.DE" and "vpn.acme.COM" are not.
  const std::string_view front = text.substr(0, text.size() - last.size() - 1);
  const std::string_view first = front.substr(0, front.find('.'));
  const bool isLong = first.size() < front.size();
  const bool isShouted = std::none_of(last.begin(), last.end(), isLower);
  return front.find('-') == std::string_view::npos &&
         !(isLong && (first.find_first_of("0123456789") != std::string_view::npos ||
                      (isShouted && std::none_of(first.begin(), first.end(), isUpper))));
}

// What compilers are built for: "x86_64-linux-gnu", "aarch64".
bool isMachineKind(std::string_view name) {
  static const Words alone = {"x86_64",  "i386",    "i486",     "i586",        "i686",        "amd64",
                              "arm64",   "aarch64", "armv6l",   "armv7l",      "armv8l",      "armhf",
                              "ppc64",   "ppc64le", "ppc64el",  "powerpc64",   "powerpc64le", "s390x",
                              "riscv64", "mips64",  "mips64el", "loongarch64", "m68k",        "wasm32"};
  if (name.find('.') != std::string_view::npos || name.find('-') == std::string_view::npos) {
    return alone.contains(name);
  }
  static constexpr std::array<std::string_view, 18> kProcessors = {
      "x86_64", "i386", "i486", "i586",  "i686",  "amd64", "aarch64", "arm",  "powerpc",
      "ppc64",  "mips", "s390", "riscv", "sparc", "alpha", "m68k",    "wasm", "loongarch"};
  const std::string_view first = name.substr(0, name.find('-'));
  const bool isProcessor = std::any_of(kProcessors.begin(), kProcessors.end(),
                                       [first](std::string_view one) { return first.starts_with(one); });
  static constexpr std::array<std::string_view, 13> kSystems = {
      "linux", "darwin", "mingw", "cygwin", "freebsd", "netbsd", "openbsd",
      "gnu",   "elf",    "eabi",  "musl",   "windows", "apple"};
  const std::string_view rest = name.substr(first.size());
  return isProcessor && std::any_of(kSystems.begin(), kSystems.end(), [rest](std::string_view one) {
           return rest.find(one) != std::string_view::npos;
         });
}

// What hosts are usually called.
bool isUsualHost(std::string_view first) {
  static const Words words = {"www",      "mail",      "smtp",         "imap", "pop",    "mx",      "ns",
                              "dns",      "vpn",       "sslvpn",       "gw",   "gate",   "gateway", "dc",
                              "ldap",     "proxy",     "sso",          "idp",  "auth",   "login",   "portal",
                              "remote",   "intranet",  "ftp",          "sftp", "git",    "jira",    "wiki",
                              "owa",      "webmail",   "autodiscover", "ntp",  "radius", "citrix",  "rdp",
                              "owncloud", "nextcloud", "cloud",        "api"};
  std::size_t size = first.size();
  while (size > 0 && first[size - 1] >= '0' && first[size - 1] <= '9') {
    --size;
  }
  if (words.contains(first.substr(0, size))) {
    return true;
  }
  // "gw7", "srv-042"
  return size > 0 && size < first.size() && first.size() - size < 4 &&
         std::all_of(first.begin(), first.begin() + static_cast<std::ptrdiff_t>(size),
                     [](char c) { return isLower(c) || c == '-'; });
}

// Files end so more often than hosts do.
bool isFileEnding(std::string_view last) {
  static const Words words = {"md", "sh", "py", "rs", "ps",   "zip",  "so",   "mov",
                              "mm", "pm", "mp", "ml", "ms",   "nr",   "data", "id",
                              "as", "am", "ad", "do", "name", "info", "cat",  "download"};
  return words.contains(last);
}

// Whether the second word is one of a file: "vpn.conf.in", "foo.1.pl".
bool isFileWord(std::string_view word) {
  static const Words words = {"conf",  "service", "config", "cfg",     "ini",    "json",   "xml",   "yaml",
                              "yml",   "log",     "txt",    "desktop", "spec",   "pc",     "h",     "c",
                              "cpp",   "cc",      "py",     "sh",      "html",   "js",     "ts",    "test",
                              "tests", "local",   "rules",  "timer",   "socket", "target", "mount", "png",
                              "jpg",   "svg",     "css",    "tar",     "gz",     "de",     "en",    "fr",
                              "go",    "in",      "am",     "ac",      "m4",     "mk",     "cmake", "map"};
  return words.contains(word);
}

bool hasGoodLabels(std::string_view text) {
  std::size_t start = 0;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && text[i] != '.') {
      continue;
    }
    const std::size_t length = i - start;
    if (length == 0 || length > 63 || text[i - 1] == '-') {
      return false;
    }
    start = i + 1;
  }
  return text.size() <= 253;
}

}  // namespace

bool isHostText(std::string_view text) {
  bool hasLetter = false;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isLetter = isUpper(c) || isLower(c) || byte > 127;
    if (!isLetter && (c < '0' || c > '9') && c != '.' && c != '-' && c != '_') {
      return false;
    }
    hasLetter = hasLetter || isLetter;
  }
  return hasLetter && hasGoodLabels(text);
}

bool isMakersHost(std::string_view text) {
  const std::string name = lowered(text);
  return makers().contains(lastTwoLabels(name));
}

bool isReservedHost(std::string_view text) {
  const std::string name = lowered(text);
  const std::string_view all = name;
  const std::string_view last = lastLabel(all);
  if (isMachineKind(all)) {
    return true;
  }
  if (last == "localhost" || all == "localhost.localdomain" || all == "localdomain" || all == "arpa" ||
      all.ends_with(".arpa")) {
    return true;
  }
  if (last == "example") {
    // What this redaction has made itself.
    std::string_view front = all.substr(0, all.size() - std::min<std::size_t>(all.size(), 8));
    while (!front.empty()) {
      const std::string_view label = front.substr(0, front.find('.'));
      if (!label.starts_with('_') && !StandIns::isLabel(label)) {
        return false;
      }
      front.remove_prefix(std::min(front.size(), label.size() + 1));
    }
    return true;
  }
  const std::string_view base = lastTwoLabels(all);
  return everybodys().contains(base) || makers().contains(base);
}

HostLook hostLook(std::string_view text) {
  const std::size_t dot = text.rfind('.');
  if (dot == std::string_view::npos || dot == 0 || text.size() - dot > 15) {
    return HostLook::kNone;
  }
  // Most dotted words are files and numbers: their ending tells without a copy of the whole.
  char ending[16] = {};
  for (std::size_t i = dot + 1; i < text.size(); ++i) {
    const char c = text[i];
    if (!isUpper(c) && !isLower(c) && c != '-' && (c < '0' || c > '9')) {
      return HostLook::kNone;
    }
    ending[i - dot - 1] = static_cast<char>(isUpper(c) ? c + ('a' - 'A') : c);
  }
  const std::string_view last(ending, text.size() - dot - 1);
  const bool isInternational = last.starts_with("xn--");
  const bool isStrong = isInternational || strongDomains().contains(last) || localDomains().contains(last);
  if (!isStrong && !weakDomains().contains(last)) {
    return HostLook::kNone;
  }
  // "Tessarmont.app": what programs of macOS are called.
  if (last == "app" && isUpper(text.front())) {
    return HostLook::kNone;
  }
  const std::string name = lowered(text);
  const std::string_view all = name;
  if (!isHostText(text) || isReservedHost(text) || otherThings().contains(all)) {
    return HostLook::kNone;
  }
  if (looksLikeCode(text)) {
    return isStrong && all.find('.') < dot ? HostLook::kWeak : HostLook::kNone;
  }
  // A number in front of a unit, a version, a section of a manual.
  if (all.find_first_not_of("0123456789.") >= dot) {
    return HostLook::kNone;
  }
  // "user.home", "my.domain": fields as well.
  const bool isField = last == "home" || last == "private" || last == "domain" || last == "box" ||
                       last == "intern" || last == "lokal";
  if (isField && all.find('.') == dot && all != "fritz.box") {
    return HostLook::kWeak;
  }
  const std::string_view front = all.substr(0, dot);
  const std::string_view second = lastLabel(front);
  const bool hasSecond = second.size() < front.size();
  if (isStrong) {
    // "com.acme.app" names a program, not a host.
    const std::string_view first = all.substr(0, all.find('.'));
    const bool reversed =
        first == "com" || first == "org" || first == "net" || first == "de" || first == "io";
    return reversed && last.size() > 2 && last != "com" && last != "net" && last != "org" ? HostLook::kNone
                                                                                          : HostLook::kStrong;
  }
  if (hasSecond && secondLevels().contains(second)) {
    return HostLook::kStrong;
  }
  // "gw7.acme.pl": a file has no such front, and no such middle.
  return hasSecond && !isFileEnding(last) && second.size() > 2 && !isFileWord(second) &&
                 isUsualHost(all.substr(0, all.find('.')))
             ? HostLook::kStrong
             : HostLook::kWeak;
}

bool mayBeMailDomain(std::string_view text) {
  static const Words others = {
      "service", "socket", "timer",   "mount", "automount", "device", "slice", "scope", "target", "path",
      "swap",    "png",    "jpg",     "jpeg",  "gif",       "svg",    "ico",   "css",   "js",     "ts",
      "mjs",     "jsx",    "tsx",     "log",   "txt",       "json",   "htm",   "html",  "ini",    "bz2",
      "zst",     "dll",    "exe",     "sys",   "bin",       "dat",    "img",   "deb",   "rpm",    "whl",
      "jar",     "class",  "java",    "kt",    "hpp",       "rb",     "php",   "lua",   "swift",  "plist",
      "wants",   "tmp",    "bak",     "old",   "orig",      "swp",    "lock",  "pid",   "sock",   "crash",
      "core",    "dmp",    "mo",      "po",    "pem",       "key",    "crt",   "pyc",   "pdf",    "csv",
      "xz",      "tgz",    "requires"};
  constexpr std::size_t kShortest = 2;
  constexpr std::size_t kLongest = 12;
  const std::string_view last = lastLabel(text);
  const std::string_view first = text.substr(0, text.find('.'));
  const auto isPlain = [](char c) { return isUpper(c) || isLower(c); };
  // "this@Main.finish" is code.
  const bool isMixed =
      std::any_of(text.begin(), text.end(), isUpper) && std::any_of(text.begin(), text.end(), isLower);
  const std::string small = lowered(last);
  return isHostText(text) && first.size() < text.size() && first.size() >= kShortest && isPlain(first[0]) &&
         last.size() >= kShortest && last.size() <= kLongest &&
         std::all_of(last.begin(), last.end(), isPlain) && text.find('_') == std::string_view::npos &&
         !isMixed && !others.contains(small) && !isFileWord(small) && !isFileEnding(small) &&
         !otherThings().contains(lowered(text));
}

std::string_view domainOfFile(std::string_view name) {
  static const Words endings = {"ovpn", "conf", "cfg",  "ini",   "txt",         "log", "xml", "json",
                                "csv",  "html", "pdf",  "eml",   "zip",         "gz",  "bak", "old",
                                "orig", "p12",  "pfx",  "pem",   "crt",         "cer", "der", "key",
                                "kt",   "csr",  "pub",  "asc",   "gpg",         "pgp", "sig", "tar",
                                "tgz",  "rdp",  "pcap", "plist", "mobileconfig"};
  constexpr std::size_t kLongestFile = 255;
  if (name.size() > kLongestFile) {
    return {};
  }
  while (name.find('.') != std::string_view::npos) {
    const std::size_t sign = name.find_last_of(".-_");
    const std::string last = lowered(name.substr(sign + 1));
    if (name[sign] == '.' && !endings.contains(last) &&
        last.find_first_not_of("0123456789") != std::string::npos) {
      return {};
    }
    name = name.substr(0, sign);
    const bool isStandIn = name.ends_with(".example") && isReservedHost(name);
    if (isStandIn || hostLook(lowered(name)) == HostLook::kStrong) {
      return name;
    }
  }
  return {};
}

HostParts splitHost(std::string_view text) {
  HostParts parts;
  parts.isReserved = isReservedHost(text);
  std::vector<std::string_view> labels;
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find('.', start), text.size());
    labels.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  if (labels.size() == 1) {
    parts.labels = std::move(labels);
    return parts;
  }
  parts.isQualified = true;
  const std::string last = lowered(labels.back());
  std::size_t suffix = 1;
  if (localDomains().contains(last)) {
    parts.labels.assign(labels.begin(), labels.end() - 1);
    return parts;
  }
  if (last.size() == 2 && labels.size() > 2 && secondLevels().contains(lowered(labels[labels.size() - 2]))) {
    suffix = 2;
  }
  const std::size_t front = labels.size() - suffix - 1;
  parts.labels.assign(labels.begin(), labels.begin() + static_cast<std::ptrdiff_t>(front));
  parts.base = text.substr(static_cast<std::size_t>(labels[front].data() - text.data()));
  return parts;
}

}  // namespace halvo
