// Names that a bundle gives away somewhere and that are to be found everywhere: users, machines, domains.
//
// NameCollector gathers them on a first walk; one a thread, merged in the end. KnownNames finds them as whole
// words on the second. KnownNames is never changed once built: all threads may look into it.

#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactKinds.h"

namespace halvo {

class StandIns;

class NameCollector {
 public:
  // Bounds what a hostile bundle can make a walk remember.
  static constexpr std::size_t kMostNames = 50000;

  // A name found in a place that says what it is. Names that are everyday words of logs, too short, or
  // stand-ins already are only replaced where they were found, and aren't taken here.
  // `isProven`: nobody but a user stands there, such as the owner of a home folder. An everyday word is then
  // a user's name wherever one may stand, and a day's or month's, which people are called like, any name.
  // Of more names than the bound the first by their letters stay, whatever order they came in.
  void add(RedactKind kind, std::string_view name, bool isProven = false);
  void add(const NameCollector& other);
  // A name that somebody has asked for: whatever word it is, and beyond the bound. Behind all add().
  void choose(RedactKind kind, std::string_view name);
  // In small letters; in the same order whatever the order of add().
  [[nodiscard]] const std::map<std::string, RedactKind>& names() const { return m_Names; }
  [[nodiscard]] const std::set<std::string>& provenWords() const { return m_Proven; }

 private:
  [[nodiscard]] bool mayBeName(std::string_view name) const;
  void put(RedactKind kind, std::string_view name);
  void putBounded(RedactKind kind, std::string_view name);

  std::map<std::string, RedactKind> m_Names;
  std::set<std::string> m_Proven;  // everyday words, in small letters
};

// Whether a word is too common to be a name wherever it stands ("root", "user", "server"...). Letters count
// alike in both cases.
bool isCommonWord(std::string_view word);

class KnownNames {
 public:
  struct Match {
    std::size_t length = 0;  // 0: none
    RedactKind kind = RedactKind::kHost;
    const std::string* standIn = nullptr;
  };

  KnownNames() = default;
  KnownNames(const KnownNames&) = delete;
  KnownNames& operator=(const KnownNames&) = delete;
  KnownNames(const NameCollector& names, StandIns& standIns);

  // Whether a name may begin with these two bytes.
  [[nodiscard]] bool mayBegin(unsigned char first, unsigned char second) const {
    return m_Begins[pairOf(first, second)];
  }
  // The longest name that `text` begins with and that ends where a word ends. `text` is one longer than what
  // may be matched, or its end is the end of everything.
  [[nodiscard]] Match find(std::string_view text) const;
  // Whether this very name is known as one of a host or domain.
  [[nodiscard]] bool hasHost(std::string_view lowerName) const;
  // Whether the everyday word is a user's name too.
  [[nodiscard]] bool isProven(std::string_view word) const;

 private:
  struct Name {
    std::string lower;
    RedactKind kind;
    std::string standIn;
  };

  static std::vector<std::size_t> pairsOf(std::string_view name);
  static std::size_t pairOf(unsigned char first, unsigned char second) {
    return std::size_t{lower(first)} << 8U | lower(second);
  }
  static unsigned char lower(unsigned char c) {
    return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
  }

  std::bitset<65536> m_Begins;
  std::vector<Name> m_Names;
  std::set<std::string> m_Proven;
  std::unordered_map<std::string_view, std::size_t> m_Places;         // by the small letters of m_Names
  std::unordered_map<std::size_t, std::vector<std::size_t>> m_Sizes;  // by first two bytes, longest first
};

}  // namespace halvo
