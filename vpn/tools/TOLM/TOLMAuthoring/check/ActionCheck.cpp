#include "vpn/tools/TOLM/TOLMAuthoring/check/ActionCheck.h"

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

std::string lineOf(Position position) {
  return "line " + std::to_string(position.line);
}

// Characters that only a shell gives a meaning to.
constexpr const char* kShellCharacters = "\"'`|&;<>*?";

std::string baseNameOf(const std::string& program) {
  std::string name = helperUtil::stringBeforeLast(program, ".", true);
  if (!name.empty() && name.back() == '.') {
    name.pop_back();
  }
  return name;
}

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

}  // namespace

void ActionCheck::check(const DocumentElement& action, const ActionPlace& place) {
  checkNoText(m_List, action);
  checkAttributes(m_List, action);
  if (place.kind->name == "file_copy_action") {
    checkCopy(action, place);
  } else if (place.kind->name == "use_extern_action") {
    checkCommand(action, place);
  } else {
    checkList(action);
  }
}

void ActionCheck::checkPathText(const DocumentElement& element) {
  if (hasOuterBlanks(element.text)) {
    m_List.add("text-blanks", element,
               "blanks or line breaks around the text of " + tagOf(element) +
                   ": a run takes them as part of the path");
    return;
  }
  checkVariables(m_List, element, element.text);
  if (!isBlankText(element.text) && element.text.front() != '/' && element.text.front() != '$' &&
      element.text.find('/') != std::string::npos) {
    m_List.add("path-relative", element,
               "the path " + quotedText(element.text) + " in " + tagOf(element) +
                   " is relative: a run looks from the folder that it is started in");
  }
}

// --- Copies ---------------------------------------------------------------------------------------

void ActionCheck::checkCopy(const DocumentElement& action, const ActionPlace& place) {
  const DocumentElement* loc = nullptr;
  for (const auto& child : action.children) {
    if (child->name == "loc") {
      if (loc != nullptr) {
        m_List.add("repeated-element", *loc,
                   "another <loc> of this action follows at " + lineOf(child->position) +
                       ": a run gathers only what the last one names");
      }
      loc = child.get();
      checkAttributes(m_List, *child, {"gather_newest"});
      checkTextOnly(m_List, *child);
      checkSwitch(m_List, *child, "gather_newest", "gather-newest-value", "a run gathers every match");
    } else if (child->name == "clear_log") {
      checkNoText(m_List, *child);
      checkClearLog(*child, place, false);
    } else if (child->name != "truncate_type") {
      reportStray(m_List, *child);
    }
  }
  for (const DocumentElement* truncateType : action.findAll("truncate_type")) {
    m_List.add("truncate-type", *truncateType,
               "<truncate_type> is read and acted on by nothing: a run stores whole files");
  }
  if (loc == nullptr) {
    m_List.add("loc-missing", action,
               "no <loc> in this action: a run finds nothing and notes \"N/A\" in the summary");
    return;
  }
  checkLocation(*loc);
  const std::string folder = helperUtil::stringBeforeLast(loc->text, "/", true);
  const std::string pattern = helperUtil::stringAfterLast(loc->text, "/");
  if (pattern.find_first_of("*?") == std::string::npos && folder != loc->text) {
    noteStoredName(*loc, folder, pattern, place);
  }
}

void ActionCheck::checkLocation(const DocumentElement& loc) {
  if (isBlankText(loc.text)) {
    m_List.add("loc-missing", loc, "<loc> is empty: a run finds nothing and notes \"N/A\" in the summary");
    return;
  }
  checkPathText(loc);
  if (loc.text.find('/') == std::string::npos) {
    m_List.add("loc-no-slash", loc,
               "no \"/\" in " + quotedText(loc.text) +
                   ": a run takes the text for a folder and for the file's name in it, and finds nothing");
    return;
  }
  const std::string folder = helperUtil::stringBeforeLast(loc.text, "/", true);
  const std::string pattern = helperUtil::stringAfterLast(loc.text, "/");
  if (folder.find_first_of("*?") != std::string::npos) {
    m_List.add("loc-wildcard-folder", loc,
               "a wildcard in the folder " + quotedText(folder) +
                   ": a run knows wildcards only behind the last \"/\", and finds no such folder");
  }
  if (pattern.empty()) {
    m_List.add("loc-ends-in-slash", loc,
               quotedText(loc.text) +
                   " ends in \"/\": a run finds nothing; a folder is named without it, all "
                   "of its files with \"/*\"");
    return;
  }
  if (pattern == "." || pattern == "..") {
    m_List.add(
        "loc-dots", loc,
        quotedText(loc.text) + " ends in \"" + pattern + "\": a run passes that over and gathers nothing");
    return;
  }
  const DocumentAttribute* const newest = loc.attribute("gather_newest");
  const std::string plain = CStringUtils::toLower(pattern);
  if (newest != nullptr && newest->value == "true" &&
      (helperUtil::wildcardMatch(plain.c_str(), ".") || helperUtil::wildcardMatch(plain.c_str(), ".."))) {
    m_List.add("gather-newest-dots", loc,
               "the pattern " + quotedText(pattern) +
                   " matches the folder itself too: where that is the newest, a run gathers nothing and says "
                   "nothing; use a pattern such as \"*.log\"");
  }
}

void ActionCheck::noteStoredName(const DocumentElement& element, const std::string& folder,
                                 const std::string& name, const ActionPlace& place) {
  if (!place.defaultItem || name.empty()) {
    return;
  }
  const auto [found, added] = m_Copies.insert({{place.opsys, name}, {place.kind, folder, element.position}});
  if (!added && found->second.folder != folder) {
    m_List.add(
        "copy-collision", element,
        quotedText(name) + " of another folder is stored by the action at " + lineOf(found->second.position) +
            ": a default run keeps one of the two, the later; put one into a document of another title");
  }
}

// --- Commands -------------------------------------------------------------------------------------

void ActionCheck::checkCommand(const DocumentElement& action, const ActionPlace& place) {
  const bool captured = !action.childrenNamed("stdout").empty();
  checkCommandChildren(action, place);

  const DocumentElement* path = nullptr;
  const DocumentElement* args = nullptr;
  const DocumentElement* tempOut = nullptr;
  bool argsBeforePath = false;
  for (const auto& child : action.children) {
    if (child->name == "path" || child->name == "plugin" || child->name == "regis") {
      if (path != nullptr) {
        m_List.add("path-and-plugin", *child,
                   tagOf(*child) + " behind " + tagOf(*path) + " of " + lineOf(path->position) +
                       ": both fill the same place, and a run keeps the last");
      }
      argsBeforePath = argsBeforePath || args != nullptr;
      path = child.get();
    } else if (child->name == "args" || child->name == "temp_out") {
      const DocumentElement*& last = child->name == "args" ? args : tempOut;
      if (last != nullptr) {
        m_List.add("repeated-element", *last,
                   "another " + tagOf(*child) + " of this action follows at " + lineOf(child->position) +
                       ": a run takes the last one");
      }
      last = child.get();
    }
  }
  if (argsBeforePath) {
    m_List.add("args-before-path", *args,
               "<args> stands ahead of " + tagOf(*path) +
                   ": a run leaves the path as written, and doesn't reduce it to the program's folder");
  }
  if (args == nullptr || isBlankText(args->text)) {
    m_List.add("args-missing", args == nullptr ? action : *args,
               std::string(args == nullptr ? "no <args> in this action" : "<args> is empty") +
                   ": a run has no command to start, whatever the path");
  } else {
    checkArgs(*args, captured, place);
  }
  checkTempOut(action, tempOut, captured, place);
}

// What the strict reader of these actions accepts.
void ActionCheck::checkCommandChildren(const DocumentElement& action, const ActionPlace& place) {
  for (const auto& child : action.children) {
    const std::string& name = child->name;
    if (name == "path" || name == "plugin" || name == "regis" || name == "args" || name == "temp_out") {
      checkAttributes(m_List, *child);
      if (!child->children.empty()) {
        m_List.add("nested-tags", *child,
                   "elements inside " + tagOf(*child) + ": a run drops the whole action");
      }
      if (name == "regis") {
        checkNoText(m_List, *child);
        m_List.add("regis", *child,
                   "<regis> has no meaning here: a run logs an error and goes on without a path");
      } else if (name == "path" || name == "plugin") {
        m_List.add("path-without-effect", *child,
                   tagOf(*child) +
                       " doesn't decide how the command is found or where it runs: a run goes by "
                       "<args> alone");
      }
    } else if (name == "stdout") {
      checkAttributes(m_List, *child);
      checkNoText(m_List, *child);
      checkTextOnly(m_List, *child);
    } else if (name == "clear_log") {
      checkClearLog(*child, place, true);
    } else {
      m_List.add("unknown-child", *child,
                 tagOf(*child) + " may not stand in an action of <use_extern_action>" +
                     (name == "truncate_type" ? "" : suggestion(name)) + ": a run drops the whole action");
    }
  }
}

void ActionCheck::checkArgs(const DocumentElement& args, bool captured, const ActionPlace& place) {
  const std::string& text = args.text;
  if (text.front() == ' ') {
    m_List.add("args-leading-blank", args,
               captured
                   ? "a blank at the beginning of <args>: a run names the result after the whole command "
                     "line, and where that holds a \"/\" the output is lost"
                   : "a blank at the beginning of <args>: a run takes the empty text in front of it for the "
                     "program, and starts nothing");
    return;
  }
  const std::string program = helperUtil::stringBeforeFirst(text, " ");
  if (hasOuterBlanks(text) || hasOuterBlanks(program) ||
      program.find_first_of("\t\r\n") != std::string::npos) {
    m_List.add("text-blanks", args,
               "tabs or line breaks around the text of <args> or in its first word: a run takes them as part "
               "of the command and of the result's name");
  }
  if (!captured) {
    checkVariables(m_List, args, text);
    checkLaunch(args, text);
    return;
  }
  if (program.find('/') != std::string::npos) {
    m_List.add(
        "program-path", args,
        "the program " + quotedText(program) +
            " is written with its path: a run names the result after it, and the output is lost; write "
            "the name alone");
    return;
  }
  noteResult(args, baseNameOf(program), place);
}

// A program that is started without a shell gets the text behind the first blank as one argument.
void ActionCheck::checkLaunch(const DocumentElement& element, const std::string& commandLine) {
  const std::size_t blank = commandLine.find(' ');
  if (blank == std::string::npos) {
    m_List.add(
        "launch-empty-argument", element,
        quotedText(commandLine) + " is started without a shell: a run gives the program one empty argument");
    return;
  }
  const std::string argument = commandLine.substr(blank + 1);
  if (argument.find_first_of(" \t\r\n") != std::string::npos) {
    m_List.add("launch-arguments", element,
               "several arguments for a program that is started without a shell: a run gives it " +
                   quotedText(argument) + " as one argument; use <stdout/>, or a script of one argument");
  } else if (commandLine.find_first_of(kShellCharacters) != std::string::npos) {
    m_List.add("launch-arguments", element,
               "signs of the shell in a command that is started without one: a run gives the program " +
                   quotedText(argument) + " as it stands");
  }
}

void ActionCheck::checkTempOut(const DocumentElement& action, const DocumentElement* tempOut, bool captured,
                               const ActionPlace& place) {
  if (captured) {
    if (tempOut != nullptr) {
      m_List.add(
          "temp-out-ignored", *tempOut,
          "<temp_out> beside <stdout>: a run captures the standard output and doesn't look at this file");
    }
    return;
  }
  if (tempOut == nullptr || isBlankText(tempOut->text)) {
    m_List.add(
        "temp-out-missing", tempOut == nullptr ? action : *tempOut,
        "neither <stdout/> nor a path in <temp_out>: a run starts the command and gathers nothing of it");
    return;
  }
  checkPathText(*tempOut);
  const std::string& path = tempOut->text;
  if (!startsWith(path, "/tmp/") && !startsWith(path, "/var/tmp/") && !startsWith(path, "$TMPDIR/")) {
    m_List.add(
        "temp-out-deleted", *tempOut,
        quotedText(path) + " is no place for temporary files: a run deletes the file once it is copied");
  }
  noteStoredName(*tempOut, helperUtil::stringBeforeLast(path, "/", true),
                 helperUtil::stringAfterLast(path, "/"), place);
}

// Captured output is stored under the program's name. Within one kind element it is appended; a later
// kind starts anew and replaces what lies in the bundle.
void ActionCheck::noteResult(const DocumentElement& element, const std::string& baseName,
                             const ActionPlace& place) {
  // Items that a default run leaves out are gathered by request, and meet nobody but themselves.
  const std::string owner = place.defaultItem ? ""
                                              : std::to_string(place.item->position.line) + ":" +
                                                    std::to_string(place.item->position.column) + " ";
  const auto [found, added] =
      m_Results.insert({{place.opsys, owner + baseName}, {place.kind, "", element.position}});
  if (!added && found->second.kind != place.kind) {
    m_List.add(
        "result-replaced", element,
        "the output goes to " + quotedText(baseName + "_result.txt") + ", as that of " +
            lineOf(found->second.position) +
            " does: a run keeps only the last; put both into one <use_extern_action>, or into documents of "
            "different titles");
  }
}

void ActionCheck::checkClearLog(const DocumentElement& clearLog, const ActionPlace& place, bool command) {
  checkAttributes(m_List, clearLog, {"apply"});
  checkTextOnly(m_List, clearLog);
  const DocumentAttribute* const apply = clearLog.attribute("apply");
  if (apply == nullptr) {
    m_List.add("clear-log-value", clearLog,
               "no apply=\"true\" of <clear_log>: a clear run leaves this action alone");
    return;
  }
  checkSwitch(m_List, clearLog, "apply", "clear-log-value", "a clear run leaves this action alone");
  if (apply->value != "true") {
    return;
  }
  if (!place.defaultItem) {
    m_List.add("clear-log-not-default", clearLog,
               "<clear_log> in an item whose <default> isn't \"true\": a clear run passes the item over");
  }
  if (!command) {
    return;
  }
  if (isBlankText(clearLog.text)) {
    m_List.add("clear-log-empty", clearLog, "<clear_log> names no command: a clear run starts nothing");
    return;
  }
  if (clearLog.text.find('$') != std::string::npos) {
    m_List.add("clear-log-variable", clearLog,
               "a \"$\" in <clear_log>: a clear run hands it on as it stands, no variable is expanded");
  }
  if (clearLog.text.front() == ' ') {
    m_List.add(
        "args-leading-blank", clearLog,
        "a blank at the beginning of <clear_log>: a clear run takes the empty text in front of it for the "
        "program, and starts nothing");
    return;
  }
  if (hasOuterBlanks(clearLog.text)) {
    m_List.add("text-blanks", clearLog,
               "blanks or line breaks around the text of <clear_log>: a clear run takes them as part of the "
               "command");
  }
  checkLaunch(clearLog, clearLog.text);
}

// --- Property lists -------------------------------------------------------------------------------

void ActionCheck::checkList(const DocumentElement& action) {
  const DocumentElement* path = nullptr;
  for (const auto& child : action.children) {
    if (child->name == "path") {
      if (path != nullptr) {
        m_List.add("repeated-element", *child,
                   "a second <path> in this action: a run reads the one at " + lineOf(path->position));
        continue;
      }
      path = child.get();
      checkAttributes(m_List, *child);
    } else if (child->name == "clear_log") {
      m_List.add(
          "list-clear", *child,
          "<clear_log> has no effect in <get_file_to_copy_action>: a clear run copies the files all the "
          "same, into the root folder");
    } else {
      reportStray(m_List, *child);
    }
  }
  if (path == nullptr || path->text.empty()) {
    m_List.add("list-path-missing", path == nullptr ? action : *path,
               std::string(path == nullptr ? "no <path> in this action" : "<path> is empty") +
                   ": a run doesn't know which property list to read, and drops the action");
    return;
  }
  if (!path->children.empty()) {
    m_List.add("nested-tags", *path, "elements inside <path>: a run drops the whole action");
    return;
  }
  checkPathText(*path);
}

}  // namespace halvo
