// CommandObserver: lets a front-end know which command a run is waiting for.
//
// A front-end that holds slow commands to a time, or ends what runs when its user asks for that, has to know
// what it would end and since when it runs; from outside, the processes of an earlier command that were left
// in the background can't be told from it. One observer in the process, not owned, set before a run begins.

#pragma once

#include <string>

namespace halvo {

class ICommandObserver {
 public:
  virtual ~ICommandObserver() = default;
  // Both on the engine's thread, in pairs: ahead of the start of a command, and once it is done with.
  virtual void commandStarts(const std::string& commandLine) = 0;
  virtual void commandEnded() = 0;
  // Whether the command in progress is to be waited for no longer: it can't be ended. Asked on the engine's
  // thread a few times a second.
  [[nodiscard]] virtual bool isCommandGivenUp() const { return false; }
};

// Null, as at first, for none.
void setCommandObserver(ICommandObserver* observer);

// What the observer says of the command in progress; false without one.
[[nodiscard]] bool isCommandGivenUp();

// Tells the observer of one command for a scope.
class ObservedCommand {
 public:
  explicit ObservedCommand(const std::string& commandLine);
  ~ObservedCommand();
  ObservedCommand(const ObservedCommand&) = delete;
  ObservedCommand& operator=(const ObservedCommand&) = delete;

 private:
  ICommandObserver* m_pObserver;
};

}  // namespace halvo
