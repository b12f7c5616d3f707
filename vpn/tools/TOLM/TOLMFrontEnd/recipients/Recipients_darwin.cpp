// The suite's macOS installation brings no OpenPGP program with it: there a bundle has a password.

#include <cerrno>

#include "vpn/tools/TOLM/TOLMFrontEnd/recipients/Recipients.h"

namespace halvo {

struct Recipients::Keyring {};

Recipients::Recipients() = default;
Recipients::~Recipients() = default;

std::string Recipients::open(const std::vector<std::string>& /*keys*/) {
  return "bundles can't be encrypted to a key on this system; use a password";
}

std::string Recipients::encrypt(int /*plain*/, int /*cipher*/) const {
  return "bundles can't be encrypted to a key on this system; use a password";
}

int Recipients::makePlainFile() const {
  errno = ENOTSUP;
  return -1;
}

}  // namespace halvo
