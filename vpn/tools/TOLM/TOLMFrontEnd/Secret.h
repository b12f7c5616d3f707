// Secret: a password while a run holds it, in memory that isn't written to disk.
//
// The bytes lie in pages of their own, locked into memory where the system allows that, left out of core
// dumps, and are wiped when the object dies. While one lives the process makes no core dump and can't be
// looked into by the user's other programs. One at a time; used on one thread.

#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace halvo {

// Overwrites the text's bytes, all that it has room for, and empties it.
void wipe(std::string& text);

class Secret {
 public:
  // Takes the text over and wipes it. An empty text changes nothing in the process. Throws std::bad_alloc
  // where there is no memory.
  explicit Secret(std::string& text);
  ~Secret();
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  [[nodiscard]] bool empty() const { return m_nSize == 0; }
  [[nodiscard]] bool isLocked() const { return m_bLocked; }

  // Calls `use` with the text as a string, which is wiped behind it.
  void with(const std::function<void(const std::string& text)>& use) const;

 private:
  char* m_pText = nullptr;
  std::size_t m_nSize = 0;
  std::size_t m_nPages = 0;
  bool m_bLocked = false;
  bool m_bWasDumpable = true;
  unsigned long m_nOldCoreLimit = 0;
};

}  // namespace halvo
