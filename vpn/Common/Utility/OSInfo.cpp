#include "vpn/Common/Utility/OSInfo.h"

#include <cstdio>

namespace halvo {

namespace {

// What the version's text must fit in, its end included.
constexpr std::size_t kProductVersionSize = 32;

OSInfo currentRecord() {
  OSInfo record;
  getOSInfo(record);
  return record;
}

// The patch number doesn't matter; a major number of 11 and more passes, one below 10 fails.
bool isMacAtLeast10(const OSInfo& record, std::int32_t minor) {
  return isMac(record) && (record.major > 10 || (record.major == 10 && record.minor >= minor));
}

// A constant until the first question: static objects of other units ask too.
constinit SystemVersion s_systemVersion(&readProductVersion);

}  // namespace

void setOSInfo(OSInfo& record, const char* name, std::int32_t major, std::int32_t minor, std::int32_t patch) {
  record.major = major;
  record.minor = minor;
  record.patch = patch;
  std::snprintf(record.name, sizeof(record.name), "%s", name);
  std::snprintf(record.versionText, sizeof(record.versionText), "%d.%d.%d", major, minor, patch);
}

void getOSName(char* buffer, std::size_t size) {
  std::snprintf(buffer, size, "%s", currentRecord().name);
}

void getOSVersionText(char* buffer, std::size_t size) {
  std::snprintf(buffer, size, "%s", currentRecord().versionText);
}

bool isFamily0(const OSInfo& record) {
  return record.family == 0;
}

bool isFamily1To4(const OSInfo& record) {
  return record.family >= 1 && record.family <= 4;
}

bool isFamily3NewerThan4(const OSInfo& record) {
  return record.family == 3 && record.major > 4;
}

bool isWin2k(const OSInfo& record) {
  return record.family == 3 && record.major == 5 && record.minor == 0;
}

bool isMac(const OSInfo& record) {
  return record.family == kFamilyMac;
}

bool isMacAtLeast_10_9(const OSInfo& record) {
  return isMacAtLeast10(record, 9);
}

bool isMacAtLeast_10_10(const OSInfo& record) {
  return isMacAtLeast10(record, 10);
}

bool isMacAtLeast_10_11(const OSInfo& record) {
  return isMacAtLeast10(record, 11);
}

bool isMac_10_9_0or1(const OSInfo& record) {
  return isMac(record) && record.major == 10 && record.minor == 9 && record.patch < 2;
}

bool isMacAtLeast_10_12(const OSInfo& record) {
  return isMacAtLeast10(record, 12);
}

bool isMacAtLeast_10_13(const OSInfo& record) {
  return isMacAtLeast10(record, 13);
}

bool isLinux(const OSInfo& record) {
  return record.family == kFamilyLinux;
}

bool isFamily7(const OSInfo& record) {
  return record.family == 7;
}

bool isFamily0() {
  return isFamily0(currentRecord());
}

bool isFamily1To4() {
  return isFamily1To4(currentRecord());
}

bool isFamily3NewerThan4() {
  return isFamily3NewerThan4(currentRecord());
}

bool isWin2k() {
  return isWin2k(currentRecord());
}

bool isMac() {
  return isMac(currentRecord());
}

bool isMacAtLeast_10_9() {
  return isMacAtLeast_10_9(currentRecord());
}

bool isMacAtLeast_10_10() {
  return isMacAtLeast_10_10(currentRecord());
}

bool isMacAtLeast_10_11() {
  return isMacAtLeast_10_11(currentRecord());
}

bool isMac_10_9_0or1() {
  return isMac_10_9_0or1(currentRecord());
}

bool isMacAtLeast_10_12() {
  return isMacAtLeast_10_12(currentRecord());
}

bool isMacAtLeast_10_13() {
  return isMacAtLeast_10_13(currentRecord());
}

bool isLinux() {
  return isLinux(currentRecord());
}

bool isFamily7() {
  return isFamily7(currentRecord());
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

void SystemVersion::read() {
  const std::optional<std::string> text = m_pReader();
  // A longer text isn't cut: what is left would be another version.
  if (!text.has_value() || text->size() >= kProductVersionSize) {
    return;
  }
  // A version of two numbers leaves the third at zero.
  static_cast<void>(std::sscanf(text->c_str(), "%d.%d.%d", &m_nMajor, &m_nMinor, &m_nPatch));
}

bool SystemVersion::isAtLeast(int major, int minor, int patch) {
  std::call_once(m_once, [this] { read(); });
  if (m_nMajor != major) {
    return m_nMajor > major;
  }
  if (m_nMinor != minor) {
    return m_nMinor > minor;
  }
  return m_nPatch >= patch;
}

bool isSystemVersionAtLeast(int major, int minor, int patch) {
  return s_systemVersion.isAtLeast(major, minor, patch);
}

}  // namespace halvo
