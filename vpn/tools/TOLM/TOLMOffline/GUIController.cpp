#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"

#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/i18n/UiTexts.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

namespace halvo {

GUIController::GUIController(IToolkit& toolkit, WizardServices services)
    : m_rToolkit(toolkit), m_Services(std::move(services)) {}

// The storage path isn't given back here: applicationWillTerminate() does it, and the process ends there.
GUIController::~GUIController() = default;

bool GUIController::applicationShouldTerminateAfterLastWindowClosed() {
  return true;
}

void GUIController::awakeFromNib() {
  m_pStoragePath = nullptr;
  const ResultCode result = m_Services.createStoragePath(m_pStoragePath);
  if (result != 0) {
    // Function and line are fixed, whatever toolkit stands above: readers of logs know the record by them.
    logDebugReturnCode("-[GUIController awakeFromNib]", __FILE__, 40, kLogError,
                       "CStoragePath::CreateSingletonInstance", result, nullptr, nullptr);
    m_pStoragePath = nullptr;
  }

  translateMenu();

  // Fixed now and not when Run is pressed: support goes by the minute in which the window was opened.
  m_pNSStrBundleLocation =
      std::make_unique<std::string>(helperUtil::translatePath(helperUtil::defaultBundleFolder()) +
                                    "TOLMBundle" + m_Services.bundleTimeText() + ".zip");

  // The queue first: a listener without it would be told on the engine's thread, which must not draw.
  setMainQueue(&m_rToolkit.mainQueue());
  setProgressListener(this);

  m_rToolkit.setTitle(Outlet::mainWindow, ts(textWindowTitle));
  m_rToolkit.setTabViewType(Outlet::tabView, kNoTabsNoBorder);
  setWelcomeWindow();
  m_rToolkit.setDelegate(this);
  checkBundleFolder();
}

void GUIController::applicationWillTerminate() {
  if (m_pStoragePath != nullptr) {
    m_Services.releaseStoragePath(m_pStoragePath);
    m_pStoragePath = nullptr;
  }
  m_pNSStrBundleLocation.reset();
  // At once, because a run may be under way on the other thread: exit handlers and static destructors
  // would pull the ground from under it. The status is 0 also after a failed run.
  m_Services.exitProcess(0);
}

void GUIController::enableEncrypt() {
  const bool enabled = m_rToolkit.state(Outlet::encryptionBox) == kStateOn;
  m_rToolkit.setEnabled(Outlet::passwordField, enabled);
  m_rToolkit.setEnabled(Outlet::unmaskPassword, enabled);
  m_rToolkit.setEnabled(Outlet::maskPswdBox, enabled);
}

void GUIController::maskPassword() {
  const bool masked = m_rToolkit.state(Outlet::maskPswdBox) == kStateOn;
  const Outlet target = masked ? Outlet::passwordField : Outlet::unmaskPassword;
  const Outlet source = masked ? Outlet::unmaskPassword : Outlet::passwordField;
  // Filled ahead of being shown, so that the one field that is seen never lacks what was typed.
  m_rToolkit.setStringValue(target, m_rToolkit.stringValue(source));
  m_rToolkit.setHidden(target, false);
  m_rToolkit.setHidden(source, true);
}

Outlet GUIController::visiblePasswordField() {
  return m_rToolkit.state(Outlet::maskPswdBox) == kStateOn ? Outlet::passwordField : Outlet::unmaskPassword;
}

void GUIController::encryptionTicked() {
  enableEncrypt();
  if (m_rToolkit.state(Outlet::encryptionBox) == kStateOn) {
    m_rToolkit.focus(visiblePasswordField());
  }
  passwordEdited();
}

void GUIController::passwordEdited() {
  const bool open = m_rToolkit.state(Outlet::encryptionBox) == kStateOn &&
                    m_rToolkit.stringValue(visiblePasswordField()).empty();
  m_rToolkit.setHint(Hint::emptyPassword, open ? ts(textPasswordEmpty) : "");
}

void GUIController::checkBundleFolder() {
  const std::string folder = helperUtil::translatePath(helperUtil::defaultBundleFolder());
  if (m_Services.takesFiles(folder)) {
    return;
  }
  std::string hint = ts(textDesktopMissing);
  // Filled in by hand: the catalog's own forms cut at some kilobytes, and a path may be longer.
  if (const std::size_t place = hint.find("%s"); place != std::string::npos) {
    hint.replace(place, 2, folder);
  }
  m_rToolkit.setHint(Hint::desktopFolder, hint);
}

void GUIController::runButton() {
  // First of all: the button goes with its screen, and a second press finds none.
  setProgressWindow();

  // The visible field decides. Nothing is checked: an empty password with the box on is a password too.
  std::string password;
  // Ahead of the first copy, and until the run is over.
  std::shared_ptr<const SecretScope> kept;
  if (m_rToolkit.state(Outlet::encryptionBox) == kStateOn) {
    kept = std::make_shared<const SecretScope>();
    password = m_rToolkit.stringValue(visiblePasswordField());
  }
  const std::string bundleLocation = *m_pNSStrBundleLocation;

  const GlobalQueue queue =
      m_Services.isSystemVersionAtLeast(10, 10, 0) ? GlobalQueue::utility : GlobalQueue::background;
  m_rToolkit.dispatchAsync(queue, [this, bundleLocation, password, kept]() mutable {
    // The empty request path is what makes this the default run.
    const std::unique_ptr<IEngineRun> engine = m_Services.makeEngine("", bundleLocation, password, false);
    // The run has a copy of its own by now.
    wipe(password);
    engine->run();
    // Behind every progress block of the run, and before the engine is destroyed.
    m_rToolkit.mainQueue().submit([this, lost = engine->lostFiles(), written = engine->bundlePath()] {
      if (!written.empty() && m_pNSStrBundleLocation != nullptr) {
        *m_pNSStrBundleLocation = written;
      }
      setFinishedWindow();
      tellLostFiles(lost);
      showOutcome();
    });
  });
  wipe(password);
}

void GUIController::cancelButton() {
  // The engine isn't told and isn't waited for: the process ends with it.
  m_rToolkit.terminate();
}

void GUIController::finishButton() {
  m_rToolkit.terminate();
}

void GUIController::setWelcomeWindow() {
  m_rToolkit.setStringValue(Outlet::welcomeMsg, ts(textWelcome));
  m_rToolkit.setStringValue(Outlet::tolmIntro, ts(textIntro));
  m_rToolkit.setTitle(Outlet::encryptionBox, ts(textEnableEncryption));
  m_rToolkit.setStringValue(Outlet::pswdText, ts(textEncryptionPassword));
  m_rToolkit.setTitle(Outlet::maskPswdBox, ts(textMaskPassword));
  m_rToolkit.setTitle(Outlet::runButton, ts(textRun));

  m_rToolkit.setState(Outlet::encryptionBox, kStateOff);

  m_rToolkit.setEnabled(Outlet::passwordField, false);
  m_rToolkit.setHidden(Outlet::passwordField, false);
  m_rToolkit.setEnabled(Outlet::unmaskPassword, false);
  m_rToolkit.setHidden(Outlet::unmaskPassword, true);

  m_rToolkit.setEnabled(Outlet::maskPswdBox, false);
  m_rToolkit.setState(Outlet::maskPswdBox, kStateOn);
}

void GUIController::setProgressWindow() {
  m_rToolkit.selectNextTabViewItem(Outlet::tabView);
  m_rToolkit.startAnimation(Outlet::progressBar);
  m_rToolkit.setTitle(Outlet::cancelButton, ts(textCancel));
  m_rToolkit.displayIfNeeded(Outlet::tabView);
}

void GUIController::setFinishedWindow() {
  m_rToolkit.selectNextTabViewItem(Outlet::tabView);
  m_rToolkit.setTitle(Outlet::finishButton, ts(textFinish));
  m_rToolkit.setStringValue(Outlet::finishMsg, getFinishedMsg());
  m_rToolkit.displayIfNeeded(Outlet::finishMsg);
  m_rToolkit.displayIfNeeded(Outlet::tabView);
}

void GUIController::tellLostFiles(std::size_t count) {
  if (count == 0) {
    return;
  }
  std::string hint = ts(textFilesLost);
  if (const std::size_t place = hint.find("%s"); place != std::string::npos) {
    hint.replace(place, 2, std::to_string(count));
  }
  m_rToolkit.setHint(Hint::lostFiles, hint);
}

void GUIController::showOutcome() {
  Outcome outcome;
  outcome.isGood = m_StatusCode == 0;
  // Without a location the application is about to end, and nobody sees the screen any more.
  if (outcome.isGood && m_pNSStrBundleLocation != nullptr) {
    outcome.bundlePath = *m_pNSStrBundleLocation;
    outcome.showInFolderTitle = ts(textShowInFolder);
  }
  m_rToolkit.showOutcome(outcome);
}

std::string GUIController::getFinishedMsg() {
  if (m_StatusCode == TOLMENGINE_ERROR_WRITE_FAILURE) {
    // Its "%s" reaches the screen as it stands; no location is put in. Meant: translators and support
    // know the message in this form.
    return ts(textBundleCannotBeSaved);
  }
  if (m_StatusCode == TOLMENGINE_ERROR_INTERNAL) {
    return ts(textInternalError);
  }
  if (m_StatusCode != 0) {
    return ts(textUnknownError);
  }
  // Also where a run never reported a finish.
  return ts(textBundleOnDesktop);
}

void GUIController::updateProgress(const std::uint32_t* percent) {
  m_rToolkit.setDoubleValue(Outlet::progressBar, static_cast<double>(*percent));
  m_rToolkit.displayIfNeeded(Outlet::progressBar);
}

void GUIController::updateMsg(const std::string& message) {
  m_rToolkit.setStringValue(Outlet::progressMsg, message);
  m_rToolkit.displayIfNeeded(Outlet::progressMsg);
}

void GUIController::tolmFinished(ResultCode code) {
  m_StatusCode = static_cast<std::int64_t>(code);
}

std::string GUIController::ts(const std::string& text) {
  return m_Services.getMessage(text);
}

void GUIController::translateMenu() {
  m_rToolkit.setTitle(Outlet::mAbout, ts(textAbout));
  m_rToolkit.setTitle(Outlet::mHideTolm, ts(textHide));
  m_rToolkit.setTitle(Outlet::mHideOthers, ts(textHideOthers));
  m_rToolkit.setTitle(Outlet::mShowAll, ts(textShowAll));
  m_rToolkit.setTitle(Outlet::mQuitTolm, ts(textQuit));
}

}  // namespace halvo
