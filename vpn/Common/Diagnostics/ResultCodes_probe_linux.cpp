// A program for HostLogger_linux_test.cpp: it looks a row up and calls nothing of the log. The row is
// there only if the object that starts logging came out of the static library all the same.

#include <cstdio>

#include "vpn/Common/Diagnostics/ResultCodes.h"

int main() {
  const char* const row = halvo::findResultCodeRow(halvo::GLOBAL_ERROR_NO_INSTANCE);
  std::puts(row != nullptr ? row : "no row");
  return 0;
}
