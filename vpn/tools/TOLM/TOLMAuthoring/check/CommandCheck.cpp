#include "vpn/tools/TOLM/TOLMAuthoring/check/CommandCheck.h"

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <set>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/PathCheck.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ShellWords.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

using Words = std::vector<std::string>;

bool isOneOf(const std::string& word, std::initializer_list<const char*> names) {
  return std::any_of(names.begin(), names.end(), [&](const char* name) { return word == name; });
}

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

// Whether one of the options is there: long ones whole or with "=", short ones alone, with a value behind
// them, or in a cluster of letters.
bool hasOption(const Words& words, std::initializer_list<const char*> options) {
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::string& word = words[i];
    for (const std::string option : options) {
      const bool isLong = option.size() > 2;
      if (word == option || (isLong && startsWith(word, option + "="))) {
        return true;
      }
      if (!isLong && word.size() > 2 && word[0] == '-' && word[1] != '-' &&
          word.find(option[1]) != std::string::npos) {
        return true;
      }
    }
  }
  return false;
}

bool hasOperand(const Words& words) {
  return std::any_of(words.begin() + 1, words.end(),
                     [](const std::string& word) { return word.empty() || word[0] != '-'; });
}

// Builtins and reserved words that no folder of PATH holds.
bool isBuiltin(const std::string& word) {
  return isOneOf(word, {".",        ":",      "[",     "alias",   "bg",    "break",  "cd",     "command",
                        "continue", "echo",   "eval",  "exec",    "exit",  "export", "false",  "fg",
                        "getopts",  "hash",   "jobs",  "kill",    "local", "printf", "pwd",    "read",
                        "readonly", "return", "set",   "shift",   "test",  "times",  "trap",   "true",
                        "type",     "ulimit", "umask", "unalias", "unset", "wait",   "source", "esac"});
}

bool isOpaque(const std::string& word) {
  return word.find_first_of("$`*?") != std::string::npos;
}

std::string programOf(const std::string& word) {
  return helperUtil::stringAfterLast(word, "/");
}

// Programs that print a file as it is.
bool printsFiles(const std::string& program) {
  return isOneOf(program, {"cat", "head", "tail", "more", "less", "cp", "tar", "zip", "base64", "xxd", "od",
                           "hexdump", "strings", "dd", "tac", "nl", "install", "rsync"});
}

// Programs that go on until they have had their count.
bool takesCount(const std::string& program) {
  return isOneOf(program,
                 {"ping", "ping6", "top", "tcpdump", "tshark", "vmstat", "iostat", "mpstat", "pidstat"});
}

// What holds for a command with its wrappers taken off, shell or not.
void checkCommandWords(FindingList& list, const DocumentElement& element, const Words& words, bool bounded,
                       bool fed, bool piped, ICheckHost& host) {
  if (words.empty()) {
    return;
  }
  const std::string program = programOf(words[0]);
  if (!bounded && isEndless(words, fed)) {
    const bool waits = program == "cat" || program == "read";
    list.add(
        "command-endless", element,
        quotedText(program) +
            (waits
                 ? " reads standard input as it stands here, and a run waits for what nobody gives it; name "
                   "a file, or put \"</dev/null\" behind it"
                 : " doesn't end by itself as it stands here, and a run waits for it without a limit; " +
                       std::string(takesCount(program) ? "give it a count, or " : "") +
                       "put \"timeout 30\" in front"));
  }
  const bool silentSudo = program == "sudo" && hasOption(words, {"-n", "--non-interactive"});
  const bool batch = std::any_of(words.begin(), words.end(), [](const std::string& word) {
    return word.find("BatchMode=yes") != std::string::npos;
  });
  if (isOneOf(program, {"sudo", "su", "ssh", "scp", "sftp", "pkexec", "doas", "passwd", "telnet", "ftp"}) &&
      !silentSudo && !batch) {
    list.add("command-asks", element,
             quotedText(program) +
                 " may ask for a password or an answer: a run has nobody to ask, and waits without a limit");
  }
  if (!printsFiles(program)) {
    return;
  }
  for (std::size_t i = 1; i < words.size(); ++i) {
    std::string path = words[i];
    if (startsWith(path, "if=")) {
      path = path.substr(3);
    }
    if (path.empty() || path[0] == '-' || path.find('/') == std::string::npos) {
      continue;
    }
    // What goes on into another program may be filtered there.
    if (const std::string what = secretAt(path); !what.empty() && !piped) {
      list.add("secret", element,
               quotedText(path) + " holds " + what +
                   ": a run puts it into the bundle as it is; show it through a filter, or leave it out");
      return;
    }
    const bool limited = bounded || program == "head" || program == "dd";
    if (!limited &&
        (isBlockingPath(path) || (path[0] == '/' && !isOpaque(path) && host.isSpecialFile(path)))) {
      list.add("path-blocks", element,
               quotedText(path) + " is no file that ends: a run waits on it, perhaps for ever");
      return;
    }
  }
}

void checkPrograms(FindingList& list, const DocumentElement& element, const ShellLine& line,
                   ICheckHost& host) {
  std::set<std::string> told = line.functions;
  for (const ShellCommand& command : line.commands) {
    // Who asks whether a program is there knows that it may not be.
    if (command.words.size() > 1 &&
        (isOneOf(command.words[0], {"type", "which", "hash"}) ||
         (command.words[0] == "command" && hasOption(command.words, {"-v", "-V"})))) {
      told.insert(command.words.back());
    }
  }
  for (const ShellCommand& command : line.commands) {
    bool bounded = false;
    const Words inner = unwrapCommand(command.words, bounded);
    // The wrapper has to be there as well as what it starts.
    for (const Words& words : {command.words, inner}) {
      if (words.empty() || words[0].empty() || isBuiltin(words[0]) || isOpaque(words[0]) ||
          startsWith(words[0], "~") || host.hasProgram(words[0]) || !told.insert(words[0]).second) {
        continue;
      }
      list.add("program-missing", element,
               "this machine hasn't got the program " + quotedText(words[0]) +
                   ": here a run gathers only the shell's complaint about it, or nothing");
    }
  }
}

}  // namespace

bool isEndless(const Words& words, bool fed) {
  const std::string program = programOf(words[0]);
  if (program == "ping" || program == "ping6") {
    // Here "-t" is the life of a packet, and no limit of time.
    return !hasOption(words, {"-c", "-w"});
  }
  if (program == "tail") {
    return hasOption(words, {"-f", "-F", "--follow"}) && !(fed && !hasOperand(words));
  }
  if (program == "journalctl") {
    return std::any_of(words.begin() + 1, words.end(), [](const std::string& word) {
      // Of letters in one word, those behind one that takes a value are the value.
      const bool cluster = word.size() > 1 && word[0] == '-' && word[1] != '-';
      const std::size_t at = cluster ? word.find_first_of("fbcDFiMnopStTuUg", 1) : std::string::npos;
      return word == "--follow" || (at != std::string::npos && word[at] == 'f');
    });
  }
  if (program == "dmesg") {
    return hasOption(words, {"-w", "-W", "--follow", "--follow-new"});
  }
  if (program == "top") {
    return !hasOption(words, {"-n", "-l"}) || !hasOption(words, {"-b", "-l"});
  }
  if (program == "tcpdump" || program == "tshark") {
    return !hasOption(words, {"-c", "-r", "-D", "--list-interfaces", "--version"});
  }
  if (isOneOf(program, {"vmstat", "iostat", "mpstat", "pidstat"})) {
    // A lone number is the pause between two reports without an end.
    const auto numbers = std::count_if(words.begin() + 1, words.end(), [](const std::string& word) {
      return !word.empty() && word.find_first_not_of("0123456789") == std::string::npos;
    });
    return numbers == 1;
  }
  if (program == "sleep") {
    return hasOperand(words) && startsWith(words.back(), "inf");
  }
  if (program == "cat" || program == "read") {
    return !fed && (program == "read" || !hasOperand(words));
  }
  if ((program == "ip" || program == "udevadm" || program == "nmcli" || program == "bridge") &&
      std::find(words.begin(), words.end(), "monitor") != words.end()) {
    return true;
  }
  return isOneOf(program, {"watch", "htop", "atop", "iotop", "iftop", "nethogs", "yes", "vi", "vim", "nano",
                           "dbus-monitor"});
}

void checkShellCommand(FindingList& list, const DocumentElement& element, ICheckHost& host, bool here) {
  const std::string& text = element.text;
  checkNoBreakSpace(list, element, text);
  if (const std::string complaint = host.shellComplaint(text); !complaint.empty()) {
    list.add("shell-syntax", element,
             "the shell refuses this command line (" + withoutControls(complaint) +
                 "): a run gathers nothing for it");
    return;
  }
  const ShellLine line = readShellLineWithScripts(text);
  for (const ShellCommand& command : line.commands) {
    bool bounded = command.bounded;
    const Words words = unwrapCommand(command.words, bounded);
    // One with an expansion in it isn't yet what the inner shell gets to see.
    if (const std::string* const script = scriptOf(words);
        script != nullptr && script->find_first_of("$`") == std::string::npos) {
      if (const std::string complaint = host.shellComplaint(*script); !complaint.empty()) {
        list.add("shell-syntax", element,
                 "the shell inside of this command line refuses " + quotedText(*script) + " (" +
                     withoutControls(complaint) + "): a run gathers its complaint and nothing else");
      }
    }
    checkCommandWords(list, element, words, bounded, command.fed, command.piped, host);
  }
  if (!line.commands.empty() && !line.redirectsErrors) {
    list.add("errors-not-captured", element,
             "what the command says on standard error isn't gathered, and the result may stay empty; put "
             "\"2>&1\" behind it, written 2&gt;&amp;1 in the document");
  }
  if (here) {
    checkPrograms(list, element, line, host);
  }
}

void checkStartedCommand(FindingList& list, const DocumentElement& element, const std::string& program,
                         const std::string& argument, ICheckHost& host, bool here) {
  checkNoBreakSpace(list, element, program + " " + argument);
  Words words = {program};
  // One argument for the program; for the options in it a look at its words does.
  for (std::size_t at = 0; at < argument.size();) {
    const std::size_t blank = std::min(argument.find(' ', at), argument.size());
    if (blank > at) {
      words.push_back(argument.substr(at, blank - at));
    }
    at = blank + 1;
  }
  bool bounded = false;
  const Words inner = unwrapCommand(words, bounded);
  checkCommandWords(list, element, inner, bounded, false, false, host);
  if (here && !program.empty() && !isOpaque(program) && !host.hasProgram(program)) {
    list.add("program-missing", element,
             "this machine hasn't got the program " + quotedText(program) +
                 ": here a run starts nothing and gathers nothing");
  }
}

}  // namespace halvo
