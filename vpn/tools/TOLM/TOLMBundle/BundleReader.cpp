#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unzip.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/MinizipFile.h"

namespace halvo {

namespace {

// Fields of an entry, PKWARE APPNOTE.TXT, sections 4.4.4 and 4.4.5.
constexpr uLong kEncryptedFlag = 1;
constexpr uLong kStrongFlag = 0x40;
constexpr uLong kUtf8Flag = 0x800;
constexpr uLong kStored = 0;
constexpr uLong kDeflated = 8;
constexpr uLong kOtherEncryption = 99;
// What the traditional encryption puts in front of an entry, section 6.1.3.
constexpr std::uint64_t kEncryptionHeader = 12;
// A name's length is a 16-bit field.
constexpr std::size_t kLongestName = 0xffff;
// Enough of an entry to see whether a password fits; with a wrong one a deflate stream breaks early.
constexpr std::uint64_t kPasswordProbe = std::uint64_t{1} << 20U;

class Archive {
 public:
  explicit Archive(const MinizipFile& file) : m_File(unzOpen2_64("", functionsOf(file))) {}
  ~Archive() {
    if (m_File != nullptr) {
      unzClose(m_File);
    }
  }
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;
  [[nodiscard]] unzFile get() const { return m_File; }

 private:
  // minizip copies what it is handed and changes none of it.
  static zlib_filefunc64_def* functionsOf(const MinizipFile& file) {
    return const_cast<zlib_filefunc64_def*>(&file.functions);
  }

  unzFile m_File;
};

bool hasParentComponent(const std::string& name) {
  // Other systems take a backslash for a separator.
  std::size_t start = 0;
  while (start <= name.size()) {
    const std::size_t end = std::min(name.find_first_of("/\\", start), name.size());
    if (name.compare(start, end - start, "..") == 0) {
      return true;
    }
    start = end + 1;
  }
  return false;
}

std::string faultOf(const BundleEntryInfo& entry, const unz_file_info64& information) {
  if (entry.name.empty()) {
    return "it has no name";
  }
  if (entry.name.find('\0') != std::string::npos) {
    return "its name holds a zero byte";
  }
  if (entry.name.front() == '/') {
    return "its name is an absolute path";
  }
  if (hasParentComponent(entry.name)) {
    return "its name leads out of the bundle";
  }
  const unsigned mode = (entry.externalAttributes >> 16U) & S_IFMT;
  if (mode != 0 && mode != S_IFREG && mode != S_IFDIR) {
    return mode == S_IFLNK ? "it is a link" : "it is no file";
  }
  if (information.compression_method == kOtherEncryption || (information.flag & kStrongFlag) != 0) {
    return "its encryption isn't the traditional one";
  }
  if (information.compression_method != kStored && information.compression_method != kDeflated) {
    return "its compression method " + std::to_string(information.compression_method) + " isn't known here";
  }
  if (entry.encrypted && entry.packedSize < kEncryptionHeader) {
    return "it is too short to be encrypted";
  }
  return "";
}

// By its name, its armor (RFC 4880, section 6.2) or the packet of a session key in front (section 5.1), in
// the old form and the new one.
bool isOpenPgp(const std::string& path, const std::string& front) {
  constexpr std::string_view kPackets = "\x84\x85\x86\xc1";
  return path.ends_with(".gpg") || front.starts_with("-----BEGIN PGP MESSAGE") ||
         (!front.empty() && kPackets.find(front[0]) != std::string_view::npos);
}

// What stands in front of a file tells what it may be.
std::string whatItIs(const std::string& path, const std::string& front) {
  if (front.empty()) {
    return "it is empty";
  }
  if (front.compare(0, 4, "PK\x03\x04") == 0) {
    return "its table of contents, which stands at its end, is missing or damaged; the file was cut short or "
           "not "
           "copied to its end";
  }
  if (front.compare(0, 4, "PK\x05\x06") == 0) {
    return "it is a ZIP file without entries";
  }
  return std::string("it is no ZIP file") +
         (isOpenPgp(path, front)
              ? "; if it is encrypted to a key, decrypt it first: gpg --output bundle.zip --decrypt FILE"
              : "");
}

}  // namespace

std::string dosTimeText(std::uint32_t dosTime) {
  const unsigned month = (dosTime >> 21U) & 15U;
  const unsigned day = (dosTime >> 16U) & 31U;
  const unsigned hour = (dosTime >> 11U) & 31U;
  const unsigned minute = (dosTime >> 5U) & 63U;
  const unsigned second = (dosTime & 31U) * 2;
  if (month < 1 || month > 12 || day < 1 || hour > 23 || minute > 59 || second > 59) {
    return "";
  }
  char text[32];
  std::snprintf(text, sizeof(text), "%04u-%02u-%02u %02u:%02u:%02u", 1980 + (dosTime >> 25U), month, day,
                hour, minute, second);
  return text;
}

BundleReader::BundleReader(const BundleLimits& limits) : m_Limits(limits) {}

BundleReader::~BundleReader() {
  if (m_nFile >= 0) {
    close(m_nFile);
  }
}

std::string BundleReader::openFile(const std::string& path) {
  m_strPath = path;
  // A pipe without a writer would hold the open() up for ever.
  m_nFile = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status = {};
  if (m_nFile < 0 || fstat(m_nFile, &status) != 0) {
    return "\"" + path + "\" can't be opened: " + std::strerror(errno);
  }
  if (!S_ISREG(status.st_mode)) {
    return "\"" + path + "\" is no file; a bundle is a ZIP file";
  }
  m_nFileSize = static_cast<std::uint64_t>(status.st_size);
  m_nRest = std::max(m_Limits.bytes, m_nFileSize <= UINT64_MAX / m_Limits.expansion
                                         ? m_nFileSize * m_Limits.expansion
                                         : UINT64_MAX);
  return "";
}

std::string BundleReader::readTable() {
  const MinizipFile file(m_nFile, m_nFileSize);
  const Archive archive(file);
  if (archive.get() == nullptr) {
    char front[24];
    const ssize_t got = pread(m_nFile, front, sizeof(front), 0);
    return "\"" + m_strPath + "\" can't be read as a bundle: " +
           whatItIs(m_strPath, std::string(front, got > 0 ? static_cast<std::size_t>(got) : 0));
  }
  std::vector<char> name(kLongestName + 1);
  std::size_t nameBytes = 0;
  std::uint64_t packedBytes = 0;
  int answer = unzGoToFirstFile(archive.get());
  while (answer == UNZ_OK) {
    unz_file_info64 information = {};
    answer = unzGetCurrentFileInfo64(archive.get(), &information, name.data(), name.size(), nullptr, 0,
                                     nullptr, 0);
    if (answer != UNZ_OK) {
      break;
    }
    if (m_Entries.size() >= m_Limits.entries || nameBytes + information.size_filename > m_Limits.nameBytes) {
      return "\"" + m_strPath + "\" has too many entries; no bundle has more than " +
             std::to_string(m_Limits.entries);
    }
    BundleEntryInfo entry;
    entry.name.assign(name.data(), std::min<std::size_t>(information.size_filename, kLongestName));
    entry.size = information.uncompressed_size;
    entry.packedSize = information.compressed_size;
    entry.crc = static_cast<std::uint32_t>(information.crc);
    entry.dosTime = static_cast<std::uint32_t>(information.dosDate);
    entry.internalAttributes = static_cast<std::uint32_t>(information.internal_fa);
    entry.externalAttributes = static_cast<std::uint32_t>(information.external_fa);
    entry.encrypted = (information.flag & kEncryptedFlag) != 0;
    entry.hasUtf8Name = (information.flag & kUtf8Flag) != 0;
    entry.deflated = information.compression_method == kDeflated;
    entry.fault = faultOf(entry, information);
    // Entries that share their bytes are how a small bomb holds petabytes.
    if (entry.packedSize > m_nFileSize - std::min(packedBytes, m_nFileSize)) {
      return "\"" + m_strPath + "\" isn't read: its entries are longer together than the file";
    }
    packedBytes += entry.packedSize;
    nameBytes += entry.name.size();
    m_bEncrypted = m_bEncrypted || entry.encrypted;
    m_Entries.push_back(std::move(entry));
    m_Places.push_back(unzGetOffset64(archive.get()));
    answer = unzGoToNextFile(archive.get());
  }
  // minizip takes as many as a 16-bit field can tell for a table that may be longer.
  unz_global_info64 table = {};
  const bool isWhole =
      unzGetGlobalInfo64(archive.get(), &table) == UNZ_OK && table.number_entry == m_Entries.size();
  if (answer != UNZ_END_OF_LIST_OF_FILE && !isWhole) {
    m_strDamage = "the table of contents is damaged behind entry " + std::to_string(m_Entries.size()) +
                  "; the rest isn't read";
  }
  if (m_Entries.empty()) {
    return "\"" + m_strPath + "\" can't be read as a bundle: its table of contents is empty or damaged";
  }

  m_NameOrder.resize(m_Entries.size());
  for (std::size_t i = 0; i < m_NameOrder.size(); ++i) {
    m_NameOrder[i] = static_cast<std::uint32_t>(i);
  }
  std::stable_sort(m_NameOrder.begin(), m_NameOrder.end(), [this](std::uint32_t left, std::uint32_t right) {
    return m_Entries[left].name < m_Entries[right].name;
  });
  for (std::size_t i = 1; i < m_NameOrder.size(); ++i) {
    BundleEntryInfo& entry = m_Entries[m_NameOrder[i]];
    if (entry.fault.empty() && entry.name == m_Entries[m_NameOrder[i - 1]].name) {
      entry.fault = "another entry in front of it has the same name";
    }
  }
  return "";
}

std::string BundleReader::checkPassword() {
  if (!m_bEncrypted) {
    return "";
  }
  if (m_strPassword.empty()) {
    return "\"" + m_strPath + "\" is encrypted; --password-file or --ask-password gives its password";
  }
  std::vector<std::size_t> probes;
  for (std::size_t i = 0; i < m_Entries.size(); ++i) {
    const BundleEntryInfo& entry = m_Entries[i];
    if (entry.encrypted && entry.fault.empty() && entry.size > 0) {
      probes.push_back(i);
    }
  }
  // The shortest ones cost least. One that is damaged mustn't speak for all.
  constexpr std::size_t kProbes = 3;
  const std::size_t count = std::min(kProbes, probes.size());
  std::partial_sort(probes.begin(), probes.begin() + static_cast<std::ptrdiff_t>(count), probes.end(),
                    [this](std::size_t left, std::size_t right) {
                      return m_Entries[left].packedSize < m_Entries[right].packedSize;
                    });
  for (std::size_t i = 0; i < count; ++i) {
    EntryReader reader(*this);
    if (!reader.open(probes[i]).empty()) {
      continue;
    }
    char block[16384];
    std::uint64_t done = 0;
    std::int64_t got = 0;
    while (done < kPasswordProbe && (got = reader.read(block, sizeof(block))) > 0) {
      done += static_cast<std::uint64_t>(got);
    }
    if (got >= 0) {
      return "";
    }
  }
  return count == 0 ? "" : "the password doesn't open \"" + m_strPath + "\"";
}

std::string BundleReader::open(const std::string& path, const std::string& password, bool withoutContent) {
  if (std::string error = openFile(path); !error.empty()) {
    return error;
  }
  if (std::string error = readTable(); !error.empty()) {
    return error;
  }
  m_strPassword = password;
  if (withoutContent && password.empty()) {
    for (BundleEntryInfo& entry : m_Entries) {
      if (entry.encrypted && entry.fault.empty()) {
        entry.fault = "it is encrypted";
      }
    }
    return "";
  }
  return checkPassword();
}

std::size_t BundleReader::find(const std::string& name) const {
  auto at = std::lower_bound(
      m_NameOrder.begin(), m_NameOrder.end(), name,
      [this](std::uint32_t index, const std::string& wanted) { return m_Entries[index].name < wanted; });
  for (; at != m_NameOrder.end() && m_Entries[*at].name == name; ++at) {
    if (m_Entries[*at].fault.empty()) {
      return *at;
    }
  }
  return m_Entries.size();
}

std::string BundleReader::readFront(std::size_t index, std::size_t limit, std::string& text) const {
  return EntryReader(*this).readFront(index, limit, text);
}

bool BundleReader::spend(std::uint64_t bytes) const {
  std::uint64_t rest = m_nRest.load(std::memory_order_relaxed);
  while (rest >= bytes) {
    if (m_nRest.compare_exchange_weak(rest, rest - bytes, std::memory_order_relaxed)) {
      return true;
    }
  }
  return false;
}

struct EntryReader::Stream {
  explicit Stream(const BundleReader& bundle) : file(bundle.m_nFile, bundle.m_nFileSize), archive(file) {}
  MinizipFile file;
  Archive archive;
};

EntryReader::EntryReader(const BundleReader& bundle)
    : m_rBundle(bundle), m_pStream(std::make_unique<Stream>(bundle)) {}

EntryReader::~EntryReader() {
  close();
}

void EntryReader::close() {
  if (m_bOpen) {
    unzCloseCurrentFile(m_pStream->archive.get());
    m_bOpen = false;
  }
}

std::int64_t EntryReader::fail(const std::string& text) {
  m_strError = "\"" + m_rBundle.m_Entries[m_nIndex].name + "\" in the bundle can't be read: " + text;
  m_strCause = text;
  close();
  return -1;
}

// Nothing in an entry tells a password that isn't its own from damage.
std::int64_t EntryReader::failOnContent(const std::string& text) {
  return fail(m_rBundle.m_Entries[m_nIndex].encrypted ? text + ", or it is encrypted with another password"
                                                      : text);
}

std::string EntryReader::open(std::size_t index, Form form) {
  close();
  m_strError.clear();
  m_strCause.clear();
  m_nIndex = index;
  m_nDone = 0;
  m_Form = form;
  const BundleEntryInfo& entry = m_rBundle.m_Entries[index];
  if (!entry.fault.empty()) {
    fail(entry.fault);
    return m_strError;
  }
  const unzFile archive = m_pStream->archive.get();
  const char* const password = entry.encrypted ? m_rBundle.m_strPassword.c_str() : nullptr;
  if (archive == nullptr || unzSetOffset64(archive, m_rBundle.m_Places[index]) != UNZ_OK ||
      unzOpenCurrentFile3(archive, nullptr, nullptr, form == Form::kDeflated ? 1 : 0, password) != UNZ_OK) {
    fail("its record doesn't agree with the table of contents");
    return m_strError;
  }
  m_bOpen = true;
  return "";
}

std::string EntryReader::readFront(std::size_t index, std::size_t limit, std::string& text) {
  if (std::string failure = open(index); !failure.empty()) {
    return failure;
  }
  std::vector<char> block(std::min<std::size_t>(limit, 65536));
  while (limit > 0) {
    const std::int64_t got = read(block.data(), std::min(limit, block.size()));
    if (got < 0) {
      return m_strError;
    }
    if (got == 0) {
      break;
    }
    text.append(block.data(), static_cast<std::size_t>(got));
    limit -= static_cast<std::size_t>(got);
  }
  return "";
}

std::int64_t EntryReader::read(char* buffer, std::size_t size) {
  if (!m_bOpen) {
    return m_strError.empty() ? 0 : -1;
  }
  const BundleEntryInfo& entry = m_rBundle.m_Entries[m_nIndex];
  std::uint64_t whole = entry.size;
  if (m_Form == Form::kDeflated) {
    // minizip reads as many bytes behind the entry as its encryption takes in front.
    whole = entry.packedSize - (entry.encrypted ? kEncryptionHeader : 0);
  }
  const std::uint64_t wanted =
      std::min<std::uint64_t>({std::uint64_t{size}, whole - m_nDone, std::uint64_t{1} << 24U});
  int got = 0;
  if (wanted > 0) {
    got = unzReadCurrentFile(m_pStream->archive.get(), buffer, static_cast<unsigned>(wanted));
    if (got < 0) {
      return failOnContent("its bytes are damaged");
    }
    if (got == 0) {
      return fail("it is shorter than the table of contents says");
    }
  }
  if (!m_rBundle.spend(static_cast<std::uint64_t>(got))) {
    return fail(kUnpacksToTooMuch);
  }
  m_nDone += static_cast<std::uint64_t>(got);
  if (got > 0 || size == 0) {
    return got;
  }
  // minizip compares the CRC-32 of an entry that was read to its end when it is closed.
  m_bOpen = false;
  if (unzCloseCurrentFile(m_pStream->archive.get()) != UNZ_OK && m_Form == Form::kContent) {
    return failOnContent("its checksum is wrong");
  }
  return 0;
}

}  // namespace halvo
