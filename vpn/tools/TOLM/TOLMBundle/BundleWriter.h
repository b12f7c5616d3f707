// BundleWriter: writes a bundle entry by entry, names, order and times as its caller gives them.
//
// The file appears under its name when it is whole, which is its owner's alone (mode 0600); of a program that
// is ended before nothing is left, where the file system has files without names. It is written through the
// descriptor that made it, so that nobody who can write to the folder puts another file in its place; where
// that has been tried, finish() fails. One thread at a time.
//
// Every operation returns a text for people, empty on success. After a failure only the destructor is left.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "vpn/Common/Utility/UnfinishedFile.h"
#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"

namespace halvo {

class BundleWriter {
 public:
  BundleWriter() = default;
  ~BundleWriter();
  BundleWriter(const BundleWriter&) = delete;
  BundleWriter& operator=(const BundleWriter&) = delete;

  // `password` empty: nothing is encrypted. A file at `path` is replaced, by finish() alone; anything else
  // that stands there (a folder, a pipe) is refused.
  [[nodiscard]] std::string open(const std::string& path, const std::string& password);

  // An entry with the name (and what it is written in), time and attributes of `information`; its other
  // fields aren't looked at, but: `crc` must be that of the content where there is a password (it goes into
  // the encryption's header), and `size` must not be smaller than the content where that is 4 GiB or more.
  [[nodiscard]] std::string begin(const BundleEntryInfo& information);
  [[nodiscard]] std::string write(const char* data, std::size_t size);
  [[nodiscard]] std::string end();

  // The same for content that is packed already: `deflated` of the information tells whether by a raw deflate
  // stream (RFC 1951) or not at all; `size` and `crc` are those of the content and both must be right.
  [[nodiscard]] std::string beginPacked(const BundleEntryInfo& information);
  [[nodiscard]] std::string endPacked(const BundleEntryInfo& information);

  // The entry `index` of `from` as it is, without unpacking it, under `name`. `reader` is on `from`.
  [[nodiscard]] std::string copy(const BundleReader& from, EntryReader& reader, std::size_t index,
                                 const std::string& name);

  // Completes the file, brings it to disk and gives it its name.
  [[nodiscard]] std::string finish();

 private:
  [[nodiscard]] std::string failure(const std::string& reason) const;
  std::string beginEntry(const BundleEntryInfo& information, bool packed);

  std::string m_strPath;
  UnfinishedFile m_File;
  std::string m_strPassword;
  void* m_pArchive = nullptr;
};

}  // namespace halvo
