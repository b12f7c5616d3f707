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

Json filesJson(const PlannedAction& action) {
  Json files = Json::array();
  for (const PlannedFile& file : action.files) {
    files.push_back({
        {"path", file.path},
        {"stored_as", file.storedAs},
        {"folder", file.isFolder},
        {"size", file.size < 0 ? Json() : Json(file.size)},
        {"problem", textOrNull(file.problem)},
    });
  }
  return files;
}

const char* actionName(PlannedKind kind) {
  switch (kind) {
    case PlannedKind::kCopy:
      return "copy";
    case PlannedKind::kCapture:
      return "capture";
    case PlannedKind::kLaunch:
      return "launch";
    case PlannedKind::kList:
      break;
  }
  return "property-list";
}

Json actionJson(const PlannedAction& action) {
  Json json = {
      {"action", actionName(action.kind)},
      {"text", action.text},
      {"expanded", action.expanded},
  };
  switch (action.kind) {
    case PlannedKind::kCopy:
      json["gather_newest"] = action.gatherNewest;
      json["files"] = filesJson(action);
      break;
    case PlannedKind::kCapture:
      json["stored_as"] = action.storedAs;
      break;
    case PlannedKind::kLaunch:
      json["program"] = action.program;
      json["argument"] = action.argument;
      json["output"] = textOrNull(action.output);
      json["stored_as"] = action.storedAs;
      break;
    case PlannedKind::kList:
      json["files"] = filesJson(action);
      break;
  }
  json["problem"] = textOrNull(action.problem);
  return json;
}

Json itemJson(const PlannedItem& item) {
  Json actions = Json::array();
  for (const PlannedAction& action : item.actions) {
    actions.push_back(actionJson(action));
  }
  return {
      {"id", item.id},
      {"description", item.description},
      {"selected", isSelected(item.selection)},
      {"reason", selectionName(item.selection)},
      {"os", item.hasOs ? Json(item.opsys) : Json()},
      {"actions", std::move(actions)},
  };
}

Json documentJson(const PlannedDocument& document) {
  Json items = Json::array();
  for (const PlannedItem& item : document.items) {
    items.push_back(itemJson(item));
  }
  return {
      {"path", document.path},
      {"parsed", document.parsed},
      {"title", document.parsed ? Json(document.title) : Json()},
      {"items", std::move(items)},
  };
}

}  // namespace

std::string planJson(const Plan& plan) {
  Json documents = Json::array();
  for (const PlannedDocument& document : plan.documents) {
    documents.push_back(documentJson(document));
  }
  const Json json = {
      {"format", kFormat},
      {"mode", plan.requestPath.empty() ? "default" : "request"},
      {"config_folder", plan.configFolder},
      {"request", textOrNull(plan.requestPath)},
      {"comments_file", textOrNull(plan.commentsFile)},
      {"summary_file", plan.summaryFile},
      {"unmatched_ids", plan.unmatchedIds},
      {"documents", std::move(documents)},
  };
  // File names and documents hold any bytes; JSON has to be UTF-8.
  return jsonWithoutControls(json.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace halvo
