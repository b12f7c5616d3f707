// GUIController: the wizard's controller object of AppKit.
//
// Its outlets are the controls of the window, its actions what the user does; what happens then is decided
// by the flow that every toolkit shares (vpn/tools/TOLM/TOLMOffline/GUIController.h). Each method hands over
// to the flow's operation of that name, which works on the outlets through AppKitToolkit.
//
// Made by the window (AppKitWindow.h), which connects outlets and actions and then sends awakeFromNib. All
// methods run on the main thread but tolmFinished:, which the engine's thread calls. The controller lives
// until the process ends.

#pragma once

#import <AppKit/AppKit.h>

#include <cstdint>

namespace halvo {
class CStoragePath;
struct AppKitWizard;
}  // namespace halvo

@interface GUIController : NSObjectController {
  IBOutlet id mainWindow;
  IBOutlet id tabView;
  IBOutlet id welcomeMsg;
  IBOutlet id tolmIntro;
  IBOutlet id pswdText;
  IBOutlet id runButton;
  IBOutlet id encryptionBox;
  IBOutlet id maskPswdBox;
  IBOutlet id passwordField;
  IBOutlet id unmaskPassword;
  IBOutlet id progressMsg;
  IBOutlet id progressBar;
  IBOutlet id cancelButton;
  IBOutlet id finishMsg;
  IBOutlet id finishButton;
  IBOutlet NSMenuItem* mAbout;
  IBOutlet NSMenuItem* mHideTolm;
  IBOutlet NSMenuItem* mHideOthers;
  IBOutlet NSMenuItem* mShowAll;
  IBOutlet NSMenuItem* mQuitTolm;
  // Result of the run.
  std::int64_t m_StatusCode;
  // Full path of the bundle to write; owned.
  NSString* m_pNSStrBundleLocation;
  // The wizard's hold on the singleton.
  halvo::CStoragePath* m_pStoragePath;
  // Aids beyond the flow's own controls: see IToolkit.h.
  IBOutlet id desktopHint;
  IBOutlet id passwordHint;
  IBOutlet id lossHint;
  IBOutlet id percentText;
  IBOutlet id outcomeIcon;
  IBOutlet id bundleName;
  IBOutlet id showButton;
  // The shared flow and what binds it to this object; owned.
  halvo::AppKitWizard* m_pWizard;
}

- (BOOL)applicationShouldTerminateAfterLastWindowClosed:(NSApplication*)application;
- (void)awakeFromNib;
// Ends the process with status 0.
- (void)applicationWillTerminate:(NSNotification*)notification;

- (IBAction)enableEncrypt:(id)sender;
- (IBAction)maskPassword:(id)sender;
- (IBAction)runButton:(id)sender;
- (IBAction)cancelButton:(id)sender;
- (IBAction)finishButton:(id)sender;

- (void)setWelcomeWindow;
- (void)setProgressWindow;
- (void)setFinishedWindow;
- (NSString*)getFinishedMsg;

// What the engine tells: the percentage and the message on the main queue, the result on its own thread.
- (void)updateProgress:(const std::uint32_t*)percent;
- (void)updateMsg:(NSString*)message;
- (void)tolmFinished:(std::uint32_t)code;

- (NSString*)ts:(NSString*)text;
- (void)translateMenu;

// Shows the finished bundle in its folder.
- (IBAction)showBundle:(id)sender;
// What a password field tells of each change.
- (void)controlTextDidChange:(NSNotification*)notification;
// What the window tells when it gets the keyboard.
- (void)windowDidBecomeKey:(NSNotification*)notification;
// What the application asks ahead of handling a press in the window: whether the screen takes it yet.
- (BOOL)takesPressEvent:(NSEvent*)event;

@end
