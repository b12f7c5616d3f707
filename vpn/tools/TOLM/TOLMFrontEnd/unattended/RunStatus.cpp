#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/RunStatus.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/DocumentFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RedactedArchive.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/BundleName.h"

namespace halvo {

namespace {

namespace fs = std::filesystem;

using Json = nlohmann::ordered_json;

// Raised when a reader of the old form could misread the new one.
constexpr int kFormat = 1;

Json textOrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

std::string codeText(ResultCode code) {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%.8X", static_cast<unsigned>(code));
  return hex;
}

// The machine, as far as a selection needs it: which files there are is seen by the run itself.
class SelectionHost : public PlanHost {
 public:
  ResultCode findAll(std::string /*folder*/, std::string /*pattern*/,
                     std::list<helperUtil::FileFindEntry>& /*entries*/) override {
    return 0;
  }
  std::string readProblem(const std::string& /*path*/) override { return ""; }
  ResultCode logLocations(const std::string& /*file*/, std::vector<std::string>& /*locations*/) override {
    return 0;
  }
};

// What a path in the work folder stands for: itself, or every file of a folder.
std::vector<FileDigest> digestsBelow(const std::string& path, const std::string& root) {
  std::vector<FileDigest> digests;
  std::error_code error;
  const auto add = [&](const std::string& file) {
    FileDigest digest = digestFile(file);
    digest.path = file.substr(std::min(file.size(), root.size() + 1));
    digests.push_back(std::move(digest));
  };
  const fs::file_status status = fs::symlink_status(path, error);
  if (fs::is_regular_file(status)) {
    add(path);
  } else if (fs::is_directory(status)) {
    // A walk that breaks off gives what it had: the run has told of what it lost itself.
    for (fs::recursive_directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
      std::error_code ignored;
      if (fs::is_regular_file(at->symlink_status(ignored))) {
        add(at->path().string());
      }
    }
  }
  std::sort(digests.begin(), digests.end(),
            [](const FileDigest& a, const FileDigest& b) { return a.path < b.path; });
  return digests;
}

}  // namespace

// One row of the status: an id in a document, with all that came of it.
struct RunStatus::Item {
  std::string id;
  std::string description;
  Selection selection = Selection::kNotDefault;
  bool hasInstructions = false;
  bool hasFolder = false;  // one was gathered, perhaps without a file
  std::vector<const FileDigest*> stored;
  std::vector<const RunRecord::Omitted*> omitted;
  std::vector<const RunRecord::Command*> commands;

  [[nodiscard]] bool isCutOff() const {
    return std::any_of(commands.begin(), commands.end(),
                       [](const RunRecord::Command* command) { return command->overTime; });
  }
  // A stable word.
  [[nodiscard]] const char* outcome() const {
    if (!isSelected(selection)) {
      return "left-out";
    }
    if (!hasInstructions) {
      return "not-for-this-system";
    }
    // A folder without files is gathered with all that it holds.
    if (stored.empty() && !(hasFolder && omitted.empty())) {
      return "missing";
    }
    return omitted.empty() && !isCutOff() ? "gathered" : "partial";
  }
  [[nodiscard]] bool isMissing() const {
    const std::string word = outcome();
    return word == "missing" || word == "partial";
  }
};

RunStatus::RunStatus(const std::string& requestPath, const std::string& configFolder)
    : m_strRequest(requestPath),
      m_strConfigFolder(configFolder.empty() ? helperUtil::defaultConfigFolder() : configFolder),
      m_Begin(std::time(nullptr)) {
  plan();
  setRunRecord(&m_Record);
}

void RunStatus::plan() {
  const DocumentFolder folder(m_strConfigFolder);
  LoadedDocument request;
  if (!m_strRequest.empty()) {
    request = loadDocument(m_strRequest);
  }
  SelectionHost host;
  m_Plan = buildPlan(folder.sources(), request.document, host);
  // Nothing is wanted by a request that can't be read, and the run fails.
  for (PlannedDocument& document : m_Plan.documents) {
    for (PlannedItem& item : document.items) {
      if (!m_strRequest.empty() && request.document == nullptr) {
        item.selection = Selection::kNotRequested;
      }
    }
  }
  m_Documents.clear();
  for (const PlannedDocument& document : m_Plan.documents) {
    // Now: these are the documents that are run, whatever becomes of them meanwhile.
    m_Documents.push_back(digestFile(document.path));
  }
}

RunStatus::~RunStatus() {
  setRunRecord(nullptr);
}

CollectSettings::FolderStep RunStatus::digestStep() {
  return [this](const std::string& folder, std::string& /*reason*/) -> ResultCode {
    digestFolder(folder);
    return 0;
  };
}

void RunStatus::digestFolder(const std::string& folder) {
  m_strWorkFolder = folder;
  omitLosses();
  for (const RunRecord::Document& document : m_Record.documents) {
    // Once for each path: items may share a file, and reading it costs.
    for (const RunRecord::Stored& stored : document.stored) {
      if (m_Digests.count(stored.path) == 0) {
        // Without dots, so that what stands behind the work folder is the name in the bundle.
        m_Digests.emplace(stored.path,
                          digestsBelow(fs::path(stored.path).lexically_normal().string(), folder));
        std::error_code error;
        if (fs::is_directory(fs::symlink_status(stored.path, error))) {
          m_Folders.insert(stored.path);
        }
      }
    }
  }
}

// The summary tells nothing of what a gathered folder lacks, nor of what a full disk cut short; a reader of
// the status has to find it with the item.
void RunStatus::omitLosses() {
  for (const RunRecord::Lost& lost : m_Record.lost) {
    if (lost.id && lost.document < m_Record.documents.size()) {
      const char* const how =
          lost.kind == LossKind::kUnreadable ? "Can't be read: " : "Cut short or missing: ";
      m_Record.documents[lost.document].omitted.push_back(
          {*lost.id, lossName(lost.path, m_strWorkFolder), how + lost.what});
    }
  }
}

std::vector<std::string> RunStatus::lossTexts(LossKind kind) const {
  std::vector<std::string> texts;
  std::set<std::string> told;
  for (const RunRecord::Lost& lost : m_Record.lost) {
    if (lost.kind == kind && told.insert(lost.path).second) {
      texts.push_back("\"" + lossName(lost.path, m_strWorkFolder) + "\": " + lost.what);
    }
  }
  return texts;
}

// The files by their new names. Their sums are those of what was gathered, and would tell who has it what
// stood there.
void RunStatus::redactFiles() {
  std::map<std::string, const RedactedEntry*> entries;
  for (const RedactedEntry& entry : m_pRedaction->entries) {
    entries.emplace(entry.name, &entry);
  }
  for (RunRecord::Document& document : m_Record.documents) {
    std::set<std::pair<std::string, std::string>> told;
    for (const RunRecord::Stored& stored : document.stored) {
      const auto found = m_Digests.find(stored.path);
      if (found == m_Digests.end() || !told.emplace(stored.id, stored.path).second) {
        continue;
      }
      for (const FileDigest& file : found->second) {
        const auto entry = entries.find(file.path);
        if (entry != entries.end() && !entry->second->leftOut.empty()) {
          const std::string name = fs::path(entry->second->newName).filename().string();
          document.omitted.push_back({stored.id, name, entry->second->leftOut});
        }
      }
    }
  }
  for (auto& [path, files] : m_Digests) {
    std::vector<FileDigest> left;
    for (const FileDigest& file : files) {
      const auto entry = entries.find(file.path);
      if (entry != entries.end() && entry->second->leftOut.empty()) {
        left.push_back({entry->second->newName, entry->second->size, ""});
      }
    }
    files = std::move(left);
  }
}

void RunStatus::redact(RedactedArchiveOutcome& redaction) {
  m_pRedaction = &redaction;
  for (RunRecord::Document& document : m_Record.documents) {
    for (RunRecord::Omitted& omitted : document.omitted) {
      omitted.file = redaction.redact(omitted.file);
      omitted.reason = redaction.redact(omitted.reason);
    }
    for (std::string& note : document.notes) {
      note = redaction.redact(note);
    }
  }
  for (RunRecord::Command& command : m_Record.commands) {
    command.line = redaction.redact(command.line);
  }
  redactFiles();
}

std::vector<std::vector<RunStatus::Item>> RunStatus::items() const {
  std::vector<std::vector<Item>> documents;
  // The run has a record for each document that can be parsed, in the plan's order.
  std::size_t ran = 0;
  for (const PlannedDocument& planned : m_Plan.documents) {
    std::vector<Item> items;
    std::map<std::string, std::size_t> places;
    const auto itemOf = [&](const std::string& id) -> Item& {
      const auto [place, isNew] = places.emplace(id, items.size());
      if (isNew) {
        items.emplace_back();
        items.back().id = id;
        // The comment of a request and what else no document has asked for.
        items.back().selection = Selection::kRequested;
        items.back().hasInstructions = true;
      }
      return items[place->second];
    };
    for (const PlannedItem& item : planned.items) {
      // Several items of one id are one row: what was gathered bears no more than the id.
      if (places.count(item.id) != 0) {
        Item& known = itemOf(item.id);
        known.hasInstructions = known.hasInstructions || item.hasOs;
        if (!isSelected(known.selection)) {
          known.selection = item.selection;
        }
        continue;
      }
      Item& row = itemOf(item.id);
      row.description = item.description;
      row.selection = item.selection;
      row.hasInstructions = item.hasOs;
    }
    if (planned.parsed && ran < m_Record.documents.size()) {
      const RunRecord::Document& record = m_Record.documents[ran];
      std::set<std::pair<std::string, std::string>> seen;
      for (const RunRecord::Stored& stored : record.stored) {
        const auto found = m_Digests.find(stored.path);
        // Two commands of one program share a file, which is one file of the item.
        if (found == m_Digests.end() || !seen.emplace(stored.id, stored.path).second) {
          continue;
        }
        Item& item = itemOf(stored.id);
        item.hasFolder = item.hasFolder || m_Folders.count(stored.path) != 0;
        for (const FileDigest& digest : found->second) {
          item.stored.push_back(&digest);
        }
      }
      for (const RunRecord::Omitted& omitted : record.omitted) {
        itemOf(omitted.id).omitted.push_back(&omitted);
      }
      for (const RunRecord::Command& command : m_Record.commands) {
        if (command.document == ran) {
          itemOf(command.id).commands.push_back(&command);
        }
      }
    }
    ran += planned.parsed ? 1 : 0;
    documents.push_back(std::move(items));
  }
  return documents;
}

bool RunStatus::isIncomplete(const RunOutcome& outcome) const {
  if (outcome.lostCount > 0 || outcome.unreadableCount > 0 || !m_Plan.unmatchedIds.empty()) {
    return true;
  }
  for (const PlannedDocument& document : m_Plan.documents) {
    if (!document.parsed) {
      return true;
    }
  }
  for (const std::vector<Item>& document : items()) {
    if (std::any_of(document.begin(), document.end(), [](const Item& item) { return item.isMissing(); })) {
      return true;
    }
  }
  return false;
}

namespace {

Json fileJson(const FileDigest& file) {
  return {{"name", file.path}, {"bytes", file.bytes}, {"sha256", textOrNull(file.sha256)}};
}

Json commandJson(const RunRecord::Command& command) {
  return {{"line", command.line},
          {"exit_status", command.exitStatus ? Json(*command.exitStatus) : Json()},
          {"seconds", command.seconds},
          {"bytes", command.bytes},
          {"ended_by_limit", command.overTime}};
}

Json bundleJson(const RunOutcome& outcome, std::uint64_t entries,
                const std::vector<std::string>& recipients) {
  if (outcome.code != 0) {
    return {};
  }
  // Of the file itself, as whoever fetches it finds it.
  const FileDigest digest = digestFile(outcome.bundlePath);
  std::error_code error;
  const std::string path = fs::absolute(outcome.bundlePath, error).string();
  return {{"path", error ? outcome.bundlePath : path},
          {"bytes", digest.bytes},
          {"sha256", textOrNull(digest.sha256)},
          {"entries", entries},
          {"recipients", recipients}};
}

}  // namespace

std::string RunStatus::json(const RunOutcome& outcome, const std::vector<std::string>& recipients) const {
  const auto clean = [this](const std::string& text) {
    return m_pRedaction == nullptr ? text : m_pRedaction->redact(text);
  };
  const auto cleanAll = [&clean](std::vector<std::string> texts) {
    std::transform(texts.begin(), texts.end(), texts.begin(), clean);
    return texts;
  };
  Json documents = Json::array();
  Json items = Json::array();
  Json notes = Json::array();
  const std::vector<std::vector<Item>> rows = this->items();
  for (std::size_t i = 0; i < m_Plan.documents.size(); ++i) {
    const PlannedDocument& document = m_Plan.documents[i];
    documents.push_back({{"path", document.path},
                         {"title", document.parsed ? Json(document.title) : Json()},
                         {"sha256", textOrNull(m_Documents[i].sha256)},
                         {"parsed", document.parsed}});
    for (const Item& item : rows[i]) {
      Json files = Json::array();
      for (const FileDigest* file : item.stored) {
        files.push_back(fileJson(*file));
      }
      Json omitted = Json::array();
      for (const RunRecord::Omitted* omission : item.omitted) {
        omitted.push_back({{"file", omission->file}, {"reason", omission->reason}});
      }
      Json commands = Json::array();
      for (const RunRecord::Command* command : item.commands) {
        commands.push_back(commandJson(*command));
      }
      items.push_back({{"id", item.id},
                       {"document", document.path},
                       {"description", item.description},
                       {"outcome", item.outcome()},
                       {"reason", selectionName(item.selection)},
                       {"files", std::move(files)},
                       {"omitted", std::move(omitted)},
                       {"commands", std::move(commands)}});
    }
  }
  for (const RunRecord::Document& document : m_Record.documents) {
    for (const std::string& note : document.notes) {
      notes.push_back(note);
    }
  }
  const bool failed = outcome.code != 0;
  const Json json = {
      {"format", kFormat},
      {"version", TOLM_VERSION},
      {"host", hostName()},
      {"start", utcText(m_Begin)},
      {"end", utcText(std::time(nullptr))},
      {"seconds", outcome.seconds},
      {"mode", m_strRequest.empty() ? "default" : "request"},
      {"request", textOrNull(m_strRequest)},
      {"code", codeText(outcome.code)},
      {"text", failed ? Json(clean(outcome.text)) : Json()},
      {"reason", textOrNull(clean(outcome.reason))},
      {"incomplete", failed || isIncomplete(outcome)},
      {"unmatched_ids", m_Plan.unmatchedIds},
      {"documents", std::move(documents)},
      {"items", std::move(items)},
      {"notes", std::move(notes)},
      // Only of a bundle that stands: a failed run has said what is wrong.
      {"cut_short", failed ? Json::array() : Json(cleanAll(lossTexts(LossKind::kCutShort)))},
      {"unreadable", failed ? Json::array() : Json(cleanAll(lossTexts(LossKind::kUnreadable)))},
      {"redaction", m_pRedaction == nullptr
                        ? Json()
                        : Json{{"replaced", m_pRedaction->replaced}, {"left_out", m_pRedaction->leftOut}}},
      {"bundle", bundleJson(outcome, m_pRedaction == nullptr ? outcome.files : m_pRedaction->bundleEntries,
                            recipients)},
  };
  // Names and outputs may hold any byte; what isn't UTF-8 is replaced, and the text may go to a terminal.
  return jsonWithoutControls(json.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace halvo
