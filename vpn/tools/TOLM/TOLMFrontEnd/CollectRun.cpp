#include "vpn/tools/TOLM/TOLMFrontEnd/CollectRun.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <new>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/FolderRemoval.h"
#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/BundlePlace.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/DroppedOutput.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/LeftOvers.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/PlannedSizes.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RequestCheck.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RunGuard.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RunLock.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Trust.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/WholeBundle.h"

namespace halvo {

namespace {

constexpr char kWorkParent[] = "/tmp";
constexpr std::size_t kMostNamed = 10;
// The texts that the engine fails with in the same cases.
constexpr char kNoBundle[] = "Internal Error: failed to zip the bundle...";
constexpr char kBadRequest[] =
    "Internal Error: invalid request XML, please contact your administrator, or run in default mode";
constexpr char kNoMemory[] = "Internal Error: out of memory...";

RunOutcome failure(ResultCode code, const std::string& text, const std::string& reason) {
  RunOutcome outcome;
  outcome.code = code;
  outcome.text = text;
  outcome.reason = reason;
  return outcome;
}

// A run that ends before the engine is asked ends for the listeners of the engine's progress all the same.
RunOutcome refuse(RunOutcome outcome) {
  LOG_RETURN_CODE_TEXT(kLogError, "CollectRun::run", outcome.code, "%s", failureLine(outcome).c_str());
  reportProgress(0, outcome.text, outcome.code);
  return outcome;
}

void tell(const RunSettings& settings, const std::string& line) {
  if (settings.tell) {
    settings.tell(line);
  }
}

RunOutcome lookAtDocuments(const std::string& folder) {
  const std::string problem = documentTrustProblem(folder);
  return problem.empty()
             ? RunOutcome()
             : failure(TOLMENGINE_ERROR_INTERNAL,
                       "the instruction documents can't be trusted, and nothing was run", problem);
}

RunOutcome waitForTurn(const RunSettings& settings, RunLock& lock) {
  const std::string holder =
      lock.holder() > 0 ? "process " + std::to_string(lock.holder()) : "another process";
  if (settings.wait) {
    tell(settings, "waiting for the run of " + holder + " to end");
    // Whatever comes of it, the waiting is over: see takeTurn().
    static_cast<void>(lock.acquire());
    return RunOutcome();
  }
  return failure(TOLMENGINE_ERROR_ALREADY_INITIALIZED, holder + " is making a run already",
                 "a run at a time, or --wait to wait for that one");
}

// Takes the lock, and looks ahead under it. Where another run holds it, what stops this one is told ahead of
// the waiting too, and looked at once more behind it: that may be hours later.
RunOutcome takeTurn(const RunSettings& settings, RunLock& lock,
                    const std::function<RunOutcome()>& lookAhead) {
  // Also where no lock can be had: a run without one is better than none, and the log says so.
  const bool isBusy = lock.tryAcquire() == RunLock::Answer::kBusy;
  RunOutcome outcome = lookAhead();
  if (outcome.code == 0 && isBusy) {
    outcome = waitForTurn(settings, lock);
    if (outcome.code == 0) {
      outcome = lookAhead();
    }
  }
  return outcome;
}

GuardSettings guardSettings(const RunSettings& settings, const TOLMEngine& engine, int errorStream) {
  GuardSettings guard;
  guard.program = settings.program;
  guard.commandTimeoutSeconds = settings.commandTimeoutSeconds;
  guard.endBySignal = settings.endBySignal;
  guard.errorStream = errorStream;
  guard.workFolder = [&engine] { return engine.tempFolder(); };
  guard.tell = settings.tell;
  return guard;
}

// What an engine that ran out of memory couldn't remove.
void removeWorkFolder(const TOLMEngine& engine) {
  if (const std::string folder = engine.tempFolder(); !folder.empty()) {
    removeFolder(AT_FDCWD, folder.c_str());
  }
}

std::vector<std::string> firstNames(LossKind kind, const std::string& workFolder) {
  std::vector<std::string> names;
  for (const Loss& loss : losses(kind)) {
    if (names.size() == kMostNamed) {
      break;
    }
    names.push_back("\"" + lossName(loss.path, workFolder) + "\": " + loss.what);
  }
  return names;
}

void takeLosses(RunOutcome& outcome, const std::string& workFolder) {
  outcome.lostCount = lossCount(LossKind::kCutShort);
  outcome.lost = firstNames(LossKind::kCutShort, workFolder);
  outcome.unreadableCount = lossCount(LossKind::kUnreadable);
  outcome.unreadable = firstNames(LossKind::kUnreadable, workFolder);
}

void logBegin(const RunSettings& settings, const char* kind, const std::string& request,
              const std::string& folder, const std::string& bundle) {
  const std::string user = helperUtil::getUserName();
  LOG_MESSAGE(kLogInformation,
              "Run begins: %s %s, %s, request \"%s\", documents in \"%s\", bundle \"%s\", user \"%s\" (%u)",
              settings.program.c_str(), TOLM_VERSION, kind, request.c_str(), folder.c_str(), bundle.c_str(),
              user.c_str(), static_cast<unsigned>(geteuid()));
}

void logEnd(const RunOutcome& outcome) {
  LOG_MESSAGE(kLogInformation,
              "Run ends: code 0x%.8X, %llu files, %llu bytes, %.1f seconds, %zu cut short or missing",
              static_cast<unsigned>(outcome.code), static_cast<unsigned long long>(outcome.files),
              static_cast<unsigned long long>(outcome.bundleBytes), outcome.seconds, outcome.lostCount);
}

// Makes a run: the records around it, its time, and memory that runs out anywhere in it.
RunOutcome makeTimed(const std::function<RunOutcome()>& make) {
  const auto begin = std::chrono::steady_clock::now();
  RunOutcome outcome;
  try {
    outcome = make();
  } catch (const std::bad_alloc&) {
    outcome = RunOutcome();
    outcome.code = TOLMENGINE_ERROR_MEMALLOC_FAILED;
    // Short enough to lie in the string itself where there is nothing left at all.
    outcome.text = "out of memory";
    // Without a text: a copy of one would ask for memory.
    reportProgress(0, "", outcome.code);
  }
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  logEnd(outcome);
  return outcome;
}

}  // namespace

CollectRun::CollectRun(CollectSettings settings)
    : m_Settings(std::move(settings)), m_strWantedPath(m_Settings.bundlePath) {}

CollectRun::~CollectRun() = default;

bool CollectRun::isEncrypted() const {
  return m_Settings.password && !m_Settings.password->empty();
}

std::string CollectRun::configFolder() const {
  return m_Settings.configFolder.empty() ? helperUtil::defaultConfigFolder() : m_Settings.configFolder;
}

void CollectRun::chooseBundlePath() {
  if (m_Settings.keepOlderBundle) {
    m_Settings.bundlePath = freeBundlePath(m_strWantedPath, m_Settings.bundleEnding);
  }
}

RunOutcome CollectRun::run() {
  // Ahead of the first record, which names the bundle.
  chooseBundlePath();
  logBegin(m_Settings, "collect run", m_Settings.requestPath, configFolder(), m_Settings.bundlePath);
  return makeTimed([this] { return makeRun(); });
}

RunOutcome CollectRun::lookAhead() {
  // Another run may have made its bundle under the name meanwhile.
  const std::string name = m_Settings.bundlePath;
  chooseBundlePath();
  if (m_Settings.bundlePath != name) {
    LOG_MESSAGE(kLogInformation, "The bundle becomes \"%s\"", m_Settings.bundlePath.c_str());
  }
  if (const std::string problem = bundlePlaceProblem(m_Settings.bundlePath, m_Settings.bundleEnding);
      !problem.empty()) {
    return failure(TOLMENGINE_ERROR_WRITE_FAILURE, kNoBundle, problem);
  }
  if (m_Settings.configFolder.empty()) {
    if (RunOutcome outcome = lookAtDocuments(configFolder()); outcome.code != 0) {
      return outcome;
    }
  }
  if (!m_Settings.requestPath.empty()) {
    if (const std::string problem = requestProblem(m_Settings.requestPath); !problem.empty()) {
      return failure(TOLMENGINE_ERROR_INVALID_XML, kBadRequest, problem);
    }
  }
  return RunOutcome();
}

RunOutcome CollectRun::lookAtSizes() {
  const PlannedSizes sizes = planSizes(m_Settings.requestPath, configFolder());
  m_UnmatchedIds = sizes.unmatchedIds;
  // The limit is that of the archive's plain entries, which another writer needn't use.
  const std::string large =
      m_Settings.archiveWriter ? "" : largeFileProblem(sizes.largestFile, sizes.largestBytes, isEncrypted());
  if (!large.empty()) {
    return failure(TOLMENGINE_ERROR_WRITE_FAILURE, kNoBundle, large);
  }
  const std::string place = folderOf(TOLMEngine::zipPath(m_Settings.bundlePath));
  const SpaceFindings space =
      compareSpace(sizes.bytes, freeSpace(kWorkParent), freeSpace(place), kWorkParent, place);
  if (!space.problem.empty()) {
    return failure(TOLMENGINE_ERROR_WRITE_FAILURE, kNoBundle, space.problem);
  }
  if (!space.remark.empty()) {
    tell(m_Settings, space.remark);
  }
  return RunOutcome();
}

RunOutcome CollectRun::makeRun() {
  RunLock lock;
  if (RunOutcome outcome = takeTurn(m_Settings, lock, [this] { return lookAhead(); }); outcome.code != 0) {
    return refuse(outcome);
  }
  // Under the lock: what lies there now is no other run's work of this user's.
  for (const std::string& path : lock.unfinishedBundles()) {
    removeUnfinishedBundle(path);
  }
  removeUnfinishedBundles(folderOf(TOLMEngine::zipPath(m_Settings.bundlePath)));
  removeLeftOverFolders(kWorkParent);
  // And under the lock: no other run of this user takes room meanwhile.
  // Behind the left-overs, whose room is free now.
  RunOutcome sizes = lookAtSizes();
  // The engine would remove the plain work folder of a run that was killed, but doesn't get there.
  if (sizes.code != 0 && removeLeftOverFolder(helperUtil::kWorkFolder)) {
    sizes = lookAtSizes();
  }
  if (sizes.code != 0) {
    return refuse(sizes);
  }
  if (m_Settings.begins) {
    m_Settings.begins();
  }
  return runEngine(lock);
}

RunOutcome CollectRun::runEngine(RunLock& lock) {
  std::string nothing;
  const Secret none(nothing);
  WholeBundle bundle(
      m_Settings.password ? *m_Settings.password : none,
      [&lock](const std::string& path) {
        RunGuard::noteUnfinishedFile(path);
        lock.noteBundle(path);
        RunGuard::yieldToSignal();
      },
      m_Settings.archiveWriter);
  if (m_Settings.keepOlderBundle) {
    // Somebody else's bundle may still get there first.
    bundle.keepOlder([this] {
      chooseBundlePath();
      return m_Settings.bundlePath + m_Settings.bundleEnding;
    });
  }
  std::string stepReason;
  std::string workFolder;
  // The engine needs no password: what it would do with it is the archive, which is made here.
  TOLMEngine engine(m_Settings.requestPath, m_Settings.bundlePath, "", false);
  if (!m_Settings.configFolder.empty()) {
    engine.setConfigFolder(m_Settings.configFolder);
  }
  engine.setArchiveStep(
      [&](const std::string& folder, const std::string& path, const std::string& /*password*/) -> ResultCode {
        workFolder = folder;
        for (const CollectSettings::FolderStep& step : m_Settings.folderSteps) {
          if (const ResultCode rc = step(folder, stepReason); rc != 0) {
            return rc;
          }
        }
        return bundle.make(folder, path + m_Settings.bundleEnding);
      });

  RunOutcome outcome;
  {
    // In this order: the guard's last line goes to the stream that is put aside here.
    const DroppedOutput dropped(m_Settings.quiet || m_Settings.dropOutput, m_Settings.quiet);
    const RunGuard guard(guardSettings(m_Settings, engine, dropped.errorStream()));
    outcome.code = engine.run();
  }
  if (outcome.code == TOLMENGINE_ERROR_MEMALLOC_FAILED) {
    removeWorkFolder(engine);
  }
  outcome.text = outcome.code == TOLMENGINE_ERROR_MEMALLOC_FAILED && engine.failureText().empty()
                     ? kNoMemory
                     : engine.failureText();
  outcome.bundlePath = bundle.path().empty() ? engine.bundlePath() + m_Settings.bundleEnding : bundle.path();
  if (outcome.code != 0) {
    outcome.reason = !stepReason.empty()        ? stepReason
                     : !bundle.reason().empty() ? bundle.reason()
                                                : engine.workFolderProblem();
    return outcome;
  }
  outcome.files = bundle.files();
  outcome.bundleBytes = bundle.bytes();
  // Only of a bundle that stands: a failed run has said what is wrong.
  takeLosses(outcome, workFolder);
  outcome.unmatchedIds = m_UnmatchedIds;
  return outcome;
}

ClearRun::ClearRun(RunSettings settings) : m_Settings(std::move(settings)) {}

RunOutcome ClearRun::run() {
  logBegin(m_Settings, "clear run", "", helperUtil::defaultConfigFolder(), "");
  return makeTimed([this] { return makeRun(); });
}

RunOutcome ClearRun::makeRun() {
  RunLock lock;
  const auto lookAhead = [] { return lookAtDocuments(helperUtil::defaultConfigFolder()); };
  if (RunOutcome outcome = takeTurn(m_Settings, lock, lookAhead); outcome.code != 0) {
    return refuse(outcome);
  }
  for (const std::string& path : lock.unfinishedBundles()) {
    removeUnfinishedBundle(path);
  }
  removeLeftOverFolders(kWorkParent);
  TOLMEngine engine("", "", "", true);
  RunOutcome outcome;
  {
    const DroppedOutput dropped(m_Settings.quiet || m_Settings.dropOutput, m_Settings.quiet);
    const RunGuard guard(guardSettings(m_Settings, engine, dropped.errorStream()));
    outcome.code = engine.run();
  }
  outcome.text = engine.failureText();
  takeLosses(outcome, "");
  return outcome;
}

std::string lossName(const std::string& path, const std::string& workFolder) {
  const std::string inside = workFolder + "/";
  if (workFolder.empty() || !path.starts_with(inside)) {
    return path;
  }
  const std::string name = std::filesystem::path(path).lexically_normal().string();
  return name.starts_with(inside) ? name.substr(inside.size()) : path;
}

std::string failureLine(const RunOutcome& outcome) {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%.8X", static_cast<unsigned>(outcome.code));
  const std::string line = outcome.text + " (" + hex + ")";
  return outcome.reason.empty() ? line : line + "; " + outcome.reason;
}

namespace {

void addLossLines(const std::vector<std::string>& names, std::size_t count, const std::string& what,
                  std::vector<std::string>& lines) {
  if (count == 0) {
    return;
  }
  lines.push_back(std::to_string(count) + " " + what);
  for (const std::string& name : names) {
    lines.push_back("  " + name);
  }
  if (count > names.size()) {
    lines.push_back("  and " + std::to_string(count - names.size()) + " more; the log names them all");
  }
}

}  // namespace

std::vector<std::string> lossLines(const RunOutcome& outcome) {
  std::vector<std::string> lines;
  addLossLines(outcome.lost, outcome.lostCount,
               outcome.lostCount == 1 ? "file is cut short or missing" : "files are cut short or missing",
               lines);
  addLossLines(outcome.unreadable, outcome.unreadableCount,
               outcome.unreadableCount == 1 ? "file is left out, as it can't be read"
                                            : "files are left out, as they can't be read",
               lines);
  if (const std::size_t count = outcome.unmatchedIds.size(); count > 0) {
    std::string line =
        count == 1 ? "no document has instructions for an id of the request:"
                   : "no document has instructions for " + std::to_string(count) + " ids of the request:";
    for (std::size_t i = 0; i < std::min(count, kMostNamed); ++i) {
      line += (i == 0 ? " " : ", ") + quotedText(outcome.unmatchedIds[i]);
    }
    lines.push_back(line + (count > kMostNamed ? " and more" : ""));
  }
  return lines;
}

std::vector<std::string> unclearedLines(const RunOutcome& outcome) {
  std::vector<std::string> names = outcome.lost;
  names.insert(names.end(), outcome.unreadable.begin(), outcome.unreadable.end());
  const std::size_t count = outcome.lostCount + outcome.unreadableCount;
  std::vector<std::string> lines;
  addLossLines(names, count, count == 1 ? "file or folder isn't cleared" : "files or folders aren't cleared",
               lines);
  return lines;
}

std::string defaultBundlePath() {
  return helperUtil::translatePath(helperUtil::defaultBundleFolder()) + "TOLMBundle" +
         helperUtil::timeText(1) + ".zip";
}

}  // namespace halvo
