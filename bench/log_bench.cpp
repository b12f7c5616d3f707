// What a log record costs in the front-end: formatting, fitting into its row, the call of the logger.
// The installed logger does nothing, so the host's log is no part of it. Each benchmark counts what
// operator new gave out while it ran; the figure has to be 0.

#include <benchmark/benchmark.h>

#include <string>

#include "tests/support/AllocationCounter.h"
#include "vpn/Common/Diagnostics/Log.h"

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
  void start() { m_nBefore = test::allocationCount(); }
  void finish(benchmark::State& state) const {
    state.counters["allocations"] = static_cast<double>(test::allocationCount() - m_nBefore);
    state.SetItemsProcessed(state.iterations());
  }

 private:
  static void install(ILogger* logger) {
    while (!releaseLogging()) {
    }
    ResultCode result = 0;
    acquireLogging(result, "tmtolmui", logger);
  }

  long m_nBefore = 0;
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
