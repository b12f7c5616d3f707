// What the checks of config documents and of requests share: the list of findings, and the tests that
// hold for any element.

#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRules.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"

namespace halvo {

// The findings of one document. Past a bound only one more is taken, which says so.
class FindingList {
 public:
  void add(CheckRule rule, Position position, const std::string& text);
  void add(CheckRule rule, const DocumentElement& element, const std::string& text) {
    add(rule, element.position, text);
  }
  // Whether nothing more is taken.
  [[nodiscard]] bool isFull() const { return m_Findings.size() > kMaxFindings; }
  // Sorted by position; the list is empty afterwards.
  std::vector<Finding> take();

  static constexpr std::size_t kMaxFindings = 1000;

 private:
  std::vector<Finding> m_Findings;
};

// "<name>".
std::string tagOf(const DocumentElement& element);

// Only blanks, tabs and line ends, or nothing.
bool isBlankText(const std::string& text);

// Whether the text begins or ends with a blank, a tab or a line end.
bool hasOuterBlanks(const std::string& text);

// Text in an element whose text no reader reads.
void checkNoText(FindingList& list, const DocumentElement& element);

// Attributes other than those named.
void checkAttributes(FindingList& list, const DocumentElement& element,
                     std::initializer_list<const char*> read = {});

// Elements inside an element of which only the text is read.
void checkTextOnly(FindingList& list, const DocumentElement& element);

// An element in a place where no reader looks: unknown, or known and misplaced.
void reportStray(FindingList& list, const DocumentElement& element);

// " (did you mean <x>?)" for a name that is close to one that readers know, or an empty text.
std::string suggestion(const std::string& name);

// "$" in a path that a run expands: unclosed, without a name, or unset on this machine now.
void checkVariables(FindingList& list, const DocumentElement& element, const std::string& text);

// An attribute that switches something on when it is exactly "true". A value that is neither this nor
// a plain no is reported under `rule`, with `effect`.
void checkSwitch(FindingList& list, const DocumentElement& element, const char* attribute, CheckRule rule,
                 const std::string& effect);

// Whether a value says no in words that nobody can take for a yes.
bool saysNo(const std::string& value);

}  // namespace halvo
