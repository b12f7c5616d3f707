// BundleCheck: looks at a finished bundle, and says what of the work folder isn't in it.
//
// The archive's own calls keep quiet about much: a bundle that is cut short can count as a success. So its
// table of contents is read back (PKWARE APPNOTE.TXT, sections 4.3.7, 4.3.12 to 4.3.16) and held against
// the folder that went in. Memory grows with the number of files, not with their sizes. Nothing is logged.

#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace halvo {

// The regular files below a folder by their path in it, with their sizes in bytes.
using WorkFiles = std::unordered_map<std::string, std::uint64_t>;

// Lists them, without following links. Returns why a part of the folder can't be listed; empty on success.
std::string listWorkFiles(const std::string& folder, WorkFiles& files);

// What is wrong with the bundle in the open file, for one line: its table of contents can't be read, its
// entries don't lie as the table says, an entry has no name, files are missing or of another size. Empty if
// the bundle is whole. `files` is how the folder was before the archive was made; a file that is being
// written to meanwhile counts with every size that it had.
std::string bundleProblem(int file, const std::string& folder, const WorkFiles& files);

}  // namespace halvo
