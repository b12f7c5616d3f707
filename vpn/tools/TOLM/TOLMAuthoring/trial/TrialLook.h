// What an author wants to know of a run: what was left out, and which commands had nothing to say.
//
// Reads the work folder of a run before it becomes a bundle. Plain functions; nothing is printed.

#pragma once

#include <string>
#include <vector>

namespace halvo {

struct TrialFindings {
  // Rows of the summaries' tables of omitted files, without blanks at their ends.
  std::vector<std::string> omissions;
  // One line each: a result and what is the matter with it.
  std::vector<std::string> results;
};

TrialFindings lookAtWorkFolder(const std::string& folder);

// The rows below "Files Omitted from Bundle:" of a summary, of all of its sections.
std::vector<std::string> omittedRows(const std::string& summary);

// What is the matter with captured output, one line for each command in it: nothing behind its heading, or a
// complaint at its beginning. Empty for a text that isn't captured output.
std::vector<std::string> resultComplaints(const std::string& text);

}  // namespace halvo
