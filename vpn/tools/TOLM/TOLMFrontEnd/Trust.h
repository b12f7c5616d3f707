// Trust: whether the instruction documents are such as only trusted users can have written.
//
// Documents name commands, and a run carries them out as whoever started it. So whoever can write to a
// document, to its folder or to a folder above can run commands as the user of the run: for root that may
// be root alone, for anybody else root and oneself.

#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <istream>
#include <string>

namespace halvo {

// Who makes the run. Of the process itself where it is built without arguments.
struct TrustingUser {
  TrustingUser();
  explicit TrustingUser(uid_t user) : id(user) {}
  uid_t id;
  // In a user namespace that doesn't know every user of the machine, one number stands for the owners that it
  // doesn't know. Where that is no user's of the namespace itself, such an owner is borne, of folders above:
  // the machine's root can't be told from others there.
  bool hasStrangers = false;
  uid_t stranger = 65534;
};

// Whether `user` has no place of his own in a map of users (as in /proc/self/uid_map), and so stands for
// those whom the map doesn't know. False for a map that can't be read.
bool standsForStrangers(std::istream& map, uid_t user);

// What is wrong with one file or folder by its status; empty if others can't write to it. A folder above
// (`isAbove`) may be open to all where it keeps each user's entries from others, as /tmp does.
std::string trustProblem(const std::string& path, const struct stat& status, const TrustingUser& user,
                         bool isAbove);

// The first thing that is wrong with `folder` (an absolute path), the documents in it, and every folder and
// link that the way to them leads through, with the path and the mend; empty if nothing is. Where something
// is missing, or a link leads nowhere, those count who could put it there.
std::string documentTrustProblem(const std::string& folder, const TrustingUser& user = TrustingUser());

// The same for one file, as `status` has it, that was opened at `path` (an absolute one), and for all that
// the way there leads through. Behind the opening: where nothing is wrong, nobody else can have led it
// elsewhere.
std::string fileTrustProblem(const std::string& path, const struct stat& status,
                             const TrustingUser& user = TrustingUser());

}  // namespace halvo
