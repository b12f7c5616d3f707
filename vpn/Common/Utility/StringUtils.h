// CStringUtils: static operations over byte strings.
//
// Nothing is shared, nothing fails and nothing is logged: the log stands above it. Any thread may
// call. The white-space set is blank, tab, form feed, vertical tab, line feed and carriage return,
// whatever the locale.

#pragma once

#include <string>
#include <vector>

namespace halvo {

class CStringUtils {
 public:
  virtual ~CStringUtils() = default;

  // A lower-case copy, byte by byte, by the C library's tolower.
  static std::string toLower(const std::string& text);

  // A copy without the white space at its end; with `lineEndsOnly` without line feeds and carriage
  // returns at its end, and white space before those stays.
  static std::string trimRight(const std::string& text, bool lineEndsOnly);
  // A copy without the white space at its start.
  static std::string trimLeft(const std::string& text);
  // Both, of the whole white-space set.
  static std::string trim(const std::string& text);

  // Whether `pattern` stands for the whole of `text`. Its only special character is "*", any run of
  // characters, none included. Case-sensitive.
  static bool wildcardMatch(const std::string& text, const std::string& pattern);

  // printf into a text, cut to 1,023 characters.
  static std::string formatText(const char* format, ...) __attribute__((format(printf, 1, 2)));

  // Case-sensitive. An empty prefix or suffix matches.
  static bool startsWith(const std::string& text, const std::string& prefix);
  static bool endsWith(const std::string& text, const std::string& suffix);

  // Replaces each occurrence from left to right, without looking at what was just put in. An empty
  // `search` leaves the text as it is.
  static std::string replaceAll(const std::string& text, const std::string& search,
                                const std::string& replacement);

  // The pieces between the separators, empty ones too; always one at least.
  static std::vector<std::string> split(const std::string& text, char separator);
};

}  // namespace halvo
