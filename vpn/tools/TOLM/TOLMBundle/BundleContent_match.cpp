// The rows of the summary and the entries that they tell of.

#include <algorithm>
#include <cstdint>
#include <set>
#include <string_view>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"

namespace halvo {

namespace {

constexpr std::size_t kUnmatched = SIZE_MAX;

// More items than a line can name share no file but in a summary that somebody made up.
constexpr std::size_t kMostSharedIds = 20;

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::string folderKey(const std::string& folder, const std::string& key) {
  return folder + '\0' + key;
}

}  // namespace

std::size_t BundleContent::take(Candidates& list) const {
  while (list.taken < list.entries.size() && m_FirstFile[list.entries[list.taken]] != kUnmatched) {
    ++list.taken;
  }
  // Two files of one name are one entry: the later one took the earlier one's place.
  return list.taken < list.entries.size() ? list.entries[list.taken] : list.entries.front();
}

// A title that is no folder's name leaves the files beside the summary, and so lie the user's comments.
std::size_t BundleContent::matchPlace(const std::string& title, const SummaryRow& row) {
  for (const std::string& folder : {title, std::string()}) {
    const auto found = m_ByFolderAndKey.find(folderKey(folder, row.nameKey));
    if (found != m_ByFolderAndKey.end()) {
      return take(found->second);
    }
  }
  return m_rReader.entries().size();
}

std::size_t BundleContent::matchName(const SummaryRow& row) {
  if (const auto found = m_ByKey.find(row.nameKey); found != m_ByKey.end()) {
    return take(found->second);
  }
  // Which of several is meant can't be told.
  if (const auto found = m_ByForeignKey.find(row.nameKey);
      found != m_ByForeignKey.end() && found->second.entries.size() == 1) {
    return take(found->second);
  }
  return m_rReader.entries().size();
}

// A folder of the machine lies in that of its document, or beside the summary. Documents' folders are none.
void BundleContent::findGatheredFolders() {
  constexpr std::size_t kDeepestTitle = 4;
  constexpr std::string_view kOfNoTitle = "Unknown_";
  std::set<std::string> titles;
  for (const SummarySection& section : m_Summary.sections) {
    titles.insert(section.title);
  }
  for (std::size_t i = 0; i < m_rReader.entries().size(); ++i) {
    if (i == m_nSummaryEntry || isFolder(i)) {
      continue;
    }
    const std::string place = placeOf(i);
    std::string title;
    std::size_t start = 0;
    for (std::size_t depth = 0; depth < kDeepestTitle; ++depth) {
      const std::size_t slash = place.find('/', start);
      if (slash == std::string::npos) {
        break;
      }
      const std::string folder = place.substr(0, slash);
      if (titles.contains(folder)) {
        title = folder;
      } else if (depth > 0 || !folder.starts_with(kOfNoTitle)) {
        const std::string key = wrappedKey(place.substr(start, slash - start), kSummaryNameWidth);
        m_ByGatheredFolder[folderKey(title, key)].entries.push_back(i);
        break;
      }
      start = slash + 1;
    }
  }
}

// A folder that was gathered has one row for all that it holds. False where the bundle has nothing of it.
bool BundleContent::addGatheredFolder(const std::string& title, const SummaryRow& row) {
  if (!m_bFoundFolders) {
    findGatheredFolders();
    m_bFoundFolders = true;
  }
  auto found = m_ByGatheredFolder.find(folderKey(title, row.nameKey));
  if (found == m_ByGatheredFolder.end()) {
    found = m_ByGatheredFolder.find(folderKey("", row.nameKey));
  }
  if (found == m_ByGatheredFolder.end()) {
    return false;
  }
  const std::vector<std::size_t>& entries = found->second.entries;
  const auto readable = std::find_if(entries.begin(), entries.end(), [this](std::size_t entry) {
    return m_rReader.entries()[entry].fault.empty();
  });
  if (readable == entries.end()) {
    m_UnreadKeys.insert(row.nameKey);
    return false;
  }
  const auto add = [&](std::size_t entry) {
    addFile({row.id, row.description, title, lastComponent(nameOf(entry)), "", entry});
  };
  // Items may share a folder. A summary that somebody made up may say so of many.
  m_nFilesAgain += found->second.taken++ == 0 ? 0 : entries.size();
  if (m_nFilesAgain > m_rReader.entries().size()) {
    add(*readable);
  } else {
    std::for_each(entries.begin(), entries.end(), add);
  }
  return true;
}

void BundleContent::matchSection(const SummarySection& section) {
  for (const SummaryRow& row : section.included) {
    std::size_t entry = matchPlace(section.title, row);
    if (entry == m_rReader.entries().size()) {
      if (addGatheredFolder(section.title, row)) {
        continue;
      }
      entry = matchName(row);
    }
    if (entry == m_rReader.entries().size()) {
      m_Missing.push_back(
          {row.id, row.name, row.description, section.title,
           m_UnreadKeys.contains(wrappedKey(row.name, kSummaryNameWidth))
               ? "the summary lists it, and its file in the bundle can't be read"
               : "the summary lists it, and the bundle doesn't hold it, unless it was an empty folder",
           true});
      continue;
    }
    addFile({row.id, row.description, section.title, lastComponent(nameOf(entry)), row.last, entry});
  }
}

void BundleContent::addFile(BundledFile file) {
  std::size_t& first = m_FirstFile[file.entry];
  if (first == kUnmatched) {
    first = m_Files.size();
    ++m_nFirstFiles;
  } else {
    std::vector<std::string>& ids = m_SharedIds[file.entry];
    if (ids.empty()) {
      ids.push_back(m_Files[first].id);
    }
    if (ids.size() < kMostSharedIds && std::find(ids.begin(), ids.end(), file.id) == ids.end()) {
      ids.push_back(file.id);
    }
  }
  file.first = first;
  m_Files.push_back(std::move(file));
}

std::string BundleContent::idsOf(const BundledFile& file) const {
  const auto shared = m_SharedIds.find(file.entry);
  if (shared == m_SharedIds.end()) {
    return file.id;
  }
  std::string text;
  for (const std::string& id : shared->second) {
    text += (text.empty() ? "" : ", ") + id;
  }
  return text;
}

void BundleContent::addTheRest() {
  const std::vector<BundleEntryInfo>& entries = m_rReader.entries();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (m_FirstFile[i] == kUnmatched && i != m_nSummaryEntry && !isFolder(i)) {
      addFile({"", "", "", lastComponent(nameOf(i)), "", i});
    }
  }
}

void BundleContent::matchRows() {
  const std::vector<BundleEntryInfo>& entries = m_rReader.entries();
  m_FirstFile.resize(entries.size(), kUnmatched);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!entries[i].fault.empty()) {
      m_UnreadKeys.insert(wrappedKey(lastComponent(placeOf(i)), kSummaryNameWidth));
    } else if (i != m_nSummaryEntry && !isFolder(i)) {
      const std::string place = placeOf(i);
      const std::string key = wrappedKey(lastComponent(place), kSummaryNameWidth);
      m_ByKey[key].entries.push_back(i);
      m_ByFolderAndKey[folderKey(folderOf(place), key)].entries.push_back(i);
      // Somebody may have added a file with a folder to a bundle of that kind.
      if (place.find('\\') != std::string::npos) {
        const std::string slashed = withSlashes(place);
        const std::string foreignKey = wrappedKey(lastComponent(slashed), kSummaryNameWidth);
        m_ByForeignKey[foreignKey].entries.push_back(i);
        m_ByFolderAndKey[folderKey(folderOf(slashed), foreignKey)].entries.push_back(i);
      }
    }
  }
  for (const SummarySection& section : m_Summary.sections) {
    for (const SummaryRow& row : section.omitted) {
      m_Missing.push_back({row.id, row.name, row.description, section.title, row.last, false});
    }
  }
  for (const SummarySection& section : m_Summary.sections) {
    matchSection(section);
  }
  addTheRest();
  // All is matched, and of many entries they are most of what is held.
  m_ByKey.clear();
  m_ByForeignKey.clear();
  m_ByFolderAndKey.clear();
  m_ByGatheredFolder.clear();
  m_UnreadKeys.clear();
  m_FirstFile = {};
}

}  // namespace halvo
