#include "vpn/tools/TOLM/TOLMBundle/redact/RedactionReport.h"

#include <algorithm>
#include <iterator>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactKinds.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
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

// What a text has in front of the folder or file that is called like a user, where the part of a path behind
// `front` may be one; empty elsewhere.
std::string homeFront(std::string_view front, bool isLast) {
  const auto endsWith = [front](std::string_view folders) {
    const std::size_t begin = front.size() - std::min(front.size(), folders.size());
    return isSame(front.substr(begin), folders) &&
           (begin == 0 || front[begin - 1] == '/' || front[begin - 1] == ' ');
  };
  for (const std::string_view folders : {"run/media/", "var/mail/", "spool/mail/", "spool/cron/crontabs/"}) {
    if (endsWith(folders)) {
      return "\\home\\";
    }
  }
  for (const std::string_view folder : {"home/", "users/", "documents and settings/"}) {
    if (!isLast && endsWith(folder)) {
      return "\\" + std::string(front.substr(front.size() - folder.size(), folder.size() - 1)) + "\\";
    }
  }
  return {};
}

// A part of a path; behind `home` as it would be in a text, with backslashes, between which names hold
// blanks.
std::string redactPart(TextRedactor& redactor, std::string_view part, const std::string& home) {
  if (!home.empty() && !part.empty()) {
    const std::string whole = home + std::string(part) + "\\";
    const std::string result = redactor.redact(whole);
    if (result != whole && result.size() > home.size() && result.starts_with(home) && result.back() == '\\') {
      return result.substr(home.size(), result.size() - home.size() - 1);
    }
  }
  return redactor.redact(part);
}

}  // namespace

std::string redactPath(TextRedactor& redactor, const std::string& path) {
  std::string result;
  for (std::size_t at = 0; at <= path.size();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string_view all = path;
    result +=
        redactPart(redactor, all.substr(at, end - at), homeFront(all.substr(0, at), end == path.size()));
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
