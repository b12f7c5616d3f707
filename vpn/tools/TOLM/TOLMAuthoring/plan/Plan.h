// Plan: what a collect run would gather on this machine now, without running or writing anything.
//
// The selection follows the run's own walk, and documents are read by the engine's own readers, so that
// plan and run agree. What is on the machine comes through IPlanHost. A plan is a plain value.

#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/XMLObject.h"

namespace halvo {

// The machine as a plan sees it. All operations only look.
class IPlanHost {
 public:
  virtual ~IPlanHost() = default;
  // As helperUtil::fileFindAll and fileGetNewestMatchingFile.
  [[nodiscard]] virtual ResultCode findAll(std::string folder, std::string pattern,
                                           std::list<helperUtil::FileFindEntry>& entries) = 0;
  [[nodiscard]] virtual ResultCode findNewest(const std::string& folder, const std::string& pattern,
                                              helperUtil::NewestFile& newest) = 0;
  // Bytes, -1 where the file can't be looked at.
  [[nodiscard]] virtual std::int64_t sizeOf(const std::string& path) = 0;
  [[nodiscard]] virtual bool isFolder(const std::string& path) = 0;
  // Why the file can't be opened for reading; empty if it can.
  [[nodiscard]] virtual std::string readProblem(const std::string& path) = 0;
  // As TOLMAction::getLogLocationArray.
  [[nodiscard]] virtual ResultCode logLocations(const std::string& file,
                                                std::vector<std::string>& locations) = 0;
};

// The machine that the program runs on.
class PlanHost : public IPlanHost {
 public:
  ResultCode findAll(std::string folder, std::string pattern,
                     std::list<helperUtil::FileFindEntry>& entries) override;
  ResultCode findNewest(const std::string& folder, const std::string& pattern,
                        helperUtil::NewestFile& newest) override;
  std::int64_t sizeOf(const std::string& path) override;
  bool isFolder(const std::string& path) override;
  std::string readProblem(const std::string& path) override;
  ResultCode logLocations(const std::string& file, std::vector<std::string>& locations) override;
};

struct PlannedFile {
  std::string path;
  std::string storedAs;    // its name in the document's folder of the bundle
  std::int64_t size = -1;  // bytes; -1 for a folder and where it can't be had
  bool isFolder = false;
  std::string problem;  // why it can't be copied now; empty if it can
};

enum class PlannedKind { kCopy, kCapture, kLaunch, kList };

struct PlannedAction {
  PlannedKind kind = PlannedKind::kCopy;
  // The path or the command line as the document has it, and as a run would use it.
  std::string text;
  std::string expanded;
  bool gatherNewest = false;       // copies
  std::vector<PlannedFile> files;  // copies and property lists
  std::string program;             // launch: what is started ...
  std::string argument;            // ... with this one argument
  std::string output;              // launch: the file that is gathered, and deleted
  std::string storedAs;            // commands
  // Why a run gathers nothing here now, or drops the action; empty if all is well.
  std::string problem;
};

// Why an item is or isn't gathered.
enum class Selection {
  kDefault,       // selected: a default item in a default run
  kRequested,     // selected: the request names it
  kNotDefault,    // left out of a default run
  kNotRequested,  // left out: the request doesn't name it
  kShadowed,      // left out: an item of the same id stands ahead of it
};
bool isSelected(Selection selection);
// Stable words of the JSON form, such as "not-default".
const char* selectionName(Selection selection);
// For readers.
const char* selectionText(Selection selection);

struct PlannedItem {
  std::string id;
  std::string description;
  Selection selection = Selection::kNotDefault;
  // The opsys value of the chosen `os`; empty where none is for this system.
  bool hasOs = false;
  std::string opsys;
  std::vector<PlannedAction> actions;
};

struct PlannedDocument {
  std::string path;
  // False for a document that a run can't parse; the rest is empty then.
  bool parsed = true;
  std::string title;
  std::vector<PlannedItem> items;
};

struct Plan {
  std::string configFolder;
  // Empty for a default run.
  std::string requestPath;
  std::vector<PlannedDocument> documents;
  // Request runs: ids that no document has instructions for on this system.
  std::vector<std::string> unmatchedIds;
  // Request runs: the names of the comments file (empty for none) and of the summary.
  std::string commentsFile;
  std::string summaryFile = "summary.txt";
};

// One document of the folder. The tree isn't owned; null for one that can't be parsed.
struct PlanSource {
  std::string path;
  const XMLObject* document;
};

// Plans a run over the documents in the given order. `request` is null for a default run.
Plan buildPlan(const std::vector<PlanSource>& documents, const XMLObject* request, IPlanHost& host);

// The two forms of a plan.
std::string planText(const Plan& plan);
std::string planJson(const Plan& plan);

}  // namespace halvo
