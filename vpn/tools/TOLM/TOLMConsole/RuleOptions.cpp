#include "vpn/tools/TOLM/TOLMConsole/RuleOptions.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"

namespace halvo {

namespace {

namespace fs = std::filesystem;

// The path itself, or the documents of the folder that it is.
std::vector<std::string> documentsOf(const std::string& path) {
  std::error_code error;
  if (!fs::is_directory(path, error)) {
    return {path};
  }
  std::vector<std::string> documents;
  for (fs::directory_iterator at(path, error); !error && at != fs::directory_iterator();
       at.increment(error)) {
    if (at->path().extension() == ".xml") {
      documents.push_back(at->path().string());
    }
  }
  // Named itself where it can't be listed: it would pass for a folder without rules.
  if (error) {
    return {path};
  }
  // So that the same folder gives the same order of findings everywhere.
  std::sort(documents.begin(), documents.end());
  return documents;
}

}  // namespace

void RuleOptions::addPlace(CLI::App& app) {
  app.add_option("RULES", m_Paths, "Documents of rules, or folders of them (default: those built in)")
      ->type_name("");
}

void RuleOptions::addOption(CLI::App& app) {
  app.add_option("--rules", m_Paths,
                 "Look for the problems of this document of rules, or folder of them, instead of those built "
                 "in; may be given again")
      ->type_name("PATH")
      ->allow_extra_args(false);
}

std::vector<std::string> RuleOptions::documents() const {
  std::vector<std::string> all;
  for (const std::string& path : m_Paths) {
    const std::vector<std::string> found = documentsOf(path);
    all.insert(all.end(), found.begin(), found.end());
  }
  return all;
}

int RuleOptions::load(RuleSet& rules) const {
  if (m_Paths.empty()) {
    rules.addBuiltIn();
    return kExitSuccess;
  }
  int status = kExitSuccess;
  std::set<std::pair<dev_t, ino_t>> seen;
  for (const std::string& document : documents()) {
    struct stat identity = {};
    // Once: a folder may be given, and a document of it too.
    if (stat(document.c_str(), &identity) == 0 && !seen.insert({identity.st_dev, identity.st_ino}).second) {
      continue;
    }
    std::error_code error;
    // A pipe without a writer would hold the program up.
    std::ifstream file;
    const bool isFolder = fs::is_directory(document, error);
    errno = 0;
    if (isFolder || fs::is_regular_file(document, error)) {
      file.open(document, std::ios::binary);
    }
    if (isFolder || !file.is_open()) {
      const int why = errno;
      return usageFailure("the rules \"" + document +
                          "\" can't be read: " + (why != 0 ? std::strerror(why) : "it is no file"));
    }
    std::ostringstream text;
    text << file.rdbuf();
    std::vector<RuleFault> faults;
    rules.add(text.str(), faults);
    for (const RuleFault& fault : faults) {
      status = usageFailure(document + ":" + std::to_string(fault.line) + ":" + std::to_string(fault.column) +
                            ": " + fault.text);
    }
  }
  return status == kExitSuccess && rules.rules().empty() ? usageFailure("there is no rule in what was given")
                                                         : status;
}

}  // namespace halvo
