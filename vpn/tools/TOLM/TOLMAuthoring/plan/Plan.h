// Plan: what a collect run would gather on this machine now, without running or writing anything.
//
// The selection follows the run's own walk, and documents are read by the engine's own readers, so that
// plan and run agree. What is on the machine comes through IPlanHost. A plan is a plain value.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/PlanHost.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/XMLObject.h"

namespace halvo {

// Where something stands in a document; line 0 where that isn't known. A summary that is written behind a
// file of its name stands here by that name.
struct PlannedPlace {
  std::string document;
  std::uint32_t line = 0;
};

// Something inside a matched folder.
struct PlannedEntry {
  std::string path;        // below the folder
  std::int64_t size = -1;  // bytes of a file; -1 otherwise
  bool isFolder = false;   // or what a copy makes a folder of
  std::string linkTarget;  // of a link, where it leads; empty otherwise
  bool leaves = false;     // a link that leads out of the folder: a copy gathers what lies there
  std::string problem;     // why it is left out
};

struct PlannedFile {
  std::string path;
  std::string storedAs;    // its name in the document's folder of the bundle
  std::int64_t size = -1;  // bytes; -1 for a folder and where it can't be had
  bool isFolder = false;
  std::string problem;  // why it can't be copied now; empty if it can
  // What else is to be known of it, such as that nothing of a pipe is stored.
  std::string note;
  // Of a link, where it leads; empty otherwise.
  std::string linkTarget;
  // By what it is replaced or deleted in the bundle later in the run.
  std::optional<PlannedPlace> replacedBy;
  std::vector<PlannedEntry> inside;  // of a folder, where the plan looks into folders

  // Its number in the planner's model.
  std::size_t id = 0;
};

// What to plan.
struct PlanOptions {
  bool deep = false;   // look into matched folders
  bool all = false;    // tell the actions of items that aren't selected, too
  bool clear = false;  // a clear run instead of a collect run
  // Takes each file that a copy finds, as soon as it is found. The plan then keeps none of them, and tells
  // neither what becomes of them in the bundle nor their sums: for who asks about very many files.
  std::function<void(const PlannedFile&)> onCopy = nullptr;
};

// kDelete: files that a clear run deletes.
enum class PlannedKind { kCopy, kCapture, kLaunch, kList, kDelete };

struct PlannedAction {
  PlannedKind kind = PlannedKind::kCopy;
  // The path or the command line as the document has it, and as a run would use it.
  std::string text;
  std::string expanded;
  bool gatherNewest = false;         // copies
  std::vector<PlannedFile> files;    // copies and property lists
  std::string program;               // launch: what is started ...
  std::string argument;              // ... with this one argument
  std::string output;                // launch: the file that is gathered, and deleted
  std::int64_t outputSize = -1;      // bytes of that file, -1 where it isn't there now
  std::string storedAs;              // commands
  std::vector<PlannedEntry> inside;  // of a launch whose file is a folder, where the plan looks into them
  std::uint32_t line = 0;            // of the action in its document; 0 where that isn't known
  // Commands: by what the result is replaced or deleted in the bundle later in the run.
  std::optional<PlannedPlace> replacedBy;
  std::size_t id = 0;  // of a command's result in the planner's model
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

// What is stored: files that have a problem or are replaced later aren't in it. A folder counts as one file
// unless the plan looks into folders.
struct PlannedTotals {
  std::size_t files = 0;
  std::int64_t bytes = 0;
  std::size_t commands = 0;
};

struct PlannedItem {
  std::string id;
  std::string description;
  Selection selection = Selection::kNotDefault;
  // The opsys value of the chosen `os`; empty where none is for this system.
  bool hasOs = false;
  std::string opsys;
  std::vector<PlannedAction> actions;
  PlannedTotals totals;
};

struct PlannedDocument {
  std::string path;
  // False for a document that a run can't parse; the rest is empty then.
  bool parsed = true;
  std::string title;
  // Its folder in the bundle, ending in "/" unless it is the top; nothing where it lies outside of it.
  std::optional<std::string> folder;
  // Why a run counts the document as failed; empty if it doesn't.
  std::string problem;
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
  // Where the summary lies in the bundle; nothing where the first title puts it outside of it.
  std::optional<std::string> summaryPath;
  // By what the summary is replaced: what stood in it until then is lost.
  std::optional<PlannedPlace> summaryReplacedBy;
  // Why the run ends without a bundle; empty if it doesn't.
  std::string failure;
  bool clear = false;
  bool deep = false;
  // Folders hold more than a plan looks at.
  bool cut = false;
  PlannedTotals totals;
  // All that the bundle holds, folders with a "/" behind them, without what lies inside of copied folders.
  std::vector<std::string> bundleNames;
};

// One document of the folder. The trees aren't owned; `document` is null for one that can't be parsed, and
// `positions`, which tells the lines, may be null.
struct PlanSource {
  std::string path;
  const XMLObject* document;
  const DocumentTree* positions = nullptr;
};

// Plans a run over the documents in the given order. `request` is null for a default run.
Plan buildPlan(const std::vector<PlanSource>& documents, const XMLObject* request, IPlanHost& host,
               const PlanOptions& options = {});

// The two forms of a plan.
std::string planText(const Plan& plan);
std::string planJson(const Plan& plan);

}  // namespace halvo
