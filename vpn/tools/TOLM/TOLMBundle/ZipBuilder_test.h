// ZipBuilder: ZIP files byte by byte (PKWARE APPNOTE.TXT, section 4.3), right ones and such as lie.

#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>

namespace halvo::test {

struct ZipEntry {
  std::string name;
  std::string content;
  std::uint16_t method = 0;  // the content is stored as it is, whatever this says
  std::uint16_t flags = 0;
  std::uint32_t attributes = 0;
  std::uint32_t addToSize = 0;  // what the table of contents says more than is there
  std::uint32_t addToPackedSize = 0;
  std::uint32_t addToCrc = 0;
};

class ZipBuilder {
 public:
  ZipBuilder& add(const ZipEntry& entry) {
    const std::uint64_t place = m_strFiles.size();
    m_strFiles += "PK\x03\x04" + fields(entry);
    put16(m_strFiles, 0);
    m_strFiles += entry.name + entry.content;
    return addToTable(entry, place);
  }

  // A record of the table alone, for bytes that another entry has.
  ZipBuilder& addToTable(const ZipEntry& entry, std::uint64_t place) {
    m_strTable += "PK\x01\x02";
    put16(m_strTable, 0x031e);
    m_strTable += fields(entry);
    put16(m_strTable, 0);  // extra field
    put16(m_strTable, 0);  // comment
    put16(m_strTable, 0);  // disk
    put16(m_strTable, 0);
    put32(m_strTable, entry.attributes);
    put32(m_strTable, static_cast<std::uint32_t>(place));
    m_strTable += entry.name;
    ++m_nEntries;
    return *this;
  }

  [[nodiscard]] std::string take() const {
    std::string bytes = m_strFiles + m_strTable + "PK\x05\x06";
    put32(bytes, 0);
    put16(bytes, static_cast<std::uint16_t>(m_nEntries));
    put16(bytes, static_cast<std::uint16_t>(m_nEntries));
    put32(bytes, static_cast<std::uint32_t>(m_strTable.size()));
    put32(bytes, static_cast<std::uint32_t>(m_strFiles.size()));
    put16(bytes, 0);
    return bytes;
  }

 private:
  static void put16(std::string& bytes, std::uint32_t value) {
    bytes += static_cast<char>(value & 0xffU);
    bytes += static_cast<char>((value >> 8U) & 0xffU);
  }
  static void put32(std::string& bytes, std::uint32_t value) {
    put16(bytes, value);
    put16(bytes, value >> 16U);
  }

  // From "version needed" to the length of the name.
  static std::string fields(const ZipEntry& entry) {
    const auto size = static_cast<std::uint32_t>(entry.content.size());
    const uLong crc = crc32(0, reinterpret_cast<const Bytef*>(entry.content.data()), size);
    std::string bytes;
    put16(bytes, 20);
    put16(bytes, entry.flags);
    put16(bytes, entry.method);
    put32(bytes, 0x5c6f5543);  // 2026-03-15 10:42:06
    put32(bytes, static_cast<std::uint32_t>(crc) + entry.addToCrc);
    put32(bytes, size + entry.addToPackedSize);
    put32(bytes, size + entry.addToSize);
    put16(bytes, static_cast<std::uint32_t>(entry.name.size()));
    return bytes;
  }

  std::string m_strFiles;
  std::string m_strTable;
  std::uint32_t m_nEntries = 0;
};

}  // namespace halvo::test
