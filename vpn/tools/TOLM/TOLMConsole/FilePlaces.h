// FilePlaces: whether the files that one command line names stand in each other's way.
//
// Looked at before anything is read or written, so that a slip of the hand costs no file. What these say
// holds for the moment. Nothing is logged. Used on the main thread.

#pragma once

#include <string>
#include <vector>

namespace halvo {

enum class FileUse { kRead, kWritten };

struct NamedFile {
  std::string what;  // as the command line names it: "--bundle"
  std::string path;  // empty for none
  FileUse use = FileUse::kRead;
};

// Whether two paths lead to one file, by any of its names, or would once it is written. An empty path leads
// nowhere, and nothing takes the place of what is no file: a terminal may be read from and written to.
bool isSamePlace(const std::string& one, const std::string& other);

// A link where something is to be written leads to a file that somebody counts on, or to a device: a sentence
// about the first that is one, empty where none is.
std::string linkProblem(const std::vector<NamedFile>& files);

// What is written must take the place of nothing that is read, nor of anything else that is written: a
// sentence about the first that would, empty where none does.
std::string placeProblem(const std::vector<NamedFile>& files);

}  // namespace halvo
