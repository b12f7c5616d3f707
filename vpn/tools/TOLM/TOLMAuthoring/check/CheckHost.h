// ICheckHost: what a check asks of the machine that it runs on. Nothing of a document is run.
//
// Used on one thread. Nothing is logged.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace halvo {

class ICheckHost {
 public:
  virtual ~ICheckHost() = default;
  // Whether a shell finds the program: by PATH, or where the name holds a "/" at that place.
  [[nodiscard]] virtual bool hasProgram(const std::string& program) = 0;
  // What the shell says against a command line, one line; empty where it would run it.
  [[nodiscard]] virtual std::string shellComplaint(const std::string& commandLine) = 0;
  // Whether a pipe, a socket or a device lies at the path now.
  [[nodiscard]] virtual bool isSpecialFile(const std::string& path) = 0;
  // The names in a folder that a pattern matches now, sorted; a bounded number of them.
  [[nodiscard]] virtual std::vector<std::string> namesIn(const std::string& folder,
                                                         const std::string& pattern) = 0;
};

// The machine itself. The shell reads a command line and runs nothing of it (`sh -n`), for a second at
// most; a document may make it read a bounded number of lines, and further ones get no complaint.
class CheckHost : public ICheckHost {
 public:
  [[nodiscard]] bool hasProgram(const std::string& program) override;
  [[nodiscard]] std::string shellComplaint(const std::string& commandLine) override;
  [[nodiscard]] bool isSpecialFile(const std::string& path) override;
  [[nodiscard]] std::vector<std::string> namesIn(const std::string& folder,
                                                 const std::string& pattern) override;

  static constexpr std::size_t kMaxNames = 10'000;
  static constexpr std::size_t kMaxShellLines = 2000;

 private:
  std::map<std::string, bool> m_Programs;
  std::size_t m_nShellLines = 0;
};

}  // namespace halvo
