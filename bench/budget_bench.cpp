// Size budgets: the whole logic over many records, and the cuts of a large file.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <list>
#include <string>

#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/truncator.h"

namespace halvo {
namespace {

// Records of a hundred files an id under whole-file selection; the files aren't there, so that what is
// measured is the logic and one unlink for each file that doesn't fit.
std::list<FileRecord> makeRecords(std::int64_t count) {
  std::list<FileRecord> records;
  for (std::int64_t i = 0; i < count; ++i) {
    FileRecord record;
    record.id = "id" + std::to_string(i / 100);
    record.path = "/nonexistent/bundle/" + std::to_string(i) + ".log";
    record.description = "A log";
    record.size = static_cast<double>((i * 7919) % 100000);
    record.requestedScheme = kTruncateWhole;
    record.requestedSize = 2000000;
    records.push_back(record);
  }
  return records;
}

void perform(benchmark::State& state) {
  const std::list<FileRecord> records = makeRecords(state.range(0));
  for (auto _ : state) {
    XMLObject summary("summary", "");
    for (const char* section : {"Main_Info", "Manifest_Included", "Manifest_Not_Included", "Other_Note"}) {
      summary.AddChild(summary.GetRoot(), section, "");
    }
    truncator budget(records, &summary);
    benchmark::DoNotOptimize(budget.perform());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(perform)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

constexpr std::int32_t kCutSize = 100 << 20;

void cut(benchmark::State& state, ResultCode (*function)(std::int32_t, const std::string&)) {
  const std::string folder =
      std::filesystem::temp_directory_path() / ("tolm_cut_" + std::to_string(getpid()));
  std::filesystem::create_directories(folder);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder);
  for (auto _ : state) {
    state.PauseTiming();
    std::ofstream("file", std::ios::binary).close();
    std::filesystem::resize_file("file", kCutSize);
    state.ResumeTiming();
    benchmark::DoNotOptimize(function(kCutSize / 2, "file"));
  }
  state.SetBytesProcessed(state.iterations() * kCutSize / 2);
  std::filesystem::current_path(before);
  std::filesystem::remove_all(folder);
}
BENCHMARK_CAPTURE(cut, end_of_100_MiB_to_50, helperUtil::fileTruncateEnd)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(cut, front_of_100_MiB_to_50, helperUtil::fileTruncateFront)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace halvo
