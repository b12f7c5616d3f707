#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

namespace halvo {

namespace {

constexpr int kDecimals = 2;

std::string clean(const std::string& text) {
  return withoutControls(text);
}

void addFiles(std::string& out, const PlannedAction& action) {
  for (const PlannedFile& file : action.files) {
    out += "        " + clean(file.path) + "  ";
    if (!file.problem.empty()) {
      out += "can't be read: " + file.problem;
    } else if (file.isFolder) {
      out += "folder";
    } else {
      out += helperUtil::sizeToText(static_cast<double>(file.size), kDecimals);
    }
    out += "\n";
  }
}

void addAction(std::string& out, const PlannedAction& action) {
  const std::string problem = (action.problem.empty() ? "" : ": " + action.problem) + "\n";
  switch (action.kind) {
    case PlannedKind::kCopy:
      out += std::string("      copy ") + (action.gatherNewest ? "the newest of " : "") +
             clean(action.expanded) + problem;
      break;
    case PlannedKind::kCapture:
      out += "      run " + clean(action.expanded) + problem;
      out += "        its output becomes " + clean(action.storedAs) + "\n";
      break;
    case PlannedKind::kLaunch:
      out += "      start " + clean(action.expanded) + problem;
      if (!action.output.empty()) {
        out += "        " + clean(action.output) + " becomes " + clean(action.storedAs) + " and is deleted\n";
      }
      break;
    case PlannedKind::kList:
      out += "      copy what is named in " + clean(action.expanded) + problem;
      break;
  }
  addFiles(out, action);
}

void addItem(std::string& out, const PlannedItem& item) {
  out += "  " + quotedText(item.id) + ": " + selectionText(item.selection);
  if (isSelected(item.selection)) {
    out += item.hasOs ? ", os " + clean(item.opsys) : ", but it has no instructions for this system";
  }
  out += "\n";
  if (!isSelected(item.selection)) {
    return;
  }
  if (!item.description.empty()) {
    out += "    " + clean(item.description) + "\n";
  }
  for (const PlannedAction& action : item.actions) {
    addAction(out, action);
  }
}

}  // namespace

std::string planText(const Plan& plan) {
  std::string out = "Documents: " + clean(plan.configFolder) + "\n";
  if (!plan.requestPath.empty()) {
    out += "Request: " + clean(plan.requestPath) + "\n";
  }
  std::size_t files = 0;
  std::size_t commands = 0;
  double bytes = 0;
  for (const PlannedDocument& document : plan.documents) {
    out += "\n" + clean(document.path) + ": ";
    if (!document.parsed) {
      out += "not used, it isn't well-formed; \"tmtolm check\" tells where\n";
      continue;
    }
    out += quotedText(document.title) + "\n";
    for (const PlannedItem& item : document.items) {
      addItem(out, item);
      for (const PlannedAction& action : item.actions) {
        commands += action.kind == PlannedKind::kCapture || action.kind == PlannedKind::kLaunch ? 1 : 0;
        files += action.files.size();
        for (const PlannedFile& file : action.files) {
          bytes += file.size > 0 ? static_cast<double>(file.size) : 0;
        }
      }
    }
  }
  out += "\n";
  for (const std::string& id : plan.unmatchedIds) {
    out += "Asked for, but without instructions: " + quotedText(id) + "\n";
  }
  out += std::to_string(files) + (files == 1 ? " file (" : " files (") +
         helperUtil::sizeToText(bytes, kDecimals) + ") and " + std::to_string(commands) +
         (commands == 1 ? " command\n" : " commands\n");
  return out;
}

}  // namespace halvo
