#include <CommonCrypto/CommonDigest.h>
#include <fcntl.h>
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
  CC_SHA256_CTX context;
  CC_SHA256_Init(&context);
  std::array<unsigned char, 65536> block;
  ssize_t got = 0;
  while ((got = read(file.get(), block.data(), block.size())) > 0) {
    CC_SHA256_Update(&context, block.data(), static_cast<CC_LONG>(got));
    digest.bytes += static_cast<std::uint64_t>(got);
  }
  // No sum at all: one of the part that could be read would be taken for the file's.
  if (got < 0) {
    return digest;
  }
  std::array<unsigned char, CC_SHA256_DIGEST_LENGTH> sum;
  CC_SHA256_Final(sum.data(), &context);
  constexpr char kDigits[] = "0123456789abcdef";
  for (const unsigned char byte : sum) {
    digest.sha256 += kDigits[byte >> 4U];
    digest.sha256 += kDigits[byte & 15U];
  }
  return digest;
}

}  // namespace halvo
