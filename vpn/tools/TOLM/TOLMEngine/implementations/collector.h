// collector: carries out one config document at a time.
//
// Decides which of the document's items apply, finds the instructions for this operating system, has
// an action perform them, and then has the gathered files entered in the summary and the summary
// printed. One collector lives for a whole run, so what must outlast a config lives in it: the summary
// path, and whether the first config is done. Used on the engine's thread.
//
// Owns the summary document of the config in progress and the list of files gathered for it. The
// request, the list of unprocessed items and the config documents are the engine's.

#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/FileRecord.h"

namespace halvo {

// The summary's name where a request gives it no other.
inline constexpr char kSummaryName[] = "summary.txt";

class collector {
 public:
  // `request`: the request document; without a root it selects the default mode, in which every item
  // marked as default is gathered. `unprocessed`: request items that no config has processed yet;
  // entries are taken out. `configProgress`: the share of the progress bar of one config, in percent.
  // `bundlePath`: for the summary's main information only.
  collector(XMLObject* request, std::list<DataComponent*>& unprocessed, std::uint32_t configProgress,
            const std::string& bundlePath);
  ~collector();

  collector(const collector&) = delete;
  collector& operator=(const collector&) = delete;

  // Gathers one config into `folder`, which becomes the default temporary folder where it is empty, and
  // writes the config's section of the summary. The failures of items show in the summary, not here:
  // TOLMENGINE_ERROR_NOT_INITIALIZED without a request, TOLMENGINE_ERROR_BAD_PARAMETER without a config,
  // or the code of a summary that couldn't be written. All are logged at error level.
  [[nodiscard]] ResultCode Collect(std::string& folder, XMLObject* config, std::uint32_t startPercent);

  // Has the default items of one config cleared. Reports to nobody what couldn't be.
  // TOLMENGINE_ERROR_BAD_PARAMETER without a config, otherwise 0.
  [[nodiscard]] ResultCode Clear(XMLObject* config, std::uint32_t startPercent);

  // Where the summary lies: one level above the folder of the first config that got there. Empty before.
  [[nodiscard]] const std::string& GetSummaryPath() const { return m_strSummaryPath; }
  // Opens it for appending; null where it can't be opened. A request's name that leads out of the folder
  // above the config's is such a failure: whatever it says, nothing outside is written.
  [[nodiscard]] FileHolder openSummary() const;

  // --- Readers of item elements, free of the collector's state ---

  // The root's direct children named "file", in document order. A document without a root is logged
  // and gives none.
  [[nodiscard]] static std::list<DataComponent*> getFileComponents(const XMLObject& rXMLObject);
  // The sort order of a walk: by id, byte by byte. False where either has no id.
  [[nodiscard]] static bool compareFileId(const DataComponent* a, const DataComponent* b);
  [[nodiscard]] static std::string getFileId(const DataComponent* item);
  [[nodiscard]] static bool hasFileId(const DataComponent* item, const std::string& text);
  [[nodiscard]] static std::string getFileDescription(const DataComponent* item);
  [[nodiscard]] static std::string getFileName(const DataComponent* item);
  // Whether the first `default` below the item is exactly "true".
  [[nodiscard]] static bool isDefaultFile(const DataComponent* item);
  // Whether an `opsys` value names the running system. Compared exactly; an unknown value is false.
  [[nodiscard]] static bool isCurrentOS(const std::string& text);

 private:
  void walkRequest(XMLObject& config, ActionContext& context, std::uint32_t percent);
  void walkDefault(XMLObject& config, ActionContext& context, std::uint32_t percent);
  // What an action is told of an item; the folder and the summary stay.
  void describeItem(const DataComponent* item, const std::string& name, ActionContext& context) const;
  void setProgressStep(const std::list<DataComponent*>& items);

  ResultCode moveReaderToTOLM(const DataComponent* pDC);
  [[nodiscard]] ResultCode moveReaderToCorrectOS(const DataComponent* pDC);
  void collectFile(const ActionContext& context);
  void clearFile(const ActionContext& context);
  ResultCode removeFromUnprocessedList(DataComponent* pDC);

  // Report (collector_summary.cpp).
  [[nodiscard]] ResultCode initializeSummary();
  [[nodiscard]] ResultCode fillInSummaryMainInfo();
  // The path of a file beside the summary, and of the folder that it must lie in.
  [[nodiscard]] static std::string pathAbove(const std::string& folder, const std::string& fileName);
  void setSummaryPath(const std::string& folder, const std::string& fileName);
  [[nodiscard]] std::string getComments() const;
  ResultCode writeComments(const DataComponent* commentsItem, const std::string& folder);
  [[nodiscard]] ResultCode writeSummary(const std::string& folder, XMLObject* config);
  [[nodiscard]] ResultCode printSummary(const XMLObject* config);

  XMLObject* m_pXMLRequest;
  // The summary of the config in progress; null between configs.
  std::unique_ptr<XMLObject> m_pXMLSummary;
  // Trees of configs that failed: told not to be deleted, and so kept until the end of the run.
  std::list<std::unique_ptr<XMLObject>> m_LeftSummaries;
  std::list<DataComponent*>* m_pUnprocessed;
  std::list<FileRecord> m_FileRecords;
  std::uint32_t m_nFileCount = 0;
  std::uint32_t m_nConfigProgress;
  std::uint32_t m_nFileProgress = 0;
  // No summary has been written yet: main information and comments are still to come.
  bool m_bFirstConfig = true;
  std::string m_strBundlePath;
  std::string m_strSummaryPath;
  std::string m_strSummaryBase;  // the folder above the first config's, which the summary may not leave
  // Where the instruction reader stands: on an item's `tolm`, then on its matching `os`.
  const DataComponent* m_pReader = nullptr;
};

// Takes the next line of at most `width` bytes (2 or more) off `text`. Breaks at white space; a word
// longer than the column is cut hard at one byte less than the width.
[[nodiscard]] std::string wrapText(std::string& text, std::size_t width);

}  // namespace halvo
