// The text of a map: what stood for what, to be taken up by the next redaction.

#include <charconv>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"

namespace halvo {

namespace {

constexpr std::string_view kMapHeader = "tolm redaction map 1";

// Tabs, controls and the escape itself as \xHH: a map is a file of lines.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f || c == '\\') {
      result += "\\x" + hexText(byte, 2);
    } else {
      result += c;
    }
  }
  return result;
}

bool parseHex(std::string_view text, std::uint64_t& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

bool unescaped(std::string_view text, std::string& result) {
  result.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      result += text[i];
      continue;
    }
    std::uint64_t byte = 0;
    if (i + 3 >= text.size() || text[i + 1] != 'x' || !parseHex(text.substr(i + 2, 2), byte)) {
      return false;
    }
    result += static_cast<char>(byte);
    i += 3;
  }
  return true;
}

std::vector<std::string_view> fields(std::string_view line) {
  std::vector<std::string_view> parts;
  for (;;) {
    const std::size_t tab = line.find('\t');
    parts.push_back(line.substr(0, tab));
    if (tab == std::string_view::npos) {
      return parts;
    }
    line.remove_prefix(tab + 1);
  }
}

}  // namespace

std::string StandIns::save() const {
  std::string text(kMapHeader);
  text += "\nkey\t";
  for (const std::uint8_t byte : m_Key) {
    text += hexText(byte, 2);
  }
  text += '\n';
  const auto saveTable = [&text](std::string_view name, const PlaceTable& table) {
    std::uint64_t value = 0;
    for (std::uint32_t place = 0; place < table.size(); ++place) {
      if (table.at(place, value)) {
        text.append(name).append("\t").append(hexText(place, 5)).append("\t").append(hexText(value, 12)) +=
            '\n';
      }
    }
  };
  saveTable("network4", m_Networks4);
  saveTable("network6", m_Networks6);
  saveTable("local6", m_LocalNetworks6);
  saveTable("hardware", m_Macs);
  const std::lock_guard<std::mutex> guard(m_Lock);
  for (const auto& [key, standIn] : m_Pairs) {
    text.append(redactKindName(key.first)).append("\t").append(escaped(standIn)).append("\t");
    text.append(escaped(key.second)) += '\n';
  }
  return text;
}

std::string StandIns::load(std::string_view text) {
  std::size_t number = 0;
  bool hasKey = false;
  while (!text.empty()) {
    ++number;
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    const std::string where = "line " + std::to_string(number) + " ";
    if (number == 1) {
      if (line != kMapHeader) {
        return where + "isn't \"" + std::string(kMapHeader) + "\": this is no map of redactions";
      }
      continue;
    }
    const std::vector<std::string_view> parts = fields(line);
    std::uint64_t place = 0;
    std::uint64_t value = 0;
    RedactKind kind = RedactKind::kAddress;
    if (parts[0] == "key" && parts.size() == 2 && parts[1].size() == 32) {
      for (std::size_t i = 0; i < m_Key.size(); ++i) {
        if (!parseHex(parts[1].substr(2 * i, 2), value)) {
          return where + "has no key";
        }
        m_Key[i] = static_cast<std::uint8_t>(value);
      }
      hasKey = true;
    } else if (parts.size() == 3 && redactKindOf(parts[0], kind)) {
      std::string standIn;
      std::string original;
      if (!unescaped(parts[1], standIn) || !unescaped(parts[2], original)) {
        return where + "has an escape that isn't \\xHH";
      }
      m_Pairs.try_emplace({kind, original}, standIn);
    } else {
      PlaceTable* const table = parts[0] == "network4"   ? &m_Networks4
                                : parts[0] == "network6" ? &m_Networks6
                                : parts[0] == "local6"   ? &m_LocalNetworks6
                                : parts[0] == "hardware" ? &m_Macs
                                                         : nullptr;
      if (table == nullptr || parts.size() != 3 || !parseHex(parts[1], place) || !parseHex(parts[2], value) ||
          place > 0xffffffffU || !table->put(static_cast<std::uint32_t>(place), value)) {
        return where + "can't be understood";
      }
    }
  }
  return hasKey ? std::string() : "it has no line with a key";
}

}  // namespace halvo
