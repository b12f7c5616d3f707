#include <fcntl.h>
#include <gcrypt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <new>
#include <type_traits>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/FileDigest.h"

namespace halvo {

namespace {

struct CloseHash {
  void operator()(gcry_md_hd_t hash) const { gcry_md_close(hash); }
};
using HashHolder = std::unique_ptr<std::remove_pointer_t<gcry_md_hd_t>, CloseHash>;

HashHolder openSha256() {
  // The library wants to be started before its first use, once in a process. Sums aren't secret.
  static const bool started = [] {
    if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) == 0) {
      gcry_check_version(nullptr);
      gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
      gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    }
    return true;
  }();
  static_cast<void>(started);
  gcry_md_hd_t hash = nullptr;
  if (gcry_md_open(&hash, GCRY_MD_SHA256, 0) != 0) {
    throw std::bad_alloc();
  }
  return HashHolder(hash);
}

}  // namespace

FileDigest digestFile(const std::string& path) {
  FileDigest digest;
  digest.path = path;
  // A link or a pipe that has taken the file's place is neither followed nor waited for: it has no sum.
  const DescriptorHolder file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat data;
  if (!file || fstat(file.get(), &data) != 0 || !S_ISREG(data.st_mode)) {
    return digest;
  }
  const HashHolder hash = openSha256();
  std::array<std::uint8_t, 65536> block;
  ssize_t got = 0;
  while ((got = read(file.get(), block.data(), block.size())) > 0) {
    gcry_md_write(hash.get(), block.data(), static_cast<std::size_t>(got));
    digest.bytes += static_cast<std::uint64_t>(got);
  }
  // No sum at all: one of the part that could be read would be taken for the file's.
  if (got < 0) {
    return digest;
  }
  const unsigned char* const sum = gcry_md_read(hash.get(), GCRY_MD_SHA256);
  const std::size_t length = gcry_md_get_algo_dlen(GCRY_MD_SHA256);
  constexpr char kDigits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < length; ++i) {
    digest.sha256 += kDigits[sum[i] >> 4U];
    digest.sha256 += kDigits[sum[i] & 15U];
  }
  return digest;
}

}  // namespace halvo
