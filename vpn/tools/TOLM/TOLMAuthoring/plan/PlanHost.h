// The machine as a plan sees it. All operations only look, and follow links unless they say otherwise.
//
// Used on one thread. What the engine's helpers log while they look is theirs.

#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

enum class HostKind {
  kMissing,  // can't be looked at
  kFile,
  kFolder,
  kOther,  // a pipe, a socket, a device
};

class IPlanHost {
 public:
  virtual ~IPlanHost() = default;
  // As helperUtil::fileFindAll.
  [[nodiscard]] virtual ResultCode findAll(std::string folder, std::string pattern,
                                           std::list<helperUtil::FileFindEntry>& entries) = 0;
  [[nodiscard]] virtual HostKind kindOf(const std::string& path) = 0;
  // Bytes, -1 where the file can't be looked at.
  [[nodiscard]] virtual std::int64_t sizeOf(const std::string& path) = 0;
  // Why the file can't be opened for reading; empty if it can.
  [[nodiscard]] virtual std::string readProblem(const std::string& path) = 0;
  // Why the file can't be deleted; empty if it can.
  [[nodiscard]] virtual std::string deleteProblem(const std::string& path) = 0;
  // Whether a launch finds the program.
  [[nodiscard]] virtual bool hasProgram(const std::string& program) = 0;
  // As TOLMAction::getLogLocationArray.
  [[nodiscard]] virtual ResultCode logLocations(const std::string& file,
                                                std::vector<std::string>& locations) = 0;

  // For a look into folders. The names in a folder in its own order, without "." and ".."; none where it
  // can't be read.
  [[nodiscard]] virtual std::vector<std::string> listFolder(const std::string& path) = 0;
  // What tells a folder from all others, whatever path leads to it.
  using Identity = std::pair<std::uint64_t, std::uint64_t>;
  [[nodiscard]] virtual std::optional<Identity> identityOf(const std::string& path) = 0;
  // Of a symbolic link, where it leads in the end, an absolute path; empty for anything else.
  [[nodiscard]] virtual std::string linkTarget(const std::string& path) = 0;
};

// The machine that the program runs on.
class PlanHost : public IPlanHost {
 public:
  ResultCode findAll(std::string folder, std::string pattern,
                     std::list<helperUtil::FileFindEntry>& entries) override;
  HostKind kindOf(const std::string& path) override;
  std::int64_t sizeOf(const std::string& path) override;
  std::string readProblem(const std::string& path) override;
  std::string deleteProblem(const std::string& path) override;
  bool hasProgram(const std::string& program) override;
  ResultCode logLocations(const std::string& file, std::vector<std::string>& locations) override;
  std::vector<std::string> listFolder(const std::string& path) override;
  std::optional<Identity> identityOf(const std::string& path) override;
  std::string linkTarget(const std::string& path) override;
};

}  // namespace halvo
