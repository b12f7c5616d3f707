// FileSizeLimit: for a scope, no file of this process grows beyond a size: writes fail as on a full disk.

#pragma once

#include <signal.h>
#include <sys/resource.h>

namespace halvo::test {

class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &m_Before);
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGXFSZ, &ignore, &m_SignalBefore);
    const rlimit limit = {bytes, m_Before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &m_Before);
    sigaction(SIGXFSZ, &m_SignalBefore, nullptr);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit m_Before = {};
  struct sigaction m_SignalBefore = {};
};

}  // namespace halvo::test
