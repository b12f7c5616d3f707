// BundleReader: lists the entries of a bundle and streams what they hold, through minizip's reading calls.
// EntryReader is the stream: one a thread, any number at a time.
//
// A bundle comes from outside and nothing in it is trusted. Nothing is ever written to disk here. Names
// stay bytes; an entry whose name could do harm outside, or that can't be read for another reason that its
// records tell, is listed with a `fault` and can't be opened. Counts, names and the bytes that come out in
// all are bounded (BundleLimits), so a bomb ends with an error in bounded time and memory.
//
// Every operation that can fail returns a text for people, one line that may quote names as they stand
// (print it through withoutControls()), empty on success. Nothing is logged.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace halvo {

struct BundleLimits {
  std::size_t entries = 500000;
  std::size_t nameBytes = std::size_t{1} << 25U;  // of all names together
  // What may come out of the bundle in all, over all streams: this much, or the file's size times
  // `expansion` where that is more. Logs shrink to a tenth or so; a thousandth is a bomb.
  std::uint64_t bytes = std::uint64_t{1} << 30U;
  std::uint64_t expansion = 200;
};

// What reading fails with where that is used up.
inline constexpr char kUnpacksToTooMuch[] =
    "the bundle unpacks to more than its size allows; it may be made to fill this machine up";

// One entry of the table of contents (PKWARE APPNOTE.TXT, section 4.3.12).
struct BundleEntryInfo {
  std::string name;  // as stored: any bytes, "/" between folders
  std::uint64_t size = 0;
  std::uint64_t packedSize = 0;  // with the 12 bytes that encryption puts in front
  std::uint32_t crc = 0;
  std::uint32_t dosTime = 0;  // date in the upper 16 bits, sections 4.4.6
  std::uint32_t internalAttributes = 0;
  std::uint32_t externalAttributes = 0;
  bool encrypted = false;
  bool hasUtf8Name = false;  // as its record says, section 4.4.4; readers take it for an old set otherwise
  bool deflated = false;     // stored as it is if not
  // Why the entry can't be opened, one line without its name; empty if it can.
  std::string fault;

  // An entry that stands for a folder, without content.
  [[nodiscard]] bool isFolder() const { return !name.empty() && name.back() == '/'; }
};

// "2026-03-15 10:42:06", the time of the machine that made the bundle; empty where the fields are no time.
std::string dosTimeText(std::uint32_t dosTime);

class BundleReader {
 public:
  explicit BundleReader(const BundleLimits& limits = {});
  ~BundleReader();
  BundleReader(const BundleReader&) = delete;
  BundleReader& operator=(const BundleReader&) = delete;

  // Opens the file and reads its table of contents. `password` is tried where there are encrypted entries,
  // and must fit then; it isn't looked at elsewhere. To be called once. What fails: no such regular file,
  // no ZIP file (a text tells a file that is cut short apart), bounds, no password where one is needed, the
  // wrong one. With `withoutContent` encrypted bundles are listed without a password, and none of their
  // encrypted entries can be opened.
  [[nodiscard]] std::string open(const std::string& path, const std::string& password,
                                 bool withoutContent = false);

  // In the order of the table of contents. The rest is const and may be used on all threads at once.
  [[nodiscard]] const std::vector<BundleEntryInfo>& entries() const { return m_Entries; }
  // What is wrong with the table of contents, where its front could be read all the same; empty if nothing.
  [[nodiscard]] const std::string& damage() const { return m_strDamage; }
  [[nodiscard]] const std::string& path() const { return m_strPath; }
  [[nodiscard]] const std::string& password() const { return m_strPassword; }
  [[nodiscard]] std::uint64_t fileSize() const { return m_nFileSize; }
  [[nodiscard]] bool isEncrypted() const { return m_bEncrypted; }
  // How many bytes may still come out.
  [[nodiscard]] std::uint64_t rest() const { return m_nRest.load(std::memory_order_relaxed); }
  // The index of the entry of that name that can be opened; entries().size() where there is none.
  [[nodiscard]] std::size_t find(const std::string& name) const;

  // Appends at most `limit` bytes from the entry's front to `text`. Less than the whole is no failure. What
  // was read ahead of a failure stands in `text`.
  [[nodiscard]] std::string readFront(std::size_t index, std::size_t limit, std::string& text) const;

 private:
  friend class EntryReader;

  std::string openFile(const std::string& path);
  std::string readTable();
  std::string checkPassword();
  // Takes bytes from what may come out; false where that is used up.
  bool spend(std::uint64_t bytes) const;

  BundleLimits m_Limits;
  std::string m_strPath;
  std::string m_strPassword;
  std::string m_strDamage;
  int m_nFile = -1;
  std::uint64_t m_nFileSize = 0;
  bool m_bEncrypted = false;
  std::vector<BundleEntryInfo> m_Entries;
  std::vector<std::uint64_t> m_Places;     // of the entries in the table, as minizip wants them
  std::vector<std::uint32_t> m_NameOrder;  // indices, sorted by name
  mutable std::atomic<std::uint64_t> m_nRest{0};
};

// One entry after the other, on one thread. The BundleReader, opened, must outlive it.
class EntryReader {
 public:
  explicit EntryReader(const BundleReader& bundle);
  ~EntryReader();
  EntryReader(const EntryReader&) = delete;
  EntryReader& operator=(const EntryReader&) = delete;

  // kContent: what the entry holds. kDeflated: its bytes as they are packed, decrypted, for a copy that
  // needn't unpack (BundleWriter::copy); nothing checks these.
  enum class Form { kContent, kDeflated };

  // Closes the entry at hand and opens another.
  [[nodiscard]] std::string open(std::size_t index, Form form = Form::kContent);

  // Up to `size` bytes; 0 at the end. The end is only told where size and CRC-32 are those of the table. A
  // negative number is a failure, with its text in error().
  [[nodiscard]] std::int64_t read(char* buffer, std::size_t size);
  [[nodiscard]] const std::string& error() const { return m_strError; }
  // Of the same failure what is wrong with the entry, without its name: "its checksum is wrong".
  [[nodiscard]] const std::string& cause() const { return m_strCause; }

  // BundleReader::readFront(), for many entries one after the other.
  [[nodiscard]] std::string readFront(std::size_t index, std::size_t limit, std::string& text);

 private:
  std::int64_t fail(const std::string& text);
  std::int64_t failOnContent(const std::string& text);
  void close();

  const BundleReader& m_rBundle;
  struct Stream;
  std::unique_ptr<Stream> m_pStream;
  std::string m_strError;
  std::string m_strCause;
  EntryReader::Form m_Form = Form::kContent;
  std::size_t m_nIndex = 0;
  std::uint64_t m_nDone = 0;
  bool m_bOpen = false;
};

}  // namespace halvo
