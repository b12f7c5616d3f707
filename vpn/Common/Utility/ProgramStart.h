// What a program does ahead of everything else, in main(): puts right what its caller may have handed
// down in an unfit state. For one thread, before any file is opened.

#pragma once

namespace halvo {

// Opens the null device in place of each standard stream that is closed, so that no file of the program,
// and none of its children, gets that number; reading and writing there goes on failing as on a closed
// one. Takes an ignored SIGCHLD back to its default: where it is ignored the system keeps no child for
// a wait, and every command would count as failed. A failure of either changes nothing; the second is
// logged as an error of "sigaction".
void prepareProgram();

}  // namespace halvo
