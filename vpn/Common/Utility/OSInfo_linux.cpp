#include "vpn/Common/Utility/OSInfo_linux.h"

#include <charconv>
#include <cstring>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

namespace halvo {

namespace {

constexpr int kVersionNumbers = 3;

// The value of an assignment in os-release, which follows the shell's rules of quoting.
std::string unquote(const std::string& value) {
  const char quote = !value.empty() && (value.front() == '"' || value.front() == '\'') ? value.front() : '\0';
  std::string plain;
  for (std::size_t i = quote != '\0' ? 1 : 0; i < value.size(); ++i) {
    char byte = value[i];
    if (quote != '\0' && byte == quote) {
      break;
    }
    if (byte == '\\' && quote != '\'' && i + 1 < value.size()) {
      // Within double quotes a backslash counts only in front of these.
      if (quote == '\0' || std::strchr("$\"\\`", value[i + 1]) != nullptr) {
        byte = value[++i];
      }
    }
    plain += byte;
  }
  return plain;
}

// Reads up to three numbers with dots between them; the ones that are missing stay zero.
void parseVersion(const std::string& version, std::int32_t (&numbers)[kVersionNumbers]) {
  const char* position = version.c_str();
  const char* const end = position + version.size();
  for (std::int32_t& number : numbers) {
    // A sign is no part of a version.
    if (position == end || *position < '0' || *position > '9') {
      return;
    }
    const std::from_chars_result read = std::from_chars(position, end, number);
    if (read.ec != std::errc()) {
      return;
    }
    position = read.ptr;
    if (position == end || *position != '.') {
      return;
    }
    ++position;
  }
}

std::optional<std::string> readWhole(const char* path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  // A failed read (the path of a folder, say) counts as an empty file. An allocation that fails doesn't, as
  // it would in a stream of text.
  std::string text;
  char block[4096];
  while (file.good()) {
    file.read(block, sizeof(block));
    text.append(block, static_cast<std::size_t>(file.gcount()));
  }
  return text;
}

}  // namespace

void fillFromOsRelease(const std::string& text, OSInfo& record) {
  std::memset(&record, 0, sizeof(record));
  record.family = kFamilyLinux;
  std::string name = "Linux";
  std::string version;
  std::istringstream lines(text);
  // getline() swallows an allocation that fails, as if the text ended there.
  lines.exceptions(std::ios::badbit);
  std::string line;
  while (std::getline(lines, line)) {
    // The file is meant to be read by a shell: the last assignment of a name counts.
    if (line.rfind("NAME=", 0) == 0) {
      name = unquote(line.substr(5));
    } else if (line.rfind("VERSION_ID=", 0) == 0) {
      version = unquote(line.substr(11));
    }
  }
  std::int32_t numbers[kVersionNumbers] = {};
  parseVersion(version, numbers);
  setOSInfo(record, name.c_str(), numbers[0], numbers[1], numbers[2]);
}

void fillFromOsReleaseFiles(const char* path, const char* secondPath, OSInfo& record) {
  std::optional<std::string> text = readWhole(path);
  if (!text.has_value()) {
    text = readWhole(secondPath);
  }
  fillFromOsRelease(text.value_or(""), record);
}

void getOSInfo(OSInfo& record) {
  fillFromOsReleaseFiles("/etc/os-release", "/usr/lib/os-release", record);
}

std::optional<std::string> readProductVersion() {
  // The version list exists on macOS only.
  return std::nullopt;
}

}  // namespace halvo
