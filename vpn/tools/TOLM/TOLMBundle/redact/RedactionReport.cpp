#include "vpn/tools/TOLM/TOLMBundle/redact/RedactionReport.h"

#include <algorithm>
#include <iterator>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactKinds.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

// Whether a text is what stands behind a name in a report: kinds with their counts.
bool isCounts(std::string_view text) {
  bool any = false;
  while (!text.empty()) {
    const std::size_t number = text.find(' ', 1);
    if (text.front() != ' ' || number == std::string_view::npos ||
        std::find(std::begin(kRedactKindNames), std::end(kRedactKindNames), text.substr(1, number - 1)) ==
            std::end(kRedactKindNames)) {
      return false;
    }
    const std::size_t end = std::min(text.find_first_not_of("0123456789", number + 1), text.size());
    if (end == number + 1) {
      return false;
    }
    text.remove_prefix(end);
    any = true;
  }
  return any;
}

}  // namespace

std::string redactPath(TextRedactor& redactor, const std::string& path) {
  std::string result;
  for (std::size_t at = 0; at <= path.size();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    result += redactor.redact(std::string_view(path).substr(at, end - at));
    result += end < path.size() ? "/" : "";
    at = end + 1;
  }
  return result;
}

std::string redactReport(TextRedactor& redactor, std::string_view report) {
  constexpr std::string_view kOwnWords = kReportFront;
  std::string result;
  while (!report.empty()) {
    if (report.substr(0, kOwnWords.size()) == kOwnWords) {
      result += kOwnWords;
      report.remove_prefix(kOwnWords.size());
      continue;
    }
    const std::string_view line = report.substr(0, std::min(report.find('\n'), report.size()));
    const std::size_t colon = line.rfind(':');
    if (colon != std::string_view::npos && isCounts(line.substr(colon + 1))) {
      result += redactPath(redactor, std::string(line.substr(0, colon))) + std::string(line.substr(colon));
    } else {
      result += redactPath(redactor, std::string(line));
    }
    report.remove_prefix(line.size());
    if (!report.empty()) {
      result += '\n';
      report.remove_prefix(1);
    }
  }
  return result;
}

}  // namespace halvo
