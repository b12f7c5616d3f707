#include <objc/runtime.h>
#include <time.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/macos/AppKitScreens_test.h"
#include "tests/system/wizard_desktop.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitWindow.h"

@implementation CountingApplication
- (void)finishLaunching {
  // The toolkit's own part of it alone: each test opens its window by itself.
  class_getMethodImplementation([NSApplication class], _cmd)(self, _cmd);
}
- (void)terminate:(id)sender {
  static_cast<void>(sender);
  ++m_nEnds;
}
- (NSInteger)requestUserAttention:(NSRequestUserAttentionType)type {
  m_nCalls += type == NSInformationalRequest ? 1 : 0;
  return [super requestUserAttention:type];
}
@end

namespace halvo::test {

namespace {

// One desktop and one application for all: the toolkit knows no second one in a process.
class ScreensEnvironment final : public ::testing::Environment {
 public:
  void SetUp() override {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) {
      unsetenv(name);
    }
    m_pDesktop = std::make_unique<WizardDesktop>();
    for (const auto& [name, value] : m_pDesktop->environment()) {
      setenv(name.c_str(), value.c_str(), 1);
    }
    // The toolkit would start these by itself, and they outlive the test.
    m_pNotifications = start("gdnc");
    m_pPasteboard = start("gpbs");
    m_pPool = [NSAutoreleasePool new];
    static_cast<void>([CountingApplication sharedApplication]);
    [NSApp finishLaunching];
  }
  void TearDown() override {
    m_pPasteboard.reset();
    m_pNotifications.reset();
    m_pDesktop.reset();
  }

 private:
  std::unique_ptr<BackgroundProgram> start(const std::string& service) {
    return std::make_unique<BackgroundProgram>(std::vector<std::string>{service, "--no-fork"},
                                               m_pDesktop->environment(), "/run/" + service);
  }

  std::unique_ptr<WizardDesktop> m_pDesktop;
  std::unique_ptr<BackgroundProgram> m_pNotifications;
  std::unique_ptr<BackgroundProgram> m_pPasteboard;
  NSAutoreleasePool* m_pPool = nil;
};

const auto* const s_pEnvironment = ::testing::AddGlobalTestEnvironment(new ScreensEnvironment);

}  // namespace

double secondsNow() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

std::string AppKitScreensTest::setSlowConfig() {
  const std::string go = std::string(std::getenv("HOME")) + "/go";
  std::filesystem::remove(go);
  setConfig(documentText("Client", describedItem("slow", "slow",
                                                 captureAction("for i in $(seq 1200); do test -e " + go +
                                                               " &amp;&amp; break; sleep 0.05; done"))));
  return go;
}

void AppKitScreensTest::openWindow() {
  m_pController = [GUIController new];
  openWizardWindow(m_pController);
  takeKeyboard();
}

void AppKitScreensTest::takeKeyboard() {
  for (int i = 1; i <= 1500 && [NSApp keyWindow] != control(@"mainWindow"); ++i) {
    turn(0.02);
    // The window manager may have been about to give the keyboard to nobody, for the last test's window that
    // has gone.
    if (i % 50 == 0) {
      [NSApp activateIgnoringOtherApps:YES];
      [control(@"mainWindow") makeKeyAndOrderFront:nil];
    }
  }
  EXPECT_EQ([NSApp keyWindow], control(@"mainWindow"));
}

void AppKitScreensTest::waitForTheFirstScreen() {
  turn(0.7);
}

void AppKitScreensTest::turn(double seconds) {
  const double end = secondsNow() + seconds;
  do {
    NSAutoreleasePool* pool = [NSAutoreleasePool new];
    NSEvent* event = [NSApp nextEventMatchingMask:NSAnyEventMask
                                        untilDate:[NSDate dateWithTimeIntervalSinceNow:0.01]
                                           inMode:NSDefaultRunLoopMode
                                          dequeue:YES];
    if (event != nil) {
      [NSApp sendEvent:event];
    }
    [pool release];
  } while (secondsNow() < end);
}

bool AppKitScreensTest::turnUntil(const std::function<bool()>& done) {
  for (int i = 0; i < 6000 && !done(); ++i) {
    turn(0.01);
  }
  return done();
}

double AppKitScreensTest::run() {
  waitForTheFirstScreen();
  [control(@"runButton") performClick:nil];
  double before = secondsNow();
  EXPECT_TRUE(turnUntil([&] {
    const bool isOver = screen() == 2;
    before = isOver ? before : secondsNow();
    return isOver;
  }));
  turn(0.7);
  return before;
}

// The window's default button is told to GNUstep by hand, which knows it by its key alone in a program that
// runs its own loop.
void AppKitScreensTest::sendKey(NSString* key, double when, bool repeat, NSUInteger modifiers) {
  NSButton* button = screen() == 0 ? control(@"runButton") : control(@"finishButton");
  [control(@"mainWindow") setDefaultButtonCell:screen() == 1 ? nil : [button cell]];
  [NSApp sendEvent:[NSEvent keyEventWithType:static_cast<NSEventType>(kKeyDown)
                                          location:NSMakePoint(0, 0)
                                     modifierFlags:static_cast<NSEventModifierFlags>(modifiers)
                                         timestamp:when
                                      windowNumber:[control(@"mainWindow") windowNumber]
                                           context:nil
                                        characters:key
                       charactersIgnoringModifiers:key
                                         isARepeat:repeat
                                           keyCode:0]];
}

NSEvent* AppKitScreensTest::mouseEvent(NSUInteger kind, NSString* name, double when) {
  NSView* view = control(name);
  const NSRect area = [view bounds];
  const NSPoint middle = [view convertPoint:NSMakePoint(area.size.width / 2, area.size.height / 2)
                                     toView:nil];
  return [NSEvent mouseEventWithType:static_cast<NSEventType>(kind)
                            location:middle
                       modifierFlags:0
                           timestamp:when
                        windowNumber:[control(@"mainWindow") windowNumber]
                             context:nil
                         eventNumber:0
                          clickCount:1
                            pressure:1];
}

void AppKitScreensTest::click(NSString* name, double when) {
  // Through the queue, where the control under the pointer looks for the second.
  [NSApp postEvent:mouseEvent(kLeftMouseDown, name, when) atStart:NO];
  [NSApp postEvent:mouseEvent(kLeftMouseUp, name, secondsNow()) atStart:NO];
  turn(0.1);
}

}  // namespace halvo::test
