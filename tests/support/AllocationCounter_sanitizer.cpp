#include <sanitizer/allocator_interface.h>

#include <atomic>

#include "tests/support/AllocationCounter.h"

namespace halvo::test {

namespace {

constinit std::atomic<long> s_nAllocations{0};

void noteAllocation(const volatile void* /*memory*/, std::size_t /*size*/) {
  s_nAllocations.fetch_add(1, std::memory_order_relaxed);
}

void ignoreFree(const volatile void* /*memory*/) {}

const int s_nInstalled = __sanitizer_install_malloc_and_free_hooks(&noteAllocation, &ignoreFree);

}  // namespace

long allocationCount() {
  // Without the hooks every difference would be zero.
  return s_nInstalled != 0 ? s_nAllocations.load(std::memory_order_relaxed) : -1;
}

}  // namespace halvo::test
