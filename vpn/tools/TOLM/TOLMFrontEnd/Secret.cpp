#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstring>
#include <new>

#include "vpn/tools/TOLM/TOLMFrontEnd/SecretPages.h"

namespace halvo {

namespace {

rlim_t setCoreLimit(rlim_t wanted) {
  rlimit limit = {};
  if (getrlimit(RLIMIT_CORE, &limit) != 0) {
    return 0;
  }
  const rlim_t old = limit.rlim_cur;
  limit.rlim_cur = wanted;
  setrlimit(RLIMIT_CORE, &limit);
  return old;
}

}  // namespace

void wipe(std::string& text) {
  // The whole block: a longer text may have stood there before. By a call that no optimiser drops.
  text.resize(text.capacity());
  eraseBytes(text.data(), text.size());
  text.clear();
}

Secret::Secret(std::string& text) {
  if (text.empty()) {
    return;
  }
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  m_nPages = (text.size() + page - 1) / page * page;
  void* const pages = mmap(nullptr, m_nPages, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
  if (pages == MAP_FAILED) {
    wipe(text);
    throw std::bad_alloc();
  }
  m_pText = static_cast<char*>(pages);
  m_nSize = text.size();
  // Each of these may be refused, by a limit or an older system; the password is kept as well as can be.
  m_bLocked = mlock(pages, m_nPages) == 0;
  m_bWasDumpable = banDumps(pages, m_nPages);
  m_nOldCoreLimit = setCoreLimit(0);
  std::memcpy(m_pText, text.data(), text.size());
  wipe(text);
}

Secret::~Secret() {
  if (m_pText == nullptr) {
    return;
  }
  eraseBytes(m_pText, m_nPages);
  munmap(m_pText, m_nPages);
  undoDumpBan(m_bWasDumpable);
  setCoreLimit(m_nOldCoreLimit);
}

void Secret::with(const std::function<void(const std::string& text)>& use) const {
  std::string text(m_pText != nullptr ? m_pText : "", m_nSize);
  try {
    use(text);
  } catch (...) {
    wipe(text);
    throw;
  }
  wipe(text);
}

}  // namespace halvo
