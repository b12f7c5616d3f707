// tmtolmui: the wizard. The arguments go to the toolkit as they are; the exit status of a wizard that
// has opened is always 0.

#include <signal.h>
#include <unistd.h>

#include <QtWidgets/QApplication>
#include <cstdio>
#include <cstdlib>

#include "vpn/Common/Utility/ProgramStart.h"
#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"
#include "vpn/tools/TOLM/TOLMOffline/QtToolkit.h"

namespace {

bool g_bOpen = false;

// Qt tells of a display that it can't reach by a fatal message, behind which it would abort. All that
// it says before belongs to that, so nothing of it is printed before the window is open.
void onQtMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message) {
  if (g_bOpen) {
    std::fprintf(stderr, "%s\n", qPrintable(message));
    if (type == QtFatalMsg) {
      _exit(0);
    }
  } else if (type == QtFatalMsg) {
    std::fputs(
        "tmtolmui: no display can be opened; the console program tmtolm gathers a bundle without one\n",
        stderr);
    _exit(1);
  }
}

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
  static_cast<void>(std::atexit([] { _exit(0); }));
}

}  // namespace

int main(int argc, char** argv) {
  halvo::prepareProgram();
  qInstallMessageHandler(onQtMessage);
  QApplication application(argc, argv);
  QGuiApplication::setDesktopFileName(QStringLiteral("com.halvo.tessarmont.tolm"));

  halvo::QtToolkit toolkit;
  halvo::GUIController controller(toolkit);
  toolkit.connectActions(controller);
  controller.awakeFromNib();
  toolkit.show();
  g_bOpen = true;
  endWithTheSession();
  QApplication::exec();
  // The end of the loop has ended the process; what stands here is for a loop that never began.
  controller.applicationWillTerminate();
  return 0;
}
