// RequestCheck: what of a request would let it reach beyond the work folder.
//
// Requests come from outside. The engine takes the names that one gives the comments file and the summary
// as they stand; as a path such a name would lead anywhere.

#pragma once

#include <string>

namespace halvo {

// Whether a name is one of a file in the folder: not empty, not "." or "..", without "/" and "$".
bool isPlainFileName(const std::string& name);

// Why the request at `path` isn't taken: it can't be read, isn't well-formed, or gives a file a name that
// is none. Empty if it is. Logs nothing but what the parser does.
std::string requestProblem(const std::string& path);

}  // namespace halvo
