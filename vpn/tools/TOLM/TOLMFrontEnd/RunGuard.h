// RunGuard: while one lives, a run ends cleanly whatever ends it, and no command holds it up for ever.
//
// A thread of its own waits for signals and for commands that run too long. A signal that ends the program
// (SIGINT, SIGTERM, SIGHUP, SIGXFSZ, and SIGQUIT off a terminal) first has the thread of the run stand still
// wherever it is, then ends the run's commands with all that they have started, removes the work folder and
// the half-written bundle, puts the terminal back as it was if the run has it, prints one line that tells
// what couldn't be removed or ended, and ends the process.
// SIGQUIT from a terminal (Ctrl-\) ends the command in progress alone, and the run goes on.
//
// A command that can't be ended, since it works with more rights, is no longer waited for.
//
// While one lives, signals that the caller has blocked get through, and nothing that is ended leaves a core.
//
// One at a time in a process, built and destroyed on the thread that runs the engine. Signals that the
// caller has chosen to ignore stay ignored. Where no thread can be had the run goes on without a guard.

#pragma once

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "vpn/tools/TOLM/TOLMEngine/implementations/CommandObserver.h"

namespace halvo {

struct GuardSettings {
  std::string program = "tmtolm";
  // 0 for no limit.
  std::uint32_t commandTimeoutSeconds = 0;
  // Ends the process by the signal itself; otherwise with status 0.
  bool endBySignal = true;
  // Where the one line goes.
  int errorStream = 2;
  // Tells the work folder at the moment, empty for none. Called on the guard's thread.
  std::function<std::string()> workFolder;
  // Receives a line about a command that was ended. Called on the guard's thread; may be empty.
  std::function<void(const std::string& line)> tell;
};

class RunGuard : public ICommandObserver {
 public:
  explicit RunGuard(GuardSettings settings);
  ~RunGuard() override;
  RunGuard(const RunGuard&) = delete;
  RunGuard& operator=(const RunGuard&) = delete;

  // The file that is removed where a signal ends the run; empty for none. On the thread of the run.
  static void noteUnfinishedFile(const std::string& path);

  // On the thread of the run, ahead of what can't be taken back: where a signal has come that ends the run,
  // waits for that. A run so short that it would be over first must not give its name to a bundle that a
  // limit on files has cut short.
  static void yieldToSignal();

  // For a program that is about to end at once: has the run's thread stand still, ends the run's commands
  // and removes the half-written bundle. The work folder stays, for the next run to remove. Behind a run,
  // ends what its commands have left behind. Nothing where there was no run, or where its own thread asks.
  static void endRunAtOnce();

  void commandStarts(const std::string& commandLine) override;
  void commandEnded() override;
  [[nodiscard]] bool isCommandGivenUp() const override;

 private:
  using Clock = std::chrono::steady_clock;

  void installHandlers();
  void restoreHandlers();
  void watch();
  // Milliseconds until the command in progress, whose number it tells, is over its time; -1 for without end.
  int waitTime(std::uint32_t& serial);
  void endCommand(std::uint32_t serial, bool overTime);
  [[noreturn]] void endProcess(int signal);
  void tell(const std::string& line);
  void tellUnguarded(int error);

  GuardSettings m_Settings;
  pthread_t m_Watcher = {};  // while m_bGuarding
  // Held while a command is being ended, so that the run doesn't start the next one meanwhile.
  std::mutex m_Lock;
  std::string m_strCommand;     // of the latest command
  Clock::time_point m_Started;  // as well
  std::uint64_t m_nClock = 0;   // in units of processClock()
  std::uint32_t m_nSerial = 0;  // of the command in progress; 0 for none
  std::uint32_t m_nLatest = 0;  // of the latest command
  bool m_bEnded = false;        // the command in progress was ended from here
  bool m_bOverTime = false;     // since it ran for too long
  bool m_bGuarding = false;
  // The command in progress outlived its end: its user isn't that of the run.
  std::atomic<bool> m_bGivenUp{false};
  sigset_t m_CallersSignals = {};
};

}  // namespace halvo
