#import "vpn/tools/TOLM/TOLMOffline/Darwin/TOLMApplication.h"

#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitWindow.h"
#import "vpn/tools/TOLM/TOLMOffline/Darwin/GUIController.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/ScreenPresses.h"

@implementation TOLMApplication

- (void)finishLaunching {
  // Lives until the process ends, and so isn't released.
  halvo::openWizardWindow([GUIController new]);
  [super finishLaunching];
}

- (void)sendEvent:(NSEvent*)event {
  if (!halvo::isPress(event)) {
    [super sendEvent:event];
    return;
  }
  id wizard = [[event window] delegate];
  if ([wizard isKindOfClass:[GUIController class]] && ![wizard takesPressEvent:event]) {
    return;
  }
  const halvo::Press outer = m_Press;
  m_Press = {true, [event timestamp]};
  // Until a mouse button is up again this doesn't return: the control under it takes the events meanwhile.
  [super sendEvent:event];
  m_Press = outer;
}

- (halvo::Press)press {
  return m_Press;
}

@end
