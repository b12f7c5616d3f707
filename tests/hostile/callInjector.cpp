// callInjector: runs a program with all its children under ptrace(2), and has one of their system calls fail.
//
//   callInjector trace OUTCOME CALLS SECONDS -- PROGRAM...    notes every call in the file CALLS
//   callInjector fail OUTCOME PROCESS NUMBER WHICH ERROR SECONDS -- PROGRAM...
//   callInjector watch OUTCOME SECONDS -- PROGRAM...           makes nothing fail
//
// Processes and threads count in the order in which they begin, the program itself is 0. `fail` has the
// WHICH-th call of that NUMBER there answer ERROR. The call isn't made, apart from two. close(): one that
// fails has closed its descriptor all the same on this host, and a pipe whose end stayed open would hang
// without any fault of the program's. brk(): it has no error, and answers with the end of the data that there
// was before.
//
// A line of CALLS: process, number, name, which. OUTCOME gets one line:
//
//   exit|signal|timeout VALUE injected 0|1 living COUNT
//
// with what became of the program, whether the call was met, and how many descendants were still alive a
// moment after its end (they are killed). The program's streams are left alone.

#include <elf.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <string>
#include <vector>

namespace {

struct CallName {
  long number;
  const char* name;
};

#define CALL(name) \
  { SYS_##name, #name }
constexpr CallName kNames[] = {
    CALL(read),
    CALL(write),
    CALL(close),
    CALL(fstat),
    CALL(lseek),
    CALL(mmap),
    CALL(mprotect),
    CALL(munmap),
    CALL(brk),
    CALL(rt_sigaction),
    CALL(rt_sigprocmask),
    CALL(ioctl),
    CALL(pread64),
    CALL(pwrite64),
    CALL(readv),
    CALL(writev),
    CALL(pipe2),
    CALL(madvise),
    CALL(dup),
    CALL(dup3),
    CALL(nanosleep),
    CALL(clock_nanosleep),
    CALL(getpid),
    CALL(socket),
    CALL(connect),
    CALL(sendto),
    CALL(sendmsg),
    CALL(recvmsg),
    CALL(bind),
    CALL(socketpair),
    CALL(setsockopt),
    CALL(getsockopt),
    CALL(clone),
    CALL(execve),
    CALL(exit),
    CALL(exit_group),
    CALL(wait4),
    CALL(waitid),
    CALL(kill),
    CALL(uname),
    CALL(fcntl),
    CALL(flock),
    CALL(fsync),
    CALL(fdatasync),
    CALL(truncate),
    CALL(ftruncate),
    CALL(getcwd),
    CALL(chdir),
    CALL(fchdir),
    CALL(fchmod),
    CALL(fchmodat),
    CALL(fchown),
    CALL(fchownat),
    CALL(umask),
    CALL(prlimit64),
    CALL(getrlimit),
    CALL(setrlimit),
    CALL(sysinfo),
    CALL(getuid),
    CALL(geteuid),
    CALL(getgid),
    CALL(getegid),
    CALL(prctl),
    CALL(statfs),
    CALL(fstatfs),
    CALL(sync),
    CALL(syncfs),
    CALL(gettid),
    CALL(futex),
    CALL(getdents64),
    CALL(set_tid_address),
    CALL(clock_gettime),
    CALL(clock_getres),
    CALL(tgkill),
    CALL(openat),
    CALL(mkdirat),
    CALL(newfstatat),
    CALL(unlinkat),
    CALL(renameat),
    CALL(renameat2),
    CALL(linkat),
    CALL(symlinkat),
    CALL(readlinkat),
    CALL(faccessat),
    CALL(pselect6),
    CALL(ppoll),
    CALL(set_robust_list),
    CALL(utimensat),
    CALL(inotify_init1),
    CALL(inotify_add_watch),
    CALL(signalfd4),
    CALL(eventfd2),
    CALL(epoll_create1),
    CALL(epoll_ctl),
    CALL(epoll_pwait),
    CALL(timerfd_create),
    CALL(timerfd_settime),
    CALL(getrandom),
    CALL(memfd_create),
    CALL(statx),
    CALL(rseq),
    CALL(copy_file_range),
    CALL(fallocate),
    CALL(mlock),
    CALL(munlock),
    CALL(mlockall),
    CALL(getresuid),
    CALL(getresgid),
    CALL(setsid),
    CALL(setpgid),
    CALL(getpgid),
    CALL(getppid),
    CALL(rt_sigtimedwait),
    CALL(rt_sigsuspend),
    CALL(rt_sigpending),
    CALL(sigaltstack),
    CALL(sched_yield),
    CALL(sched_getaffinity),
    CALL(restart_syscall),
    CALL(rt_sigreturn),
    CALL(sendfile),
    CALL(splice),
    CALL(fadvise64),
    CALL(times),
    CALL(getrusage),
    CALL(getgroups),
#ifdef SYS_clone3
    CALL(clone3),
#endif
#ifdef SYS_close_range
    CALL(close_range),
#endif
#ifdef SYS_openat2
    CALL(openat2),
#endif
#ifdef SYS_faccessat2
    CALL(faccessat2),
#endif
#ifdef SYS_pidfd_open
    CALL(pidfd_open),
    CALL(pidfd_send_signal),
#endif
// The older calls, which newer machines never had.
#ifdef SYS_open
    CALL(open),
    CALL(stat),
    CALL(lstat),
    CALL(poll),
    CALL(select),
    CALL(access),
    CALL(pipe),
    CALL(dup2),
    CALL(fork),
    CALL(vfork),
    CALL(rename),
    CALL(mkdir),
    CALL(rmdir),
    CALL(link),
    CALL(unlink),
    CALL(symlink),
    CALL(readlink),
    CALL(chmod),
    CALL(chown),
    CALL(getpgrp),
    CALL(arch_prctl),
    CALL(alarm),
    CALL(time),
    CALL(epoll_create),
    CALL(epoll_wait),
    CALL(inotify_init),
    CALL(eventfd),
    CALL(getdents),
    CALL(utime),
    CALL(pause),
#endif
};
#undef CALL

std::string nameOf(long number) {
  for (const CallName& call : kNames) {
    if (call.number == number) {
      return call.name;
    }
  }
  return "call_" + std::to_string(number);
}

#if defined(__x86_64__)
using Registers = user_regs_struct;
bool skipCall(pid_t thread, Registers& registers) {
  registers.orig_rax = static_cast<unsigned long long>(-1);
  return ptrace(PTRACE_SETREGS, thread, nullptr, &registers) == 0;
}
// Changes the call's argument and tells the one before: the program counts on its register to stay.
unsigned long long swapArgument(pid_t thread, unsigned long long argument) {
  Registers registers = {};
  ptrace(PTRACE_GETREGS, thread, nullptr, &registers);
  const unsigned long long before = registers.rdi;
  registers.rdi = argument;
  ptrace(PTRACE_SETREGS, thread, nullptr, &registers);
  return before;
}
bool setAnswer(pid_t thread, long answer) {
  Registers registers = {};
  if (ptrace(PTRACE_GETREGS, thread, nullptr, &registers) != 0) {
    return false;
  }
  registers.rax = static_cast<unsigned long long>(answer);
  return ptrace(PTRACE_SETREGS, thread, nullptr, &registers) == 0;
}
long callNumber(pid_t thread, Registers& registers) {
  return ptrace(PTRACE_GETREGS, thread, nullptr, &registers) == 0 ? static_cast<long>(registers.orig_rax)
                                                                  : -1;
}
#elif defined(__aarch64__)
using Registers = user_regs_struct;
bool skipCall(pid_t thread, Registers&) {
  int none = -1;
  iovec part = {&none, sizeof(none)};
  return ptrace(PTRACE_SETREGSET, thread, NT_ARM_SYSTEM_CALL, &part) == 0;
}
// The argument's register is the answer's: nothing has to be put back.
unsigned long long swapArgument(pid_t thread, unsigned long long argument) {
  Registers registers = {};
  iovec part = {&registers, sizeof(registers)};
  ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &part);
  const unsigned long long before = registers.regs[0];
  if (argument == 0) {
    registers.regs[0] = 0;
    ptrace(PTRACE_SETREGSET, thread, NT_PRSTATUS, &part);
  }
  return before;
}
bool setAnswer(pid_t thread, long answer) {
  Registers registers = {};
  iovec part = {&registers, sizeof(registers)};
  if (ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &part) != 0) {
    return false;
  }
  registers.regs[0] = static_cast<unsigned long long>(answer);
  return ptrace(PTRACE_SETREGSET, thread, NT_PRSTATUS, &part) == 0;
}
long callNumber(pid_t thread, Registers& registers) {
  iovec part = {&registers, sizeof(registers)};
  return ptrace(PTRACE_GETREGSET, thread, NT_PRSTATUS, &part) == 0 ? static_cast<long>(registers.regs[8])
                                                                   : -1;
}
#else
#error "The injector knows the registers of x86-64 and aarch64"
#endif

struct Order {
  enum class Mode { kTrace, kFail, kWatch } mode = Mode::kWatch;
  int process = 0;
  long number = -1;
  int which = 0;
  int error = 0;
};

// One thread that is traced.
struct Tracee {
  int ordinal = -1;
  bool isInCall = false;
  bool isToFail = false;    // the answer of the call it is in is replaced
  bool isToShrink = false;  // the call is a brk() that gets nothing; its argument is put back
  unsigned long long argument = 0;
};

volatile sig_atomic_t s_isTimeUp = 0;

void noteTime(int) {
  s_isTimeUp = 1;
}

class Tracer {
 public:
  Tracer(const Order& order, std::FILE* calls) : m_order(order), m_pCalls(calls) {}

  // Starts the program and follows it to its end. False where it couldn't be traced.
  bool run(char** program, unsigned seconds) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    m_program = fork();
    if (m_program == 0) {
      ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
      raise(SIGSTOP);
      execv(program[0], program);
      _exit(125);
    }
    int status = 0;
    if (m_program < 0 || waitpid(m_program, &status, 0) != m_program || !WIFSTOPPED(status)) {
      return false;
    }
    const long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK |
                         PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    if (ptrace(PTRACE_SETOPTIONS, m_program, nullptr, options) != 0) {
      return false;
    }
    m_tracees[m_program].ordinal = 0;
    m_processes = 1;
    goOn(m_program, 0);

    struct sigaction action = {};
    action.sa_handler = noteTime;
    sigaction(SIGALRM, &action, nullptr);
    alarm(seconds);
    follow();
    return true;
  }

  // "exit 0", "signal 11" or "timeout 0", then whether the call was met and who is left.
  std::string outcome() const {
    return m_end + " injected " + std::to_string(m_injected ? 1 : 0) + " living " + std::to_string(m_living);
  }

 private:
  void follow() {
    bool isOver = false;
    timespec deadline = {};
    for (;;) {
      int status = 0;
      const pid_t thread = waitpid(-1, &status, __WALL | (isOver ? WNOHANG : 0));
      if (thread < 0 && errno == EINTR && s_isTimeUp == 0) {
        continue;
      }
      if (thread < 0 && errno == ECHILD) {
        break;
      }
      if (s_isTimeUp != 0 && m_end.empty()) {
        m_end = "timeout 0";
        killAll();
        break;
      }
      if (thread == 0) {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (now.tv_sec > deadline.tv_sec ||
            (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec)) {
          m_living = static_cast<int>(m_tracees.size());
          killAll();
          break;
        }
        usleep(1000);
        continue;
      }
      if (WIFEXITED(status) || WIFSIGNALED(status)) {
        m_tracees.erase(thread);
        if (thread == m_program) {
          m_end = WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                                    : "signal " + std::to_string(WTERMSIG(status));
          // A child that has been told to end gets a moment for it.
          isOver = true;
          clock_gettime(CLOCK_MONOTONIC, &deadline);
          deadline.tv_sec += 10;
        }
        continue;
      }
      stopped(thread, status);
    }
  }

  void stopped(pid_t thread, int status) {
    const int signal = WSTOPSIG(status);
    const int event = status >> 16;
    if (m_tracees.find(thread) == m_tracees.end()) {
      m_tracees[thread];  // its parent's stop tells who it is, now or later
    }
    if (signal == (SIGTRAP | 0x80)) {
      callStop(thread);
      goOn(thread, 0);
      return;
    }
    if (signal == SIGTRAP && event != 0) {
      if (event == PTRACE_EVENT_FORK || event == PTRACE_EVENT_VFORK || event == PTRACE_EVENT_CLONE) {
        unsigned long child = 0;
        ptrace(PTRACE_GETEVENTMSG, thread, nullptr, &child);
        Tracee& tracee = m_tracees[static_cast<pid_t>(child)];
        tracee.ordinal = m_processes++;
        if (m_waiting.erase(static_cast<pid_t>(child)) != 0) {
          goOn(static_cast<pid_t>(child), 0);
        }
      }
      goOn(thread, 0);
      return;
    }
    if (signal == SIGSTOP && m_tracees[thread].ordinal < 0) {
      // A new child, ahead of its parent's word: it waits for its number.
      m_waiting[thread] = true;
      return;
    }
    const bool isFirstStop = signal == SIGSTOP && !m_begun[thread];
    m_begun[thread] = true;
    goOn(thread, isFirstStop ? 0 : signal);
  }

  void callStop(pid_t thread) {
    Tracee& tracee = m_tracees[thread];
    tracee.isInCall = !tracee.isInCall;
    if (!tracee.isInCall) {
      if (tracee.isToShrink) {
        tracee.isToShrink = false;
        swapArgument(thread, tracee.argument);
        m_injected = true;
      }
      if (tracee.isToFail) {
        tracee.isToFail = false;
        m_injected = setAnswer(thread, -m_order.error) || m_injected;
      }
      return;
    }
    Registers registers = {};
    const long number = callNumber(thread, registers);
    const int which = ++m_counts[{tracee.ordinal, number}];
    if (m_order.mode == Order::Mode::kTrace) {
      std::fprintf(m_pCalls, "%d %ld %s %d\n", tracee.ordinal, number, nameOf(number).c_str(), which);
      return;
    }
    if (tracee.ordinal == m_order.process && number == m_order.number && which == m_order.which) {
      if (number == SYS_brk) {
        tracee.isToShrink = true;
        tracee.argument = swapArgument(thread, 0);
        return;
      }
      tracee.isToFail = number == SYS_close || skipCall(thread, registers);
    }
  }

  // Stops at calls only for as long as one is looked for: a stop costs more than most calls.
  void goOn(pid_t thread, int signal) {
    const Tracee& tracee = m_tracees[thread];
    const bool wantsCalls =
        m_order.mode == Order::Mode::kTrace || (m_order.mode == Order::Mode::kFail && !m_injected &&
                                                (tracee.ordinal == m_order.process || tracee.isInCall));
    // A thread that goes on without stops may be in a call, whose end it won't tell.
    if (!wantsCalls) {
      m_tracees[thread].isInCall = false;
    }
    ptrace(wantsCalls ? PTRACE_SYSCALL : PTRACE_CONT, thread, nullptr, static_cast<long>(signal));
  }

  void killAll() {
    for (const auto& [thread, tracee] : m_tracees) {
      kill(thread, SIGKILL);
    }
    // Whatever they start meanwhile dies with this process, by its ptrace options.
    for (int i = 0; i < 2000; ++i) {
      const pid_t ended = waitpid(-1, nullptr, __WALL | WNOHANG);
      if (ended < 0) {
        break;
      }
      if (ended == 0) {
        usleep(1000);
      }
    }
  }

  Order m_order;
  std::FILE* m_pCalls;
  pid_t m_program = -1;
  int m_processes = 0;
  bool m_injected = false;
  int m_living = 0;
  std::string m_end;
  std::map<pid_t, Tracee> m_tracees;
  std::map<pid_t, bool> m_begun;
  std::map<pid_t, bool> m_waiting;
  std::map<std::pair<int, long>, int> m_counts;
};

[[noreturn]] void usage() {
  std::fprintf(stderr,
               "usage: callInjector trace OUTCOME CALLS SECONDS -- PROGRAM...\n"
               "       callInjector fail OUTCOME PROCESS NUMBER WHICH ERROR SECONDS -- PROGRAM...\n"
               "       callInjector watch OUTCOME SECONDS -- PROGRAM...\n");
  std::exit(2);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  std::size_t dash = 0;
  while (dash < words.size() && words[dash] != "--") {
    ++dash;
  }
  Order order;
  std::FILE* calls = nullptr;
  if (dash + 1 >= words.size()) {
    usage();
  }
  if (words[0] == "trace" && dash == 4) {
    order.mode = Order::Mode::kTrace;
    calls = std::fopen(words[2].c_str(), "we");
    if (calls == nullptr) {
      std::perror(words[2].c_str());
      return 2;
    }
  } else if (words[0] == "fail" && dash == 7) {
    order.mode = Order::Mode::kFail;
    order.process = std::atoi(words[2].c_str());
    order.number = std::atol(words[3].c_str());
    order.which = std::atoi(words[4].c_str());
    order.error = std::atoi(words[5].c_str());
  } else if (words[0] != "watch" || dash != 3) {
    usage();
  }
  std::FILE* const outcome = std::fopen(words[1].c_str(), "we");
  if (outcome == nullptr) {
    std::perror(words[1].c_str());
    return 2;
  }
  Tracer tracer(order, calls);
  if (!tracer.run(argv + 2 + dash, static_cast<unsigned>(std::atoi(words[dash - 1].c_str())))) {
    std::fprintf(stderr, "callInjector: tracing was refused: %s\n", std::strerror(errno));
    return 2;
  }
  std::fprintf(outcome, "%s\n", tracer.outcome().c_str());
  std::fclose(outcome);
  if (calls != nullptr) {
    std::fclose(calls);
  }
  return 0;
}
