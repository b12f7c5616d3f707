// Secret: a password from its first character to its last use, in memory that isn't written to disk.
//
// The bytes lie in pages of their own, locked into memory where the system allows that, left out of core
// dumps, and are wiped when the object dies. While one lives the process makes no core dump and can't be
// looked into by the user's other programs. Several may live at once, each used on one thread at a time.

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace halvo {

// Overwrites the text's bytes, all that it has room for, and empties it.
void wipe(std::string& text);

// While one lives, on whatever thread, the process makes no core dump and can't be looked into. For what
// holds a password in some other way than by a Secret.
class SecretScope {
 public:
  SecretScope();
  ~SecretScope();
  SecretScope(const SecretScope&) = delete;
  SecretScope& operator=(const SecretScope&) = delete;
};

class Secret {
 public:
  // Takes the text over and wipes it. An empty text changes nothing in the process. Throws std::bad_alloc
  // where there is no memory.
  explicit Secret(std::string& text);
  // With room for a text that is still to come, a character at a time; kept from the process's outside
  // from now on.
  explicit Secret(std::size_t capacity);
  ~Secret();
  Secret(const Secret&) = delete;
  Secret& operator=(const Secret&) = delete;

  // False where there is no room for one more.
  bool append(char character);
  // Takes the last character off; there has to be one.
  void shorten();
  // Wipes what there is. The room stays.
  void clear();

  [[nodiscard]] bool empty() const { return m_nSize == 0; }
  [[nodiscard]] bool isLocked() const { return m_bLocked; }
  // Where it lies: nothing is copied.
  [[nodiscard]] std::string_view view() const { return {m_pText != nullptr ? m_pText : "", m_nSize}; }

  // Calls `use` with the text as a string, which is wiped behind it.
  void with(const std::function<void(const std::string& text)>& use) const;

 private:
  void makeRoom(std::size_t capacity);

  char* m_pText = nullptr;
  std::size_t m_nSize = 0;
  std::size_t m_nRoom = 0;
  std::size_t m_nPages = 0;
  bool m_bLocked = false;
};

}  // namespace halvo
