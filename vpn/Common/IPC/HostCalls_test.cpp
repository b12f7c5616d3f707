#include "vpn/Common/IPC/HostCalls_test.h"

#include <pthread.h>
#include <sys/inotify.h>
#include <sys/select.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace halvo::test {

void HostCall::fail(int error, int after, int times) {
  std::lock_guard<std::mutex> hold(m_mutex);
  m_way = Way::kFail;
  m_nError = error;
  m_nAfter = after;
  m_nTimes = times;
  m_bEveryOther = false;
}

void HostCall::failEveryOther(int error) {
  fail(error, 0, 1);
  std::lock_guard<std::mutex> hold(m_mutex);
  m_bEveryOther = true;
}

void HostCall::pretend() {
  std::lock_guard<std::mutex> hold(m_mutex);
  m_way = Way::kPretend;
}

void HostCall::reset() {
  std::lock_guard<std::mutex> hold(m_mutex);
  m_way = Way::kHost;
}

HostCall::Way HostCall::next() {
  std::lock_guard<std::mutex> hold(m_mutex);
  if (m_way != Way::kFail) {
    return m_way;
  }
  if (m_nAfter > 0) {
    --m_nAfter;
    return Way::kHost;
  }
  if (m_nTimes == 0) {
    m_nTimes = m_bEveryOther ? 1 : 0;
    return Way::kHost;
  }
  m_nTimes -= m_nTimes > 0 ? 1 : 0;
  errno = m_nError;
  return Way::kFail;
}

void HostCalls::reset() {
  for (HostCall* call :
       {&forkCall,          &putenvCall,     &getpriorityCall,   &pipeCall,        &readCall,
        &writeCall,         &selectCall,     &initgroupsCall,    &setgidCall,      &setuidCall,
        &setegidCall,       &seteuidCall,    &getpwnamCall,      &getpwuidCall,    &watchOpenCall,
        &watchRegisterCall, &watchAwaitCall, &pthreadCreateCall, &pthreadJoinCall, &usleepCall}) {
    call->reset();
  }
  groups.clear();
  areUsersNameless = false;
  doesSelectPointAtNone = false;
  identityCalls.clear();
  identityArguments.clear();
  lastSleep = -1;
  lastSelect = -1;
  hasOwnClock = false;
  ownClock = 0;
  onPause = nullptr;
  descriptor = -1;
}

HostCalls& hostCalls() {
  static HostCalls s_calls;
  return s_calls;
}

namespace {

using Way = HostCall::Way;

// The result of a call whose failure is -1.
template <class Real>
auto through(HostCall& call, Real real) -> decltype(real()) {
  switch (call.next()) {
    case Way::kFail:
      return -1;
    case Way::kPretend:
      return 0;
    default:
      return real();
  }
}

void note(const std::string& name, const std::string& arguments) {
  hostCalls().identityCalls += name + " ";
  hostCalls().identityArguments += name + " " + arguments + "; ";
}

template <class Real>
int identity(const char* name, const std::string& arguments, HostCall& call, Real real) {
  note(name, arguments);
  return through(call, real);
}

// Empties a select() set of `count` descriptors.
void emptySet(fd_set* set, int count) {
  if (set != nullptr) {
    const std::size_t words = (static_cast<std::size_t>(count) + NFDBITS - 1) / NFDBITS;
    std::memset(set, 0, words * sizeof(fd_mask));
  }
}

void pauseOnOwnClock(long milliseconds) {
  hostCalls().ownClock += static_cast<std::uint32_t>(milliseconds);
  if (hostCalls().onPause) {
    hostCalls().onPause();
  }
}

}  // namespace

}  // namespace halvo::test

using halvo::test::emptySet;
using halvo::test::HostCall;
using halvo::test::hostCalls;
using halvo::test::identity;
using halvo::test::note;
using halvo::test::pauseOnOwnClock;
using halvo::test::through;

extern "C" {

pid_t __real_fork();
pid_t __wrap_fork();
pid_t __wrap_fork() {
  return through(hostCalls().forkCall, [] { return __real_fork(); });
}

int __real_putenv(char* entry);
int __wrap_putenv(char* entry);
int __wrap_putenv(char* entry) {
  return through(hostCalls().putenvCall, [entry] { return __real_putenv(entry); });
}

int __real_getpriority(int which, id_t who);
int __wrap_getpriority(int which, id_t who);
int __wrap_getpriority(int which, id_t who) {
  return through(hostCalls().getpriorityCall, [which, who] { return __real_getpriority(which, who); });
}

// The event's own way to pipe(2), under its symbol name: the sanitizers' runtime calls pipe() itself.
int realEventPipe(int (&ends)[2]) __asm__("__real__ZN5halvo13openEventPipeERA2_i");
int wrapEventPipe(int (&ends)[2]) __asm__("__wrap__ZN5halvo13openEventPipeERA2_i");
int wrapEventPipe(int (&ends)[2]) {
  return through(hostCalls().pipeCall, [&ends] { return realEventPipe(ends); });
}

std::uint32_t realTick() __asm__("__real__ZN5halvo16tickMillisecondsEv");
std::uint32_t wrapTick() __asm__("__wrap__ZN5halvo16tickMillisecondsEv");
std::uint32_t wrapTick() {
  return hostCalls().hasOwnClock ? hostCalls().ownClock.load() : realTick();
}

ssize_t __real_read(int descriptor, void* buffer, size_t size);
ssize_t __wrap_read(int descriptor, void* buffer, size_t size);
ssize_t __wrap_read(int descriptor, void* buffer, size_t size) {
  if (descriptor != hostCalls().descriptor) {
    return __real_read(descriptor, buffer, size);
  }
  return through(hostCalls().readCall, [=] { return __real_read(descriptor, buffer, size); });
}

ssize_t __real_write(int descriptor, const void* buffer, size_t size);
ssize_t __wrap_write(int descriptor, const void* buffer, size_t size);
ssize_t __wrap_write(int descriptor, const void* buffer, size_t size) {
  if (descriptor != hostCalls().descriptor) {
    return __real_write(descriptor, buffer, size);
  }
  return through(hostCalls().writeCall, [=] { return __real_write(descriptor, buffer, size); });
}

int __real_select(int count, fd_set* reads, fd_set* writes, fd_set* excepts, struct timeval* timeout);
int __wrap_select(int count, fd_set* reads, fd_set* writes, fd_set* excepts, struct timeval* timeout);
int __wrap_select(int count, fd_set* reads, fd_set* writes, fd_set* excepts, struct timeval* timeout) {
  hostCalls().lastSelect = timeout != nullptr ? timeout->tv_sec * 1000000 + timeout->tv_usec : -1;
  if (hostCalls().doesSelectPointAtNone.exchange(false)) {
    for (fd_set* set : {reads, writes, excepts}) {
      emptySet(set, count);
    }
    return 1;
  }
  if (hostCalls().hasOwnClock && timeout != nullptr) {
    for (fd_set* set : {reads, writes, excepts}) {
      emptySet(set, count);
    }
    pauseOnOwnClock(hostCalls().lastSelect / 1000);
    return 0;
  }
  return through(hostCalls().selectCall,
                 [=] { return __real_select(count, reads, writes, excepts, timeout); });
}

int __real_usleep(useconds_t duration);
int __wrap_usleep(useconds_t duration);
int __wrap_usleep(useconds_t duration) {
  hostCalls().lastSleep = static_cast<long>(duration);
  if (hostCalls().hasOwnClock) {
    pauseOnOwnClock(static_cast<long>(duration) / 1000);
    return 0;
  }
  return through(hostCalls().usleepCall, [duration] { return __real_usleep(duration); });
}

int __real_initgroups(const char* user, gid_t group);
int __wrap_initgroups(const char* user, gid_t group);
int __wrap_initgroups(const char* user, gid_t group) {
  return identity("initgroups", std::string(user) + " " + std::to_string(group), hostCalls().initgroupsCall,
                  [=] { return __real_initgroups(user, group); });
}

int __real_setgid(gid_t group);
int __wrap_setgid(gid_t group);
int __wrap_setgid(gid_t group) {
  return identity("setgid", std::to_string(group), hostCalls().setgidCall,
                  [=] { return __real_setgid(group); });
}

int __real_setuid(uid_t user);
int __wrap_setuid(uid_t user);
int __wrap_setuid(uid_t user) {
  return identity("setuid", std::to_string(user), hostCalls().setuidCall,
                  [=] { return __real_setuid(user); });
}

int __real_setegid(gid_t group);
int __wrap_setegid(gid_t group);
int __wrap_setegid(gid_t group) {
  return identity("setegid", std::to_string(group), hostCalls().setegidCall,
                  [=] { return __real_setegid(group); });
}

int __real_seteuid(uid_t user);
int __wrap_seteuid(uid_t user);
int __wrap_seteuid(uid_t user) {
  return identity("seteuid", std::to_string(user), hostCalls().seteuidCall,
                  [=] { return __real_seteuid(user); });
}

struct passwd* __real_getpwnam(const char* name);
struct passwd* __wrap_getpwnam(const char* name);
struct passwd* __wrap_getpwnam(const char* name) {
  return hostCalls().getpwnamCall.next() == HostCall::Way::kFail ? nullptr : __real_getpwnam(name);
}

struct passwd* __real_getpwuid(uid_t user);
struct passwd* __wrap_getpwuid(uid_t user);
struct passwd* __wrap_getpwuid(uid_t user) {
  note("getpwuid", std::to_string(user));
  if (hostCalls().getpwuidCall.next() == HostCall::Way::kFail) {
    return nullptr;
  }
  struct passwd* entry = __real_getpwuid(user);
  if (entry != nullptr && hostCalls().areUsersNameless) {
    static struct passwd s_nameless;
    s_nameless = *entry;
    s_nameless.pw_name = nullptr;
    return &s_nameless;
  }
  return entry;
}

struct group* __real_getgrnam(const char* name);
struct group* __wrap_getgrnam(const char* name);
struct group* __wrap_getgrnam(const char* name) {
  auto& groups = hostCalls().groups;
  if (groups.empty()) {
    return __real_getgrnam(name);
  }
  const auto found = groups.find(name);
  if (found == groups.end()) {
    return nullptr;
  }
  static std::vector<char*> s_members;
  static struct group s_group;
  s_members.clear();
  for (std::string& member : found->second) {
    s_members.push_back(member.data());
  }
  s_members.push_back(nullptr);
  s_group = {};
  s_group.gr_mem = s_members.data();
  return &s_group;
}

int __real_inotify_init1(int flags);
int __wrap_inotify_init1(int flags);
int __wrap_inotify_init1(int flags) {
  return through(hostCalls().watchOpenCall, [=] { return __real_inotify_init1(flags); });
}

int __real_inotify_add_watch(int watch, const char* path, std::uint32_t mask);
int __wrap_inotify_add_watch(int watch, const char* path, std::uint32_t mask);
int __wrap_inotify_add_watch(int watch, const char* path, std::uint32_t mask) {
  return through(hostCalls().watchRegisterCall, [=] { return __real_inotify_add_watch(watch, path, mask); });
}

struct pollfd;
int __real_poll(struct pollfd* ends, unsigned long count, int timeout);
int __wrap_poll(struct pollfd* ends, unsigned long count, int timeout);
int __wrap_poll(struct pollfd* ends, unsigned long count, int timeout) {
  return through(hostCalls().watchAwaitCall, [=] { return __real_poll(ends, count, timeout); });
}

// These report their error as their result.
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument) {
  return hostCalls().pthreadCreateCall.next() == HostCall::Way::kFail
             ? errno
             : __real_pthread_create(thread, attributes, routine, argument);
}

int __real_pthread_join(pthread_t thread, void** value);
int __wrap_pthread_join(pthread_t thread, void** value);
int __wrap_pthread_join(pthread_t thread, void** value) {
  return hostCalls().pthreadJoinCall.next() == HostCall::Way::kFail ? errno
                                                                    : __real_pthread_join(thread, value);
}

}  // extern "C"
