#include "vpn/tools/TOLM/TOLMAuthoring/plan/DeepWalk.h"

#include <algorithm>
#include <utility>

namespace halvo {

namespace {

bool isBelow(const std::string& path, const std::string& folder) {
  return path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
}

}  // namespace

DeepWalk::DeepWalk(IPlanHost& host, IsGone isGone)
    : m_Host(host), m_IsGone(std::move(isGone)), m_End(std::chrono::steady_clock::now() + kMaxTime) {}

std::vector<PlannedEntry> DeepWalk::look(const std::string& path) {
  std::vector<PlannedEntry> entries;
  m_Open.clear();
  // Links inside are compared with the place where the folder really lies.
  const std::string target = m_Host.linkTarget(path);
  m_strTop = target.empty() ? path : target;
  enter(path, "", entries);
  return entries;
}

void DeepWalk::enter(const std::string& source, const std::string& inside,
                     std::vector<PlannedEntry>& entries) {
  const std::optional<IPlanHost::Identity> own = m_Host.identityOf(source);
  if (own) {
    m_Open.push_back(*own);
  }
  for (const std::string& name : m_Host.listFolder(source)) {
    if (++m_nEntries > kMaxEntries || std::chrono::steady_clock::now() > m_End) {
      m_bCut = true;
      break;
    }
    const std::string path = source + "/" + name;
    if (m_IsGone(path)) {
      continue;
    }
    PlannedEntry entry;
    entry.path = inside + name;
    entry.linkTarget = m_Host.linkTarget(path);
    entry.leaves = !entry.linkTarget.empty() && !isBelow(entry.linkTarget, m_strTop);
    // A link stays when its file goes, and leads nowhere from then on.
    const bool dangles = !entry.linkTarget.empty() && m_IsGone(entry.linkTarget);
    const HostKind kind = dangles ? HostKind::kMissing : m_Host.kindOf(path);
    entry.isFolder = kind == HostKind::kFolder || kind == HostKind::kOther;
    const std::optional<IPlanHost::Identity> identity =
        kind == HostKind::kFolder ? m_Host.identityOf(path) : std::nullopt;
    bool goOn = false;
    if (kind == HostKind::kMissing) {
      entry.problem = dangles ? "it isn't there" : m_Host.readProblem(path);
    } else if (identity && std::find(m_Open.begin(), m_Open.end(), *identity) != m_Open.end()) {
      entry.problem = "the folder leads back into itself";
    } else if (kind == HostKind::kFile) {
      entry.size = m_Host.sizeOf(path);
      entry.problem = m_Host.readProblem(path);
    } else {
      goOn = kind == HostKind::kFolder;
    }
    entries.push_back(entry);
    if (goOn) {
      enter(path, entry.path + "/", entries);
    }
  }
  if (own) {
    m_Open.pop_back();
  }
}

}  // namespace halvo
