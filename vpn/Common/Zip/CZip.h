// CZip: turns a folder into a ZIP file, each file deflated at the best level and, with a password,
// encrypted with the traditional encryption (PKWARE APPNOTE.TXT, section 6.1).
//
// The class has no state; its operations may be used on any thread, on different files. Encrypted
// bundles are best made one at a time: minizip draws the random bytes in front of each entry from the
// C library's shared generator.
//
// Making an archive changes one setting of the whole process where the C library is glibc: from then on its
// allocator keeps up to a megabyte of what is freed instead of handing each block back to the system (the
// threshold that mallopt(3) tells of as M_MMAP_THRESHOLD goes up by itself, as it does in any program that
// frees one large block). minizip takes and frees a quarter of a megabyte an entry.
//
// A bundle says little about its own gaps, and its readers count on that: a file that can't be read
// is an empty entry (so is the bundle's own file, where an old one lies in the folder), and an entry
// that minizip refuses ends the bundle there, with success. The traditional encryption keeps a bundle from
// casual eyes, names of entries excepted; it is no match for an attacker.

#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class CZip {
 public:
  // Packs the regular files of `folder`, and with `recursive` those of the folders below it, into a
  // new ZIP file at `bundlePath`; a file of that path is overwritten. The stored names are relative to
  // the folder. Entries stand in the order of readdir(), each folder's content in the place of the
  // folder. Symbolic links, sockets and the like are left out, and folders leave no trace of their own.
  // A folder that can't be opened gives one empty entry named by its path below `folder`, with a "/" at
  // its end where that isn't empty. With an empty `password` nothing is encrypted.
  //
  // Returns 0; GLOBAL_ERROR_BAD_PARAMETER for an empty folder or bundle path (logged as an error); or
  // what createZipFile() returned, with a return-code log.
  [[nodiscard]] ResultCode Zip(const std::string& folder, const std::string& bundlePath,
                               const std::string& password, bool recursive);

  // Packs the files at `paths` under the names at the same places in `names`.
  //
  // Returns 0; GLOBAL_ERROR_BAD_PARAMETER where the bundle can't be created; or minizip's negative code
  // where an entry couldn't be finished (the disk is full, or the file has 0xffffffff bytes or more and
  // there is no password: such an entry needs the ZIP64 form, which is asked for on encrypted entries
  // only); or, with a password, GLOBAL_ERROR_UNEXPECTED where a file's two readings, for its CRC and for its
  // data, don't agree, which no reader could open. All are logged as errors, and the bundle then holds the
  // entries up to that one. A file whose time can't be read is logged as a warning.
  [[nodiscard]] ResultCode createZipFile(const std::list<std::string>& paths, const std::string& bundlePath,
                                         const std::list<std::string>& names, const std::string& password);

  // The CRC-32 (ITU-T V.42) of the file at `path`; 0 where it won't open, with an error in the log.
  // `largeFile` receives whether it has 0xffffffff bytes or more.
  [[nodiscard]] std::uint32_t getCrc(const std::string& path, bool& largeFile);

  // Unpacks a ZIP file that isn't encrypted into `targetFolder`, an absolute path, and appends the names
  // of its entries to `names`, without a leading "/". Folders are made as needed. A file that exists is
  // left alone, with a warning in the log, unless `overwrite` is set.
  //
  // Names are taken for hostile: an entry whose name is empty, absolute even without its first "/", or
  // holds a ".." component is refused and not put on the list. An entry that fails (refused, encrypted,
  // damaged, not writable) is logged as an error and passed over; a damaged file isn't kept.
  //
  // Returns 0; GLOBAL_ERROR_BAD_PARAMETER for a file that is no ZIP file or has no entry; or, after all other
  // entries, the code of the first failed one: GLOBAL_ERROR_UNEXPECTED or minizip's negative code.
  [[nodiscard]] ResultCode Unzip(const std::string& bundlePath, const std::string& targetFolder,
                                 std::list<std::string>& names, bool overwrite);
};

// Makes the folder `path`, an absolute path, and all folders above it that are missing, with mode 0777
// less the process's mask. Returns false for a null or relative path, where a component exists and is no
// folder, and where mkdir() fails; folders made until then stay.
[[nodiscard]] bool makeFolderPath(const char* path);

}  // namespace halvo
