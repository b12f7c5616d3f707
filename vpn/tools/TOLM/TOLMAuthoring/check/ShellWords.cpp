#include "vpn/tools/TOLM/TOLMAuthoring/check/ShellWords.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <utility>

namespace halvo {

namespace {

bool isOneOf(const std::string& word, std::initializer_list<const char*> names) {
  return std::any_of(names.begin(), names.end(), [&](const char* name) { return word == name; });
}

std::string programOf(const std::string& word) {
  return word.substr(word.rfind('/') + 1);
}

bool isAssignment(const std::string& word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0 || std::isdigit(static_cast<unsigned char>(word[0])) != 0) {
    return false;
  }
  return std::all_of(word.begin(), word.begin() + static_cast<std::ptrdiff_t>(equals),
                     [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; });
}

// Reads the line from its beginning to its end, one byte ahead.
class Reader {
 public:
  explicit Reader(const std::string& text) : m_Text(text) {}

  ShellLine read() {
    while (m_nAt < m_Text.size() && !m_bStopped) {
      const char c = m_Text[m_nAt];
      if (c == ' ' || c == '\t') {
        endWord();
        ++m_nAt;
      } else if (c == '#' && !m_bInWord) {
        m_nAt = std::min(m_Text.find('\n', m_nAt), m_Text.size());
      } else if (c == '\n' || c == ';' || c == '&' || c == '|' || c == '(' || c == ')') {
        readOperator(c);
      } else if (c == '<' || c == '>') {
        readRedirection();
      } else {
        readWordPart(c);
      }
    }
    endCommand();
    return std::move(m_Line);
  }

 private:
  [[nodiscard]] char next() const { return m_nAt + 1 < m_Text.size() ? m_Text[m_nAt + 1] : '\0'; }

  void readWordPart(char c) {
    m_bInWord = true;
    if (c == '\\') {
      if (next() != '\n' && next() != '\0') {
        m_strWord += next();
      }
      m_nAt += 2;
      m_bQuoted = true;
    } else if (c == '\'') {
      const std::size_t end = std::min(m_Text.find('\'', m_nAt + 1), m_Text.size());
      m_strWord += m_Text.substr(m_nAt + 1, end - m_nAt - 1);
      m_nAt = end + 1;
      m_bQuoted = true;
    } else if (c == '"') {
      readDoubleQuotes();
    } else if (c == '`' || (c == '$' && next() == '(')) {
      m_strWord += c;
      skipSubstitution(c);
    } else {
      m_strWord += c;
      ++m_nAt;
    }
  }

  void readDoubleQuotes() {
    m_bQuoted = true;
    for (++m_nAt; m_nAt < m_Text.size() && m_Text[m_nAt] != '"'; ++m_nAt) {
      if (m_Text[m_nAt] == '\\' && m_nAt + 1 < m_Text.size()) {
        ++m_nAt;
      }
      m_strWord += m_Text[m_nAt];
    }
    ++m_nAt;
  }

  // What runs inside is left out: its words are no words of this command.
  void skipSubstitution(char opener) {
    if (opener == '`') {
      m_nAt = std::min(m_Text.find('`', m_nAt + 1), m_Text.size()) + 1;
      return;
    }
    int depth = 0;
    for (++m_nAt; m_nAt < m_Text.size(); ++m_nAt) {
      depth += m_Text[m_nAt] == '(' ? 1 : m_Text[m_nAt] == ')' ? -1 : 0;
      if (depth == 0) {
        break;
      }
    }
    ++m_nAt;
  }

  void readOperator(char c) {
    if (c == '(' && m_bInWord && m_Command.words.empty()) {
      // A word that touches "(" at the beginning of a command names a function.
      m_Line.functions.insert(std::exchange(m_strWord, {}));
      m_bInWord = false;
    }
    endWord();
    const bool doubled = next() == c && (c == '&' || c == '|' || c == ';');
    const bool pipe = c == '|' && !doubled;
    m_Command.piped = pipe;
    endCommand();
    // Whatever stands behind the first pipe may read from it, inside of a loop or a group too.
    m_bFed = m_bFed || pipe;
    m_nAt += doubled ? 2 : 1;
  }

  void readRedirection() {
    // Digits that touch the sign are the descriptor.
    const bool errors = m_bInWord && !m_bQuoted && m_strWord == "2" && m_Text[m_nAt] == '>';
    if (m_bInWord && !m_bQuoted && std::all_of(m_strWord.begin(), m_strWord.end(), [](unsigned char c) {
          return std::isdigit(c) != 0;
        })) {
      m_strWord.clear();
      m_bInWord = false;
    }
    endWord();
    m_Line.redirectsErrors = m_Line.redirectsErrors || errors;
    m_Command.fed = m_Command.fed || m_Text[m_nAt] == '<';
    while (m_nAt < m_Text.size() && std::string("<>&|-").find(m_Text[m_nAt]) != std::string::npos) {
      ++m_nAt;
    }
    m_bTarget = true;
  }

  void endWord() {
    if (!m_bInWord) {
      return;
    }
    const std::string word = std::exchange(m_strWord, {});
    const bool quoted = std::exchange(m_bQuoted, false);
    m_bInWord = false;
    if (std::exchange(m_bTarget, false)) {
      return;
    }
    if (m_Command.words.empty() && !quoted) {
      if (word == "case") {
        // Its patterns look like words and its ends like groups: what stands behind isn't read.
        m_bStopped = true;
        return;
      }
      if (isAssignment(word) || isOneOf(word, {"if", "then", "elif", "else", "fi", "while", "until", "do",
                                               "done", "{", "}", "!"})) {
        return;
      }
    }
    m_Command.words.push_back(word);
  }

  void endCommand() {
    endWord();
    m_bTarget = false;
    // "for x in a b" holds words and starts nothing.
    if (!m_Command.words.empty() && m_Command.words.front() != "for") {
      m_Command.fed = m_Command.fed || m_bFed;
      m_Line.commands.push_back(m_Command);
    }
    m_Command = {};
  }

  const std::string& m_Text;
  std::size_t m_nAt = 0;
  ShellLine m_Line;
  ShellCommand m_Command;
  std::string m_strWord;
  bool m_bInWord = false;
  bool m_bQuoted = false;
  bool m_bTarget = false;  // the next word belongs to a redirection
  bool m_bFed = false;
  bool m_bStopped = false;
};

}  // namespace

ShellLine readShellLine(const std::string& text) {
  return Reader(text).read();
}

const std::string* scriptOf(const std::vector<std::string>& words) {
  if (words.empty() || !isOneOf(programOf(words[0]), {"sh", "bash", "dash", "ash", "ksh", "zsh"})) {
    return nullptr;
  }
  bool wanted = false;
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word.empty() || (word[0] != '-' && word[0] != '+')) {
      return wanted ? &word : nullptr;
    }
    if (word.compare(0, 2, "--") == 0) {
      continue;
    }
    wanted = wanted || (word[0] == '-' && word.find('c') != std::string::npos);
    i += word.back() == 'o' ? 1 : 0;  // "-o pipefail": the name of a setting
  }
  return nullptr;
}

namespace {

constexpr int kDeepestScript = 8;

void addWithScripts(const std::string& text, const ShellCommand& around, int depth, ShellLine& whole) {
  const ShellLine line = readShellLine(text);
  whole.redirectsErrors = whole.redirectsErrors || line.redirectsErrors;
  whole.functions.insert(line.functions.begin(), line.functions.end());
  for (std::size_t i = 0; i < line.commands.size(); ++i) {
    ShellCommand command = line.commands[i];
    // `head` takes its lines and leaves: the writer in front of it ends at the next one.
    command.bounded = around.bounded ||
                      (command.piped && i + 1 < line.commands.size() && !line.commands[i + 1].words.empty() &&
                       isOneOf(programOf(line.commands[i + 1].words[0]), {"head"}));
    command.fed = command.fed || around.fed;
    command.piped = command.piped || around.piped;
    whole.commands.push_back(command);
    const std::vector<std::string> words = unwrapCommand(command.words, command.bounded);
    if (const std::string* const script = scriptOf(words); script != nullptr && depth < kDeepestScript) {
      addWithScripts(*script, command, depth + 1, whole);
    }
  }
}

}  // namespace

ShellLine readShellLineWithScripts(const std::string& text) {
  ShellLine whole;
  addWithScripts(text, {}, 0, whole);
  return whole;
}

std::vector<std::string> unwrapCommand(const std::vector<std::string>& words, bool& bounded) {
  std::size_t at = 0;
  while (at < words.size() && isOneOf(words[at], {"env", "timeout", "nice", "ionice", "nohup", "exec",
                                                  "command", "stdbuf", "setsid", "time", "busybox"})) {
    const std::string& wrapper = words[at++];
    // Of these the value of an option may stand in the next word.
    const bool values = isOneOf(wrapper, {"timeout", "nice", "ionice", "stdbuf"});
    while (at < words.size() && (words[at].compare(0, 1, "-") == 0 || isAssignment(words[at]))) {
      const bool separate = values && words[at].size() == 2 && words[at] != "-v";
      at += separate && at + 1 < words.size() ? 2 : 1;
    }
    if (wrapper == "timeout") {
      bounded = true;
      ++at;  // the duration
    }
  }
  return at < words.size()
             ? std::vector<std::string>(words.begin() + static_cast<std::ptrdiff_t>(at), words.end())
             : std::vector<std::string>();
}

}  // namespace halvo
