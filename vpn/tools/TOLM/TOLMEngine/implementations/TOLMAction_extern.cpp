#include <cstdint>
#include <cstring>
#include <filesystem>
#include <ostream>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/IPC/ProcessAPI_unix.h"
#include "vpn/Common/Utility/CommandShell.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/CommandObserver.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/OutputFile.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/RunRecord.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

// The functions below do callExtern()'s work, and log under its name.
constexpr char kCall[] = "callExtern";
constexpr std::size_t kBannerWidth = 75;
constexpr std::uint32_t kWaitMs = 1000;
constexpr float kProgressBase = 1.1F;

std::string firstWord(const std::string& commandLine) {
  const std::string word = helperUtil::stringBeforeFirst(commandLine, " ");
  return word.empty() ? commandLine : word;
}

// What lies in the file by now; 0 where the output is lost.
std::uintmax_t bytesOf(const OutputStream& output, const std::string& path) {
  std::error_code error;
  const std::uintmax_t size = output.is_open() ? std::filesystem::file_size(path, error) : 0;
  return error ? 0 : size;
}

// The carriage returns stand where readers of captured output expect them, odd as the places are.
void writeBanner(std::ostream& output, const std::string& commandLine) {
  const std::string rule(kBannerWidth, '*');
  output << "\n\r" << rule << std::endl;
  output << '"' << commandLine << "\" output:" << std::endl;
  output << rule << "\n\r" << std::endl;
}

// The share of an item's step after `n` seconds: rises from about 4.8 percent towards the whole step
// and never reaches it.
std::uint32_t waitingShare(std::uint32_t n, std::uint32_t percentStep) {
  const float f = helperUtil::powerOfFloat(n, kProgressBase);
  const float share = (2.0F / (1.0F / f + 1.0F) - 1.0F) * static_cast<float>(percentStep);
  return static_cast<std::uint32_t>(share);
}

}  // namespace

void TOLMAction::endPreviousCommand() {
  if (m_pProcessApi == nullptr) {
    return;
  }
  if (m_pid > 0) {
    // The id isn't cleared when a child ends, so this mostly reaches nobody. Known and harmless.
    static_cast<void>(m_pProcessApi->terminateProcess(m_pid));
    m_pid = 0;
  }
  m_pProcessApi.reset();
}

ResultCode TOLMAction::callExtern(const std::string& path, const std::string& commandLine, bool useStdout,
                                  const std::string& tempOut) {
  endPreviousCommand();
  m_pProcessApi = std::make_unique<CProcessApi>();
  const RecordedCommand recorded(m_context.id, commandLine);
  const ObservedCommand observed(commandLine);
  const ResultCode rc =
      useStdout && !tempOut.empty() ? runInShell(commandLine, tempOut) : launchProgram(path, commandLine);
  if (rc != 0) {
    helperUtil::fillSummaryFailedFile(m_context.summary, m_context.id, "N/A", m_context.description,
                                      "Failed to execute " + firstWord(commandLine));
    return rc;
  }
  return waitForChild(commandLine);
}

ResultCode TOLMAction::runInShell(const std::string& commandLine, const std::string& tempOut) {
  // Appending: a second command of the same base name lands behind the first. A file that can't be
  // opened is no error; the command runs and its output is lost.
  OutputStream output(tempOut, OutputMode::kAppend);
  if (output.is_open()) {
    writeBanner(output, commandLine);
  }
  CCommandShell shell(commandLine.c_str());
  shell.giveUpWhen(&isCommandGivenUp);
  const std::uintmax_t before = bytesOf(output, tempOut);
  const ResultCode rc = shell.Execute(output);
  // A command may clean up its own folder, and the file with it.
  const std::uintmax_t after = bytesOf(output, tempOut);
  recordOutput(after > before ? after - before : 0);
  if (shell.exitStatus() >= 0) {
    recordExitStatus(shell.exitStatus());
  }
  if (rc != 0) {
    logDebugReturnCode(kCall, __FILE__, __LINE__, kLogError, "CCommandShell::Execute", rc, nullptr, nullptr);
  }
  if (const int error = output.close(); error != 0) {
    recordLoss(kCall, LossKind::kCutShort, tempOut, std::strerror(error));
  }
  return rc;
}

ResultCode TOLMAction::launchProgram(const std::string& path, const std::string& commandLine) {
  std::string program = commandLine;
  std::string arguments;
  if (const std::size_t blank = commandLine.find(' '); blank != std::string::npos) {
    program = commandLine.substr(0, blank);
    arguments = commandLine.substr(blank + 1);
  }
  LaunchInfo info;
  // The launcher reads neither. Where a program lies is for PATH to say.
  info.text = path;
  info.flag = true;
  const ResultCode rc =
      m_pProcessApi->Launch(info, program.c_str(), arguments.c_str(), static_cast<const char*>(nullptr));
  if (rc != 0) {
    logDebugReturnCode(kCall, __FILE__, __LINE__, kLogError, "CProcessApi::Launch", rc, nullptr, nullptr);
    return rc;
  }
  m_pid = info.processId;
  return 0;
}

// In capture mode there is no child to wait for: process 0 reads as ended, and the loop isn't entered.
ResultCode TOLMAction::waitForChild(const std::string& commandLine) {
  const std::uint32_t base = getProgressState().percent;
  std::string message = "Processing " + m_context.description + "...";
  ResultCode rc = 0;
  for (std::uint32_t n = 1; m_pProcessApi->checkProcess(m_pid) == 0; ++n) {
    int exitCode = 0;
    const ResultCode waited = m_pProcessApi->WaitForProcess(m_pid, exitCode, nullptr, 0, kWaitMs);
    if (waited == PROCESS_API_ERROR_WAIT_INTERRUPTED) {
      logDebugReturnCode(kCall, __FILE__, __LINE__, kLogError, "CProcessApi::WaitForProcess", waited, nullptr,
                         nullptr);
      return TOLMENGINE_ERROR_ACTION_CANCELED_BY_USER;
    }
    reportProgress(base + waitingShare(n, m_context.percentStep), message, TOLMOFFLINE_ERROR_PROCESSING);
    // The code of the last wait decides, also where the child ended between a wait that ran out and the
    // next look. Readers of the log know it so.
    rc = waited;
    if (waited == 0) {
      recordExitStatus(exitCode);
    } else if (isCommandGivenUp()) {
      // Not to be waited for at the end of the action either.
      m_pid = 0;
      break;
    }
    message =
        "Still running " + firstWord(commandLine) + ", please be patient as this may take a few minutes...";
  }
  return rc;
}

}  // namespace halvo
