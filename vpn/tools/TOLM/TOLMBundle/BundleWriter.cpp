#include "vpn/tools/TOLM/TOLMBundle/BundleWriter.h"

#include <libxml/xmlstring.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "vpn/Common/Utility/DescriptorPath.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestName = 0xffff;
constexpr int kMemoryLevel = 8;
constexpr unsigned long kUtf8Flag = 0x800;
// From here on a size needs the ZIP64 form. Packed bytes may be a little more than the content.
constexpr std::uint64_t kLargeSize = 0xf0000000;

}  // namespace

BundleWriter::~BundleWriter() {
  if (m_pArchive != nullptr) {
    zipClose(m_pArchive, nullptr);
  }
}

std::string BundleWriter::open(const std::string& path, const std::string& password) {
  m_strPath = path;
  m_strPassword = password;
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    return "\"" + path + "\" is no file; a bundle can't be written there";
  }
  if (const std::string reason = m_File.open(path); !reason.empty()) {
    return failure(reason);
  }
  // minizip takes no descriptor: opened again, but by what leads to this file and no other.
  m_pArchive = zipOpen64(descriptorPath(m_File.descriptor()).c_str(), APPEND_STATUS_CREATE);
  if (m_pArchive == nullptr) {
    return failure(std::strerror(errno));
  }
  return "";
}

std::string BundleWriter::beginEntry(const BundleEntryInfo& information, bool packed) {
  // minizip would write a longer name under a wrong length and so spoil the whole archive.
  if (information.name.empty() || information.name.size() > kLongestName) {
    return "an entry's name is empty or longer than " + std::to_string(kLongestName) + " bytes";
  }
  zip_fileinfo fields = {};
  fields.dosDate = information.dosTime;
  fields.internal_fa = information.internalAttributes;
  fields.external_fa = information.externalAttributes;
  // A name may say so and be none; some programs refuse the whole archive for it.
  const bool isUtf8 = information.hasUtf8Name &&
                      xmlCheckUTF8(reinterpret_cast<const xmlChar*>(information.name.c_str())) == 1;
  const bool stored = packed && !information.deflated;
  if (zipOpenNewFileInZip4_64(m_pArchive, information.name.c_str(), &fields, nullptr, 0, nullptr, 0, nullptr,
                              stored ? 0 : Z_DEFLATED, Z_BEST_COMPRESSION, packed ? 1 : 0, -MAX_WBITS,
                              kMemoryLevel, Z_DEFAULT_STRATEGY,
                              m_strPassword.empty() ? nullptr : m_strPassword.c_str(), information.crc, 0,
                              isUtf8 ? kUtf8Flag : 0, information.size >= kLargeSize ? 1 : 0) != ZIP_OK) {
    return failure(std::strerror(errno));
  }
  return "";
}

std::string BundleWriter::begin(const BundleEntryInfo& information) {
  return beginEntry(information, false);
}

std::string BundleWriter::beginPacked(const BundleEntryInfo& information) {
  return beginEntry(information, true);
}

std::string BundleWriter::write(const char* data, std::size_t size) {
  constexpr std::size_t kLargestPart = std::size_t{1} << 20U;
  while (size > 0) {
    const std::size_t part = std::min(size, kLargestPart);
    if (zipWriteInFileInZip(m_pArchive, data, static_cast<unsigned>(part)) != ZIP_OK) {
      return failure(std::strerror(errno));
    }
    data += part;
    size -= part;
  }
  return "";
}

std::string BundleWriter::end() {
  if (zipCloseFileInZip(m_pArchive) != ZIP_OK) {
    return failure(std::strerror(errno));
  }
  return "";
}

std::string BundleWriter::endPacked(const BundleEntryInfo& information) {
  if (zipCloseFileInZipRaw64(m_pArchive, information.size, information.crc) != ZIP_OK) {
    return failure(std::strerror(errno));
  }
  return "";
}

std::string BundleWriter::copy(const BundleReader& from, EntryReader& reader, std::size_t index,
                               const std::string& name) {
  // The packed bytes as they are: nothing of the content changes, and packing costs most.
  if (std::string error = reader.open(index, EntryReader::Form::kDeflated); !error.empty()) {
    return error;
  }
  BundleEntryInfo information = from.entries()[index];
  information.name = name;
  if (std::string error = beginPacked(information); !error.empty()) {
    return error;
  }
  std::vector<char> block(65536);
  std::int64_t got = 0;
  while ((got = reader.read(block.data(), block.size())) > 0) {
    if (std::string error = write(block.data(), static_cast<std::size_t>(got)); !error.empty()) {
      return error;
    }
  }
  return got < 0 ? reader.error() : endPacked(information);
}

std::string BundleWriter::finish() {
  const int closed = zipClose(m_pArchive, nullptr);
  m_pArchive = nullptr;
  // Ahead of the renaming: the name must not come to stand for bytes that a power cut takes away.
  if (closed != ZIP_OK || fsync(m_File.descriptor()) != 0) {
    return failure(std::strerror(errno));
  }
  const std::string reason = m_File.finish();
  return reason.empty() ? "" : failure(reason);
}

std::string BundleWriter::failure(const std::string& reason) const {
  return "\"" + m_strPath + "\" can't be written: " + reason;
}

}  // namespace halvo
