#include <fcntl.h>
#include <gcrypt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <new>
#include <optional>
#include <type_traits>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/OpenedLibrary.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/FileDigest.h"

namespace halvo {

namespace {

// The name that the header's version of the interface has.
constexpr char kLibrary[] = "libgcrypt.so.20";

// The library is opened with the first sum: few runs ask for one, and every start would pay for it.
struct GcryptCalls {
  decltype(&::gcry_check_version) check_version = nullptr;
  decltype(&::gcry_control) control = nullptr;
  decltype(&::gcry_md_close) md_close = nullptr;
  decltype(&::gcry_md_get_algo_dlen) md_get_algo_dlen = nullptr;
  decltype(&::gcry_md_open) md_open = nullptr;
  decltype(&::gcry_md_read) md_read = nullptr;
  decltype(&::gcry_md_write) md_write = nullptr;
};

std::optional<GcryptCalls> load() {
  const OpenedLibrary library(kLibrary);
  GcryptCalls calls;
  const bool whole =
      library.find("gcry_check_version", calls.check_version) &&
      library.find("gcry_control", calls.control) && library.find("gcry_md_close", calls.md_close) &&
      library.find("gcry_md_get_algo_dlen", calls.md_get_algo_dlen) &&
      library.find("gcry_md_open", calls.md_open) && library.find("gcry_md_read", calls.md_read) &&
      library.find("gcry_md_write", calls.md_write);
  if (!whole) {
    return std::nullopt;
  }
  // The library wants to be started before its first use, once in a process. Sums aren't secret.
  if (calls.control(GCRYCTL_INITIALIZATION_FINISHED_P) == 0) {
    calls.check_version(nullptr);
    calls.control(GCRYCTL_DISABLE_SECMEM, 0);
    calls.control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  }
  return calls;
}

const GcryptCalls* gcryptCalls() {
  static const std::optional<GcryptCalls> s_calls = load();
  return s_calls.has_value() ? &*s_calls : nullptr;
}

struct CloseHash {
  decltype(&::gcry_md_close) close = nullptr;
  void operator()(gcry_md_hd_t hash) const { close(hash); }
};
using HashHolder = std::unique_ptr<std::remove_pointer_t<gcry_md_hd_t>, CloseHash>;

HashHolder openSha256(const GcryptCalls& calls) {
  gcry_md_hd_t hash = nullptr;
  if (calls.md_open(&hash, GCRY_MD_SHA256, 0) != 0) {
    throw std::bad_alloc();
  }
  return HashHolder(hash, CloseHash{calls.md_close});
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
  const GcryptCalls* const calls = gcryptCalls();
  const HashHolder hash = calls != nullptr ? openSha256(*calls) : nullptr;
  std::array<std::uint8_t, 65536> block;
  ssize_t got = 0;
  while ((got = read(file.get(), block.data(), block.size())) > 0) {
    if (hash != nullptr) {
      calls->md_write(hash.get(), block.data(), static_cast<std::size_t>(got));
    }
    digest.bytes += static_cast<std::uint64_t>(got);
  }
  // No sum at all: one of the part that could be read would be taken for the file's.
  if (got < 0 || hash == nullptr) {
    return digest;
  }
  const unsigned char* const sum = calls->md_read(hash.get(), GCRY_MD_SHA256);
  const std::size_t length = calls->md_get_algo_dlen(GCRY_MD_SHA256);
  constexpr char kDigits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < length; ++i) {
    digest.sha256 += kDigits[sum[i] >> 4U];
    digest.sha256 += kDigits[sum[i] & 15U];
  }
  return digest;
}

}  // namespace halvo
