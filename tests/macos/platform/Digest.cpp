// Sums, over this host's own library for them.

#include <CommonCrypto/CommonDigest.h>
#include <gcrypt.h>

#include <cstdlib>
#include <cstring>

extern "C" int CC_SHA256_Init(CC_SHA256_CTX* context) {
  static_cast<void>(gcry_check_version(nullptr));
  gcry_md_hd_t sum = nullptr;
  if (gcry_md_open(&sum, GCRY_MD_SHA256, 0) != 0) {
    std::abort();
  }
  context->sum = sum;
  return 1;
}

extern "C" int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length) {
  gcry_md_write(static_cast<gcry_md_hd_t>(context->sum), data, length);
  return 1;
}

extern "C" int CC_SHA256_Final(unsigned char* sum, CC_SHA256_CTX* context) {
  const gcry_md_hd_t made = static_cast<gcry_md_hd_t>(context->sum);
  std::memcpy(sum, gcry_md_read(made, GCRY_MD_SHA256), CC_SHA256_DIGEST_LENGTH);
  gcry_md_close(made);
  return 1;
}
