// RunStatus: a run's outcome as JSON, for programs that gather from many machines.
//
// One object accompanies one run: it plans the run ahead, notes what the engine does while it lasts,
// takes sums of the gathered files before they are packed, and writes all of it down in the end. The form
// is told in docs/status-json.md and packaging/schema/collect-status.schema.json. One at a time in a
// process, on the run's thread.

#pragma once

#include <ctime>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/RunRecord.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/CollectRun.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/FileDigest.h"

namespace halvo {

struct RedactedArchiveOutcome;

class RunStatus {
 public:
  // Plans a run over the documents of `configFolder` (the suite's where it is empty) for the request (empty
  // for none), and begins to note what the engine does.
  RunStatus(const std::string& requestPath, const std::string& configFolder);
  ~RunStatus();
  // Plans once more, for a run that may have waited: see CollectSettings::begins.
  void plan();
  RunStatus(const RunStatus&) = delete;
  RunStatus& operator=(const RunStatus&) = delete;

  // The step for CollectSettings::folderSteps, the last of them. The object has to outlive the run.
  [[nodiscard]] CollectSettings::FolderStep digestStep();

  // Once the run is over, of a run whose bundle was redacted: from here on what is told of the run goes by
  // the bundle's stand-ins, and its files are those that are left. Borrows the outcome.
  void redact(RedactedArchiveOutcome& redaction);

  // Once the run is over: the text, ending in a line feed. `recipients`: the fingerprints of the keys.
  [[nodiscard]] std::string json(const RunOutcome& outcome, const std::vector<std::string>& recipients) const;

  // Whether something that was wanted isn't in the bundle: an item with nothing stored or something
  // omitted, an id that no document knows, a document that can't be parsed, a command that was ended, a
  // file that is cut short.
  [[nodiscard]] bool isIncomplete(const RunOutcome& outcome) const;

 private:
  struct Item;
  [[nodiscard]] std::vector<std::vector<Item>> items() const;
  void digestFolder(const std::string& folder);
  void omitLosses();
  // Each once, in the words of the terminal, which names the first ten of them.
  [[nodiscard]] std::vector<std::string> lossTexts(LossKind kind) const;
  void redactFiles();

  std::string m_strRequest;
  std::string m_strConfigFolder;
  Plan m_Plan;
  RunRecord m_Record;
  RedactedArchiveOutcome* m_pRedaction = nullptr;  // of a redacted run that is over
  std::time_t m_Begin;
  // Path in the work folder to the file or files that stand for it; the paths in them are names in the
  // bundle.
  std::map<std::string, std::vector<FileDigest>> m_Digests;
  std::set<std::string> m_Folders;  // of the paths in m_Digests
  std::vector<FileDigest> m_Documents;
  std::string m_strWorkFolder;  // of a run that got as far as its bundle
};

}  // namespace halvo
