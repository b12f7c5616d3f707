// What the window does for its users beside the flow: presses that come too early, hints, the way to the
// bundle, keyboard letters.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <QtGui/QAccessible>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QProgressBar>
#include <atomic>

#include "vpn/tools/TOLM/TOLMOffline/QtToolkitSupport_test.h"
#include "vpn/tools/TOLM/TOLMOffline/WizardStyle.h"
#include "vpn/tools/TOLM/TOLMOffline/WizardWindow.h"

namespace halvo {
namespace {

using test::QtToolkitTest;
using test::turnUntil;
using test::unmarked;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Longer than any test goes on: what is pressed comes too early until the test says otherwise.
constexpr int kForEver = 1000000;

class WizardStyleTest : public QtToolkitTest {};

TEST_F(WizardStyleTest, ItIsTheDesktopsOwnStyle) {
  const WizardStyle style;

  EXPECT_EQ(style.baseStyle()->name(), QApplication::style()->name());
}

TEST_F(WizardStyleTest, OnlyTheIconOfMenusThatDoNotFitIsMissing) {
  const WizardStyle style;

  EXPECT_TRUE(style.standardIcon(QStyle::SP_ToolBarHorizontalExtensionButton, nullptr, nullptr).isNull());
  EXPECT_FALSE(style.standardIcon(QStyle::SP_MessageBoxInformation, nullptr, nullptr).isNull());
  EXPECT_FALSE(style.standardIcon(QStyle::SP_MessageBoxCritical, nullptr, nullptr).isNull());
}

class QuietTimeTest : public QtToolkitTest {
 protected:
  // Counts what gets through to a button.
  void count(const char* name) {
    QObject::connect(&find<QPushButton>(name), &QPushButton::clicked, &window(), [this] { ++m_nClicks; });
  }
  // As where its quiet time is over; those of the next screens are still to come.
  void wakeFirstScreen() { static_cast<WizardWindow&>(window()).beginQuietTime(0); }
  void click(const char* name) { QTest::mouseClick(&find<QPushButton>(name), Qt::LeftButton); }
  // Presses Return at a time of the window system's clock.
  void pressReturn(quint64 time) {
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    press.setTimestamp(time);
    QCoreApplication::sendEvent(window().focusWidget(), &press);
  }
  // Ends with the finished screen, which would take a press by now.
  void runByReturnAndLetTheTimePass(quint64 time) {
    constexpr int kQuietTime = 50;
    open(kQuietTime);
    wakeFirstScreen();
    pressReturn(time);
    ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));
    count("finishButton");
    QTest::qWait(2 * kQuietTime);
  }
  int m_nClicks = 0;
};

TEST_F(QuietTimeTest, WindowThatHasJustOpenedTakesNoPress) {
  open(kForEver);
  count("runButton");

  click("runButton");
  press(Qt::Key_Return);
  press(Qt::Key_Space);
  press(Qt::Key_Escape);

  EXPECT_EQ(m_nClicks, 0);
  EXPECT_EQ(screen(), 0);
  EXPECT_TRUE(window().isVisible());
  EXPECT_FALSE(find<QCheckBox>("encryptionBox").isChecked());
}

TEST_F(QuietTimeTest, FinishedScreenThatHasJustComeUpTakesNoPress) {
  open(kForEver);
  count("finishButton");
  runThrough();

  click("finishButton");
  QTest::mouseDClick(&find<QPushButton>("finishButton"), Qt::LeftButton);
  press(Qt::Key_Return);
  press(Qt::Key_Space);
  press(Qt::Key_Escape);

  EXPECT_EQ(m_nClicks, 0);
  EXPECT_EQ(screen(), 2);
}

TEST_F(QuietTimeTest, FinishedScreenTakesAPressOnceTheTimeIsOver) {
  open(50);
  count("finishButton");
  runThrough();
  QTest::qWait(100);

  click("finishButton");

  EXPECT_EQ(m_nClicks, 1);
}

// As where the machine was too busy for the wizard to look at its keys.
TEST_F(QuietTimeTest, PressThatWasMadeEarlyDoesNotCountHoweverLateItIsHandled) {
  runByReturnAndLetTheTimePass(70000);

  pressReturn(70040);
  EXPECT_EQ(m_nClicks, 0);

  pressReturn(7000000);
  EXPECT_EQ(m_nClicks, 1);
}

TEST_F(QuietTimeTest, ClockOfTheWindowSystemThatBeganAnewKeepsNoPressOut) {
  runByReturnAndLetTheTimePass(0xfffffff0U);

  pressReturn(300);
  EXPECT_EQ(m_nClicks, 1);
}

TEST_F(QuietTimeTest, SecondSpaceOnRunDoesNotCancel) {
  holdTheEngine();
  open(kForEver);
  wakeFirstScreen();
  count("cancelButton");
  find<QPushButton>("runButton").setFocus();

  press(Qt::Key_Space);
  press(Qt::Key_Space);

  EXPECT_EQ(screen(), 1);
  EXPECT_EQ(focused(), "cancelButton");
  EXPECT_EQ(m_nClicks, 0);
}

TEST_F(QuietTimeTest, PressThatBeganOnTheScreenBeforeDoesNotCountWhenItIsLetGo) {
  open();
  count("finishButton");
  find<QPushButton>("runButton").click();
  QTest::keyPress(&find<QPushButton>("cancelButton"), Qt::Key_Space);
  ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));

  QTest::keyRelease(window().focusWidget(), Qt::Key_Space);
  QTest::mouseRelease(&find<QPushButton>("finishButton"), Qt::LeftButton);

  EXPECT_EQ(m_nClicks, 0);
}

TEST_F(QuietTimeTest, MenuAndAccessibilityWorkAllTheTime) {
  open(kForEver);
  count("finishButton");
  runThrough();

  QAccessible::queryAccessibleInterface(&find<QPushButton>("finishButton"))
      ->actionInterface()
      ->doAction(QAccessibleActionInterface::pressAction());

  EXPECT_TRUE(turnUntil([this] { return m_nClicks == 1; }));
}

TEST_F(QtToolkitTest, TickingTheBoxGivesTheKeyboardToThePassword) {
  open();

  press(Qt::Key_Space);

  EXPECT_EQ(focused(), "passwordField");
  EXPECT_TRUE(find<QLabel>("pswdText").isEnabled());
  find<QCheckBox>("encryptionBox").click();
  EXPECT_FALSE(find<QLabel>("pswdText").isEnabled());
}

TEST_F(QtToolkitTest, EmptyPasswordIsToldWhileEncryptionIsTicked) {
  open();
  EXPECT_FALSE(visible("passwordHint"));

  find<QCheckBox>("encryptionBox").click();
  EXPECT_TRUE(visible("passwordHint"));
  EXPECT_EQ(find<QLabel>("passwordHint").text(),
            QStringLiteral("Without a password the bundle is not encrypted."));
  EXPECT_TRUE(find<QLineEdit>("passwordField")
                  .accessibleDescription()
                  .contains(QStringLiteral("Without a password")));

  QTest::keyClicks(&find<QLineEdit>("passwordField"), QStringLiteral("p"));
  EXPECT_FALSE(visible("passwordHint"));
  find<QCheckBox>("maskPswdBox").click();
  EXPECT_FALSE(visible("passwordHint"));
  QTest::keyClick(&find<QLineEdit>("unmaskPassword"), Qt::Key_Backspace);
  EXPECT_TRUE(visible("passwordHint"));

  find<QCheckBox>("encryptionBox").click();
  EXPECT_FALSE(visible("passwordHint"));
}

TEST_F(QtToolkitTest, DesktopFolderThatTakesNoFilesIsToldOnTheFirstScreen) {
  m_bTakesFiles = false;
  open();

  ASSERT_EQ(m_BundleFolders.size(), 1U);
  EXPECT_TRUE(visible("desktopHint"));
  EXPECT_EQ(find<QLabel>("desktopHint").text().toStdString(),
            "The bundle is saved in the folder \"" + m_BundleFolders[0] +
                "\", which is missing or cannot be written to.");
}

TEST_F(QtToolkitTest, UsableDesktopFolderIsNotMentioned) {
  open();

  EXPECT_FALSE(visible("desktopHint"));
}

TEST_F(QtToolkitTest, FilesThatAreLostAreToldOnTheLastScreen) {
  m_nLostFiles = 3;
  open();
  runThrough();

  EXPECT_TRUE(visible("lossHint"));
  EXPECT_EQ(
      find<QLabel>("lossHint").text(),
      QStringLiteral("Files that are cut short or missing in the bundle: 3. The system log names them."));
}

TEST_F(QtToolkitTest, GoodRunShowsItsBundleAndABadOneDoesNot) {
  open();
  runThrough();

  EXPECT_TRUE(visible("bundleName"));
  const QLineEdit& name = find<QLineEdit>("bundleName");
  EXPECT_TRUE(name.isReadOnly());
  EXPECT_TRUE(name.text().startsWith(QStringLiteral("TOLMBundle_")));
  EXPECT_TRUE(name.toolTip().endsWith(QStringLiteral("/Desktop/") + name.text()));
  const QImage good = find<QLabel>("outcomeIcon").pixmap().toImage();
  EXPECT_FALSE(good.isNull());

  m_pToolkit->showOutcome(Outcome());
  EXPECT_NE(find<QLabel>("outcomeIcon").pixmap().toImage(), good);
}

TEST_F(QtToolkitTest, FailedRunShowsNoBundle) {
  m_Work = [] { reportProgress(0, "", TOLMENGINE_ERROR_INTERNAL); };
  open();
  runThrough();

  EXPECT_FALSE(visible("bundleName"));
  EXPECT_FALSE(visible("folderButton"));
  EXPECT_FALSE(find<QLabel>("outcomeIcon").pixmap().isNull());
}

TEST_F(QtToolkitTest, KeyboardLetterIsNoPartOfAButtonsAccessibleName) {
  open();

  EXPECT_EQ(find<QPushButton>("runButton").accessibleName(), QStringLiteral("Run"));
}

TEST_F(QtToolkitTest, LetterOfRunRuns) {
  open();

  press(Qt::Key_R, Qt::AltModifier);

  ASSERT_TRUE(turnUntil([this] { return screen() == 2; }));
}

TEST_F(QtToolkitTest, FTenOpensTheMenu) {
  open();

  press(Qt::Key_F10);

  EXPECT_EQ(window().menuBar()->activeAction(), find<QMenu>("applicationMenu").menuAction());
}

TEST_F(QtToolkitTest, PercentageStandsBesideTheBarInBothDirections) {
  open();
  find<QStackedWidget>("tabView").setCurrentIndex(1);

  m_pToolkit->setDoubleValue(Outlet::progressBar, 61.0);

  EXPECT_TRUE(visible("percentText"));
  EXPECT_TRUE(find<QLabel>("percentText").text().endsWith(QStringLiteral("61 %")));
  EXPECT_FALSE(find<QProgressBar>("progressBar").isTextVisible());
  QGuiApplication::setLayoutDirection(Qt::RightToLeft);
  EXPECT_TRUE(visible("percentText"));
}

TEST_F(QtToolkitTest, PasswordFieldStandsIndentedAndIsNoWiderThanAPassword) {
  open();
  window().resize(1200, 600);
  QCoreApplication::processEvents();
  const QLineEdit& field = find<QLineEdit>("passwordField");

  EXPECT_LT(field.width(), 700);
  EXPECT_GT(field.mapTo(&window(), QPoint(0, 0)).x(),
            find<QCheckBox>("encryptionBox").mapTo(&window(), QPoint(0, 0)).x());
}

TEST_F(QtToolkitTest, EngineRunsAtALowerPriorityThanTheWindow) {
  std::atomic<int> priority = -100;
  m_Work = [&priority] { priority = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid())); };
  open();
  const int own = getpriority(PRIO_PROCESS, 0);

  runThrough();

  EXPECT_GE(priority, std::max(own, 5));
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), own);
}

TEST_F(QtToolkitTest, CallForAControlOfAnotherKindIsPassedOver) {
  open();

  m_pToolkit->setState(Outlet::welcomeMsg, kStateOn);
  m_pToolkit->setDoubleValue(Outlet::runButton, 10);
  m_pToolkit->setEnabled(Outlet::mAbout, false);

  EXPECT_EQ(m_pToolkit->state(Outlet::welcomeMsg), kStateOff);
  EXPECT_EQ(m_pToolkit->stringValue(Outlet::mAbout), "");
}

}  // namespace
}  // namespace halvo
