#import "vpn/tools/TOLM/TOLMOffline/Darwin/GUIController.h"

#include <memory>
#include <utility>

#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitToolkit.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/HostText.h"
#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"

namespace halvo {

namespace {

// What the engine knows as the listener: hands each report to the controller object.
class ControllerListener final : public IProgressListener {
 public:
  explicit ControllerListener(::GUIController* controller) : m_pController(controller) {}
  void updateMsg(const std::string& message) override { [m_pController updateMsg:hostText(message)]; }
  void updateProgress(const std::uint32_t* percent) override { [m_pController updateProgress:percent]; }
  void tolmFinished(ResultCode code) override { [m_pController tolmFinished:code]; }

 private:
  ::GUIController* m_pController;
};

}  // namespace

// By pointers: a compiler describes the fields of an object to the runtime, down through what they hold.
struct AppKitWizard {
  AppKitWizard(::GUIController* controller, WizardServices services)
      : toolkit(std::make_unique<AppKitToolkit>(controller)),
        flow(std::make_unique<GUIController>(*toolkit, std::move(services))),
        listener(std::make_unique<ControllerListener>(controller)) {}

  std::unique_ptr<AppKitToolkit> toolkit;
  std::unique_ptr<GUIController> flow;
  std::unique_ptr<ControllerListener> listener;
};

}  // namespace halvo

@implementation GUIController

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)application {
  static_cast<void>(application);
  return m_pWizard->flow->applicationShouldTerminateAfterLastWindowClosed();
}

- (void)awakeFromNib {
  // A second one would make a second flow, with a second name for the bundle.
  if (m_pWizard != nullptr) {
    return;
  }
  // The flow's hold on the storage path and its end of the process go through this object's own fields.
  halvo::WizardServices services;
  const auto create = services.createStoragePath;
  services.createStoragePath = [=](halvo::CStoragePath*& out) {
    const halvo::ResultCode result = create(out);
    self->m_pStoragePath = result == 0 ? out : nullptr;
    return result;
  };
  const auto release = services.releaseStoragePath;
  services.releaseStoragePath = [=](halvo::CStoragePath* path) {
    release(path);
    self->m_pStoragePath = nullptr;
  };
  const auto exitProcess = services.exitProcess;
  services.exitProcess = [=](int status) {
    [self->m_pNSStrBundleLocation release];
    self->m_pNSStrBundleLocation = nil;
    exitProcess(status);
  };

  m_pWizard = new halvo::AppKitWizard(self, std::move(services));
  m_pWizard->flow->awakeFromNib();
  m_pNSStrBundleLocation = [halvo::hostText(m_pWizard->flow->bundleLocation()) retain];
  // The engine reports to this object, which hands on to the flow. Behind the flow's own set-up, by which it
  // has made itself the listener.
  halvo::setProgressListener(m_pWizard->listener.get());
}

- (void)applicationWillTerminate:(NSNotification*)notification {
  static_cast<void>(notification);
  m_pWizard->flow->applicationWillTerminate();
}

- (IBAction)enableEncrypt:(id)sender {
  static_cast<void>(sender);
  // Only the user's hand comes here, and so the keyboard goes to the password as well.
  m_pWizard->flow->encryptionTicked();
}

- (IBAction)maskPassword:(id)sender {
  static_cast<void>(sender);
  m_pWizard->flow->maskPassword();
  m_pWizard->flow->passwordEdited();
}

// An action of a press that began on the screen before must neither start the run nor end the program: see
// AppKitToolkit.h.
- (IBAction)runButton:(id)sender {
  static_cast<void>(sender);
  if (m_pWizard->toolkit->takesAction()) {
    m_pWizard->flow->runButton();
  }
}

- (IBAction)cancelButton:(id)sender {
  static_cast<void>(sender);
  if (m_pWizard->toolkit->takesAction()) {
    m_pWizard->flow->cancelButton();
  }
}

- (IBAction)finishButton:(id)sender {
  static_cast<void>(sender);
  if (m_pWizard->toolkit->takesAction()) {
    m_pWizard->flow->finishButton();
  }
}

- (void)setWelcomeWindow {
  m_pWizard->flow->setWelcomeWindow();
}

- (void)setProgressWindow {
  m_pWizard->flow->setProgressWindow();
}

- (void)setFinishedWindow {
  m_pWizard->flow->setFinishedWindow();
}

- (NSString*)getFinishedMsg {
  return halvo::hostText(m_pWizard->flow->getFinishedMsg());
}

- (void)updateProgress:(const std::uint32_t*)percent {
  m_pWizard->flow->updateProgress(percent);
}

- (void)updateMsg:(NSString*)message {
  m_pWizard->flow->updateMsg(halvo::textOf(message));
}

- (void)tolmFinished:(std::uint32_t)code {
  m_StatusCode = static_cast<std::int64_t>(code);
  m_pWizard->flow->tolmFinished(code);
}

- (NSString*)ts:(NSString*)text {
  return halvo::hostText(m_pWizard->flow->ts(halvo::textOf(text)));
}

- (void)translateMenu {
  m_pWizard->flow->translateMenu();
}

- (IBAction)showBundle:(id)sender {
  static_cast<void>(sender);
  if (m_pWizard->toolkit->takesAction()) {
    m_pWizard->toolkit->showBundle();
  }
}

- (void)controlTextDidChange:(NSNotification*)notification {
  static_cast<void>(notification);
  m_pWizard->flow->passwordEdited();
}

- (void)windowDidBecomeKey:(NSNotification*)notification {
  static_cast<void>(notification);
  m_pWizard->toolkit->windowHasKeyboard();
}

- (BOOL)takesPressEvent:(NSEvent*)event {
  return m_pWizard->toolkit->takesPressEvent(event);
}

@end
