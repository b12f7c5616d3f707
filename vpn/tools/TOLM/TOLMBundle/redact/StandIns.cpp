#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"

#include <sys/random.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>
#include <stdexcept>

#include "vpn/tools/TOLM/TOLMBundle/redact/CaseFold.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/HostNames.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"

namespace halvo {

namespace {

// 32 characters that are hard to take for each other.
constexpr std::string_view kAlphabet = "abcdefghijkmnpqrstuvwxyz23456789";
constexpr std::size_t kDrawn = 8;
constexpr std::size_t kCheck = 2;

constexpr std::uint32_t kPublicNetworks = 0xf0000000;  // 240.0.0.0/5
constexpr std::uint64_t kTableShare = 7;               // eighths that are filled before places are shared
constexpr unsigned kNetwork4Bits = 19;
constexpr unsigned kNetwork6Bits = 18;
constexpr unsigned kLocalNetwork6Bits = 16;
constexpr unsigned kMacBits = 18;

// What a hash is for: the same value gives unlike ones for unlike uses.
enum Purpose : std::uint64_t {
  kForLabel = 1,
  kForUuid,
  kForByte,
  kForNetwork4,
  kForNetwork6,
  kForSubnet,
  kForInterface,
  kForMac,
};

void sipRound(std::uint64_t (&v)[4]) {
  v[0] += v[1];
  v[1] = std::rotl(v[1], 13) ^ v[0];
  v[0] = std::rotl(v[0], 32);
  v[2] += v[3];
  v[3] = std::rotl(v[3], 16) ^ v[2];
  v[0] += v[3];
  v[3] = std::rotl(v[3], 21) ^ v[0];
  v[2] += v[1];
  v[1] = std::rotl(v[1], 17) ^ v[2];
  v[2] = std::rotl(v[2], 32);
}

// SipHash-2-4, whose 64 bits nobody can foretell without the key. `purpose` goes in front of the text;
// letters count as small ones.
std::uint64_t sipHash(const RedactKey& key, std::uint64_t purpose, std::string_view text) {
  std::uint64_t k[2] = {};
  std::memcpy(k, key.data(), sizeof(k));
  std::uint64_t v[4] = {k[0] ^ 0x736f6d6570736575U, k[1] ^ 0x646f72616e646f6dU, k[0] ^ 0x6c7967656e657261U,
                        k[1] ^ 0x7465646279746573U};
  const auto take = [&v](std::uint64_t word) {
    v[3] ^= word;
    sipRound(v);
    sipRound(v);
    v[0] ^= word;
  };
  take(purpose);
  std::uint64_t word = 0;
  unsigned filled = 0;
  for (const char c : text) {
    const bool isUpper = c >= 'A' && c <= 'Z';
    word |= std::uint64_t{static_cast<unsigned char>(isUpper ? c + ('a' - 'A') : c)} << (8U * filled);
    if (++filled == 8) {
      take(word);
      word = 0;
      filled = 0;
    }
  }
  take(word | (std::uint64_t{text.size()} << 56U));
  v[2] ^= 0xffU;
  for (int i = 0; i < 4; ++i) {
    sipRound(v);
  }
  return v[0] ^ v[1] ^ v[2] ^ v[3];
}

// The two characters that tell a stand-in from a name that only looks like one.
void appendCheck(std::string& text) {
  std::uint32_t sum = 2166136261U;
  for (const char c : text) {
    sum = (sum ^ static_cast<unsigned char>(c)) * 16777619U;
  }
  sum ^= sum >> 15U;
  text += kAlphabet[sum & 31U];
  text += kAlphabet[(sum >> 5U) & 31U];
}

std::string_view prefixOf(RedactKind kind) {
  switch (kind) {
    case RedactKind::kUser:
      return "user-";
    case RedactKind::kWifi:
      return "wifi-";
    case RedactKind::kId:
      return "id-";
    default:
      return "host-";
  }
}

std::uint64_t upperHalf(const Ipv6Bytes& address) {
  std::uint64_t half = 0;
  for (std::size_t i = 0; i < 8; ++i) {
    half = half << 8U | address[i];
  }
  return half;
}

RedactKey randomKey() {
  RedactKey key = {};
  if (getentropy(key.data(), key.size()) != 0) {
    throw std::runtime_error("the system gives no random bytes");
  }
  return key;
}

}  // namespace

PlaceTable::PlaceTable(unsigned bits)
    : m_nSize(1U << bits),
      m_Places(static_cast<std::atomic<std::uint64_t>*>(std::calloc(m_nSize, sizeof(std::uint64_t)))) {
  if (m_Places == nullptr) {
    throw std::bad_alloc();
  }
}

std::uint32_t PlaceTable::placeOf(std::uint64_t value, std::uint64_t start) {
  const std::uint64_t wanted = value + 1;  // 0 is an empty place
  auto place = static_cast<std::uint32_t>(start & (m_nSize - 1));
  for (std::uint32_t step = 0; step < m_nSize; ++step) {
    std::uint64_t found = m_Places[place].load(std::memory_order_relaxed);
    if (found == 0) {
      if (std::uint64_t{m_nTaken.load(std::memory_order_relaxed)} * 8 >= m_nSize * kTableShare) {
        break;
      }
      if (m_Places[place].compare_exchange_strong(found, wanted, std::memory_order_relaxed)) {
        m_nTaken.fetch_add(1, std::memory_order_relaxed);
        return place;
      }
    }
    if (found == wanted) {
      return place;
    }
    place = (place + 1) & (m_nSize - 1);
  }
  return static_cast<std::uint32_t>(start & (m_nSize - 1));
}

bool PlaceTable::put(std::uint32_t place, std::uint64_t value) {
  if (place >= m_nSize) {
    return false;
  }
  std::uint64_t found = 0;
  if (m_Places[place].compare_exchange_strong(found, value + 1)) {
    m_nTaken.fetch_add(1);
    return true;
  }
  return found == value + 1;
}

bool PlaceTable::at(std::uint32_t place, std::uint64_t& value) const {
  const std::uint64_t found = m_Places[place].load(std::memory_order_relaxed);
  value = found - 1;
  return found != 0;
}

StandIns::StandIns() : StandIns(randomKey()) {}

StandIns::StandIns(const RedactKey& key)
    : m_Key(key),
      m_Networks4(kNetwork4Bits),
      m_Networks6(kNetwork6Bits),
      m_LocalNetworks6(kLocalNetwork6Bits),
      m_Macs(kMacBits) {}

std::uint64_t StandIns::hash(std::uint64_t purpose, std::string_view text) const {
  const bool isAscii =
      std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
  return isAscii ? sipHash(m_Key, purpose, text) : sipHash(m_Key, purpose, folded(text));
}

std::uint64_t StandIns::hash(std::uint64_t purpose, std::uint64_t number) const {
  // Not as text: letters would lose their case.
  return sipHash(m_Key, purpose << 56U ^ number, {});
}

std::string StandIns::label(RedactKind kind, std::string_view value) const {
  std::uint64_t bits = hash(kForLabel | static_cast<std::uint64_t>(kind) << 8U, value);
  std::string text(prefixOf(kind));
  for (std::size_t i = 0; i < kDrawn; ++i) {
    text += kAlphabet[bits & 31U];
    bits >>= 5U;
  }
  appendCheck(text);
  return text;
}

std::size_t StandIns::labelAt(std::string_view text) {
  std::size_t prefix = 0;
  if (text.size() > 5 && text[4] == '-') {
    prefix = text.starts_with("host") || text.starts_with("user") || text.starts_with("wifi") ? 5 : 0;
  } else if (text.starts_with("id-")) {
    prefix = 3;
  }
  const std::size_t length = prefix + kDrawn + kCheck;
  if (prefix == 0 || text.size() < length) {
    return 0;
  }
  std::string again(text.substr(0, prefix + kDrawn));
  for (const char c : text.substr(prefix, kDrawn)) {
    if (kAlphabet.find(c) == std::string_view::npos) {
      return 0;
    }
  }
  appendCheck(again);
  return again == text.substr(0, length) ? length : 0;
}

bool StandIns::isLabel(std::string_view text) {
  return !text.empty() && labelAt(text) == text.size();
}

std::string StandIns::host(std::string_view name) const {
  const HostParts parts = splitHost(name);
  if (parts.isReserved) {
    return std::string(name);
  }
  std::string result;
  for (const std::string_view part : parts.labels) {
    if (!result.empty()) {
      result += '.';
    }
    // A label with an underscore names a service, the same everywhere (RFC 2782).
    result += part.starts_with('_') || isLabel(part) ? std::string(part) : label(RedactKind::kHost, part);
  }
  if (!parts.base.empty()) {
    result += (result.empty() ? "" : ".") + label(RedactKind::kHost, parts.base);
  }
  if (parts.isQualified) {
    result += ".example";
  }
  return result;
}

std::string StandIns::email(std::string_view local, std::string_view domain) const {
  return (isLabel(local) ? std::string(local) : label(RedactKind::kUser, local)) + "@" + host(domain);
}

std::string StandIns::uuid(std::string_view text) const {
  const std::uint64_t high = hash(kForUuid, text);
  const std::uint64_t low = hash(kForUuid | 0x100U, text);
  return "00000000-" + hexText(high, 4) + "-8" + hexText(high >> 16U, 3) + "-8" + hexText(high >> 32U, 3) +
         "-" + hexText(low, 12);
}

bool StandIns::isUuid(std::string_view text) {
  return text.size() == 36 && text.starts_with("00000000-") && text[14] == '8' && text[19] == '8';
}

std::uint8_t StandIns::permutedByte(std::uint64_t prefix, std::uint8_t value) const {
  // These two mean networks and broadcasts, and are to be seen as such.
  if (value == 0 || value == 255) {
    return value;
  }
  // Four rounds of a Feistel network over the two halves of the byte, walked until the fixed values are left.
  std::uint64_t round[4] = {};
  for (std::uint64_t i = 0; i < 4; ++i) {
    round[i] = hash(kForByte + (i << 4U), prefix);
  }
  unsigned left = value >> 4U;
  unsigned right = value & 15U;
  do {
    for (const std::uint64_t nibbles : round) {
      const unsigned mixed = left ^ (static_cast<unsigned>(nibbles >> (4U * right)) & 15U);
      left = right;
      right = mixed;
    }
  } while ((left == 0 && right == 0) || (left == 15 && right == 15));
  return static_cast<std::uint8_t>(left << 4U | right);
}

std::uint32_t StandIns::privateIpv4(std::uint32_t address, std::uint32_t network, unsigned fixedBytes) const {
  std::uint32_t result = network;
  for (unsigned i = fixedBytes; i < 4; ++i) {
    const unsigned shift = 8U * (3U - i);
    const std::uint64_t prefix = (address >> shift) >> 8U | std::uint64_t{i} << 32U;
    result |= std::uint32_t{permutedByte(prefix, static_cast<std::uint8_t>(address >> shift))} << shift;
  }
  return result;
}

std::uint32_t StandIns::ipv4(std::uint32_t address) {
  if (address >> 24U == 10) {
    return privateIpv4(address, 0xfa000000, 1);
  }
  if (address >> 20U == 0xac1) {
    return privateIpv4(address, 0xfb000000 | (address & 0x001f0000U), 2);
  }
  if (address >> 22U == 0x6440U >> 6U) {
    return privateIpv4(address, 0xfb000000 | (address & 0x007f0000U), 2);
  }
  if (address >> 16U == 0xc0a8) {
    return privateIpv4(address, 0xfba80000, 2);
  }
  const std::uint32_t network = address >> 8U;
  const std::uint32_t place = m_Networks4.placeOf(network, hash(kForNetwork4, network));
  return kPublicNetworks | place << 8U |
         permutedByte(network | std::uint64_t{4} << 32U, static_cast<std::uint8_t>(address));
}

Ipv6Bytes StandIns::ipv6(const Ipv6Bytes& address) {
  const std::uint64_t upper = upperHalf(address);
  const std::uint64_t site = upper >> 16U;
  Ipv6Bytes result = {};
  const bool isLocal = (address[0] & 0xfeU) == 0xfc || address[0] == 0xfe;
  PlaceTable& table = isLocal ? m_LocalNetworks6 : m_Networks6;
  const std::uint32_t place = table.placeOf(site, hash(kForNetwork6, site));
  if (isLocal) {
    result = {
        0x20, 0x01, 0x0d, 0xb8, static_cast<std::uint8_t>(place >> 8U), static_cast<std::uint8_t>(place)};
  } else {
    result = {0x3f,
              0xff,
              0,
              static_cast<std::uint8_t>(place >> 16U),
              static_cast<std::uint8_t>(place >> 8U),
              static_cast<std::uint8_t>(place)};
  }
  // Subnet 0 is the network itself; the others are drawn.
  const std::uint64_t subnet = (upper & 0xffffU) == 0 ? 0 : hash(kForSubnet, upper) % 0xffffU + 1;
  result[6] = static_cast<std::uint8_t>(subnet >> 8U);
  result[7] = static_cast<std::uint8_t>(subnet);
  std::uint64_t lower = 0;
  for (std::size_t i = 8; i < 16; ++i) {
    lower = lower << 8U | address[i];
  }
  if (lower != 0) {
    lower = hash(kForInterface, lower ^ hash(kForInterface, upper)) | 1U;
  }
  for (std::size_t i = 0; i < 8; ++i) {
    result[8 + i] = static_cast<std::uint8_t>(lower >> (8U * (7U - i)));
  }
  return result;
}

MacBytes StandIns::mac(const MacBytes& address) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : address) {
    value = value << 8U | byte;
  }
  const std::uint32_t place = m_Macs.placeOf(value, hash(kForMac, value));
  return {0x02,
          0x00,
          0x5e,
          static_cast<std::uint8_t>(place >> 16U),
          static_cast<std::uint8_t>(place >> 8U),
          static_cast<std::uint8_t>(place)};
}

bool StandIns::isMac(const MacBytes& address) {
  return address[0] == 0x02 && address[1] == 0x00 && address[2] == 0x5e;
}

void StandIns::remember(RedactKind kind, std::string_view value, std::string_view standIn) {
  if (!m_bRecording || value == standIn) {
    return;
  }
  std::string key = folded(value);
  const std::lock_guard<std::mutex> guard(m_Lock);
  m_Pairs.try_emplace({kind, std::move(key)}, standIn);
}

}  // namespace halvo
