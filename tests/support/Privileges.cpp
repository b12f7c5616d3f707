#include "tests/support/Privileges.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <stdexcept>

namespace halvo::test {

namespace {

constexpr std::uint32_t kFileRights = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH | 1U << CAP_FOWNER;

// Sets the low word of the effective set and returns what it was.
std::uint32_t changeEffective(std::uint32_t keep, std::uint32_t add) {
  __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2] = {};
  if (syscall(SYS_capget, &header, data) != 0) {
    throw std::runtime_error("capget failed");
  }
  const std::uint32_t old = data[0].effective;
  data[0].effective = (old & keep) | add;
  if (syscall(SYS_capset, &header, data) != 0) {
    throw std::runtime_error("capset failed");
  }
  return old;
}

}  // namespace

WithoutFileOverride::WithoutFileOverride() : m_nOldEffective(changeEffective(~kFileRights, 0)) {}

WithoutFileOverride::~WithoutFileOverride() {
  try {
    changeEffective(~0U, m_nOldEffective & kFileRights);
  } catch (const std::runtime_error&) {
    // The thread keeps less than it had; what needed it fails and tells.
  }
}

}  // namespace halvo::test
