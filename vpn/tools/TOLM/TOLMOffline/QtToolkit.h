// QtToolkit: the wizard's window with Qt 6 Widgets. The one place of the flow's calls that knows Qt.
//
// Builds the window from MainWindow.ui, whose object names are the outlets' names. Owns the window, the
// main thread's queue and the one worker thread that stands for every class of background queue.
// Main thread only, with an application object; dispatchAsync() may be called on any thread.

#pragma once

#include <QtCore/QSize>
#include <memory>

#include "vpn/tools/TOLM/TOLMOffline/IToolkit.h"
#include "vpn/tools/TOLM/TOLMOffline/QtMainQueue.h"
#include "vpn/tools/TOLM/TOLMOffline/WorkerQueue.h"

class QLabel;
class QMainWindow;

namespace halvo {

class GUIController;

class QtToolkit : public IToolkit {
 public:
  // For how long a screen that has just come up takes no press, in milliseconds: longer than the second
  // half of a double click, shorter than a look at the screen.
  static constexpr int kQuietTime = 500;

  explicit QtToolkit(int quietTime = kQuietTime);
  ~QtToolkit() override;
  QtToolkit(const QtToolkit&) = delete;
  QtToolkit& operator=(const QtToolkit&) = delete;

  // Connects the user's actions to the controller's methods. The controller outlives the window.
  void connectActions(GUIController& controller);
  // Shows the window, no larger than the screen.
  void show();
  // Makes the window large enough to read the welcome screen without a scroll bar, and keeps the user from
  // making it smaller; `room` is the most that it may take.
  void fitTo(const QSize& room);
  [[nodiscard]] QMainWindow& window();

  void setDelegate(IApplicationDelegate* delegate) override;
  void terminate() override;
  void setTitle(Outlet outlet, const std::string& title) override;
  void setTabViewType(Outlet outlet, int type) override;
  void selectNextTabViewItem(Outlet outlet) override;
  std::string stringValue(Outlet outlet) override;
  void setStringValue(Outlet outlet, const std::string& text) override;
  void setEnabled(Outlet outlet, bool enabled) override;
  void setHidden(Outlet outlet, bool hidden) override;
  int state(Outlet outlet) override;
  void setState(Outlet outlet, int state) override;
  void startAnimation(Outlet outlet) override;
  void setDoubleValue(Outlet outlet, double value) override;
  void displayIfNeeded(Outlet outlet) override;
  void setHint(Hint hint, const std::string& text) override;
  void focus(Outlet outlet) override;
  void showOutcome(const Outcome& outcome) override;
  void dispatchAsync(GlobalQueue queue, std::function<void()> block) override;
  IMainQueue& mainQueue() override { return m_MainQueue; }

 private:
  struct Window;

  // The object of an outlet as a `Type`; null, with a record in the log, where it is of another type.
  template <typename Type>
  [[nodiscard]] Type* control(Outlet outlet) const;
  void describe(Outlet outlet, const QString& text);
  // Draws all titles anew, with the keyboard letters of each screen.
  void drawTitles();
  void makeRoom(QLabel& hint, int more);
  void showPercent(int percent);
  void indentPassword(Qt::LayoutDirection direction);
  void showAbout();

  std::unique_ptr<Window> m_pWindow;
  IApplicationDelegate* m_pDelegate = nullptr;
  int m_nQuietTime;
  QtMainQueue m_MainQueue;
  WorkerQueue m_Worker;
};

}  // namespace halvo
