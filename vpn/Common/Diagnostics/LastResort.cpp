#include "vpn/Common/Diagnostics/LastResort.h"

#include <cxxabi.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <new>
#include <typeinfo>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

namespace {

static_assert(GLOBAL_ERROR_MEMALLOC_FAILED == 0xfe000004, "the line below shows it");
constexpr char kLine[] = ": out of memory (0xFE000004)\n";
// As much as an exception takes, and some.
constexpr std::size_t kSmallBlock = 4096;

constinit const char* s_pProgram = "";

bool isMemoryShort() {
  // Only the type is looked at: throwing the exception once more may take memory itself.
  if (const std::type_info* const type = abi::__cxa_current_exception_type()) {
    return *type == typeid(std::bad_alloc) || *type == typeid(std::bad_array_new_length);
  }
  // Nothing is thrown where there is no memory to throw it with. Volatile: the compiler may drop a block that
  // nobody uses.
  void* volatile block = std::malloc(kSmallBlock);
  const bool isShort = block == nullptr;
  std::free(block);
  return isShort;
}

[[noreturn]] void endProgram() {
  if (isMemoryShort()) {
    // Nothing that could ask for memory: no stream, no formatting. A line that can't be written has nobody
    // left to be told to.
    for (const char* text : {s_pProgram, kLine}) {
      if (write(STDERR_FILENO, text, std::strlen(text)) < 0) {
        break;
      }
    }
    _exit(1);
  }
  std::abort();
}

}  // namespace

void installLastResort(const char* program) noexcept {
  s_pProgram = program;
  std::set_terminate(endProgram);
}

}  // namespace halvo
