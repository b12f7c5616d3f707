// MoBuilder: writes language files byte by byte, good ones and broken ones.

#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <string>

namespace halvo::test {

class MoBuilder {
 public:
  enum class Order { kHost, kSwapped };

  explicit MoBuilder(Order order = Order::kHost) : m_order(order) {}

  MoBuilder& add(const std::string& key, const std::string& translation) {
    m_strings[key] = translation;
    return *this;
  }
  MoBuilder& revision(std::uint32_t value) {
    m_revision = value;
    return *this;
  }

  // Header, table of originals, table of translations, then the strings, each with its closing zero.
  [[nodiscard]] std::string build() const {
    const auto count = static_cast<std::uint32_t>(m_strings.size());
    const std::uint32_t originals = 28;
    const std::uint32_t translations = originals + 8 * count;
    std::uint32_t next = translations + 8 * count;
    std::string file =
        number(0x950412de) + number(m_revision) + number(count) + number(originals) + number(translations);
    file += number(0) + number(next);  // no hash table
    std::string originalTable;
    std::string translationTable;
    std::string texts;
    for (const auto& [key, translation] : m_strings) {
      originalTable += number(static_cast<std::uint32_t>(key.size())) + number(next);
      texts += key + '\0';
      next += static_cast<std::uint32_t>(key.size()) + 1;
    }
    for (const auto& [key, translation] : m_strings) {
      translationTable += number(static_cast<std::uint32_t>(translation.size())) + number(next);
      texts += translation + '\0';
      next += static_cast<std::uint32_t>(translation.size()) + 1;
    }
    return file + originalTable + translationTable + texts;
  }

  // `value` in the file's byte order.
  [[nodiscard]] std::string number(std::uint32_t value) const {
    if (m_order == Order::kSwapped) {
      value = __builtin_bswap32(value);
    }
    std::string bytes(sizeof(value), '\0');
    std::memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
  }

 private:
  Order m_order;
  std::uint32_t m_revision = 0;
  std::map<std::string, std::string> m_strings;
};

}  // namespace halvo::test
