// StandIns: what stands for what in a redacted bundle.
//
// A stand-in is made from its value and a random key, so the same value gets the same one on every thread and
// in every order, and nobody without the key can try values out. Addresses of public networks and hardware
// addresses take a place in a table, since their stand-ins come from small reserved ranges.
//
// Every stand-in can be told from a real value by its look alone (a reserved range, or a check in its last
// two characters): what was redacted once isn't redacted again.
//
//   public IPv4        240.0.0.0/5      10/8         250.0.0.0/8      hosts of one /24 stay together,
//   172.16/12          251.16.0.0/12    192.168/16   251.168.0.0/16   and so do private networks by byte;
//   100.64/10          251.64.0.0/10                                  .0 and .255 stay
//   public IPv6        3fff::/20        fc00::/7     2001:db8::/32    one /48, one /64 stay together
//   hardware address   02:00:5e:xx:xx:xx             UUID             00000000-xxxx-8xxx-8xxx-xxxxxxxxxxxx
//   names              host-, user-, id-, wifi- and ten characters; domains end in .example
//
// All operations but load() may be called on all threads at once. Nothing is logged.

#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactKinds.h"

namespace halvo {

// What stands for a secret. It says nothing of it, not even whether two are the same.
inline constexpr std::string_view kSecretMark = "REDACTED";

using RedactKey = std::array<std::uint8_t, 16>;
using Ipv6Bytes = std::array<std::uint8_t, 16>;
using MacBytes = std::array<std::uint8_t, 6>;

// Places of values in a table of fixed size: the place of a value is its number. Filled without locks.
class PlaceTable {
 public:
  // 2 to the power of `bits` places.
  explicit PlaceTable(unsigned bits);

  // The place of `value`, searched from `start` on. Where the table is nearly full, values share places.
  std::uint32_t placeOf(std::uint64_t value, std::uint64_t start);
  // Puts a value at a place; false where the place is out of range or taken by another.
  bool put(std::uint32_t place, std::uint64_t value);
  // True and the value where the place is taken.
  bool at(std::uint32_t place, std::uint64_t& value) const;
  [[nodiscard]] std::uint32_t size() const { return m_nSize; }

 private:
  std::uint32_t m_nSize;
  std::atomic<std::uint32_t> m_nTaken{0};
  struct Freed {
    void operator()(void* memory) const { std::free(memory); }
  };
  // From calloc(): pages that nothing is put into are never touched.
  std::unique_ptr<std::atomic<std::uint64_t>[], Freed> m_Places;
};

class StandIns {
 public:
  // With a key of random bytes from the system; throws std::runtime_error where there are none.
  StandIns();
  explicit StandIns(const RedactKey& key);

  // "host-", "user-", "id-" or "wifi-" and ten characters; letters count alike in both cases.
  std::string label(RedactKind kind, std::string_view value) const;
  static bool isLabel(std::string_view text);
  // The length of a stand-in's label that `text` begins with, 0 for none.
  static std::size_t labelAt(std::string_view text);

  // The stand-in of a name of one or more labels; names in reserved domains come back as they are.
  std::string host(std::string_view name) const;
  std::string email(std::string_view local, std::string_view domain) const;
  std::string uuid(std::string_view text) const;  // of 36 characters
  static bool isUuid(std::string_view text);

  std::uint32_t ipv4(std::uint32_t address);
  Ipv6Bytes ipv6(const Ipv6Bytes& address);
  MacBytes mac(const MacBytes& address);
  static bool isMac(const MacBytes& address);

  // From here on remember() keeps what it is told, for save(). Without this it does nothing.
  void startRecording() { m_bRecording = true; }
  void remember(RedactKind kind, std::string_view value, std::string_view standIn);

  // The text of a map: key, tables and what remember() was told. Ends with a line feed.
  std::string save() const;
  // Takes a map's text over, in front of everything else. Returns what is wrong with it, with the line's
  // number; empty on success.
  [[nodiscard]] std::string load(std::string_view text);

 private:
  std::uint64_t hash(std::uint64_t purpose, std::string_view text) const;
  std::uint64_t hash(std::uint64_t purpose, std::uint64_t number) const;
  // A permutation of the bytes for everything behind `prefix`, with 0 and 255 in their places.
  std::uint8_t permutedByte(std::uint64_t prefix, std::uint8_t value) const;
  std::uint32_t privateIpv4(std::uint32_t address, std::uint32_t network, unsigned fixedBytes) const;

  RedactKey m_Key = {};
  PlaceTable m_Networks4;
  PlaceTable m_Networks6;
  PlaceTable m_LocalNetworks6;
  PlaceTable m_Macs;

  bool m_bRecording = false;
  mutable std::mutex m_Lock;                                          // over the next
  std::map<std::pair<RedactKind, std::string>, std::string> m_Pairs;  // by kind and value
};

}  // namespace halvo
