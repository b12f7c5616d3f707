#include "vpn/tools/TOLM/TOLMEngine/implementations/RunRecord.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace halvo {

namespace {

RunRecord* s_pRecord = nullptr;
// A command that is noted is in progress; it is the last of the record.
bool s_bCommand = false;

std::string attributeOf(const DataComponent& element, const char* name) {
  const DataAttribute* const attribute = element.FindAttribute(name);
  return attribute != nullptr ? attribute->GetValue() : "";
}

std::string keyOf(LossKind kind, const std::string& path) {
  return (kind == LossKind::kCutShort ? "c" : "u") + path;
}

RunRecord::Command* currentCommand() {
  return s_pRecord != nullptr && s_bCommand ? &s_pRecord->commands.back() : nullptr;
}

}  // namespace

void setRunRecord(RunRecord* record) {
  s_pRecord = record;
  s_bCommand = false;
}

void recordDocument(const std::list<FileRecord>& stored, const XMLObject& summary) {
  if (s_pRecord == nullptr || summary.GetRoot() == nullptr) {
    return;
  }
  RunRecord::Document document;
  for (const FileRecord& file : stored) {
    document.stored.push_back({file.id, file.path});
  }
  for (const auto& section : summary.GetRoot()->GetChildren()) {
    for (const auto& entry : section->GetChildren()) {
      if (section->GetName() == "Manifest_Not_Included") {
        document.omitted.push_back({entry->GetName(), entry->GetValue(), attributeOf(*entry, "reason")});
      } else if (section->GetName() == "Other_Note") {
        document.notes.push_back(entry->GetValue());
      }
    }
  }
  s_pRecord->documents.push_back(std::move(document));
}

RecordedItem::RecordedItem(const std::string& id) {
  if (s_pRecord != nullptr) {
    s_pRecord->item = id;
    s_pRecord->itemsLosses.clear();
  }
}

RecordedItem::~RecordedItem() {
  if (s_pRecord != nullptr) {
    s_pRecord->item.reset();
    s_pRecord->itemsLosses.clear();
  }
}

void recordLost(LossKind kind, const std::string& path, const std::string& what) {
  if (s_pRecord != nullptr && s_pRecord->itemsLosses.insert(keyOf(kind, path)).second) {
    s_pRecord->lost.push_back({kind, path, what, s_pRecord->item, s_pRecord->documents.size()});
  }
}

void renameLost(const std::string& from, const std::string& to) {
  if (s_pRecord == nullptr || from == to) {
    return;
  }
  for (const LossKind kind : {LossKind::kCutShort, LossKind::kUnreadable}) {
    if (s_pRecord->itemsLosses.erase(keyOf(kind, from)) == 0) {
      continue;
    }
    // Of the item in progress, and so among the last.
    const auto found =
        std::find_if(s_pRecord->lost.rbegin(), s_pRecord->lost.rend(),
                     [&](const RunRecord::Lost& lost) { return lost.kind == kind && lost.path == from; });
    if (s_pRecord->itemsLosses.insert(keyOf(kind, to)).second) {
      found->path = to;
    } else {
      s_pRecord->lost.erase(std::next(found).base());
    }
  }
}

RecordedCommand::RecordedCommand(const std::string& id, const std::string& line)
    : m_Start(std::chrono::steady_clock::now()) {
  if (s_pRecord != nullptr) {
    RunRecord::Command command;
    command.document = s_pRecord->documents.size();
    command.id = id;
    command.line = line;
    s_pRecord->commands.push_back(std::move(command));
    s_bCommand = true;
  }
}

RecordedCommand::~RecordedCommand() {
  if (RunRecord::Command* const command = currentCommand(); command != nullptr) {
    command->seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
  }
  s_bCommand = false;
}

void recordOutput(std::uint64_t bytes) {
  if (RunRecord::Command* const command = currentCommand(); command != nullptr) {
    command->bytes = bytes;
  }
}

void recordExitStatus(int status) {
  if (RunRecord::Command* const command = currentCommand(); command != nullptr) {
    command->exitStatus = status;
  }
}

void recordOverTime() {
  if (RunRecord::Command* const command = currentCommand(); command != nullptr) {
    command->overTime = true;
  }
}

}  // namespace halvo
