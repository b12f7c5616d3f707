// The test platform's sums. See Digest.cpp.

#pragma once

#include <stdint.h>

#define CC_SHA256_DIGEST_LENGTH 32

typedef uint32_t CC_LONG;
typedef struct CC_SHA256state_st {
  void* sum;
} CC_SHA256_CTX;

extern "C" {
int CC_SHA256_Init(CC_SHA256_CTX* context);
int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length);
int CC_SHA256_Final(unsigned char* sum, CC_SHA256_CTX* context);
}
