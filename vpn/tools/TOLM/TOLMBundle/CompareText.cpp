#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMBundle/Compare.h"

namespace halvo {

namespace {

using Json = nlohmann::ordered_json;

std::string counted(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void addNames(std::string& text, const std::string& heading, const std::vector<std::string>& names) {
  if (names.empty()) {
    return;
  }
  text += "\n" + heading + " (" + std::to_string(names.size()) + ")\n";
  for (const std::string& name : names) {
    text += "  " + withoutControls(name) + "\n";
  }
}

void addFiles(std::string& text, const std::string& heading, const std::vector<LoneFile>& files) {
  std::vector<std::string> lines;
  lines.reserve(files.size());
  for (const LoneFile& file : files) {
    lines.push_back(file.name + (file.id.empty() ? "" : "  (" + file.id + ")"));
  }
  addNames(text, heading, lines);
}

void addMissing(std::string& text, const std::string& heading, const std::vector<MissingFile>& files) {
  std::vector<std::string> lines;
  lines.reserve(files.size());
  for (const MissingFile& file : files) {
    lines.push_back(file.id + "  " + file.name + ": " + file.reason);
  }
  addNames(text, heading, lines);
}

void addReasons(std::string& text, const std::vector<ReasonChange>& changes) {
  std::vector<std::string> lines;
  lines.reserve(changes.size());
  for (const ReasonChange& change : changes) {
    lines.push_back(change.id + "  " + change.name + ": " + change.oldReason + " -> " + change.newReason);
  }
  addNames(text, "Missing in both for another reason", lines);
}

void addOtherItems(std::string& text, const std::vector<ValueChange>& changes) {
  std::vector<std::string> lines;
  lines.reserve(changes.size());
  for (const ValueChange& change : changes) {
    lines.push_back(change.what + ": " + change.oldValue + " -> " + change.newValue);
  }
  addNames(text, "Of another item", lines);
}

void addLines(std::string& text, char mark, const LineChange& change) {
  for (const std::string& line : change.lines) {
    text += std::string("    ") + mark + " " + withoutControls(line) + "\n";
  }
  if (change.count > change.lines.size()) {
    text += std::string("    ") + mark + " ... and " + std::to_string(change.count - change.lines.size()) +
            " more\n";
  }
}

Json missingJson(const std::vector<MissingFile>& files) {
  Json json = Json::array();
  for (const MissingFile& file : files) {
    json.push_back({{"id", file.id}, {"name", file.name}, {"reason", file.reason}});
  }
  return json;
}

void addFilesJson(Json& json, const std::string& side, const std::vector<LoneFile>& files) {
  Json& names = json["only_" + side] = Json::array();
  Json ids = Json::array();
  for (const LoneFile& file : files) {
    names.push_back(file.name);
    ids.push_back(file.id);
  }
  json["only_" + side + "_items"] = std::move(ids);
}

Json unreadJson(const std::vector<UnreadPart>& parts) {
  Json json = Json::array();
  for (const UnreadPart& part : parts) {
    json.push_back({{"file", part.file}, {"why", part.why}});
  }
  return json;
}

}  // namespace

std::string comparisonText(const Comparison& comparison) {
  std::string text;
  for (const ValueChange& change : comparison.machine) {
    text += withoutControls(change.what + ": " + change.oldValue + " -> " + change.newValue) + "\n";
  }
  addNames(text, "Items of OLD alone", comparison.itemsOld);
  addNames(text, "Items of NEW alone", comparison.itemsNew);
  addMissing(text, "Missing in OLD alone", comparison.missingOld);
  addMissing(text, "Missing in NEW alone", comparison.missingNew);
  addReasons(text, comparison.reasons);
  addFiles(text, "Only in OLD", comparison.onlyOld);
  addFiles(text, "Only in NEW", comparison.onlyNew);
  addOtherItems(text, comparison.otherItem);
  if (!comparison.changed.empty()) {
    text += "\nDifferent (" + std::to_string(comparison.changed.size()) + ")\n";
  }
  for (const FileChange& change : comparison.changed) {
    text += "  " + withoutControls(change.name) + ": ";
    if (!change.fault.empty()) {
      text += withoutControls(change.fault) + "\n";
    } else if (change.binary) {
      text += "no text, " + bytesText(change.oldSize) + " -> " + bytesText(change.newSize) + "\n";
    } else {
      text += counted(change.gone.count, "line") + " gone, " + counted(change.added.count, "line") + " new\n";
      addLines(text, '-', change.gone);
      addLines(text, '+', change.added);
    }
  }
  text += "\nThe same: " + counted(comparison.same, "file") + ", times and process ids set aside.\n";
  if (comparison.notCompared > 0) {
    text += "Not compared: " + counted(comparison.notCompared, "file") + " that can't be read.\n";
  }
  return text.front() == '\n' ? text.substr(1) : text;
}

std::string comparisonJson(const Comparison& comparison) {
  Json json;
  json["format"] = kBundleJsonFormat;
  json["machine"] = Json::array();
  for (const ValueChange& change : comparison.machine) {
    json["machine"].push_back({{"what", change.what}, {"old", change.oldValue}, {"new", change.newValue}});
  }
  json["items_old"] = comparison.itemsOld;
  json["items_new"] = comparison.itemsNew;
  json["missing_old"] = missingJson(comparison.missingOld);
  json["missing_new"] = missingJson(comparison.missingNew);
  json["reason_changed"] = Json::array();
  for (const ReasonChange& change : comparison.reasons) {
    json["reason_changed"].push_back(
        {{"id", change.id}, {"name", change.name}, {"old", change.oldReason}, {"new", change.newReason}});
  }
  addFilesJson(json, "old", comparison.onlyOld);
  addFilesJson(json, "new", comparison.onlyNew);
  json["item_changed"] = Json::array();
  for (const ValueChange& change : comparison.otherItem) {
    json["item_changed"].push_back(
        {{"file", change.what}, {"old", change.oldValue}, {"new", change.newValue}});
  }
  json["changed"] = Json::array();
  for (const FileChange& change : comparison.changed) {
    json["changed"].push_back({{"file", change.name},
                               {"binary", change.binary},
                               {"old_size", change.oldSize},
                               {"new_size", change.newSize},
                               {"lines_gone", change.gone.count},
                               {"lines_new", change.added.count},
                               {"gone", change.gone.lines},
                               {"new", change.added.lines},
                               {"fault", change.fault}});
  }
  json["same"] = comparison.same;
  json["not_compared"] = comparison.notCompared;
  json["unread_old"] = unreadJson(comparison.unreadOld);
  json["unread_new"] = unreadJson(comparison.unreadNew);
  return jsonWithoutControls(json.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace halvo
