// The wizard's services as the running program has them.

#include <unistd.h>

#include "vpn/Common/Utility/OSInfo.h"
#include "vpn/Common/Utility/StoragePath.h"
#include "vpn/Common/i18n/MsgCatalog.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"

namespace halvo {

namespace {

class EngineRun : public IEngineRun {
 public:
  EngineRun(const std::string& requestPath, const std::string& bundlePath, const std::string& password,
            bool clearLogs)
      : m_Engine(requestPath, bundlePath, password, clearLogs) {}
  void run() override {
    // The code comes through tolmFinished() as well, which is the one way that counts.
    static_cast<void>(m_Engine.run());
  }

 private:
  TOLMEngine m_Engine;
};

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
        return std::make_unique<EngineRun>(requestPath, bundlePath, password, clearLogs);
      }),
      exitProcess(&::_exit) {}

}  // namespace halvo
