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
  // Documents that the run couldn't use, as its summary names them.
  std::vector<std::string> failedDocuments;
  // One line each: a result and what is the matter with it.
  std::vector<std::string> results;
};

TrialFindings lookAtWorkFolder(const std::string& folder);

// The rows below "Files Omitted from Bundle:" of a summary, of all of its sections.
std::vector<std::string> omittedRows(const std::string& summary);

// The documents that a summary lists as failed.
std::vector<std::string> failedRows(const std::string& summary);

// What is the matter with captured output, one line for each command in it: nothing behind its heading, or a
// complaint at its beginning. Empty for a text that isn't captured output.
std::vector<std::string> resultComplaints(const std::string& text);

}  // namespace halvo
