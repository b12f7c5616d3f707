// WithoutFileOverride: for a scope, file permissions count for root too.
//
// Takes CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH and CAP_FOWNER out of the calling thread's effective
// set and puts them back; nothing where the thread hasn't got them.

#pragma once

#include <cstdint>

namespace halvo::test {

class WithoutFileOverride {
 public:
  WithoutFileOverride();
  ~WithoutFileOverride();
  WithoutFileOverride(const WithoutFileOverride&) = delete;
  WithoutFileOverride& operator=(const WithoutFileOverride&) = delete;

 private:
  std::uint32_t m_nOldEffective;
};

}  // namespace halvo::test
