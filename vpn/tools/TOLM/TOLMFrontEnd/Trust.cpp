#include "vpn/tools/TOLM/TOLMFrontEnd/Trust.h"

#include <dirent.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {

namespace {

std::string userName(uid_t user) {
  // By the call with a buffer of the caller's: another thread may look up users as well.
  passwd entry = {};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
    return found->pw_name;
  }
  return "user " + std::to_string(user);
}

bool isTrustedOwner(uid_t owner, const TrustingUser& user, bool isAbove) {
  return owner == 0 || owner == user.id || (isAbove && user.hasStrangers && owner == user.stranger);
}

// The path with all links resolved; empty where it leads nowhere.
std::string resolved(const std::string& path) {
  const MemoryHolder<char> real(realpath(path.c_str(), nullptr));
  return real != nullptr ? real.get() : "";
}

// "/", "/opt", "/opt/halvo" ... for "/opt/halvo/x": every folder above `path`.
std::vector<std::string> foldersAbove(const std::string& path) {
  std::vector<std::string> folders = {"/"};
  for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    if (at + 1 < path.size() && path[at - 1] != '/') {
      folders.push_back(path.substr(0, at));
    }
  }
  return folders;
}

// Looks at what a path leads to. What isn't there can't be trusted or mistrusted.
std::string problemAt(const std::string& path, const TrustingUser& user, bool isAbove) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? trustProblem(path, status, user, isAbove) : "";
}

std::string problemAbove(const std::string& path, const TrustingUser& user) {
  // From the root on: whoever can write to a folder decides what lies below, so the topmost is the one to
  // mend.
  for (const std::string& folder : foldersAbove(path)) {
    if (std::string problem = problemAt(folder, user, true); !problem.empty()) {
      return problem;
    }
  }
  return "";
}

// A path and, where links are in it, what it leads to.
std::string problemOf(const std::string& path, const TrustingUser& user) {
  if (std::string problem = problemAbove(path, user); !problem.empty()) {
    return problem;
  }
  const std::string real = resolved(path);
  if (!real.empty() && real != path) {
    if (std::string problem = problemAbove(real, user); !problem.empty()) {
      return problem;
    }
  }
  return problemAt(path, user, false);
}

std::string withoutSlashAtEnd(const std::string& path) {
  const std::size_t last = path.find_last_not_of('/');
  return last == std::string::npos ? "/" : path.substr(0, last + 1);
}

}  // namespace

TrustingUser::TrustingUser() : id(geteuid()) {
  // "0 0 4294967295" where every user is known by his own number.
  std::ifstream map("/proc/self/uid_map");
  unsigned long inside = 0;
  unsigned long outside = 0;
  unsigned long count = 0;
  if (map >> inside >> outside >> count) {
    hasStrangers = count != 4294967295UL;
  }
}

std::string trustProblem(const std::string& path, const struct stat& status, const TrustingUser& user,
                         bool isAbove) {
  const bool owned = isTrustedOwner(status.st_uid, user, isAbove);
  // An access list shows as the group's rights, so these are looked at whatever the group is. In a sticky
  // folder others can add names and not take ours away.
  const bool open = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !S_ISLNK(status.st_mode) &&
                    !(isAbove && (status.st_mode & S_ISVTX) != 0);
  if (owned && !open) {
    return "";
  }
  char mode[8];
  std::snprintf(mode, sizeof(mode), "%04o", static_cast<unsigned>(status.st_mode) & 07777U);
  const std::string whom = user.id == 0 ? "root" : "root and you";
  const std::string who = !owned                            ? userName(status.st_uid) + ", who owns it,"
                          : (status.st_mode & S_IWOTH) != 0 ? "every user"
                                                            : "its group";
  std::string mend = owned ? "" : "chown root \"" + path + "\"";
  if (open) {
    mend += std::string(mend.empty() ? "" : " && ") + "chmod go-w \"" + path + "\"";
  }
  return who + " can write to \"" + path + "\" (mode " + mode + "), and so decide what is run as " +
         userName(user.id) + "; nobody but " + whom + " may: as root, " + mend;
}

std::string documentTrustProblem(const std::string& folder, const TrustingUser& user) {
  const std::string path = withoutSlashAtEnd(folder);
  if (std::string problem = problemOf(path, user); !problem.empty()) {
    return problem;
  }
  const FolderHolder stream(opendir(path.c_str()));
  if (stream == nullptr) {
    return "";
  }
  std::string problem;
  while (const dirent* const entry = readdir(stream.get())) {
    if (!problem.empty() || !TOLMMgr::isDocumentName(entry->d_name)) {
      continue;
    }
    const std::string document = path + "/" + entry->d_name;
    struct stat status;
    struct stat target;
    // What is no file isn't read by a run.
    if (lstat(document.c_str(), &status) != 0 || stat(document.c_str(), &target) != 0 ||
        !S_ISREG(target.st_mode)) {
      continue;
    }
    // The way to a document that lies elsewhere counts too.
    problem =
        S_ISLNK(status.st_mode) ? problemOf(document, user) : trustProblem(document, status, user, false);
  }
  return problem;
}

}  // namespace halvo
