// Questions about the text of a path, in one place. Nothing here looks at the file system; any thread may
// call.

#pragma once

#include <string>
#include <string_view>

namespace halvo {

// `folder` with one "/" behind it where it doesn't end in one; the empty text becomes "/".
inline std::string withSlash(const std::string& folder) {
  return !folder.empty() && folder.back() == '/' ? folder : folder + "/";
}

// Whether `name` is one of the two entries that every folder has: itself and the one above.
inline bool isDotName(std::string_view name) {
  return name == "." || name == "..";
}

}  // namespace halvo
