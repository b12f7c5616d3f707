// The wizard's interface description: window, three screens and application menu, made in code, so that one
// source serves every build and no tool has to compile it.

#pragma once

#import <AppKit/AppKit.h>

namespace halvo {

// Makes window and menu, connects every outlet and action of `controller` (see Darwin/GUIController.h), sends
// it awakeFromNib and shows the window. Once, on the main thread, when the application has started.
//
// The menus are the application's, and one for editing, without which no key cuts, copies, pastes or selects
// all: its titles are the toolkit's own words, translated where the toolkit has them translated, and else
// English, since the program's texts have none for them.
void openWizardWindow(id controller);

}  // namespace halvo
