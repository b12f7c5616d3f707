// AppKitToolkit: the wizard's flow on AppKit's controls.
//
// Holds no control: each outlet is an object of the window, which lives as long as the program, and is looked
// up by its name at each use. One that is missing or of another class than its use needs is logged as an
// error, and the use does nothing. Main thread, apart from dispatchAsync() and the main queue.

#pragma once

#import <AppKit/AppKit.h>

#include <functional>
#include <string>

#include "vpn/tools/TOLM/TOLMOffline/Darwin/ScreenPresses.h"
#include "vpn/tools/TOLM/TOLMOffline/IToolkit.h"

namespace halvo {

// The queue of the main thread. Any thread may submit.
class AppKitMainQueue final : public IMainQueue {
 public:
  void submit(std::function<void()> block) override;
};

class AppKitToolkit final : public IToolkit {
 public:
  // `controller` holds the outlets under their names and becomes the application's delegate; it isn't owned.
  explicit AppKitToolkit(id controller);

  // Whether the present screen takes this press in the window: see ScreenPresses.h.
  [[nodiscard]] bool takesPressEvent(NSEvent* event) const;

  // Whether the present screen takes the action that comes now. By the press that it comes from, which may be
  // held while the screen changes under it, so that what is let go is meant for the screen before.
  [[nodiscard]] bool takesAction() const;

  // The first time is when the first screen is shown to whoever types.
  void windowHasKeyboard();

  // Shows the bundle of a good run in its folder.
  void showBundle();

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
  IMainQueue& mainQueue() override;

 private:
  // The control behind an outlet, or behind a field of the controller; nil where it isn't a `wanted`.
  [[nodiscard]] id control(Outlet outlet, Class wanted) const;
  [[nodiscard]] id control(NSString* field, Class wanted) const;
  // What a screen reader tells beside a control's name comes from the texts on the screen, so it is in the
  // user's language too.
  void describe(Outlet outlet, NSString* words);

  id m_pController;
  AppKitMainQueue m_MainQueue;
  std::string m_strBundlePath;
  bool m_bTurned = false;
  bool m_bHadKeyboard = false;
  ScreenPresses m_Presses;
};

}  // namespace halvo
