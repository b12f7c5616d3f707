#include "vpn/tools/TOLM/TOLMOffline/QtToolkit.h"

#include <QtCore/QPointer>
#include <QtGui/QKeyEvent>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMainWindow>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QScrollBar>
#include <cmath>

#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"
#include "vpn/tools/TOLM/TOLMOffline/MessageLabel.h"
#include "vpn/tools/TOLM/TOLMOffline/ui_MainWindow.h"

// Outside of any namespace, as the macro asks.
static void loadResources() {
  Q_INIT_RESOURCE(wizard);
}

namespace halvo {

namespace {

const char* const kIconName = "com.halvo.tessarmont.tolm";

// The widest that a title may make its button or check box, in letters. What is longer is elided, with
// the whole text as tool tip.
constexpr int kButtonLetters = 30;
constexpr int kBoxLetters = 80;
constexpr int kMenuLetters = 60;
constexpr int kAboutLetters = 1000;

constexpr int kIconSize = 48;

QString text(const std::string& utf8) {
  return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

// For places where "&" marks a keyboard letter.
QString withoutMnemonic(QString title) {
  return title.replace(QLatin1Char('&'), QLatin1String("&&"));
}

QString elided(const QWidget& widget, const QString& title, int letters) {
  const QFontMetrics metrics = widget.fontMetrics();
  return metrics.elidedText(frontOf(title.simplified()), Qt::ElideRight,
                            letters * metrics.averageCharWidth());
}

// The direction of the script that most of the letters are of. The first letter alone wouldn't tell:
// texts start with the product's Latin name.
Qt::LayoutDirection readingDirection(const QString& words) {
  qsizetype balance = 0;
  for (const QChar letter : words) {
    const QChar::Direction direction = letter.direction();
    if (direction == QChar::DirR || direction == QChar::DirAL) {
      ++balance;
    } else if (direction == QChar::DirL) {
      --balance;
    }
  }
  return balance > 0 ? Qt::RightToLeft : Qt::LeftToRight;
}

QIcon programIcon() {
  QIcon icon;
  for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
    icon.addFile(QStringLiteral(":/icons/%1.png").arg(size), QSize(size, size));
  }
  return icon;
}

// A scroll area is a stop of the Tab key only while there is something to scroll, so that a lengthy
// text can be read without a mouse.
void stopAtScrolling(QScrollArea& area) {
  QObject::connect(area.verticalScrollBar(), &QScrollBar::rangeChanged, &area, [&area](int, int maximum) {
    area.setFocusPolicy(maximum > 0 ? Qt::StrongFocus : Qt::NoFocus);
  });
}

bool isReturn(const QKeyEvent& event) {
  return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

// The window's two keys: Return for what the screen is there for, Escape to leave.
class WizardWindow : public QMainWindow {
 public:
  std::function<void()> onReturn;
  std::function<void()> onEscape;

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
      if (!event->isAutoRepeat()) {
        onEscape();
      }
    } else if (isReturn(*event)) {
      onReturn();
    } else {
      QMainWindow::keyPressEvent(event);
    }
  }

  // Sees every event of the application. A key that is held down must not run through the screens,
  // neither here nor in the button that has the keyboard and takes Return and Space by itself. X repeats
  // a key by a release and a press of the same moment, and Qt doesn't tell each such press from a new one.
  bool eventFilter(QObject* object, QEvent* event) override {
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::KeyRelease) {
      const QKeyEvent& key = *static_cast<QKeyEvent*>(event);
      if (event->type() == QEvent::KeyRelease) {
        m_nReleasedKey = key.key();
        m_nReleaseTime = key.timestamp();
      } else if (pressesButton(*object, key) && isRepeated(key)) {
        return true;
      }
    }
    return QMainWindow::eventFilter(object, event);
  }

 private:
  // In an input a blank that is held down is typed again and again.
  static bool pressesButton(const QObject& object, const QKeyEvent& key) {
    return isReturn(key) ||
           (key.key() == Qt::Key_Space && qobject_cast<const QAbstractButton*>(&object) != nullptr);
  }
  [[nodiscard]] bool isRepeated(const QKeyEvent& key) const {
    return key.isAutoRepeat() ||
           (key.timestamp() != 0 && key.timestamp() == m_nReleaseTime && key.key() == m_nReleasedKey);
  }

  // The key that was released last, and when: in the window system's milliseconds, 0 where it tells none.
  int m_nReleasedKey = 0;
  quint64 m_nReleaseTime = 0;
};

}  // namespace

struct QtToolkit::Window {
  WizardWindow frame;
  Ui::MainWindow ui;
  QPointer<QMessageBox> pAbout;
  QString aboutText;
};

QtToolkit::QtToolkit() : m_pWindow(std::make_unique<Window>()) {
  loadResources();
  Ui::MainWindow& ui = m_pWindow->ui;
  WizardWindow& frame = m_pWindow->frame;
  ui.setupUi(&frame);

  QApplication::setWindowIcon(QIcon::fromTheme(QLatin1String(kIconName), programIcon()));
  ui.programIcon->setPixmap(
      frame.windowIcon().pixmap(QSize(kIconSize, kIconSize), frame.devicePixelRatioF()));
  QFont heading = ui.welcomeMsg->font();
  heading.setPointSizeF(heading.pointSizeF() * 1.25);
  ui.welcomeMsg->setFont(heading);

  stopAtScrolling(*ui.welcomeScroll);
  stopAtScrolling(*ui.finishedScroll);
  ui.encryptionBox->setFocus();

  qApp->installEventFilter(&frame);
  // Return never cancels: whoever presses it twice on Run would end the program.
  frame.onReturn = [&ui] {
    if (ui.tabView->currentWidget() == ui.welcomeScreen) {
      ui.runButton->click();
    } else if (ui.tabView->currentWidget() == ui.finishedScreen) {
      ui.finishButton->click();
    }
  };
  frame.onEscape = [&ui, &frame] {
    if (ui.tabView->currentWidget() == ui.welcomeScreen) {
      frame.close();
    } else if (ui.tabView->currentWidget() == ui.progressScreen) {
      ui.cancelButton->click();
    } else {
      ui.finishButton->click();
    }
  };

  QObject::connect(ui.mAbout, &QAction::triggered, &frame, [this] { showAbout(); });
  QObject::connect(ui.mQuitTolm, &QAction::triggered, &frame, [this] { terminate(); });
}

QtToolkit::~QtToolkit() = default;

void QtToolkit::connectActions(GUIController& controller) {
  const Ui::MainWindow& ui = m_pWindow->ui;
  QMainWindow* frame = &m_pWindow->frame;
  // clicked and not toggled: only the user's hand sends an action.
  QObject::connect(ui.encryptionBox, &QCheckBox::clicked, frame,
                   [&controller] { controller.enableEncrypt(); });
  QObject::connect(ui.maskPswdBox, &QCheckBox::clicked, frame, [&controller] { controller.maskPassword(); });
  QObject::connect(ui.runButton, &QPushButton::clicked, frame, [&controller] { controller.runButton(); });
  QObject::connect(ui.cancelButton, &QPushButton::clicked, frame,
                   [&controller] { controller.cancelButton(); });
  QObject::connect(ui.finishButton, &QPushButton::clicked, frame,
                   [&controller] { controller.finishButton(); });
}

void QtToolkit::show() {
  QMainWindow& frame = m_pWindow->frame;
  const QSize room = frame.screen()->availableGeometry().size();
  frame.resize(frame.size().boundedTo(room));
  frame.show();
}

QMainWindow& QtToolkit::window() {
  return m_pWindow->frame;
}

QWidget* QtToolkit::widget(Outlet outlet) const {
  const Ui::MainWindow& ui = m_pWindow->ui;
  switch (outlet) {
    case Outlet::mainWindow:
      return &m_pWindow->frame;
    case Outlet::tabView:
      return ui.tabView;
    case Outlet::welcomeMsg:
      return ui.welcomeMsg;
    case Outlet::tolmIntro:
      return ui.tolmIntro;
    case Outlet::pswdText:
      return ui.pswdText;
    case Outlet::runButton:
      return ui.runButton;
    case Outlet::encryptionBox:
      return ui.encryptionBox;
    case Outlet::maskPswdBox:
      return ui.maskPswdBox;
    case Outlet::passwordField:
      return ui.passwordField;
    case Outlet::unmaskPassword:
      return ui.unmaskPassword;
    case Outlet::progressMsg:
      return ui.progressMsg;
    case Outlet::progressBar:
      return ui.progressBar;
    case Outlet::cancelButton:
      return ui.cancelButton;
    case Outlet::finishMsg:
      return ui.finishMsg;
    case Outlet::finishButton:
      return ui.finishButton;
    case Outlet::mAbout:
    case Outlet::mHideTolm:
    case Outlet::mHideOthers:
    case Outlet::mShowAll:
    case Outlet::mQuitTolm:
      return nullptr;
  }
  return nullptr;
}

void QtToolkit::setDelegate(IApplicationDelegate* delegate) {
  m_pDelegate = delegate;
  QGuiApplication::setQuitOnLastWindowClosed(delegate->applicationShouldTerminateAfterLastWindowClosed());
  // Every end comes through here: terminate(), the last window, and the desktop's session.
  QObject::connect(qApp, &QCoreApplication::aboutToQuit, &m_pWindow->frame,
                   [this] { m_pDelegate->applicationWillTerminate(); });
}

void QtToolkit::terminate() {
  QCoreApplication::exit(0);
}

void QtToolkit::setTitle(Outlet outlet, const std::string& title) {
  const Ui::MainWindow& ui = m_pWindow->ui;
  const QString whole = text(title);
  switch (outlet) {
    case Outlet::mainWindow: {
      // "[*]" is Qt's mark for unsaved changes; doubled it stands for itself.
      m_pWindow->frame.setWindowTitle(frontOf(whole).replace(QLatin1String("[*]"), QLatin1String("[*][*]")));
      m_pWindow->frame.setAccessibleName(whole);
      ui.programIcon->setAccessibleName(whole);
      ui.progressBar->setAccessibleName(whole);
      ui.applicationMenu->setTitle(withoutMnemonic(elided(*ui.menuBar, whole, kMenuLetters)));
      break;
    }
    case Outlet::mAbout:
      ui.mAbout->setText(withoutMnemonic(elided(*ui.applicationMenu, whole, kMenuLetters)));
      break;
    case Outlet::mHideTolm:
      ui.mHideTolm->setText(withoutMnemonic(elided(*ui.applicationMenu, whole, kMenuLetters)));
      break;
    case Outlet::mHideOthers:
      ui.mHideOthers->setText(withoutMnemonic(elided(*ui.applicationMenu, whole, kMenuLetters)));
      break;
    case Outlet::mShowAll:
      ui.mShowAll->setText(withoutMnemonic(elided(*ui.applicationMenu, whole, kMenuLetters)));
      break;
    case Outlet::mQuitTolm:
      ui.mQuitTolm->setText(withoutMnemonic(elided(*ui.applicationMenu, whole, kMenuLetters)));
      break;
    default: {
      QAbstractButton* button = qobject_cast<QAbstractButton*>(widget(outlet));
      const bool box = qobject_cast<QCheckBox*>(button) != nullptr;
      const QString shown = elided(*button, whole, box ? kBoxLetters : kButtonLetters);
      button->setText(withoutMnemonic(shown));
      button->setAccessibleName(whole);
      button->setToolTip(shown == whole ? QString() : wrappedToolTip(whole));
      break;
    }
  }
  describe(outlet, whole);
}

void QtToolkit::setTabViewType(Outlet outlet, int type) {
  // A stacked widget has no tabs to begin with; the type tells that the border goes too.
  if (type == kNoTabsNoBorder) {
    qobject_cast<QStackedWidget*>(widget(outlet))->setFrameShape(QFrame::NoFrame);
  }
}

void QtToolkit::selectNextTabViewItem(Outlet outlet) {
  const Ui::MainWindow& ui = m_pWindow->ui;
  QStackedWidget* tabs = qobject_cast<QStackedWidget*>(widget(outlet));
  if (tabs->currentIndex() + 1 == tabs->count()) {
    return;
  }
  tabs->setCurrentIndex(tabs->currentIndex() + 1);
  if (tabs->currentWidget() == ui.progressScreen) {
    ui.cancelButton->setFocus();
  } else if (tabs->currentWidget() == ui.finishedScreen) {
    ui.finishButton->setFocus();
  }
}

std::string QtToolkit::stringValue(Outlet outlet) {
  const QWidget* object = widget(outlet);
  const QLineEdit* input = qobject_cast<const QLineEdit*>(object);
  return (input != nullptr ? input->text() : qobject_cast<const QLabel*>(object)->text()).toStdString();
}

void QtToolkit::setStringValue(Outlet outlet, const std::string& value) {
  QWidget* object = widget(outlet);
  const QString words = text(value);
  if (QLineEdit* input = qobject_cast<QLineEdit*>(object)) {
    input->setText(words);
    return;
  }
  qobject_cast<QLabel*>(object)->setText(words);
  describe(outlet, words);
}

// What a screen reader tells beside a control's name comes from the texts on the screen, so it is in
// the user's language too.
void QtToolkit::describe(Outlet outlet, const QString& words) {
  const Ui::MainWindow& ui = m_pWindow->ui;
  switch (outlet) {
    case Outlet::welcomeMsg:
      ui.welcomeMsg->setAccessibleName(words);
      break;
    case Outlet::tolmIntro:
      QGuiApplication::setLayoutDirection(readingDirection(words));
      // Qt's own style draws the percentage white on white where the bar runs from right to left.
      ui.progressBar->setTextVisible(readingDirection(words) == Qt::LeftToRight);
      ui.tolmIntro->setAccessibleName(words);
      ui.runButton->setAccessibleDescription(words);
      m_pWindow->aboutText = words;
      break;
    case Outlet::pswdText:
      ui.pswdText->setAccessibleName(words);
      ui.passwordField->setAccessibleName(words);
      ui.unmaskPassword->setAccessibleName(words);
      ui.encryptionBox->setAccessibleDescription(words);
      ui.maskPswdBox->setAccessibleDescription(words);
      break;
    case Outlet::encryptionBox:
      ui.passwordField->setAccessibleDescription(words);
      ui.unmaskPassword->setAccessibleDescription(words);
      break;
    case Outlet::progressMsg:
      ui.progressBar->setAccessibleDescription(words);
      ui.cancelButton->setAccessibleDescription(words);
      break;
    case Outlet::finishMsg:
      ui.finishButton->setAccessibleDescription(words);
      break;
    default:
      break;
  }
}

void QtToolkit::setEnabled(Outlet outlet, bool enabled) {
  widget(outlet)->setEnabled(enabled);
}

void QtToolkit::setHidden(Outlet outlet, bool hidden) {
  QWidget* object = widget(outlet);
  QStackedWidget* place = m_pWindow->ui.passwordPlace;
  if (object->parentWidget() != place) {
    object->setHidden(hidden);
    return;
  }
  // The two password fields share a place: to hide one is to show the other. The keyboard stays with
  // the place.
  QWidget* shown = object;
  if (hidden) {
    shown = place->widget(object == place->widget(0) ? 1 : 0);
  }
  const bool focused = place->currentWidget()->hasFocus();
  place->setCurrentWidget(shown);
  if (focused) {
    shown->setFocus();
  }
}

int QtToolkit::state(Outlet outlet) {
  return qobject_cast<QCheckBox*>(widget(outlet))->isChecked() ? kStateOn : kStateOff;
}

void QtToolkit::setState(Outlet outlet, int state) {
  qobject_cast<QCheckBox*>(widget(outlet))->setChecked(state == kStateOn);
}

void QtToolkit::startAnimation(Outlet outlet) {
  // A bar with a range is animated by its values; this puts it at its start.
  qobject_cast<QProgressBar*>(widget(outlet))->setValue(0);
}

void QtToolkit::setDoubleValue(Outlet outlet, double value) {
  QProgressBar* bar = qobject_cast<QProgressBar*>(widget(outlet));
  // A value beyond the range fills the bar; the widget itself would ignore it.
  bar->setValue(value >= bar->maximum()   ? bar->maximum()
                : value <= bar->minimum() ? bar->minimum()
                                          : static_cast<int>(value));
}

void QtToolkit::displayIfNeeded(Outlet outlet) {
  widget(outlet)->repaint();
}

void QtToolkit::dispatchAsync(GlobalQueue /*queue*/, std::function<void()> block) {
  // Both classes stand for the one worker thread on this host.
  m_Worker.submit(std::move(block));
}

void QtToolkit::showAbout() {
  if (m_pWindow->pAbout == nullptr) {
    QMainWindow& frame = m_pWindow->frame;
    QMessageBox* about = new QMessageBox(&frame);  // owned by the window; dies when it is closed
    about->setAttribute(Qt::WA_DeleteOnClose);
    about->setModal(false);
    about->setWindowTitle(m_pWindow->ui.mAbout->text());
    about->setTextFormat(Qt::PlainText);
    about->setText(frame.accessibleName() + QLatin1String(" " TOLM_VERSION));
    QString words = m_pWindow->aboutText;
    if (words.size() > kAboutLetters) {
      words = words.left(kAboutLetters) + QChar(0x2026);
    }
    about->setInformativeText(words);
    about->setIconPixmap(frame.windowIcon().pixmap(QSize(kIconSize, kIconSize), frame.devicePixelRatioF()));
    m_pWindow->pAbout = about;
  }
  m_pWindow->pAbout->show();
  m_pWindow->pAbout->raise();
}

}  // namespace halvo
