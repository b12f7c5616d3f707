// What the tests of the window share: the application on the "offscreen" platform, a scripted engine, and
// the wizard put together of adapter and flow.

#pragma once

#include <gtest/gtest.h>

#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMainWindow>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStackedWidget>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "vpn/Common/Utility/StoragePath.h"
#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"
#include "vpn/tools/TOLM/TOLMOffline/QtToolkit.h"

namespace halvo::test {

// One for the whole program, as Qt wants it; not destroyed.
inline QApplication& application() {
  static QApplication* instance = [] {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    static int count = 1;
    static char name[] = "tolm_offline_qt_test";
    static char* arguments[] = {name, nullptr};
    return new QApplication(count, arguments);
  }();
  return *instance;
}

// The event loop turns until `done`; the limit only ends a test that has gone wrong.
inline bool turnUntil(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(4);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 20);
  }
  return true;
}

// The text of a button or menu item without its keyboard letter.
inline QString unmarked(QString title) {
  title.replace(QLatin1String("&&"), QString(QChar(1)));
  return title.remove(QLatin1Char('&')).replace(QChar(1), QLatin1Char('&'));
}

class ScriptedEngine : public IEngineRun {
 public:
  ScriptedEngine(std::function<void()> work, std::size_t lostFiles)
      : m_Work(std::move(work)), m_nLostFiles(lostFiles) {}
  void run() override {
    if (m_Work) {
      m_Work();
    }
  }
  [[nodiscard]] std::size_t lostFiles() const override { return m_nLostFiles; }

 private:
  std::function<void()> m_Work;
  std::size_t m_nLostFiles;
};

class QtToolkitTest : public ::testing::Test {
 protected:
  QtToolkitTest() {
    application();
    QGuiApplication::setLayoutDirection(Qt::LeftToRight);
    m_Services.getMessage = [this](const std::string& key) { return m_Translate ? m_Translate(key) : key; };
    m_Services.makeEngine = [this](const std::string&, const std::string&, const std::string& password,
                                   bool) {
      m_Passwords.push_back(password);
      return std::make_unique<ScriptedEngine>(m_Work, m_nLostFiles);
    };
    m_Services.takesFiles = [this](const std::string& folder) {
      m_BundleFolders.push_back(folder);
      return m_bTakesFiles;
    };
    m_Services.exitProcess = [this](int status) { m_Exits.push_back(status); };
    m_Services.createStoragePath = [](CStoragePath*& out) {
      out = nullptr;
      return ResultCode{0};
    };
  }
  ~QtToolkitTest() override {
    // The worker may still hold a run; it is joined here, before the controller goes.
    m_Release.set_value();
    m_pToolkit.reset();
    setProgressListener(nullptr);
    setMainQueue(nullptr);
  }

  // Presses count at once here, unless a test is about those that come too early.
  void open(int quietTime = 0) {
    m_pToolkit = std::make_unique<QtToolkit>(quietTime);
    m_pController = std::make_unique<GUIController>(*m_pToolkit, m_Services);
    m_pToolkit->connectActions(*m_pController);
    m_pController->awakeFromNib();
    m_pToolkit->show();
    m_pToolkit->window().activateWindow();
    QCoreApplication::processEvents();
  }
  template <typename Widget>
  Widget& find(const char* name) {
    Widget* widget = m_pToolkit->window().findChild<Widget*>(QString::fromLatin1(name));
    if (widget == nullptr) {
      throw std::runtime_error(std::string("no object named ") + name);
    }
    return *widget;
  }
  QMainWindow& window() { return m_pToolkit->window(); }
  int screen() { return find<QStackedWidget>("tabView").currentIndex(); }
  std::string focused() {
    const QWidget* widget = window().focusWidget();
    return widget != nullptr ? widget->objectName().toStdString() : "none";
  }
  void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QTest::keyClick(window().focusWidget() != nullptr ? window().focusWidget() : &window(), key, modifiers);
  }
  // Run, to the finished screen.
  void runThrough() {
    find<QPushButton>("runButton").click();
    ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));
  }
  // The run goes on until the test is over.
  void holdTheEngine() {
    m_Work = [released = m_Released] { released.wait(); };
  }
  bool visible(const char* name) { return find<QWidget>(name).isVisible(); }

  WizardServices m_Services;
  std::function<std::string(const std::string&)> m_Translate;
  std::function<void()> m_Work;
  std::promise<void> m_Release;
  std::shared_future<void> m_Released{m_Release.get_future()};
  std::vector<std::string> m_Passwords;
  std::vector<int> m_Exits;
  std::vector<std::string> m_BundleFolders;
  bool m_bTakesFiles = true;
  std::size_t m_nLostFiles = 0;
  std::unique_ptr<GUIController> m_pController;
  std::unique_ptr<QtToolkit> m_pToolkit;
};

// The event loop for tests of the program's end: turns until the flow has ended the process, then
// gives back the statuses that it ended with.
class QtToolkitEndTest : public QtToolkitTest {
 protected:
  std::vector<int> endBy(const std::function<void()>& user) {
    QTimer::singleShot(0, &window(), user);
    // Ends a test that has gone wrong.
    QTimer::singleShot(60000, &window(), [] { QCoreApplication::exit(99); });
    m_nLoopResult = QApplication::exec();
    return m_Exits;
  }
  int m_nLoopResult = -1;
};

}  // namespace halvo::test
