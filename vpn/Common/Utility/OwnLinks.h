// openFolderByOwnLinks: opens a folder whose files are to be deleted.
//
// A path can lead through folders that somebody else can write to, and a link that stands there leads
// wherever its maker likes. To read what lies behind it harms nobody; to delete it does. So a link is
// followed only where its owner is root or the effective user: nobody else can make one of those.
//
// The path is walked by descriptors, one folder at a time: what is looked at is what is used. Any thread may
// call. Logs nothing.

#pragma once

#include <sys/types.h>

#include <string>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

// The folder at `path`, open for reading. Holds nothing on a failure, with errno set: EPERM for a link that
// isn't followed, ELOOP for more than 40 links, and what open() gives.
[[nodiscard]] DescriptorHolder openFolderByOwnLinks(const std::string& path);

// --- What each host does in its own way (OwnLinks_host.cpp) ---

// Opens the folder `name` in `folder` to pass through: one may go through folders that one may not list.
// O_NOFOLLOW may be among the flags.
[[nodiscard]] DescriptorHolder passThrough(int folder, const char* name, int flags);

// The owner of the link `name` in `folder`, and where it leads, both of the same link whatever is swapped
// there meanwhile. False, with errno set, where that can't be had or the name is no link (ENOTDIR).
[[nodiscard]] bool readLink(int folder, const char* name, uid_t& owner, std::string& target);

}  // namespace halvo
