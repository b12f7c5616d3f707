// What a program does ahead of everything else, in main(): puts right what its caller may have handed
// down in an unfit state, and keeps what it writes from other users. For one thread, before any file is
// opened.

#pragma once

#include <sys/stat.h>
#include <sys/types.h>

namespace halvo {

// Opens the null device in place of each standard stream that is closed, so that no file of the program,
// and none of its children, gets that number; reading and writing there goes on failing as on a closed
// one. Takes an ignored SIGCHLD back to its default: where it is ignored the system keeps no child for
// a wait, and every command would count as failed. A failure of either changes nothing; the second is
// logged as an error of "sigaction".
//
// Files and folders that the program makes from here on are for its user alone (a mask of 077).
void prepareProgram();

// The mask that the caller of the program had, which is that of the commands that a run starts; the
// process's own where prepareProgram() was never called. In a forked child too.
mode_t callersMask();

// Puts the caller's mask in force for a scope in which a command is started, and the program's own back.
// The mask is one for all threads: the scope should hold nothing else.
class CallersMask {
 public:
  CallersMask() : m_nOwn(umask(callersMask())) {}
  ~CallersMask() { umask(m_nOwn); }
  CallersMask(const CallersMask&) = delete;
  CallersMask& operator=(const CallersMask&) = delete;

 private:
  mode_t m_nOwn;
};

}  // namespace halvo
