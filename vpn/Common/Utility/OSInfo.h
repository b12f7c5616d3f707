// Which operating system the program runs on: a record, and yes-or-no predicates on it.
//
// The predicates are shared with the suite's builds for other systems; those for a system that this
// isn't answer false. Nothing is cached: each predicate makes a new record. Any thread may call.
// Nothing here logs, since the log stands above it.

#pragma once

#include <cstddef>
#include <cstdint>

namespace halvo {

inline constexpr std::int32_t kFamilyMac = 5;
inline constexpr std::int32_t kFamilyLinux = 6;

struct OSInfo {
  std::int32_t family;
  std::int32_t major;
  std::int32_t minor;
  std::int32_t patch;
  char name[64];
  char versionText[256];  // "%d.%d.%d"
};

// Fills `record` from the host. Never fails: what the host doesn't tell reads as zero or as empty.
void getOSInfo(OSInfo& record);

// Copy the text field of a new record, cut to `size` - 1 characters.
void getOSName(char* buffer, std::size_t size);
void getOSVersionText(char* buffer, std::size_t size);

// The predicates as tests on a given record, which is how they are tested for hosts that this isn't.
bool isMacAtLeast(const OSInfo& record, std::int32_t major, std::int32_t minor);

bool isWin2k();
bool isWin2k3();
bool isWinXP();
bool isVista();
bool isWin7();
bool isWin8();
bool isMac();
bool isMacAtLeast_10_12();
bool isLinux();

}  // namespace halvo
