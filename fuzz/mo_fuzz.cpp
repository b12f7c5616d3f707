// Language files: any content may come, and nothing outside the mapped file may be read or given out.

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "vpn/Common/i18n/MoCatalog.h"

namespace {

namespace mocatalog = halvo::mocatalog;

constexpr const char* kDomain = "fuzz";

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

// A folder of this process, removed when it ends. The language file in it is a link to one in memory,
// for speed.
class Place {
 public:
  Place() : m_file(memfd_create("mo_fuzz", MFD_CLOEXEC)) {
    char folder[] = "/tmp/mo_fuzz.XXXXXX";
    require(m_file >= 0 && mkdtemp(folder) != nullptr);
    m_strFolder = folder;
    const std::string messages = m_strFolder + "/de/LC_MESSAGES";
    std::filesystem::create_directories(messages);
    std::filesystem::create_symlink("/proc/self/fd/" + std::to_string(m_file),
                                    messages + "/" + kDomain + ".mo");
  }
  ~Place() {
    std::filesystem::remove_all(m_strFolder);
    close(m_file);
  }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  void write(const std::uint8_t* data, std::size_t size) const {
    require(ftruncate(m_file, 0) == 0 && pwrite(m_file, data, size, 0) == static_cast<ssize_t>(size));
    mocatalog::bindtextdomain(kDomain, m_strFolder.c_str());
  }

 private:
  int m_file;
  std::string m_strFolder;
};

void requireInside(const mocatalog::BoundDomain& record, const char* text) {
  const char* file = reinterpret_cast<const char*>(record.mappedFile);
  // A text may end in the zero right behind the file.
  require(text >= file && text + std::strlen(text) <= file + record.mappedSize);
}

void lookUp(const char* key) {
  const char* found = mocatalog::translate(kDomain, key, nullptr, 1, mocatalog::kCategoryMessages, "de-at");
  if (found != key) {
    requireInside(*mocatalog::findDomain(kDomain), found);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Place place;
  // The file of the last input must not be mapped while it is rewritten.
  mocatalog::unloadDomain(kDomain);
  place.write(data, size);
  mocatalog::textdomain(kDomain);

  for (const char* key : {"Cancel", "Run", "", "menu\004Run", "\xff"}) {
    lookUp(key);
  }
  static_cast<void>(std::strlen(mocatalog::gettextCharset()));

  const mocatalog::BoundDomain& record = *mocatalog::findDomain(kDomain);
  if (record.magic == 0) {
    require(record.mappedFile == nullptr && record.stringCount == 0);
    return 0;
  }
  require(size >= 8 && size <= mocatalog::kMaximumFileSize && record.mappedSize == size);
  bool isSorted = true;
  for (std::uint32_t i = 0; i < record.stringCount; ++i) {
    requireInside(record, record.originals[i].text);
    requireInside(record, record.translations[i].text);
    isSorted =
        isSorted && (i == 0 || std::strcmp(record.originals[i - 1].text, record.originals[i].text) < 0);
  }
  for (std::uint32_t i = 0; i < record.stringCount; ++i) {
    const char* found = mocatalog::search(record, record.originals[i].text);
    require(!isSorted || found == record.translations[i].text);
  }
  return 0;
}
