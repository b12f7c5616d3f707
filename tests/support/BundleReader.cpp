#include "tests/support/BundleReader.h"

#include <filesystem>
#include <stdexcept>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo::test {

namespace {

constexpr int kTimeoutSeconds = 300;

// Names of entries that aren't marked as UTF-8 come in code page 437, which maps every byte: encoded
// back, they are the bytes that were stored.
constexpr const char* kPythonUnpack = R"(
import os, sys, zipfile
bundle, password, folder = os.fsencode(sys.argv[1]), os.fsencode(sys.argv[2]), os.fsencode(sys.argv[3])
with zipfile.ZipFile(os.fsdecode(bundle)) as archive:
    for entry in archive.infolist():
        path = os.path.join(folder, entry.filename.encode("cp437"))
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with archive.open(entry, pwd=password or None) as source, open(path, "wb") as target:
            while block := source.read(1 << 20):
                target.write(block)
)";

constexpr const char* kPythonCheck = R"(
import os, sys, zipfile
with zipfile.ZipFile(sys.argv[1]) as archive:
    for entry in archive.infolist():
        with archive.open(entry, pwd=os.fsencode(sys.argv[2]) or None) as source:
            size = 0
            while block := source.read(1 << 20):
                size += len(block)
        if size != entry.file_size:
            sys.exit("size of " + entry.filename)
)";

RunResult run(const std::vector<std::string>& arguments) {
  RunOptions options;
  options.timeoutSeconds = kTimeoutSeconds;
  options.environment["LC_ALL"] = "C.UTF-8";
  return runProgram(arguments, options);
}

// What the entries hold goes to standard output with -O, and nobody keeps it. bsdtar takes no empty
// password; without one it asks on the terminal, which a session of its own doesn't have. Being out of
// reach for the caller's time limit there, it gets one of its own.
RunResult runBsdTar(const std::vector<std::string>& options, const std::string& bundle,
                    const std::string& password) {
  std::vector<std::string> arguments = {"setsid", "-w", "timeout", "--foreground",
                                        "280",    "sh", "-c",      "exec bsdtar \"$@\" >/dev/null",
                                        "sh",     "-x", "-f",      bundle};
  arguments.insert(arguments.end(), options.begin(), options.end());
  if (!password.empty()) {
    arguments.insert(arguments.end(), {"--passphrase", password});
  }
  return run(arguments);
}

// Reads little-endian numbers from a text and never past its end.
class Cursor {
 public:
  Cursor(const std::string& bytes, std::uint64_t position) : m_rBytes(bytes), m_nPosition(position) {}

  std::uint64_t number(unsigned size) {
    const std::string taken = text(size);
    std::uint64_t value = 0;
    for (unsigned i = size; i > 0; --i) {
      value = (value << 8U) | static_cast<unsigned char>(taken[i - 1]);
    }
    return value;
  }
  std::uint16_t number16() { return static_cast<std::uint16_t>(number(2)); }
  std::uint32_t number32() { return static_cast<std::uint32_t>(number(4)); }

  std::string text(std::uint64_t size) {
    if (m_nPosition > m_rBytes.size() || size > m_rBytes.size() - m_nPosition) {
      throw std::runtime_error("the bundle ends inside a record");
    }
    m_nPosition += size;
    return m_rBytes.substr(m_nPosition - size, size);
  }

  void expect(const std::string& signature) {
    if (text(signature.size()) != signature) {
      throw std::runtime_error("the bundle lacks a signature");
    }
  }

 private:
  const std::string& m_rBytes;
  std::uint64_t m_nPosition;
};

// The fields from "version needed" to the sizes stand in the same order in both kinds of header.
void readCommonFields(Cursor& cursor, BundleEntry::Header& header) {
  header.versionNeeded = cursor.number16();
  header.flags = cursor.number16();
  header.method = cursor.number16();
  header.time = cursor.number16();
  header.date = cursor.number16();
  header.crc = cursor.number32();
  header.packedSize = cursor.number32();
  header.size = cursor.number32();
}

// The value that the ZIP64 field holds in place of the 32-bit header offset.
std::uint64_t largeOffset(const BundleEntry::Header& header) {
  Cursor cursor(header.extra, 0);
  if (cursor.number16() != 1) {
    throw std::runtime_error("an entry lacks its ZIP64 field");
  }
  cursor.number16();
  for (const std::uint32_t size : {header.size, header.packedSize}) {
    if (size == 0xffffffff) {
      cursor.number(8);
    }
  }
  return cursor.number(8);
}

BundleEntry readEntry(const std::string& bytes, Cursor& directory) {
  BundleEntry entry;
  directory.expect("PK\x01\x02");
  directory.number16();  // version made by
  readCommonFields(directory, entry.central);
  const std::uint16_t nameSize = directory.number16();
  const std::uint16_t extraSize = directory.number16();
  const std::uint16_t commentSize = directory.number16();
  directory.number16();  // disk
  entry.internalAttributes = directory.number16();
  entry.externalAttributes = directory.number32();
  entry.localOffset = directory.number32();
  entry.central.name = directory.text(nameSize);
  entry.central.extra = directory.text(extraSize);
  entry.comment = directory.text(commentSize);
  if (entry.localOffset == 0xffffffff) {
    entry.localOffset = largeOffset(entry.central);
  }

  Cursor header(bytes, entry.localOffset);
  header.expect("PK\x03\x04");
  readCommonFields(header, entry.local);
  const std::uint16_t localNameSize = header.number16();
  const std::uint16_t localExtraSize = header.number16();
  entry.local.name = header.text(localNameSize);
  entry.local.extra = header.text(localExtraSize);
  if (entry.central.packedSize != 0xffffffff) {
    entry.packed = header.text(entry.central.packedSize);
  }
  return entry;
}

}  // namespace

const std::vector<Reader>& allReaders() {
  static const std::vector<Reader> s_readers = {Reader::Unzip, Reader::SevenZip, Reader::BsdTar,
                                                Reader::Python};
  return s_readers;
}

std::string readerName(Reader reader) {
  switch (reader) {
    case Reader::Unzip:
      return "unzip";
    case Reader::SevenZip:
      return "7z";
    case Reader::BsdTar:
      return "bsdtar";
    case Reader::Python:
      return "python3";
  }
  return "";
}

RunResult unpackBundle(Reader reader, const std::string& bundle, const std::string& password,
                       const std::string& folder) {
  switch (reader) {
    case Reader::Unzip:
      // unzip asks on the terminal where no password is given: an empty one keeps it quiet.
      return run({"unzip", "-qq", "-o", "-P", password, bundle, "-d", folder});
    case Reader::SevenZip:
      return run({"7z", "x", "-y", "-bd", "-p" + password, "-o" + folder, bundle});
    case Reader::BsdTar:
      return runBsdTar({"-C", folder}, bundle, password);
    case Reader::Python:
      return run({"python3", "-c", kPythonUnpack, bundle, password, folder});
  }
  throw std::runtime_error("no such reader");
}

RunResult checkBundle(Reader reader, const std::string& bundle, const std::string& password) {
  switch (reader) {
    case Reader::Unzip:
      return run({"unzip", "-qq", "-t", "-P", password, bundle});
    case Reader::SevenZip:
      return run({"7z", "t", "-bd", "-p" + password, bundle});
    case Reader::BsdTar:
      return runBsdTar({"-O"}, bundle, password);
    case Reader::Python:
      return run({"python3", "-c", kPythonCheck, bundle, password});
  }
  throw std::runtime_error("no such reader");
}

std::map<std::string, std::string> readTree(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files[entry.path().string().substr(folder.size() + 1)] = readFile(entry.path().string());
    }
  }
  return files;
}

std::map<std::string, std::string> bundleContent(Reader reader, const std::string& bundle,
                                                 const std::string& password) {
  const TempFolder folder;
  const RunResult result = unpackBundle(reader, bundle, password, folder.path());
  if (result.exitStatus != 0) {
    throw std::runtime_error(readerName(reader) + " failed on " + bundle + ":\n" + result.out + result.err);
  }
  return readTree(folder.path());
}

std::vector<BundleEntry> readBundleEntries(const std::string& bundle) {
  const std::string bytes = readFile(bundle);
  // Nobody writes a comment into these bundles, so the end record is the last 22 bytes.
  constexpr std::size_t kEndSize = 22;
  constexpr std::size_t kLocatorSize = 20;
  if (bytes.size() < kEndSize) {
    throw std::runtime_error("the bundle is too short");
  }
  Cursor end(bytes, bytes.size() - kEndSize);
  end.expect("PK\x05\x06");
  end.number32();  // disks
  end.number16();
  std::uint64_t count = end.number16();
  end.number32();
  std::uint64_t offset = end.number32();
  const bool hasLargeEnd = bytes.size() >= kEndSize + kLocatorSize &&
                           bytes.compare(bytes.size() - kEndSize - kLocatorSize, 4, "PK\x06\x07") == 0;
  if (hasLargeEnd) {
    Cursor locator(bytes, bytes.size() - kEndSize - kLocatorSize + 8);
    Cursor large(bytes, locator.number(8));
    large.expect("PK\x06\x06");
    large.text(28);
    count = large.number(8);
    large.number(8);
    offset = large.number(8);
  }

  Cursor directory(bytes, offset);
  std::vector<BundleEntry> entries;
  for (std::uint64_t i = 0; i < count; ++i) {
    entries.push_back(readEntry(bytes, directory));
  }
  directory.expect(hasLargeEnd ? "PK\x06\x06" : "PK\x05\x06");
  return entries;
}

std::vector<std::string> bundleNames(const std::string& bundle) {
  std::vector<std::string> names;
  for (const BundleEntry& entry : readBundleEntries(bundle)) {
    names.push_back(entry.central.name);
  }
  return names;
}

}  // namespace halvo::test
