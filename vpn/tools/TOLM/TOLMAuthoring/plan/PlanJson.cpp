#include "vpn/tools/TOLM/TOLMAuthoring/plan/JsonWriter.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

namespace halvo {

namespace {

// Raised when a reader of the old form could misread the new one; docs/plan-json.md tells the form.
constexpr std::int64_t kFormat = 1;

void textOrNull(JsonWriter& json, const std::string& name, const std::string& text) {
  json.key(name);
  if (text.empty()) {
    json.null();
  } else {
    json.value(text);
  }
}

void writeFiles(JsonWriter& json, const PlannedAction& action) {
  json.key("files");
  json.beginArray();
  for (const PlannedFile& file : action.files) {
    json.beginObject();
    json.member("path", file.path);
    json.member("stored_as", file.storedAs);
    json.member("folder", file.isFolder);
    json.key("size");
    if (file.size < 0) {
      json.null();
    } else {
      json.value(file.size);
    }
    textOrNull(json, "problem", file.problem);
    json.endObject();
  }
  json.endArray();
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

void writeAction(JsonWriter& json, const PlannedAction& action) {
  json.beginObject();
  json.member("action", actionName(action.kind));
  json.member("text", action.text);
  json.member("expanded", action.expanded);
  switch (action.kind) {
    case PlannedKind::kCopy:
      json.member("gather_newest", action.gatherNewest);
      writeFiles(json, action);
      break;
    case PlannedKind::kCapture:
      json.member("stored_as", action.storedAs);
      break;
    case PlannedKind::kLaunch:
      json.member("program", action.program);
      json.member("argument", action.argument);
      textOrNull(json, "output", action.output);
      json.member("stored_as", action.storedAs);
      break;
    case PlannedKind::kList:
      writeFiles(json, action);
      break;
  }
  textOrNull(json, "problem", action.problem);
  json.endObject();
}

void writeItem(JsonWriter& json, const PlannedItem& item) {
  json.beginObject();
  json.member("id", item.id);
  json.member("description", item.description);
  json.member("selected", isSelected(item.selection));
  json.member("reason", selectionName(item.selection));
  json.key("os");
  if (item.hasOs) {
    json.value(item.opsys);
  } else {
    json.null();
  }
  json.key("actions");
  json.beginArray();
  for (const PlannedAction& action : item.actions) {
    writeAction(json, action);
  }
  json.endArray();
  json.endObject();
}

}  // namespace

std::string planJson(const Plan& plan) {
  JsonWriter json;
  json.beginObject();
  json.member("format", kFormat);
  json.member("mode", plan.requestPath.empty() ? "default" : "request");
  json.member("config_folder", plan.configFolder);
  textOrNull(json, "request", plan.requestPath);
  textOrNull(json, "comments_file", plan.commentsFile);
  json.member("summary_file", plan.summaryFile);
  json.key("unmatched_ids");
  json.beginArray();
  for (const std::string& id : plan.unmatchedIds) {
    json.value(id);
  }
  json.endArray();
  json.key("documents");
  json.beginArray();
  for (const PlannedDocument& document : plan.documents) {
    json.beginObject();
    json.member("path", document.path);
    json.member("parsed", document.parsed);
    json.key("title");
    if (document.parsed) {
      json.value(document.title);
    } else {
      json.null();
    }
    json.key("items");
    json.beginArray();
    for (const PlannedItem& item : document.items) {
      writeItem(json, item);
    }
    json.endArray();
    json.endObject();
  }
  json.endArray();
  json.endObject();
  return json.take();
}

}  // namespace halvo
