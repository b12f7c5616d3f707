#include "vpn/tools/TOLM/TOLMEngine/implementations/truncator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

// The steps of perform() log under its name.
constexpr char kPerform[] = "perform";
constexpr int kDecimals = 2;
constexpr char kWholeMark[] = "; see note *1";
// The capital N is this mark's own.
constexpr char kDataMark[] = "; see Note *2";

std::string fileName(const FileRecord& record) {
  return helperUtil::stringAfterLast(record.path, "/");
}

// Truncates toward zero and narrows to 32 bits, as the cutting functions take it: 2 GiB and more wrap.
// What no 64-bit integer can hold (the quotient of a group of empty files is not a number) reads as 0.
std::int32_t keepSize(double bytes) {
  constexpr double kLimit = 9223372036854775808.0;  // 2 to the 63rd
  if (!(std::fabs(bytes) < kLimit)) {
    return 0;
  }
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::int64_t>(bytes)));
}

}  // namespace

truncator::truncator(const std::list<FileRecord>& records, XMLObject* summary)
    : m_Records(records), m_pXMLSummary(summary), m_Sections(summary) {}

truncator::~truncator() = default;

void truncator::takeRecords() {
  // A second pass goes on from the order and the marks of the first.
  if (!m_TruncAttrsList.empty()) {
    return;
  }
  m_TruncAttrsList.reserve(m_Records.size());
  for (const FileRecord& record : m_Records) {
    m_TruncAttrsList.push_back({&record, 0, m_bAllKept ? kTruncateNone : record.appliedScheme});
  }
}

FileRecord truncator::marked(const Entry& entry) {
  FileRecord record = *entry.pRecord;
  for (std::uint32_t mark = 0; mark < entry.marks; ++mark) {
    record.description += kWholeMark;
  }
  record.appliedScheme = entry.appliedScheme;
  return record;
}

std::list<FileRecord> truncator::records() const {
  if (m_TruncAttrsList.empty()) {
    std::list<FileRecord> copies = m_Records;
    for (FileRecord& record : copies) {
      record.appliedScheme = m_bAllKept ? kTruncateNone : record.appliedScheme;
    }
    return copies;
  }
  std::list<FileRecord> copies;
  for (const Entry& entry : m_TruncAttrsList) {
    copies.push_back(marked(entry));
  }
  return copies;
}

ResultCode truncator::keepAll() {
  // Marks none, and so needs no list of marks: for very many files it would count beside their summary.
  m_bAllKept = true;
  for (Entry& entry : m_TruncAttrsList) {
    entry.appliedScheme = kTruncateNone;
    static_cast<void>(fillSummaryGoodFile(marked(entry)));
  }
  if (m_TruncAttrsList.empty()) {
    for (const FileRecord& record : m_Records) {
      // A file that can't be entered is logged there; the others still are.
      static_cast<void>(fillSummaryGoodFile(record));
    }
  }
  return 0;
}

ResultCode truncator::perform() {
  takeRecords();
  if (m_TruncAttrsList.empty()) {
    LOG_MESSAGE(kLogError, "m_TruncAttrsList is empty");
    return TOLMENGINE_ERROR_NOT_INITIALIZED;
  }
  // Stable: files of equal id and size stay in their gathered order.
  std::stable_sort(m_TruncAttrsList.begin(), m_TruncAttrsList.end(),
                   [](const Entry& leftEntry, const Entry& rightEntry) {
                     const FileRecord& left = *leftEntry.pRecord;
                     const FileRecord& right = *rightEntry.pRecord;
                     return left.id != right.id ? left.id < right.id : left.size > right.size;
                   });

  std::string id = m_TruncAttrsList.front().pRecord->id;
  // The first of an id decides how the whole group is treated.
  std::int32_t scheme = m_TruncAttrsList.front().pRecord->requestedScheme;
  double sum = 0.0;
  std::list<FileRecord> group;
  for (Entry& entry : m_TruncAttrsList) {
    const FileRecord& record = *entry.pRecord;
    if (record.id != id) {
      closeGroup(scheme, group, sum);
      group.clear();
      id = record.id;
      scheme = record.requestedScheme;
      sum = 0.0;
    }
    if (scheme != kTruncateWhole && scheme != kTruncateData && scheme != kTruncateNone) {
      dropLost(record);
    } else if (record.requestedScheme != scheme) {
      dropMismatch(record);
    } else if (scheme == kTruncateNone) {
      entry.appliedScheme = kTruncateNone;
      // A file that can't be entered is logged there, as in keepAll().
      static_cast<void>(fillSummaryGoodFile(record));
    } else if (scheme == kTruncateData) {
      // A copy: the marks of data cutting stay in the group.
      group.push_back(record);
      sum += record.size;
    } else {
      selectWhole(entry, sum);
    }
  }
  closeGroup(scheme, group, sum);

  if (m_bNote1Due) {
    helperUtil::fillSummaryNote(
        m_Sections,
        "*1: When the request specifies file(whole) truncation for a file ID(group), TOLM uses greedy "
        "algorithm\n"
        "         based on file sizes to decide which file in the ID group to keep and which to leave out.");
  }
  if (m_bNote2Due) {
    helperUtil::fillSummaryNote(m_Sections,
                                "*2: When the request specifies data truncation for a file ID(group), TOLM "
                                "truncates all files of that ID\n"
                                "         proportionally according to their original sizes, and uses "
                                "defaults from configuration xml to "
                                "decide whether to\n"
                                "         truncate from front or end.");
  }
  return 0;
}

void truncator::closeGroup(std::int32_t scheme, std::list<FileRecord>& group, double sum) {
  if (scheme != kTruncateData) {
    return;
  }
  if (const ResultCode rc = DATATruncateAll(group, sum); rc != 0) {
    logDebugReturnCode(kPerform, __FILE__, __LINE__, kLogError, "truncator::DATATruncateAll", rc, nullptr,
                       nullptr);
  }
}

void truncator::selectWhole(Entry& entry, double& sum) {
  const FileRecord& record = *entry.pRecord;
  const double candidate = record.size + sum;
  if (record.requestedSize >= candidate) {
    entry.appliedScheme = kTruncateNone;
    sum = candidate;
    ++entry.marks;
    m_bNote1Due = true;
    if (const ResultCode rc = fillSummaryGoodFile(marked(entry)); rc != 0) {
      logDebugReturnCode(kPerform, __FILE__, __LINE__, kLogError, "truncator::fillSummaryGoodFile", rc,
                         nullptr, nullptr);
    }
    return;
  }
  // The sum doesn't grow: a smaller file behind one that was too large is still tried.
  // One that can't be deleted is listed as out and stays in the bundle. Known, and told nowhere.
  static_cast<void>(helperUtil::fileDelete(record.path));
  m_bNote1Due = true;
  helperUtil::fillSummaryFailedFile(
      m_Sections, record.id, fileName(record), record.description,
      "See note *1; File/whole truncate type specified; total allowed size for this ID is " +
          helperUtil::sizeToText(record.requestedSize, kDecimals) + "; this file is " +
          helperUtil::sizeToText(record.size, kDecimals));
}

void truncator::dropMismatch(const FileRecord& record) {
  static_cast<void>(helperUtil::fileDelete(record.path));
  fillSummaryInternalFailure(record);
  logDebugMessage(kPerform, __FILE__, __LINE__, kLogInformation,
                  "Two files corresponding to the same fileID have different requested truncation scheme");
}

void truncator::dropLost(const FileRecord& record) {
  logDebugMessage(kPerform, __FILE__, __LINE__, kLogInformation, "Lost fileID for file: \"%s\"",
                  record.path.c_str());
  fillSummaryInternalFailure(record);
  if (helperUtil::fileDelete(record.path) != 0) {
    const std::string note = "Dead file: " + record.path + " in bundle.";
    helperUtil::fillSummaryNote(m_Sections, note);
    logDebugMessage(kPerform, __FILE__, __LINE__, kLogError, "%s", note.c_str());
  }
}

ResultCode truncator::DATATruncateAll(std::list<FileRecord>& group, double sum) {
  if (!group.empty()) {
    m_bNote2Due = true;
  }
  for (FileRecord& record : group) {
    // What the cuts give isn't looked at: a file that couldn't be cut is listed as one that was.
    const std::int32_t keep = keepSize(record.size * record.requestedSize / sum);
    switch (record.defaultScheme) {
      case kTruncateEnd:
        helperUtil::fileTruncateEnd(keep, record.path);
        record.appliedScheme = kTruncateEnd;
        break;
      case kTruncateFront:
        helperUtil::fileTruncateFront(keep, record.path);
        record.appliedScheme = kTruncateFront;
        break;
      default:
        helperUtil::fileTruncateEnd(keep, record.path);
        helperUtil::fillSummaryNote(
            m_Sections,
            "Warning: the file " + fileName(record) + " corresponding to ID " + record.id +
                " has WHOLE or NONE as default truncation type, however, requested to be DATA-truncated.\n"
                "\t TOLM will truncate end, but there could be possible loss of useful data, or corruption "
                "of "
                "the file.");
        record.appliedScheme = kTruncateEnd;
        break;
    }
    record.description += kDataMark;
    if (const ResultCode rc = fillSummaryGoodFile(record); rc != 0) {
      LOG_RETURN_CODE(kLogError, "truncator::fillSummaryGoodFile", rc);
    }
  }
  return 0;
}

ResultCode truncator::fillSummaryInternalFailure(const FileRecord& record) {
  helperUtil::fillSummaryFailedFile(m_Sections, record.id, fileName(record), record.description,
                                    "Internal error");
  return 0;
}

ResultCode truncator::fillSummaryGoodFile(const FileRecord& record) {
  if (m_pXMLSummary == nullptr) {
    LOG_MESSAGE(kLogError, "m_pXMLSummary is uninitialized");
    return TOLMENGINE_ERROR_NOT_INITIALIZED;
  }
  if (m_pXMLSummary->GetRoot() == nullptr) {
    LOG_MESSAGE(kLogError, "pDCSummaryRoot is NULL");
    return TOLMENGINE_ERROR_NULL_XML_ROOT;
  }
  DataComponent* const goodFiles = m_Sections.find("Manifest_Included");
  if (goodFiles == nullptr) {
    LOG_MESSAGE(kLogError, "pDCGoodFiles is NULL");
    return TOLMENGINE_ERROR_NULL_XML_CHILD;
  }
  static const auto s_pFileSize = std::make_shared<const std::string>("file_size");
  m_Sections.addFile(goodFiles, record.id, fileName(record), record.description, s_pFileSize,
                     helperUtil::sizeToText(record.size, kDecimals));
  return 0;
}

}  // namespace halvo
