// Processes that tell of themselves in files.

#pragma once

#include <sys/types.h>

#include <functional>
#include <set>
#include <string>

namespace halvo::test {

// Waits until `condition` holds, for a minute and a half at most, and tells whether it does. What a test
// waits for is a state and never a time: a busy machine takes as long as it takes.
bool waitUntil(const std::function<bool()>& condition);

// Waits in the same way until a file is there, and tells whether it is.
bool waitForFile(const std::string& path);

// For a limit of time that ends what it is about, which has to have come up by then: calls `attempt` with one
// second first and with more each time until it says that it had. Tells whether it did.
bool withALimitThatIsLongEnough(const std::function<bool(int seconds)>& attempt);

// The process id at the beginning of `file`; 0 where there is none.
pid_t processIn(const std::string& file);

// The processes that wait for a file that another one has locked.
std::set<pid_t> processesThatWaitForALock();

// Whether it runs; one that has ended and that nobody has waited for doesn't.
bool isAlive(pid_t process);

}  // namespace halvo::test
