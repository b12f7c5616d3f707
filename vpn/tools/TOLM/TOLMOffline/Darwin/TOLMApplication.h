// TOLMApplication: the application class that Info.plist names.
//
// Opens the window, which is made in code, at the moment at which another program would load its interface
// description. Every event of the user passes here first, keys that stand for a button or a menu item too: a
// press that is too early for the wizard's screen ends here (see ScreenPresses.h). Keeps what is known of the
// press under way: the event that an action comes with doesn't tell, because a click's action comes with the
// button's release. Main thread.

#pragma once

#import <AppKit/AppKit.h>

namespace halvo {

// A press of a mouse button or of a key. Without initial values: an object's fields start at zero, and no
// compiler is sure to run a constructor for them.
struct Press {
  // Whether what happens now comes from it: a button is down, or a key's work is being done.
  bool isUnderWay;
  // By the clock of the events, in seconds since the machine's start.
  double began;
};

}  // namespace halvo

@interface TOLMApplication : NSApplication {
  halvo::Press m_Press;
}

- (void)finishLaunching;
- (void)sendEvent:(NSEvent*)event;
- (halvo::Press)press;

@end
