// Summaries from any text: the reader comes to an end, and invents nothing.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"
#include "vpn/tools/TOLM/TOLMBundle/NormalLine.h"
#include "vpn/tools/TOLM/TOLMBundle/Summary.h"

namespace {

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

std::size_t bytesOf(const halvo::SummaryRow& row) {
  return row.id.size() + row.name.size() + row.description.size() + row.last.size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const halvo::Summary summary = halvo::readSummary(text);
  std::size_t bytes =
      summary.time.size() + summary.os.size() + summary.user.size() + summary.bundlePath.size();
  for (const halvo::SummarySection& section : summary.sections) {
    bytes += section.title.size();
    for (const halvo::SummaryRow& row : section.included) {
      bytes += bytesOf(row);
    }
    for (const halvo::SummaryRow& row : section.omitted) {
      bytes += bytesOf(row);
    }
  }
  require(bytes <= size);
  std::string normal;
  halvo::LineNormalizer normalizer;
  for (std::size_t at = 0; at < size;
       at = text.find('\n', at) == std::string::npos ? size : text.find('\n', at) + 1) {
    normalizer.normalize(std::string_view(text).substr(at, text.find('\n', at) - at), normal);
  }
  halvo::LogTime time;
  require(!halvo::findLogTime(text, time) || (time.start < time.end && time.end <= size));
  // Lines of a key never have more in them than the text.
  require(halvo::wrappedKey(text, 28).size() <= size + size / 20 + 1);
  return 0;
}
