#include "vpn/tools/TOLM/TOLMAuthoring/check/ActionCheck.h"

#include <algorithm>

#include "vpn/Common/Utility/PathText.h"
#include "vpn/Common/Utility/PlainText.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/CommandCheck.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/PathCheck.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

std::string lineOf(Position position) {
  return "line " + std::to_string(position.line);
}

// Characters that only a shell gives a meaning to.
constexpr const char* kShellCharacters = "\"'`|&;<>*?";

// As the engine's reader of <args> makes it.
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
  checkPathNames(m_List, element, element.text);
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
  for (const DocumentElement* clearLog : action.childrenNamed("clear_log")) {
    const DocumentAttribute* const apply = clearLog->attribute("apply");
    if (apply != nullptr && apply->value == "true" && isSystemPlace(loc->text)) {
      m_List.add("clear-system", *clearLog,
                 quotedText(loc->text) +
                     " belongs to the system or is a home as a whole: a clear run deletes the files there");
    }
  }
  const std::string folder = helperUtil::stringBeforeLast(loc->text, "/", true);
  const std::string pattern = helperUtil::stringAfterLast(loc->text, "/");
  // Without a "/" a run finds nothing, and so stores nothing.
  if (folder != loc->text) {
    m_Names.addCopy(*loc, folder, pattern, place);
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
  checkGathered(m_List, loc, m_Host);
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
  if (isDotName(pattern)) {
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
      checkStdout(*child);
    } else if (name == "clear_log") {
      checkClearLog(*child, place, true);
    } else {
      m_List.add("unknown-child", *child,
                 tagOf(*child) + " may not stand in an action of <use_extern_action>" +
                     (name == "truncate_type" ? "" : suggestion(name)) + ": a run drops the whole action");
    }
  }
}

// Its presence is the switch, whatever stands in it.
void ActionCheck::checkStdout(const DocumentElement& element) {
  checkAttributes(m_List, element);
  if (saysNo(element.text)) {
    m_List.add("stdout-text", element,
               "<stdout> holds " + quotedText(element.text) +
                   ": a run captures the output wherever a <stdout> stands; leave it out");
  } else {
    checkNoText(m_List, element);
  }
  checkTextOnly(m_List, element);
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
  const bool brokenWord = program.find_first_of("\t\r\n") != std::string::npos;
  // Blanks alone behind a program that is started directly make an empty argument, as no blank does.
  const bool brokenArgument = !captured && hasOuterBlanks(text) && text != program + " ";
  if (brokenWord || brokenArgument) {
    m_List.add("text-blanks", args,
               brokenWord
                   ? "tabs or line breaks in the first word of <args>: a run takes them as part of the "
                     "program's name, and of the result's"
                   : "blanks or line breaks at the end of <args>: without a shell a run takes them as "
                     "part of the program's argument");
  } else if (captured && hasOuterBlanks(text)) {
    // The shell passes them over; only the banner of the result shows them.
    m_List.add("args-outer-blanks", args,
               "blanks or line breaks behind the command in <args>: the shell passes them over, and the "
               "result shows them in its heading");
  }
  if (!captured) {
    checkVariables(m_List, args, text);
    checkLaunch(args, text, place);
    return;
  }
  checkShellCommand(m_List, args, m_Host, collector::isCurrentOS(place.opsys));
  if (program.find('/') != std::string::npos) {
    m_List.add(
        "program-path", args,
        "the program " + quotedText(program) +
            " is written with its path: a run names the result after it, and the output is lost; write "
            "the name alone");
    return;
  }
  const std::string baseName = baseNameOf(program);
  if (baseName.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._+-@[]:") !=
      std::string::npos) {
    m_List.add("result-name", args,
               "the result is named after the first word of the command line: a run stores it as " +
                   quotedText(baseName + "_result.txt") + "; begin with the program's name");
  }
  m_Names.addResult(args, baseName, place);
}

// A program that is started without a shell gets the text behind the first blank as one argument.
void ActionCheck::checkLaunch(const DocumentElement& element, const std::string& commandLine,
                              const ActionPlace& place) {
  const std::size_t blank = commandLine.find(' ');
  const std::string argument = blank == std::string::npos ? "" : commandLine.substr(blank + 1);
  if (argument.empty()) {
    m_List.add(
        "launch-empty-argument", element,
        quotedText(commandLine) + " is started without a shell: a run gives the program one empty argument");
  } else if (argument.find_first_of(kShellCharacters) != std::string::npos) {
    m_List.add("launch-shell-signs", element,
               "signs of the shell in a command that is started without one: a run gives the program " +
                   quotedText(argument) + " as it stands");
  } else if (argument.find_first_of(" \t\r\n") != std::string::npos) {
    // May be meant: one file's name with a blank in it.
    m_List.add("launch-arguments", element,
               "blanks in the argument of a program that is started without a shell: a run gives it " +
                   quotedText(argument) +
                   " as one argument; for several use <stdout/>, or a script of one argument");
  }
  checkStartedCommand(m_List, element, commandLine.substr(0, blank), argument, m_Host,
                      collector::isCurrentOS(place.opsys));
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
  if (path.find_first_of("*?") != std::string::npos) {
    m_List.add(
        "path-wildcard", *tempOut,
        "a wildcard in " + quotedText(path) + " of <temp_out>: a run takes it for a letter of the name");
    return;
  }
  m_Names.addCopy(*tempOut, helperUtil::stringBeforeLast(path, "/", true),
                  helperUtil::stringAfterLast(path, "/"), place);
}

// What a clearing command would take away, by the paths among its words.
static void checkClearedPaths(FindingList& list, const DocumentElement& clearLog) {
  const std::string program =
      helperUtil::stringAfterLast(helperUtil::stringBeforeFirst(clearLog.text, " "), "/");
  for (const char* remover : {"rm", "rmdir", "unlink", "shred", "truncate", "find", "mv"}) {
    if (program != remover) {
      continue;
    }
    std::size_t at = program.size();
    while ((at = clearLog.text.find_first_not_of(' ', at)) != std::string::npos) {
      const std::size_t end = std::min(clearLog.text.find(' ', at), clearLog.text.size());
      const std::string word = clearLog.text.substr(at, end - at);
      at = end;
      if (isSystemPlace(word)) {
        list.add(
            "clear-system", clearLog,
            quotedText(word) + " belongs to the system or is a home as a whole: a clear run takes it away");
        return;
      }
    }
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
  checkLaunch(clearLog, clearLog.text, place);
  checkClearedPaths(m_List, clearLog);
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
  if (path->text.find_first_of("*?") != std::string::npos) {
    m_List.add("path-wildcard", *path,
               "a wildcard in " + quotedText(path->text) +
                   ": a run takes it for a letter of the property list's name, and finds none");
  }
}

}  // namespace halvo
