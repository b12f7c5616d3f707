// A private root for tests that need the system's fixed places.
//
// The system reads below /opt, works below /tmp and writes to the home folder. A test program that
// links tolm_private_root_main enters a mount namespace of its own before any thread starts (with a
// user namespace where it isn't root) and gets empty tmpfs folders over /opt, /tmp, /run and the
// home folder. The source and build folders stay visible at their place. HOME is kept, USER is set
// to "tester" where it is unset.

#pragma once

#include <string>

namespace halvo::test {

// Enters the private root. Returns an empty text, or what the host refused with a hint on how to
// allow it. Call once, before any thread starts.
std::string enterPrivateRoot();

}  // namespace halvo::test
