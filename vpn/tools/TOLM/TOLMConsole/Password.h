// Where the password of a bundle comes from: a file or the terminal. Never an argument, never the
// environment; nothing of it is logged or printed.

#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace halvo {

class Secret;

// Bytes; longer ones are refused.
inline constexpr std::size_t kMaxPassword = 1024;

struct PasswordResult {
  // Never null or empty on success, since an empty one would make a bundle that anybody can read. It was kept
  // from other programs ahead of its first character.
  std::shared_ptr<Secret> password;
  // Why there is none, one line; empty on success.
  std::string error;
};

// The first line of a file without its line end, which is a line feed or a carriage return and one. A
// last line without a line feed counts. Pipes may be read too.
PasswordResult readPasswordFile(const std::string& path);

// A new password is asked for twice; that of a bundle that exists once, for the bundle tells whether it is
// right.
enum class PasswordUse { kNew, kExisting };

// Asks on the controlling terminal, without echo. The terminal's settings are put back on every
// way out, also when a signal ends or stops the program meanwhile.
PasswordResult askPassword(PasswordUse use = PasswordUse::kNew);

// Asks a yes-or-no question where standard input is a terminal. "y" and "yes" are a yes, anything else
// and the end of the input a no.
bool askYes(const std::string& question);

}  // namespace halvo
