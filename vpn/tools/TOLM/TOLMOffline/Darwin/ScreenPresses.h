// ScreenPresses: which of the user's presses the present screen takes.
//
// A button of a new screen stands where the last one's stood, so a double click would go through both; and
// the window takes the keyboard when it opens, while the user may still type elsewhere. So a screen takes no
// press in its first half second, and none that began before. What counts is when a press was made, and not
// when a busy program gets to it. Menus aren't of a screen, and what is typed into a field is no press.
//
// Knows no screen: whoever shows one says so. Main thread.

#pragma once

#import <AppKit/AppKit.h>

namespace halvo {

// Whether a button of the mouse or a key goes down.
bool isPress(NSEvent* event);

class ScreenPresses final {
 public:
  // With a first screen that has just come.
  ScreenPresses();

  // A screen has come.
  void begin();

  // Whether a press in the wizard's window is to be handled. `isTyping`: a field has the keyboard, in which a
  // blank is a letter like any other.
  [[nodiscard]] bool takesEvent(NSEvent* event, bool isTyping) const;

  // Whether a press that was made then counts for the present screen. Seconds since the machine's start, as
  // an event's time is told; an event without a time, or of another clock, is one of this moment.
  [[nodiscard]] bool takesPressOf(double made) const;

  // An action that comes without a press, from an accessibility service, is one of this moment.
  [[nodiscard]] bool takesAction() const { return takesPressOf(0); }

 private:
  // By the clock of the events.
  double m_dBegan;
};

}  // namespace halvo
