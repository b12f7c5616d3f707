// GUIController: the whole flow of the wizard, without a toolkit.
//
// One window with three screens (welcome, progress, finished), each shown once and in that order. The
// controller starts one engine run on a background queue, receives its progress on the main thread,
// and closes with a message chosen by the run's result code. There is no other dialog and no way back.
//
// The toolkit isn't owned and outlives the controller. All methods run on the main thread but
// tolmFinished(), which the engine calls on its own. The controller has to live until the process ends:
// queued blocks and the engine's progress channel point to it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMOffline/IToolkit.h"

namespace halvo {

class CStoragePath;

// One engine run, made, run once and destroyed on the background queue.
class IEngineRun {
 public:
  virtual ~IEngineRun() = default;
  // Returns when the run is over; its result travels through the progress channel alone.
  virtual void run() = 0;
  // Behind run(): how many files are cut short or missing in a bundle that stands.
  [[nodiscard]] virtual std::size_t lostFiles() const { return 0; }
  // Behind a run: where its bundle is, which may bear another name than was asked for; empty where there is
  // none to tell of.
  [[nodiscard]] virtual std::string bundlePath() const { return ""; }
};

// What the flow calls below itself. The defaults are the real thing; tests put their own in.
struct WizardServices {
  WizardServices();

  std::function<ResultCode(CStoragePath*&)> createStoragePath;
  std::function<void(CStoragePath*)> releaseStoragePath;
  // English text in, text in the user's language out.
  std::function<std::string(const std::string&)> getMessage;
  // The local time of this moment as the part of a file name.
  std::function<std::string()> bundleTimeText;
  // Whether the user may put a file into this folder now.
  std::function<bool(const std::string& folder)> takesFiles;
  std::function<bool(int major, int minor, int patch)> isSystemVersionAtLeast;
  std::function<std::unique_ptr<IEngineRun>(const std::string& requestPath, const std::string& bundlePath,
                                            const std::string& password, bool clearLogs)>
      makeEngine;
  // Ends the process at once, without exit handlers.
  std::function<void(int status)> exitProcess;
};

class GUIController : public IProgressListener, public IApplicationDelegate {
 public:
  explicit GUIController(IToolkit& toolkit, WizardServices services = WizardServices());
  ~GUIController() override;
  GUIController(const GUIController&) = delete;
  GUIController& operator=(const GUIController&) = delete;

  bool applicationShouldTerminateAfterLastWindowClosed() override;

  // Called once, when the window has been built: fixes the bundle's place and name, takes the engine's
  // progress, and shows the welcome screen. A storage path that can't be made is logged; translations
  // then fall back to English.
  void awakeFromNib();

  // Ends the process with status 0, also after a failed run or during one.
  void applicationWillTerminate() override;

  // Actions, connected by the toolkit's adapter to the control that each is named after.
  void enableEncrypt();
  void maskPassword();
  void runButton();
  void cancelButton();
  void finishButton();

  // What an adapter calls for the user's hand on the encryption box: enableEncrypt(), then the keyboard
  // goes to the password where the box is on.
  void encryptionTicked();
  // What an adapter calls behind each change of a password field, and behind the two boxes' actions: says
  // that the bundle stays open while encryption is ticked and no password is there.
  void passwordEdited();

  void setWelcomeWindow();
  void setProgressWindow();
  void setFinishedWindow();
  // The closing message for the result code, translated.
  std::string getFinishedMsg();

  void updateProgress(const std::uint32_t* percent) override;
  void updateMsg(const std::string& message) override;
  void tolmFinished(ResultCode code) override;

  // Behind setFinishedWindow(), whose message tells a bundle that stands as a success: how many files are cut
  // short or missing in it.
  void tellLostFiles(std::size_t count);
  // Behind setFinishedWindow(): tells the toolkit how the run has ended.
  void showOutcome();

  // The translation of a text, or the text itself.
  std::string ts(const std::string& text);
  void translateMenu();

  // Full path of the bundle to write; from awakeFromNib() to applicationWillTerminate().
  [[nodiscard]] const std::string& bundleLocation() const { return *m_pNSStrBundleLocation; }

 private:
  [[nodiscard]] Outlet visiblePasswordField();
  // Tells of a bundle folder that takes no files while there is still time to mend it.
  void checkBundleFolder();

  IToolkit& m_rToolkit;
  WizardServices m_Services;
  // Written on the engine's thread and read on the main thread, without a lock: the block that reads
  // it is submitted after the engine has returned.
  std::int64_t m_StatusCode = 0;
  // Full path of the bundle to write.
  std::unique_ptr<std::string> m_pNSStrBundleLocation;
  // The wizard's hold on the singleton; given back by releaseStoragePath.
  CStoragePath* m_pStoragePath = nullptr;
};

}  // namespace halvo
