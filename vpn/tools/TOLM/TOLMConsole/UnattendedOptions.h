// UnattendedOptions: the options of `collect` for runs that nobody stands in front of, and what they mean.
//
// Serves one command line: declares its options, prepares the settings of the run, and tells the outcome
// in the forms that were asked for. Lives as long as the run. Used on the main thread.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMConsole/FilePlaces.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/CollectRun.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/ResultFile.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace halvo {

class Recipients;
struct RedactedArchiveOutcome;
class RunStatus;

class UnattendedOptions {
 public:
  UnattendedOptions();
  ~UnattendedOptions();
  UnattendedOptions(const UnattendedOptions&) = delete;
  UnattendedOptions& operator=(const UnattendedOptions&) = delete;

  // `bundle` and `passwords` are the options that don't go together with some of these.
  void addOptions(CLI::App& app, CLI::Option* bundle, const std::vector<CLI::Option*>& passwords);

  // Where the bundle will lie that was asked for as `bundle`; empty for a name of the
  // program's own.
  [[nodiscard]] std::string bundleFile(const std::string& bundle) const;
  // The files that these options name.
  [[nodiscard]] std::vector<NamedFile> namedFiles() const;

  // After a command line without faults, before anything is asked or run: what is wrong with it; empty if
  // nothing is. Opens the place of the status.
  [[nodiscard]] std::string usageProblem();

  // Standard output belongs to the status.
  [[nodiscard]] bool statusOnOutput() const { return m_strStatus == "-"; }

  // Completes the settings, takes the priority, removes an older status and finds the keys. Returns an
  // outcome with a code where a status stays or a key can't be used: nothing must be run then. `redaction` is
  // that of a run whose bundle is redacted, by the settings' archive writer or, with keys, by the one that is
  // put in its place; null for none.
  [[nodiscard]] RunOutcome prepare(CollectSettings& settings,
                                   const std::shared_ptr<RedactedArchiveOutcome>& redaction);

  // Writes the status, where one was asked for. Returns the exit status: `status`, kExitIncomplete for a
  // run that is not what --fail-incomplete wants, or a failure, told, where the status can't be written.
  [[nodiscard]] int report(const RunOutcome& outcome, int status);

 private:
  // Without the ending that comes behind it with keys: given with it, the name has it once.
  [[nodiscard]] std::string withoutEnding(const std::string& bundle) const;

  std::string m_strOutputDir;
  std::string m_strLabel;
  std::string m_strStatus;
  std::string m_strSince;
  std::vector<std::string> m_Keys;
  bool m_bFailIncomplete = false;
  bool m_bNice = false;
  ResultFile m_StatusFile{"the status", ResultFile::Streams::kTaken};

  std::shared_ptr<RedactedArchiveOutcome> m_pRedaction;
  std::unique_ptr<Recipients> m_pRecipients;
  std::unique_ptr<RunStatus> m_pStatus;
};

}  // namespace halvo
