#include "vpn/tools/TOLM/TOLMFrontEnd/BundleCheck.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_set>
#include <utility>
#include <vector>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/PathText.h"

namespace halvo {

namespace {

// The records and the places of their numbers: PKWARE APPNOTE.TXT, sections 4.3.7, 4.3.12 and 4.3.14 to
// 4.3.16.
constexpr std::uint32_t kLocalSignature = 0x04034b50;
constexpr std::uint32_t kCentralSignature = 0x02014b50;
constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr std::uint32_t kEnd64Signature = 0x06064b50;
constexpr std::uint32_t kLocatorSignature = 0x07064b50;
constexpr std::size_t kLocalSize = 30;
constexpr std::size_t kCentralSize = 46;
constexpr std::size_t kEndSize = 22;
constexpr std::size_t kEnd64Size = 56;
constexpr std::size_t kLocatorSize = 20;
constexpr std::uint32_t kInLongForm = 0xffffffff;
constexpr std::uint16_t kShortInLongForm = 0xffff;
constexpr std::uint16_t kLongFormField = 1;
constexpr std::size_t kBlock = 65536;
constexpr std::size_t kMostNamed = 3;

std::uint64_t number(const char* at, int bytes) {
  std::uint64_t value = 0;
  for (int i = bytes - 1; i >= 0; --i) {
    value = value << 8U | static_cast<unsigned char>(at[i]);
  }
  return value;
}
std::uint16_t number16(const char* at) {
  return static_cast<std::uint16_t>(number(at, 2));
}
std::uint32_t number32(const char* at) {
  return static_cast<std::uint32_t>(number(at, 4));
}

bool readAt(int file, std::uint64_t offset, char* target, std::size_t size) {
  while (size > 0) {
    const ssize_t got = pread(file, target, size, static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return false;
    }
    offset += static_cast<std::uint64_t>(got);
    target += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

// Reads the central records one behind the other, through a block.
class TableStream {
 public:
  TableStream(int file, std::uint64_t begin, std::uint64_t end)
      : m_nFile(file), m_nNext(begin), m_nEnd(end), m_Block(kBlock) {}

  // The next `size` bytes; null where the table ends before or can't be read. Valid until the next call.
  const char* take(std::size_t size) {
    if (size > m_nFilled - m_nAt) {
      std::memmove(m_Block.data(), m_Block.data() + m_nAt, m_nFilled - m_nAt);
      m_nFilled -= m_nAt;
      m_nAt = 0;
      // A name and its two fields may have three blocks' size between them.
      m_Block.resize(std::max(m_Block.size(), size));
      const std::size_t more =
          static_cast<std::size_t>(std::min<std::uint64_t>(m_Block.size() - m_nFilled, m_nEnd - m_nNext));
      if (!readAt(m_nFile, m_nNext, m_Block.data() + m_nFilled, more)) {
        return nullptr;
      }
      m_nNext += more;
      m_nFilled += more;
    }
    if (size > m_nFilled - m_nAt) {
      return nullptr;
    }
    const char* const taken = m_Block.data() + m_nAt;
    m_nAt += size;
    return taken;
  }

 private:
  int m_nFile;
  std::uint64_t m_nNext;
  std::uint64_t m_nEnd;
  std::vector<char> m_Block;
  std::size_t m_nAt = 0;
  std::size_t m_nFilled = 0;
};

struct Table {
  std::uint64_t entries = 0;
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

bool findTable(int file, Table& table) {
  struct stat data;
  char end[kEndSize];
  if (fstat(file, &data) != 0 || data.st_size < static_cast<off_t>(kEndSize)) {
    return false;
  }
  const auto size = static_cast<std::uint64_t>(data.st_size);
  // At the very end: the comment that could stand behind this record is never written here.
  const std::uint64_t endAt = size - kEndSize;
  if (!readAt(file, endAt, end, sizeof(end)) || number32(end) != kEndSignature) {
    return false;
  }
  table.entries = number16(end + 10);
  table.begin = number32(end + 16);
  table.end = table.begin + number32(end + 12);
  if (table.entries == kShortInLongForm || table.begin == kInLongForm) {
    char locator[kLocatorSize];
    char end64[kEnd64Size];
    if (endAt < kLocatorSize || !readAt(file, endAt - kLocatorSize, locator, sizeof(locator)) ||
        number32(locator) != kLocatorSignature ||
        !readAt(file, number(locator + 8, 8), end64, sizeof(end64)) || number32(end64) != kEnd64Signature) {
      return false;
    }
    table.entries = number(end64 + 32, 8);
    table.begin = number(end64 + 48, 8);
    table.end = table.begin + number(end64 + 40, 8);
    return table.end == number(locator + 8, 8);
  }
  return table.end == endAt;
}

struct Entry {
  std::string name;
  std::uint32_t crc = 0;
  std::uint64_t size = 0;
  std::uint64_t packedSize = 0;
  std::uint64_t offset = 0;
};

// Takes the 64-bit numbers that stand in for those that don't fit.
void readLongForm(const char* extra, std::size_t size, Entry& entry) {
  for (std::size_t at = 0; at + 4 <= size;) {
    const std::uint16_t id = number16(extra + at);
    std::size_t length = number16(extra + at + 2);
    const char* field = extra + at + 4;
    at += 4 + length;
    if (id != kLongFormField || at > size) {
      continue;
    }
    // In this order, and only those that their own place has no room for (section 4.5.3).
    for (std::uint64_t* const value : {&entry.size, &entry.packedSize, &entry.offset}) {
      if (*value == kInLongForm && length >= 8) {
        *value = number(field, 8);
        field += 8;
        length -= 8;
      }
    }
  }
}

bool readEntry(TableStream& stream, Entry& entry) {
  const char* const record = stream.take(kCentralSize);
  if (record == nullptr || number32(record) != kCentralSignature) {
    return false;
  }
  entry.crc = number32(record + 16);
  entry.packedSize = number32(record + 20);
  entry.size = number32(record + 24);
  entry.offset = number32(record + 42);
  const std::size_t nameSize = number16(record + 28);
  const std::size_t extraSize = number16(record + 30);
  const std::size_t commentSize = number16(record + 32);
  const char* const rest = stream.take(nameSize + extraSize + commentSize);
  if (rest == nullptr) {
    return false;
  }
  entry.name.assign(rest, nameSize);
  readLongForm(rest + nameSize, extraSize, entry);
  return true;
}

// Where the entry ends in the file; 0 where its own record isn't what the table says. A block that was lost
// while the bundle was written shows here: what follows lies ahead of its place.
std::uint64_t endOfEntry(int file, const Entry& entry) {
  std::vector<char> local(kLocalSize + entry.name.size());
  if (!readAt(file, entry.offset, local.data(), local.size()) || number32(local.data()) != kLocalSignature ||
      number32(local.data() + 14) != entry.crc || number16(local.data() + 26) != entry.name.size() ||
      std::memcmp(local.data() + kLocalSize, entry.name.data(), entry.name.size()) != 0) {
    return 0;
  }
  // The extra field has a length of its own here, which needn't be that of the table.
  return entry.offset + local.size() + number16(local.data() + 28) + entry.packedSize;
}

// The names of what isn't as it should be: the first few, and how many there are.
class Named {
 public:
  void add(const std::string& name) {
    if (m_nCount++ < kMostNamed) {
      m_strNames += (m_strNames.empty() ? "\"" : ", \"") + name + "\"";
    }
  }
  [[nodiscard]] bool empty() const { return m_nCount == 0; }
  [[nodiscard]] std::string text(const std::string& what) const {
    return m_strNames +
           (m_nCount > kMostNamed ? " and " + std::to_string(m_nCount - kMostNamed) + " more" : "") +
           (m_nCount == 1 ? " is " : " are ") + what;
  }

 private:
  std::string m_strNames;
  std::size_t m_nCount = 0;
};

// Whether the entry holds as much as the file had, before the archive was made or now.
bool hasItsSize(const std::string& folder, const std::string& name, std::uint64_t before,
                std::uint64_t stored) {
  if (stored == before) {
    return true;
  }
  struct stat data;
  if (lstat((folder + "/" + name).c_str(), &data) != 0 || !S_ISREG(data.st_mode)) {
    return true;  // gone meanwhile: nothing to hold it against
  }
  const auto now = static_cast<std::uint64_t>(data.st_size);
  return now != before && stored >= std::min(before, now) && stored <= std::max(before, now);
}

bool isThere(const std::string& path) {
  struct stat data;
  return lstat(path.c_str(), &data) == 0 && S_ISREG(data.st_mode);
}

std::string listFolder(DescriptorHolder descriptor, const std::string& prefix, WorkFiles& files) {
  const FolderHolder stream(fdopendir(descriptor.get()));
  if (stream == nullptr) {
    return std::strerror(errno);
  }
  static_cast<void>(descriptor.release());  // the stream's from here
  std::string problem;
  for (;;) {
    errno = 0;
    const dirent* const entry = readdir(stream.get());
    if (entry == nullptr) {
      if (errno != 0 && problem.empty()) {
        problem = std::strerror(errno);
      }
      break;
    }
    const std::string name = entry->d_name;
    struct stat data;
    if (isDotName(name) || fstatat(dirfd(stream.get()), entry->d_name, &data, AT_SYMLINK_NOFOLLOW) != 0) {
      continue;
    }
    if (S_ISREG(data.st_mode)) {
      files[prefix + name] = static_cast<std::uint64_t>(data.st_size);
    } else if (S_ISDIR(data.st_mode)) {
      DescriptorHolder folder(
          openat(dirfd(stream.get()), entry->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
      std::string inner;
      if (!folder) {
        inner = "\"" + prefix + name + "\": " + std::strerror(errno);
      } else {
        inner = listFolder(std::move(folder), prefix + name + "/", files);
      }
      if (problem.empty()) {
        problem = inner;
      }
    }
  }
  return problem;
}

}  // namespace

std::string listWorkFiles(const std::string& folder, WorkFiles& files) {
  DescriptorHolder descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return descriptor ? listFolder(std::move(descriptor), "", files) : std::strerror(errno);
}

std::string bundleProblem(int file, const std::string& folder, const WorkFiles& files) {
  const std::string damaged = "what was written can't be read back";
  Table table;
  if (!findTable(file, table)) {
    return damaged + ": its table of contents is missing or cut short";
  }
  TableStream stream(file, table.begin, table.end);
  std::unordered_set<std::string> stored;
  Named wrong;
  std::uint64_t next = 0;
  for (std::uint64_t i = 0; i < table.entries; ++i) {
    Entry entry;
    if (!readEntry(stream, entry)) {
      return damaged + ": its table of contents is damaged";
    }
    if (entry.name.empty() || entry.name.back() == '/') {
      return entry.name.empty() ? "the work folder couldn't be read"
                                : "the folder \"" + entry.name + "\" of the work folder couldn't be read";
    }
    // The archive's calls write one entry right behind the other, so a gap is a loss.
    if (entry.offset != next || (next = endOfEntry(file, entry)) == 0) {
      return damaged + ": \"" + entry.name + "\" isn't where its table of contents says";
    }
    const auto known = files.find(entry.name);
    if (known != files.end() && !hasItsSize(folder, entry.name, known->second, entry.size)) {
      wrong.add(entry.name);
    }
    stored.insert(std::move(entry.name));
  }
  if (next != table.begin) {
    return damaged + ": something is lost ahead of its table of contents";
  }
  if (!wrong.empty()) {
    return wrong.text("cut short in it");
  }
  std::vector<std::string> names;
  for (const auto& [name, size] : files) {
    // A file that is gone since the list was made isn't missed.
    if (stored.count(name) == 0 && isThere(folder + "/" + name)) {
      names.push_back(name);
    }
  }
  // The table has no order of its own, and one fault should read the same twice.
  std::sort(names.begin(), names.end());
  Named missing;
  for (const std::string& name : names) {
    missing.add(name);
  }
  return missing.empty() ? "" : missing.text("missing from it");
}

}  // namespace halvo
