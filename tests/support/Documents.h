// Parts of instruction documents as text.

#pragma once

#include <cstddef>
#include <string>

namespace halvo::test {

// The name by which documents choose instructions for the system that the tests are built for, and one that
// chooses none of them there. Told by the build, not by what is tested.
extern const char* const kThisSystem;
extern const char* const kOtherSystem;

// Opens an element with instructions for `system`.
inline std::string osStart(const std::string& system = kThisSystem) {
  return "<os opsys=\"" + system + "\">";
}

// Copies the files that `location` matches; `more` stands behind it in the action.
inline std::string copyAction(const std::string& location, const std::string& more = "") {
  return "<file_copy_action><action><loc>" + location + "</loc>" + more + "</action></file_copy_action>";
}

// Runs a command by the shell and gathers its standard output.
inline std::string captureAction(const std::string& command) {
  return "<use_extern_action><action><args>" + command + "</args><stdout/></action></use_extern_action>";
}

// `text` as it stands between two tags.
inline std::string escapedText(const std::string& text) {
  std::string xml;
  for (const char c : text) {
    xml += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
  }
  return xml;
}

// An item that a run without a request gathers, with its kinds of action for this system.
inline std::string describedItem(const std::string& id, const std::string& description,
                                 const std::string& kinds) {
  return "<file id=\"" + id + "\"><description>" + description +
         "</description><default>true</default><tolm>" + osStart() + kinds + "</os></tolm></file>";
}

// A whole document; without an element for the title where that is empty.
inline std::string documentText(const std::string& title, const std::string& items) {
  return "<config>" + (title.empty() ? "" : "<configure><title>" + title + "</title></configure>") + items +
         "</config>";
}

// `text`, `times` times in a row.
inline std::string repeated(const std::string& text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) {
    all += text;
  }
  return all;
}

}  // namespace halvo::test
