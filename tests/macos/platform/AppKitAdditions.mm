#include "tests/macos/platform/AppKitAdditions.h"

#include <map>
#include <string>
#include <utility>

// What makes the linker take this unit, whose methods nobody refers to by a symbol.
extern "C" {
extern const int tolm_appkit_additions;
const int tolm_appkit_additions = 1;
}

namespace {

// By view and kind. A view that has gone leaves its texts to one that comes in its place.
std::string& told(NSView* view, const char* kind) {
  static std::map<std::pair<NSView*, std::string>, std::string> s_told;
  return s_told[{view, kind}];
}

}  // namespace

@implementation NSView (Accessibility)

- (void)setAccessibilityLabel:(NSString*)label {
  told(self, "label") = [label UTF8String];
}

- (NSString*)accessibilityLabel {
  return [NSString stringWithUTF8String:told(self, "label").c_str()];
}

- (void)setAccessibilityHelp:(NSString*)help {
  told(self, "help") = [help UTF8String];
}

- (NSString*)accessibilityHelp {
  return [NSString stringWithUTF8String:told(self, "help").c_str()];
}

@end
