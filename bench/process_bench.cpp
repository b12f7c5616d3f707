// Launching and reaping a short command through CProcessApi, against a bare fork, execvp and waitpid.
//
// The waits are those without end, which look at nothing and sleep not at all: the polled waits sleep
// 20 milliseconds at a time, by design, and would measure that. "ratio" is the time through the class
// over the bare time, both taken in turns in one run; it should stay at 1.2 or below.

#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "vpn/Common/IPC/ProcessAPI_unix.h"

namespace halvo {
namespace {

constexpr const char* kCommand = "/bin/true";

void launchBare() {
  const pid_t child = fork();
  if (child == 0) {
    const char* arguments[] = {kCommand, nullptr};
    execvp(kCommand, const_cast<char* const*>(arguments));
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  benchmark::DoNotOptimize(status);
}

void launchByClass() {
  CProcessApi api;
  LaunchInfo info;
  ResultCode rc = api.Launch(info, kCommand, nullptr);
  int exitCode = 1;
  rc |= api.WaitForProcess(info.processId, exitCode, nullptr, 0, CProcessApi::kWaitForever);
  benchmark::DoNotOptimize(rc);
}

void BareLaunch(benchmark::State& state) {
  for (auto _ : state) {
    launchBare();
  }
}
BENCHMARK(BareLaunch)->UseRealTime();

void ProcessApiLaunch(benchmark::State& state) {
  for (auto _ : state) {
    launchByClass();
  }
}
BENCHMARK(ProcessApiLaunch)->UseRealTime();

// In turns, so that a change of the machine's load hits both alike.
void ProcessApiOverBareLaunch(benchmark::State& state) {
  using Clock = std::chrono::steady_clock;
  Clock::duration bare = {};
  Clock::duration byClass = {};
  for (auto _ : state) {
    const auto start = Clock::now();
    launchBare();
    const auto middle = Clock::now();
    launchByClass();
    bare += middle - start;
    byClass += Clock::now() - middle;
  }
  state.counters["ratio"] =
      std::chrono::duration<double>(byClass).count() / std::chrono::duration<double>(bare).count();
}
BENCHMARK(ProcessApiOverBareLaunch)->UseRealTime()->MinTime(3.0);

}  // namespace
}  // namespace halvo
