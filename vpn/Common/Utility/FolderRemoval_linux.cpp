#include <sys/syscall.h>

#include <cstddef>
#include <cstdint>

#include "vpn/Common/Utility/FolderRemoval.h"
#include "vpn/Common/Utility/FolderRemoval_steps.h"

namespace halvo {

namespace {

// As the kernel lays a folder's entries out; the C library has no type for it.
struct RawEntry {
  std::uint64_t inode;
  std::int64_t offset;
  std::uint16_t length;
  std::uint8_t type;
  char name[1];
};

// Asks the kernel itself, block by block: the C library's stream would ask for memory.
class Listing {
 public:
  // Each level needs a block on the stack and a descriptor.
  static constexpr int kDeepest = 900;

  explicit Listing(int folder) : m_nFolder(folder) {}
  ~Listing() { close(m_nFolder); }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  [[nodiscard]] static bool isOpen() { return true; }
  [[nodiscard]] int descriptor() const { return m_nFolder; }
  [[nodiscard]] bool hasFailed() const { return m_nGot < 0; }

  void rewind() {
    lseek(m_nFolder, 0, SEEK_SET);
    m_nGot = 0;
    m_nAt = 0;
  }

  const char* next() {
    if (m_nAt >= m_nGot) {
      m_nAt = 0;
      m_nGot = syscall(SYS_getdents64, m_nFolder, m_Block, sizeof(m_Block));
      if (m_nGot <= 0) {
        return nullptr;
      }
    }
    const auto* const entry = reinterpret_cast<const RawEntry*>(m_Block + m_nAt);
    m_nAt += entry->length;
    return reinterpret_cast<const char*>(entry) + offsetof(RawEntry, name);
  }

 private:
  int m_nFolder;
  long m_nGot = 0;
  long m_nAt = 0;
  alignas(RawEntry) char m_Block[2048];
};

}  // namespace

bool removeFolder(int parent, const char* name) {
  return FolderRemover<Listing>::remove(parent, name);
}

}  // namespace halvo
