#include "vpn/tools/TOLM/TOLMBundle/redact/KnownNames.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <unordered_set>

#include "vpn/tools/TOLM/TOLMBundle/redact/CaseFold.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/EverydayWords.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/HostNames.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"

namespace halvo {

namespace {

constexpr std::size_t kShortestName = 3;
constexpr std::size_t kLongestName = 255;

const std::unordered_set<std::string_view>& commonWords() {
  static const std::unordered_set<std::string_view> words = {
      // accounts of systems
      "root", "daemon", "bin", "sys", "sync", "games", "man", "lp", "mail", "news", "uucp", "proxy",
      "www-data", "backup", "list", "irc", "gnats", "nobody", "systemd", "messagebus", "syslog", "sshd",
      "ntp", "chrony", "avahi", "polkitd", "rtkit", "colord", "geoclue", "pulse", "gdm", "lightdm", "sddm",
      "dnsmasq", "tss", "usbmux", "nogroup", "postgres", "mysql", "redis", "nginx", "apache", "tomcat",
      "docker", "ubuntu", "debian", "fedora", "centos", "admin", "administrator", "guest", "user", "users",
      "username", "system", "service", "operator", "wheel", "staff", "sudo", "adm", "default", "public",
      "shared", "everyone", "anonymous", "unknown", "nologin", "localuser", "systemd-network",
      "systemd-resolve", "systemd-timesync", "_apt", "uuidd", "tcpdump", "kernoops", "saned",
      "speech-dispatcher", "whoopsie", "lost+found", "linuxbrew", "cups", "cups-browsed", "vagrant",
      "nm-openvpn", "nm-openconnect", "nm-vpnc", "nm-l2tp", "nm-strongswan", "openvpn", "openconnect", "vpnc",
      "ocserv", "wireguard", "strongswan", "libreswan", "charon", "xl2tpd", "stubby", "unbound", "named",
      "radiusd", "freerad", "privoxy", "systemd-coredump", "systemd-oom", "systemd-journal-remote",
      // of every hosts file
      "ip6-localhost", "ip6-loopback", "ip6-localnet", "ip6-mcastprefix", "ip6-allnodes", "ip6-allrouters",
      "ip6-allhosts", "broadcasthost",
      // words of logs
      "the", "and", "for", "from", "with", "not", "none", "null", "nil", "yes", "true", "false", "off", "any",
      "all", "auto", "test", "tester", "tests", "demo", "local", "localhost", "host", "hostname", "server",
      "client", "peer", "gateway", "router", "vpn", "tunnel", "network", "wifi", "wlan", "eth", "lan",
      "internet", "dns", "dhcp", "http", "https", "ftp", "ssh", "ssl", "tls", "tcp", "udp", "icmp", "ipv4",
      "ipv6", "error", "errors", "warning", "warn", "info", "debug", "notice", "failed", "failure", "success",
      "started", "starting", "stopped", "stopping", "start", "stop", "running", "enabled", "disabled",
      "active", "inactive", "connected", "connecting", "disconnected", "connection", "session", "sessions",
      "login", "logout", "logged", "log", "logs", "password", "secret", "token", "key", "keys", "name",
      "names", "type", "value", "data", "file", "files", "home", "tmp", "var", "etc", "usr", "opt", "dev",
      "proc", "run", "lib", "boot", "mnt", "media", "desktop", "documents", "downloads", "linux", "windows",
      "mac", "macos", "darwin", "unix", "kernel", "device", "driver", "interface", "address", "port",
      "config", "configuration", "time", "date", "version", "build", "release", "update", "process", "thread",
      "memory", "disk", "cpu", "usb", "pci", "acpi", "bios", "new", "old", "open", "closed", "close", "read",
      "write", "get", "set", "put", "post", "add", "del", "delete", "remove", "removed", "added", "created",
      "changed", "missing", "invalid", "valid", "expired", "required", "accepted", "rejected", "denied",
      "allowed", "granted", "ok", "n/a", "example", "master", "main", "primary", "secondary", "node",
      "cluster", "web", "www", "api", "app", "apps", "application", "ready", "available", "unavailable", "up",
      "down", "on", "id", "uid", "gid", "group", "groups", "owner", "account", "domain", "workgroup",
      "internal", "external", "private", "remote", "global", "link", "state", "status", "mode", "level",
      "redacted", "unset", "empty", "found", "reason", "result", "code", "message", "signal", "exit",
      "exited", "space", "agent", "monitor", "manager", "helper", "worker", "job", "task", "queue", "timer",
      "socket", "target", "mount", "tolm", "tmtolm", "tmtolmui", "halvo", "tessarmont", "nullptr",
      "static_cast", "static", "const", "std", "string", "void", "self", "undefined", "this", "that", "has",
      "have", "was", "were", "been", "will", "can", "could", "may", "must", "should", "now", "then",
      // of programs: "hostname: str", "owner: openssl"
      "str", "int", "bool", "float", "dict", "bytes", "tuple", "addr", "openssl", "nodejs", "npm", "python",
      "perl",
      // steps of logins: "pam_unix(login:auth)"
      "auth", "setcred", "chauthtok",
      // what a login window notes in the place of a user
      "loggedin"};
  return words;
}

bool isWordChar(char c) {
  return isWordByte(static_cast<unsigned char>(c));
}

// Whether the word that ends in front of `end` goes on there. A letter of another script begins another one.
bool goesOn(std::string_view text, std::size_t end) {
  const auto lookOf = [text](std::size_t place) {
    std::size_t ignored = 0;
    const auto c = static_cast<unsigned char>(text[place]);
    const HighLook plain = isWordByte(c) ? HighLook::kLatin : HighLook::kSign;
    return c < 128 ? plain : highLookAt(text, place, ignored);
  };
  const HighLook next = lookOf(end);
  return next != HighLook::kSign && (end == 0 || next == lookOf(end - 1));
}

}  // namespace

bool isCommonWord(std::string_view word) {
  return word.size() <= 24 && commonWords().contains(lowered(word));
}

bool NameCollector::mayBeName(std::string_view name) const {
  // A name without a letter would be found in every number.
  return name.size() >= kShortestName && name.size() <= kLongestName && StandIns::labelAt(name) == 0 &&
         !isReservedHost(name) && isWordChar(name.front()) && isWordChar(name.back()) &&
         std::any_of(name.begin(), name.end(), [](char c) { return isWordChar(c) && (c < '0' || c > '9'); });
}

void NameCollector::add(RedactKind kind, std::string_view name, bool isProven) {
  if (!mayBeName(name) || isCommonWord(name)) {
    return;
  }
  if (isEverydayWord(name)) {
    if (isProven && isCalendarWord(name)) {
      putBounded(kind, name);
    } else if (isProven) {
      m_Proven.insert(folded(name));
    }
    return;
  }
  putBounded(kind, name);
}

void NameCollector::choose(RedactKind kind, std::string_view name) {
  if (mayBeName(name)) {
    put(kind, name);
  }
}

void NameCollector::put(RedactKind kind, std::string_view name) {
  const auto [place, isNew] = m_Names.try_emplace(folded(name), kind);
  if (!isNew && kind < place->second) {
    place->second = kind;  // the same whichever thread came first
  }
}

// By their letters and not by who came first: which thread reads what differs from run to run.
void NameCollector::putBounded(RedactKind kind, std::string_view name) {
  if (m_Names.size() >= kMostNames && m_Names.rbegin()->first < folded(name)) {
    return;
  }
  put(kind, name);
  if (m_Names.size() > kMostNames) {
    m_Names.erase(std::prev(m_Names.end()));
  }
}

void NameCollector::add(const NameCollector& other) {
  for (const auto& [name, kind] : other.m_Names) {
    putBounded(kind, name);
  }
  m_Proven.insert(other.m_Proven.begin(), other.m_Proven.end());
}

KnownNames::KnownNames(const NameCollector& names, StandIns& standIns) : m_Proven(names.provenWords()) {
  for (const auto& [name, kind] : names.names()) {
    Name known{name, kind, {}};
    switch (kind) {
      case RedactKind::kHost:
        known.standIn = standIns.host(name);
        break;
      case RedactKind::kSecret:
        known.standIn = kSecretMark;
        break;
      case RedactKind::kMac: {
        // Twelve digits without anything between them.
        MacBytes bytes = {};
        for (std::size_t i = 0; i < bytes.size() && name.size() == 12; ++i) {
          bytes[i] = static_cast<std::uint8_t>(std::stoul(name.substr(2 * i, 2), nullptr, 16));
        }
        for (const std::uint8_t byte : standIns.mac(bytes)) {
          known.standIn += "0123456789abcdef"[byte >> 4U];
          known.standIn += "0123456789abcdef"[byte & 15U];
        }
        break;
      }
      default:
        known.standIn = standIns.label(kind, name);
    }
    for (const std::size_t pair : pairsOf(name)) {
      m_Begins.set(pair);
      m_Sizes[pair].push_back(name.size());
    }
    m_Names.push_back(std::move(known));
  }
  for (std::size_t i = 0; i < m_Names.size(); ++i) {
    m_Places.emplace(m_Names[i].lower, i);
  }
  for (auto& [pair, sizes] : m_Sizes) {
    // The longest first: a name may begin with another.
    std::sort(sizes.begin(), sizes.end(), std::greater<>());
    sizes.erase(std::unique(sizes.begin(), sizes.end()), sizes.end());
  }
}

// The first two bytes of a name in small letters, and of the same name with a capital beyond ASCII in them.
std::vector<std::size_t> KnownNames::pairsOf(std::string_view name) {
  const auto byte = [name](std::size_t place) { return static_cast<unsigned char>(name[place]); };
  std::vector<std::size_t> pairs = {pairOf(byte(0), byte(1))};
  const std::size_t place = byte(0) < 128 ? 1 : 0;
  for (const std::uint16_t other : kUnfolded[foldableAt(name, place)]) {
    const auto lead = static_cast<unsigned char>(0xc0U | other >> 6U);
    const auto next = static_cast<unsigned char>(0x80U | (other & 0x3fU));
    const std::size_t pair = place == 1 ? pairOf(byte(0), lead) : pairOf(lead, next);
    if (other != 0 && std::find(pairs.begin(), pairs.end(), pair) == pairs.end()) {
      pairs.push_back(pair);
    }
  }
  return pairs;
}

KnownNames::Match KnownNames::find(std::string_view text) const {
  Match match;
  if (text.size() < 2) {
    return match;
  }
  const auto sizes =
      m_Sizes.find(pairOf(static_cast<unsigned char>(text[0]), static_cast<unsigned char>(text[1])));
  if (sizes == m_Sizes.end()) {
    return match;
  }
  // One look for every length that a name with this beginning has, so many names cost no more than few.
  char small[kLongestName + 1] = {};  // a letter of two bytes may begin at the last
  std::size_t filled = 0;
  for (const std::size_t size : sizes->second) {
    if (size > text.size() || (size < text.size() && goesOn(text, size))) {
      continue;
    }
    for (; filled < sizes->second.front() && filled < text.size(); ++filled) {
      const auto c = static_cast<unsigned char>(text[filled]);
      small[filled] = static_cast<char>(lower(c));
      if (const char32_t code = c < 128 ? 0 : foldableAt(text, filled); code != 0) {
        putFolded(code, small + filled);
        ++filled;
      }
    }
    const auto place = m_Places.find(std::string_view(small, size));
    if (place != m_Places.end()) {
      const Name& name = m_Names[place->second];
      return {size, name.kind, &name.standIn};
    }
  }
  return match;
}

bool KnownNames::isProven(std::string_view word) const {
  return !m_Proven.empty() && m_Proven.contains(folded(word));
}

bool KnownNames::hasHost(std::string_view lowerName) const {
  if (lowerName.size() < 2) {
    return false;
  }
  const Match match = find(lowerName);
  return match.length == lowerName.size() && match.kind == RedactKind::kHost;
}

}  // namespace halvo
