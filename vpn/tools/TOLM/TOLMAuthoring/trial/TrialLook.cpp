#include "vpn/tools/TOLM/TOLMAuthoring/trial/TrialLook.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "vpn/Common/Utility/PlainText.h"

namespace halvo {

namespace {

namespace fs = std::filesystem;

// Of a result, its beginning is looked at; further commands of a file stand behind megabytes seldom.
constexpr std::size_t kMaxResult = std::size_t{4} << 20;
constexpr std::size_t kStars = 75;
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
  // The heading of a command: a line of stars, the command, a line of stars.
  const std::string stars(kStars, '*');
  const std::string begin = "\n\r" + stars + "\n\"";
  const std::string end = "\" output:\n" + stars + "\n\r\n";
  if (text.compare(0, begin.size(), begin) != 0) {
    return complaints;
  }
  for (std::size_t at = 0; at != std::string::npos;) {
    const std::size_t command = at + begin.size();
    const std::size_t close = text.find(end, command);
    if (close == std::string::npos) {
      break;
    }
    const std::size_t output = close + end.size();
    const std::size_t next = text.find(begin, output);
    const std::string body = text.substr(output, next == std::string::npos ? next : next - output);
    const std::string name = quotedText(text.substr(command, close - command));
    // A shell's complaint comes ahead of all else that is printed.
    const std::size_t first = body.find_first_not_of(" \t\r\n");
    const std::string line = first == std::string::npos
                                 ? ""
                                 : body.substr(first, std::min(body.find('\n', first), body.size()) - first);
    if (line.empty()) {
      complaints.push_back(name + " printed nothing");
    } else {
      for (const char* word : {"not found", "No such file", "Permission denied", "Operation not permitted"}) {
        if (line.find(word) != std::string::npos) {
          complaints.push_back(name + " begins with " + quotedText(line));
          break;
        }
      }
    }
    at = next;
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
    if (start != kSignature && start.compare(0, 3, "\n\r*") != 0) {
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
