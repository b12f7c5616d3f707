// What redaction looks for, and how much of each was found. Plain values, for any thread.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace halvo {

enum class RedactKind : std::uint8_t {
  kAddress,      // IPv4, IPv6
  kMac,          // hardware addresses
  kEmail,        // user@host
  kHost,         // host and domain names
  kUser,         // login names, full names, home folders
  kId,           // serial numbers, machine ids, UUIDs
  kWifi,         // names of wireless networks
  kSecret,       // passwords, tokens, keys, cookies
  kCertificate,  // certificates in PEM: they hold names
};

inline constexpr std::size_t kRedactKindCount = 9;

// The words for users: options, rules, map and report.
inline constexpr std::array<std::string_view, kRedactKindCount> kRedactKindNames = {
    "address", "mac", "email", "host", "user", "id", "wifi", "secret", "certificate"};

inline constexpr std::string_view redactKindName(RedactKind kind) {
  return kRedactKindNames[static_cast<std::size_t>(kind)];
}

// True and the kind for one of the words above.
inline bool redactKindOf(std::string_view name, RedactKind& kind) {
  for (std::size_t i = 0; i < kRedactKindCount; ++i) {
    if (kRedactKindNames[i] == name) {
      kind = static_cast<RedactKind>(i);
      return true;
    }
  }
  return false;
}

// How many places were replaced, by kind.
struct RedactCounts {
  std::array<std::uint64_t, kRedactKindCount> places = {};

  void add(RedactKind kind) { ++places[static_cast<std::size_t>(kind)]; }
  void add(const RedactCounts& other) {
    for (std::size_t i = 0; i < kRedactKindCount; ++i) {
      places[i] += other.places[i];
    }
  }
  [[nodiscard]] std::uint64_t of(RedactKind kind) const { return places[static_cast<std::size_t>(kind)]; }
  [[nodiscard]] std::uint64_t total() const {
    std::uint64_t sum = 0;
    for (const std::uint64_t count : places) {
      sum += count;
    }
    return sum;
  }
};

// The kinds that stay as they are.
class RedactKeep {
 public:
  void keep(RedactKind kind) { m_bKept[static_cast<std::size_t>(kind)] = true; }
  [[nodiscard]] bool keeps(RedactKind kind) const { return m_bKept[static_cast<std::size_t>(kind)]; }

 private:
  std::array<bool, kRedactKindCount> m_bKept = {};
};

}  // namespace halvo
