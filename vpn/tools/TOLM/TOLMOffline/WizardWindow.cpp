#include "vpn/tools/TOLM/TOLMOffline/WizardWindow.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QMenuBar>

namespace halvo {

namespace {

bool isReturn(const QKeyEvent& event) {
  return event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter;
}

// In an input a blank that is held down is typed again and again.
bool pressesButton(const QObject& object, const QKeyEvent& key) {
  return isReturn(key) ||
         (key.key() == Qt::Key_Space && qobject_cast<const QAbstractButton*>(&object) != nullptr);
}

}  // namespace

void WizardWindow::beginQuietTime(int milliseconds) {
  m_nQuietTime = milliseconds;
  m_ScreenAge.start();
  m_nTimeBeforeScreen = m_nNewestTime;
  m_nScreenTime = m_nNewestTime == 0 ? 0 : m_nNewestTime + static_cast<quint64>(m_SinceNewest.elapsed());
}

void WizardWindow::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
    if (!event->isAutoRepeat()) {
      onEscape();
    }
  } else if (isReturn(*event)) {
    onReturn();
  } else if (event->key() == Qt::Key_F10 && event->modifiers() == Qt::NoModifier) {
    // The toolkit opens its menus by Alt alone; other desktops have taught their users this key.
    menuBar()->setFocus(Qt::MenuBarFocusReason);
    menuBar()->setActiveAction(menuBar()->actions().value(0));
  } else {
    QMainWindow::keyPressEvent(event);
  }
}

// Sees every event of the application. A key that is held down must not run through the screens,
// neither here nor in the button that has the keyboard and takes Return and Space by itself. X repeats
// a key by a release and a press of the same moment, and Qt doesn't tell each such press from a new one.
bool WizardWindow::eventFilter(QObject* object, QEvent* event) {
  if (comesTooEarly(*object, *event)) {
    return true;
  }
  if (event->isInputEvent() && static_cast<QInputEvent*>(event)->timestamp() > m_nNewestTime) {
    m_nNewestTime = static_cast<QInputEvent*>(event)->timestamp();
    m_SinceNewest.start();
  }
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

bool WizardWindow::isRepeated(const QKeyEvent& key) const {
  return key.isAutoRepeat() ||
         (key.timestamp() != 0 && key.timestamp() == m_nReleaseTime && key.key() == m_nReleasedKey);
}

bool WizardWindow::isInQuietTime(const QEvent& event) const {
  if (!m_ScreenAge.isValid() || m_nQuietTime == 0) {
    return false;
  }
  if (m_ScreenAge.elapsed() < m_nQuietTime) {
    return true;
  }
  // A program that was kept from working finds a press late that was made early. One that seems to be older
  // than what came before the screen has a clock that began anew.
  const quint64 made = event.isInputEvent() ? static_cast<const QInputEvent&>(event).timestamp() : 0;
  return m_nScreenTime != 0 && made >= m_nTimeBeforeScreen &&
         made < m_nScreenTime + static_cast<quint64>(m_nQuietTime);
}

bool WizardWindow::comesTooEarly(const QObject& object, const QEvent& event) const {
  if (!isInQuietTime(event)) {
    return false;
  }
  const QWidget* const widget = qobject_cast<const QWidget*>(&object);
  if (widget == nullptr || widget->window() != this || qobject_cast<const QMenuBar*>(widget) != nullptr) {
    return false;  // the box of About, a menu, and the window system's own objects
  }
  switch (event.type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::TouchBegin:
      return true;
    case QEvent::Shortcut:
      // A button's letter; the menu's keys have an action behind them, not a button.
      return qobject_cast<const QAbstractButton*>(widget) != nullptr;
    case QEvent::KeyPress: {
      const QKeyEvent& key = static_cast<const QKeyEvent&>(event);
      return isReturn(key) || key.key() == Qt::Key_Space || key.key() == Qt::Key_Escape;
    }
    default:
      return false;
  }
}

}  // namespace halvo
