#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <locale>
#include <set>
#include <sstream>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

namespace halvo {

namespace {

// A summary has some hundred bytes a file, and its text is held several times over while it is read: a small
// bundle with a huge one is made up.
std::size_t longestSummary(std::size_t entries) {
  constexpr std::size_t kOfAnyBundle = std::size_t{1} << 24U;
  constexpr std::size_t kOfTheLargest = std::size_t{1} << 26U;
  constexpr std::size_t kOfAnEntry = 1024;
  return std::clamp(entries * kOfAnEntry, kOfAnyBundle, kOfTheLargest);
}

// Packers of another system part folders by backslashes. Where any file's name has a slash they are bytes of
// names like others.
bool isPartedByBackslashes(const std::vector<BundleEntryInfo>& entries) {
  bool any = false;
  for (const BundleEntryInfo& entry : entries) {
    if (!entry.fault.empty() || entry.isFolder()) {
      continue;
    }
    if (entry.name.find('/') != std::string::npos) {
      return false;
    }
    any = any || entry.name.find('\\') != std::string::npos;
  }
  return any;
}

// What packers of other systems put beside the folder that they pack.
bool isPackersOwn(const std::string& name) {
  return name.compare(0, 9, "__MACOSX/") == 0;
}

}  // namespace

std::string commonFolder(const std::vector<BundleEntryInfo>& entries, char separator) {
  std::string common;
  bool isFirst = true;
  for (const BundleEntryInfo& entry : entries) {
    // Nor the folders' own entries, of which a packer makes one for each that it goes through.
    if (!entry.fault.empty() || entry.name == kRedactionEntry || isPackersOwn(entry.name) ||
        entry.isFolder()) {
      continue;
    }
    const std::string folder = entry.name.substr(0, entry.name.rfind(separator) + 1);
    if (isFirst) {
      common = folder;
      isFirst = false;
      continue;
    }
    common.erase(std::mismatch(common.begin(), common.end(), folder.begin(), folder.end()).first,
                 common.end());
    common.erase(common.rfind(separator) + 1);
  }
  return common;
}

std::string withSlashes(std::string name) {
  std::replace(name.begin(), name.end(), '\\', '/');
  return name;
}

std::string lastComponent(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string bytesText(std::uint64_t bytes) {
  constexpr std::array<char, 6> kUnits = {'K', 'M', 'G', 'T', 'P', 'E'};
  if (bytes < 1024) {
    return std::to_string(bytes) + " bytes";
  }
  double value = static_cast<double>(bytes) / 1024;
  std::size_t unit = 0;
  while (value >= 1024 && unit + 1 < kUnits.size()) {
    value /= 1024;
    ++unit;
  }
  // The summary's own way: through 32 bits, and in no locale.
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << std::fixed << std::setprecision(2) << static_cast<float>(value) << kUnits[unit];
  return text.str();
}

// A request may name the summary otherwise; it lies above the documents' folders in any case.
void BundleContent::findSummaryBelow(const std::string& root) {
  const std::vector<BundleEntryInfo>& entries = m_rReader.entries();
  constexpr std::size_t kFront = 64;
  constexpr std::size_t kLooks = 1000;
  std::size_t looks = 0;
  for (std::size_t i = 0; m_nSummaryEntry == entries.size() && i < entries.size() && looks < kLooks; ++i) {
    std::string front;
    const std::string name = nameOf(i);
    if (entries[i].fault.empty() && name.starts_with(root) &&
        name.find('/', root.size()) == std::string::npos) {
      ++looks;
      if (m_rReader.readFront(i, kFront, front).empty() && isSummary(front)) {
        m_nSummaryEntry = i;
      }
    }
  }
}

void BundleContent::findSummary() {
  m_nSummaryEntry = m_rReader.find("summary.txt");
  findSummaryBelow("");
  if (m_nSummaryEntry < m_rReader.entries().size()) {
    return;
  }
  // Somebody may have unpacked the bundle, and packed the folder that it went to.
  if (const std::string folder = withSlashes(commonFolder(m_rReader.entries(), m_bBackslashes ? '\\' : '/'));
      !folder.empty()) {
    findSummaryBelow(folder);
    m_strRoot = m_nSummaryEntry < m_rReader.entries().size() ? folder : "";
  }
  if (m_nSummaryEntry == m_rReader.entries().size()) {
    findOnlySummary();
  }
}

// Or with another file beside the folder: where one folder at the top has a summary it is that of all.
void BundleContent::findOnlySummary() {
  constexpr std::string_view kName = "/summary.txt";
  constexpr std::size_t kFront = 64;
  constexpr std::size_t kLooks = 1000;
  const std::vector<BundleEntryInfo>& entries = m_rReader.entries();
  std::size_t found = entries.size();
  std::size_t looks = 0;
  for (std::size_t i = 0; i < entries.size() && looks < kLooks; ++i) {
    const std::string name = nameOf(i);
    std::string front;
    if (!entries[i].fault.empty() || !name.ends_with(kName) || name.find('/') + kName.size() != name.size()) {
      continue;
    }
    ++looks;
    if (m_rReader.readFront(i, kFront, front).empty() && isSummary(front)) {
      if (found < entries.size()) {
        return;
      }
      found = i;
    }
  }
  if (found < entries.size()) {
    m_nSummaryEntry = found;
    m_strRoot = nameOf(found).substr(0, nameOf(found).find('/') + 1);
  }
}

void BundleContent::readSummaryEntry() {
  findSummary();
  if (m_nSummaryEntry == m_rReader.entries().size()) {
    m_strFault = "the bundle has no summary that can be read";
    return;
  }
  std::string text;
  const std::size_t limit = longestSummary(m_rReader.entries().size());
  m_strFault = m_rReader.readFront(m_nSummaryEntry, limit, text);
  m_Summary = readSummary(text);
  if (m_strFault.empty() && m_rReader.entries()[m_nSummaryEntry].size > limit) {
    m_strFault = "the summary has more than " + std::to_string(limit >> 20U) + " MiB; the rest isn't read";
  }
  if (m_strFault.empty()) {
    m_strFault = m_Summary.fault;
  }
}

// Titles that are no folders' names leave all files beside the summary, and a file's own name may have
// backslashes.
bool BundleContent::hasFilesBesideSummaryAlone() const {
  if (!m_strRoot.empty() || !m_strFault.empty()) {
    return false;
  }
  std::set<std::string> titles;
  for (const SummarySection& section : m_Summary.sections) {
    titles.insert(section.title);
  }
  const std::vector<BundleEntryInfo>& entries = m_rReader.entries();
  return std::none_of(entries.begin(), entries.end(), [&titles](const BundleEntryInfo& entry) {
    const std::size_t backslash = entry.name.find('\\');
    return backslash != std::string::npos && titles.contains(entry.name.substr(0, backslash));
  });
}

void BundleContent::load() {
  const std::vector<BundleEntryInfo>& entries = m_rReader.entries();
  for (const BundleEntryInfo& entry : entries) {
    m_nWholeSize += std::min(entry.size, UINT64_MAX - m_nWholeSize);
  }
  m_bBackslashes = isPartedByBackslashes(entries);
  readSummaryEntry();
  m_bBackslashes = m_bBackslashes && !hasFilesBesideSummaryAlone();
  matchRows();
}

std::vector<UnreadPart> BundleContent::unread() const {
  std::vector<UnreadPart> parts;
  for (const std::string& why : {m_rReader.damage(), m_strFault}) {
    if (!why.empty()) {
      parts.push_back({"", why});
    }
  }
  for (std::size_t i = 0; i < m_rReader.entries().size(); ++i) {
    if (const BundleEntryInfo& entry = m_rReader.entries()[i]; !entry.fault.empty()) {
      parts.push_back({placeOf(i), entry.fault});
    }
  }
  return parts;
}

std::string BundleContent::nameOf(std::size_t entry) const {
  const std::string& name = m_rReader.entries()[entry].name;
  return m_bBackslashes ? withSlashes(name) : name;
}

bool BundleContent::isFolder(std::size_t entry) const {
  return nameOf(entry).ends_with('/');
}

std::string BundleContent::placeOf(std::size_t entry) const {
  std::string name = nameOf(entry);
  if (name.starts_with(m_strRoot)) {
    name.erase(0, m_strRoot.size());
  }
  return name;
}

std::size_t BundleContent::findPlace(const std::string& place) const {
  std::size_t entry = m_rReader.entries().size();
  for (std::string name : {m_strRoot + place, place}) {
    if (m_bBackslashes) {
      std::replace(name.begin(), name.end(), '/', '\\');
    }
    if (entry == m_rReader.entries().size()) {
      entry = m_rReader.find(name);
    }
  }
  return entry;
}

std::optional<std::int64_t> BundleContent::madeAt() const {
  // Entries may have any time: of files that were copied with theirs, or of who packed the bundle again.
  if (LogTime told; findLogTime(m_Summary.time, told) && told.year != 0) {
    return secondsOf(told, 0);
  }
  std::optional<std::int64_t> newest;
  for (const BundleEntryInfo& entry : m_rReader.entries()) {
    LogTime time;
    if (findLogTime(dosTimeText(entry.dosTime), time)) {
      newest = std::max(newest, secondsOf(time, 0));
    }
  }
  return newest;
}

std::vector<std::size_t> BundleContent::filesOfItem(const std::string& id) const {
  std::vector<std::size_t> found;
  for (std::size_t i = 0; i < m_Files.size(); ++i) {
    if (m_Files[i].id == id && !id.empty()) {
      found.push_back(i);
    }
  }
  return found;
}

std::size_t BundleContent::findFile(const std::string& name) const {
  std::size_t found = m_Files.size();
  std::size_t count = 0;
  for (std::size_t i = 0; i < m_Files.size(); ++i) {
    if (entry(m_Files[i]).name == name || placeOf(m_Files[i]) == name) {
      return i;
    }
    if (m_Files[i].name == name) {
      found = i;
      ++count;
    }
  }
  return count == 1 ? found : m_Files.size();
}

}  // namespace halvo
