// tmtolmui: the wizard on AppKit. The arguments go to the toolkit as they are.

#import <AppKit/AppKit.h>

#include "vpn/Common/Utility/ProgramStart.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitWindow.h"
#import "vpn/tools/TOLM/TOLMOffline/Darwin/GUIController.h"

// The application class that Info.plist names: it opens the window, which is made in code, at the moment at
// which another program would load its interface description.
@interface TOLMApplication : NSApplication
@end

@implementation TOLMApplication

- (void)finishLaunching {
  // Lives until the process ends, and so isn't released.
  halvo::openWizardWindow([GUIController new]);
  [super finishLaunching];
}

@end

int main(int argc, char** argv) {
  halvo::prepareProgram();
  return NSApplicationMain(argc, const_cast<const char**>(argv));
}
