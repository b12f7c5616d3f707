// DeepWalk: what a copy of a folder would take along, entry by entry, as the engine's copy walks.
//
// A copy follows links, enters no folder that it is inside of, makes an empty folder of a pipe or of a
// folder that can't be read, and passes over files that it can't open. The walk is bounded in entries and
// in time, over all folders of a plan together.

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

namespace halvo {

class DeepWalk {
 public:
  // `isGone` answers whether the run has deleted the file of a path by the time of the walk.
  using IsGone = std::function<bool(const std::string&)>;
  DeepWalk(IPlanHost& host, IsGone isGone);

  // What lies in the folder at `path`.
  std::vector<PlannedEntry> look(const std::string& path);
  // Whether a bound was met, so that something may be missing.
  [[nodiscard]] bool isCut() const { return m_bCut; }

  static constexpr std::size_t kMaxEntries = 100'000;
  static constexpr std::chrono::seconds kMaxTime{10};

 private:
  void enter(const std::string& source, const std::string& inside, std::vector<PlannedEntry>& entries);

  IPlanHost& m_Host;
  IsGone m_IsGone;
  std::chrono::steady_clock::time_point m_End;
  std::size_t m_nEntries = 0;
  bool m_bCut = false;
  std::string m_strTop;
  std::vector<IPlanHost::Identity> m_Open;
};

}  // namespace halvo
