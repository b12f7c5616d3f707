#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/Password.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

// Where the wizard puts a bundle: the Desktop folder and a name made of the present time. A variable
// that isn't set stays in the path as it is.
std::string defaultBundlePath() {
  return helperUtil::translatePath(helperUtil::defaultBundleFolder()) + "TOLMBundle" +
         helperUtil::timeText(1) + ".zip";
}

// A bundle is written forwards and backwards, and opening a pipe would wait for its reader, perhaps for
// ever. A folder is left to the run, which fails with the code for it.
bool isPipeOrDevice(const std::string& path) {
  struct stat data;
  return stat(path.c_str(), &data) == 0 && !S_ISREG(data.st_mode) && !S_ISDIR(data.st_mode);
}

class CollectCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "collect"; }
  [[nodiscard]] const char* description() const override { return "Make a bundle"; }
  [[nodiscard]] const char* example() const override {
    return "tmtolm collect --bundle /tmp/logs.zip --ask-password";
  }

  void addOptions(CLI::App& app) override {
    app.add_option("--request", m_strRequest,
                   "A request document: gather the items that it names instead of the default ones")
        ->type_name("FILE");
    app.add_option("--bundle", m_strBundle,
                   "Where to write the bundle; .zip is put behind a name that doesn't end so "
                   "(default: $HOME/Desktop/TOLMBundle_MMDD_HHMM.zip)")
        ->type_name("FILE");
    CLI::Option* const file =
        app.add_option("--password-file", m_strPasswordFile,
                       "Encrypt the bundle with the first line of this file, up to 1024 bytes")
            ->type_name("FILE");
    app.add_flag("--ask-password", m_bAskPassword,
                 "Encrypt the bundle with a password that is asked for twice on the terminal")
        ->excludes(file);
    app.add_flag("--quiet", m_bQuiet, "Print nothing unless the run fails");
  }

  [[nodiscard]] int run() override {
    std::string password;
    if (m_bAskPassword || !m_strPasswordFile.empty()) {
      const PasswordResult result = m_bAskPassword ? askPassword() : readPasswordFile(m_strPasswordFile);
      if (!result.error.empty()) {
        return usageFailure(result.error);
      }
      password = result.password;
    }
    const std::string bundlePath = m_strBundle.empty() ? defaultBundlePath() : m_strBundle;
    if (const std::string zip = TOLMEngine::zipPath(bundlePath); isPipeOrDevice(zip)) {
      return usageFailure("\"" + zip + "\" is no file; a bundle can't be written there");
    }
    setConsoleMode(m_bQuiet ? 0 : 1);
    outliveReader();
    TOLMEngine engine(m_strRequest, bundlePath, password, false);
    if (const ResultCode rc = engine.run(); rc != 0) {
      printError(failureLine(engine.failureText(), rc, engine.bundlePath()));
      return kExitFailure;
    }
    if (!m_bQuiet) {
      std::printf("Bundle: %s\n", engine.bundlePath().c_str());
    }
    return finishOutput(kExitSuccess);
  }

 private:
  std::string m_strRequest;       // empty for the default run
  std::string m_strBundle;        // empty for the default place
  std::string m_strPasswordFile;  // empty for none
  bool m_bAskPassword = false;
  bool m_bQuiet = false;
};

}  // namespace

std::unique_ptr<ICommand> makeCollectCommand() {
  return std::make_unique<CollectCommand>();
}

}  // namespace halvo
