// BundleReader: opens a bundle with programs that share no code with its writer, and reads the ZIP
// records of a bundle byte by byte (PKWARE APPNOTE.TXT, section 4.3).
//
// Everything throws std::runtime_error where a bundle can't be read.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/support/Subprocess.h"

namespace halvo::test {

enum class Reader { Unzip, SevenZip, BsdTar, Python };

// All of them, and the program's name for messages.
const std::vector<Reader>& allReaders();
std::string readerName(Reader reader);

// Unpacks the whole bundle into `folder`, which must exist. `password` may be empty. The exit status is
// 0 where the reader is content with every entry.
RunResult unpackBundle(Reader reader, const std::string& bundle, const std::string& password,
                       const std::string& folder);

// Lets the reader decrypt, inflate and check every entry without keeping any of it.
RunResult checkBundle(Reader reader, const std::string& bundle, const std::string& password);

// The regular files below `folder`, by their relative paths, with their content.
std::map<std::string, std::string> readTree(const std::string& folder);

// Unpacks the bundle into a temporary folder and gives back what is there; throws where the reader
// isn't content.
std::map<std::string, std::string> bundleContent(Reader reader, const std::string& bundle,
                                                 const std::string& password = "");

// One entry, as its central record and its local header tell.
struct BundleEntry {
  struct Header {
    std::uint16_t versionNeeded = 0;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint16_t time = 0;  // DOS form: hours, minutes, seconds / 2
    std::uint16_t date = 0;  // DOS form: years since 1980, month, day
    std::uint32_t crc = 0;
    std::uint32_t packedSize = 0;
    std::uint32_t size = 0;
    std::string name;
    std::string extra;
  };
  Header central;
  Header local;
  std::uint16_t internalAttributes = 0;
  std::uint32_t externalAttributes = 0;
  std::string comment;
  std::uint64_t localOffset = 0;
  std::string packed;  // the bytes behind the local header; empty where `packedSize` is 0xffffffff
};

// The entries in the order of the central directory.
std::vector<BundleEntry> readBundleEntries(const std::string& bundle);

// The names of readBundleEntries().
std::vector<std::string> bundleNames(const std::string& bundle);

}  // namespace halvo::test
