#include "vpn/Common/i18n/MoCatalog.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>

#include "vpn/Common/Utility/Holders.h"

namespace halvo::mocatalog {

namespace {

constexpr std::uint32_t kMagic = 0x950412de;
constexpr std::uint32_t kSwappedMagic = 0xde120495;
constexpr std::uint64_t kTableEntrySize = 8;

constexpr std::array<const char*, 6> kCategoryNames = {"LC_COLLATE", "LC_CTYPE", "LC_MONETARY",
                                                       "LC_NUMERIC", "LC_TIME",  "LC_MESSAGES"};

static_assert(sizeof(StringEntry) == 16, "a file of 1 MiB costs 2 MiB of tables at most");

// Newest first. The records live as long as the process, so nothing owns the list.
BoundDomain* s_pDomains = nullptr;

char s_currentDomain[kBufferSize] = "messages";
char s_localeBuffer[kBufferSize];

// The key of the latest successful load; null domain: none.
std::unique_ptr<char[]> s_lastDomain;
std::unique_ptr<char[]> s_lastCategory;
char s_lastLocale[kBufferSize];

// Copies what fits and closes it with a zero.
void copyCut(char (&target)[kBufferSize], std::string_view text) {
  const std::size_t length = text.size() < kBufferSize ? text.size() : kBufferSize - 1;
  // The text may be the buffer's own content.
  std::memmove(target, text.data(), length);
  target[length] = '\0';
}

// A copy of its own, or null where memory is short.
std::unique_ptr<char[]> copyText(std::string_view text) {
  std::unique_ptr<char[]> copy(new (std::nothrow) char[text.size() + 1]);
  if (copy) {
    std::memcpy(copy.get(), text.data(), text.size());
    copy[text.size()] = '\0';
  }
  return copy;
}

BoundDomain* findRecord(const char* domain) {
  BoundDomain* record = s_pDomains;
  while (record != nullptr && std::strcmp(record->domainName, domain) != 0) {
    record = record->next;
  }
  return record;
}

// Maps the file with at least one zero byte behind its end: the file lies over the front of a larger
// mapping of zeros. A string that lacks its closing zero thus ends at the end of the file at the
// latest, as it does by the filling of the last page for all sizes but whole pages, and no comparison
// and no caller can run past the mapping.
const unsigned char* mapFile(int descriptor, std::uint64_t size) {
  void* place = mmap(nullptr, size + 1, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (place == MAP_FAILED) {
    return nullptr;
  }
  if (mmap(place, size, PROT_READ, MAP_PRIVATE | MAP_FIXED, descriptor, 0) == MAP_FAILED) {
    munmap(place, size + 1);
    return nullptr;
  }
  return static_cast<const unsigned char*>(place);
}

void unload(BoundDomain& record) {
  if (record.mappedFile != nullptr) {
    munmap(const_cast<unsigned char*>(record.mappedFile), record.mappedSize + 1);
    record.mappedFile = nullptr;
  }
  record.mappedSize = 0;
  record.magic = 0;
  record.revision = 0;
  record.stringCount = 0;
  record.originals.reset();
  record.translations.reset();
  record.header = nullptr;
  record.charset.reset();
}

std::uint32_t inHostOrder(std::uint32_t value, std::uint32_t magic) {
  return magic == kSwappedMagic ? __builtin_bswap32(value) : value;
}

// The number at `offset` of the mapped file. A file may be shorter than its header: behind its end
// the mapping reads as zeros.
std::uint32_t numberAt(const BoundDomain& record, std::uint64_t offset) {
  std::uint32_t value = 0;
  std::memcpy(&value, record.mappedFile + offset, sizeof(value));
  return inHostOrder(value, record.magic);
}

bool isTableInFile(const BoundDomain& record, std::uint64_t offset) {
  // In 64 bits neither the product nor the sum of 32-bit numbers can wrap around.
  return offset <= record.mappedSize && offset + kTableEntrySize * record.stringCount <= record.mappedSize;
}

// Turns a table of the file into addresses. False where a string doesn't lie in the file whole, with
// the byte that closes it.
bool fillEntries(const BoundDomain& record, std::uint64_t tableOffset, StringEntry* entries) {
  for (std::uint32_t i = 0; i < record.stringCount; ++i) {
    const std::uint64_t entryOffset = tableOffset + kTableEntrySize * i;
    const std::uint64_t length = numberAt(record, entryOffset);
    const std::uint64_t offset = numberAt(record, entryOffset + 4);
    if (offset > record.mappedSize || offset + length + 1 > record.mappedSize) {
      return false;
    }
    entries[i] = {length, reinterpret_cast<const char*>(record.mappedFile + offset)};
  }
  return true;
}

// Reads magic and revision, checks them and maps the file. On success the record holds the mapping
// and the magic; otherwise it stays unloaded.
bool openFile(BoundDomain& record, const char* path, std::uint64_t size) {
  const DescriptorHolder holder(open(path, O_RDONLY | O_CLOEXEC));
  const int descriptor = holder.get();
  if (!holder) {
    return false;
  }
  std::uint32_t magic = 0;
  std::uint32_t revision = 0;
  struct stat data;
  // A file that was replaced since its size was read must not be mapped past its end.
  if (fstat(descriptor, &data) == 0 && static_cast<std::uint64_t>(data.st_size) == size &&
      read(descriptor, &magic, sizeof(magic)) == static_cast<ssize_t>(sizeof(magic)) &&
      (magic == kMagic || magic == kSwappedMagic) &&
      read(descriptor, &revision, sizeof(revision)) == static_cast<ssize_t>(sizeof(revision)) &&
      inHostOrder(revision, magic) == 0) {
    record.mappedFile = mapFile(descriptor, size);
  }
  if (record.mappedFile == nullptr) {
    return false;
  }
  record.mappedSize = size;
  record.magic = magic;
  record.revision = inHostOrder(revision, magic);
  return true;
}

// Checks both tables and turns them into addresses.
bool readTables(BoundDomain& record) {
  record.stringCount = numberAt(record, 8);
  const std::uint64_t originals = numberAt(record, 12);
  const std::uint64_t translations = numberAt(record, 16);
  if (!isTableInFile(record, originals) || !isTableInFile(record, translations)) {
    return false;
  }
  record.originals.reset(new (std::nothrow) StringEntry[record.stringCount]);
  record.translations.reset(new (std::nothrow) StringEntry[record.stringCount]);
  return record.originals && record.translations && fillEntries(record, originals, record.originals.get()) &&
         fillEntries(record, translations, record.translations.get());
}

// Notes the header and the character set that it tells. False where memory is short.
bool readHeader(BoundDomain& record) {
  static constexpr std::string_view kWord = "charset=";
  record.header = search(record, "");
  if (record.header == nullptr) {
    return true;
  }
  const std::string_view header(record.header);
  const std::size_t found = header.find(kWord);
  if (found == std::string_view::npos) {
    return true;
  }
  const std::string_view charset = header.substr(found + kWord.size());
  record.charset = copyText(charset.substr(0, charset.find('\n')));
  return record.charset != nullptr;
}

// Tries one item of the locale list.
bool loadItem(BoundDomain& record, std::string_view item, const char* category, const char* domain) {
  if (item.find('/') != std::string_view::npos || std::strchr(category, '/') != nullptr ||
      std::strchr(domain, '/') != nullptr) {
    return false;
  }
  char path[kBufferSize];
  if (std::snprintf(path, sizeof(path), "%s/%.*s/%s/%s.mo", record.directory, static_cast<int>(item.size()),
                    item.data(), category, domain) < 0) {
    return false;
  }
  struct stat data;
  if (stat(path, &data) != 0 || !S_ISREG(data.st_mode)) {
    return false;
  }
  // A file once loaded for a domain stays in use for every later locale whose file exists, whatever
  // file it is: a process has one language.
  if (record.mappedFile != nullptr && record.magic != 0) {
    return true;
  }
  unload(record);
  const std::uint64_t size = static_cast<std::uint64_t>(data.st_size);
  if (size > kMaximumFileSize || !openFile(record, path, size)) {
    return false;
  }
  if (!readTables(record)) {
    unload(record);
    return false;
  }
  // Where memory is short for the character set's name, the file stays mapped, so that the next item
  // whose file exists succeeds with it.
  return readHeader(record);
}

bool load(BoundDomain& record, std::string_view localeList, const char* category, const char* domain) {
  while (true) {
    const std::size_t colon = localeList.find(':');
    const std::string_view item = localeList.substr(0, colon);
    if (item == "C" || item == "POSIX") {
      return false;
    }
    if (!item.empty() && loadItem(record, item, category, domain)) {
      return true;
    }
    if (colon == std::string_view::npos) {
      return false;
    }
    localeList.remove_prefix(colon + 1);
  }
}

bool isLastLoad(const char* domain, const char* category) {
  return s_lastDomain && s_lastCategory && std::strcmp(s_lastDomain.get(), domain) == 0 &&
         std::strcmp(s_lastCategory.get(), category) == 0 && std::strcmp(s_lastLocale, s_localeBuffer) == 0;
}

// False, with no last load known from then on, where memory is short.
bool storeLastLoad(const char* domain, const char* category) {
  s_lastDomain = copyText(domain);
  s_lastCategory = copyText(category);
  if (!s_lastDomain || !s_lastCategory) {
    s_lastDomain.reset();
    s_lastCategory.reset();
    s_lastLocale[0] = '\0';
    return false;
  }
  copyCut(s_lastLocale, s_localeBuffer);
  return true;
}

const char* searchOr(const BoundDomain& record, const char* key) {
  const char* found = search(record, key);
  return found != nullptr ? found : key;
}

}  // namespace

const char* bindtextdomain(const char* domain, const char* directory) {
  if (domain == nullptr || domain[0] == '\0' || directory == nullptr ||
      std::strlen(directory) >= kBufferSize || directory[0] != '/' || std::strlen(domain) >= kBufferSize) {
    return nullptr;
  }
  BoundDomain* record = findRecord(domain);
  if (record == nullptr) {
    record = new (std::nothrow) BoundDomain();
    if (record == nullptr) {
      return nullptr;
    }
    record->next = s_pDomains;
    s_pDomains = record;
  }
  copyCut(record->directory, directory);
  copyCut(record->domainName, domain);
  // The mapped file stays until the next load: texts handed out before are still in use.
  record->magic = 0;
  return domain;
}

const char* textdomain(const char* domain) {
  if (domain != nullptr) {
    copyCut(s_currentDomain, domain[0] != '\0' ? domain : "messages");
  }
  return s_currentDomain;
}

const char* gettextCharset() {
  const BoundDomain* record = findRecord(s_currentDomain);
  return record != nullptr && record->magic != 0 && record->charset ? record->charset.get() : "";
}

const char* translateInLocale(const char* key, const char* locale) {
  return translate(nullptr, key, nullptr, 1, kCategoryMessages, locale);
}

const char* translate(const char* domain, const char* key, const char* pluralKey, unsigned long count,
                      int category, const char* locale) {
  const char* fallback = count == 1 ? key : pluralKey;
  if (fallback == nullptr) {
    return nullptr;
  }
  if (domain == nullptr) {
    domain = s_currentDomain;
  }
  if (category < 1 || category > static_cast<int>(kCategoryNames.size()) || locale == nullptr ||
      std::strlen(locale) >= kBufferSize) {
    return fallback;
  }
  const char* categoryName = kCategoryNames[static_cast<std::size_t>(category) - 1];
  copyCut(s_localeBuffer, locale);
  char* country = std::strchr(s_localeBuffer, '-');

  BoundDomain* record = findRecord(domain);
  if (record == nullptr) {
    static_cast<void>(bindtextdomain(domain, ""));
    return fallback;
  }
  if (isLastLoad(domain, categoryName) && record->magic != 0) {
    return searchOr(*record, fallback);
  }
  if (!load(*record, s_localeBuffer, categoryName, domain)) {
    if (country == nullptr) {
      return fallback;
    }
    *country = '\0';
    if (!load(*record, s_localeBuffer, categoryName, domain)) {
      return fallback;
    }
  }
  // The locale is stored as cut: the next look-up under the full one walks through the load again,
  // which finds the file in use and ends at once.
  if (!storeLastLoad(domain, categoryName)) {
    return fallback;
  }
  return searchOr(*record, fallback);
}

void unloadDomain(const char* domain) {
  BoundDomain* record = findRecord(domain);
  if (record != nullptr) {
    unload(*record);
  }
}

const BoundDomain* findDomain(const char* domain) {
  return findRecord(domain);
}

const char* search(const BoundDomain& record, const char* key) {
  const std::int64_t count = static_cast<std::int32_t>(record.stringCount);
  if (count < 0) {
    return nullptr;
  }
  std::int64_t low = 0;
  std::int64_t high = count;
  std::int64_t previous = -1;
  while (true) {
    const std::int64_t middle = (low + high) / 2;
    if (middle >= count || middle == previous) {
      return nullptr;
    }
    const int order = std::strcmp(key, record.originals[static_cast<std::size_t>(middle)].text);
    if (order == 0) {
      return record.translations[static_cast<std::size_t>(middle)].text;
    }
    if (order < 0) {
      high = middle;
    } else {
      low = middle;
    }
    if (low > high) {
      return nullptr;
    }
    previous = middle;
  }
}

}  // namespace halvo::mocatalog
