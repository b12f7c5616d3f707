#include "vpn/tools/TOLM/TOLMOffline/QtToolkit.h"

#include <QtCore/QFileInfo>
#include <QtCore/QPointer>
#include <QtGui/QImageReader>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMainWindow>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QStyle>
#include <algorithm>
#include <array>
#include <map>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMOffline/FolderOpener.h"
#include "vpn/tools/TOLM/TOLMOffline/GUIController.h"
#include "vpn/tools/TOLM/TOLMOffline/MessageLabel.h"
#include "vpn/tools/TOLM/TOLMOffline/Mnemonics.h"
#include "vpn/tools/TOLM/TOLMOffline/WizardWindow.h"
#include "vpn/tools/TOLM/TOLMOffline/WorkerPriority.h"
#include "vpn/tools/TOLM/TOLMOffline/ui_MainWindow.h"

// Outside of any namespace, as the macro asks.
static void loadResources() {
  Q_INIT_RESOURCE(wizard);
}

namespace halvo {

namespace {

// The widest that a title may make its button or check box, in letters. What is longer is elided, with
// the whole text as tool tip.
constexpr int kButtonLetters = 30;
constexpr int kBoxLetters = 80;
constexpr int kMenuLetters = 60;
constexpr int kAboutLetters = 1000;

// The widest that an input for a password gets: a field over the whole window looks as if it wanted a text.
constexpr int kFieldLetters = 40;

constexpr int kIconSize = 48;

QString text(const std::string& utf8) {
  return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
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

// The program's own pictures, and not those of the desktop's icon theme, which takes a fifth of the start to
// look up: a desktop shows the theme's by the desktop entry. They are said to be PNG, since a reader that is
// to find that out loads each of the toolkit's plugins for other formats.
QIcon programIcon() {
  QIcon icon;
  for (const int size : {16, 24, 32, 48, 64, 128}) {
    QImageReader reader(QStringLiteral(":/icons/%1.png").arg(size), "png");
    reader.setAutoDetectImageFormat(false);
    icon.addPixmap(QPixmap::fromImageReader(&reader));
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

}  // namespace

// The one list of outlets and what stands for them in the window.
struct Control {
  Outlet outlet;
  QObject* object;
  // The keyboard letter of a title in a script without one; 0 where no letter is drawn.
  char letter;
};

struct QtToolkit::Window {
  WizardWindow frame;
  Ui::MainWindow ui;
  FolderOpener opener;
  QPointer<QMessageBox> pAbout;
  std::vector<Control> controls;
  // What setTitle() was given, as it is shown: elided, without a letter.
  std::map<Outlet, QString> titles;
  QString folderTitle;
};

QtToolkit::QtToolkit(int quietTime) : m_pWindow(std::make_unique<Window>()), m_nQuietTime(quietTime) {
  loadResources();
  Ui::MainWindow& ui = m_pWindow->ui;
  WizardWindow& frame = m_pWindow->frame;
  ui.setupUi(&frame);
  m_pWindow->controls = {
      {Outlet::mainWindow, &frame, 'T'},
      {Outlet::tabView, ui.tabView, 0},
      {Outlet::welcomeMsg, ui.welcomeMsg, 0},
      {Outlet::tolmIntro, ui.tolmIntro, 0},
      {Outlet::pswdText, ui.pswdText, 0},
      {Outlet::runButton, ui.runButton, 'R'},
      {Outlet::encryptionBox, ui.encryptionBox, 'E'},
      {Outlet::maskPswdBox, ui.maskPswdBox, 'M'},
      {Outlet::passwordField, ui.passwordField, 0},
      {Outlet::unmaskPassword, ui.unmaskPassword, 0},
      {Outlet::progressMsg, ui.progressMsg, 0},
      {Outlet::progressBar, ui.progressBar, 0},
      {Outlet::cancelButton, ui.cancelButton, 'C'},
      {Outlet::finishMsg, ui.finishMsg, 0},
      {Outlet::finishButton, ui.finishButton, 'F'},
      {Outlet::mAbout, ui.mAbout, 'A'},
      {Outlet::mHideTolm, ui.mHideTolm, 'H'},
      {Outlet::mHideOthers, ui.mHideOthers, 'O'},
      {Outlet::mShowAll, ui.mShowAll, 'S'},
      {Outlet::mQuitTolm, ui.mQuitTolm, 'Q'},
  };

  QApplication::setWindowIcon(programIcon());
  ui.programIcon->setPixmap(
      frame.windowIcon().pixmap(QSize(kIconSize, kIconSize), frame.devicePixelRatioF()));
  QFont heading = ui.welcomeMsg->font();
  heading.setPointSizeF(heading.pointSizeF() * 1.25);
  ui.welcomeMsg->setFont(heading);

  stopAtScrolling(*ui.welcomeScroll);
  stopAtScrolling(*ui.finishedScroll);
  indentPassword(Qt::LeftToRight);
  // By a letter, and not by the average, which is twice as wide where the font is one for Japanese.
  ui.passwordPlace->setMaximumWidth(kFieldLetters * frame.fontMetrics().horizontalAdvance(QLatin1Char('x')));
  ui.percentText->setFixedWidth(frame.fontMetrics().horizontalAdvance(QStringLiteral("\u200e100 %")));
  showPercent(0);
  // The hint has its place also while it is hidden: what is read and clicked below it must not jump.
  QSizePolicy keepsPlace = ui.passwordHint->sizePolicy();
  keepsPlace.setRetainSizeWhenHidden(true);
  ui.passwordHint->setSizePolicy(keepsPlace);

  // The focus frame is drawn for whoever works by keys; nobody has yet, but somebody may.
  frame.setAttribute(Qt::WA_KeyboardFocusChange);
  ui.encryptionBox->setFocus(Qt::TabFocusReason);

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

  QObject::connect(ui.folderButton, &QPushButton::clicked, &frame,
                   [this] { m_pWindow->opener.show(m_pWindow->ui.bundleName->toolTip()); });
  QObject::connect(ui.mAbout, &QAction::triggered, &frame, [this] { showAbout(); });
  QObject::connect(ui.mQuitTolm, &QAction::triggered, &frame, [this] { terminate(); });
}

QtToolkit::~QtToolkit() = default;

void QtToolkit::connectActions(GUIController& controller) {
  const Ui::MainWindow& ui = m_pWindow->ui;
  QMainWindow* frame = &m_pWindow->frame;
  // clicked and not toggled: only the user's hand sends an action.
  QObject::connect(ui.encryptionBox, &QCheckBox::clicked, frame,
                   [&controller] { controller.encryptionTicked(); });
  QObject::connect(ui.maskPswdBox, &QCheckBox::clicked, frame, [&controller] {
    controller.maskPassword();
    controller.passwordEdited();
  });
  for (QLineEdit* field : {ui.passwordField, ui.unmaskPassword}) {
    QObject::connect(field, &QLineEdit::textEdited, frame, [&controller] { controller.passwordEdited(); });
  }
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
  // What was typed for the window that was in front until now must not run or close this one.
  m_pWindow->frame.beginQuietTime(m_nQuietTime);
  fitTo(room);
}

void QtToolkit::fitTo(const QSize& room) {
  WizardWindow& frame = m_pWindow->frame;
  const Ui::MainWindow& ui = m_pWindow->ui;
  const int width = qMin(frame.width(), room.width());
  // The content's own minimum is known only once it is laid out, and changes with the width that a scroll
  // bar leaves it: a few rounds settle it.
  constexpr int kRounds = 4;
  for (int round = 0; round < kRounds; ++round) {
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    const int around = frame.height() - ui.welcomeScroll->viewport()->height();
    const int texts = ui.welcomeContent->minimumSizeHint().height();
    const QSize smallest = QSize(width, texts + around).boundedTo(room);
    frame.setMinimumSize(smallest);
    frame.resize(frame.size().expandedTo(smallest).boundedTo(room));
  }
}

// A hint that comes up in the open window has the room of an empty one, which the smallest size was found
// with. It keeps what it gets.
void QtToolkit::makeRoom(QLabel& hint, int more) {
  WizardWindow& frame = m_pWindow->frame;
  if (more <= 0 || !frame.isVisible()) {
    return;
  }
  hint.setMinimumHeight(hint.sizeHint().height());
  const int room = frame.screen()->availableGeometry().height();
  frame.setMinimumHeight(qMin(frame.minimumHeight() + more, room));
}

QMainWindow& QtToolkit::window() {
  return m_pWindow->frame;
}

template <typename Type>
Type* QtToolkit::control(Outlet outlet) const {
  for (const Control& control : m_pWindow->controls) {
    if (control.outlet == outlet) {
      if (Type* const object = qobject_cast<Type*>(control.object); object != nullptr) {
        return object;
      }
    }
  }
  LOG_MESSAGE(kLogError, "The control %d isn't what the call is made for", static_cast<int>(outlet));
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
  QString& shown = m_pWindow->titles[outlet];
  if (outlet == Outlet::mainWindow) {
    WizardWindow& frame = m_pWindow->frame;
    // "[*]" is Qt's mark for unsaved changes; doubled it stands for itself.
    frame.setWindowTitle(frontOf(whole).replace(QLatin1String("[*]"), QLatin1String("[*][*]")));
    frame.setAccessibleName(whole);
    for (QWidget* nameless :
         std::initializer_list<QWidget*>{ui.programIcon, ui.outcomeIcon, ui.progressBar}) {
      nameless->setAccessibleName(whole);
    }
    shown = elided(*ui.menuBar, whole, kMenuLetters);
  } else if (outlet >= Outlet::mAbout) {
    shown = elided(*ui.applicationMenu, whole, kMenuLetters);
  } else if (QAbstractButton* const button = control<QAbstractButton>(outlet); button != nullptr) {
    const bool box = qobject_cast<QCheckBox*>(button) != nullptr;
    shown = elided(*button, whole, box ? kBoxLetters : kButtonLetters);
    button->setAccessibleName(whole);
    button->setToolTip(shown == whole ? QString() : wrappedToolTip(whole));
  }
  drawTitles();
  describe(outlet, whole);
}

void QtToolkit::drawTitles() {
  Ui::MainWindow& ui = m_pWindow->ui;
  // Letters are shared out by what is seen at one time. What is pressed most comes first, and the title of
  // the menu, which stands over every screen, takes its letter before the screens do.
  static const std::array<std::vector<Outlet>, 4> kTogether = {{
      {Outlet::runButton, Outlet::encryptionBox, Outlet::maskPswdBox},
      {Outlet::cancelButton},
      {Outlet::finishButton},
      {Outlet::mAbout, Outlet::mHideTolm, Outlet::mHideOthers, Outlet::mShowAll, Outlet::mQuitTolm},
  }};
  for (const std::vector<Outlet>& group : kTogether) {
    Mnemonics letters;
    if (group.front() != Outlet::mAbout) {
      ui.applicationMenu->setTitle(letters.mark(m_pWindow->titles[Outlet::mainWindow], QLatin1Char('T')));
    }
    for (const Control& control : m_pWindow->controls) {
      if (std::find(group.begin(), group.end(), control.outlet) == group.end()) {
        continue;
      }
      const QString marked = letters.mark(m_pWindow->titles[control.outlet], QLatin1Char(control.letter));
      if (QAction* const action = qobject_cast<QAction*>(control.object); action != nullptr) {
        action->setText(marked);
      } else if (QAbstractButton* const button = qobject_cast<QAbstractButton*>(control.object);
                 button != nullptr) {
        button->setText(marked);
      }
    }
    if (group.front() == Outlet::finishButton) {
      ui.folderButton->setText(letters.mark(m_pWindow->folderTitle, QLatin1Char('S')));
    }
  }
}

void QtToolkit::setTabViewType(Outlet outlet, int type) {
  // A stacked widget has no tabs to begin with; the type tells that the border goes too.
  if (QStackedWidget* const tabs = control<QStackedWidget>(outlet);
      tabs != nullptr && type == kNoTabsNoBorder) {
    tabs->setFrameShape(QFrame::NoFrame);
  }
}

void QtToolkit::selectNextTabViewItem(Outlet outlet) {
  const Ui::MainWindow& ui = m_pWindow->ui;
  QStackedWidget* const tabs = control<QStackedWidget>(outlet);
  if (tabs == nullptr || tabs->currentIndex() + 1 == tabs->count()) {
    return;
  }
  tabs->setCurrentIndex(tabs->currentIndex() + 1);
  m_pWindow->frame.beginQuietTime(m_nQuietTime);
  if (tabs->currentWidget() == ui.progressScreen) {
    ui.cancelButton->setFocus(Qt::TabFocusReason);
  } else if (tabs->currentWidget() == ui.finishedScreen) {
    ui.finishButton->setFocus(Qt::TabFocusReason);
  }
}

std::string QtToolkit::stringValue(Outlet outlet) {
  const QWidget* const object = control<QWidget>(outlet);
  if (const QLineEdit* const input = qobject_cast<const QLineEdit*>(object); input != nullptr) {
    return input->text().toStdString();
  }
  const QLabel* const label = qobject_cast<const QLabel*>(object);
  return label != nullptr ? label->text().toStdString() : std::string();
}

void QtToolkit::setStringValue(Outlet outlet, const std::string& value) {
  QWidget* const object = control<QWidget>(outlet);
  const QString words = text(value);
  if (QLineEdit* const input = qobject_cast<QLineEdit*>(object); input != nullptr) {
    input->setText(words);
    return;
  }
  if (QLabel* const label = qobject_cast<QLabel*>(object); label != nullptr) {
    label->setText(words);
  }
  if (outlet == Outlet::tolmIntro) {
    // The longest text of the window tells the direction of them all.
    QGuiApplication::setLayoutDirection(readingDirection(words));
    indentPassword(readingDirection(words));
  }
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
      ui.tolmIntro->setAccessibleName(words);
      ui.runButton->setAccessibleDescription(words);
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
      ui.bundleName->setAccessibleName(words);
      break;
    default:
      break;
  }
}

void QtToolkit::setEnabled(Outlet outlet, bool enabled) {
  if (QWidget* const object = control<QWidget>(outlet); object != nullptr) {
    object->setEnabled(enabled);
  }
  if (outlet == Outlet::passwordField) {
    // A label in full ink beside a grey field looks like one that waits for something.
    m_pWindow->ui.pswdText->setEnabled(enabled);
  }
}

void QtToolkit::setHidden(Outlet outlet, bool hidden) {
  QWidget* const object = control<QWidget>(outlet);
  QStackedWidget* const place = m_pWindow->ui.passwordPlace;
  if (object == nullptr || object->parentWidget() != place) {
    if (object != nullptr) {
      object->setHidden(hidden);
    }
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
  const QCheckBox* const box = control<QCheckBox>(outlet);
  return box != nullptr && box->isChecked() ? kStateOn : kStateOff;
}

void QtToolkit::setState(Outlet outlet, int state) {
  if (QCheckBox* const box = control<QCheckBox>(outlet); box != nullptr) {
    box->setChecked(state == kStateOn);
  }
}

void QtToolkit::startAnimation(Outlet outlet) {
  // A bar with a range is animated by its values; this puts it at its start.
  setDoubleValue(outlet, 0);
}

void QtToolkit::setDoubleValue(Outlet outlet, double value) {
  QProgressBar* const bar = control<QProgressBar>(outlet);
  if (bar == nullptr) {
    return;
  }
  // A value beyond the range fills the bar; the widget itself would ignore it.
  const int percent = value >= bar->maximum()   ? bar->maximum()
                      : value <= bar->minimum() ? bar->minimum()
                                                : static_cast<int>(value);
  bar->setValue(percent);
  showPercent(percent);
}

// What belongs to the box stands under its text and not under its mark. Layouts turn round with the window,
// but their margins don't.
void QtToolkit::indentPassword(Qt::LayoutDirection direction) {
  const QStyle& style = *m_pWindow->frame.style();
  const int indent =
      style.pixelMetric(QStyle::PM_IndicatorWidth) + style.pixelMetric(QStyle::PM_CheckBoxLabelSpacing);
  const bool turned = direction == Qt::RightToLeft;
  m_pWindow->ui.passwordLayout->setContentsMargins(turned ? 0 : indent, 0, turned ? indent : 0, 0);
}

// Beside the bar, since Qt's own style draws it white on white inside one that runs from right to left. The
// mark in front keeps number and sign in their order there.
void QtToolkit::showPercent(int percent) {
  m_pWindow->ui.percentText->setText(QStringLiteral("\u200e%1 %").arg(percent));
}

void QtToolkit::displayIfNeeded(Outlet outlet) {
  if (QWidget* const object = control<QWidget>(outlet); object != nullptr) {
    object->repaint();
  }
  if (outlet == Outlet::progressBar) {
    m_pWindow->ui.percentText->repaint();
  }
}

void QtToolkit::setHint(Hint hint, const std::string& value) {
  const Ui::MainWindow& ui = m_pWindow->ui;
  QLabel* const label = hint == Hint::desktopFolder ? ui.desktopHint
                        : hint == Hint::lostFiles   ? ui.lossHint
                                                    : ui.passwordHint;
  const QString words = text(value);
  const int before = qMax(label->sizeHint().height(), label->minimumHeight());
  label->setText(words);
  label->setAccessibleName(words);
  label->setVisible(!words.isEmpty());
  if (hint == Hint::emptyPassword) {
    makeRoom(*label, label->sizeHint().height() - before);
    // Read out with the field that it is about.
    const QString box = ui.encryptionBox->accessibleName();
    const QString description = words.isEmpty() ? box : box + QLatin1String(". ") + words;
    ui.passwordField->setAccessibleDescription(description);
    ui.unmaskPassword->setAccessibleDescription(description);
  }
}

void QtToolkit::focus(Outlet outlet) {
  if (QWidget* const object = control<QWidget>(outlet); object != nullptr) {
    object->setFocus(Qt::TabFocusReason);
  }
}

void QtToolkit::showOutcome(const Outcome& outcome) {
  const Ui::MainWindow& ui = m_pWindow->ui;
  WizardWindow& frame = m_pWindow->frame;
  const QIcon icon = frame.style()->standardIcon(outcome.isGood ? QStyle::SP_MessageBoxInformation
                                                                : QStyle::SP_MessageBoxCritical);
  ui.outcomeIcon->setPixmap(icon.pixmap(QSize(kIconSize, kIconSize), frame.devicePixelRatioF()));
  QApplication::alert(&frame);
  if (!outcome.isGood) {
    return;
  }
  const QString path = text(outcome.bundlePath);
  ui.bundleName->setText(QFileInfo(path).fileName());
  ui.bundleName->setToolTip(path);
  // A name to copy, not a field to fill in: it lies on the window's ground, at the side where texts begin.
  QPalette ground = ui.bundleName->palette();
  ground.setColor(QPalette::Base, Qt::transparent);
  ui.bundleName->setPalette(ground);
  ui.bundleName->setAlignment(QStyle::visualAlignment(frame.layoutDirection(), Qt::AlignLeading) |
                              Qt::AlignAbsolute | Qt::AlignVCenter);
  ui.bundleName->setVisible(true);
  const QString title = text(outcome.showInFolderTitle);
  m_pWindow->folderTitle = elided(*ui.folderButton, title, kButtonLetters);
  ui.folderButton->setAccessibleName(title);
  ui.folderButton->setAccessibleDescription(path);
  drawTitles();
  m_pWindow->opener.find([&ui](bool canShow) { ui.folderButton->setVisible(canShow); });
}

void QtToolkit::dispatchAsync(GlobalQueue queue, std::function<void()> block) {
  // Both classes stand for the one worker thread on this host.
  m_Worker.submit([queue, block = std::move(block)] {
    lowerThisThread(queue);
    block();
  });
}

void QtToolkit::showAbout() {
  if (m_pWindow->pAbout == nullptr) {
    QMainWindow& frame = m_pWindow->frame;
    QMessageBox* about = new QMessageBox(&frame);  // owned by the window; dies when it is closed
    about->setAttribute(Qt::WA_DeleteOnClose);
    about->setModal(false);
    about->setWindowTitle(m_pWindow->titles[Outlet::mAbout]);
    about->setTextFormat(Qt::PlainText);
    about->setText(frame.accessibleName() + QLatin1String(" " TOLM_VERSION));
    QString words = m_pWindow->ui.tolmIntro->text();
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
