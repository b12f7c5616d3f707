// The steps of removeFolder() that are the same on every host. Each host brings its Listing, which reads the
// names in an open folder: built from the folder's descriptor, which it takes over and closes, with
//
//   bool isOpen() const;         whether it can be read at all
//   void rewind();               to the first name
//   const char* next();          the next name, null behind the last; valid until the next call
//   bool hasFailed() const;      whether the reading broke off
//   int descriptor() const;      the folder
//   static constexpr int kDeepest;   how many of them may be open at once
//
// Included by FolderRemoval_linux.cpp and FolderRemoval_darwin.cpp alone.

#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "vpn/Common/Utility/PathText.h"

namespace halvo {

template <class Listing>
class FolderRemover {
 public:
  static bool remove(int parent, const char* name) { return removeAt(parent, name, 0); }

 private:
  static bool removeAt(int parent, const char* name, int depth) {
    if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) {
      return true;
    }
    // EISDIR by Linux, EPERM by the standard.
    if ((errno != EISDIR && errno != EPERM) || depth > Listing::kDeepest) {
      return false;
    }
    if (unlinkat(parent, name, AT_REMOVEDIR) == 0) {
      return true;
    }
    const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (folder < 0) {
      return false;
    }
    // A command may have made a folder that nobody can change; it is the user's own here.
    static_cast<void>(fchmod(folder, S_IRWXU));
    Listing listing(folder);
    if (listing.isOpen()) {
      removeInside(listing, depth);
    }
    return unlinkat(parent, name, AT_REMOVEDIR) == 0;
  }

  static void removeInside(Listing& listing, int depth) {
    // A folder that changes under the reading may hide entries: it is read again for as long as that helps.
    bool any = true;
    while (any && !listing.hasFailed()) {
      any = false;
      listing.rewind();
      while (const char* const name = listing.next()) {
        any = (!isDotName(name) && removeAt(listing.descriptor(), name, depth + 1)) || any;
      }
    }
  }
};

}  // namespace halvo
