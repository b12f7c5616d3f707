// The wizard's services as the running program has them.

#include <unistd.h>

#include <memory>
#include <utility>

#include "vpn/Common/Utility/OSInfo.h"
#include "vpn/Common/Utility/StoragePath.h"
#include "vpn/Common/i18n/MsgCatalog.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/CollectRun.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RunGuard.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"
#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"

namespace halvo {

namespace {

// The run and what goes around it. The wizard has nothing to say meanwhile: it waits for another run of the
// user's to end, and what stands in the way of this one is told by the closing screen and the log.
class GuardedRun : public IEngineRun {
 public:
  GuardedRun(const std::string& requestPath, const std::string& bundlePath, const std::string& password,
             bool clearLogs)
      : m_bClearLogs(clearLogs) {
    m_Settings.program = "tmtolmui";
    m_Settings.wait = true;
    m_Settings.endBySignal = false;
    m_Settings.requestPath = requestPath;
    m_Settings.bundlePath = bundlePath;
    // The name is the wizard's own, and of the minute: it gives way to what is there.
    m_Settings.keepOlderBundle = true;
    std::string copy = password;
    m_Settings.password = std::make_shared<const Secret>(copy);
  }
  void run() override {
    // The code comes through tolmFinished() as well, which is the one way that counts.
    const RunOutcome outcome =
        m_bClearLogs ? ClearRun(m_Settings).run() : CollectRun(std::move(m_Settings)).run();
    m_nLost = outcome.lostCount;
    m_strBundle = outcome.bundlePath;
  }
  [[nodiscard]] std::size_t lostFiles() const override { return m_nLost; }
  [[nodiscard]] std::string bundlePath() const override { return m_strBundle; }

 private:
  std::string m_strBundle;
  CollectSettings m_Settings;
  bool m_bClearLogs;
  std::size_t m_nLost = 0;
};

// The run that is under way ends with the process, and so do its commands.
void endProcess(int status) {
  RunGuard::endRunAtOnce();
  _exit(status);
}

std::string messageOfCatalog(const std::string& key) {
  std::string text;
  MsgCatalog::getMessage(key.c_str(), text);
  return text;
}

}  // namespace

WizardServices::WizardServices()
    : createStoragePath([](CStoragePath*& out) { return CStoragePath::CreateSingletonInstance(out); }),
      releaseStoragePath(&CStoragePath::releaseInstance),
      getMessage(&messageOfCatalog),
      bundleTimeText([] { return helperUtil::timeText(1); }),
      takesFiles([](const std::string& folder) { return access(folder.c_str(), W_OK | X_OK) == 0; }),
      isSystemVersionAtLeast(&halvo::isSystemVersionAtLeast),
      makeEngine([](const std::string& requestPath, const std::string& bundlePath,
                    const std::string& password, bool clearLogs) -> std::unique_ptr<IEngineRun> {
        return std::make_unique<GuardedRun>(requestPath, bundlePath, password, clearLogs);
      }),
      exitProcess(&endProcess) {}

}  // namespace halvo
