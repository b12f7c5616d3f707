// archive_floor FOLDER OUT.zip [PASSWORD]: the least that making a bundle can cost.
//
// Deflates the regular files below FOLDER with minizip at level 9 in blocks of 16 KiB and does nothing
// else: no log, no times, nothing of the system's own code. With a PASSWORD each file is read once more
// for its CRC, which the format asks for. Prints the number of files and of bytes read.

#include <fcntl.h>
#include <unistd.h>
#include <zip.h>
#include <zlib.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kBlockSize = 16384;

uLong crcOf(int descriptor, char* block) {
  uLong crc = 0;
  for (ssize_t got = 0; (got = read(descriptor, block, kBlockSize)) > 0;) {
    crc = crc32(crc, reinterpret_cast<const Bytef*>(block), static_cast<uInt>(got));
  }
  lseek(descriptor, 0, SEEK_SET);
  return crc;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) {
    std::fprintf(stderr, "usage: archive_floor FOLDER OUT.zip [PASSWORD]\n");
    return 2;
  }
  const std::filesystem::path folder = argv[1];
  const char* const password = argc == 4 ? argv[3] : nullptr;
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file() && !entry.is_symlink()) {
      paths.push_back(entry.path().string());
    }
  }

  const zipFile archive = zipOpen64(argv[2], APPEND_STATUS_CREATE);
  if (archive == nullptr) {
    std::fprintf(stderr, "archive_floor: can't create %s\n", argv[2]);
    return 1;
  }
  // Without it, glibc's handing back of memory after each entry is most of the time of small files.
  void* volatile kept = std::malloc(std::size_t{1} << 20U);
  std::free(kept);

  char block[kBlockSize];
  std::uint64_t bytes = 0;
  for (const std::string& path : paths) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
      std::fprintf(stderr, "archive_floor: can't read %s\n", path.c_str());
      return 1;
    }
    const uLong crc = password != nullptr ? crcOf(descriptor, block) : 0;
    const zip_fileinfo information = {};
    const std::string name = path.substr(folder.string().size() + 1);
    int answer = zipOpenNewFileInZip3_64(archive, name.c_str(), &information, nullptr, 0, nullptr, 0, nullptr,
                                         Z_DEFLATED, Z_BEST_COMPRESSION, 0, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY,
                                         password, crc, 1);
    for (ssize_t got = 0; answer == ZIP_OK && (got = read(descriptor, block, sizeof(block))) > 0;) {
      answer = zipWriteInFileInZip(archive, block, static_cast<unsigned>(got));
      bytes += static_cast<std::uint64_t>(got);
    }
    close(descriptor);
    if (answer != ZIP_OK || zipCloseFileInZip(archive) != ZIP_OK) {
      std::fprintf(stderr, "archive_floor: can't pack %s\n", path.c_str());
      return 1;
    }
  }
  if (zipClose(archive, nullptr) != ZIP_OK) {
    std::fprintf(stderr, "archive_floor: can't finish %s\n", argv[2]);
    return 1;
  }
  std::printf("%zu files, %" PRIu64 " bytes\n", paths.size(), bytes);
  return 0;
}
