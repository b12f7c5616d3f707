#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"

#include <algorithm>
#include <mutex>
#include <unordered_set>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/RunRecord.h"

namespace halvo {

namespace {

struct KindOfLoss {
  std::size_t count = 0;
  std::vector<Loss> kept;
  std::unordered_set<std::string> paths;
};

// Never torn down, as the progress channel: a run that a front-end leaves behind may still add to it.
struct Record {
  std::mutex mutex;
  KindOfLoss kinds[2];
};

Record& record() {
  static Record* const s_pRecord = new Record;
  return *s_pRecord;
}

KindOfLoss& kindOf(LossKind kind) {
  return record().kinds[static_cast<std::size_t>(kind)];
}

// Whether it is the path's first of this kind, as far as paths are remembered.
bool note(LossKind kind, const std::string& path, const std::string& what) {
  const std::lock_guard<std::mutex> guard(record().mutex);
  // Ahead of the look at what is known: another item's loss may be this one's too.
  recordLost(kind, path, what);
  KindOfLoss& noted = kindOf(kind);
  if (noted.paths.count(path) != 0) {
    return false;
  }
  ++noted.count;
  // Bounded: a broken disk can lose every file of a machine.
  if (noted.kept.size() < kKeptLosses) {
    noted.kept.push_back({path, what});
    noted.paths.insert(path);
  }
  return true;
}

}  // namespace

void resetLosses() {
  const std::lock_guard<std::mutex> guard(record().mutex);
  for (KindOfLoss& kind : record().kinds) {
    kind = KindOfLoss();
  }
}

void recordLoss(const char* function, LossKind kind, const std::string& path, const std::string& what) {
  if (!note(kind, path, what)) {
    return;
  }
  if (kind == LossKind::kCutShort) {
    logDebugMessage(function, __FILE__, __LINE__, kLogError,
                    "\"%s\" is cut short or missing in the bundle: %s", path.c_str(), what.c_str());
  } else {
    logDebugMessage(function, __FILE__, __LINE__, kLogWarning, "\"%s\" can't be read and is left out: %s",
                    path.c_str(), what.c_str());
  }
}

void renameLoss(const std::string& from, const std::string& to) {
  const std::lock_guard<std::mutex> guard(record().mutex);
  renameLost(from, to);
  for (KindOfLoss& kind : record().kinds) {
    if (from == to || kind.paths.erase(from) == 0) {
      continue;
    }
    const auto loss = std::find_if(kind.kept.begin(), kind.kept.end(),
                                   [&from](const Loss& noted) { return noted.path == from; });
    if (kind.paths.insert(to).second) {
      loss->path = to;
    } else {
      // One file, one loss.
      kind.kept.erase(loss);
      --kind.count;
    }
  }
}

std::size_t lossCount(LossKind kind) {
  const std::lock_guard<std::mutex> guard(record().mutex);
  return kindOf(kind).count;
}

std::vector<Loss> losses(LossKind kind) {
  const std::lock_guard<std::mutex> guard(record().mutex);
  return kindOf(kind).kept;
}

}  // namespace halvo
