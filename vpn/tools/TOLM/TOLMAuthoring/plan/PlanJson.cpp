#include <nlohmann/json.hpp>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

namespace halvo {

namespace {

// The members keep the order in which they are written here: people read the text too.
using Json = nlohmann::ordered_json;

// Raised when a reader of the old form could misread the new one; docs/plan-json.md tells the form.
constexpr int kFormat = 1;

Json textOrNull(const std::string& text) {
  return text.empty() ? Json() : Json(text);
}

Json sizeOrNull(std::int64_t size) {
  return size < 0 ? Json() : Json(size);
}

Json placeOrNull(const std::optional<PlannedPlace>& place) {
  if (!place) {
    return Json();
  }
  return {{"document", place->document}, {"line", place->line == 0 ? Json() : Json(place->line)}};
}

Json insideJson(const std::vector<PlannedEntry>& entries) {
  Json inside = Json::array();
  for (const PlannedEntry& entry : entries) {
    inside.push_back({
        {"path", entry.path},
        {"folder", entry.isFolder},
        {"size", sizeOrNull(entry.size)},
        {"link", textOrNull(entry.linkTarget)},
        {"leaves", entry.leaves},
        {"problem", textOrNull(entry.problem)},
    });
  }
  return inside;
}

Json filesJson(const PlannedAction& action, const Plan& plan) {
  Json files = Json::array();
  for (const PlannedFile& file : action.files) {
    Json json = {{"path", file.path}};
    if (action.kind != PlannedKind::kDelete) {
      json["stored_as"] = file.storedAs;
    }
    json["folder"] = file.isFolder;
    json["size"] = sizeOrNull(file.size);
    json["problem"] = textOrNull(file.problem);
    json["note"] = textOrNull(file.note);
    json["link"] = textOrNull(file.linkTarget);
    if (!plan.clear) {
      json["replaced_by"] = placeOrNull(file.replacedBy);
    }
    if (plan.deep && file.isFolder) {
      json["inside"] = insideJson(file.inside);
    }
    files.push_back(std::move(json));
  }
  return files;
}

void addTotals(Json& json, const PlannedTotals& totals) {
  json["files"] = totals.files;
  json["bytes"] = totals.bytes;
  json["commands"] = totals.commands;
}

const char* actionName(PlannedKind kind) {
  switch (kind) {
    case PlannedKind::kCopy:
      return "copy";
    case PlannedKind::kCapture:
      return "capture";
    case PlannedKind::kLaunch:
      return "launch";
    case PlannedKind::kDelete:
      return "delete";
    case PlannedKind::kList:
      break;
  }
  return "property-list";
}

Json actionJson(const PlannedAction& action, const Plan& plan) {
  Json json = {
      {"action", actionName(action.kind)},
      {"text", action.text},
      {"expanded", action.expanded},
  };
  switch (action.kind) {
    case PlannedKind::kCopy:
      json["gather_newest"] = action.gatherNewest;
      json["files"] = filesJson(action, plan);
      break;
    case PlannedKind::kCapture:
      json["stored_as"] = action.storedAs;
      break;
    case PlannedKind::kLaunch:
      json["program"] = action.program;
      json["argument"] = action.argument;
      if (!plan.clear) {
        json["output"] = textOrNull(action.output);
        json["output_size"] = sizeOrNull(action.outputSize);
        json["stored_as"] = action.storedAs;
        if (plan.deep && !action.inside.empty()) {
          json["inside"] = insideJson(action.inside);
        }
      }
      break;
    case PlannedKind::kDelete:
    case PlannedKind::kList:
      json["files"] = filesJson(action, plan);
      break;
  }
  json["problem"] = textOrNull(action.problem);
  json["line"] = action.line == 0 ? Json() : Json(action.line);
  if (action.kind == PlannedKind::kCapture || (action.kind == PlannedKind::kLaunch && !plan.clear)) {
    json["replaced_by"] = placeOrNull(action.replacedBy);
  }
  return json;
}

Json itemJson(const PlannedItem& item, const Plan& plan) {
  Json actions = Json::array();
  for (const PlannedAction& action : item.actions) {
    actions.push_back(actionJson(action, plan));
  }
  Json json = {
      {"id", item.id},
      {"description", item.description},
      {"selected", isSelected(item.selection)},
      {"reason", selectionName(item.selection)},
      {"os", item.hasOs ? Json(item.opsys) : Json()},
      {"actions", std::move(actions)},
  };
  addTotals(json, item.totals);
  return json;
}

Json documentJson(const PlannedDocument& document, const Plan& plan) {
  Json items = Json::array();
  for (const PlannedItem& item : document.items) {
    items.push_back(itemJson(item, plan));
  }
  return {
      {"path", document.path},
      {"parsed", document.parsed},
      {"title", document.parsed ? Json(document.title) : Json()},
      {"folder", document.folder ? Json(*document.folder) : Json()},
      {"problem", textOrNull(document.problem)},
      {"items", std::move(items)},
  };
}

}  // namespace

std::string planJson(const Plan& plan) {
  Json documents = Json::array();
  for (const PlannedDocument& document : plan.documents) {
    documents.push_back(documentJson(document, plan));
  }
  Json json = {
      {"format", kFormat},
      {"mode", plan.clear                 ? "clear"
               : plan.requestPath.empty() ? "default"
                                          : "request"},
      {"config_folder", plan.configFolder},
      {"request", textOrNull(plan.requestPath)},
      {"comments_file", textOrNull(plan.commentsFile)},
      {"summary_file", plan.summaryFile},
      {"summary_path", plan.summaryPath ? Json(*plan.summaryPath) : Json()},
      {"summary_replaced_by", placeOrNull(plan.summaryReplacedBy)},
      {"failure", textOrNull(plan.failure)},
      {"unmatched_ids", plan.unmatchedIds},
  };
  addTotals(json, plan.totals);
  json["cut"] = plan.cut;
  json["documents"] = std::move(documents);
  // File names and documents hold any bytes; JSON has to be UTF-8.
  return jsonWithoutControls(json.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace halvo
