// Which operating system the program runs on: a record, and yes-or-no predicates on it.
//
// The predicates are shared with the suite's builds for other systems; those for a system that this
// isn't answer false. Each has two forms: a test on a given record, and one without an argument that
// makes a new record of the host at each call. Nothing is cached, and any thread may call.
// Nothing here logs, since the log stands above it and asks it for its back-end.

#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

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

// Fills `record` from the host. Never fails: what the host doesn't tell reads as zero or as the
// host's plain name.
void getOSInfo(OSInfo& record);

// Sets the numbers, `name` (cut to 63 characters) and `versionText`, for the hosts' getOSInfo.
void setOSInfo(OSInfo& record, const char* name, std::int32_t major, std::int32_t minor, std::int32_t patch);

// Copy the text field of a new record, cut to `size` - 1 characters.
void getOSName(char* buffer, std::size_t size);
void getOSVersionText(char* buffer, std::size_t size);

// Families 0 to 4 are other desktop systems of the suite, 3 the one with the version tests, 7 one more.
bool isFamily0(const OSInfo& record);
bool isFamily1To4(const OSInfo& record);
bool isFamily3NewerThan4(const OSInfo& record);
bool isWin2k(const OSInfo& record);
bool isMac(const OSInfo& record);
bool isMacAtLeast_10_9(const OSInfo& record);
bool isMacAtLeast_10_10(const OSInfo& record);
bool isMacAtLeast_10_11(const OSInfo& record);
bool isMac_10_9_0or1(const OSInfo& record);
bool isMacAtLeast_10_12(const OSInfo& record);
bool isMacAtLeast_10_13(const OSInfo& record);
bool isLinux(const OSInfo& record);
bool isFamily7(const OSInfo& record);

bool isFamily0();
bool isFamily1To4();
bool isFamily3NewerThan4();
bool isWin2k();
bool isMac();
bool isMacAtLeast_10_9();
bool isMacAtLeast_10_10();
bool isMacAtLeast_10_11();
bool isMac_10_9_0or1();
bool isMacAtLeast_10_12();
bool isMacAtLeast_10_13();
bool isLinux();
bool isFamily7();

// Always false, whatever the record says. The suite has twenty-eight of this kind, for versions of
// its other systems; these five are the ones that an instruction document can name.
bool isWin2k3();
bool isWinXP();
bool isVista();
bool isWin7();
bool isWin8();

// The numbers that isSystemVersionAtLeast() compares with, and their one reading.
//
// A static object: its numbers start at zero, the first question reads them under a once-only guard,
// and they stay. A failed reading leaves them at zero. Any thread may ask.
class SystemVersion {
 public:
  // Gives the text of the system's version, such as "10.12.6", or nothing where it can't be had.
  using Reader = std::optional<std::string> (*)();

  explicit constexpr SystemVersion(Reader reader) : m_pReader(reader) {}

  // Compares major, then minor, then patch: a higher number of the system at any place gives true, a
  // lower one false, and all three equal give true.
  bool isAtLeast(int major, int minor, int patch);

 private:
  void read();

  Reader m_pReader;
  std::once_flag m_once;
  int m_nMajor = 0;
  int m_nMinor = 0;
  int m_nPatch = 0;
};

// The host's part of the reading: the value of "ProductVersion" in the system's version list at
// /System/Library/CoreServices/SystemVersion.plist, if it is a string. Nothing on a host without it.
std::optional<std::string> readProductVersion();

// Whether the system's version is at least this one. Stands apart from getOSInfo() with a reading of
// its own, kept for the life of the process; false for anything above 0.0.0 where the reading fails.
bool isSystemVersionAtLeast(int major, int minor, int patch);

}  // namespace halvo
