// Names for open files: for calls that take names alone, and for files that begin without one.

#pragma once

#include <string>

namespace halvo {

// A path that leads to the file behind `descriptor`, wherever that file's own name has gone meanwhile, for
// as long as this process holds the descriptor open. A file that is opened by it in folders that others can
// write to is the one that was opened first, and no other. Hold no O_NOFOLLOW against it: it may be a link.
std::string descriptorPath(int descriptor);

// A new file in the folder, to write to, without a name: whatever ends the program, nothing is left of it.
// Its owner's alone (mode 0600). Negative, with errno set, where the host or the file system has no such
// files.
int openNameless(const std::string& folder);

// Gives such a file its first name, at which nothing may be yet. False on a failure, with errno set.
bool nameDescriptor(int descriptor, const std::string& path);

}  // namespace halvo
