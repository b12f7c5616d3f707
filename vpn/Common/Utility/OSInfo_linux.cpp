#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "vpn/Common/Utility/OSInfo.h"

namespace halvo {

namespace {

// The value of a line NAME=value of os-release(5), its quotes and backslashes taken away.
std::string unquote(const std::string& value) {
  std::string plain;
  const bool quoted = value.size() >= 2 && (value.front() == '"' || value.front() == '\'');
  const std::size_t end = quoted ? value.size() - 1 : value.size();
  for (std::size_t i = quoted ? 1 : 0; i < end; ++i) {
    if (value[i] == '\\' && i + 1 < end) {
      ++i;
    }
    plain += value[i];
  }
  return plain;
}

}  // namespace

void getOSInfo(OSInfo& record) {
  std::memset(&record, 0, sizeof(record));
  record.family = kFamilyLinux;
  std::string name = "Linux";
  std::string version;
  for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
    std::ifstream file(path);
    if (!file) {
      continue;
    }
    std::string line;
    while (std::getline(file, line)) {
      if (line.rfind("NAME=", 0) == 0) {
        name = unquote(line.substr(5));
      } else if (line.rfind("VERSION_ID=", 0) == 0) {
        version = unquote(line.substr(11));
      }
    }
    break;
  }
  std::snprintf(record.name, sizeof(record.name), "%s", name.c_str());
  // A missing number stays zero: 12 reads as 12.0.0, 24.04 as 24.4.0.
  if (std::sscanf(version.c_str(), "%9d.%9d.%9d", &record.major, &record.minor, &record.patch) < 1) {
    record.major = 0;
  }
  std::snprintf(record.versionText, sizeof(record.versionText), "%d.%d.%d", record.major, record.minor,
                record.patch);
}

}  // namespace halvo
