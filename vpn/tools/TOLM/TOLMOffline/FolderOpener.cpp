#include "vpn/tools/TOLM/TOLMOffline/FolderOpener.h"

#include <QtCore/QFileInfo>
#include <QtCore/QStandardPaths>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>
#include <QtDBus/QDBusPendingCallWatcher>
#include <QtDBus/QDBusPendingReply>
#include <QtGui/QDesktopServices>
#include <memory>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Descendants.h"

namespace halvo {

namespace {

constexpr int kAnswerMs = 3000;

QString fileManager() {
  return QStringLiteral("org.freedesktop.FileManager1");
}

QDBusMessage busCall(const char* method) {
  return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/"),
                                        QStringLiteral("org.freedesktop.DBus"), QLatin1String(method));
}

// The toolkit opens folders by this program of the desktop.
bool canOpenFolders() {
  return !QStandardPaths::findExecutable(QStringLiteral("xdg-open")).isEmpty();
}

}  // namespace

FolderOpener::FolderOpener(QObject* parent) : QObject(parent) {}

void FolderOpener::find(std::function<void(bool canShow)> answer) {
  const QDBusConnection bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) {
    // Never from within this call: the answer comes as late with a bus, too.
    QTimer::singleShot(0, this, [answer = std::move(answer)] { answer(canOpenFolders()); });
    return;
  }
  // Both lists are asked for: a file manager may run without a way to start it, or wait to be started.
  const auto open = std::make_shared<int>(2);
  const auto finished = [this, open, answer = std::move(answer)](QDBusPendingCallWatcher* call) {
    const QDBusPendingReply<QStringList> reply = *call;
    m_bFileManager = m_bFileManager || (!reply.isError() && reply.value().contains(fileManager()));
    call->deleteLater();
    if (--*open == 0) {
      answer(m_bFileManager || canOpenFolders());
    }
  };
  // Nobody waits: a bus that doesn't answer holds up the button and not the window.
  for (const char* method : {"ListNames", "ListActivatableNames"}) {
    QDBusPendingCallWatcher* const call =
        new QDBusPendingCallWatcher(bus.asyncCall(busCall(method), kAnswerMs), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, finished);
  }
}

void FolderOpener::show(const QString& file) {
  if (!m_bFileManager) {
    openFolder(file);
    return;
  }
  QDBusMessage message =
      QDBusMessage::createMethodCall(fileManager(), QStringLiteral("/org/freedesktop/FileManager1"),
                                     fileManager(), QStringLiteral("ShowItems"));
  message << QStringList(QUrl::fromLocalFile(file).toString(QUrl::FullyEncoded)) << QString();
  QDBusPendingCallWatcher* const call =
      new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
  connect(call, &QDBusPendingCallWatcher::finished, this, [this, file](QDBusPendingCallWatcher* finished) {
    const QDBusPendingReply<> reply = *finished;
    finished->deleteLater();
    if (reply.isError()) {
      LOG_MESSAGE(kLogWarning, "The file manager doesn't show the bundle: %s",
                  reply.error().message().toUtf8().constData());
      openFolder(file);
    }
  });
}

void FolderOpener::openFolder(const QString& file) {
  const QString folder = QFileInfo(file).absolutePath();
  // What opens it is the user's, and must not end with the commands that the run has left behind.
  leaveOrphans();
  if (!QDesktopServices::openUrl(QUrl::fromLocalFile(folder))) {
    LOG_MESSAGE(kLogWarning, "No program of the desktop opens the folder %s", folder.toUtf8().constData());
  }
}

}  // namespace halvo
