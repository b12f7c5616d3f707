#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"

#include <algorithm>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/OSInfo.h"
#include "vpn/Common/Utility/sysutils.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/RunRecord.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

// Gives a user's eye time to read each line of a clear run.
constexpr std::uint32_t kClearPauseMs = 50;

std::string valueBelow(const DataComponent* item, const char* name) {
  const DataComponent* found = item != nullptr ? item->FindChild(name) : nullptr;
  return found != nullptr ? found->GetValue() : "";
}

const DataAttribute* idOf(const DataComponent* item) {
  return item != nullptr ? item->FindAttribute("id") : nullptr;
}

}  // namespace

collector::collector(XMLObject* request, std::list<DataComponent*>& unprocessed, std::uint32_t configProgress,
                     const std::string& bundlePath)
    : m_pXMLRequest(request),
      m_pUnprocessed(&unprocessed),
      m_nConfigProgress(configProgress),
      m_strBundlePath(bundlePath) {}

collector::~collector() = default;

ResultCode collector::Collect(std::string& folder, XMLObject* config, std::uint32_t startPercent) {
  if (m_pXMLRequest == nullptr) {
    LOG_MESSAGE(kLogError, "m_pXMLRequest is NULL");
    return TOLMENGINE_ERROR_NOT_INITIALIZED;
  }
  if (config == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLObjectConfig is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  if (const ResultCode rc = initializeSummary(); rc != 0) {
    // Not quite the function's name. Whoever searches the log knows it so.
    LOG_RETURN_CODE(kLogError, "collector::initializedSummary", rc);
    return rc;
  }
  ActionContext context;
  context.summary = m_pXMLSummary.get();
  if (folder.empty()) {
    folder = helperUtil::translatePath(helperUtil::workFolder());
  }
  context.folder = folder;
  if (m_pXMLRequest->GetRoot() != nullptr) {
    walkRequest(*config, context, startPercent);
  } else {
    walkDefault(*config, context, startPercent);
  }
  if (const ResultCode rc = writeSummary(folder, config); rc != 0) {
    // Nothing else changes: where no section stands yet, the next config still writes the main information.
    LOG_RETURN_CODE(kLogError, "collector::writeSummary", rc);
    return rc;
  }
  m_bFirstConfig = false;
  m_pXMLSummary.reset();
  return 0;
}

void collector::walkRequest(XMLObject& config, ActionContext& context, std::uint32_t percent) {
  std::list<DataComponent*> requestItems = getFileComponents(*m_pXMLRequest);
  std::list<DataComponent*> configItems = getFileComponents(config);
  // The list's own sort, which keeps the order of equals and stands items without an id, of which none is
  // before or behind another.
  requestItems.sort(compareFileId);
  configItems.sort(compareFileId);
  setProgressStep(requestItems);

  const DataComponent* commentsItem = nullptr;
  // Moves only forwards, over all request items. It stays on a match, so a second request item of the
  // same id meets the same config item again.
  auto cursor = configItems.begin();
  for (DataComponent* const item : requestItems) {
    if (hasFileId(item, "comments")) {
      commentsItem = item;
      percent += m_nFileProgress;
      continue;
    }
    if (hasFileId(item, "summary")) {
      if (m_strSummaryPath.empty()) {
        const std::string name = getFileName(item);
        setSummaryPath(context.folder, name.empty() ? kSummaryName : name);
      }
      percent += m_nFileProgress;
      continue;
    }
    const std::string id = getFileId(item);
    while (cursor != configItems.end() && getFileId(*cursor) < id) {
      ++cursor;
    }
    // Without an advance of the bar: the item may be another config's.
    if (cursor == configItems.end() || getFileId(*cursor) != id) {
      continue;
    }
    // The request only names the item; what is known of it is the config's.
    const DataComponent* const found = *cursor;
    reportProgress(percent, "Processing " + getFileDescription(found) + "...", TOLMOFFLINE_ERROR_PROCESSING);
    describeItem(found, getFileName(found), context);
    if (moveReaderToCorrectOS(found) == 0) {
      collectFile(context);
      // Behind the action: a duplicate is gathered too, and only then warned of.
      removeFromUnprocessedList(item);
      percent += m_nFileProgress;
    }
  }
  if (m_bFirstConfig) {
    // A failure shows in the summary.
    writeComments(commentsItem, context.folder);
  }
}

void collector::walkDefault(XMLObject& config, ActionContext& context, std::uint32_t percent) {
  std::list<DataComponent*> items = getFileComponents(config);
  items.sort(compareFileId);
  setProgressStep(items);
  for (const DataComponent* const item : items) {
    if (!isDefaultFile(item)) {
      helperUtil::fillSummaryNote(m_pXMLSummary.get(), "The file(s) of ID " + getFileId(item) +
                                                           " is/are not included by default by this config.");
      continue;
    }
    reportProgress(percent, "Processing " + getFileDescription(item) + "...", TOLMOFFLINE_ERROR_PROCESSING);
    describeItem(item, "", context);
    if (moveReaderToCorrectOS(item) == 0) {
      collectFile(context);
      // For gathered items alone: the start of the next config makes up for the others.
      percent += m_nFileProgress;
    }
  }
}

ResultCode collector::Clear(XMLObject* config, std::uint32_t startPercent) {
  if (config == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLObjectConfig is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  ActionContext context;
  context.summary = m_pXMLSummary.get();
  // No summary is made in a clear run: what fails is logged alone.
  std::list<DataComponent*> items = getFileComponents(*config);
  items.sort(compareFileId);
  setProgressStep(items);
  std::uint32_t percent = startPercent;
  for (const DataComponent* const item : items) {
    if (isDefaultFile(item)) {
      describeItem(item, "", context);
      reportProgress(percent, "Clearing " + context.description + "...", TOLMOFFLINE_ERROR_PROCESSING);
      sleepMilliseconds(kClearPauseMs);
      if (moveReaderToCorrectOS(item) == 0) {
        clearFile(context);
      }
    }
    // Unlike a collect run, the bar advances for every item.
    percent += m_nFileProgress;
  }
  return 0;
}

void collector::describeItem(const DataComponent* item, const std::string& name,
                             ActionContext& context) const {
  context.id = getFileId(item);
  context.name = name;
  context.description = getFileDescription(item);
  context.percentStep = m_nFileProgress;
}

void collector::setProgressStep(const std::list<DataComponent*>& items) {
  m_nFileCount = static_cast<std::uint32_t>(items.size());
  m_nFileProgress = m_nFileCount >= 2 ? m_nConfigProgress / m_nFileCount : m_nConfigProgress;
}

std::list<DataComponent*> collector::getFileComponents(const XMLObject& rXMLObject) {
  std::list<DataComponent*> items;
  if (rXMLObject.GetRoot() == nullptr) {
    LOG_MESSAGE(kLogError, "rXMLObject.GetRoot() is NULL");
    return items;
  }
  for (const auto& child : rXMLObject.GetRoot()->GetChildren()) {
    if (child->GetName() == "file") {
      items.push_back(child.get());
    }
  }
  return items;
}

bool collector::compareFileId(const DataComponent* a, const DataComponent* b) {
  const DataAttribute* const left = idOf(a);
  const DataAttribute* const right = idOf(b);
  return left != nullptr && right != nullptr && left->GetValue() < right->GetValue();
}

std::string collector::getFileId(const DataComponent* item) {
  const DataAttribute* const id = idOf(item);
  return id != nullptr ? id->GetValue() : "";
}

bool collector::hasFileId(const DataComponent* item, const std::string& text) {
  const DataAttribute* const id = idOf(item);
  return id != nullptr && id->GetValue() == text;
}

std::string collector::getFileDescription(const DataComponent* item) {
  return valueBelow(item, "description");
}

std::string collector::getFileName(const DataComponent* item) {
  return valueBelow(item, "name");
}

bool collector::isDefaultFile(const DataComponent* item) {
  return valueBelow(item, "default") == "true";
}

bool collector::isCurrentOS(const std::string& text) {
  struct NamedSystem {
    const char* name;
    bool (*isCurrent)();
  };
  static constexpr NamedSystem kSystems[] = {
      {"linux", isLinux}, {"mac", isMac},     {"win2k", isWin2k}, {"win2k3", isWin2k3},
      {"winxp", isWinXP}, {"vista", isVista}, {"win7", isWin7},   {"win8", isWin8},
  };
  return std::any_of(std::begin(kSystems), std::end(kSystems), [&text](const NamedSystem& system) {
    return text == system.name && system.isCurrent();
  });
}

ResultCode collector::moveReaderToTOLM(const DataComponent* pDC) {
  if (pDC == nullptr) {
    LOG_MESSAGE(kLogError, "pDC is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  const DataComponent* const tolm = pDC->FindChild("tolm");
  if (tolm == nullptr) {
    LOG_MESSAGE(kLogError, "pDC->FindChild(TOLM_CONST) is NULL");
    return TOLMENGINE_ERROR_NULL_XML_CHILD;
  }
  m_pReader = tolm;
  return 0;
}

ResultCode collector::moveReaderToCorrectOS(const DataComponent* pDC) {
  if (pDC == nullptr) {
    LOG_MESSAGE(kLogError, "pDC is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  // The result is ignored: for an item without `tolm` the search goes through the children of where the
  // reader stood before. That is the `os` element of the item processed last, or, where that item matched
  // nothing, its `tolm` once more.
  moveReaderToTOLM(pDC);
  if (m_pReader != nullptr) {
    for (const auto& child : m_pReader->GetChildren()) {
      if (child->GetName() != "os") {
        continue;
      }
      const DataAttribute* const system = child->FindAttribute("opsys");
      if (isCurrentOS(system != nullptr ? system->GetValue() : "")) {
        m_pReader = child.get();
        return 0;
      }
    }
  }
  LOG_MESSAGE(kLogError, "Correct OS not found");
  return TOLMENGINE_ERROR_INTERNAL;
}

void collector::collectFile(const ActionContext& context) {
  const RecordedItem recorded(context.id);
  TOLMCollectLogsAction action(context, m_pReader);
  action.Perform(m_FileRecords);
}

void collector::clearFile(const ActionContext& context) {
  TOLMClearLogsAction action(context, m_pReader);
  action.Perform(m_FileRecords);
}

ResultCode collector::removeFromUnprocessedList(DataComponent* pDC) {
  if (pDC == nullptr) {
    LOG_MESSAGE(kLogError, "pDC is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  const auto found = std::find(m_pUnprocessed->begin(), m_pUnprocessed->end(), pDC);
  if (found != m_pUnprocessed->end()) {
    m_pUnprocessed->erase(found);
    return 0;
  }
  // An earlier config has processed the item; this one's files have been gathered all the same.
  helperUtil::fillSummaryNote(m_pXMLSummary.get(),
                              "WARNING: File ID " + getFileId(pDC) +
                                  " has duplicated instruction found in one of previous config files");
  return 0;
}

}  // namespace halvo
