// The wizard's screens on AppKit from inside: the controls behind the controller's own fields, over GNUstep,
// on an X server of the test's own. Presses are events made here, so that their times are the test's.

#pragma once

#import <AppKit/AppKit.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <objc/runtime.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#import "vpn/tools/TOLM/TOLMOffline/Darwin/GUIController.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/HostText.h"
#import "vpn/tools/TOLM/TOLMOffline/Darwin/TOLMApplication.h"

// The wizard's application, but for its end, which would be the test's as well.
@interface CountingApplication : TOLMApplication {
 @public
  int m_nEnds;
  // How often the program has asked for the user's attention.
  int m_nCalls;
}
@end

namespace halvo::test {

constexpr NSUInteger kLeftMouseDown = 1;
constexpr NSUInteger kLeftMouseUp = 2;
constexpr NSUInteger kKeyDown = 10;

// Puts a function in place of a class's own, for as long as it lives.
class Replaced {
 public:
  template <typename Function>
  Replaced(Class owner, SEL name, Function* fresh)
      : m_pMethod(class_getInstanceMethod(owner, name)),
        m_pOld(method_setImplementation(m_pMethod, reinterpret_cast<IMP>(reinterpret_cast<void*>(fresh)))) {}
  ~Replaced() { method_setImplementation(m_pMethod, m_pOld); }
  Replaced(const Replaced&) = delete;
  Replaced& operator=(const Replaced&) = delete;

 private:
  Method m_pMethod;
  IMP m_pOld;
};

// The clock of the events.
double secondsNow();

class AppKitScreensTest : public ::testing::Test {
 protected:
  AppKitScreensTest() {
    std::filesystem::remove_all(m_strDesktopFolder);
    makeFolders(m_strDesktopFolder);
    writeFile("/opt/halvo/tessarmont/log/client.log", "the client's log\n");
    setConfig(
        documentText("Client", describedItem("log", "log", copyAction("/opt/halvo/tessarmont/log/*.log"))));
    application()->m_nEnds = 0;
  }
  ~AppKitScreensTest() override { [control(@"mainWindow") orderOut:nil]; }

  static CountingApplication* application() { return static_cast<CountingApplication*>(NSApp); }
  static void setConfig(const std::string& document) {
    writeFile("/opt/halvo/tessarmont/tolm/xml/config/client.xml", document);
  }
  // A run that goes on until the file is there whose path is the result, or a minute is over.
  static std::string setSlowConfig();
  // The controller lives until the process ends, as it does in the program.
  void openWindow();
  // Waits until the window has the keyboard.
  void takeKeyboard();
  // Until the first screen takes a press.
  void waitForTheFirstScreen();

  id control(NSString* name) { return [m_pController valueForKey:name]; }
  std::string text(NSString* name) { return textOf([control(name) stringValue]); }
  std::string title(NSString* name) { return textOf([control(name) title]); }
  bool isSeen(NSString* name) { return ![control(name) isHiddenOrHasHiddenAncestor]; }
  bool isGrey(NSString* name) {
    return [[control(name) textColor] isEqual:[NSColor disabledControlTextColor]];
  }
  int screen() {
    NSTabView* tabs = control(@"tabView");
    return static_cast<int>([tabs indexOfTabViewItem:[tabs selectedTabViewItem]]);
  }
  // Whether what is typed goes into this field.
  bool hasKeyboard(NSString* name) {
    id first = [control(@"mainWindow") firstResponder];
    return first == control(name) ||
           ([first isKindOfClass:[NSText class]] && [first delegate] == control(name));
  }

  // The event loop for a moment, or until something is so, within a minute.
  static void turn(double seconds);
  static bool turnUntil(const std::function<bool()>& done);
  // Runs and waits for the finished screen. The result is a moment ahead of its being shown, and now is more
  // than a screen's first half-second behind it.
  double run();

  // A key to the window.
  void sendKey(NSString* key, double when, bool repeat, NSUInteger modifiers = 0);
  // A key with Command, which the application hands to the window that has the keyboard.
  void sendCommand(NSString* key) {
    takeKeyboard();
    sendKey(key, secondsNow(), false, NSCommandKeyMask);
  }
  // A click whose button goes down at one moment and is let go now.
  void click(NSString* name, double when);

  const std::string m_strDesktopFolder = std::string(std::getenv("HOME")) + "/Desktop";
  GUIController* m_pController = nil;

 private:
  NSEvent* mouseEvent(NSUInteger kind, NSString* name, double when);
};

}  // namespace halvo::test
