#include "vpn/Common/IPC/UnixImpersonate.h"

#include <grp.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

// Hosts disagree on the type that initgroups(3) takes a group in.
template <typename Group>
int takeGroupsOf(int (*call)(const char*, Group), const passwd& user) {
  return call(user.pw_name, static_cast<Group>(user.pw_gid));
}

}  // namespace

CUnixImpersonate::CUnixImpersonate(const std::string& userName) : m_strUserName(userName) {}

CUnixImpersonate::~CUnixImpersonate() {
  if (!m_bImpersonating) {
    return;
  }
  const ResultCode rc = Stop();
  // Nobody is left to be told: the process goes on as whoever it is by now.
  if (rc != 0) {
    LOG_RETURN_CODE(kLogError, "CUnixImpersonate::Stop", rc);
  }
}

ResultCode CUnixImpersonate::impersonate(const passwd* entry, bool permanent) {
  if (entry == nullptr) {
    // The look-up is the caller's, and so is what it left in errno.
    LOG_RETURN_CODE(kLogError, "getpwnam", errno);
    return GLOBAL_ERROR_NULL_POINTER;
  }
  // The user comes last: whoever isn't root any more may set neither groups nor group.
  const char* failed = nullptr;
  if (takeGroupsOf(&initgroups, *entry) != 0) {
    failed = "initgroups";
  } else if (permanent) {
    if (setgid(entry->pw_gid) != 0) {
      failed = "setgid";
    } else if (setuid(entry->pw_uid) != 0) {
      failed = "setuid";
    }
  } else if (setegid(entry->pw_gid) != 0) {
    failed = "setregid";  // the name that this step has in the logs, here and in Stop()
  } else if (seteuid(entry->pw_uid) != 0) {
    failed = "seteuid";
  }
  if (failed != nullptr) {
    const int error = errno;
    LOG_RETURN_CODE_DESCRIBED(kLogError, failed, error, std::strerror(error));
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

ResultCode CUnixImpersonate::Start() {
  errno = 0;  // an unknown name needn't set it
  const passwd* entry = getpwnam(m_strUserName.c_str());
  if (entry == nullptr) {
    const int error = errno;
    LOG_RETURN_CODE_TEXT(kLogError, "getpwnam", error, "error: %s; username: %s", std::strerror(error),
                         m_strUserName.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  const ResultCode rc = impersonate(entry, false);
  if (rc != 0) {
    LOG_RETURN_CODE(kLogError, "CUnixImpersonate::impersonate", rc);
    return rc;
  }
  m_bImpersonating = true;
  return 0;
}

ResultCode CUnixImpersonate::PermanentlyBecomeUser() {
  errno = 0;
  const passwd* entry = getpwnam(m_strUserName.c_str());
  if (entry == nullptr) {
    const int error = errno;
    LOG_RETURN_CODE_TEXT(kLogError, "getpwnam", error, "error: %s; username: %s", std::strerror(error),
                         m_strUserName.c_str());
    return GLOBAL_ERROR_UNEXPECTED;
  }
  const ResultCode rc = impersonate(entry, true);
  if (rc != 0) {
    LOG_RETURN_CODE(kLogError, "CUnixImpersonate::impersonate", rc);
    return rc;
  }
  m_bImpersonating = false;  // there is no way back
  return 0;
}

ResultCode CUnixImpersonate::Stop() {
  const char* failed = nullptr;
  errno = 0;  // a user without a record needn't set it
  // The other way round than Start(), the groups last: only root may set them.
  const passwd* root = getpwuid(0);
  if (root == nullptr) {
    failed = "getpwuid";
  } else if (setegid(root->pw_gid) != 0) {
    failed = "setregid";
  } else if (seteuid(root->pw_uid) != 0) {
    failed = "seteuid";
  } else if (takeGroupsOf(&initgroups, *root) != 0) {
    failed = "initgroups";
  }
  if (failed != nullptr) {
    const int error = errno;
    LOG_RETURN_CODE_DESCRIBED(kLogError, failed, error, std::strerror(error));
    return GLOBAL_ERROR_UNEXPECTED;
  }
  m_bImpersonating = false;
  return 0;
}

ResultCode CUnixImpersonate::GetUsernameOwningProcess(std::int32_t processId, std::string& name) {
  uid_t user = static_cast<uid_t>(-1);  // no user has this id
  BSDProcess* list = nullptr;
  std::size_t count = 0;
  // A list that can't be had is an empty one, and its process one of no user.
  static_cast<void>(GetBSDProcessList(&list, &count));
  for (std::size_t i = 0; i < count; ++i) {
    if (list[i].pid == processId) {
      user = list[i].realUserId;
      break;
    }
  }
  std::free(list);
  errno = 0;
  const passwd* entry = getpwuid(user);
  if (entry == nullptr) {
    LOG_RETURN_CODE(kLogError, "getpwuid", errno);
    return GLOBAL_ERROR_UNEXPECTED;
  }
  if (entry->pw_name == nullptr) {
    return GLOBAL_ERROR_NULL_POINTER;
  }
  name = entry->pw_name;
  return 0;
}

bool CUnixImpersonate::isAdminUser(const std::string& userName) {
  for (const char* groupName : {"admin", "wheel"}) {
    const group* entry = getgrnam(groupName);
    // Most hosts have one of the two at most.
    if (entry == nullptr) {
      continue;
    }
    for (char* const* member = entry->gr_mem; *member != nullptr; ++member) {
      if (userName == *member) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace halvo
