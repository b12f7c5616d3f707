// The window on the "offscreen" platform: what the adapter makes of the flow's calls and of the user's.

#include "vpn/tools/TOLM/TOLMOffline/QtToolkit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtGui/QAccessible>
#include <QtGui/QClipboard>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QProgressBar>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QToolTip>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "vpn/tools/TOLM/TOLMOffline/QtToolkitSupport_test.h"

// The font library keeps its caches to the end of the process, which the leak checker takes for leaks.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\n";
}

namespace halvo {
namespace {

using test::QtToolkitEndTest;
using test::QtToolkitTest;
using test::turnUntil;
using test::unmarked;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(QtToolkitTest, WelcomeScreenShowsItsTextsAndHasEncryptionOff) {
  open();

  EXPECT_EQ(screen(), 0);
  EXPECT_EQ(window().windowTitle(), QStringLiteral("Halvo TOLM"));
  EXPECT_EQ(find<QLabel>("welcomeMsg").text(), QStringLiteral("Welcome to the Halvo Fieldcase (TOLM)."));
  EXPECT_TRUE(find<QLabel>("tolmIntro").text().startsWith(QStringLiteral("TOLM is a tool")));
  EXPECT_EQ(find<QLabel>("pswdText").text(), QStringLiteral("Encryption Password"));
  EXPECT_EQ(unmarked(find<QCheckBox>("encryptionBox").text()), QStringLiteral("Enable Bundle Encryption"));
  EXPECT_EQ(unmarked(find<QPushButton>("runButton").text()), QStringLiteral("Run"));
  EXPECT_FALSE(find<QCheckBox>("encryptionBox").isChecked());
  EXPECT_TRUE(find<QCheckBox>("maskPswdBox").isChecked());
  EXPECT_FALSE(find<QCheckBox>("maskPswdBox").isEnabled());
  EXPECT_FALSE(find<QLineEdit>("passwordField").isEnabled());
  EXPECT_TRUE(visible("passwordField"));
  EXPECT_FALSE(visible("unmaskPassword"));
}

TEST_F(QtToolkitTest, ScreensFollowOneAnotherWithoutTabsAndWithoutAWayBack) {
  open();

  runThrough();
  m_pToolkit->selectNextTabViewItem(Outlet::tabView);

  EXPECT_EQ(screen(), 2);
  EXPECT_EQ(find<QStackedWidget>("tabView").frameShape(), QFrame::NoFrame);
  EXPECT_TRUE(visible("finishButton"));
  EXPECT_FALSE(visible("runButton"));
  EXPECT_FALSE(visible("cancelButton"));
}

TEST_F(QtToolkitTest, BothPasswordFieldsStandAtTheSamePlace) {
  open();
  find<QCheckBox>("encryptionBox").click();
  const QLineEdit& masked = find<QLineEdit>("passwordField");
  const QRect place(masked.mapToGlobal(QPoint(0, 0)), masked.size());

  find<QCheckBox>("maskPswdBox").click();

  const QLineEdit& shown = find<QLineEdit>("unmaskPassword");
  EXPECT_TRUE(shown.isVisible());
  EXPECT_FALSE(masked.isVisible());
  EXPECT_EQ(QRect(shown.mapToGlobal(QPoint(0, 0)), shown.size()), place);
  EXPECT_EQ(masked.echoMode(), QLineEdit::Password);
  EXPECT_EQ(shown.echoMode(), QLineEdit::Normal);
}

TEST_F(QtToolkitTest, OnlyTheUsersHandSendsAnAction) {
  open();
  m_pToolkit->setState(Outlet::encryptionBox, kStateOn);
  EXPECT_FALSE(find<QLineEdit>("passwordField").isEnabled());

  m_pToolkit->setState(Outlet::encryptionBox, kStateOff);
  find<QCheckBox>("encryptionBox").click();

  EXPECT_TRUE(find<QLineEdit>("passwordField").isEnabled());
  EXPECT_TRUE(find<QLineEdit>("unmaskPassword").isEnabled());
  EXPECT_TRUE(find<QCheckBox>("maskPswdBox").isEnabled());
}

TEST_F(QtToolkitTest, KeyboardStaysInThePasswordWhenItIsUnmasked) {
  open();
  find<QCheckBox>("encryptionBox").click();
  find<QLineEdit>("passwordField").setFocus();

  m_pToolkit->setState(Outlet::maskPswdBox, kStateOff);
  m_pController->maskPassword();

  EXPECT_EQ(focused(), "unmaskPassword");
}

TEST_F(QtToolkitTest, TabGoesThroughTheWelcomeScreenInReadingOrder) {
  open();
  EXPECT_EQ(focused(), "encryptionBox");
  press(Qt::Key_Space);  // takes the keyboard on to the password
  std::vector<std::string> order = {focused()};
  for (int i = 0; i < 4; ++i) {
    press(Qt::Key_Tab);
    order.push_back(focused());
  }

  EXPECT_THAT(order,
              ElementsAre("passwordField", "maskPswdBox", "runButton", "encryptionBox", "passwordField"));
}

TEST_F(QtToolkitTest, ReturnInThePasswordFieldRuns) {
  open();
  find<QCheckBox>("encryptionBox").click();
  find<QLineEdit>("passwordField").setFocus();
  QTest::keyClicks(window().focusWidget(), QStringLiteral("pw"));

  press(Qt::Key_Return);

  ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));
  EXPECT_THAT(m_Passwords, ElementsAre("pw"));
}

TEST_F(QtToolkitTest, ReturnThatIsHeldDownDoesNotRun) {
  open();
  QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, QString(), true);

  QCoreApplication::sendEvent(&window(), &repeated);

  EXPECT_EQ(screen(), 0);
}

// X repeats a key by a release and a press with one time, and Qt lets some of those presses pass for new
// ones.
TEST_F(QtToolkitTest, ReturnOfTheMomentOfItsReleaseIsARepeatedOne) {
  open();
  QKeyEvent release(QEvent::KeyRelease, Qt::Key_Return, Qt::NoModifier);
  release.setTimestamp(500);
  QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
  press.setTimestamp(500);

  QCoreApplication::sendEvent(window().focusWidget(), &release);
  QCoreApplication::sendEvent(window().focusWidget(), &press);
  EXPECT_EQ(screen(), 0);

  press.setTimestamp(501);
  QCoreApplication::sendEvent(window().focusWidget(), &press);
  EXPECT_EQ(screen(), 1);
  ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));
}

// The release presses Run and gives the keyboard to Cancel, which the press would then get.
TEST_F(QtToolkitTest, SpaceThatIsHeldDownOnRunDoesNotCancel) {
  holdTheEngine();
  open();
  find<QPushButton>("runButton").setFocus();
  QKeyEvent press(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier);
  QKeyEvent release(QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier);
  bool cancelled = false;
  QObject::connect(&find<QPushButton>("cancelButton"), &QPushButton::clicked, &window(),
                   [&cancelled] { cancelled = true; });

  for (const int time : {500, 540, 580}) {
    press.setTimestamp(static_cast<quint64>(time));
    QCoreApplication::sendEvent(window().focusWidget(), &press);
    release.setTimestamp(static_cast<quint64>(time) + 40);
    QCoreApplication::sendEvent(window().focusWidget(), &release);
  }

  EXPECT_EQ(screen(), 1);
  EXPECT_EQ(focused(), "cancelButton");
  EXPECT_FALSE(cancelled);
}

TEST_F(QtToolkitTest, SpaceThatIsHeldDownInThePasswordIsTypedAgain) {
  open();
  find<QCheckBox>("encryptionBox").click();
  find<QLineEdit>("passwordField").setFocus();

  for (const bool repeated : {false, true, true}) {
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "), repeated);
    QCoreApplication::sendEvent(window().focusWidget(), &press);
  }

  EXPECT_EQ(m_pToolkit->stringValue(Outlet::passwordField), "   ");
}

TEST_F(QtToolkitEndTest, WholeWizardGoesByKeyboardAlone) {
  open();
  press(Qt::Key_Space);  // tick encryption
  QTest::keyClicks(window().focusWidget(), QStringLiteral("secret"));
  press(Qt::Key_Tab);
  press(Qt::Key_Space);  // unmask
  EXPECT_EQ(find<QLineEdit>("unmaskPassword").text(), QStringLiteral("secret"));

  press(Qt::Key_Return);
  ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));
  EXPECT_EQ(focused(), "finishButton");

  EXPECT_THAT(endBy([this] { press(Qt::Key_Return); }), ElementsAre(0));
  EXPECT_THAT(m_Passwords, ElementsAre("secret"));
}

TEST_F(QtToolkitEndTest, EscapeOnTheWelcomeScreenCloses) {
  open();

  EXPECT_THAT(endBy([this] { press(Qt::Key_Escape); }), ElementsAre(0));
  EXPECT_THAT(m_Passwords, IsEmpty());
}

TEST_F(QtToolkitEndTest, EscapeDuringTheRunCancels) {
  holdTheEngine();
  open();
  find<QPushButton>("runButton").click();
  ASSERT_EQ(screen(), 1);

  EXPECT_THAT(endBy([this] { press(Qt::Key_Escape); }), ElementsAre(0));
}

TEST_F(QtToolkitEndTest, ReturnDuringTheRunDoesNotCancel) {
  holdTheEngine();
  open();
  find<QPushButton>("runButton").click();

  press(Qt::Key_Return);
  press(Qt::Key_Enter);

  EXPECT_EQ(screen(), 1);
  EXPECT_EQ(focused(), "cancelButton");
  EXPECT_THAT(endBy([this] { press(Qt::Key_Space); }), ElementsAre(0));  // the focused Cancel
}

TEST_F(QtToolkitEndTest, EscapeOnTheFinishedScreenFinishes) {
  open();
  runThrough();

  EXPECT_THAT(endBy([this] { press(Qt::Key_Escape); }), ElementsAre(0));
}

TEST_F(QtToolkitEndTest, ReturnOnTheFinishedScreenFinishes) {
  open();
  runThrough();

  EXPECT_THAT(endBy([this] { press(Qt::Key_Return); }), ElementsAre(0));
}

// The Finish button has the keyboard, and takes Return before the window does.
TEST_F(QtToolkitEndTest, ReturnThatIsHeldDownOverTheRunDoesNotFinish) {
  open();
  find<QPushButton>("runButton").setFocus();
  press(Qt::Key_Return);
  ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));
  bool finished = false;
  QObject::connect(&find<QPushButton>("finishButton"), &QPushButton::clicked, &window(),
                   [&finished] { finished = true; });

  for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
    QKeyEvent repeated(QEvent::KeyPress, key, Qt::NoModifier, QString(), true);
    QCoreApplication::sendEvent(window().focusWidget(), &repeated);
  }

  EXPECT_EQ(focused(), "finishButton");
  EXPECT_FALSE(finished);
  EXPECT_THAT(endBy([this] { press(Qt::Key_Return); }), ElementsAre(0));
}

TEST_F(QtToolkitEndTest, ClosingTheWindowEndsWhileTheAboutBoxIsOpen) {
  open();
  find<QAction>("mAbout").trigger();

  EXPECT_THAT(endBy([this] { window().close(); }), ElementsAre(0));
}

TEST_F(QtToolkitTest, EscapeInTheAboutBoxClosesTheBoxAlone) {
  open();
  find<QAction>("mAbout").trigger();
  QMessageBox* about = window().findChild<QMessageBox*>();
  ASSERT_NE(about, nullptr);
  QPointer<QMessageBox> box(about);

  QTest::keyClick(about, Qt::Key_Escape);

  ASSERT_TRUE(turnUntil([&box] { return box == nullptr; }));
  EXPECT_TRUE(window().isVisible());
  EXPECT_THAT(m_Exits, IsEmpty());
}

TEST_F(QtToolkitEndTest, ClosingTheWindowEnds) {
  open();

  EXPECT_THAT(endBy([this] { window().close(); }), ElementsAre(0));
  EXPECT_EQ(m_nLoopResult, 0);
}

TEST_F(QtToolkitEndTest, QuitEnds) {
  open();

  EXPECT_THAT(endBy([this] { find<QAction>("mQuitTolm").trigger(); }), ElementsAre(0));
}

TEST_F(QtToolkitEndTest, QuitEndsWhileTheAboutBoxIsOpen) {
  open();
  find<QAction>("mAbout").trigger();

  EXPECT_THAT(endBy([this] { find<QAction>("mQuitTolm").trigger(); }), ElementsAre(0));
}

TEST_F(QtToolkitTest, MenuShowsWhatHasASenseOnThisDesktop) {
  open();
  std::vector<std::string> shown;
  for (const QAction* action : find<QMenu>("applicationMenu").actions()) {
    if (action->isVisible() && !action->isSeparator()) {
      shown.push_back(unmarked(action->text()).toStdString());
    }
  }

  EXPECT_THAT(shown, ElementsAre("About TOLM", "Quit TOLM"));
  EXPECT_EQ(unmarked(find<QAction>("mHideTolm").text()), QStringLiteral("Hide TOLM"));
  EXPECT_EQ(unmarked(find<QAction>("mHideOthers").text()), QStringLiteral("Hide Others"));
  EXPECT_EQ(unmarked(find<QAction>("mShowAll").text()), QStringLiteral("Show All"));
  EXPECT_EQ(find<QAction>("mQuitTolm").shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
}

TEST_F(QtToolkitTest, MenuIsOpenedByTheKeyboardAlone) {
  open();

  press(Qt::Key_Alt);
  press(Qt::Key_Down);

  EXPECT_TRUE(turnUntil([this] { return find<QMenu>("applicationMenu").isVisible(); }));
  EXPECT_EQ(find<QMenu>("applicationMenu").activeAction(), &find<QAction>("mAbout"));
  find<QMenu>("applicationMenu").close();
}

TEST_F(QtToolkitTest, AboutBoxNamesTheProgramAndItsVersionAndOpensOnce) {
  open();

  find<QAction>("mAbout").trigger();
  find<QAction>("mAbout").trigger();

  const QList<QMessageBox*> boxes = window().findChildren<QMessageBox*>();
  ASSERT_EQ(boxes.size(), 1);
  EXPECT_TRUE(boxes[0]->text().startsWith(QStringLiteral("Halvo TOLM ")));
  EXPECT_FALSE(boxes[0]->isModal());
  EXPECT_TRUE(boxes[0]->isVisible());
}

TEST_F(QtToolkitTest, TextsAreShownAsTheyStandWithoutMarkUp) {
  m_Translate = [](const std::string&) { return "<b>a</b> &amp; && %s \"q\""; };
  open();
  const QString shown = QStringLiteral("<b>a</b> &amp; && %s \"q\"");

  EXPECT_EQ(find<QLabel>("welcomeMsg").text(), shown);
  EXPECT_EQ(find<QLabel>("welcomeMsg").textFormat(), Qt::PlainText);
  EXPECT_EQ(find<QLabel>("finishMsg").textFormat(), Qt::PlainText);
  EXPECT_EQ(find<QLabel>("progressMsg").textFormat(), Qt::PlainText);
  EXPECT_EQ(unmarked(find<QPushButton>("runButton").text()), shown);
  EXPECT_EQ(m_pToolkit->stringValue(Outlet::welcomeMsg), "<b>a</b> &amp; && %s \"q\"");
}

TEST_F(QtToolkitTest, TextsOfTenThousandCharactersDoNotChangeTheWindow) {
  open();
  const QSize size = window().size();
  const QSize smallest = window().minimumSizeHint();
  std::vector<std::string> texts;
  texts.emplace_back(10000, 'w');  // nowhere to break
  texts.emplace_back();
  while (texts.back().size() < 10000) {
    texts.back() += "some words ";
  }
  texts.emplace_back();
  while (texts.back().size() < 30000) {
    texts.back() += "\xe8\xa8\xba";
  }
  texts.emplace_back(10000, '\n');
  for (const std::string& lengthy : texts) {
    for (const Outlet outlet : {Outlet::welcomeMsg, Outlet::tolmIntro, Outlet::pswdText, Outlet::progressMsg,
                                Outlet::finishMsg, Outlet::passwordField, Outlet::unmaskPassword}) {
      m_pToolkit->setStringValue(outlet, lengthy);
      EXPECT_EQ(m_pToolkit->stringValue(outlet), lengthy);
    }
    for (const Outlet outlet :
         {Outlet::mainWindow, Outlet::encryptionBox, Outlet::maskPswdBox, Outlet::runButton,
          Outlet::cancelButton, Outlet::finishButton, Outlet::mAbout, Outlet::mHideTolm, Outlet::mHideOthers,
          Outlet::mShowAll, Outlet::mQuitTolm}) {
      m_pToolkit->setTitle(outlet, lengthy);
    }
    for (int i = 0; i < 3; ++i) {
      find<QStackedWidget>("tabView").setCurrentIndex(i);
      QCoreApplication::processEvents();
      EXPECT_EQ(window().size(), size);
      EXPECT_LE(window().minimumSizeHint().width(), size.width());
      EXPECT_LE(window().minimumSizeHint().height(), smallest.height() + 50);
    }
  }
}

TEST_F(QtToolkitTest, LengthyMessageCanBeScrolledByKeyboard) {
  open();
  runThrough();
  EXPECT_EQ(find<QScrollArea>("finishedScroll").focusPolicy(), Qt::NoFocus);
  std::string lengthy;
  while (lengthy.size() < 10000) {
    lengthy += "some words ";
  }

  m_pToolkit->setStringValue(Outlet::finishMsg, lengthy);
  ASSERT_TRUE(turnUntil([this] { return find<QScrollArea>("finishedScroll").focusPolicy() != Qt::NoFocus; }));

  press(Qt::Key_Tab);
  EXPECT_EQ(focused(), "finishedScroll");
}

TEST_F(QtToolkitTest, WindowFitsANarrowScreen) {
  open();

  m_pToolkit->fitTo(QSize(320, 240));
  window().resize(320, 240);
  QCoreApplication::processEvents();

  EXPECT_LE(window().width(), 320);
  EXPECT_LE(window().height(), 240);
  const QPushButton& run = find<QPushButton>("runButton");
  EXPECT_TRUE(window().rect().contains(QRect(run.mapTo(&window(), QPoint(0, 0)), run.size())));
  const QLabel& intro = find<QLabel>("tolmIntro");
  EXPECT_GE(intro.height(), intro.heightForWidth(intro.width()));
}

TEST_F(QtToolkitTest, LengthyProgressTextIsElidedWithTheWholeTextAsToolTip) {
  open();
  runThrough();
  find<QStackedWidget>("tabView").setCurrentIndex(1);
  QLabel& label = find<QLabel>("progressMsg");
  std::string whole = "Processing <events> ";
  whole.append(300, 'x');
  m_pToolkit->setStringValue(Outlet::progressMsg, whole);
  QCoreApplication::processEvents();

  QHelpEvent help(QEvent::ToolTip, QPoint(5, 5), label.mapToGlobal(QPoint(5, 5)));
  QCoreApplication::sendEvent(&label, &help);

  EXPECT_TRUE(QToolTip::isVisible());
  EXPECT_EQ(QToolTip::text(),
            QLatin1String("<qt>") + QString::fromStdString(whole).toHtmlEscaped() + QLatin1String("</qt>"));
  EXPECT_EQ(label.text().toStdString(), whole);
  QToolTip::hideText();
}

// A description in an instruction document may be as long as the document. To lay all of it out would
// take minutes and the machine's memory, which ends the test.
TEST_F(QtToolkitTest, ProgressTextOfFiftyMebibytesIsShownByItsFront) {
  open();
  find<QStackedWidget>("tabView").setCurrentIndex(1);
  QLabel& label = find<QLabel>("progressMsg");
  const std::size_t size = std::size_t{50} << 20;
  const std::string whole = "Processing " + std::string(size, 'x');

  m_pController->updateMsg(whole);
  QCoreApplication::processEvents();
  QHelpEvent help(QEvent::ToolTip, QPoint(5, 5), label.mapToGlobal(QPoint(5, 5)));
  QCoreApplication::sendEvent(&label, &help);

  EXPECT_EQ(m_pToolkit->stringValue(Outlet::progressMsg), whole);
  EXPECT_TRUE(QToolTip::text().startsWith(QStringLiteral("<qt>Processing xxx")));
  EXPECT_TRUE(QToolTip::text().endsWith(QStringLiteral("xxx\u2026</qt>")));
  EXPECT_LT(QToolTip::text().size(), 11000);
  QToolTip::hideText();
}

// A language file holds a mebibyte at most, and one text may fill it. To lay all of it out would take
// minutes, which ends the test.
TEST_F(QtToolkitTest, TranslationsOfAMebibyteLeaveTheWizardWorking) {
  std::string words;
  while (words.size() < 0x100000) {
    words += "some words ";
  }
  for (const std::string& lengthy : {words, std::string(0x100000, 'w')}) {
    m_Translate = [&lengthy](const std::string&) { return lengthy; };
    open();

    runThrough();
    QCoreApplication::processEvents();

    EXPECT_EQ(m_pToolkit->stringValue(Outlet::finishMsg), lengthy);
  }
}

TEST_F(QtToolkitTest, PasswordOfAnyUnicodeAndLengthGoesThroughBothFieldsUnchanged) {
  const std::string odd = "\xc3\xa4\xe2\x82\xac\xf0\x9f\x94\x91 \xd8\xb3\xd8\xb1 a\nb\r\nc\td \xe2\x80\xa8 " +
                          std::string(10000, 'p');
  open();
  find<QCheckBox>("encryptionBox").click();
  find<QLineEdit>("passwordField").setFocus();
  QGuiApplication::clipboard()->setText(QString::fromStdString(odd));
  find<QLineEdit>("passwordField").paste();

  find<QCheckBox>("maskPswdBox").click();
  EXPECT_EQ(m_pToolkit->stringValue(Outlet::unmaskPassword), odd);
  find<QCheckBox>("maskPswdBox").click();
  runThrough();

  EXPECT_THAT(m_Passwords, ElementsAre(odd));
}

TEST_F(QtToolkitTest, ProgressBarCoversZeroToAHundredAndHoldsWhatLiesBeyond) {
  open();
  const QProgressBar& bar = find<QProgressBar>("progressBar");
  EXPECT_EQ(bar.minimum(), 0);
  EXPECT_EQ(bar.maximum(), 100);

  m_pToolkit->startAnimation(Outlet::progressBar);
  EXPECT_EQ(bar.value(), 0);
  m_pToolkit->setDoubleValue(Outlet::progressBar, 42.0);
  EXPECT_EQ(bar.value(), 42);
  m_pToolkit->setDoubleValue(Outlet::progressBar, 4294967295.0);
  EXPECT_EQ(bar.value(), 100);
  m_pToolkit->setDoubleValue(Outlet::progressBar, 0.0);
  EXPECT_EQ(bar.value(), 0);
}

// Keeps the order of the reports that arrive, on their way to the controller.
class RecordingListener : public IProgressListener {
 public:
  explicit RecordingListener(GUIController& controller) : m_rController(controller) {}
  void updateMsg(const std::string& message) override {
    messages.push_back(message);
    onMainThread = onMainThread && QThread::currentThread() == qApp->thread();
    m_rController.updateMsg(message);
  }
  void updateProgress(const std::uint32_t* percent) override {
    percents.push_back(*percent);
    m_rController.updateProgress(percent);
  }
  void tolmFinished(ResultCode code) override { m_rController.tolmFinished(code); }

  std::vector<std::string> messages;
  std::vector<std::uint32_t> percents;
  bool onMainThread = true;

 private:
  GUIController& m_rController;
};

TEST_F(QtToolkitTest, TenThousandReportsInARowAllArriveInOrderAndTheWindowStillAnswers) {
  constexpr std::uint32_t kReports = 10000;
  std::atomic<bool> reported = false;
  m_Work = [&reported] {
    for (std::uint32_t i = 0; i < kReports; ++i) {
      reportProgress(i % 101, "report " + std::to_string(i), TOLMOFFLINE_ERROR_PROCESSING);
    }
    reported = true;
    reportProgress(0, "", 0);
  };
  open();
  RecordingListener listener(*m_pController);
  setProgressListener(&listener);
  find<QPushButton>("runButton").click();
  // The engine isn't held up by a main thread that takes nothing.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!reported && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ASSERT_TRUE(reported);
  ASSERT_THAT(listener.messages, IsEmpty());

  // An event that comes behind the burst is answered before the burst is through.
  std::size_t shownAtEvent = kReports;
  QMetaObject::invokeMethod(
      &window(), [&] { shownAtEvent = listener.messages.size(); }, Qt::QueuedConnection);
  ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));

  EXPECT_LT(shownAtEvent, kReports);
  EXPECT_TRUE(listener.onMainThread);
  ASSERT_EQ(listener.messages.size(), kReports);
  for (std::uint32_t i = 0; i < kReports; ++i) {
    ASSERT_EQ(listener.messages[i], "report " + std::to_string(i));
    ASSERT_EQ(listener.percents[i], i % 101);
  }
}

TEST_F(QtToolkitTest, BothClassesOfBackgroundQueueAreTheOneWorkerThread) {
  open();
  std::mutex lock;
  std::set<std::thread::id> threads;
  std::atomic<int> count = 0;
  const auto note = [&] {
    const std::lock_guard<std::mutex> guard(lock);
    threads.insert(std::this_thread::get_id());
    ++count;
  };

  m_pToolkit->dispatchAsync(GlobalQueue::utility, note);
  m_pToolkit->dispatchAsync(GlobalQueue::background, note);
  ASSERT_TRUE(turnUntil([&count] { return count == 2; }));

  EXPECT_EQ(threads.size(), 1U);
  EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U);
}

TEST_F(QtToolkitTest, EveryControlHasAnAccessibleNameAndEveryInputADescription) {
  open();
  runThrough();
  m_pToolkit->setStringValue(Outlet::progressMsg, "Zipping");
  for (const char* name : {"welcomeMsg", "tolmIntro", "pswdText", "runButton", "encryptionBox", "maskPswdBox",
                           "passwordField", "unmaskPassword", "progressMsg", "progressBar", "cancelButton",
                           "finishMsg", "finishButton", "programIcon"}) {
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&find<QWidget>(name));
    ASSERT_NE(accessible, nullptr) << name;
    EXPECT_FALSE(accessible->text(QAccessible::Name).isEmpty()) << name;
  }
  for (const char* name : {"runButton", "encryptionBox", "maskPswdBox", "passwordField", "unmaskPassword",
                           "progressBar", "cancelButton", "finishButton"}) {
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&find<QWidget>(name));
    EXPECT_FALSE(accessible->text(QAccessible::Description).isEmpty()) << name;
  }
}

TEST_F(QtToolkitTest, MaskedPasswordIsNotTold) {
  open();
  m_pToolkit->setStringValue(Outlet::passwordField, "hunter-two");

  QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&find<QLineEdit>("passwordField"));

  ASSERT_NE(accessible, nullptr);
  EXPECT_EQ(accessible->text(QAccessible::Value).count(QStringLiteral("hunter")), 0);
  ASSERT_NE(accessible->textInterface(), nullptr);
  EXPECT_EQ(accessible->textInterface()->text(0, 10).count(QStringLiteral("hunter")), 0);
}

TEST_F(QtToolkitTest, ArabicTextsTurnTheWindowRound) {
  m_Translate = [](const std::string& key) {
    return key == "Run" ? key
                        : "TOLM \xd8\xa3\xd8\xaf\xd8\xa7\xd8\xa9 \xd8\xaa\xd8\xb3\xd8\xa7\xd8\xb9\xd8\xaf "
                          "\xd8\xb9\xd9\x84\xd9\x89 \xd8\xac\xd9\x85\xd8\xb9 Tessarmont.";
  };
  open();

  EXPECT_EQ(window().layoutDirection(), Qt::RightToLeft);
  const QPushButton& run = find<QPushButton>("runButton");
  EXPECT_LT(run.mapTo(&window(), run.rect().center()).x(), window().width() / 2);
}

// Where on the label something is drawn: the leftmost and the rightmost dark column.
std::pair<int, int> inkOf(QLabel& label) {
  const QImage image = label.grab().toImage();
  std::pair<int, int> ink = {image.width(), -1};
  for (int x = 0; x < image.width(); ++x) {
    for (int y = 0; y < image.height(); ++y) {
      if (qGray(image.pixel(x, y)) < 128) {
        ink = {std::min(ink.first, x), x};
      }
    }
  }
  return ink;
}

TEST_F(QtToolkitTest, EnglishProgressTextInAnArabicWindowStandsAtTheRightWithItsDotsBehind) {
  open();
  QGuiApplication::setLayoutDirection(Qt::RightToLeft);
  find<QStackedWidget>("tabView").setCurrentIndex(1);
  QLabel& label = find<QLabel>("progressMsg");
  m_pToolkit->setStringValue(Outlet::progressMsg, "I");
  QCoreApplication::processEvents();
  const std::pair<int, int> alone = inkOf(label);

  m_pToolkit->setStringValue(Outlet::progressMsg, "I........");

  const std::pair<int, int> dotted = inkOf(label);
  EXPECT_GT(alone.first, label.width() / 2);
  EXPECT_GT(dotted.second, label.width() - 20);
  // The letter has moved to the left, since the dots come behind it.
  const QImage image = label.grab().toImage();
  int tallest = -1;
  int heightOfTallest = 0;
  for (int x = 0; x < image.width(); ++x) {
    int dark = 0;
    for (int y = 0; y < image.height(); ++y) {
      dark += qGray(image.pixel(x, y)) < 128 ? 1 : 0;
    }
    if (dark > heightOfTallest) {
      tallest = x;
      heightOfTallest = dark;
    }
  }
  EXPECT_LT(tallest, alone.first);
}

TEST_F(QtToolkitTest, ArabicHeadingWithALatinNameKeepsItsFullStopAtTheLeft) {
  m_Translate = [](const std::string& key) {
    return key == "Run" ? key
                        : "\xd9\x85\xd8\xb1\xd8\xad\xd8\xa8\xd8\xa7 \xd8\xa8\xd9\x83 \xd9\x81\xd9\x8a "
                          "\xd8\xa7\xd9\x84\xd8\xaa\xd8\xb4\xd8\xae\xd9\x8a\xd8\xb5";
  };
  open();
  ASSERT_EQ(window().layoutDirection(), Qt::RightToLeft);
  QLabel& label = find<QLabel>("tolmIntro");
  const int before = inkOf(label).second;
  // Mostly Latin letters, but an Arabic sentence all the same: it starts at the right.
  label.setText(QString::fromUtf8("\xd9\x85\xd8\xb1\xd8\xad\xd8\xa8\xd8\xa7 IIIIIIIIIIIIIIIIIII"));
  label.resize(label.width(), label.heightForWidth(label.width()));

  EXPECT_NEAR(inkOf(label).second, before, 6);
  const int withoutStop = inkOf(label).first;
  label.setText(label.text() + QStringLiteral("........"));
  EXPECT_LT(inkOf(label).first, withoutStop - 5);
}

TEST_F(QtToolkitTest, EnglishTextsRunFromLeftToRight) {
  QGuiApplication::setLayoutDirection(Qt::RightToLeft);
  open();

  EXPECT_EQ(window().layoutDirection(), Qt::LeftToRight);
}

TEST_F(QtToolkitTest, ColoursFollowTheDesktopsPalette) {
  const QPalette before = QApplication::palette();
  QPalette dark;
  dark.setColor(QPalette::Window, Qt::black);
  dark.setColor(QPalette::WindowText, Qt::white);
  QApplication::setPalette(dark);
  open();

  const QImage image = find<QLabel>("tolmIntro").grab().toImage();
  int light = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      light += qGray(image.pixel(x, y)) > 200 ? 1 : 0;
    }
  }
  QApplication::setPalette(before);

  EXPECT_GT(light, 20);                                  // letters
  EXPECT_LT(light, image.width() * image.height() / 2);  // on a dark ground
  EXPECT_EQ(qGray(image.pixel(image.width() - 1, image.height() - 1)), 0);
}

}  // namespace
}  // namespace halvo
