// Gives a file its name only where nothing has it: a name that was looked at may be taken a moment later.

#pragma once

#include <string>

namespace halvo {

// Renames `from` to `to`, both in the open folder. Returns 0, EEXIST where `to` is taken by anything, or
// what else the system says. Where a file system knows no such renaming, a second name is made and the first
// one taken away, which no other name can come between either.
[[nodiscard]] int renameExclusively(int folder, const std::string& from, const std::string& to);

// The host's own call: 0 or -1 with errno, which is EINVAL, ENOSYS or ENOTSUP where it can't be had.
int renameExclusivelyByHost(int folder, const char* from, const char* to);

}  // namespace halvo
