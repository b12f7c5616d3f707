#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstring>
#include <mutex>
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

// How many scopes there are, on all threads, and what was so ahead of the first.
std::mutex s_lock;
unsigned s_scopes = 0;
rlim_t s_coreLimit = 0;
bool s_wasFree = true;

// Each of these may be refused, by a limit or an older system; a password is kept as well as can be.
void beginScope() {
  const std::lock_guard<std::mutex> guard(s_lock);
  if (s_scopes++ == 0) {
    s_wasFree = banDumps();
    s_coreLimit = setCoreLimit(0);
  }
}

void endScope() {
  const std::lock_guard<std::mutex> guard(s_lock);
  if (--s_scopes == 0) {
    undoDumpBan(s_wasFree);
    setCoreLimit(s_coreLimit);
  }
}

}  // namespace

void wipe(std::string& text) {
  // The whole block: a longer text may have stood there before.
  text.resize(text.capacity());
  eraseBytes(text.data(), text.size());
  text.clear();
}

SecretScope::SecretScope() {
  beginScope();
}

SecretScope::~SecretScope() {
  endScope();
}

void Secret::makeRoom(std::size_t capacity) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t pages = (capacity + page - 1) / page * page;
  void* const memory = mmap(nullptr, pages, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANON, -1, 0);
  if (memory == MAP_FAILED) {
    throw std::bad_alloc();
  }
  m_pText = static_cast<char*>(memory);
  m_nPages = pages;
  m_nRoom = capacity;
  m_bLocked = mlock(memory, pages) == 0;
  keepOutOfDumps(memory, pages);
  beginScope();
}

Secret::Secret(std::string& text) {
  if (text.empty()) {
    return;
  }
  try {
    makeRoom(text.size());
  } catch (...) {
    wipe(text);
    throw;
  }
  m_nSize = text.size();
  std::memcpy(m_pText, text.data(), m_nSize);
  wipe(text);
}

Secret::Secret(std::size_t capacity) {
  makeRoom(capacity);
}

Secret::~Secret() {
  if (m_pText == nullptr) {
    return;
  }
  eraseBytes(m_pText, m_nPages);
  munmap(m_pText, m_nPages);
  endScope();
}

bool Secret::append(char character) {
  if (m_nSize >= m_nRoom) {
    return false;
  }
  m_pText[m_nSize++] = character;
  return true;
}

void Secret::shorten() {
  m_pText[--m_nSize] = '\0';
}

void Secret::clear() {
  if (m_pText != nullptr) {
    eraseBytes(m_pText, m_nPages);
  }
  m_nSize = 0;
}

void Secret::with(const std::function<void(const std::string& text)>& use) const {
  std::string text(view());
  try {
    use(text);
  } catch (...) {
    wipe(text);
    throw;
  }
  wipe(text);
}

}  // namespace halvo
