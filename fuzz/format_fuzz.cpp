// Messages with arguments: key and arguments stand in the input with a zero byte between them.

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "vpn/Common/i18n/MsgWithArg.h"

namespace {

constexpr std::size_t kLongestResult = 2047;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

std::vector<std::string> split(const std::string& text) {
  std::vector<std::string> parts;
  std::size_t start = 0;
  std::size_t end = text.find('\0');
  while (end != std::string::npos) {
    parts.push_back(text.substr(start, end - start));
    start = end + 1;
    end = text.find('\0', start);
  }
  parts.push_back(text.substr(start));
  return parts;
}

// Whether printf itself can be asked: plain placeholders alone, not more than arguments, and nothing
// to decode.
bool isPlain(const std::string& key) {
  std::size_t placeholders = 0;
  for (std::size_t i = key.find('%'); i != std::string::npos; i = key.find('%', i + 2)) {
    if (i + 1 >= key.size() || std::string("sdu").find(key[i + 1]) == std::string::npos) {
      return false;
    }
    ++placeholders;
  }
  return placeholders <= 10;
}

std::string formattedByPrintf(std::string key, const std::vector<std::string>& parts) {
  for (std::size_t i = key.find('%'); i != std::string::npos; i = key.find('%', i + 2)) {
    key[i + 1] = 's';
  }
  std::array<const char*, 10> a = {"", "", "", "", "", "", "", "", "", ""};
  for (std::size_t i = 0; i < a.size() && i + 1 < parts.size(); ++i) {
    a[i] = parts[i + 1].c_str();
  }
  std::array<char, kLongestResult + 1> buffer = {};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::snprintf(buffer.data(), buffer.size(), key.c_str(), a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7],
                a[8], a[9]);
#pragma GCC diagnostic pop
  return buffer.data();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<std::string> parts = split(std::string(reinterpret_cast<const char*>(data), size));
  halvo::MsgWithArg message(parts[0]);
  for (std::size_t i = 1; i < parts.size(); ++i) {
    message.addArgument(parts[i]);
  }
  std::string out = "left over";
  message.format(out, false);

  if (parts.size() == 1) {
    require(out.size() <= parts[0].size());
    require(parts[0].find("&#") != std::string::npos || out == parts[0]);
    return 0;
  }
  require(out.size() <= kLongestResult);
  if (isPlain(parts[0])) {
    const std::string expected = formattedByPrintf(parts[0], parts);
    require(expected.find("&#") != std::string::npos || out == expected);
  }
  return 0;
}
