// tmtolmui: the wizard on AppKit. The arguments go to the toolkit as they are.

#import <AppKit/AppKit.h>

#include "vpn/Common/Utility/ProgramStart.h"
#import "vpn/tools/TOLM/TOLMOffline/Darwin/TOLMApplication.h"

int main(int argc, char** argv) {
  halvo::prepareProgram();
  // The toolkit finds the class by the name in Info.plist, which is no reason for a linker to keep it.
  static_cast<void>([TOLMApplication class]);
  return NSApplicationMain(argc, const_cast<const char**>(argv));
}
