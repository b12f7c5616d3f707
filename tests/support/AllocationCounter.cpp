#include "tests/support/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constinit std::atomic<long> s_nAllocations{0};

void* countedAllocation(std::size_t size) {
  s_nAllocations.fetch_add(1, std::memory_order_relaxed);
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) {
    std::abort();
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return countedAllocation(size);
}
void* operator new[](std::size_t size) {
  return countedAllocation(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace halvo::test {

long allocationCount() {
  return s_nAllocations.load(std::memory_order_relaxed);
}

}  // namespace halvo::test
