#include "vpn/Common/Utility/OSInfo.h"

#include <cstdio>

namespace halvo {

namespace {

OSInfo currentRecord() {
  OSInfo record;
  getOSInfo(record);
  return record;
}

}  // namespace

void getOSName(char* buffer, std::size_t size) {
  std::snprintf(buffer, size, "%s", currentRecord().name);
}

void getOSVersionText(char* buffer, std::size_t size) {
  std::snprintf(buffer, size, "%s", currentRecord().versionText);
}

bool isMacAtLeast(const OSInfo& record, std::int32_t major, std::int32_t minor) {
  return record.family == kFamilyMac &&
         (record.major > major || (record.major == major && record.minor >= minor));
}

bool isWin2k() {
  const OSInfo record = currentRecord();
  return record.family == 3 && record.major == 5 && record.minor == 0;
}

bool isWin2k3() {
  return false;
}
bool isWinXP() {
  return false;
}
bool isVista() {
  return false;
}
bool isWin7() {
  return false;
}
bool isWin8() {
  return false;
}
bool isMac() {
  return currentRecord().family == kFamilyMac;
}
bool isMacAtLeast_10_12() {
  return isMacAtLeast(currentRecord(), 10, 12);
}
bool isLinux() {
  return currentRecord().family == kFamilyLinux;
}

}  // namespace halvo
