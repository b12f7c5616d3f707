#import "vpn/tools/TOLM/TOLMOffline/Darwin/ScreenPresses.h"

#include <time.h>

#include <algorithm>

namespace halvo {

namespace {

constexpr double kSecondsBeforePresses = 0.5;

// Kinds of events, as the toolkit numbers them under names that differ by version.
constexpr NSUInteger kMouseGoesDown = 1;
constexpr NSUInteger kKeyGoesDown = 10;

// The clock that an event's time is of.
double secondsOfEvents() {
  timespec now = {};
  clock_gettime(CLOCK_UPTIME_RAW, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The keys by which a button or a box is pressed. Escape isn't among them: no button has it.
bool isPressingKey(NSEvent* event, bool isTyping) {
  NSString* letters = [event charactersIgnoringModifiers];
  if ([letters length] == 0) {
    return false;  // the first key of an accent
  }
  switch ([letters characterAtIndex:0]) {
    case '\r':
    case '\n':
    case 3:  // Enter of the number pad
      return true;
    case ' ':
      return !isTyping;
    default:
      return false;
  }
}

}  // namespace

bool isPress(NSEvent* event) {
  const NSUInteger kind = [event type];
  return kind == kMouseGoesDown || kind == kKeyGoesDown;
}

ScreenPresses::ScreenPresses() : m_dBegan(secondsOfEvents()) {}

void ScreenPresses::begin() {
  m_dBegan = secondsOfEvents();
}

bool ScreenPresses::takesEvent(NSEvent* event, bool isTyping) const {
  if ([event type] == kKeyGoesDown) {
    // The repeats of a key that is held down are meant for no screen.
    return !isPressingKey(event, isTyping) || (![event isARepeat] && takesPressOf([event timestamp]));
  }
  // Above its content the window has its title bar, by which it can be moved and closed at any time.
  const bool isOnScreen = [event locationInWindow].y < [[[event window] contentView] frame].size.height;
  return !isOnScreen || takesPressOf([event timestamp]);
}

bool ScreenPresses::takesPressOf(double made) const {
  const double now = secondsOfEvents();
  return (made > 0 ? std::min(made, now) : now) - m_dBegan >= kSecondsBeforePresses;
}

}  // namespace halvo
