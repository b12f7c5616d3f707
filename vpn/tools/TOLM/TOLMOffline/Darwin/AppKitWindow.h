// The wizard's interface description: window, three screens and application menu, made in code, so that one
// source serves every build and no tool has to compile it.

#pragma once

#import <AppKit/AppKit.h>

namespace halvo {

// Makes window and menu, connects every outlet and action of `controller` (see Darwin/GUIController.h), sends
// it awakeFromNib and shows the window. Once, on the main thread, when the application has started.
void openWizardWindow(id controller);

// Lays the three screens of `controller` out for a language that is written from right to left: what stands
// at the left goes to the right, texts begin there, boxes have their mark there. Once; main thread.
void turnWizardScreens(id controller);

}  // namespace halvo
