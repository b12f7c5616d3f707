#include "vpn/tools/TOLM/TOLMBundle/Compare.h"

#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <unordered_map>
#include <utility>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMBundle/LineReader.h"
#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

namespace halvo {

namespace {

using Json = nlohmann::ordered_json;

// How often a line comes, by its hash: 64 bits tell lines of one file well enough apart.
using LineCounts = std::unordered_map<std::size_t, std::int64_t>;

// Calls `visit` with each line and the hash of its normal form.
template <typename Visit>
std::string walkLines(const BundleContent& content, std::size_t entry, bool& binary, const Visit& visit) {
  EntryReader reader(content.reader());
  if (std::string error = reader.open(entry); !error.empty()) {
    return error;
  }
  LineReader lines(reader);
  std::string_view line;
  std::string normal;
  while (lines.next(line)) {
    if (lines.sawZero()) {
      binary = true;
      return "";
    }
    normalizeLine(line, normal);
    visit(line, std::hash<std::string>()(normal));
  }
  return reader.error();
}

void keep(LineChange& change, std::string_view line, std::size_t limit) {
  ++change.count;
  if (change.lines.size() < limit) {
    change.lines.emplace_back(line);
  }
}

void compareLines(const BundleContent& before, std::size_t oldEntry, const BundleContent& after,
                  std::size_t newEntry, std::size_t limit, FileChange& change) {
  LineCounts counts;
  bool anyLeft = false;
  change.fault =
      walkLines(before, oldEntry, change.binary, [&](std::string_view, std::size_t hash) { ++counts[hash]; });
  if (!change.fault.empty() || change.binary) {
    return;
  }
  change.fault = walkLines(after, newEntry, change.binary, [&](std::string_view line, std::size_t hash) {
    const auto found = counts.find(hash);
    if (found != counts.end() && found->second > 0) {
      --found->second;
    } else {
      keep(change.added, line, limit);
    }
  });
  if (!change.fault.empty() || change.binary) {
    return;
  }
  for (const auto& [hash, count] : counts) {
    anyLeft = anyLeft || count > 0;
  }
  // Read once more for the words of what is left: the counts know hashes alone.
  if (anyLeft) {
    change.fault = walkLines(before, oldEntry, change.binary, [&](std::string_view line, std::size_t hash) {
      const auto found = counts.find(hash);
      if (found != counts.end() && found->second > 0) {
        --found->second;
        keep(change.gone, line, limit);
      }
    });
  }
}

// The entries of a bundle that can't be opened, by name: find() gives none of them.
class UnreadEntries {
 public:
  explicit UnreadEntries(const BundleContent& content) : m_nNone(content.reader().entries().size()) {
    std::set<std::size_t> seen;
    for (const BundledFile& file : content.files()) {
      if (!content.entry(file).fault.empty() && seen.insert(file.entry).second) {
        m_Entries.emplace(content.entry(file).name, file.entry);
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

}  // namespace

Comparison compareBundles(const BundleContent& before, const BundleContent& after, std::size_t lines) {
  Comparison comparison;
  addChange(comparison.machine, "System", before.summary().os, after.summary().os);
  addChange(comparison.machine, "User", before.summary().user, after.summary().user);
  addChange(comparison.machine, "Documents", titlesOf(before.summary()), titlesOf(after.summary()));
  comparison.missingOld = missingOnlyIn(before, after);
  comparison.missingNew = missingOnlyIn(after, before);

  UnreadEntries unread(before);
  std::set<std::size_t> seenOld;
  std::set<std::size_t> seenNew;
  for (const BundledFile& file : after.files()) {
    if (!seenNew.insert(file.entry).second) {
      continue;
    }
    const BundleEntryInfo& added = after.entry(file);
    const std::size_t none = before.reader().entries().size();
    // Like with like, where both are there.
    const bool readable = added.fault.empty();
    std::size_t oldEntry = readable ? before.reader().find(added.name) : unread.take(added.name);
    if (oldEntry == none) {
      oldEntry = readable ? unread.take(added.name) : before.reader().find(added.name);
    }
    if (oldEntry == none) {
      comparison.onlyNew.push_back(added.name);
      continue;
    }
    seenOld.insert(oldEntry);
    const BundleEntryInfo& old = before.reader().entries()[oldEntry];
    FileChange change;
    // Where both agree, the bytes do: most files of two bundles need no reading.
    if (old.size != added.size || old.crc != added.crc) {
      change.name = added.name;
      change.oldSize = old.size;
      change.newSize = added.size;
      compareLines(before, oldEntry, after, file.entry, lines, change);
    }
    if (change.binary || !change.fault.empty() || change.gone.count + change.added.count > 0) {
      comparison.changed.push_back(std::move(change));
    } else {
      ++comparison.same;
    }
  }
  for (const BundledFile& file : before.files()) {
    if (seenOld.insert(file.entry).second) {
      comparison.onlyOld.push_back(before.entry(file).name);
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
  return jsonWithoutControls(json.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace halvo
