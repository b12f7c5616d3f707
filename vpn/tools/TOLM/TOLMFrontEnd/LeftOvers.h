// Left-overs: what a run of this user that was killed has left behind, removed before the next one.
//
// Called while the run lock is held. What a run is working with is locked, so a folder or file that can be
// locked belongs to nobody any more. Others' files are never touched, links never followed.

#pragma once

#include <string>

namespace halvo {

// Removes the unlocked folders of this user in `parent` ("/tmp") that runs make: the work folders with a
// suffix in their name, and the folders of keys and of trials. The plain work folder is the engine's to
// remove: whether it was there decides the name that a run takes. Logs each removal as information, and what
// can't be removed as a warning.
void removeLeftOverFolders(const std::string& parent);

// The same for the one folder `path`, whatever its name. True where it is gone now.
bool removeLeftOverFolder(const std::string& path);

// Removes `path` if it is an unlocked half-written bundle of this user, by its name and its kind; nothing
// otherwise.
void removeUnfinishedBundle(const std::string& path);

// The same for all half-written bundles in a folder.
void removeUnfinishedBundles(const std::string& folder);

// The hidden name under which `name`, a bundle's, is written. `mark` tells two runs apart.
std::string unfinishedName(const std::string& name, unsigned mark);
bool isUnfinishedName(const std::string& name);

}  // namespace halvo
