// tmtolmui: the wizard. The arguments go to the toolkit as they are; the exit status of a wizard that
// has opened is always 0.

#include <signal.h>
#include <unistd.h>

#include <QtWidgets/QApplication>
#include <cstdlib>
#include <memory>
#include <string>

#include "vpn/Common/Utility/CoreFoundationUtils.h"
#include "vpn/Common/Utility/ProgramStart.h"
#include "vpn/Common/i18n/UiTexts.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RunGuard.h"
#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"
#include "vpn/tools/TOLM/TOLMOffline/QtToolkit.h"
#include "vpn/tools/TOLM/TOLMOffline/ToolkitMessages.h"

namespace {

// Whatever ends the wizard ends the commands of a run that is under way.
void endWithTheRun() {
  halvo::RunGuard::endRunAtOnce();
  _exit(0);
}

// Outside of a run, which has handlers of its own.
void endAtOnce(int /*signal*/) {
  _exit(0);
}

// The end of the session and of the display end the wizard as Quit does. A signal that the caller has
// chosen to ignore stays ignored.
void endWithTheSession() {
  for (const int number : {SIGHUP, SIGINT, SIGTERM}) {
    struct sigaction old = {};
    if (sigaction(number, nullptr, &old) == 0 && old.sa_handler == SIG_DFL) {
      struct sigaction action = {};
      action.sa_handler = endAtOnce;
      sigaction(number, &action, nullptr);
    }
  }
  // Qt leaves by exit() when the display breaks; the static objects must stand while a run goes on.
  static_cast<void>(std::atexit(endWithTheRun));
}

// The toolkit's own texts in the language of the wizard's: where those are English, for want of a
// translation, a box with a button in another language would look broken.
void followTheLanguage(halvo::GUIController& controller) {
  std::string locale;
  if (controller.ts(halvo::textCancel) != halvo::textCancel && halvo::GetLangCode(locale) == 0) {
    halvo::loadToolkitTexts(locale);
  }
}

}  // namespace

int main(int argc, char** argv) {
  halvo::prepareProgram();
  halvo::takeToolkitMessages();
  QApplication application(argc, argv);
  QGuiApplication::setDesktopFileName(QStringLiteral("com.halvo.tessarmont.tolm"));

  halvo::QtToolkit toolkit;
  // Shared: reports that wait in the main queue keep the controller alive.
  const auto controller = std::make_shared<halvo::GUIController>(toolkit);
  toolkit.connectActions(*controller);
  controller->awakeFromNib();
  followTheLanguage(*controller);
  toolkit.show();
  halvo::toolkitHasOpened();
  endWithTheSession();
  QApplication::exec();
  // The end of the loop has ended the process; what stands here is for a loop that never began.
  controller->applicationWillTerminate();
  return 0;
}
