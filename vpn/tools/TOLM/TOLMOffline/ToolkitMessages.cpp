#include "vpn/tools/TOLM/TOLMOffline/ToolkitMessages.h"

#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QLibraryInfo>
#include <QtCore/QLocale>
#include <QtCore/QTranslator>
#include <QtCore/QtGlobal>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RunGuard.h"

namespace halvo {

namespace {

std::atomic<bool> s_bOpen = false;
std::mutex s_Lock;
std::string s_strEarlyMessages;

bool contains(const std::string& text, const char* words) {
  return text.find(words) != std::string::npos;
}

// Control characters can't stand in one line.
std::string oneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7f; }, ' ');
  return text;
}

void onMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message) {
  const std::string words = message.toStdString();
  if (!s_bOpen) {
    const std::lock_guard<std::mutex> guard(s_Lock);
    // All that is said before a fatal message belongs to it, and nothing of it is printed by itself.
    s_strEarlyMessages += words + "\n";
    if (type == QtFatalMsg) {
      std::fprintf(stderr, "tmtolmui: %s\n", startFailureLine(s_strEarlyMessages).c_str());
      _exit(1);
    }
    return;
  }
  std::fprintf(stderr, "%s\n", withoutControls(words).c_str());
  if (type != QtDebugMsg && type != QtInfoMsg) {
    LOG_MESSAGE(type == QtWarningMsg ? kLogWarning : kLogError, "The toolkit says: %s", words.c_str());
  }
  if (type == QtFatalMsg) {
    // Qt would abort next. The status is that of every wizard that has opened, whatever became of it.
    RunGuard::endRunAtOnce();
    _exit(0);
  }
}

}  // namespace

void takeToolkitMessages() {
  qInstallMessageHandler(onMessage);
}

void toolkitHasOpened() {
  s_bOpen = true;
}

std::string startFailureLine(const std::string& messages) {
  const char* const kInstead = "; the console program tmtolm gathers a bundle without a window";
  if (contains(messages, "could not connect to display") ||
      contains(messages, "Failed to create wl_display")) {
    return std::string("no display can be opened") + kInstead;
  }
  // Qt's own sentence names the plugin between quotes.
  if (const std::size_t found = messages.find("Could not find the Qt platform plugin \"");
      found != std::string::npos) {
    const std::size_t name = messages.find('"', found) + 1;
    return "the toolkit has no platform plugin \"" +
           oneLine(messages.substr(name, messages.find('"', name) - name)) +
           "\" (is QT_QPA_PLATFORM set to it, or its package missing?)" + kInstead;
  }
  return "the toolkit can't start: " + oneLine(messages.substr(0, messages.find('\n'))) + kInstead;
}

bool loadToolkitTexts(const std::string& locale) {
  QString name = QString::fromStdString(locale);
  name.replace(QLatin1Char('-'), QLatin1Char('_'));
  QTranslator* const texts = new QTranslator(QCoreApplication::instance());  // owned by the application
  if (!texts->load(QLocale(name), QStringLiteral("qtbase"), QStringLiteral("_"),
                   QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    delete texts;
    return false;
  }
  return QCoreApplication::installTranslator(texts);
}

}  // namespace halvo
