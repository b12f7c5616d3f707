// The command line of the console program.
//
//   tmtolm collect [--request FILE] [--bundle FILE] [--password-file FILE | --ask-password] [--quiet]
//   tmtolm clear   [--yes] [--quiet]
//   tmtolm check   PATH...
//   tmtolm plan    [--request FILE] [--config FOLDER] [--json]
//   tmtolm --help | --version
//
// A password never stands in an argument: other users of the machine can read those.

#pragma once

#include <string>
#include <vector>

namespace halvo {

// Exit statuses of the program.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;  // a run ended with a code, or check found errors
inline constexpr int kExitUsage = 2;    // nothing was run

enum class ConsoleCommand { kNone, kCollect, kClear, kCheck, kPlan };

struct Arguments {
  // kNone: there is nothing to run, `text` is all there is to say.
  ConsoleCommand command = ConsoleCommand::kNone;
  std::string requestPath;         // collect, plan; empty for the default run
  std::string bundlePath;          // collect; empty for the default place
  std::string passwordFile;        // collect; empty for none
  bool askPassword = false;        // collect
  bool quiet = false;              // collect, clear
  bool yes = false;                // clear
  std::vector<std::string> paths;  // check
  std::string configFolder;        // plan; empty for the system's own
  bool json = false;               // plan

  // Of kNone: help or version for standard output (status 0), or a usage error with a hint for
  // standard error (status 2). Ends with a line feed.
  std::string text;
  int exitStatus = kExitSuccess;
};

// `arguments` without the program's name.
Arguments parseArguments(const std::vector<std::string>& arguments);

}  // namespace halvo
