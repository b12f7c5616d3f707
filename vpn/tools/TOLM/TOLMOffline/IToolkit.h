// IToolkit: what the wizard's flow needs of a window toolkit.
//
// The flow (GUIController) knows no toolkit; it works on named outlets through this interface, so a
// second toolkit can stand beside the first without a change to the flow. An adapter builds the
// window from its interface description, connects the user's actions to the controller's action
// methods, and then calls awakeFromNib() once.
//
// All operations are called on the main thread, dispatchAsync() and the main queue's submit() aside.
// The adapter outlives the controller's use of it. Texts are UTF-8, are shown as they stand (no mark-up,
// no mnemonics) and may have any length.

#pragma once

#include <functional>
#include <string>

#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"

namespace halvo {

// The objects of the interface description that the controller holds.
enum class Outlet {
  mainWindow,
  tabView,         // the three screens, in the order welcome, progress, finished
  welcomeMsg,      // text label, welcome screen
  tolmIntro,       // text label, welcome screen
  pswdText,        // label of the password field
  runButton,       // button, welcome screen
  encryptionBox,   // check box: encrypt the bundle
  maskPswdBox,     // check box: hide the password's characters
  passwordField,   // password input that shows bullets
  unmaskPassword,  // password input that shows the characters, at the same place
  progressMsg,     // text label, progress screen
  progressBar,     // covers 0 to 100
  cancelButton,    // button, progress screen
  finishMsg,       // text label, finished screen
  finishButton,    // button, finished screen
  mAbout,          // application menu items
  mHideTolm,
  mHideOthers,
  mShowAll,
  mQuitTolm,
};

// A check box's two states.
inline constexpr int kStateOff = 0;
inline constexpr int kStateOn = 1;

// The tab view type that shows neither tabs nor a border.
inline constexpr int kNoTabsNoBorder = 6;

// Lines that the wizard shows only where there is a reason.
enum class Hint {
  desktopFolder,  // welcome screen: the bundle can't be saved where it will go
  emptyPassword,  // beside the password: encryption is ticked and nothing is typed
  lostFiles,      // finished screen: the bundle stands, and not all is whole that its summary lists
};

// How a run has ended, for the finished screen.
struct Outcome {
  bool isGood = false;
  std::string bundlePath;         // of a good run: the bundle
  std::string showInFolderTitle;  // title of the button that shows the bundle in its folder
};

// The classes of background queue that the flow chooses from.
enum class GlobalQueue : int {
  background = -2,
  utility = 17,
};

// What the application tells its delegate.
class IApplicationDelegate {
 public:
  virtual ~IApplicationDelegate() = default;
  // Whether closing the last window ends the program.
  virtual bool applicationShouldTerminateAfterLastWindowClosed() = 0;
  // The event loop is about to end, for whatever reason. Doesn't return in the running program.
  virtual void applicationWillTerminate() = 0;
};

class IToolkit {
 public:
  virtual ~IToolkit() = default;

  // Application. The delegate isn't owned.
  virtual void setDelegate(IApplicationDelegate* delegate) = 0;
  // Ends the event loop; the delegate's applicationWillTerminate() is called.
  virtual void terminate() = 0;

  // Title of the window, a button, a check box or a menu item.
  virtual void setTitle(Outlet outlet, const std::string& title) = 0;

  // Tab view.
  virtual void setTabViewType(Outlet outlet, int type) = 0;
  // Shows the next screen; at the last screen nothing happens.
  virtual void selectNextTabViewItem(Outlet outlet) = 0;

  // Text of a label or an input.
  virtual std::string stringValue(Outlet outlet) = 0;
  virtual void setStringValue(Outlet outlet, const std::string& text) = 0;

  // Input or check box. None of these sends an action.
  virtual void setEnabled(Outlet outlet, bool enabled) = 0;
  virtual void setHidden(Outlet outlet, bool hidden) = 0;
  virtual int state(Outlet outlet) = 0;
  virtual void setState(Outlet outlet, int state) = 0;

  // Progress bar.
  virtual void startAnimation(Outlet outlet) = 0;
  virtual void setDoubleValue(Outlet outlet, double value) = 0;

  // Repaints now, not at the event loop's next turn.
  virtual void displayIfNeeded(Outlet outlet) = 0;

  // Aids that the flow works without: an adapter that has no control for one leaves it out.
  // Shows the hint, or takes it away where `text` is empty.
  virtual void setHint(Hint /*hint*/, const std::string& /*text*/) {}
  // Gives the keyboard to an input.
  virtual void focus(Outlet /*outlet*/) {}
  // Marks the finished screen as good or bad, offers a way to a good run's bundle, and asks for the user's
  // attention where the window isn't in front. Called once, behind the closing message.
  virtual void showOutcome(const Outcome& /*outcome*/) {}

  // Runs the block on a background queue of that class. Doesn't wait; any thread may call.
  virtual void dispatchAsync(GlobalQueue queue, std::function<void()> block) = 0;
  // The queue of the main thread; outlives every block.
  virtual IMainQueue& mainQueue() = 0;
};

}  // namespace halvo
