/* probe ARCHIVE PASSWORD CONTENT: writes an archive that holds CONTENT, encrypted, as probe.txt. */
#include <string.h>
#include <zip.h>
#include <zlib.h>

int main(int argc, char** argv) {
  zip_fileinfo info;
  zipFile archive;
  uLong crc;
  if (argc != 4) {
    return 1;
  }
  memset(&info, 0, sizeof(info));
  crc = crc32(0, (const Bytef*)argv[3], (uInt)strlen(argv[3]));
  archive = zipOpen64(argv[1], APPEND_STATUS_CREATE);
  if (archive == NULL) {
    return 2;
  }
  if (zipOpenNewFileInZip3_64(archive, "probe.txt", &info, NULL, 0, NULL, 0, NULL, Z_DEFLATED, 9, 0, -MAX_WBITS,
                              DEF_MEM_LEVEL, Z_DEFAULT_STRATEGY, argv[2], crc, 0) != ZIP_OK) {
    return 3;
  }
  if (zipWriteInFileInZip(archive, argv[3], (unsigned)strlen(argv[3])) != ZIP_OK ||
      zipCloseFileInZip(archive) != ZIP_OK || zipClose(archive, NULL) != ZIP_OK) {
    return 4;
  }
  return 0;
}
