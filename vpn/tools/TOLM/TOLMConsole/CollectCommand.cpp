#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/FilePlaces.h"
#include "vpn/tools/TOLM/TOLMConsole/Password.h"
#include "vpn/tools/TOLM/TOLMConsole/UnattendedOptions.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/CollectRun.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RedactedArchive.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

namespace halvo {

namespace {

// A day: nobody waits for longer, and any number of seconds up to here is far from every limit.
constexpr unsigned kMostSeconds = 86'400;

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
    CLI::Option* const bundle =
        app.add_option("--bundle", m_strBundle,
                       "Where to write the bundle; .zip is put behind a name that doesn't end so "
                       "(default: $HOME/Desktop/TOLMBundle_MMDD_HHMM.zip)")
            ->type_name("FILE");
    CLI::Option* const file =
        app.add_option("--password-file", m_strPasswordFile,
                       "Encrypt the bundle with the first line of this file, up to 1024 bytes")
            ->type_name("FILE");
    CLI::Option* const ask =
        app.add_flag("--ask-password", m_bAskPassword,
                     "Encrypt the bundle with a password that is asked for twice on the terminal")
            ->excludes(file);
    app.add_option("--command-timeout", m_nCommandTimeout,
                   "End a command, with all that it has started, that runs for longer than this; what it has "
                   "printed is kept (default: no limit)")
        ->check(CLI::Range(1U, kMostSeconds))
        ->type_name("SECONDS");
    app.add_flag("--redact", m_bRedact,
                 "Take out of the bundle what identifies people and machines, before it gets its name");
    app.add_flag("--wait", m_bWait, "Wait for another run of yours to end instead of failing");
    app.add_flag("--quiet", m_bQuiet, "Print nothing unless the run fails");
    m_Unattended.addOptions(app, bundle, {file, ask});
  }

  [[nodiscard]] int run() override {
    CollectSettings settings;
    if (const std::string problem = findPlaceProblem(); !problem.empty()) {
      return usageFailure(problem);
    }
    // Ahead of the password: nobody should type one for a line that is refused.
    if (const std::string problem = m_Unattended.usageProblem(); !problem.empty()) {
      return usageFailure(problem);
    }
    const bool silent = m_bQuiet || m_Unattended.statusOnOutput();
    if (m_bAskPassword || !m_strPasswordFile.empty()) {
      PasswordResult result = m_bAskPassword ? askPassword() : readPasswordFile(m_strPasswordFile);
      if (!result.error.empty()) {
        return usageFailure(result.error);
      }
      settings.password = std::move(result.password);
    }
    settings.requestPath = m_strRequest;
    settings.bundlePath = m_strBundle.empty() ? defaultBundlePath() : m_strBundle;
    // A name of the program's own gives way to what is there; one that was given takes its place.
    settings.keepOlderBundle = m_strBundle.empty();
    settings.wait = m_bWait;
    settings.quiet = m_bQuiet;
    // A command's own output would stand in the status's way.
    settings.dropOutput = m_Unattended.statusOnOutput();
    settings.commandTimeoutSeconds = m_nCommandTimeout;
    if (!m_bQuiet) {
      settings.tell = printRemark;
    }
    const auto redaction = m_bRedact ? std::make_shared<RedactedArchiveOutcome>() : nullptr;
    if (m_bRedact) {
      settings.archiveWriter = redactedArchiveWriter(redaction);
    }
    setConsoleMode(silent ? 0 : 1);
    outliveReader();
    RunOutcome outcome = m_Unattended.prepare(settings, redaction);
    if (outcome.code == 0) {
      outcome = CollectRun(std::move(settings)).run();
    }
    if (outcome.code != 0) {
      printError(failureLine(outcome));
      // A failed run has a status too: whoever reads it waits for one.
      return m_Unattended.report(outcome, kExitFailure);
    }
    // What the exit status is about is told in any case.
    if (!m_bQuiet || !outcome.isWhole()) {
      for (const std::string& line : lossLines(outcome)) {
        printError(line);
      }
    }
    if (!silent && m_bRedact) {
      std::printf("Replaced: %llu\nLeft out: %llu\n", static_cast<unsigned long long>(redaction->replaced),
                  static_cast<unsigned long long>(redaction->leftOut));
    }
    if (!silent) {
      // The last line: scripts take the path from there.
      std::printf("Bundle: %s\n", withoutControls(outcome.bundlePath).c_str());
    }
    const int status = finishOutput(outcome.isWhole() ? kExitSuccess : kExitFailure);
    return m_Unattended.report(outcome, status);
  }

 private:
  [[nodiscard]] std::string findPlaceProblem() const {
    std::vector<NamedFile> files = m_Unattended.namedFiles();
    files.push_back({"--bundle", m_Unattended.bundleFile(m_strBundle), FileUse::kWritten});
    files.push_back({"--request", m_strRequest, FileUse::kRead});
    files.push_back({"--password-file", m_strPasswordFile, FileUse::kRead});
    // Nor of a document, which the run would then lack.
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(helperUtil::defaultConfigFolder(), error)) {
      files.push_back({"a document", entry.path().string(), FileUse::kRead});
    }
    return placeProblem(files);
  }

  std::string m_strRequest;        // empty for the default run
  std::string m_strBundle;         // empty for the default place
  std::string m_strPasswordFile;   // empty for none
  unsigned m_nCommandTimeout = 0;  // 0 for no limit
  bool m_bAskPassword = false;
  bool m_bWait = false;
  bool m_bRedact = false;
  bool m_bQuiet = false;
  UnattendedOptions m_Unattended;
};

}  // namespace

std::unique_ptr<ICommand> makeCollectCommand() {
  return std::make_unique<CollectCommand>();
}

}  // namespace halvo
