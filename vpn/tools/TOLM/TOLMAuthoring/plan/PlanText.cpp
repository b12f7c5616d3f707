#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

namespace halvo {

namespace {

constexpr int kDecimals = 2;

std::string clean(const std::string& text) {
  return withoutControls(text);
}

std::string placeText(const PlannedPlace& place) {
  return (place.line == 0 ? "" : "line " + std::to_string(place.line) + " of ") + clean(place.document);
}

// Both lines of what is stored in vain: its own action's, and the one that takes its place.
std::string replacedText(const PlannedAction& action, const std::optional<PlannedPlace>& by) {
  return by ? (action.line == 0 ? "" : ", of line " + std::to_string(action.line)) + ", replaced by " +
                  placeText(*by)
            : "";
}

std::string sizeText(std::int64_t size) {
  return helperUtil::sizeToText(static_cast<double>(size), kDecimals);
}

std::string totalsText(const PlannedTotals& totals) {
  return std::to_string(totals.files) + (totals.files == 1 ? " file (" : " files (") +
         sizeText(totals.bytes) + ") and " + std::to_string(totals.commands) +
         (totals.commands == 1 ? " command" : " commands");
}

void addInside(std::string& out, const std::vector<PlannedEntry>& entries) {
  for (const PlannedEntry& entry : entries) {
    out += "          " + clean(entry.path) + "  ";
    out += !entry.problem.empty() ? "left out: " + entry.problem
           : entry.isFolder       ? "folder"
                                  : sizeText(entry.size);
    if (entry.leaves) {
      out += ", warning: a link out of the folder, to " + clean(entry.linkTarget) +
             ": what lies there is gathered";
    }
    out += "\n";
  }
}

void addFiles(std::string& out, const PlannedAction& action) {
  for (const PlannedFile& file : action.files) {
    out += "        " + clean(file.path) + "  ";
    if (!file.problem.empty()) {
      out +=
          (action.kind == PlannedKind::kDelete ? "can't be deleted: " : "can't be gathered: ") + file.problem;
    } else if (file.isFolder) {
      out += "folder";
    } else {
      out += sizeText(file.size);
    }
    if (!file.note.empty()) {
      out += ", " + file.note;
    }
    if (!file.linkTarget.empty()) {
      out += ", a link to " + clean(file.linkTarget);
    }
    out += replacedText(action, file.replacedBy) + "\n";
    addInside(out, file.inside);
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
      out += "        its output becomes " + clean(action.storedAs) +
             replacedText(action, action.replacedBy) + "\n";
      break;
    case PlannedKind::kLaunch:
      out += "      start " + clean(action.expanded) + problem;
      if (!action.output.empty()) {
        out += "        " + clean(action.output) + " becomes " + clean(action.storedAs) + " and is deleted" +
               replacedText(action, action.replacedBy) + "\n";
      }
      break;
    case PlannedKind::kDelete:
      out += "      delete " + clean(action.expanded) + problem;
      break;
    case PlannedKind::kList:
      out += "      copy what is named in " + clean(action.expanded) + problem;
      break;
  }
  addFiles(out, action);
  addInside(out, action.inside);
}

void addItem(std::string& out, const PlannedItem& item) {
  out += "  " + quotedText(item.id) + ": " + selectionText(item.selection);
  if (isSelected(item.selection)) {
    out += item.hasOs ? ", os " + clean(item.opsys) : ", but it has no instructions for this system";
    out += item.actions.empty() ? "" : ": " + totalsText(item.totals);
  }
  out += "\n";
  if (!isSelected(item.selection) && item.actions.empty()) {
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
  if (plan.clear) {
    out += "A clear run: files are deleted, commands are run.\n";
  }
  for (const PlannedDocument& document : plan.documents) {
    out += "\n" + clean(document.path) + ": ";
    if (!document.parsed) {
      out += "not used, it isn't well-formed; \"tmtolm check\" tells where\n";
      continue;
    }
    out += quotedText(document.title) + "\n";
    if (!document.folder && !plan.clear) {
      out += "  Warning: the title leads out of the bundle, and so do the files below.\n";
    }
    if (!document.problem.empty()) {
      out += "  Warning: " + document.problem + "\n";
    }
    for (const PlannedItem& item : document.items) {
      addItem(out, item);
    }
  }
  out += "\n";
  for (const std::string& id : plan.unmatchedIds) {
    out += "Asked for, but without instructions: " + quotedText(id) + "\n";
  }
  if (!plan.clear && !plan.summaryPath) {
    out += "Warning: the first title puts the summary outside of the bundle.\n";
  }
  if (plan.summaryReplacedBy) {
    out += "Warning: a file takes the summary's place, by " + placeText(*plan.summaryReplacedBy) + ".\n";
  }
  if (!plan.failure.empty()) {
    out += "Warning: the run ends without a bundle: " + plan.failure + ".\n";
  }
  if (plan.cut) {
    out += "The folders hold more than was looked at: the sums are too small.\n";
  }
  out += totalsText(plan.totals) + "\n";
  return out;
}

}  // namespace halvo
