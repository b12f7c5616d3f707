#include "vpn/tools/TOLM/TOLMBundle/Compare.h"

#include <algorithm>
#include <functional>
#include <future>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <unordered_map>
#include <utility>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMBundle/LineReader.h"
#include "vpn/tools/TOLM/TOLMBundle/NormalLine.h"

namespace halvo {

namespace {

using Json = nlohmann::ordered_json;

// How often a line comes, by its hash: 64 bits tell lines of one file well enough apart.
using LineCounts = std::unordered_map<std::size_t, std::int64_t>;

// Calls `visit` with each line and the hash of its normal form. Returns why the entry couldn't be read.
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
  std::string_view line;
  std::string normal;
  while (lines.next(line)) {
    normalizer.normalize(line, normal);
    visit(line, std::hash<std::string>()(normal));
  }
  return reader.cause();
}

void keep(LineChange& change, std::string_view line, std::size_t limit) {
  ++change.count;
  if (change.lines.size() < limit) {
    change.lines.emplace_back(line);
  }
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
    if (!walkOld(pair, [&](std::string_view, std::size_t hash) { ++counts[hash]; }) ||
        !walkNew(pair, [&](std::string_view line, std::size_t hash) {
          const auto found = counts.find(hash);
          if (found != counts.end() && found->second > 0) {
            --found->second;
          } else {
            keep(change.added, line, m_nLines);
          }
        })) {
      return;
    }
    const bool anyLeft =
        std::any_of(counts.begin(), counts.end(), [](const auto& count) { return count.second > 0; });
    // Read once more for the words of what is left: the counts know hashes alone.
    if (anyLeft) {
      walkOld(pair, [&](std::string_view line, std::size_t hash) {
        const auto found = counts.find(hash);
        if (found != counts.end() && found->second > 0) {
          --found->second;
          keep(change.gone, line, m_nLines);
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

  // Why each of the entries couldn't be read, empty where it could. What the table of contents tells of an
  // entry isn't told again.
  static std::vector<std::string> readFaults(const BundleContent& content,
                                             const std::vector<FilePair*>& pairs,
                                             std::size_t FilePair::*entry) {
    std::vector<std::string> faults(pairs.size());
    EntryReader reader(content.reader());
    std::vector<char> block(65536);
    for (std::size_t i = 0; i < pairs.size(); ++i) {
      if (!content.reader().entries()[pairs[i]->*entry].fault.empty()) {
        continue;
      }
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

std::vector<MissingFile> missingOnlyIn(const BundleContent& one, const BundleContent& other) {
  std::set<MissingKey> known;
  for (const MissingFile& missing : other.missing()) {
    known.insert({missing.id, missing.name});
  }
  std::vector<MissingFile> only;
  for (const MissingFile& missing : one.missing()) {
    if (known.count({missing.id, missing.name}) == 0) {
      only.push_back(missing);
    }
  }
  return only;
}

// The files that both bundles have, in the order of the new one; the others are told in the comparison.
std::vector<FilePair> pairFiles(const BundleContent& before, const BundleContent& after,
                                Comparison& comparison) {
  std::vector<FilePair> pairs;
  UnreadEntries unread(before);
  std::set<std::size_t> seenOld;
  std::set<std::size_t> seenNew;
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
      comparison.onlyNew.push_back(place);
      continue;
    }
    seenOld.insert(oldEntry);
    pairs.push_back({oldEntry, file.entry, {}});
  }
  for (const BundledFile& file : before.files()) {
    if (seenOld.insert(file.entry).second) {
      comparison.onlyOld.push_back(before.placeOf(file));
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

void addNames(std::string& text, const std::string& heading, const std::vector<std::string>& names) {
  if (names.empty()) {
    return;
  }
  text += "\n" + heading + " (" + std::to_string(names.size()) + ")\n";
  for (const std::string& name : names) {
    text += "  " + withoutControls(name) + "\n";
  }
}

void addMissing(std::string& text, const std::string& heading, const std::vector<MissingFile>& files) {
  std::vector<std::string> lines;
  lines.reserve(files.size());
  for (const MissingFile& file : files) {
    lines.push_back(file.id + "  " + file.name + ": " + file.reason);
  }
  addNames(text, heading, lines);
}

void addLines(std::string& text, char mark, const LineChange& change) {
  for (const std::string& line : change.lines) {
    text += std::string("    ") + mark + " " + withoutControls(line) + "\n";
  }
  if (change.count > change.lines.size()) {
    text += std::string("    ") + mark + " ... and " + std::to_string(change.count - change.lines.size()) +
            " more\n";
  }
}

Json missingJson(const std::vector<MissingFile>& files) {
  Json json = Json::array();
  for (const MissingFile& file : files) {
    json.push_back({{"id", file.id}, {"name", file.name}, {"reason", file.reason}});
  }
  return json;
}

Json unreadJson(const std::vector<UnreadPart>& parts) {
  Json json = Json::array();
  for (const UnreadPart& part : parts) {
    json.push_back({{"file", part.file}, {"why", part.why}});
  }
  return json;
}

}  // namespace

Comparison compareBundles(const BundleContent& before, const BundleContent& after, std::size_t lines) {
  Comparison comparison;
  addChange(comparison.machine, "System", before.summary().os, after.summary().os);
  addChange(comparison.machine, "User", before.summary().user, after.summary().user);
  addChange(comparison.machine, "Documents", titlesOf(before.summary()), titlesOf(after.summary()));
  comparison.missingOld = missingOnlyIn(before, after);
  comparison.missingNew = missingOnlyIn(after, before);

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
    if (old.size == added.size && old.crc == added.crc) {
      equal.push_back(&pair);
    } else {
      comparer.compareLines(pair);
    }
  }
  comparer.checkBytes(equal);
  for (FilePair& pair : pairs) {
    const FileChange& change = pair.change;
    if (change.binary || !change.fault.empty() || change.gone.count + change.added.count > 0) {
      comparison.changed.push_back(std::move(pair.change));
    } else {
      ++comparison.same;
    }
  }
  return comparison;
}

std::string comparisonText(const Comparison& comparison) {
  std::string text;
  for (const ValueChange& change : comparison.machine) {
    text += withoutControls(change.what + ": " + change.oldValue + " -> " + change.newValue) + "\n";
  }
  addMissing(text, "Missing in OLD alone", comparison.missingOld);
  addMissing(text, "Missing in NEW alone", comparison.missingNew);
  addNames(text, "Only in OLD", comparison.onlyOld);
  addNames(text, "Only in NEW", comparison.onlyNew);
  if (!comparison.changed.empty()) {
    text += "\nDifferent (" + std::to_string(comparison.changed.size()) + ")\n";
  }
  for (const FileChange& change : comparison.changed) {
    text += "  " + withoutControls(change.name) + ": ";
    if (!change.fault.empty()) {
      text += withoutControls(change.fault) + "\n";
    } else if (change.binary) {
      text += "no text, " + bytesText(change.oldSize) + " -> " + bytesText(change.newSize) + "\n";
    } else {
      text += std::to_string(change.gone.count) + " lines gone, " + std::to_string(change.added.count) +
              " lines new\n";
      addLines(text, '-', change.gone);
      addLines(text, '+', change.added);
    }
  }
  text += "\nThe same: " + std::to_string(comparison.same) + " files, times and process ids set aside.\n";
  return text.front() == '\n' ? text.substr(1) : text;
}

std::string comparisonJson(const Comparison& comparison) {
  Json json;
  json["machine"] = Json::array();
  for (const ValueChange& change : comparison.machine) {
    json["machine"].push_back({{"what", change.what}, {"old", change.oldValue}, {"new", change.newValue}});
  }
  json["missing_old"] = missingJson(comparison.missingOld);
  json["missing_new"] = missingJson(comparison.missingNew);
  json["only_old"] = comparison.onlyOld;
  json["only_new"] = comparison.onlyNew;
  json["changed"] = Json::array();
  for (const FileChange& change : comparison.changed) {
    json["changed"].push_back({{"file", change.name},
                               {"binary", change.binary},
                               {"old_size", change.oldSize},
                               {"new_size", change.newSize},
                               {"lines_gone", change.gone.count},
                               {"lines_new", change.added.count},
                               {"gone", change.gone.lines},
                               {"new", change.added.lines},
                               {"fault", change.fault}});
  }
  json["same"] = comparison.same;
  json["unread_old"] = unreadJson(comparison.unreadOld);
  json["unread_new"] = unreadJson(comparison.unreadNew);
  return jsonWithoutControls(json.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace halvo
