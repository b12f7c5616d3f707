// The list of processes: the part that all hosts share. The assertions stay in release builds: the callers
// are C-like code of the whole suite, and a list that leaks or is read past its end shows far from here.

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "vpn/Common/Utility/Holders.h"
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
    MemoryHolder<BSDProcess> records(static_cast<BSDProcess*>(table.allocate(bytes)));
    if (records == nullptr) {
      err = ENOMEM;
      break;
    }
    err = table.read(records.get(), bytes);
    if (err == 0) {
      *procList = records.release();  // the caller's from here, to be given to free()
      *procCount = bytes / sizeof(BSDProcess);
      break;
    }
    // The table grew between the two looks: look again, however often that happens. Callers of this list
    // take no list for no process, so giving up would answer them wrongly.
    if (err != ENOMEM) {
      break;
    }
  }

  require((err == 0) == (*procList != nullptr), "(err == 0) == (*procList != NULL)", __LINE__);
  return err;
}

}  // namespace halvo
