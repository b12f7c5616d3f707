#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/BundleRedactor.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/MapFile.h"
#include "vpn/tools/TOLM/TOLMConsole/BundleOptions.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/FilePlaces.h"
#include "vpn/tools/TOLM/TOLMConsole/Password.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/ResultFile.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestRules = std::size_t{1} << 20U;

class RedactCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "redact"; }
  [[nodiscard]] const char* description() const override {
    return "Make a bundle without what identifies people and machines";
  }
  [[nodiscard]] const char* example() const override {
    return "tmtolm redact bundle.zip redacted.zip --map names.map";
  }

  void addOptions(CLI::App& app) override {
    app.add_option("IN", m_strIn, "The bundle")->required()->type_name("");
    app.add_option("OUT", m_strOut, "The new bundle")->required()->type_name("");
    app.add_option("--rules", m_strRules, "What else to find, and what to leave alone")->type_name("FILE");
    app.add_option("--map", m_strMap,
                   "Keep here, for you alone, what stands for what; the next bundle goes by it")
        ->type_name("FILE");
    app.add_option(
           "--keep", m_Keep,
           "Leave this kind as it is: address, mac, email, host, user, id, wifi, certificate, or binary for "
           "files that aren't text; may be given more than once")
        ->type_name("KIND")
        ->allow_extra_args(false);
    app.add_option("--report", m_strReport, "Write here what was replaced, by file and kind")
        ->type_name("FILE");
    app.add_option("--out-password-file", m_strOutPasswordFile,
                   "Encrypt the new bundle with this file's first line, instead of the old bundle's password")
        ->type_name("FILE");
    m_Options.addTo(app);
  }

  [[nodiscard]] int run() override {
    RedactOptions options;
    RedactRules rules;
    StandIns standIns;
    if (const int status = prepare(options, rules, standIns); status != kExitSuccess) {
      return status;
    }
    BundleReader reader(redactLimits());
    if (const int status = m_Options.open(reader, m_strIn); status != kExitSuccess) {
      return status;
    }
    if (!reader.damage().empty()) {
      printError(m_strIn + ": " + reader.damage());
    }
    // What was encrypted stays so: with less in it, it is still nobody else's.
    if (options.password.empty() && reader.isEncrypted()) {
      options.password = m_Options.password();
    }
    BundleRedactor redactor(reader, standIns, options);
    if (const std::string failure = redactor.run(); !failure.empty()) {
      printError(failure);
      return kExitFailure;
    }
    int status = kExitSuccess;
    if (!m_strMap.empty()) {
      // The bundle is there by now, and is told; only the status says that the map isn't.
      status = told(m_MapFile.write(standIns.save()), status);
    }
    if (!m_strReport.empty()) {
      status = told(m_ReportFile.write(redactor.report()), status);
    }
    tellFaults(redactor);
    std::printf("Replaced: %llu\nLeft out: %zu\nBundle: %s\n",
                static_cast<unsigned long long>(redactor.counts().total()), redactor.leftOut(),
                withoutControls(m_strOut).c_str());
    return finishOutput(status);
  }

 private:
  // Whoever sends the bundle wants to know what is missing in it, and why.
  void tellFaults(const BundleRedactor& redactor) const {
    constexpr std::size_t kMostTold = 20;
    std::size_t count = 0;
    for (const RedactedEntry& entry : redactor.entries()) {
      if (!entry.fault.empty() && ++count <= kMostTold) {
        printError("\"" + entry.name + "\" is left out, it can't be read: " + entry.fault);
      }
    }
    if (count > kMostTold) {
      printError(std::to_string(count - kMostTold) + " more are left out, as " + kRedactionEntry + " tells");
    }
  }

  [[nodiscard]] std::string findPlaceProblem() const {
    std::vector<NamedFile> files = {{"OUT", m_strOut, FileUse::kWritten},
                                    {"--map", m_strMap, FileUse::kWritten},
                                    {"--report", m_strReport, FileUse::kWritten},
                                    {"IN", m_strIn, FileUse::kRead},
                                    {"--rules", m_strRules, FileUse::kRead},
                                    {"--out-password-file", m_strOutPasswordFile, FileUse::kRead},
                                    {"--password-file", m_Options.passwordFile(), FileUse::kRead}};
    if (const std::string problem = placeProblem(files); !problem.empty()) {
      return problem;
    }
    if (m_strOut == "-") {
      return "OUT is a file, and never standard output; one of that name is ./-";
    }
    std::erase_if(files, [](const NamedFile& file) {
      // The names of the program's own streams are links, and nothing is put in their place.
      return file.what == "--report" && ResultFile::isStream(file.path);
    });
    return linkProblem(files);
  }

  static int told(const std::string& failure, int status) {
    if (failure.empty()) {
      return status;
    }
    printError(failure);
    return kExitFailure;
  }

  // Ahead of the work: a bundle without its map couldn't be told apart from others.
  std::string openResults() {
    std::string failure = m_strMap.empty() ? "" : m_MapFile.open(m_strMap);
    if (failure.empty() && !m_strReport.empty()) {
      failure = m_ReportFile.open(m_strReport);
    }
    return failure;
  }

  int prepare(RedactOptions& options, RedactRules& rules, StandIns& standIns) {
    for (const std::string& word : m_Keep) {
      RedactKind kind = RedactKind::kAddress;
      if (word == "binary") {
        options.keepBinary = true;
      } else if (!redactKindOf(word, kind) || kind == RedactKind::kSecret) {
        // A secret has a word as every kind has, but it is none to be left in.
        return usageFailure("--keep takes no kind \"" + word + "\"");
      } else {
        options.keep.keep(kind);
      }
    }
    if (const std::string problem = findPlaceProblem(); !problem.empty()) {
      return usageFailure(problem);
    }
    if (!m_strRules.empty()) {
      std::string text;
      std::string failure = readTextFile(m_strRules, kLongestRules, text);
      if (failure.empty() && !(failure = rules.load(text)).empty()) {
        failure = m_strRules + ": " + failure;
      }
      if (!failure.empty()) {
        return usageFailure(failure);
      }
      options.rules = &rules;
    }
    std::string noLock;
    if (!m_strMap.empty()) {
      noLock = m_MapLock.take(
          m_strMap, [this] { printError(m_strMap + ": another redaction goes by it; waiting for its end"); });
      standIns.startRecording();
      if (const std::string failure = loadMap(m_strMap, standIns); !failure.empty()) {
        return usageFailure(failure);
      }
    }
    // What is wrong with the map's folder is told by what can't be written there.
    if (const std::string failure = openResults(); !failure.empty() || !noLock.empty()) {
      return usageFailure(failure.empty() ? noLock : failure);
    }
    if (!m_strOutPasswordFile.empty()) {
      PasswordResult result = readPasswordFile(m_strOutPasswordFile);
      if (!result.error.empty()) {
        return usageFailure(result.error);
      }
      m_pOutSecret = std::move(result.password);
      options.password = m_pOutSecret->view();
    }
    options.outPath = m_strOut;
    return m_Options.prepare();
  }

  std::string m_strIn;
  std::string m_strOut;
  std::string m_strRules;
  std::string m_strMap;
  std::vector<std::string> m_Keep;
  std::string m_strReport;
  MapLock m_MapLock;
  ResultFile m_MapFile{"the map", ResultFile::Streams::kRefused};
  ResultFile m_ReportFile{"the report", ResultFile::Streams::kRefused};
  std::string m_strOutPasswordFile;
  std::shared_ptr<Secret> m_pOutSecret;  // as long as the options hold it too
  BundleOptions m_Options;
};

}  // namespace

std::unique_ptr<ICommand> makeRedactCommand() {
  return std::make_unique<RedactCommand>();
}

}  // namespace halvo
