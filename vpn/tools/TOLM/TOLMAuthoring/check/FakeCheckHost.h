// A machine for tests of the checks: it has every program but "absent-program", refuses lines with an odd
// number of quotes, has a pipe at /x/pipe and one file name in two folders. Nothing is started or looked up.

#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckHost.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

class FakeCheckHost : public ICheckHost {
 public:
  bool hasProgram(const std::string& program) override { return program != "absent-program"; }
  std::string shellComplaint(const std::string& commandLine) override {
    return std::count(commandLine.begin(), commandLine.end(), '\'') % 2 == 0 ? "" : "unterminated quote";
  }
  bool isSpecialFile(const std::string& path) override { return path == "/x/pipe"; }
  std::vector<std::string> namesIn(const std::string& folder, const std::string& pattern) override {
    const bool lies =
        (folder == "/x/" || folder == "/y/") && helperUtil::wildcardMatch(pattern.c_str(), "a.log");
    return lies ? std::vector<std::string>{"a.log"} : std::vector<std::string>();
  }
};

}  // namespace halvo
