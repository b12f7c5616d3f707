// CollectRun and ClearRun: one run of the engine as a front-end makes it, with all that goes around it.
//
// The engine gathers; what keeps the machine and the bundle safe stands here: one run at a time, no
// left-overs of earlier ones, documents that only trusted users can write to, a bundle that appears only
// when it is whole, commands that end when the run does. Both front-ends make their runs by these two
// classes and show the outcome in their own way; nothing here prints.
//
// Built for one run, on the thread that shall run the engine, and destroyed there. One run at a time in
// a process.

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class Secret;

// What a run needs to know that its documents don't say.
struct RunSettings {
  // As lock, log and messages name the program.
  std::string program = "tmtolm";
  // Waits for another run of this user to end; otherwise that run is told and this one isn't made.
  bool wait = false;
  // The run's commands print nothing: what isn't captured of their output is dropped.
  bool quiet = false;
  // The same of their standard output alone: what is to stand there is the caller's.
  bool dropOutput = false;
  // Ends a command, with all that it has started, that runs for longer; 0 for no limit.
  std::uint32_t commandTimeoutSeconds = 0;
  // What a signal that ends the run does in the end: end the process by that same signal, or with
  // status 0, as a wizard whose session ends.
  bool endBySignal = true;
  // Receives what is worth a line while the run goes on, without a line end: whom it waits for, a command
  // that was ended. May be empty. Called on the run's thread or on the watcher's.
  std::function<void(const std::string& line)> tell;
};

struct CollectSettings : RunSettings {
  // A request document; empty for the default run.
  std::string requestPath;
  // Where to write the bundle, with or without ".zip".
  std::string bundlePath;
  // Takes a name with _2, _3 ... where there is a bundle of that name, also one that comes to be while the
  // run is at work; the summary then names the path that the run had in mind.
  bool keepOlderBundle = false;
  // Reads the config documents from here and not from the suite's own folder: the trial run of their
  // author, whose trust is his own affair. Empty for the suite's folder.
  std::string configFolder;
  // Null or empty for no encryption. Let go of when the run is over.
  std::shared_ptr<const Secret> password;
  // Steps between the last document and the archive, in order, over the whole work folder: to leave
  // something out of it, to make something unreadable. One that fails ends the run as a failed archive,
  // with its reason. Called on the run's thread.
  using FolderStep = std::function<ResultCode(const std::string& folder, std::string& reason)>;
  std::vector<FolderStep> folderSteps;

  // Writes everything below `folder` to the open file, which is empty; without one, the ZIP file told is
  // made. What another writer makes can't be looked at afterwards: it has to tell all by its result.
  using ArchiveWriter = std::function<ResultCode(const std::string& folder, int file,
                                                 const std::string& password, std::string& reason)>;
  ArchiveWriter archiveWriter;
  // Stands behind the bundle's ".zip", as another writer's result wants it.
  std::string bundleEnding;
  // Called once nothing stands in the run's way any more, ahead of the engine: a run that has waited may find
  // other documents than there were when it was asked for. May be empty. Called on the run's thread.
  std::function<void()> begins;
};

// How a run ended.
struct RunOutcome {
  ResultCode code = 0;
  // Of a run with a code: what failed, and what is to be said behind the code, such as what is missing or
  // what to do; either may be empty.
  std::string text;
  std::string reason;

  // The first ten files that are cut short or missing, a captured output by its name in the bundle, and how
  // many there are: the bundle stands, and the
  // run isn't a success all the same.
  std::vector<std::string> lost;
  std::size_t lostCount = 0;
  // Files below gathered folders that couldn't be read, in the same form: told, no failure.
  std::vector<std::string> unreadable;
  std::size_t unreadableCount = 0;
  // Ids of the request that no document has instructions for: told, no failure.
  std::vector<std::string> unmatchedIds;

  // The bundle, and what is in it.
  std::string bundlePath;
  std::uint64_t files = 0;
  std::uint64_t bundleBytes = 0;
  double seconds = 0;

  [[nodiscard]] bool isWhole() const { return code == 0 && lostCount == 0; }
};

class RunLock;

class CollectRun {
 public:
  explicit CollectRun(CollectSettings settings);
  ~CollectRun();
  CollectRun(const CollectRun&) = delete;
  CollectRun& operator=(const CollectRun&) = delete;

  // Makes the run. What stands in its way is found before the engine is asked, so that nothing has been
  // done then; the engine's progress outlet gets the finish in that case too. Memory that runs out is an
  // outcome like any other.
  RunOutcome run();

 private:
  RunOutcome makeRun();
  // What stands in the way of the run, found without doing anything.
  RunOutcome lookAhead();
  RunOutcome lookAtSizes();
  RunOutcome runEngine(RunLock& lock);
  [[nodiscard]] std::string configFolder() const;
  [[nodiscard]] bool isEncrypted() const;
  // Where no older bundle is to be replaced: takes a name that is free now.
  void chooseBundlePath();

  CollectSettings m_Settings;
  std::string m_strWantedPath;  // of the bundle, as the caller gave it
  std::vector<std::string> m_UnmatchedIds;
};

class ClearRun {
 public:
  explicit ClearRun(RunSettings settings);
  // As above, for a run that deletes logs and makes no bundle.
  RunOutcome run();

 private:
  RunOutcome makeRun();

  RunSettings m_Settings;
};

// Where the wizard puts a bundle: the Desktop folder and a name made of the present time. A variable
// that isn't set stays in the path as it is.
std::string defaultBundlePath();

// What a loss is called for people: what lies in the work folder by its name in the bundle, for by then
// nobody finds it anywhere else.
std::string lossName(const std::string& path, const std::string& workFolder);

// The line that tells a run's failure: text, code as 0xFEAF000B, and the reason behind a semicolon.
std::string failureLine(const RunOutcome& outcome);

// The lines that tell losses, unreadable files and ids that no document answers, without line ends; none
// where there are none.
std::vector<std::string> lossLines(const RunOutcome& outcome);
// The same of a clear run: the files that it couldn't delete, and the folders that it couldn't look into or
// not to the end.
std::vector<std::string> unclearedLines(const RunOutcome& outcome);

}  // namespace halvo
