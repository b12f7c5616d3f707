// tmtolmui: the wizard. The arguments go to the toolkit as they are; the exit status of a wizard that
// has opened is always 0.

#include <fontconfig/fontconfig.h>
#include <signal.h>
#include <unistd.h>

#include <QtWidgets/QApplication>
#include <cstdlib>
#include <memory>
#include <string>
#include <system_error>
#include <thread>

#include "vpn/Common/Utility/CoreFoundationUtils.h"
#include "vpn/Common/Utility/ProgramStart.h"
#include "vpn/Common/i18n/UiTexts.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RunGuard.h"
#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"
#include "vpn/tools/TOLM/TOLMOffline/QtToolkit.h"
#include "vpn/tools/TOLM/TOLMOffline/ToolkitMessages.h"
#include "vpn/tools/TOLM/TOLMOffline/WizardStyle.h"

namespace {

// To read the settings of all fonts takes as long as to connect to the display: the one is done beside the
// other. The library keeps what it has read for the toolkit.
class FontSettings {
 public:
  FontSettings() {
    try {
      m_Reader = std::thread([] { static_cast<void>(FcInit()); });
    } catch (const std::system_error&) {
      // No thread to be had: the toolkit reads them when it draws the first text.
    }
  }
  ~FontSettings() { wait(); }
  FontSettings(const FontSettings&) = delete;
  FontSettings& operator=(const FontSettings&) = delete;

  // Before the first text: two threads that look at once would both read.
  void wait() {
    if (m_Reader.joinable()) {
      m_Reader.join();
    }
  }

 private:
  std::thread m_Reader;
};

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
  FontSettings fonts;
  // A menu bar for the whole desktop is asked for over the session's bus, for which the first window waits.
  QCoreApplication::setAttribute(Qt::AA_DontUseNativeMenuBar);
  QApplication application(argc, argv);
  fonts.wait();
  // Not before the application stands: which style the desktop wants isn't known yet. It owns this one.
  QApplication::setStyle(new halvo::WizardStyle);
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
