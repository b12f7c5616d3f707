// What becomes of a program whose memory runs out where nobody is left to handle it: ahead of main(), in a
// thread of its own, or in code that can't fail.
//
// Installed with the log, ahead of every other static object, and in force for the whole process from then
// on.

#pragma once

namespace halvo {

// Has std::terminate() print "PROGRAM: out of memory (0xFE000004)" on standard error and end the process with
// status 1, where the reason is a lack of memory: std::bad_alloc, or no memory to throw anything at all. Any
// other reason aborts as before, with its core. The name isn't copied.
void installLastResort(const char* program) noexcept;

}  // namespace halvo
