// RunRecord: what a run did, document by document and command by command, for a front-end that tells it to
// other programs.
//
// The summary in the bundle is for people: it cuts names, and keeps quiet about commands. What it is made of
// is noted here as it comes to be, and nothing of the run hangs on it. One record in the process, not
// owned, set before a run begins; filled on the engine's thread and read once the run is over.

#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "vpn/tools/TOLM/TOLMEngine/implementations/FileRecord.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"

namespace halvo {

struct RunRecord {
  struct Stored {
    std::string id;
    std::string path;  // in the work folder; of a file or of a folder
  };
  struct Omitted {
    std::string id;
    std::string file;  // as in the summary: a name, or "N/A"
    std::string reason;
  };
  struct Document {
    std::vector<Stored> stored;
    std::vector<Omitted> omitted;
    std::vector<std::string> notes;
  };
  struct Command {
    std::size_t document = 0;  // its place among the documents of the run
    std::string id;
    std::string line;
    double seconds = 0;
    std::uint64_t bytes = 0;  // of standard output, where that is gathered
    std::optional<int> exitStatus;
    bool overTime = false;  // ended since it ran for too long
  };

  // What Losses.h notes, all of it, and once for each item that it befell.
  struct Lost {
    LossKind kind = LossKind::kCutShort;
    std::string path;
    std::string what;
    std::optional<std::string> id;  // none of what belongs to no item, such as the summary
    std::size_t document = 0;       // of the item, as below
  };

  // In the order of the run; a document that can't be parsed has none.
  std::vector<Document> documents;
  std::vector<Command> commands;
  std::vector<Lost> lost;

  // While the run lasts: the item in progress, and what is noted as its losses. What was captured cut short
  // and then copied so is one file.
  std::optional<std::string> item;
  std::unordered_set<std::string> itemsLosses;
};

// Null, as at first, for none.
void setRunRecord(RunRecord* record);

// Notes what a document came to. Nothing without a record.
void recordDocument(const std::list<FileRecord>& stored, const XMLObject& summary);

// Has what is lost in a scope be the loss of this item. Nothing without a record.
class RecordedItem {
 public:
  explicit RecordedItem(const std::string& id);
  ~RecordedItem();
  RecordedItem(const RecordedItem&) = delete;
  RecordedItem& operator=(const RecordedItem&) = delete;
};

// Called by recordLoss() and renameLoss(), one at a time. Nothing without a record.
void recordLost(LossKind kind, const std::string& path, const std::string& what);
void renameLost(const std::string& from, const std::string& to);

// Notes a command for a scope. Nothing without a record.
class RecordedCommand {
 public:
  RecordedCommand(const std::string& id, const std::string& line);
  ~RecordedCommand();
  RecordedCommand(const RecordedCommand&) = delete;
  RecordedCommand& operator=(const RecordedCommand&) = delete;

 private:
  std::chrono::steady_clock::time_point m_Start;
};

// Of the command in progress, on its thread. Nothing without one.
void recordOutput(std::uint64_t bytes);
void recordExitStatus(int status);
void recordOverTime();

}  // namespace halvo
