// truncator: enters the gathered files of a config in its summary, and can hold groups of files to a
// size budget.
//
// Lives on the stack of collector::writeSummary. What it marks, it marks in a list of its own: the records
// that it was given are borrowed, must outlive it and stay as they are. It borrows the summary, too. A run
// calls keepAll() alone, which cuts nothing; perform() is the budgets' whole logic and has no caller in the
// present flows. Used on the engine's thread. Not meant to run twice: a second pass adds marks and entries
// again.

#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/FileRecord.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

class truncator {
 public:
  truncator(const std::list<FileRecord>& records, XMLObject* summary);
  truncator(std::list<FileRecord>&& records, XMLObject* summary) = delete;
  virtual ~truncator();

  truncator(const truncator&) = delete;
  truncator& operator=(const truncator&) = delete;

  // Sorts the records by id and falling size, and treats each id's files by the requested scheme of
  // the first: whole-file selection keeps the largest files that fit, data cutting shortens every file
  // in proportion. Files that don't fit are deleted and listed as not included.
  // TOLMENGINE_ERROR_NOT_INITIALIZED for an empty list; otherwise 0: a budget is never an error.
  [[nodiscard]] virtual ResultCode perform();

  // Enters every file as included. Always 0, also for an empty list.
  virtual ResultCode keepAll();

  // Cuts the files of one id to `size * requested size / sum` bytes each, by each record's default
  // scheme, and enters them. There is no check that the group is over its budget. Always 0.
  virtual ResultCode DATATruncateAll(std::list<FileRecord>& group, double sum);

  // Lists a file as not included, with the reason "Internal error". Always 0.
  virtual ResultCode fillSummaryInternalFailure(const FileRecord& record);

  // Lists a file as included, at the size it was gathered with.
  // TOLMENGINE_ERROR_NOT_INITIALIZED without a summary, TOLMENGINE_ERROR_NULL_XML_ROOT and
  // TOLMENGINE_ERROR_NULL_XML_CHILD for one without its parts; each is logged.
  [[nodiscard]] virtual ResultCode fillSummaryGoodFile(const FileRecord& record);

  // The records in the order of the last treatment, with the marks and schemes of the files that were kept
  // whole. Files that data cutting shortened are marked in its group alone.
  [[nodiscard]] std::list<FileRecord> records() const;

 private:
  // A record of the caller's and what is marked on it: for a hundred thousand files, copies of the
  // records would count.
  struct Entry {
    const FileRecord* pRecord;
    std::uint32_t marks;  // of note *1, one a pass
    std::int32_t appliedScheme;
  };

  void takeRecords();
  [[nodiscard]] static FileRecord marked(const Entry& entry);
  void closeGroup(std::int32_t scheme, std::list<FileRecord>& group, double sum);
  void selectWhole(Entry& entry, double& sum);
  void dropMismatch(const FileRecord& record);
  void dropLost(const FileRecord& record);

  bool m_bNote2Due = false;
  bool m_bNote1Due = false;
  bool m_bAllKept = false;
  const std::list<FileRecord>& m_Records;
  std::vector<Entry> m_TruncAttrsList;  // filled by the first perform()
  XMLObject* m_pXMLSummary;
  helperUtil::SummarySections m_Sections;  // of m_pXMLSummary
};

}  // namespace halvo
