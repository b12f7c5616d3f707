#include "vpn/tools/TOLM/TOLMFrontEnd/DroppedOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace halvo {

namespace {

constexpr int kFirstAside = 10;

// Puts the stream aside and the null device in its place; -1 where that can't be done, and nothing is
// changed.
int putAside(int stream, int nothing) {
  const int aside = fcntl(stream, F_DUPFD_CLOEXEC, kFirstAside);
  if (aside >= 0 && dup2(nothing, stream) < 0) {
    close(aside);
    return -1;
  }
  return aside;
}

void putBack(int aside, int stream) {
  if (aside >= 0) {
    dup2(aside, stream);
    close(aside);
  }
}

}  // namespace

DroppedOutput::DroppedOutput(bool output, bool error) {
  if (!output && !error) {
    return;
  }
  // What waits in the streams was written ahead of this, and isn't to be dropped.
  std::fflush(nullptr);
  const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nothing < 0) {
    return;
  }
  m_nOutput = output ? putAside(STDOUT_FILENO, nothing) : -1;
  m_nError = error ? putAside(STDERR_FILENO, nothing) : -1;
  close(nothing);
}

DroppedOutput::~DroppedOutput() {
  if (m_nOutput >= 0 || m_nError >= 0) {
    // And what waits now is.
    std::fflush(nullptr);
  }
  putBack(m_nOutput, STDOUT_FILENO);
  putBack(m_nError, STDERR_FILENO);
}

int DroppedOutput::errorStream() const {
  return m_nError >= 0 ? m_nError : STDERR_FILENO;
}

}  // namespace halvo
