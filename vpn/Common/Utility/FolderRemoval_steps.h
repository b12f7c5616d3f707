// The steps of removeFolder() that are the same on every host. Each host brings its Listing, which reads the
// names in an open folder: built from the folder's descriptor, which it takes over and closes, with
//
//   bool isOpen() const;         whether it can be read at all
//   void rewind();               to the first name
//   const char* next();          the next name, null behind the last; valid until the next call
//   bool hasFailed() const;      whether the reading broke off
//   int descriptor() const;      the folder
//   static constexpr int kDeepest;   how many of them may be open at once where folders can't be moved
//
// Included by FolderRemoval_linux.cpp and FolderRemoval_darwin.cpp alone.

#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "vpn/Common/Utility/PathText.h"

namespace halvo {

// Folders may lie deeper than there are descriptors: one that lies deep is moved up into the topmost folder,
// and gone into from there. So a few descriptors and blocks are enough for any depth, and each folder below
// the topmost is moved once for so many levels.
template <class Listing>
class FolderRemover {
 public:
  static bool remove(int parent, const char* name) { return FolderRemover().removeAt(parent, name, 0); }

 private:
  static constexpr int kMoveFrom = 32;
  static constexpr int kMostNames = 10'000;  // that others have taken in the topmost folder

  bool removeAt(int parent, const char* name, int depth) {
    if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) {
      return true;
    }
    // EISDIR by Linux, EPERM by the standard.
    if (errno != EISDIR && errno != EPERM) {
      return false;
    }
    if (unlinkat(parent, name, AT_REMOVEDIR) == 0) {
      return true;
    }
    // One that can't be moved, as on a disk without room for its new name, is gone into all the same.
    if (depth >= kMoveFrom && moveUp(parent, name)) {
      return true;
    }
    const int folder = depth <= Listing::kDeepest ? openFolder(parent, name) : -1;
    if (folder < 0) {
      return depth > 1 && (errno == EMFILE || errno == ENFILE) && moveUp(parent, name);
    }
    if (depth == 0) {
      m_nTop = folder;
    }
    // A command may have made a folder that nobody can change; it is the user's own here.
    static_cast<void>(fchmod(folder, S_IRWXU));
    {
      Listing listing(folder);
      if (listing.isOpen()) {
        removeInside(listing, depth);
      }
    }
    return unlinkat(parent, name, AT_REMOVEDIR) == 0;
  }

  void removeInside(Listing& listing, int depth) {
    // A folder that changes under the reading may hide entries, and those that were moved up come to the
    // topmost one: it is read again for as long as that helps.
    bool any = true;
    while (any && !listing.hasFailed()) {
      any = false;
      listing.rewind();
      while (const char* const name = listing.next()) {
        any = (!isDotName(name) && removeAt(listing.descriptor(), name, depth + 1)) || any;
      }
    }
  }

  static int openFolder(int parent, const char* name) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    const int folder = openat(parent, name, kFlags);
    // One that its user may not even read. Never by a link's name: what that leads to is none of ours.
    return folder < 0 && errno == EACCES && makeOpen(parent, name) ? openat(parent, name, kFlags) : folder;
  }

  // Gives a folder's user all rights in it.
  static bool makeOpen(int parent, const char* name) {
    return fchmodat(parent, name, S_IRWXU, AT_SYMLINK_NOFOLLOW) == 0;
  }

  // Returns whether the folder lies in the topmost one now.
  bool moveUp(int parent, const char* name) {
    bool opened = false;
    for (int taken = 0; taken < kMostNames; ++taken) {
      char other[16];
      nextName(other);
      if (renameat(parent, name, m_nTop, other) == 0) {
        return true;
      }
      if (errno == EACCES && !opened) {
        // Its ".." has to be written.
        opened = makeOpen(parent, name);
        if (!opened) {
          return false;
        }
      } else if (errno != EEXIST && errno != ENOTEMPTY && errno != ENOTDIR) {
        return false;
      }
    }
    return false;
  }

  // "deep" and a number, without the C library's formatting.
  void nextName(char (&name)[16]) {
    std::size_t at = 0;
    for (const char letter : {'d', 'e', 'e', 'p'}) {
      name[at++] = letter;
    }
    for (unsigned rest = m_nMoved++; at == 4 || rest > 0; rest /= 10) {
      name[at++] = static_cast<char>('0' + rest % 10);
    }
    name[at] = '\0';
  }

  int m_nTop = -1;  // the topmost folder, while its listing lives
  unsigned m_nMoved = 0;
};

}  // namespace halvo
