#include "tests/system/wizard_desktop.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <thread>

#include "tests/support/Files.h"

namespace halvo::test {

namespace {

constexpr const char* kFolder = "/run/desktop";

bool waitUntil(int seconds, const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

// The first line of a file, once it is whole.
std::string firstLine(const std::string& path) {
  std::string line;
  waitUntil(90, [&] {
    const std::string content = exists(path) ? readFile(path) : "";
    const std::size_t end = content.find('\n');
    line = end == std::string::npos ? "" : content.substr(0, end);
    return end != std::string::npos;
  });
  return line;
}

int openForWriting(const std::string& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
}

}  // namespace

BackgroundProgram::BackgroundProgram(const std::vector<std::string>& arguments,
                                     const std::map<std::string, std::string>& environment,
                                     const std::string& outputFile)
    : m_strOutputFile(outputFile) {
  const int out = openForWriting(outputFile);
  const int err = openForWriting(outputFile + ".err");
  m_nId = fork();
  if (m_nId < 0) {
    throw std::runtime_error("fork failed");
  }
  if (m_nId == 0) {
    setpgid(0, 0);
    dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), 0);
    dup2(out, 1);
    dup2(err, 2);
    for (const auto& [name, value] : environment) {
      setenv(name.c_str(), value.c_str(), 1);
    }
    std::vector<char*> list;
    for (const std::string& argument : arguments) {
      list.push_back(const_cast<char*>(argument.c_str()));
    }
    list.push_back(nullptr);
    execvp(list[0], list.data());
    _exit(127);
  }
  setpgid(m_nId, m_nId);
  close(out);
  close(err);
}

BackgroundProgram::~BackgroundProgram() {
  // The group: what the program left behind goes too.
  kill(-m_nId, SIGKILL);
  if (m_strEnd.empty()) {
    waitpid(m_nId, nullptr, 0);
  }
}

std::string BackgroundProgram::waitForEnd(int seconds) {
  if (m_strEnd.empty()) {
    waitUntil(seconds, [this] {
      int status = 0;
      if (waitpid(m_nId, &status, WNOHANG) != m_nId) {
        return false;
      }
      m_strEnd = WIFEXITED(status) ? "exit " + std::to_string(WEXITSTATUS(status))
                                   : "signal " + std::to_string(WTERMSIG(status));
      return true;
    });
  }
  return m_strEnd.empty() ? "running" : m_strEnd;
}

std::string BackgroundProgram::out() const {
  return readFile(m_strOutputFile);
}
std::string BackgroundProgram::err() const {
  return readFile(m_strOutputFile + ".err");
}

WizardDesktop::WizardDesktop(const std::string& screen) {
  makeFolders(kFolder);
  chmod(kFolder, 0700);
  makeFolders("/tmp/.X11-unix");
  const std::string folder = kFolder;
  m_Environment["XDG_RUNTIME_DIR"] = folder;
  m_Environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1";
  // Nothing of the caller's own desktop.
  for (const char* name :
       {"WAYLAND_DISPLAY", "XDG_SESSION_TYPE", "XDG_CURRENT_DESKTOP", "SESSION_MANAGER", "QT_QPA_PLATFORM",
        "QT_QPA_PLATFORMTHEME", "QT_STYLE_OVERRIDE", "AT_SPI_BUS_ADDRESS"}) {
    unsetenv(name);
  }

  // The server picks a free display by itself and writes its number to descriptor 1.
  m_pServer =
      std::make_unique<BackgroundProgram>(std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0",
                                                                   screen, "-nolisten", "tcp", "-noreset"},
                                          std::map<std::string, std::string>{}, folder + "/server");
  const std::string display = firstLine(folder + "/server");
  if (display.empty()) {
    throw std::runtime_error("Xvfb doesn't start: " + m_pServer->err());
  }
  m_Environment["DISPLAY"] = ":" + display;

  m_pBus = std::make_unique<BackgroundProgram>(
      std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address"}, m_Environment,
      folder + "/bus");
  const std::string address = firstLine(folder + "/bus");
  if (address.empty()) {
    throw std::runtime_error("dbus-daemon doesn't start: " + m_pBus->err());
  }
  m_Environment["DBUS_SESSION_BUS_ADDRESS"] = address;

  m_pWindowManager = std::make_unique<BackgroundProgram>(std::vector<std::string>{"openbox", "--sm-disable"},
                                                         m_Environment, folder + "/wm");
  // The window manager is there when it tells how many desktops there are.
  if (!waitUntil(90, [this] { return run({"xdotool", "get_num_desktops"}, 10).exitStatus == 0; })) {
    throw std::runtime_error("openbox doesn't start: " + m_pWindowManager->err());
  }
}

RunResult WizardDesktop::run(const std::vector<std::string>& arguments, int timeoutSeconds) {
  RunOptions options;
  options.environment = m_Environment;
  options.timeoutSeconds = timeoutSeconds;
  return runProgram(arguments, options);
}

std::unique_ptr<BackgroundProgram> WizardDesktop::startWizard(
    const std::map<std::string, std::string>& environment) {
  std::map<std::string, std::string> whole = m_Environment;
  for (const auto& [name, value] : environment) {
    whole[name] = value;
  }
  auto wizard =
      std::make_unique<BackgroundProgram>(std::vector<std::string>{builtProgram("tmtolmui")}, whole,
                                          std::string(kFolder) + "/wizard" + std::to_string(++m_nWizards));
  // A window of anybody's that goes away while xdotool looks through them all ends it with an error of X.
  RunResult window;
  const bool up = waitUntil(90, [&] {
    window = run({"xdotool", "search", "--onlyvisible", "--pid", std::to_string(wizard->id())}, 60);
    const std::string id = window.out.substr(0, window.out.find('\n'));
    return !id.empty() && run({"xdotool", "windowactivate", "--sync", id}, 60).exitStatus == 0;
  });
  if (!up) {
    throw std::runtime_error("the wizard's window doesn't come up: " + wizard->err() + window.err);
  }
  // The toolkit learns of the keyboard after the window manager has given it.
  accessibility({"wait-active"});
  return wizard;
}

void WizardDesktop::sendKey(const std::string& command, const std::string& key) {
  if (run({"xdotool", command, key}, 60).exitStatus != 0) {
    throw std::runtime_error("xdotool " + command + " fails for " + key);
  }
}

void WizardDesktop::press(const std::string& key) {
  sendKey("key", key);
}

void WizardDesktop::pressTwice(const std::string& key) {
  // By one program: on a busy machine a second one may take longer to start than the two have in between.
  if (run({"xdotool", "key", key, key}, 60).exitStatus != 0) {
    throw std::runtime_error("xdotool key fails for " + key);
  }
}

void WizardDesktop::hold(const std::string& key) {
  sendKey("keydown", key);
}

void WizardDesktop::release(const std::string& key) {
  sendKey("keyup", key);
}

void WizardDesktop::type(const std::string& text) {
  const RunResult result = run({"xdotool", "type", "--delay", "30", text}, 60);
  if (result.exitStatus != 0) {
    throw std::runtime_error("xdotool can't type: " + result.err);
  }
}

std::string WizardDesktop::accessibility(const std::vector<std::string>& arguments, int timeoutSeconds) {
  std::vector<std::string> command = {"/usr/bin/python3", sourcePath("tests/system/wizard_accessibility.py")};
  command.insert(command.end(), arguments.begin(), arguments.end());
  const RunResult result = run(command, timeoutSeconds);
  if (result.exitStatus != 0) {
    throw std::runtime_error("wizard_accessibility.py " + arguments[0] + ": " + result.out + result.err);
  }
  return result.out;
}

void WizardDesktop::breakDisplay() {
  m_pServer.reset();
}

}  // namespace halvo::test
