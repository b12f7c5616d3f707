#include "vpn/tools/TOLM/TOLMConsole/Console.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <list>
#include <memory>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/sysutils.h"
#include "vpn/tools/TOLM/TOLMConsole/Arguments.h"
#include "vpn/tools/TOLM/TOLMConsole/CheckRules.h"
#include "vpn/tools/TOLM/TOLMConsole/CheckRun.h"
#include "vpn/tools/TOLM/TOLMConsole/Password.h"
#include "vpn/tools/TOLM/TOLMConsole/Plan.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {

namespace {

class NoLogger : public ILogger {
 public:
  ResultCode log(std::uint32_t, const char*, const char*, std::uint32_t, int) override { return 0; }
};

// Looking at documents isn't a run: what the engine's readers log about them meanwhile would mislead
// whoever reads the host's log for the runs.
class SilentLog {
 public:
  SilentLog() { replaceLogger(new NoLogger); }
  ~SilentLog() { replaceLogger(nullptr); }
  SilentLog(const SilentLog&) = delete;
  SilentLog& operator=(const SilentLog&) = delete;

 private:
  static void replaceLogger(ILogger* logger) {
    while (!releaseLogging()) {
    }
    ResultCode result = 0;
    acquireLogging(result, "tmtolmui", logger);
  }
};

// One line, whatever the paths in it hold.
void printError(const std::string& line) {
  std::fflush(stdout);
  std::fprintf(stderr, "tmtolm: %s\n", withoutControls(line).c_str());
}

// Standard output may be a full disk or a closed pipe: what was to be read there is lost then, and the
// caller must not take that for a success.
int finishOutput(int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
    return status;
  }
  printError(std::string("standard output can't be written: ") + std::strerror(errno));
  return status == kExitSuccess ? kExitFailure : status;
}

// A reader of the progress that goes away must not end a run in the middle, with its folder left behind or
// half of the logs cleared. Unlike an ignored signal, one with a handler is back to its default in the
// commands that a run starts.
void outliveReader() {
  static_cast<void>(install_sighdlr(
      SIGPIPE, [](int) {}, nullptr));
}

int usageFailure(const std::string& line) {
  printError(line);
  return kExitUsage;
}

// A bundle is written forwards and backwards, and opening a pipe would wait for its reader, perhaps for
// ever. A folder is left to the run, which fails with the code for it.
bool isPipeOrDevice(const std::string& path) {
  struct stat data;
  return stat(path.c_str(), &data) == 0 && !S_ISREG(data.st_mode) && !S_ISDIR(data.st_mode);
}

int runCollect(const Arguments& arguments) {
  std::string password;
  if (arguments.askPassword || !arguments.passwordFile.empty()) {
    const PasswordResult result =
        arguments.askPassword ? askPassword() : readPasswordFile(arguments.passwordFile);
    if (!result.error.empty()) {
      return usageFailure(result.error);
    }
    password = result.password;
  }
  const std::string bundlePath = arguments.bundlePath.empty() ? defaultBundlePath() : arguments.bundlePath;
  if (const std::string zip = TOLMEngine::zipPath(bundlePath); isPipeOrDevice(zip)) {
    return usageFailure("\"" + zip + "\" is no file; a bundle can't be written there");
  }
  setConsoleMode(arguments.quiet ? 0 : 1);
  outliveReader();
  TOLMEngine engine(arguments.requestPath, bundlePath, password, false);
  if (const ResultCode rc = engine.run(); rc != 0) {
    printError(failureLine(engine.failureText(), rc, engine.bundlePath()));
    return kExitFailure;
  }
  if (!arguments.quiet) {
    std::printf("Bundle: %s\n", engine.bundlePath().c_str());
  }
  return finishOutput(kExitSuccess);
}

int runClear(const Arguments& arguments) {
  if (!arguments.yes) {
    if (isatty(STDIN_FILENO) == 0) {
      return usageFailure("clear deletes files and has no terminal to ask on; --yes goes on without asking");
    }
    if (!askYes("This deletes the logs that the documents in " + helperUtil::defaultConfigFolder() +
                " mark for clearing. Go on? [y/N] ")) {
      printError(failureLine("Nothing was cleared.", TOLMENGINE_ERROR_ACTION_CANCELED_BY_USER, ""));
      return kExitFailure;
    }
  }
  setConsoleMode(arguments.quiet ? 0 : 1);
  outliveReader();
  TOLMEngine engine("", "", "", true);
  if (const ResultCode rc = engine.run(); rc != 0) {
    printError(failureLine(engine.failureText(), rc, ""));
    return kExitFailure;
  }
  return finishOutput(kExitSuccess);
}

int runCheck(const Arguments& arguments) {
  CheckRun run;
  for (const std::string& path : arguments.paths) {
    run.addPath(path);
  }
  run.finish();
  for (const std::string& line : run.lines()) {
    std::printf("%s\n", line.c_str());
  }
  return finishOutput(run.hasErrors() ? kExitFailure : kExitSuccess);
}

// The names of a folder's documents, in the order in which a run loads them.
std::vector<std::string> documentNames(const std::string& folder) {
  std::vector<std::string> names;
  DIR* const stream = opendir(folder.c_str());
  if (stream == nullptr) {
    return names;
  }
  while (const dirent* entry = readdir(stream)) {
    if (TOLMMgr::isDocumentName(entry->d_name)) {
      names.emplace_back(entry->d_name);
    }
  }
  closedir(stream);
  return names;
}

// A document and the loader that owns it; null where it can't be parsed.
struct LoadedDocument {
  std::unique_ptr<TOLMXmlLoader> loader = std::make_unique<TOLMXmlLoader>();
  const XMLObject* document = nullptr;
};

LoadedDocument loadDocument(const std::string& path) {
  constexpr int kFileMode = 1;
  LoadedDocument loaded;
  std::list<XMLObject*> documents;
  if (loaded.loader->load(path, kFileMode, documents) != nullptr && documents.front()->GetRoot() != nullptr) {
    loaded.document = documents.front();
  }
  return loaded;
}

int runPlan(const Arguments& arguments) {
  const SilentLog silent;
  LoadedDocument request;
  if (!arguments.requestPath.empty()) {
    request = loadDocument(arguments.requestPath);
    if (request.document == nullptr) {
      printError(failureLine(
          "Internal Error: invalid request XML, please contact your administrator, or run in default mode",
          TOLMENGINE_ERROR_INVALID_XML, ""));
      return kExitFailure;
    }
  }
  std::string folder =
      arguments.configFolder.empty() ? helperUtil::defaultConfigFolder() : arguments.configFolder;
  folder += folder.back() == '/' ? "" : "/";
  std::list<LoadedDocument> loaded;
  std::vector<PlanSource> sources;
  bool any = false;
  for (const std::string& name : documentNames(folder)) {
    loaded.push_back(loadDocument(folder + name));
    sources.push_back({folder + name, loaded.back().document});
    any = any || loaded.back().document != nullptr;
  }
  if (!any) {
    printError(
        failureLine("Internal Error: no valid configuration XML found...", TOLMENGINE_ERROR_INTERNAL, ""));
    return kExitFailure;
  }
  PlanHost host;
  Plan plan = buildPlan(sources, request.document, host);
  plan.configFolder = folder;
  plan.requestPath = arguments.requestPath;
  const std::string text = arguments.json ? planJson(plan) : planText(plan);
  std::fwrite(text.data(), 1, text.size(), stdout);
  return finishOutput(kExitSuccess);
}

}  // namespace

std::string defaultBundlePath() {
  return helperUtil::translatePath(helperUtil::defaultBundleFolder()) + "TOLMBundle" +
         helperUtil::timeText(1) + ".zip";
}

std::string failureLine(const std::string& text, unsigned code, const std::string& bundlePath) {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%.8X", code);
  std::string line = text + " (" + hex + ")";
  if (code == TOLMENGINE_ERROR_WRITE_FAILURE && !bundlePath.empty()) {
    line += "; is there a folder for \"" + bundlePath + "\", and may you write there?";
  }
  return line;
}

int runConsole(const std::vector<std::string>& list) {
  const Arguments arguments = parseArguments(list);
  switch (arguments.command) {
    case ConsoleCommand::kNone:
      std::fputs(arguments.text.c_str(), arguments.exitStatus == kExitSuccess ? stdout : stderr);
      return finishOutput(arguments.exitStatus);
    case ConsoleCommand::kCollect:
      return runCollect(arguments);
    case ConsoleCommand::kClear:
      return runClear(arguments);
    case ConsoleCommand::kCheck:
      return runCheck(arguments);
    case ConsoleCommand::kPlan:
      return runPlan(arguments);
  }
  return kExitUsage;
}

}  // namespace halvo
