#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/FileDigest.h"

// The system library's own calls; a cross build has no header for them.
extern "C" {
struct TolmSha256Context {
  std::uint32_t words[26];
};
int CC_SHA256_Init(TolmSha256Context* context);
int CC_SHA256_Update(TolmSha256Context* context, const void* data, std::uint32_t length);
int CC_SHA256_Final(unsigned char* sum, TolmSha256Context* context);
}

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
  TolmSha256Context context;
  CC_SHA256_Init(&context);
  std::array<unsigned char, 65536> block;
  ssize_t got = 0;
  while ((got = read(file.get(), block.data(), block.size())) > 0) {
    CC_SHA256_Update(&context, block.data(), static_cast<std::uint32_t>(got));
    digest.bytes += static_cast<std::uint64_t>(got);
  }
  // No sum at all: one of the part that could be read would be taken for the file's.
  if (got < 0) {
    return digest;
  }
  std::array<unsigned char, 32> sum;
  CC_SHA256_Final(sum.data(), &context);
  constexpr char kDigits[] = "0123456789abcdef";
  for (const unsigned char byte : sum) {
    digest.sha256 += kDigits[byte >> 4U];
    digest.sha256 += kDigits[byte & 15U];
  }
  return digest;
}

}  // namespace halvo
