// What a log record costs in the front-end: formatting, fitting into its row, the call of the logger.
// The installed logger does nothing, so the host's log is no part of it. Each benchmark counts what
// operator new gave out while it ran; the figure has to be 0.

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "vpn/Common/Diagnostics/Log.h"

namespace {

std::atomic<long> s_nAllocations{0};

void* countedAllocation(std::size_t size) {
  s_nAllocations.fetch_add(1, std::memory_order_relaxed);
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) {
    std::abort();
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return countedAllocation(size);
}
void* operator new[](std::size_t size) {
  return countedAllocation(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace halvo {
namespace {

class NullLogger : public ILogger {
 public:
  ResultCode log(std::uint32_t /*severity*/, const char* message, const char* /*messageName*/,
                 std::uint32_t /*messageId*/, int /*level*/) override {
    benchmark::DoNotOptimize(message);
    return 0;
  }
};

// Takes the place of the host's logger for one benchmark and counts what that allocates.
class LogBench : public benchmark::Fixture {
 public:
  void SetUp(benchmark::State& state) override {
    if (state.thread_index() == 0) {
      install(new NullLogger);
    }
  }
  void TearDown(benchmark::State& state) override {
    if (state.thread_index() == 0) {
      install(nullptr);
    }
  }

 protected:
  static void start() { s_nAllocations = 0; }
  static void finish(benchmark::State& state) {
    state.counters["allocations"] = static_cast<double>(s_nAllocations.load());
    state.SetItemsProcessed(state.iterations());
  }

 private:
  static void install(ILogger* logger) {
    while (!releaseLogging()) {
    }
    ResultCode result = 0;
    acquireLogging(result, "tmtolmui", logger);
  }
};

BENCHMARK_DEFINE_F(LogBench, Message)(benchmark::State& state) {
  start();
  for ([[maybe_unused]] auto step : state) {
    LOG_MESSAGE(kLogWarning, "%s can't be read, %d of %d", "/opt/halvo/tessarmont/log.txt", 3, 12);
  }
  finish(state);
}
BENCHMARK_REGISTER_F(LogBench, Message);

BENCHMARK_DEFINE_F(LogBench, ReturnCodeWithRow)(benchmark::State& state) {
  start();
  for ([[maybe_unused]] auto step : state) {
    LOG_RETURN_CODE(kLogError, "helperUtil::fileCopy", TOLMENGINE_ERROR_WRITE_FAILURE);
  }
  finish(state);
}
BENCHMARK_REGISTER_F(LogBench, ReturnCodeWithRow);

BENCHMARK_DEFINE_F(LogBench, MessageThatIsCut)(benchmark::State& state) {
  const std::string text(3000, 'x');
  start();
  for ([[maybe_unused]] auto step : state) {
    LOG_MESSAGE(kLogError, "%s", text.c_str());
  }
  finish(state);
}
BENCHMARK_REGISTER_F(LogBench, MessageThatIsCut);

BENCHMARK_DEFINE_F(LogBench, RowLookUp)(benchmark::State& state) {
  start();
  ResultCode code = kFirstTableCode;
  for ([[maybe_unused]] auto step : state) {
    benchmark::DoNotOptimize(findResultCodeRow(code));
    code = kFirstTableCode | ((code + 0x1fff3) & 0xffffff);
  }
  finish(state);
}
BENCHMARK_REGISTER_F(LogBench, RowLookUp);

}  // namespace
}  // namespace halvo
