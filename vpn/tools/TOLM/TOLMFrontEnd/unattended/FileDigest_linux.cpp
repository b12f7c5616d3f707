#include <fcntl.h>
#include <nettle/sha2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/FileDigest.h"

namespace halvo {

FileDigest digestFile(const std::string& path) {
  FileDigest digest;
  digest.path = path;
  // A link or a pipe that has taken the file's place is neither followed nor waited for: it has no sum.
  const DescriptorHolder file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat data;
  if (!file || fstat(file.get(), &data) != 0 || !S_ISREG(data.st_mode)) {
    return digest;
  }
  sha256_ctx context;
  sha256_init(&context);
  std::array<std::uint8_t, 65536> block;
  ssize_t got = 0;
  while ((got = read(file.get(), block.data(), block.size())) > 0) {
    sha256_update(&context, static_cast<std::size_t>(got), block.data());
    digest.bytes += static_cast<std::uint64_t>(got);
  }
  // No sum at all: one of the part that could be read would be taken for the file's.
  if (got < 0) {
    return digest;
  }
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> sum;
  sha256_digest(&context, sum.size(), sum.data());
  constexpr char kDigits[] = "0123456789abcdef";
  for (const std::uint8_t byte : sum) {
    digest.sha256 += kDigits[byte >> 4U];
    digest.sha256 += kDigits[byte & 15U];
  }
  return digest;
}

}  // namespace halvo
