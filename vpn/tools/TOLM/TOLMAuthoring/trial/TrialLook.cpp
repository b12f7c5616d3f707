#include "vpn/tools/TOLM/TOLMAuthoring/trial/TrialLook.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMBundle/CapturedOutput.h"

namespace halvo {

namespace {

namespace fs = std::filesystem;

// Of a result, its beginning is looked at; further commands of a file stand behind megabytes seldom.
constexpr std::size_t kMaxResult = std::size_t{4} << 20;
const std::string kFileStart = "\n\r*";
const std::string kSignature = "TOLM BUNDLE SUMMARY\n";

std::string beginningOf(const fs::path& path, std::size_t most) {
  std::ifstream in(path, std::ios::binary);
  std::string text(most, '\0');
  in.read(text.data(), static_cast<std::streamsize>(most));
  text.resize(static_cast<std::size_t>(in.gcount()));
  return text;
}

bool isRule(const std::string& line) {
  return line.size() > 60 && line.find_first_not_of('-') == std::string::npos;
}

}  // namespace

std::vector<std::string> omittedRows(const std::string& summary) {
  std::vector<std::string> rows;
  std::istringstream lines(summary);
  int rules = -1;  // of the present table; -1 outside of one
  for (std::string line; std::getline(lines, line);) {
    while (!line.empty() && (line.back() == ' ' || line.back() == '\r')) {
      line.pop_back();
    }
    if (line == "Files Omitted from Bundle:") {
      rules = 0;
    } else if (rules >= 0 && isRule(line)) {
      rules = ++rules == 2 ? -1 : rules;
    } else if (rules == 1) {
      rows.push_back(withoutControls(line));
    }
  }
  return rows;
}

std::vector<std::string> failedRows(const std::string& summary) {
  // Behind the last section, where the list stands once, if at all.
  const std::string heading = "=\nTOLMEngine failed to parse or use the following configuration files:\n";
  std::vector<std::string> rows;
  if (const std::size_t at = summary.rfind(heading); at != std::string::npos) {
    std::istringstream lines(summary.substr(at + heading.size()));
    for (std::string line; std::getline(lines, line) && !line.empty();) {
      rows.push_back(line);
    }
  }
  return rows;
}

std::vector<std::string> resultComplaints(const std::string& text) {
  std::vector<std::string> complaints;
  // A text that begins otherwise is a log.
  if (text.compare(0, kFileStart.size(), kFileStart) != 0) {
    return complaints;
  }
  for (const CapturedOutput& output : capturedOutputs(text, false)) {
    const std::string name = quotedText(output.command);
    const std::string body(output.output);
    if (isBlankOutput(body)) {
      complaints.push_back(name + " printed nothing");
      continue;
    }
    // A shell's complaint comes ahead of all else that is printed.
    const std::size_t first = body.find_first_not_of(" \t\r\n");
    const std::string line = body.substr(first, std::min(body.find('\n', first), body.size()) - first);
    if (saysFailure(line) || line.find("not found") != std::string::npos) {
      complaints.push_back(name + " begins with " + quotedText(line));
    }
  }
  return complaints;
}

TrialFindings lookAtWorkFolder(const std::string& folder) {
  TrialFindings findings;
  std::vector<fs::path> files;
  std::error_code code;
  for (fs::recursive_directory_iterator at(folder, code), end; !code && at != end; at.increment(code)) {
    if (at->is_regular_file(code)) {
      files.push_back(at->path());
    }
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& path : files) {
    // Most files are logs of any size, and their first bytes tell that they are.
    const std::string start = beginningOf(path, kSignature.size());
    if (start != kSignature && start.compare(0, kFileStart.size(), kFileStart) != 0) {
      continue;
    }
    const std::string text = beginningOf(path, kMaxResult);
    if (start == kSignature) {
      findings.omissions = omittedRows(text);
      findings.failedDocuments = failedRows(text);
    }
    for (const std::string& complaint : resultComplaints(text)) {
      findings.results.push_back(withoutControls(fs::relative(path, folder, code).string()) + ": " +
                                 complaint);
    }
  }
  return findings;
}

}  // namespace halvo
