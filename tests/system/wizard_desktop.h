// A desktop for tests of the wizard: an X server without a screen, a window manager, a message bus and
// the accessibility service, all of a test's own.
//
// Built in a private root. Every process is a child with a process group of its own and is ended, by
// its id, when its object goes. All waits are bounded.

#pragma once

#include <sys/types.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/Subprocess.h"

namespace halvo::test {

// A child that runs beside the test.
class BackgroundProgram {
 public:
  // `environment` is set on top of the test's own. Output goes to `outputFile`, error to
  // `outputFile` + ".err".
  BackgroundProgram(const std::vector<std::string>& arguments,
                    const std::map<std::string, std::string>& environment, const std::string& outputFile);
  ~BackgroundProgram();
  BackgroundProgram(const BackgroundProgram&) = delete;
  BackgroundProgram& operator=(const BackgroundProgram&) = delete;

  // Waits for the end. "exit 0", "signal 6", or "running" where the time is over first.
  std::string waitForEnd(int seconds = 90);
  [[nodiscard]] pid_t id() const { return m_nId; }
  [[nodiscard]] std::string out() const;
  [[nodiscard]] std::string err() const;

 private:
  pid_t m_nId = -1;
  std::string m_strEnd;
  std::string m_strOutputFile;
};

class WizardDesktop {
 public:
  explicit WizardDesktop(const std::string& screen = "1024x768x24");

  // What programs on this desktop need in their environment.
  [[nodiscard]] const std::map<std::string, std::string>& environment() const { return m_Environment; }

  // Starts the wizard and waits until its window takes the keyboard.
  std::unique_ptr<BackgroundProgram> startWizard(const std::map<std::string, std::string>& environment = {});

  // Keys as xdotool names them ("space", "Tab", "alt+F4"), and text, to the window with the keyboard.
  void press(const std::string& key);
  // Keeps a key down, which the server repeats, until it is released.
  void hold(const std::string& key);
  void release(const std::string& key);
  void type(const std::string& text);
  // The same key twice, as fast as a finger can.
  void pressTwice(const std::string& key);

  // Runs wizard_accessibility.py; throws where it fails. The result is what it printed.
  std::string accessibility(const std::vector<std::string>& arguments, int timeoutSeconds = 120);

  // Ends the X server under its clients.
  void breakDisplay();

  // Runs another program on this desktop to its end.
  RunResult run(const std::vector<std::string>& arguments, int timeoutSeconds);

 private:
  void sendKey(const std::string& command, const std::string& key);

  std::map<std::string, std::string> m_Environment;
  std::unique_ptr<BackgroundProgram> m_pServer;
  std::unique_ptr<BackgroundProgram> m_pBus;
  std::unique_ptr<BackgroundProgram> m_pWindowManager;
  int m_nWizards = 0;
};

}  // namespace halvo::test
