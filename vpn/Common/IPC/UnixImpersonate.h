// CUnixImpersonate: takes another user's identity, for a while by the effective ids, or for good.
//
// For a process that runs as root. Identity belongs to the process and not to a thread, and nothing is
// locked: a change hits all threads at once, so a permanent one is made in a freshly forked child. A
// change that fails half way is not undone; the groups may be changed already.

#pragma once

#include <pwd.h>

#include <cstdint>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class CUnixImpersonate {
 public:
  explicit CUnixImpersonate(const std::string& userName);
  // Goes back to root if a temporary change is in force; a failure of that is logged.
  ~CUnixImpersonate();

  CUnixImpersonate(const CUnixImpersonate&) = delete;
  CUnixImpersonate& operator=(const CUnixImpersonate&) = delete;

  // Takes the user's effective ids until Stop(). GLOBAL_ERROR_UNEXPECTED, logged with the name of the
  // call that failed.
  [[nodiscard]] ResultCode Start();
  // Goes back to root's effective ids. Failures as for Start().
  [[nodiscard]] ResultCode Stop();
  // Becomes the user for good. Failures as for Start().
  [[nodiscard]] ResultCode PermanentlyBecomeUser();

  // Stores the name of the user that a process belongs to, by its real user id.
  // GLOBAL_ERROR_UNEXPECTED: no such process, or its user isn't in the password database (logged);
  // GLOBAL_ERROR_NULL_POINTER: the database has no name for it.
  [[nodiscard]] static ResultCode GetUsernameOwningProcess(std::int32_t processId, std::string& name);

  // Whether the user is a listed member of the group "admin" or "wheel". A primary group doesn't count.
  [[nodiscard]] static bool isAdminUser(const std::string& userName);

 protected:
  // Groups, group id and user id, in this order, stopping at the first call that fails.
  // GLOBAL_ERROR_NULL_POINTER for a null `entry`, else GLOBAL_ERROR_UNEXPECTED; both logged.
  [[nodiscard]] static ResultCode impersonate(const passwd* entry, bool permanent);

 private:
  std::string m_strUserName;
  bool m_bImpersonating = false;
};

}  // namespace halvo
