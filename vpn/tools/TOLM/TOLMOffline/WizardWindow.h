// WizardWindow: the wizard's frame with what the keyboard and the mouse may do in it.
//
// Return stands for what the screen is there for, Escape for leaving, F10 opens the menu. A screen that
// has just come up takes no press for a moment, and a key that is held down counts once: a second press
// that was meant for the screen before must neither cancel a run nor close a message that nobody has
// read yet.
//
// Main thread only, as all widgets. The functions are called on it; they have to be set before the first
// event arrives.

#pragma once

#include <QtCore/QElapsedTimer>
#include <QtWidgets/QMainWindow>
#include <functional>

class QKeyEvent;

namespace halvo {

class WizardWindow : public QMainWindow {
 public:
  std::function<void()> onReturn;
  std::function<void()> onEscape;

  // The screen has changed, or the window has opened: presses are passed over for the next `milliseconds`.
  // What is done through the accessibility service, and the keys of the menu, aren't presses.
  void beginQuietTime(int milliseconds);

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  // Installed on the application: a button takes Return and Space before its window sees them.
  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  [[nodiscard]] bool isRepeated(const QKeyEvent& key) const;
  // Whether it is handled in the quiet time of this window, or was made then by the window system's clock.
  [[nodiscard]] bool isInQuietTime(const QEvent& event) const;
  // Whether a press on `object` falls into the quiet time.
  [[nodiscard]] bool comesTooEarly(const QObject& object, const QEvent& event) const;

  // The key that was released last, and when: in the window system's milliseconds, 0 where it tells none.
  int m_nReleasedKey = 0;
  quint64 m_nReleaseTime = 0;
  // The newest press or key by the same clock, and the time since it was handled.
  quint64 m_nNewestTime = 0;
  QElapsedTimer m_SinceNewest;
  QElapsedTimer m_ScreenAge;
  qint64 m_nQuietTime = 0;
  // By the window system's clock: the newest event when the screen came up, and that moment, rather early
  // than late. 0 where nothing is known.
  quint64 m_nTimeBeforeScreen = 0;
  quint64 m_nScreenTime = 0;
};

}  // namespace halvo
