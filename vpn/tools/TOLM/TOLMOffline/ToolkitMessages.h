// What the toolkit says of itself, in the wizard's words: on standard error before the window is open, in
// the log as well from then on.
//
// Main thread, once; the toolkit may speak on any thread.

#pragma once

#include <string>

namespace halvo {

// Takes the toolkit's messages. A fatal one ends the process: with status 1 and one line on standard error
// before the window is open, with status 0 and a record in the log afterwards.
void takeToolkitMessages();

// The window is open: what comes now is about a wizard that works.
void toolkitHasOpened();

// The line, without a line feed, for a toolkit that couldn't start and said `messages` before it gave up.
// Names the console program, which needs no window.
std::string startFailureLine(const std::string& messages);

// Loads the toolkit's own texts (the buttons of a box, the names of keys) in the language of `locale`, such
// as "de-at". False where there are none; they stay English then.
bool loadToolkitTexts(const std::string& locale);

}  // namespace halvo
