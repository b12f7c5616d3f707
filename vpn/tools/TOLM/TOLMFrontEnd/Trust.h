// Trust: whether the instruction documents are such as only trusted users can have written.
//
// Documents name commands, and a run carries them out as whoever started it. So whoever can write to a
// document, to its folder or to a folder above can run commands as the user of the run: for root that may
// be root alone, for anybody else root and oneself.

#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <functional>
#include <string>

namespace halvo {

// Who makes the run. Of the process itself where it is built without arguments.
struct TrustingUser {
  TrustingUser();
  explicit TrustingUser(uid_t user) : id(user) {}
  uid_t id;
  // In a user namespace that doesn't know every user of the machine, the owner that stands for all
  // strangers, of folders above: the machine's root among them can't be told from others there.
  bool hasStrangers = false;
  uid_t stranger = 65534;
};

// What is wrong with one file or folder by its status; empty if others can't write to it. A folder above
// (`isAbove`) may be open to all where it keeps each user's entries from others, as /tmp does.
std::string trustProblem(const std::string& path, const struct stat& status, const TrustingUser& user,
                         bool isAbove);

// The first thing that is wrong with `folder` (an absolute path), the folders above it and the documents in
// it, with the path and the mend; empty if nothing is, and where there is no such folder.
std::string documentTrustProblem(const std::string& folder, const TrustingUser& user = TrustingUser());

}  // namespace halvo
