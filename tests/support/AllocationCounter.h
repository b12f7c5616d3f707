// Counts the memory that the program is given, for code that must not ask for any.
//
// The program that asks puts one of the two sources among its own: AllocationCounter.cpp replaces
// operator new; AllocationCounter_sanitizer.cpp listens to the allocator of a sanitizer, whose runtime
// brings an operator new of its own. Any thread may allocate and ask.

#pragma once

namespace halvo::test {

// The number of allocations so far.
long allocationCount();

}  // namespace halvo::test
