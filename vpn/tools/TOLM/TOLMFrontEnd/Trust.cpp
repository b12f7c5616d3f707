#include "vpn/tools/TOLM/TOLMFrontEnd/Trust.h"

#include <dirent.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>
#include <vector>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {

namespace {

std::string userName(uid_t user) {
  passwd entry = {};
  passwd* found = nullptr;
  std::vector<char> buffer(16384);
  if (getpwuid_r(user, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr) {
    return found->pw_name;
  }
  return "user " + std::to_string(user);
}

// Where something stands on the way to what is looked at.
enum class Place {
  kEnd,      // the thing itself
  kAbove,    // a folder on the way, or a link there
  kMissing,  // the folder in which the way ends: whoever can make an entry there can go on with it
};

// As many links in a row as the system itself follows.
constexpr int kMostLinks = 40;

bool isTrustedOwner(uid_t owner, const TrustingUser& user, Place place) {
  return owner == 0 || owner == user.id ||
         (place != Place::kEnd && user.hasStrangers && owner == user.stranger);
}

std::string problemOf(const std::string& path, const struct stat& status, const TrustingUser& user,
                      Place place) {
  const bool owned = isTrustedOwner(status.st_uid, user, place);
  // An access list shows as the group's rights, so these are looked at whatever the group is. In a sticky
  // folder others can add names and not take ours away.
  const bool open = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !S_ISLNK(status.st_mode) &&
                    !(place == Place::kAbove && (status.st_mode & S_ISVTX) != 0);
  if (owned && !open) {
    return "";
  }
  char mode[8];
  std::snprintf(mode, sizeof(mode), "%04o", static_cast<unsigned>(status.st_mode) & 07777U);
  const std::string whom = user.id == 0 ? "root" : "root and you";
  const std::string who = !owned                            ? userName(status.st_uid) + ", who owns it,"
                          : (status.st_mode & S_IWOTH) != 0 ? "every user"
                                                            : "its group";
  std::string mend =
      owned ? "" : std::string("chown ") + (S_ISLNK(status.st_mode) ? "-h " : "") + "root \"" + path + "\"";
  if (open) {
    mend += std::string(mend.empty() ? "" : " && ") + "chmod go-w \"" + path + "\"";
  }
  return who + " can write to \"" + path + "\" (mode " + mode + "), and so decide what is run as " +
         userName(user.id) + "; nobody but " + whom + " may: as root, " + mend;
}

// The names in a path, in order, without those that lead nowhere else.
std::deque<std::string> namesIn(const std::string& path) {
  std::deque<std::string> names;
  std::size_t start = 0;
  while (start <= path.size()) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    if (std::string name = path.substr(start, end - start); !name.empty() && name != ".") {
      names.push_back(std::move(name));
    }
    start = end + 1;
  }
  return names;
}

// Goes a path as the system does, through every link on it. Whoever can change a folder that is passed, also
// one that only a link in the middle leads through, decides where the path leads.
class Way {
 public:
  Way(const std::string& path, const TrustingUser& user) : m_User(user), m_Rest(namesIn(path)) {}

  // The first thing on the way that is wrong; empty if nothing is.
  std::string walk() {
    std::string problem;
    while (problem.empty() && !m_Rest.empty()) {
      const std::string name = std::move(m_Rest.front());
      m_Rest.pop_front();
      if (name == "..") {
        m_Here.erase(m_Here.empty() ? 0 : m_Here.rfind('/'));
        continue;
      }
      // From the root on: whoever can write to a folder decides what lies below, so the topmost is the one to
      // mend.
      problem = problemHere(Place::kAbove);
      if (problem.empty() && !enter(name, problem)) {
        break;
      }
    }
    return problem;
  }

  // Behind a walk without a problem: whether the path leads to something, and to what.
  [[nodiscard]] bool hasEnd(std::string& path, struct stat& status) const {
    path = here();
    return !m_bMissing && lstat(path.c_str(), &status) == 0;
  }

 private:
  [[nodiscard]] std::string here() const { return m_Here.empty() ? "/" : m_Here; }

  [[nodiscard]] std::string problemHere(Place place) const {
    struct stat status;
    return lstat(here().c_str(), &status) == 0 ? problemOf(here(), status, m_User, place) : "";
  }

  // Goes on to an entry of the folder. False where the way ends.
  bool enter(const std::string& name, std::string& problem) {
    const std::string path = m_Here + "/" + name;
    struct stat status;
    if (lstat(path.c_str(), &status) != 0) {
      m_bMissing = true;
      // In a folder that can't be searched nothing is found later either, unless by its owner's will.
      problem = errno == ENOENT ? problemHere(Place::kMissing) : "";
      return false;
    }
    if (!S_ISLNK(status.st_mode)) {
      m_Here = path;
      return true;
    }
    // In a folder that keeps its users apart the link's owner is the one who can exchange it.
    problem = problemOf(path, status, m_User, Place::kAbove);
    std::error_code error;
    const std::string target = std::filesystem::read_symlink(path, error).string();
    if (error || target.empty() || ++m_nLinks > kMostLinks) {
      m_bMissing = true;
      return false;
    }
    if (target.front() == '/') {
      m_Here.clear();
    }
    std::deque<std::string> names = namesIn(target);
    m_Rest.insert(m_Rest.begin(), std::make_move_iterator(names.begin()),
                  std::make_move_iterator(names.end()));
    return true;
  }

  const TrustingUser& m_User;
  std::deque<std::string> m_Rest;
  std::string m_Here;  // without links; empty for "/"
  int m_nLinks = 0;
  bool m_bMissing = false;
};

// A path, all that it leads through, and what it leads to. `files` has only regular files count there: what
// is no file isn't read by a run.
std::string problemOfPath(const std::string& path, const TrustingUser& user, bool files) {
  Way way(path, user);
  if (std::string problem = way.walk(); !problem.empty()) {
    return problem;
  }
  std::string end;
  struct stat status;
  if (!way.hasEnd(end, status) || (files && !S_ISREG(status.st_mode))) {
    return "";
  }
  return problemOf(end, status, user, Place::kEnd);
}

// One in the folder that was looked at: only a link leads through others.
std::string problemOfEntry(const std::string& path, const TrustingUser& user) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) {
    return "";
  }
  if (S_ISLNK(status.st_mode)) {
    return problemOfPath(path, user, true);
  }
  return S_ISREG(status.st_mode) ? problemOf(path, status, user, Place::kEnd) : "";
}

std::string withoutSlashAtEnd(const std::string& path) {
  const std::size_t last = path.find_last_not_of('/');
  return last == std::string::npos ? "/" : path.substr(0, last + 1);
}

}  // namespace

TrustingUser::TrustingUser() : id(geteuid()) {
  std::ifstream overflow("/proc/sys/kernel/overflowuid");
  if (uid_t number = 0; overflow >> number) {
    stranger = number;
  }
  std::ifstream map("/proc/self/uid_map");
  hasStrangers = standsForStrangers(map, stranger);
}

bool standsForStrangers(std::istream& map, uid_t user) {
  bool any = false;
  unsigned long inside = 0;
  unsigned long outside = 0;
  unsigned long count = 0;
  while (map >> inside >> outside >> count) {
    any = true;
    if (user >= inside && user - inside < count) {
      return false;
    }
  }
  return any;
}

std::string trustProblem(const std::string& path, const struct stat& status, const TrustingUser& user,
                         bool isAbove) {
  return problemOf(path, status, user, isAbove ? Place::kAbove : Place::kEnd);
}

std::string documentTrustProblem(const std::string& folder, const TrustingUser& user) {
  const std::string path = withoutSlashAtEnd(folder);
  if (std::string problem = problemOfPath(path, user, false); !problem.empty()) {
    return problem;
  }
  const FolderHolder stream(opendir(path.c_str()));
  if (stream == nullptr) {
    return "";
  }
  while (const dirent* const entry = readdir(stream.get())) {
    if (!TOLMMgr::isDocumentName(entry->d_name)) {
      continue;
    }
    if (std::string problem = problemOfEntry(path + "/" + entry->d_name, user); !problem.empty()) {
      return problem;
    }
  }
  return "";
}

std::string fileTrustProblem(const std::string& path, const struct stat& status, const TrustingUser& user) {
  Way way(path, user);
  if (std::string problem = way.walk(); !problem.empty()) {
    return problem;
  }
  std::string end;
  struct stat found;
  // Somebody may have led the opening elsewhere, and have mended the way since.
  if (!way.hasEnd(end, found) || found.st_dev != status.st_dev || found.st_ino != status.st_ino) {
    return "it has become another file meanwhile";
  }
  return problemOf(end, status, user, Place::kEnd);
}

}  // namespace halvo
