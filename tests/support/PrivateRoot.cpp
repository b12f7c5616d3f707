#include "tests/support/PrivateRoot.h"

#include <fcntl.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

namespace halvo::test {

namespace {

std::string refused(const std::string& what) {
  return "The tests need a private root, and this host refused " + what + ": " + std::strerror(errno) +
         ".\nRun them as root with CAP_SYS_ADMIN, or allow unprivileged user namespaces "
         "(sysctl kernel.unprivileged_userns_clone=1).";
}

bool writeText(const char* path, const std::string& text) {
  std::ofstream file(path);
  file << text;
  file.close();
  return static_cast<bool>(file);
}

// A folder that an empty tmpfs would hide, held by a descriptor until it is bound to its place again.
struct KeptFolder {
  std::string path;
  int descriptor;
};

}  // namespace

std::string enterPrivateRoot() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(user == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS) != 0) {
    return refused("a mount namespace");
  }
  if (user != 0) {
    if (!writeText("/proc/self/setgroups", "deny") ||
        !writeText("/proc/self/uid_map", std::to_string(user) + " " + std::to_string(user) + " 1") ||
        !writeText("/proc/self/gid_map", std::to_string(group) + " " + std::to_string(group) + " 1")) {
      return refused("a user namespace");
    }
  }
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    return refused("to make its mounts private");
  }

  const char* given = std::getenv("HOME");
  std::string home = given != nullptr ? given : "";
  if (home.empty() || home == "/") {
    const passwd* entry = getpwuid(user);
    home = entry != nullptr ? entry->pw_dir : "/root";
    setenv("HOME", home.c_str(), 1);
  }
  setenv("USER", "tester", 0);

  std::vector<KeptFolder> kept;
  for (const char* path : {TOLM_TEST_SOURCE_DIR, TOLM_TEST_BUILD_DIR}) {
    const int descriptor = open(path, O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
      return refused(std::string("to open ") + path);
    }
    kept.push_back({path, descriptor});
  }
  for (const std::string& place : {std::string("/opt"), std::string("/tmp"), std::string("/run"), home}) {
    if (mount("tmpfs", place.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777") != 0) {
      return refused("a tmpfs over " + place);
    }
  }
  chmod(home.c_str(), 0755);
  chmod("/opt", 0755);
  chmod("/run", 0755);
  for (const KeptFolder& folder : kept) {
    if (!std::filesystem::exists(folder.path)) {
      std::filesystem::create_directories(folder.path);
      const std::string source = "/proc/self/fd/" + std::to_string(folder.descriptor);
      if (mount(source.c_str(), folder.path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        return refused("to keep " + folder.path);
      }
    }
    close(folder.descriptor);
  }
  return "";
}

}  // namespace halvo::test
