// Failure switches for the host calls that the tests of this folder have fail.
//
// The test program is linked with --wrap for each of the calls, so that they come to HostCalls_test.cpp
// first. A call goes on to the host unless its switch is set. A switch that is set in a test counts in
// the children that are forked later, too.

#pragma once

#include <grp.h>
#include <pwd.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace halvo::test {

class HostCall {
 public:
  // The calls behind the next `after` fail with `error`: all, or as many as `times` says.
  void fail(int error, int after = 0, int times = -1);
  // The first call, the third and so on fail with `error`; those between reach the host.
  void failEveryOther(int error);
  // The calls do nothing and report success.
  void pretend();
  void reset();

  enum class Way { kHost, kFail, kPretend };
  // For the wrapper: what to do this time. Sets errno for a failure.
  Way next();

 private:
  std::mutex m_mutex;
  Way m_way = Way::kHost;
  int m_nError = 0;
  int m_nAfter = 0;
  int m_nTimes = -1;
  bool m_bEveryOther = false;
};

// The switches, by the calls' names.
struct HostCalls {
  HostCall forkCall, putenvCall, getpriorityCall, pipeCall, readCall, writeCall, selectCall;
  HostCall initgroupsCall, setgidCall, setuidCall, setegidCall, seteuidCall, getpwnamCall, getpwuidCall;
  HostCall watchOpenCall, watchRegisterCall, watchAwaitCall, pthreadCreateCall, pthreadJoinCall;
  HostCall usleepCall;

  // What getgrnam finds instead of the machine's groups, while it isn't empty.
  std::map<std::string, std::vector<std::string>> groups;
  // Whether getpwuid's entries come without a name.
  std::atomic<bool> areUsersNameless = false;
  // The identity calls made, in order, with a blank behind each.
  std::string identityCalls;
  // The same calls with their arguments: "setgid 7; setuid 8; ".
  std::string identityArguments;
  // The microseconds that the last usleep and the last select were to last; -1 without one.
  std::atomic<long> lastSleep = -1;
  std::atomic<long> lastSelect = -1;
  // With a clock of the test's own, which the ticks come from, a sleep or a select with a limit lasts no
  // time: the clock goes on by as much, and `onPause` is called then. Set ahead of any other thread.
  bool hasOwnClock = false;
  std::atomic<std::uint32_t> ownClock = 0;
  std::function<void()> onPause;
  // Whether the next select reports one ready descriptor and points at none.
  std::atomic<bool> doesSelectPointAtNone = false;
  // The switches of read and write count for this descriptor only.
  std::atomic<int> descriptor = -1;

  void reset();
};

HostCalls& hostCalls();

// Puts all switches back when it dies: for fixtures.
class HostCallsReset {
 public:
  HostCallsReset() { hostCalls().reset(); }
  ~HostCallsReset() { hostCalls().reset(); }
  HostCallsReset(const HostCallsReset&) = delete;
  HostCallsReset& operator=(const HostCallsReset&) = delete;
};

}  // namespace halvo::test
