// A name for an open file, for calls that take names alone.

#pragma once

#include <string>

namespace halvo {

// A path that leads to the file behind `descriptor`, wherever that file's own name has gone meanwhile, for
// as long as this process holds the descriptor open. A file that is opened by it in folders that others can
// write to is the one that was opened first, and no other. Hold no O_NOFOLLOW against it: it may be a link.
std::string descriptorPath(int descriptor);

}  // namespace halvo
