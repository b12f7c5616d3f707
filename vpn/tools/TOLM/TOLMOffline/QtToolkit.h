// QtToolkit: the wizard's window with Qt 6 Widgets. The one place of the flow's calls that knows Qt.
//
// Builds the window from MainWindow.ui, whose object names are the outlets' names. Owns the window, the
// main thread's queue and the one worker thread that stands for every class of background queue.
// Main thread only, with an application object; dispatchAsync() may be called on any thread.

#pragma once

#include <memory>

#include "vpn/tools/TOLM/TOLMOffline/IToolkit.h"
#include "vpn/tools/TOLM/TOLMOffline/QtMainQueue.h"
#include "vpn/tools/TOLM/TOLMOffline/WorkerQueue.h"

class QMainWindow;
class QWidget;

namespace halvo {

class GUIController;

class QtToolkit : public IToolkit {
 public:
  QtToolkit();
  ~QtToolkit() override;
  QtToolkit(const QtToolkit&) = delete;
  QtToolkit& operator=(const QtToolkit&) = delete;

  // Connects the user's actions to the controller's methods. The controller outlives the window.
  void connectActions(GUIController& controller);
  // Shows the window, no larger than the screen.
  void show();
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
  void dispatchAsync(GlobalQueue queue, std::function<void()> block) override;
  IMainQueue& mainQueue() override { return m_MainQueue; }

 private:
  struct Window;

  // The widget of an outlet; null for a menu item.
  [[nodiscard]] QWidget* widget(Outlet outlet) const;
  void describe(Outlet outlet, const QString& text);
  void showAbout();

  std::unique_ptr<Window> m_pWindow;
  IApplicationDelegate* m_pDelegate = nullptr;
  QtMainQueue m_MainQueue;
  WorkerQueue m_Worker;
};

}  // namespace halvo
