#include "vpn/tools/TOLM/TOLMConsole/UnattendedOptions.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RedactedArchive.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/recipients/Recipients.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/BundleName.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/EncryptedBundle.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/IdlePriority.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/RunStatus.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/SinceTime.h"

namespace halvo {

namespace {

constexpr char kEncrypted[] = ".gpg";

}  // namespace

UnattendedOptions::UnattendedOptions() = default;
UnattendedOptions::~UnattendedOptions() = default;

void UnattendedOptions::addOptions(CLI::App& app, CLI::Option* bundle,
                                   const std::vector<CLI::Option*>& passwords) {
  CLI::Option* const folder =
      app.add_option("--output-dir", m_strOutputDir,
                     "Write the bundle to this folder, as "
                     "HOST_YYYYMMDDTHHMMSSZ[_LABEL].zip, and replace none that is there")
          ->type_name("DIR")
          ->excludes(bundle);
  app.add_option("--label", m_strLabel, "A word for the name of a bundle in --output-dir")
      ->type_name("TEXT")
      ->needs(folder);
  CLI::Option* const recipient =
      app.add_option(
             "--recipient", m_Keys,
             "Encrypt the bundle to this public key, and put .gpg behind its name; may be given again. "
             "A file, or a fingerprint in your keyring")
          ->type_name("KEY")
          ->allow_extra_args(false);
  for (CLI::Option* const password : passwords) {
    recipient->excludes(password);
  }
  app.add_option(
         "--since", m_strSince,
         "Have commands gather what happened since then: 2026-11-21, 2026-11-21T13:00 or "
         "2026-11-21T13:00:00, with a Z behind it for UTC, or a span before now such as 30m, 12h, 2d or "
         "1w; they read it in TOLM_SINCE")
      ->type_name("TIME");
  app.add_option("--status-json", m_strStatus,
                 "Write what was gathered, and what not, to this file as JSON; \"-\" for standard output")
      ->type_name("FILE");
  app.add_flag("--fail-incomplete", m_bFailIncomplete,
               "End with status 3 where something that was wanted isn't in the bundle");
  app.add_flag("--nice", m_bNice, "Give way to everything else on the machine");
}

std::string UnattendedOptions::withoutEnding(const std::string& bundle) const {
  const std::size_t ending = sizeof(kEncrypted) - 1;
  const bool isEnding = !m_Keys.empty() && bundle.size() > ending &&
                        bundle.compare(bundle.size() - ending, ending, kEncrypted) == 0;
  return isEnding ? bundle.substr(0, bundle.size() - ending) : bundle;
}

std::string UnattendedOptions::bundleFile(const std::string& bundle) const {
  return bundle.empty() ? ""
                        : TOLMEngine::zipPath(withoutEnding(bundle)) + (m_Keys.empty() ? "" : kEncrypted);
}

std::vector<NamedFile> UnattendedOptions::namedFiles() const {
  // Standard output may lead to a file that has a name.
  std::vector<NamedFile> files = {
      {"--status-json", statusOnOutput() ? "/dev/stdout" : m_strStatus, FileUse::kWritten}};
  for (const std::string& key : m_Keys) {
    std::error_code error;
    // Otherwise it is a fingerprint.
    if (std::filesystem::exists(key, error)) {
      files.push_back({"--recipient", key, FileUse::kRead});
    }
  }
  return files;
}

std::string UnattendedOptions::usageProblem() {
  if (!m_strLabel.empty()) {
    if (const std::string problem = labelProblem(m_strLabel); !problem.empty()) {
      return "--label: " + problem;
    }
  }
  // Read for its faults alone. A span counts back from the run's begin, which comes behind the password.
  std::string unused;
  if (!m_strSince.empty()) {
    if (const std::string problem = readSinceTime(m_strSince, std::time(nullptr), unused); !problem.empty()) {
      return "--since: " + problem;
    }
  }
  struct stat data;
  if (!m_strOutputDir.empty() && (stat(m_strOutputDir.c_str(), &data) != 0 || !S_ISDIR(data.st_mode))) {
    return "--output-dir: \"" + m_strOutputDir + "\" is no folder";
  }
  // A run of hours whose status nobody gets would be run for nothing.
  return m_strStatus.empty() ? "" : m_StatusFile.open(m_strStatus);
}

RunOutcome UnattendedOptions::prepare(CollectSettings& settings,
                                      const std::shared_ptr<RedactedArchiveOutcome>& redaction) {
  m_pRedaction = redaction;
  if (m_bNice) {
    takeIdlePriority();
  }
  if (std::string text; !m_strSince.empty() && readSinceTime(m_strSince, std::time(nullptr), text).empty()) {
    setenv("TOLM_SINCE", text.c_str(), 1);
  }
  if (!m_strOutputDir.empty()) {
    settings.bundlePath =
        m_strOutputDir + "/" + unattendedBundleName(hostName(), std::time(nullptr), m_strLabel);
    settings.keepOlderBundle = true;
  }
  if (m_bFailIncomplete || !m_strStatus.empty()) {
    m_pStatus = std::make_unique<RunStatus>(settings.requestPath, settings.configFolder);
    settings.folderSteps.push_back(m_pStatus->digestStep());
    settings.begins = [this] { m_pStatus->plan(); };
  }
  RunOutcome outcome;
  // Nothing can be written where a signal ends the run: no status is better than another run's.
  if (const std::string problem = m_strStatus.empty() ? "" : m_StatusFile.removeOlder(); !problem.empty()) {
    outcome.code = TOLMENGINE_ERROR_WRITE_FAILURE;
    outcome.text = "an older status stands in the way, and nothing was run";
    outcome.reason = problem;
    return outcome;
  }
  if (!m_Keys.empty()) {
    m_pRecipients = std::make_unique<Recipients>();
    if (const std::string problem = m_pRecipients->open(m_Keys); !problem.empty()) {
      outcome.code = TOLMENGINE_ERROR_WRITE_FAILURE;
      outcome.text = "the bundle can't be encrypted, and nothing was run";
      outcome.reason = problem;
      return outcome;
    }
    settings.bundlePath = withoutEnding(settings.bundlePath);
    settings.bundleEnding = kEncrypted;
    settings.archiveWriter = [this](const std::string& folder, int file, const std::string& /*password*/,
                                    std::string& reason) {
      return writeEncryptedBundle(*m_pRecipients, folder, file, m_pRedaction.get(), reason);
    };
  }
  return outcome;
}

int UnattendedOptions::report(const RunOutcome& outcome, int status) {
  if (m_pStatus && m_pRedaction) {
    m_pStatus->redact(*m_pRedaction);
  }
  if (!m_strStatus.empty() && m_pStatus) {
    // Of a name that was the program's choice, nobody could know ahead of the run.
    if (outcome.code == 0 && !statusOnOutput() && isSamePlace(m_strStatus, outcome.bundlePath)) {
      printError("the status can't be written to \"" + m_strStatus + "\": the bundle lies there");
      return kExitFailure;
    }
    const std::vector<std::string> keys =
        m_pRecipients ? m_pRecipients->fingerprints() : std::vector<std::string>();
    if (const std::string problem = m_StatusFile.write(m_pStatus->json(outcome, keys)); !problem.empty()) {
      printError(problem);
      return kExitFailure;
    }
  }
  // What is missing counts where nothing worse has happened.
  if (status == kExitSuccess && m_bFailIncomplete && m_pStatus && m_pStatus->isIncomplete(outcome)) {
    // Of a quiet run too: not all went well.
    printError("the bundle is incomplete: its summary and --status-json tell what isn't in it");
    return kExitIncomplete;
  }
  return status;
}

}  // namespace halvo
