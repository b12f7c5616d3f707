#include <dirent.h>

#include "vpn/Common/Utility/FolderRemoval.h"
#include "vpn/Common/Utility/FolderRemoval_steps.h"

namespace halvo {

namespace {

// This host offers no reading of folders without memory; its library asks for a small block, which is there
// but for a thread that was stopped inside of the allocator.
class Listing {
 public:
  static constexpr int kDeepest = 200;

  explicit Listing(int folder) : m_pStream(fdopendir(folder)) {
    if (m_pStream == nullptr) {
      close(folder);
    }
  }
  ~Listing() {
    if (m_pStream != nullptr) {
      closedir(m_pStream);
    }
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  [[nodiscard]] bool isOpen() const { return m_pStream != nullptr; }
  [[nodiscard]] int descriptor() const { return dirfd(m_pStream); }
  [[nodiscard]] bool hasFailed() const { return m_bFailed; }

  void rewind() { rewinddir(m_pStream); }

  const char* next() {
    errno = 0;
    const dirent* const entry = readdir(m_pStream);
    m_bFailed = entry == nullptr && errno != 0;
    return entry != nullptr ? entry->d_name : nullptr;
  }

 private:
  DIR* m_pStream;
  bool m_bFailed = false;
};

}  // namespace

bool removeFolder(int parent, const char* name) {
  return FolderRemover<Listing>::remove(parent, name);
}

}  // namespace halvo
