#import "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitToolkit.h"

#include <dispatch/dispatch.h>
#include <objc/runtime.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/AppKitLayout.h"
#include "vpn/tools/TOLM/TOLMOffline/Darwin/HostText.h"
#import "vpn/tools/TOLM/TOLMOffline/Darwin/TOLMApplication.h"

namespace halvo {

namespace {

// The controller's field of each outlet.
const std::pair<Outlet, NSString*> kOutletNames[] = {
    {Outlet::mainWindow, @"mainWindow"},       {Outlet::tabView, @"tabView"},
    {Outlet::welcomeMsg, @"welcomeMsg"},       {Outlet::tolmIntro, @"tolmIntro"},
    {Outlet::pswdText, @"pswdText"},           {Outlet::runButton, @"runButton"},
    {Outlet::encryptionBox, @"encryptionBox"}, {Outlet::maskPswdBox, @"maskPswdBox"},
    {Outlet::passwordField, @"passwordField"}, {Outlet::unmaskPassword, @"unmaskPassword"},
    {Outlet::progressMsg, @"progressMsg"},     {Outlet::progressBar, @"progressBar"},
    {Outlet::cancelButton, @"cancelButton"},   {Outlet::finishMsg, @"finishMsg"},
    {Outlet::finishButton, @"finishButton"},   {Outlet::mAbout, @"mAbout"},
    {Outlet::mHideTolm, @"mHideTolm"},         {Outlet::mHideOthers, @"mHideOthers"},
    {Outlet::mShowAll, @"mShowAll"},           {Outlet::mQuitTolm, @"mQuitTolm"},
};

// A block crosses the queue as a pointer that this takes back.
void runBlock(void* context) {
  const std::unique_ptr<std::function<void()>> block(static_cast<std::function<void()>*>(context));
  (*block)();
}

// A background queue has no pool that is sure to be emptied before its thread ends.
void runBlockInPool(void* context) {
  NSAutoreleasePool* pool = [NSAutoreleasePool new];
  runBlock(context);
  [pool release];
}

}  // namespace

void AppKitMainQueue::submit(std::function<void()> block) {
  // By function and context: blocks aren't known to every compiler that builds this.
  dispatch_async_f(dispatch_get_main_queue(), new std::function<void()>(std::move(block)), &runBlock);
}

AppKitToolkit::AppKitToolkit(id controller) : m_pController(controller) {}

bool AppKitToolkit::takesPressEvent(NSEvent* event) const {
  bool isTyping = false;
  for (const Outlet field : {Outlet::passwordField, Outlet::unmaskPassword}) {
    isTyping |= [static_cast<NSTextField*>(control(field, [NSTextField class])) currentEditor] != nil;
  }
  return m_Presses.takesEvent(event, isTyping);
}

bool AppKitToolkit::takesAction() const {
  if (![NSApp isKindOfClass:[TOLMApplication class]]) {
    LOG_MESSAGE(kLogError, "The application is a %s and not a TOLMApplication.", object_getClassName(NSApp));
    return true;
  }
  const Press press = [static_cast<TOLMApplication*>(NSApp) press];
  return m_Presses.takesAction() && (!press.isUnderWay || m_Presses.takesPressOf(press.began));
}

void AppKitToolkit::windowHasKeyboard() {
  if (!m_bHadKeyboard) {
    m_bHadKeyboard = true;
    m_Presses.begin();
  }
}

id AppKitToolkit::control(Outlet outlet, Class wanted) const {
  for (const auto& [known, field] : kOutletNames) {
    if (known == outlet) {
      return control(field, wanted);
    }
  }
  return nil;
}

id AppKitToolkit::control(NSString* field, Class wanted) const {
  id object = [m_pController valueForKey:field];
  if ([object isKindOfClass:wanted]) {
    return object;
  }
  LOG_MESSAGE(kLogError, "The window's %s is a %s and not a %s.", textOf(field).c_str(),
              object_getClassName(object), class_getName(wanted));
  return nil;
}

// The application asks its own delegate object, which hands on to the flow's.
void AppKitToolkit::setDelegate(IApplicationDelegate* /*delegate*/) {
  [NSApp setDelegate:m_pController];
}

void AppKitToolkit::terminate() {
  [NSApp terminate:nil];
}

void AppKitToolkit::setTitle(Outlet outlet, const std::string& title) {
  NSString* text = hostText(title);
  switch (outlet) {
    case Outlet::mainWindow:
      [static_cast<NSWindow*>(control(outlet, [NSWindow class])) setTitle:text];
      describe(outlet, text);
      break;
    case Outlet::mAbout:
    case Outlet::mHideTolm:
    case Outlet::mHideOthers:
    case Outlet::mShowAll:
    case Outlet::mQuitTolm:
      [static_cast<NSMenuItem*>(control(outlet, [NSMenuItem class])) setTitle:text];
      break;
    default:
      [static_cast<NSButton*>(control(outlet, [NSButton class])) setTitle:text];
      layOutWizardScreens(m_pController);
      break;
  }
}

void AppKitToolkit::describe(Outlet outlet, NSString* words) {
  const auto view = [this](NSString* field) { return static_cast<NSView*>(control(field, [NSView class])); };
  switch (outlet) {
    case Outlet::mainWindow:
      [view(@"progressBar") setAccessibilityLabel:words];
      break;
    case Outlet::pswdText:
      // By its text and not by the label as an object, whose place in the window the fields may leave.
      [view(@"passwordField") setAccessibilityLabel:words];
      [view(@"unmaskPassword") setAccessibilityLabel:words];
      break;
    case Outlet::progressMsg:
      [view(@"progressBar") setAccessibilityHelp:words];
      break;
    case Outlet::finishMsg:
      [view(@"outcomeIcon") setAccessibilityLabel:words];
      [view(@"bundleName") setAccessibilityLabel:words];
      break;
    default:
      break;
  }
}

void AppKitToolkit::setTabViewType(Outlet outlet, int type) {
  [static_cast<NSTabView*>(control(outlet, [NSTabView class]))
      setTabViewType:static_cast<NSTabViewType>(type)];
}

void AppKitToolkit::selectNextTabViewItem(Outlet outlet) {
  // From here on, and not from the press: what counts is how long the user has seen the screen.
  [static_cast<NSTabView*>(control(outlet, [NSTabView class])) selectNextTabViewItem:nil];
  m_Presses.begin();
}

std::string AppKitToolkit::stringValue(Outlet outlet) {
  NSTextField* field = control(outlet, [NSTextField class]);
  // What is being typed: not every toolkit of this kind counts it in by itself.
  [field validateEditing];
  return textOf([field stringValue]);
}

void AppKitToolkit::setStringValue(Outlet outlet, const std::string& text) {
  NSString* words = hostText(text);
  [static_cast<NSTextField*>(control(outlet, [NSTextField class])) setStringValue:words];
  describe(outlet, words);
  // The longest text of the window tells the direction of them all.
  if (outlet == Outlet::tolmIntro && !m_bTurned && isReadFromTheRight(words)) {
    turnWizardScreens(m_pController);
    m_bTurned = true;
  }
  layOutWizardScreens(m_pController);
}

void AppKitToolkit::setEnabled(Outlet outlet, bool enabled) {
  [static_cast<NSControl*>(control(outlet, [NSControl class])) setEnabled:enabled];
  if (outlet == Outlet::passwordField) {
    // A label in full ink beside a grey field looks like one that waits for something.
    [static_cast<NSTextField*>(control(Outlet::pswdText, [NSTextField class]))
        setTextColor:enabled ? [NSColor controlTextColor] : [NSColor disabledControlTextColor]];
  }
}

void AppKitToolkit::setHidden(Outlet outlet, bool hidden) {
  NSView* view = control(outlet, [NSView class]);
  const bool isPassword = outlet == Outlet::passwordField || outlet == Outlet::unmaskPassword;
  // While a field is typed in, the window has an editor at work there in its stead.
  NSText* editor = isPassword && hidden ? [static_cast<NSTextField*>(view) currentEditor] : nil;
  if (editor == nil) {
    [view setHidden:hidden];
    return;
  }
  // The two password fields share a place, and the keyboard stays with the place: where the user was, and
  // with nothing selected that the next letter would replace.
  const NSRange range = [editor selectedRange];
  const Outlet other = outlet == Outlet::passwordField ? Outlet::unmaskPassword : Outlet::passwordField;
  NSTextField* shown = control(other, [NSTextField class]);
  [static_cast<NSWindow*>(control(Outlet::mainWindow, [NSWindow class])) makeFirstResponder:shown];
  [view setHidden:YES];
  [[shown currentEditor] setSelectedRange:range];
}

int AppKitToolkit::state(Outlet outlet) {
  // A box may know a third, mixed state, which is not on.
  return [static_cast<NSButton*>(control(outlet, [NSButton class])) state] == kStateOn ? kStateOn : kStateOff;
}

void AppKitToolkit::setState(Outlet outlet, int state) {
  [static_cast<NSButton*>(control(outlet, [NSButton class])) setState:state];
}

void AppKitToolkit::startAnimation(Outlet outlet) {
  setDoubleValue(outlet, 0);
  [static_cast<NSProgressIndicator*>(control(outlet, [NSProgressIndicator class])) startAnimation:nil];
}

void AppKitToolkit::setDoubleValue(Outlet outlet, double value) {
  [static_cast<NSProgressIndicator*>(control(outlet, [NSProgressIndicator class])) setDoubleValue:value];
  const int percent = static_cast<int>(std::clamp(value, 0.0, 100.0));
  // The mark in front keeps number and sign in their order in a text that is read from the right.
  [static_cast<NSTextField*>(control(@"percentText", [NSTextField class]))
      setStringValue:hostText("\u200e" + std::to_string(percent) + " %")];
}

void AppKitToolkit::displayIfNeeded(Outlet outlet) {
  [static_cast<NSView*>(control(outlet, [NSView class])) displayIfNeeded];
  if (outlet == Outlet::progressBar) {
    [static_cast<NSView*>(control(@"percentText", [NSView class])) displayIfNeeded];
  }
}

void AppKitToolkit::setHint(Hint hint, const std::string& text) {
  NSString* field = hint == Hint::desktopFolder ? @"desktopHint"
                    : hint == Hint::lostFiles   ? @"lossHint"
                                                : @"passwordHint";
  NSString* words = hostText(text);
  NSTextField* label = control(field, [NSTextField class]);
  [label setStringValue:words];
  [label setHidden:text.empty()];
  if (hint == Hint::emptyPassword) {
    // Read out with the field that it is about.
    for (const Outlet input : {Outlet::passwordField, Outlet::unmaskPassword}) {
      [static_cast<NSView*>(control(input, [NSView class])) setAccessibilityHelp:words];
    }
  }
  layOutWizardScreens(m_pController);
}

void AppKitToolkit::focus(Outlet outlet) {
  [static_cast<NSWindow*>(control(Outlet::mainWindow, [NSWindow class]))
      makeFirstResponder:static_cast<NSView*>(control(outlet, [NSView class]))];
}

void AppKitToolkit::showOutcome(const Outcome& outcome) {
  NSImage* sign = [NSImage imageNamed:outcome.isGood ? @"NSStatusAvailable" : @"NSCaution"];
  if (sign == nil) {
    // Not every toolkit of this kind has a sign for what went well; all have one for what is to be known.
    sign = [NSImage imageNamed:@"NSInfo"];
  }
  [static_cast<NSImageView*>(control(@"outcomeIcon", [NSImageView class])) setImage:sign];

  m_strBundlePath = outcome.bundlePath;
  NSTextField* name = control(@"bundleName", [NSTextField class]);
  [name setStringValue:[hostText(m_strBundlePath) lastPathComponent]];
  [name setHidden:m_strBundlePath.empty()];
  NSButton* show = control(@"showButton", [NSButton class]);
  [show setTitle:hostText(outcome.showInFolderTitle)];
  [show setHidden:m_strBundlePath.empty()];
  [show setAccessibilityHelp:hostText(m_strBundlePath)];
  layOutWizardScreens(m_pController);

  // Does nothing where the program is in front.
  [NSApp requestUserAttention:NSInformationalRequest];
}

void AppKitToolkit::showBundle() {
  [[NSWorkspace sharedWorkspace] selectFile:hostText(m_strBundlePath) inFileViewerRootedAtPath:@""];
}

void AppKitToolkit::dispatchAsync(GlobalQueue queue, std::function<void()> block) {
  dispatch_async_f(dispatch_get_global_queue(static_cast<int>(queue), 0),
                   new std::function<void()>(std::move(block)), &runBlockInPool);
}

IMainQueue& AppKitToolkit::mainQueue() {
  return m_MainQueue;
}

}  // namespace halvo
