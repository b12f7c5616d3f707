// The places of the wizard's controls: how much room each text needs, and from which side it is read.
//
// On the main thread; `controller` holds the controls under the names of its fields.

#pragma once

#import <AppKit/AppKit.h>

namespace halvo {

// The smallest size of the window's content, where no text needs more.
inline constexpr double kWizardWidth = 560;
inline constexpr double kWizardHeight = 400;
inline constexpr double kWizardMargin = 20;
inline constexpr double kWizardButtonHeight = 32;

// Gives each text the height that it needs in the narrowest window, moves what stands below it, and makes
// the window higher where it must be, for good. A text of more than some ten lines gets ten, and is whole
// in its tool tip. Buttons become as wide as their titles. At every change of a text.
void layOutWizardScreens(id controller);

// Lays the three screens out for a language that is written from right to left: what stands at the left goes
// to the right, texts begin there, boxes have their mark there. Once.
void turnWizardScreens(id controller);

}  // namespace halvo
