// Texts to be redacted, with values planted in lines of their own around them: none of these may be left,
// whatever stands about them, the result is bounded, and where the text is cut makes no difference.

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace {

constexpr std::size_t kLongestText = 16384;
// "a." becomes "host-" and ten characters and a dot.
constexpr std::size_t kMostGrowth = 24;
constexpr std::size_t kMostMore = 4096;

constexpr std::string_view kPlanted[] = {"zq9seed77zq9",     "81.2.69.142", "quinzeldov", "2a02:8071:b89::77",
                                         "gw7.belgarmon.de", "tremwolda",   "vexhollun"};
constexpr std::string_view kLines =
    "\npassword=Zq9seed77Zq9\nconnect to 81.2.69.142:443 failed\nuser=quinzeldov\nby quinzeldov at "
    "[2a02:8071:b89::77]:22\n"
    "https://gw7.belgarmon.de/x and Zq9seed77Zq9\n"
    "{\"u\":\"/cb?user=tremwolda\\u0026password=Vexhollun\"}\nuser=\\u003ctremwolda\\u003e\n";

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

std::string lowered(std::string text) {
  for (char& c : text) {
    c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
  }
  return text;
}

std::string walk(halvo::TextRedactor& redactor, const std::string& text, std::size_t piece) {
  std::string out;
  for (std::size_t at = 0; at < text.size(); at += piece) {
    redactor.feed(std::string_view(text).substr(at, piece), out);
  }
  redactor.finish(out);
  return out;
}

std::string redacted(const std::string& text, std::size_t piece) {
  const halvo::RedactKeep keep;
  halvo::StandIns standIns(halvo::RedactKey{1, 2, 3});
  halvo::NameCollector names;
  halvo::TextRedactor first(keep, standIns, names);
  walk(first, text, piece);
  const halvo::KnownNames known(names, standIns);
  halvo::TextRedactor second(keep, standIns, known);
  return walk(second, text, piece);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size < kLongestText ? size : kLongestText);
  const std::string small = lowered(input);
  for (const std::string_view planted : kPlanted) {
    if (small.find(planted) != std::string::npos) {
      return 0;  // stands where it can't be told
    }
  }
  const std::string text = std::string(kLines) + input + std::string(kLines);
  const std::string whole = redacted(text, text.size());
  require(whole.size() <= text.size() * kMostGrowth + kMostMore);
  require(whole == redacted(text, 1 + size % 61));
  const std::string result = lowered(whole);
  for (const std::string_view planted : kPlanted) {
    require(result.find(planted) == std::string::npos);
  }
  return 0;
}
