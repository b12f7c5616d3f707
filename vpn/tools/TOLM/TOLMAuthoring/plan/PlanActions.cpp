#include "vpn/tools/TOLM/TOLMAuthoring/plan/PlanActions.h"

#include <algorithm>

#include "vpn/Common/Utility/PathText.h"

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
    text = text.substr(0, dollar) + withSlash(value) + text.substr(slash + 1);
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

// Without doubled slashes: a folder and a name are joined by one, or by two where the document has one more.
std::string plainPath(const std::string& path) {
  std::string plain;
  for (const char c : path) {
    if (c != '/' || plain.empty() || plain.back() != '/') {
      plain += c;
    }
  }
  return plain;
}

}  // namespace

void ActionPlanner::setDocument(const std::string& path, const Lines& lines) {
  m_strDocument = path;
  m_pLines = &lines;
}

std::vector<PlannedAction> ActionPlanner::plan(const DataComponent& os, const std::string& name,
                                               const std::optional<std::string>& folder) {
  m_strName = name;
  m_Folder = folder;
  std::vector<PlannedAction> actions;
  for (const auto& kind : os.GetChildren()) {
    const std::string kindName = kind->GetName();
    const bool copy = kindName == "file_copy_action";
    const bool command = kindName == "use_extern_action";
    if (!copy && !command && kindName != "get_file_to_copy_action") {
      continue;
    }
    for (const auto& element : kind->GetChildren()) {
      PlannedAction action;
      action.kind = copy ? PlannedKind::kCopy : command ? PlannedKind::kLaunch : PlannedKind::kList;
      const auto line = m_pLines->find(element.get());
      m_nLine = line == m_pLines->end() ? 0 : line->second;
      action.line = m_nLine;
      action.id = BundleModel::kNobody;
      const XMLObject subtree(element.get());
      if (!allExpansionsEnd(*element)) {
        action.problem = "a run hangs here: a variable's value holds its own name";
      } else if (copy) {
        planCopy(action, subtree);
      } else if (command) {
        planCommand(action, subtree);
      } else {
        planList(action, subtree);
      }
      // A clear run passes over what isn't marked for it.
      if (!m_Options.clear || action.kind != PlannedKind::kCopy) {
        actions.push_back(std::move(action));
      }
    }
    endKind();
  }
  return actions;
}

std::size_t ActionPlanner::newPlace(const PlannedPlace& place) {
  m_Places.push_back(place);
  return m_Model.newId();
}

std::size_t ActionPlanner::newId() {
  return newPlace({m_strDocument, m_nLine});
}

// A file by its folder's identity and its name: other paths may lead to the same file.
std::string ActionPlanner::nameOnMachine(const std::string& path) const {
  const std::string plain = plainPath(path);
  const std::size_t slash = plain.rfind('/');
  if (slash == std::string::npos || slash == 0) {
    return plain;
  }
  const std::optional<IPlanHost::Identity> folder = m_Host.identityOf(plain.substr(0, slash));
  return folder ? std::to_string(folder->first) + ":" + std::to_string(folder->second) + plain.substr(slash)
                : plain;
}

bool ActionPlanner::isGone(const std::string& path) const {
  return !m_Gone.empty() && m_Gone.find(nameOnMachine(path)) != m_Gone.end();
}

// Temporary files live until the end of their kind, not of their action.
void ActionPlanner::endKind() {
  for (const auto& [name, id] : m_TempNames) {
    m_Model.remove(name, id);
  }
  for (const std::string& path : m_TempFiles) {
    m_Gone.insert(nameOnMachine(path));
  }
  m_TempNames.clear();
  m_TempFiles.clear();
}

// --- Copies ---------------------------------------------------------------------------------------

ResultCode ActionPlanner::find(const std::string& folder, const std::string& pattern,
                               std::list<helperUtil::FileFindEntry>& entries) {
  if (const ResultCode rc = m_Host.findAll(folder, pattern, entries); rc != 0) {
    entries.clear();
    return rc;
  }
  entries.remove_if(
      [&](const helperUtil::FileFindEntry& entry) { return isGone(folder + "/" + entry.name); });
  return entries.empty() ? TOLMENGINE_ERROR_FILE_NOT_FOUND : 0;
}

void ActionPlanner::planCopy(PlannedAction& action, const XMLObject& subtree) {
  FileActionAttributes attributes;
  if (TOLMAction::parseFileActionAttributes(subtree, attributes) != 0) {
    action.problem = "a run drops this action";
    return;
  }
  action.text = attributes.location;
  action.expanded = attributes.translatedLocation;
  if (m_Options.clear) {
    planDeletion(action, attributes);
    return;
  }
  action.gatherNewest = attributes.gatherNewest;
  const std::string folder = helperUtil::stringBeforeLast(action.expanded, "/", true);
  std::list<helperUtil::FileFindEntry> entries;
  if (const ResultCode rc = find(folder, helperUtil::stringAfterLast(action.expanded, "/"), entries);
      rc != 0) {
    // Whoever reads the plan mustn't take a folder that refuses for one without such files.
    action.problem =
        rc == TOLMENGINE_ERROR_FILE_OPEN_FAILURE ? "the folder can't be read" : "no file matches";
    return;
  }
  std::string newest;
  std::int64_t newestTime = 0;
  for (const helperUtil::FileFindEntry& entry : entries) {
    // Of equal times the last in listing order, as the engine takes it.
    if (entry.modifiedTime >= newestTime) {
      newest = entry.name;
      newestTime = entry.modifiedTime;
    }
  }
  bool found = false;
  for (const helperUtil::FileFindEntry& entry : entries) {
    if (!isDotName(entry.name) && (!attributes.gatherNewest || entry.name == newest)) {
      takeFile(action, planFile(folder + entry.name, helperUtil::buildBundleFileName(m_strName, entry.name),
                                entry.isDirectory));
      found = true;
    }
  }
  if (!found) {
    action.problem = "nothing but the folder itself matches";
  }
}

// A clear run deletes every match, whatever is said of the newest.
void ActionPlanner::planDeletion(PlannedAction& action, const FileActionAttributes& attributes) {
  if (!attributes.clearLog) {
    return;
  }
  action.kind = PlannedKind::kDelete;
  const std::string folder = helperUtil::stringBeforeLast(action.expanded, "/", true);
  std::list<helperUtil::FileFindEntry> entries;
  static_cast<void>(find(folder, helperUtil::stringAfterLast(action.expanded, "/"), entries));
  for (const helperUtil::FileFindEntry& entry : entries) {
    if (isDotName(entry.name)) {
      continue;
    }
    PlannedFile file;
    file.path = folder + entry.name;
    file.id = BundleModel::kNobody;
    file.linkTarget = m_Host.linkTarget(file.path);
    // A link goes by itself, wherever it leads.
    file.isFolder = file.linkTarget.empty() && entry.isDirectory;
    file.size = file.isFolder ? -1 : m_Host.sizeOf(file.path);
    file.problem = file.isFolder ? "a folder stays" : m_Host.deleteProblem(file.path);
    if (file.problem.empty()) {
      m_Gone.insert(nameOnMachine(file.path));
    }
    action.files.push_back(file);
  }
  if (action.files.empty()) {
    action.problem = "no file matches";
  }
}

PlannedFile ActionPlanner::planFile(const std::string& path, const std::string& storedAs, bool isFolder) {
  PlannedFile file;
  file.path = path;
  file.storedAs = storedAs;
  file.id = BundleModel::kNobody;
  file.linkTarget = m_Host.linkTarget(path);
  // A link stays when its file goes, and leads nowhere from then on.
  const bool gone = isGone(path) || (!file.linkTarget.empty() && isGone(file.linkTarget));
  HostKind kind = gone ? HostKind::kMissing : m_Host.kindOf(path);
  // The look at the folder that it lies in has shown it for one, whatever a second look answers.
  kind = kind == HostKind::kMissing && isFolder ? HostKind::kFolder : kind;
  file.isFolder = kind == HostKind::kFolder || kind == HostKind::kOther;
  if (kind == HostKind::kMissing) {
    file.problem = gone ? "" : m_Host.readProblem(path);
    file.problem = file.problem.empty() ? "it isn't there" : file.problem;
    return file;
  }
  if (kind == HostKind::kFile) {
    file.size = m_Host.sizeOf(path);
    file.problem = m_Host.readProblem(path);
    if (file.problem.empty() && file.size < 0) {
      file.problem = "its size can't be told";
    }
  } else if (kind == HostKind::kOther) {
    file.note = "it is no file: the summary lists it, and nothing of it is stored";
  } else if (const std::string problem = m_Host.readProblem(path); !problem.empty()) {
    file.note = "it can't be read (" + problem + "): the summary lists it, and nothing of it is stored";
  } else if (m_Options.deep) {
    file.inside = m_Walk.look(path);
  }
  if (m_Folder && !m_Options.clear && !m_Options.onCopy) {
    store(file, kind);
  }
  return file;
}

void ActionPlanner::takeFile(PlannedAction& action, PlannedFile file) {
  if (m_Options.onCopy) {
    m_Options.onCopy(file);
  } else {
    action.files.push_back(std::move(file));
  }
}

void ActionPlanner::store(PlannedFile& file, HostKind kind) {
  file.id = newId();
  if (!file.inside.empty()) {
    m_Insides[file.id] = file.inside;
  }
  const std::string name = *m_Folder + "/" + file.storedAs;
  const BundleModel::Answer answer = kind == HostKind::kFile
                                         ? m_Model.storeFile(name, file.id, file.problem.empty())
                                         : m_Model.storeFolder(name, file.id);
  switch (answer) {
    case BundleModel::Answer::kStored:
    case BundleModel::Answer::kUnreadable:
      break;
    case BundleModel::Answer::kFolderInTheWay:
      file.problem = "the bundle has a folder of that name by then";
      break;
    case BundleModel::Answer::kNoPlace:
      file.problem = "the bundle has no folder for this name";
      break;
    case BundleModel::Answer::kPretended:
      file.problem = "the bundle has no folder for this name, and a run says nothing";
      break;
  }
}

// --- Commands -------------------------------------------------------------------------------------

void ActionPlanner::planCommand(PlannedAction& action, const XMLObject& subtree) {
  ExternalActionAttributes attributes;
  if (TOLMAction::parseExternalActionAttributes(subtree, attributes) != 0) {
    action.problem = "a run drops this action: it holds what may not stand there";
    return;
  }
  if (m_Options.clear) {
    // Started directly, and handed on as it stands.
    action.kind = attributes.clearLog ? PlannedKind::kLaunch : PlannedKind::kCopy;
    action.text = attributes.clearArgs;
    action.expanded = attributes.clearArgs;
    planLaunch(action);
    return;
  }
  action.text = attributes.args;
  action.expanded = helperUtil::translatePath(attributes.args);
  if (attributes.useStdout) {
    action.kind = PlannedKind::kCapture;
    planCapture(action, attributes.baseName);
    return;
  }
  action.output = helperUtil::translatePath(attributes.tempOut);
  planLaunch(action);
}

bool isExpanded(const std::string& folder) {
  return helperUtil::translatePath(folder + "/") != folder + "/";
}

void ActionPlanner::planCapture(PlannedAction& action, const std::string& baseName) {
  const std::string tempName = m_strName.empty() ? baseName + "_tmp.txt" : m_strName + ".tmp";
  action.storedAs = m_strName.empty() ? baseName + "_result.txt" : m_strName;
  if (action.expanded.empty()) {
    action.problem = "there is no command to run; its heading alone stays, as " + tempName;
  } else if (action.storedAs.find('/') != std::string::npos) {
    action.problem = "the output is lost: it would be stored under a name with a \"/\"";
  }
  if (!m_Folder) {
    return;
  }
  if (isExpanded(*m_Folder)) {
    action.problem = "the output is lost: a run expands the variable in the title";
    return;
  }
  action.id = newId();
  const std::string temp = *m_Folder + "/" + tempName;
  const std::string result = *m_Folder + "/" + action.storedAs;
  const bool opened = m_Model.appendTo(temp);
  if (action.expanded.empty()) {
    action.storedAs = opened ? tempName : action.storedAs;
    return;
  }
  BundleModel::Answer answer = BundleModel::Answer::kNoPlace;
  if (m_Model.isFile(temp)) {
    if (m_TempNames.find(temp) != m_TempNames.end()) {
      // A command of the same program in the same kind: its output stands in front in the same result.
      m_Model.disown(result);
    }
    answer = m_Model.storeFile(result, action.id, true);
  } else if (m_Model.isFolder(BundleModel::normalized(temp).value_or("/"))) {
    // A folder that was copied under this name: what is in it becomes the result.
    const BundleModel::Id owner = m_Model.ownerOf(temp);
    answer = m_Model.storeFolder(result, action.id);
    if (answer == BundleModel::Answer::kStored && owner != BundleModel::kNobody) {
      action.inside = m_Insides[owner];
    }
  }
  if (answer == BundleModel::Answer::kStored) {
    m_TempNames[temp] = action.id;
    if (!opened) {
      action.problem = "the output is lost: the bundle has a folder of the name " + tempName + " by then";
    } else {
      action.problem.clear();  // there is a folder for a name with a "/" after all
    }
  } else if (action.problem.empty() && opened) {
    action.problem = "the result can't be stored under its name: the output stays in " + tempName;
    action.storedAs = tempName;
  } else if (action.problem.empty()) {
    action.problem = "the output is lost: there can be no file of the name " + tempName;
  }
}

void ActionPlanner::planLaunch(PlannedAction& action) {
  const std::size_t blank = action.expanded.find(' ');
  action.program = action.expanded.substr(0, blank);
  action.argument = blank == std::string::npos ? "" : action.expanded.substr(blank + 1);
  const bool starts = !action.program.empty() && m_Host.hasProgram(action.program);
  const std::string noStart =
      action.program.empty() ? "there is no program to start" : "the program isn't there";
  if (m_Options.clear) {
    action.problem = starts ? "" : noStart;
    return;
  }
  action.storedAs =
      helperUtil::buildBundleFileName(m_strName, helperUtil::stringAfterLast(action.output, "/"));
  if (action.output.empty()) {
    action.problem = starts ? "nothing is gathered: neither <stdout/> nor <temp_out>" : noStart;
    return;
  }
  const HostKind kind = isGone(action.output) ? HostKind::kMissing : m_Host.kindOf(action.output);
  if (kind == HostKind::kMissing && !starts) {
    action.problem = noStart + ", and there is no file at its place now";
    return;
  }
  if (kind == HostKind::kFile) {
    action.outputSize = m_Host.sizeOf(action.output);
    action.problem = m_Host.readProblem(action.output);
  } else if (kind == HostKind::kFolder && m_Options.deep) {
    action.inside = m_Walk.look(action.output);
  }
  if (!m_Folder) {
    return;
  }
  // What the program will write can't be known: it's taken to write its file.
  action.id = newId();
  const std::string name = *m_Folder + "/" + action.storedAs;
  const bool folder = kind == HostKind::kFolder || kind == HostKind::kOther;
  const BundleModel::Answer answer = folder ? m_Model.storeFolder(name, action.id)
                                            : m_Model.storeFile(name, action.id, action.problem.empty());
  if (answer == BundleModel::Answer::kStored) {
    // A file goes once it is copied, and so do a pipe and a link; a folder can't be deleted that way.
    if (kind != HostKind::kFolder || !m_Host.linkTarget(action.output).empty()) {
      m_TempFiles.push_back(action.output);
    }
  } else if (action.problem.empty()) {
    action.problem = "the bundle can't take a file of this name";
  }
}

// --- Property lists -------------------------------------------------------------------------------

void ActionPlanner::planList(PlannedAction& action, const XMLObject& subtree) {
  action.kind = PlannedKind::kList;
  action.expanded = TOLMAction::getFileNameFromXML(subtree);
  action.text = action.expanded;
  if (action.expanded.empty()) {
    action.problem = "a run drops this action: it names no property list";
    return;
  }
  std::vector<std::string> locations;
  if (isGone(action.expanded) || m_Host.logLocations(action.expanded, locations) != 0) {
    action.problem = "the property list can't be read";
    return;
  }
  for (const std::string& location : locations) {
    // A clear run has no folder to store in, and takes the root of the machine.
    const std::string name = helperUtil::stringAfterLast(location, "/");
    takeFile(action, planFile(location, m_Options.clear ? "/" + name : name, false));
  }
  if (locations.empty()) {
    action.problem = "the property list names no file";
  }
}

}  // namespace halvo
