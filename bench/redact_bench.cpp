// How fast texts are redacted: both walks over log lines such as services write, on one core.

#include <benchmark/benchmark.h>

#include <random>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace {

constexpr std::size_t kSize = std::size_t{16} << 20U;

// Every second line has something to find.
std::string logText() {
  static constexpr const char* kWords[] = {
      "connection", "tunnel", "state",   "changed", "to",     "connected", "retry",   "packet",
      "sent",       "route",  "added",   "gateway", "lookup", "failed",    "timeout", "policy",
      "loaded",     "config", "reading", "bytes",   "total",  "queue",     "worker",  "event"};
  std::mt19937 random(7);
  const auto number = [&random](unsigned most) { return std::to_string(random() % most); };
  std::string text;
  for (unsigned line = 0; text.size() < kSize; ++line) {
    text += "Mar 15 1" + number(10) + ":4" + number(10) + ":0" + number(10) + " janes-laptop agentd[" +
            number(9999) + "]: <info>";
    for (unsigned i = 0; i < 10; ++i) {
      text += std::string(" ") + kWords[random() % 24];
    }
    switch (line % 10) {
      case 0:
      case 1:
        text += " 10.8." + number(4) + "." + number(250) + ":" + number(60000);
        break;
      case 2:
        text += " host gw" + number(30) + ".corp.acme.de answered";
        break;
      case 3:
        text += " file=/home/jane/.config/state-" + number(99) + ".json";
        break;
      case 4:
        text += " mac 00:1b:21:" + std::to_string(10 + random() % 89) + ":3a:4f";
        break;
      default:
        break;
    }
    text += "\n";
  }
  return text;
}

void redact(benchmark::State& state, bool first, bool second) {
  static const std::string kText = logText();
  const halvo::RedactKeep keep;
  halvo::StandIns standIns(halvo::RedactKey{1, 2, 3});
  std::string out;
  out.reserve(2 * kSize);
  halvo::NameCollector names;
  halvo::TextRedactor(keep, standIns, names).redact(kText);
  for (auto round : state) {
    static_cast<void>(round);
    if (first) {
      halvo::NameCollector found;
      halvo::TextRedactor redactor(keep, standIns, found);
      redactor.feed(kText, out);
      redactor.finish(out);
    }
    if (second) {
      const halvo::KnownNames known(names, standIns);
      halvo::TextRedactor redactor(keep, standIns, known);
      out.clear();
      redactor.feed(kText, out);
      redactor.finish(out);
      benchmark::DoNotOptimize(out.data());
    }
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kText.size()));
}

void FirstWalk(benchmark::State& state) {
  redact(state, true, false);
}
void SecondWalk(benchmark::State& state) {
  redact(state, false, true);
}
void BothWalks(benchmark::State& state) {
  redact(state, true, true);
}
BENCHMARK(FirstWalk)->Unit(benchmark::kMillisecond);
BENCHMARK(SecondWalk)->Unit(benchmark::kMillisecond);
BENCHMARK(BothWalks)->Unit(benchmark::kMillisecond);

}  // namespace
