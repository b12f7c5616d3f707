// BundleContent: a bundle's entries and its summary put side by side. What the summary says of a file is tied
// to the entry that holds it; what it only claims, and entries that it doesn't know, are told apart.
//
// Borrows the reader, which is open and must outlive it. Not changed after load().

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleReader.h"
#include "vpn/tools/TOLM/TOLMBundle/Summary.h"

namespace halvo {

// Of what the commands that read bundles print as JSON: raised when a reader of the old form could misread
// the new one.
inline constexpr int kBundleJsonFormat = 1;

// A file of the bundle, or one that should be there.
struct BundledFile {
  std::string id;  // of its item; empty where the summary doesn't know the file
  std::string description;
  std::string document;    // the title of the document that gathered it
  std::string name;        // without the folder
  std::string statedSize;  // empty for a file of a gathered folder, of which the summary has one row for all
  std::size_t entry = 0;   // of the reader
  // The index of the first file that has this entry: its own, or that of the row of the summary that named
  // the entry before. Items may share a file, and one item may name it twice.
  std::size_t first = 0;
};

// What of a bundle couldn't be looked at.
struct UnreadPart {
  std::string file;  // as BundleContent::placeOf(); empty for the table of contents and the summary
  std::string why;
};

struct MissingFile {
  std::string id;
  std::string name;
  std::string description;
  std::string document;
  std::string reason;
  bool listed = false;  // the summary lists it as included, and the bundle hasn't it
};

class BundleContent {
 public:
  explicit BundleContent(const BundleReader& reader) : m_rReader(reader) {}

  // Reads the summary. A bundle without one is no failure: fault() tells it then, and files() holds the
  // entries all the same.
  void load();

  [[nodiscard]] const BundleReader& reader() const { return m_rReader; }
  [[nodiscard]] const Summary& summary() const { return m_Summary; }
  // In the order of the summary, then the rest in the order of the bundle.
  [[nodiscard]] const std::vector<BundledFile>& files() const { return m_Files; }
  // What was omitted, then what the summary lists and the bundle hasn't.
  [[nodiscard]] const std::vector<MissingFile>& missing() const { return m_Missing; }
  [[nodiscard]] const std::string& fault() const { return m_strFault; }
  // The damage of the table of contents, the fault of the summary, and the entries that can't be opened.
  [[nodiscard]] std::vector<UnreadPart> unread() const;
  // The name of an entry, without the folder that the whole bundle lies in where it was packed again from
  // one, and with slashes where its packer has parted folders by backslashes.
  [[nodiscard]] std::string placeOf(std::size_t entry) const;
  [[nodiscard]] std::string placeOf(const BundledFile& file) const { return placeOf(file.entry); }
  // The entry of that place that can be opened; the number of all entries where there is none.
  [[nodiscard]] std::size_t findPlace(const std::string& place) const;
  // When the bundle was made, in seconds since 1970-01-01 of the machine's own clock and zone: what the
  // summary tells, or else the newest time of an entry. None where neither has one.
  [[nodiscard]] std::optional<std::int64_t> madeAt() const;
  // The sum of the entries' sizes; what the table of contents says.
  [[nodiscard]] std::uint64_t wholeSize() const { return m_nWholeSize; }
  [[nodiscard]] const BundleEntryInfo& entry(const BundledFile& file) const {
    return m_rReader.entries()[file.entry];
  }

  // Whether the file has its entry alone, or is the first of those that share it: what is told or counted of
  // entries is told of these.
  [[nodiscard]] bool isFirst(std::size_t file) const { return m_Files[file].first == file; }
  // How many of files() are.
  [[nodiscard]] std::size_t firstFiles() const { return m_nFirstFiles; }
  // Whether several rows of the summary name the entry.
  [[nodiscard]] bool isShared(std::size_t entry) const { return m_SharedIds.contains(entry); }
  // The ids of all items that have the file's entry, the first of them, with commas; empty where the summary
  // doesn't know it.
  [[nodiscard]] std::string idsOf(const BundledFile& file) const;

  // The files of an item, as indices into files().
  [[nodiscard]] std::vector<std::size_t> filesOfItem(const std::string& id) const;
  // The file whose entry has that name or place, or that last component where no other has it;
  // files().size() where there is none.
  [[nodiscard]] std::size_t findFile(const std::string& name) const;

 private:
  // Entries that a name may stand for, and how many at the front are taken.
  struct Candidates {
    std::vector<std::size_t> entries;
    std::size_t taken = 0;
  };

  [[nodiscard]] std::string nameOf(std::size_t entry) const;  // with slashes
  [[nodiscard]] bool isFolder(std::size_t entry) const;
  [[nodiscard]] bool hasFilesBesideSummaryAlone() const;
  void findSummary();
  void findSummaryBelow(const std::string& root);
  void findOnlySummary();
  void readSummaryEntry();
  void matchSection(const SummarySection& section);
  void matchRows();
  [[nodiscard]] std::size_t take(Candidates& list) const;
  std::size_t matchPlace(const std::string& title, const SummaryRow& row);
  std::size_t matchName(const SummaryRow& row);
  void findGatheredFolders();
  bool addGatheredFolder(const std::string& title, const SummaryRow& row);
  void addFile(BundledFile file);
  void addTheRest();

  const BundleReader& m_rReader;
  Summary m_Summary;
  std::vector<BundledFile> m_Files;
  std::vector<MissingFile> m_Missing;
  std::string m_strFault;
  std::string m_strRoot;        // the folder that the whole bundle lies in, with its "/"; mostly empty
  bool m_bBackslashes = false;  // part the folders of the entries' names
  std::uint64_t m_nWholeSize = 0;
  std::size_t m_nSummaryEntry = 0;
  std::size_t m_nFirstFiles = 0;
  // The first file of each entry, while they are matched; kUnmatched where it has none.
  std::vector<std::size_t> m_FirstFile;
  // Of the entries that several rows name: the first ids.
  std::map<std::size_t, std::vector<std::string>> m_SharedIds;
  // Entries by the form of their name in the summary, without and with their folder.
  std::map<std::string, Candidates> m_ByKey;
  std::map<std::string, Candidates> m_ByFolderAndKey;
  // Those in folders that were gathered, by the document's folder and the form of the gathered one's name.
  // Made where a row has no file of its name.
  std::map<std::string, Candidates> m_ByGatheredFolder;
  bool m_bFoundFolders = false;
  std::size_t m_nFilesAgain = 0;  // of such folders, for rows behind the first
  // The same form of those that can't be read.
  std::set<std::string> m_UnreadKeys;
  // Those whose places have backslashes, by what stands behind the last.
  std::map<std::string, Candidates> m_ByForeignKey;
};

// The folder in which all entries lie, with its "/", where a bundle was unpacked and packed again as a
// folder; empty where there is none. What can't be opened doesn't count, nor what packers and redaction put
// beside it.
std::string commonFolder(const std::vector<BundleEntryInfo>& entries, char separator = '/');

// With slashes for backslashes.
std::string withSlashes(std::string name);

// The part of a path behind its last "/".
std::string lastComponent(const std::string& path);

// Bytes for people: "512 bytes", "1.50K", as the summary writes them.
std::string bytesText(std::uint64_t bytes);

}  // namespace halvo
