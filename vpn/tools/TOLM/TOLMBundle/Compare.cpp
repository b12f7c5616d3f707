#include "vpn/tools/TOLM/TOLMBundle/Compare.h"

#include <algorithm>
#include <functional>
#include <future>
#include <iterator>
#include <map>
#include <set>
#include <unordered_map>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/LineReader.h"
#include "vpn/tools/TOLM/TOLMBundle/NormalLine.h"

namespace halvo {

namespace {

// How often a line comes, by its hash: 64 bits tell lines of one file well enough apart.
using LineCounts = std::unordered_map<std::size_t, std::int64_t>;

// A line of a file that is compared.
struct ComparedLine {
  std::string_view front;  // all of it, or more than is kept
  std::size_t hash = 0;    // of its normal form
};

// The hash of text that comes in parts, the same wherever they end.
class PartsHash {
 public:
  // Takes the text but for what is less than a block.
  void take(std::string& text) {
    constexpr std::size_t kBlock = 65536;
    std::size_t taken = 0;
    for (; text.size() - taken >= kBlock; taken += kBlock) {
      add(std::string_view(text).substr(taken, kBlock));
    }
    text.erase(0, taken);
  }
  // The hash with all of the text, and a new one begins.
  std::size_t end(std::string& text) {
    take(text);
    add(text);
    return std::exchange(m_nHash, 0);
  }

 private:
  void add(std::string_view block) {
    constexpr std::size_t kFactor = 31;
    m_nHash = m_nHash * kFactor + std::hash<std::string_view>()(block);
  }

  std::size_t m_nHash = 0;
};

// What is kept of a line.
constexpr std::size_t kLongestKept = 400;

// Calls `visit` with each line. Returns why the entry couldn't be read.
template <typename Visit>
std::string walkLines(const BundleContent& content, std::size_t entry, bool& binary, const Visit& visit) {
  EntryReader reader(content.reader());
  if (!reader.open(entry).empty()) {
    return reader.cause();
  }
  LineReader lines(reader);
  if (lines.kind() != TextKind::kText) {
    binary = true;
    return reader.cause();
  }
  LineNormalizer normalizer;
  PartsHash hash;
  std::string_view line;
  std::string front;
  std::string normal;
  // Parts of a long line meet in the middle of what both have.
  static_assert(LineReader::kOverlap == 2 * kAroundPart);
  std::size_t from = 0;
  while (lines.next(line)) {
    const std::size_t to = line.size() - (lines.isCut() ? kAroundPart : 0);
    const std::size_t end =
        lines.isContinued() ? appendNormal(line, from, to, normal) : normalizer.normalize(line, normal, to);
    if (lines.isCut()) {
      if (!lines.isContinued()) {
        front = line.substr(0, kLongestKept + 1);
      }
      hash.take(normal);
      from = end - (LineReader::kLongestLine - LineReader::kOverlap);
      continue;
    }
    visit(ComparedLine{lines.isContinued() ? front : line, hash.end(normal)});
  }
  return reader.cause();
}

void keep(LineChange& change, std::string_view line, std::size_t limit) {
  ++change.count;
  if (change.lines.size() >= limit) {
    return;
  }
  std::size_t length = line.size();
  if (length > kLongestKept) {
    length = kLongestKept;
    // Back to the start of a character: half of one would be no text.
    while (length > 0 && (static_cast<unsigned char>(line[length]) & 0xc0U) == 0x80) {
      --length;
    }
  }
  change.lines.emplace_back(line.substr(0, length));
  change.lines.back() += length < line.size() ? "..." : "";
}

// A file that couldn't be read, on one side.
void tell(const BundleContent& content, std::size_t entry, const std::string& side, const std::string& why,
          FileChange& change, std::vector<UnreadPart>& unread) {
  change.fault = "in " + side + " it can't be read: " + why;
  // What the table of contents tells is among the unread parts already.
  if (content.reader().entries()[entry].fault.empty()) {
    unread.push_back({content.placeOf(entry), why});
  }
}

// The two files of a place, and what is told of them.
struct FilePair {
  std::size_t oldEntry = 0;
  std::size_t newEntry = 0;
  FileChange change;
};

class Comparer {
 public:
  Comparer(const BundleContent& before, const BundleContent& after, std::size_t lines, Comparison& comparison)
      : m_rBefore(before), m_rAfter(after), m_nLines(lines), m_rComparison(comparison) {}

  void compareLines(FilePair& pair) {
    FileChange& change = pair.change;
    LineCounts counts;
    if (!walkOld(pair, [&](const ComparedLine& line) { ++counts[line.hash]; }) ||
        !walkNew(pair, [&](const ComparedLine& line) {
          const auto found = counts.find(line.hash);
          if (found != counts.end() && found->second > 0) {
            --found->second;
          } else {
            keep(change.added, line.front, m_nLines);
          }
        })) {
      return;
    }
    const bool anyLeft =
        std::any_of(counts.begin(), counts.end(), [](const auto& count) { return count.second > 0; });
    // Read once more for the words of what is left: the counts know hashes alone.
    if (anyLeft) {
      walkOld(pair, [&](const ComparedLine& line) {
        const auto found = counts.find(line.hash);
        if (found != counts.end() && found->second > 0) {
          --found->second;
          keep(change.gone, line.front, m_nLines);
        }
      });
    }
  }

  // Reads what the tables of contents call the same.
  void checkBytes(const std::vector<FilePair*>& pairs) {
    // One behind the other where there can't be another thread.
    std::future<std::vector<std::string>> old = std::async(std::launch::async | std::launch::deferred, [&] {
      return readFaults(m_rBefore, pairs, &FilePair::oldEntry);
    });
    const std::vector<std::string> newFaults = readFaults(m_rAfter, pairs, &FilePair::newEntry);
    const std::vector<std::string> oldFaults = old.get();
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      if (!newFaults[i].empty()) {
        tellNew(*pairs[i], newFaults[i]);
      }
      if (!oldFaults[i].empty()) {
        tellOld(*pairs[i], oldFaults[i]);
      }
    }
  }

 private:
  // False where there are no lines to compare.
  template <typename Visit>
  bool walkOld(FilePair& pair, const Visit& visit) {
    const std::string why = walkLines(m_rBefore, pair.oldEntry, pair.change.binary, visit);
    if (!why.empty()) {
      tellOld(pair, why);
    }
    return why.empty() && !pair.change.binary;
  }
  template <typename Visit>
  bool walkNew(FilePair& pair, const Visit& visit) {
    const std::string why = walkLines(m_rAfter, pair.newEntry, pair.change.binary, visit);
    if (!why.empty()) {
      tellNew(pair, why);
    }
    return why.empty() && !pair.change.binary;
  }

  void tellOld(FilePair& pair, const std::string& why) {
    tell(m_rBefore, pair.oldEntry, "OLD", why, pair.change, m_rComparison.unreadOld);
  }
  void tellNew(FilePair& pair, const std::string& why) {
    tell(m_rAfter, pair.newEntry, "NEW", why, pair.change, m_rComparison.unreadNew);
  }

  // Why each of the entries couldn't be read, empty where it could.
  static std::vector<std::string> readFaults(const BundleContent& content,
                                             const std::vector<FilePair*>& pairs,
                                             std::size_t FilePair::*entry) {
    std::vector<std::string> faults(pairs.size());
    EntryReader reader(content.reader());
    std::vector<char> block(65536);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      if (reader.open(pairs[i]->*entry).empty()) {
        while (reader.read(block.data(), block.size()) > 0) {
        }
      }
      faults[i] = reader.cause();
    }
    return faults;
  }

  const BundleContent& m_rBefore;
  const BundleContent& m_rAfter;
  std::size_t m_nLines;
  Comparison& m_rComparison;
};

// The entries of a bundle that can't be opened, by name: find() gives none of them.
class UnreadEntries {
 public:
  explicit UnreadEntries(const BundleContent& content) : m_nNone(content.reader().entries().size()) {
    std::set<std::size_t> seen;
    for (const BundledFile& file : content.files()) {
      if (!content.entry(file).fault.empty() && seen.insert(file.entry).second) {
        m_Entries.emplace(content.placeOf(file), file.entry);
      }
    }
  }
  // One of that name that hasn't been taken; the number of all entries where there is none.
  std::size_t take(const std::string& name) {
    const auto found = m_Entries.find(name);
    if (found == m_Entries.end()) {
      return m_nNone;
    }
    const std::size_t entry = found->second;
    m_Entries.erase(found);
    return entry;
  }

 private:
  std::size_t m_nNone;
  std::multimap<std::string, std::size_t> m_Entries;
};

using MissingKey = std::pair<std::string, std::string>;
using MissingFiles = std::vector<const MissingFile*>;

// Without the path of the bundle, which is another one each time.
std::string plainReason(const BundleContent& content, const MissingFile& missing) {
  const std::string& path = content.summary().bundlePath;
  std::string reason = missing.reason;
  for (std::size_t at = 0; !path.empty() && (at = reason.find(path, at)) != std::string::npos;) {
    reason.replace(at, path.size(), "<bundle>");
  }
  return reason;
}

// What both lack for the same reason, as often as both do, is taken out of both.
void dropSame(const BundleContent& before, const BundleContent& after, MissingFiles& old, MissingFiles& now) {
  std::multiset<std::string> known;
  for (const MissingFile* const missing : old) {
    known.insert(plainReason(before, *missing));
  }
  std::multiset<std::string> both;
  std::erase_if(now, [&](const MissingFile* missing) {
    const auto found = known.find(plainReason(after, *missing));
    if (found == known.end()) {
      return false;
    }
    both.insert(*found);
    known.erase(found);
    return true;
  });
  std::erase_if(old, [&](const MissingFile* missing) {
    const auto found = both.find(plainReason(before, *missing));
    return found != both.end() && (both.erase(found), true);
  });
}

// Several files of an item may be missing under one name: patterns that found nothing have none.
void compareMissing(const BundleContent& before, const BundleContent& after, Comparison& comparison) {
  std::map<MissingKey, std::pair<MissingFiles, MissingFiles>> byName;
  for (const MissingFile& missing : before.missing()) {
    byName[{missing.id, missing.name}].first.push_back(&missing);
  }
  for (const MissingFile& missing : after.missing()) {
    byName[{missing.id, missing.name}].second.push_back(&missing);
  }
  for (auto& [key, files] : byName) {
    auto& [old, now] = files;
    dropSame(before, after, old, now);
    // Without a name two reasons may be of two files.
    const std::size_t both = key.second == "N/A" ? 0 : std::min(old.size(), now.size());
    for (std::size_t i = 0; i < both; ++i) {
      comparison.reasons.push_back({key.first, key.second, old[i]->reason, now[i]->reason});
    }
    for (std::size_t i = both; i < old.size(); ++i) {
      comparison.missingOld.push_back(*old[i]);
    }
    for (std::size_t i = both; i < now.size(); ++i) {
      comparison.missingNew.push_back(*now[i]);
    }
  }
}

// Whether all that a summary tells is known: of a part nobody knows what the rest tells, and one that
// somebody emptied has no fault.
bool hasWholeSummary(const BundleContent& content) {
  return content.fault().empty() && !content.summary().sections.empty();
}

// The items of which the summary tells anything.
std::set<std::string> itemsOf(const BundleContent& content) {
  std::set<std::string> items;
  for (const SummarySection& section : content.summary().sections) {
    for (const auto* const rows : {&section.included, &section.omitted}) {
      for (const SummaryRow& row : *rows) {
        items.insert(row.id);
      }
    }
    items.insert(section.notDefault.begin(), section.notDefault.end());
  }
  return items;
}

void compareItems(const BundleContent& before, const BundleContent& after, Comparison& comparison) {
  const std::set<std::string> old = itemsOf(before);
  const std::set<std::string> now = itemsOf(after);
  std::set_difference(old.begin(), old.end(), now.begin(), now.end(),
                      std::back_inserter(comparison.itemsOld));
  std::set_difference(now.begin(), now.end(), old.begin(), old.end(),
                      std::back_inserter(comparison.itemsNew));
}

// The files that both bundles have, in the order of the new one; the others are told in the comparison.
std::vector<FilePair> pairFiles(const BundleContent& before, const BundleContent& after,
                                Comparison& comparison) {
  std::vector<FilePair> pairs;
  UnreadEntries unread(before);
  std::set<std::size_t> seenOld;
  std::set<std::size_t> seenNew;
  std::map<std::size_t, std::string> oldIds;
  for (const BundledFile& file : before.files()) {
    oldIds.emplace(file.entry, before.idsOf(file));
  }
  const std::size_t none = before.reader().entries().size();
  for (const BundledFile& file : after.files()) {
    if (!seenNew.insert(file.entry).second) {
      continue;
    }
    const std::string place = after.placeOf(file);
    // Like with like, where both are there.
    const bool readable = after.entry(file).fault.empty();
    std::size_t oldEntry = readable ? before.findPlace(place) : unread.take(place);
    if (oldEntry == none) {
      oldEntry = readable ? unread.take(place) : before.findPlace(place);
    }
    if (oldEntry == none) {
      comparison.onlyNew.push_back({place, after.idsOf(file)});
      continue;
    }
    seenOld.insert(oldEntry);
    const std::string& oldId = oldIds[oldEntry];
    const std::string newId = after.idsOf(file);
    if (oldId != newId && !oldId.empty() && !newId.empty()) {
      comparison.otherItem.push_back({place, oldId, newId});
    }
    pairs.push_back({oldEntry, file.entry, {}});
  }
  for (const BundledFile& file : before.files()) {
    if (seenOld.insert(file.entry).second) {
      comparison.onlyOld.push_back({before.placeOf(file), before.idsOf(file)});
    }
  }
  return pairs;
}

void addChange(std::vector<ValueChange>& changes, const std::string& what, const std::string& oldValue,
               const std::string& newValue) {
  if (oldValue != newValue) {
    changes.push_back({what, oldValue, newValue});
  }
}

std::string titlesOf(const Summary& summary) {
  std::string titles;
  for (const SummarySection& section : summary.sections) {
    titles += (titles.empty() ? "" : "; ") + section.title;
  }
  return titles;
}

}  // namespace

Comparison compareBundles(const BundleContent& before, const BundleContent& after, std::size_t lines) {
  Comparison comparison;
  if (hasWholeSummary(before) && hasWholeSummary(after)) {
    addChange(comparison.machine, "System", before.summary().os, after.summary().os);
    addChange(comparison.machine, "User", before.summary().user, after.summary().user);
    addChange(comparison.machine, "Documents", titlesOf(before.summary()), titlesOf(after.summary()));
    compareItems(before, after, comparison);
    compareMissing(before, after, comparison);
  }

  comparison.unreadOld = before.unread();
  comparison.unreadNew = after.unread();
  std::vector<FilePair> pairs = pairFiles(before, after, comparison);
  Comparer comparer(before, after, lines, comparison);
  std::vector<FilePair*> equal;
  for (FilePair& pair : pairs) {
    const BundleEntryInfo& old = before.reader().entries()[pair.oldEntry];
    const BundleEntryInfo& added = after.reader().entries()[pair.newEntry];
    pair.change.name = after.placeOf(pair.newEntry);
    pair.change.oldSize = old.size;
    pair.change.newSize = added.size;
    if (old.size != added.size || old.crc != added.crc) {
      comparer.compareLines(pair);
    } else if (old.fault.empty() && added.fault.empty()) {
      equal.push_back(&pair);
    } else {
      ++comparison.notCompared;
    }
  }
  comparer.checkBytes(equal);
  for (FilePair& pair : pairs) {
    const FileChange& change = pair.change;
    if (change.binary || !change.fault.empty() || change.gone.count + change.added.count > 0) {
      comparison.changed.push_back(std::move(pair.change));
    }
  }
  comparison.same = pairs.size() - comparison.changed.size() - comparison.notCompared;
  return comparison;
}

}  // namespace halvo
