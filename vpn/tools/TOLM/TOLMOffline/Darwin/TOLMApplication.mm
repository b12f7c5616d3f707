#import "vpn/tools/TOLM/TOLMOffline/Darwin/TOLMApplication.h"

#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitWindow.h"
#import "vpn/tools/TOLM/TOLMOffline/Darwin/GUIController.h"

namespace {

// Kinds of events, as the toolkit numbers them under names that differ by version.
constexpr NSUInteger kLeftMouseDown = 1;
constexpr NSUInteger kKeyDown = 10;

}  // namespace

@implementation TOLMApplication

- (void)finishLaunching {
  // Lives until the process ends, and so isn't released.
  halvo::openWizardWindow([GUIController new]);
  [super finishLaunching];
}

- (void)sendEvent:(NSEvent*)event {
  const NSUInteger kind = [event type];
  if (kind == kKeyDown && [event isARepeat]) {
    m_Press.isRepeat = true;
  } else if (kind == kKeyDown || kind == kLeftMouseDown) {
    m_Press.began = [event timestamp];
    m_Press.isUnderWay = true;
  }
  // Until a mouse button is up again this doesn't return: the control under it takes the events meanwhile.
  [super sendEvent:event];
  m_Press.isUnderWay = false;
  m_Press.isRepeat = false;
}

- (halvo::Press)lastPress {
  return m_Press;
}

@end
