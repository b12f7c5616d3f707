#include "vpn/tools/TOLM/TOLMAuthoring/plan/PlanActions.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"

namespace halvo {

namespace {

// Whether the expansion of a text's variables comes to an end. A value that holds its own name never
// does, and a run would hang on it.
bool expansionEnds(std::string text) {
  constexpr int kPasses = 100;
  constexpr std::size_t kLength = std::size_t{1} << 20;
  for (int pass = 0; pass < kPasses && text.size() < kLength; ++pass) {
    const std::size_t dollar = text.find('$');
    const std::size_t slash = dollar == std::string::npos ? dollar : text.find('/', dollar);
    if (slash == std::string::npos) {
      return true;
    }
    const std::string value = helperUtil::getEnvValue(text.substr(dollar + 1, slash - dollar - 1));
    if (value.empty()) {
      return true;
    }
    text = text.substr(0, dollar) + value + (value.back() == '/' ? "" : "/") + text.substr(slash + 1);
  }
  return false;
}

bool allExpansionsEnd(const DataComponent& action) {
  for (const auto& child : action.GetChildren()) {
    if (!expansionEnds(child->GetValue())) {
      return false;
    }
  }
  return true;
}

// `isFolder`: the look at the folder that it lies in has shown it for one.
PlannedFile planFile(const std::string& path, const std::string& storedAs, bool isFolder, IPlanHost& host) {
  PlannedFile file;
  file.path = path;
  file.storedAs = storedAs;
  file.isFolder = isFolder || host.isFolder(path);
  file.size = file.isFolder ? -1 : host.sizeOf(path);
  file.problem = host.readProblem(path);
  if (file.problem.empty() && !file.isFolder && file.size < 0) {
    file.problem = "its size can't be told";
  }
  return file;
}

void planCopy(PlannedAction& action, const XMLObject& subtree, const std::string& name, IPlanHost& host) {
  FileActionAttributes attributes;
  if (TOLMAction::parseFileActionAttributes(subtree, attributes) != 0) {
    action.problem = "a run drops this action";
    return;
  }
  action.text = attributes.location;
  action.expanded = attributes.translatedLocation;
  action.gatherNewest = attributes.gatherNewest;
  const std::string folder = helperUtil::stringBeforeLast(action.expanded, "/", true);
  const std::string pattern = helperUtil::stringAfterLast(action.expanded, "/");
  helperUtil::NewestFile newest;
  std::list<helperUtil::FileFindEntry> entries;
  ResultCode rc = attributes.gatherNewest ? host.findNewest(folder, pattern, newest) : 0;
  rc = rc == 0 ? host.findAll(folder, pattern, entries) : rc;
  if (rc != 0) {
    // Whoever reads the plan mustn't take a folder that refuses for one without such files.
    action.problem =
        rc == TOLMENGINE_ERROR_FILE_OPEN_FAILURE ? "the folder can't be read" : "no file matches";
    return;
  }
  for (const helperUtil::FileFindEntry& entry : entries) {
    if (entry.name != "." && entry.name != ".." && (!attributes.gatherNewest || entry.name == newest.name)) {
      action.files.push_back(planFile(folder + entry.name, helperUtil::buildBundleFileName(name, entry.name),
                                      entry.isDirectory, host));
    }
  }
  if (action.files.empty()) {
    action.problem = "nothing but the folder itself matches";
  }
}

void planCommand(PlannedAction& action, const XMLObject& subtree, const std::string& name) {
  ExternalActionAttributes attributes;
  if (TOLMAction::parseExternalActionAttributes(subtree, attributes) != 0) {
    action.problem = "a run drops this action: it holds what may not stand there";
    return;
  }
  action.kind = attributes.useStdout ? PlannedKind::kCapture : PlannedKind::kLaunch;
  action.text = attributes.args;
  action.expanded = helperUtil::translatePath(attributes.args);
  if (attributes.useStdout) {
    action.storedAs = name.empty() ? attributes.baseName + "_result.txt" : name;
    if (action.storedAs.find('/') != std::string::npos) {
      action.problem = "the output is lost: it would be stored under a name with a \"/\"";
    }
    return;
  }
  const std::size_t blank = action.expanded.find(' ');
  action.program = action.expanded.substr(0, blank);
  action.argument = blank == std::string::npos ? "" : action.expanded.substr(blank + 1);
  action.output = helperUtil::translatePath(attributes.tempOut);
  action.storedAs = helperUtil::buildBundleFileName(name, helperUtil::stringAfterLast(action.output, "/"));
  if (action.program.empty()) {
    action.problem = "there is no program to start";
  } else if (action.output.empty()) {
    action.problem = "nothing is gathered: neither <stdout/> nor <temp_out>";
  }
}

void planList(PlannedAction& action, const XMLObject& subtree, IPlanHost& host) {
  action.kind = PlannedKind::kList;
  action.expanded = TOLMAction::getFileNameFromXML(subtree);
  action.text = action.expanded;
  if (action.expanded.empty()) {
    action.problem = "a run drops this action: it names no property list";
    return;
  }
  std::vector<std::string> locations;
  if (host.logLocations(action.expanded, locations) != 0) {
    action.problem = "the property list can't be read";
    return;
  }
  for (const std::string& location : locations) {
    action.files.push_back(planFile(location, helperUtil::stringAfterLast(location, "/"), false, host));
  }
  if (action.files.empty()) {
    action.problem = "the property list names no file";
  }
}

}  // namespace

std::vector<PlannedAction> planActions(const DataComponent& os, const std::string& name, IPlanHost& host) {
  std::vector<PlannedAction> actions;
  for (const auto& kind : os.GetChildren()) {
    const bool copy = kind->GetName() == "file_copy_action";
    const bool command = kind->GetName() == "use_extern_action";
    if (!copy && !command && kind->GetName() != "get_file_to_copy_action") {
      continue;
    }
    for (const auto& element : kind->GetChildren()) {
      PlannedAction action;
      action.kind = copy ? PlannedKind::kCopy : command ? PlannedKind::kLaunch : PlannedKind::kList;
      const XMLObject subtree(element.get());
      if (!allExpansionsEnd(*element)) {
        action.problem = "a run hangs here: a variable's value holds its own name";
      } else if (copy) {
        planCopy(action, subtree, name, host);
      } else if (command) {
        planCommand(action, subtree, name);
      } else {
        planList(action, subtree, host);
      }
      actions.push_back(std::move(action));
    }
  }
  return actions;
}

ResultCode PlanHost::findAll(std::string folder, std::string pattern,
                             std::list<helperUtil::FileFindEntry>& entries) {
  const std::size_t before = lossCount(LossKind::kCutShort);
  const ResultCode rc = helperUtil::fileFindAll(folder, pattern, entries);
  // A listing that broke off reads as a short one, or as an empty one.
  return lossCount(LossKind::kCutShort) == before ? rc : TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
}

ResultCode PlanHost::findNewest(const std::string& folder, const std::string& pattern,
                                helperUtil::NewestFile& newest) {
  return helperUtil::fileGetNewestMatchingFile(folder, pattern, newest);
}

std::int64_t PlanHost::sizeOf(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 ? static_cast<std::int64_t>(status.st_size) : -1;
}

bool PlanHost::isFolder(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string PlanHost::readProblem(const std::string& path) {
  // Only asked, not opened: opening a FIFO or a device can wait, or do something.
  return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0 ? "" : std::strerror(errno);
}

ResultCode PlanHost::logLocations(const std::string& file, std::vector<std::string>& locations) {
  return TOLMAction::getLogLocationArray(file, locations);
}

}  // namespace halvo
