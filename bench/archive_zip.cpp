// archive_zip FOLDER OUT.zip [PASSWORD]: CZip::Zip alone on a folder, to be set against archive_floor.

#include <cstdio>

#include "vpn/Common/Zip/CZip.h"

int main(int argc, char** argv) {
  if (argc != 3 && argc != 4) {
    std::fprintf(stderr, "usage: archive_zip FOLDER OUT.zip [PASSWORD]\n");
    return 2;
  }
  const halvo::ResultCode result = halvo::CZip().Zip(argv[1], argv[2], argc == 4 ? argv[3] : "", true);
  if (result != 0) {
    std::fprintf(stderr, "archive_zip: 0x%08X\n", result);
  }
  return result == 0 ? 0 : 1;
}
