// OpenedLibrary: a shared library that is opened when it is needed, and not linked. Linked libraries are
// mapped and bound at every start of a program, with all that they bring; one that few runs need, or that
// brings many others, is opened by those who need it.
//
//   const OpenedLibrary library("libfoo.so.1");
//   decltype(&::foo_begin) begin = nullptr;
//   if (library.find("foo_begin", begin)) ...
//
// A library once opened stays open to the end of the process: what it has set up has no end of its own, and
// its calls may be kept. Any thread. Logs nothing.

#pragma once

#include <dlfcn.h>

namespace halvo {

class OpenedLibrary {
 public:
  // Looks for `name` where the system looks for linked ones.
  explicit OpenedLibrary(const char* name) : m_pLibrary(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}

  // Sets `function` to the library's function of that name. False, with null, where the library couldn't be
  // opened or has none.
  template <typename Function>
  [[nodiscard]] bool find(const char* name, Function*& function) const {
    function = m_pLibrary != nullptr ? reinterpret_cast<Function*>(dlsym(m_pLibrary, name)) : nullptr;
    return function != nullptr;
  }

 private:
  void* const m_pLibrary;
};

}  // namespace halvo
