// The list of processes: the part that all hosts share.

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

[[noreturn]] void stopOnAssertion(const char* text, int line) {
  std::fprintf(stderr, "%s:%d: GetBSDProcessList: Assertion failed: %s\n", __FILE__, line, text);
  std::abort();
}

// An assertion that release builds keep. `text` is what it prints, in the words of the suite.
void require(bool condition, const char* text, int line) {
  if (!condition) {
    stopOnAssertion(text, line);
  }
}

}  // namespace

void* ProcessTable::allocate(std::size_t bytes) {
  return std::malloc(bytes);
}

int GetBSDProcessList(BSDProcess** procList, std::size_t* procCount) {
  return GetBSDProcessList(procList, procCount, hostProcessTable());
}

int GetBSDProcessList(BSDProcess** procList, std::size_t* procCount, ProcessTable& table) {
  require(procList != nullptr, "procList != NULL", __LINE__);
  require(*procList == nullptr, "*procList == NULL", __LINE__);
  require(procCount != nullptr, "procCount != NULL", __LINE__);

  *procCount = 0;
  int err = 0;
  for (;;) {
    std::size_t bytes = 0;
    err = table.size(bytes);
    if (err != 0) {
      break;
    }
    auto* records = static_cast<BSDProcess*>(table.allocate(bytes));
    if (records == nullptr) {
      err = ENOMEM;
      break;
    }
    err = table.read(records, bytes);
    if (err == 0) {
      *procList = records;
      *procCount = bytes / sizeof(BSDProcess);
      break;
    }
    std::free(records);
    // The table grew between the two looks: look again, however often that happens.
    if (err != ENOMEM) {
      break;
    }
  }

  require((err == 0) == (*procList != nullptr), "(err == 0) == (*procList != NULL)", __LINE__);
  return err;
}

}  // namespace halvo
