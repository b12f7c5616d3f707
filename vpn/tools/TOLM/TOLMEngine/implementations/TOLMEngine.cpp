#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"

#include <cstdio>
#include <cstring>
#include <new>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/Common/Zip/CZip.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/OutputFile.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

// Fails a run from its own place: the record names this function and line.
#define FAIL_RUN(text, code) fail(__func__, __LINE__, (text), (code))

namespace halvo {

namespace {

constexpr std::uint32_t kCollectPercent = 92;
constexpr std::uint32_t kZipPercent = 96;
constexpr std::uint32_t kEndPercent = 100;
constexpr int kFailureRule = 100;
constexpr ResultCode kProcessing = TOLMOFFLINE_ERROR_PROCESSING;
// What the end of a run without memory needs for its texts, its records and the removal, and some more.
constexpr std::size_t kReserve = std::size_t{256} * 1024;
// Steps of a collect run that are functions of their own fail under its name: whoever searches the log looks
// for that.
constexpr char kCollectRun[] = "collectLogs";
constexpr char kNoConfigs[] = "Internal Error: no valid configuration XML found...";
constexpr char kNoMemory[] = "Internal Error: out of memory...";

// A share of the progress bar: single precision, cut towards zero.
std::uint32_t dividePercent(std::uint32_t amount, std::uint32_t parts) {
  return static_cast<std::uint32_t>(static_cast<float>(amount) / static_cast<float>(parts));
}

std::uint32_t shareOfOneConfig(std::uint32_t configs) {
  return dividePercent(kCollectPercent, configs);
}

std::string configName(const XMLObject& config, std::uint32_t ordinal) {
  const DataComponent* const title = findTitle(config);
  return title != nullptr ? title->GetValue()
                          : "Unknown_" + helperUtil::floatToText(static_cast<float>(ordinal), 0);
}

}  // namespace

TOLMEngine::TOLMEngine(const std::string& requestPath, const std::string& bundlePath,
                       const std::string& password, bool clearLogs)
    : m_bClearLogs(clearLogs ? 1 : 0),
      m_strRequestPath(requestPath),
      m_strBundlePath(bundlePath),
      m_strPassword(password),
      m_nConfigs(0),
      m_pXMLRequest(nullptr),
      m_strConfigFolder(helperUtil::defaultConfigFolder()),
      m_ArchiveStep([](const std::string& folder, const std::string& bundle, const std::string& secret) {
        return CZip().Zip(folder, bundle, secret, true);
      }) {}

TOLMEngine::~TOLMEngine() {
  for (XMLObject* const document : m_Configs) {
    delete document;
  }
  m_Configs.clear();
  m_pConfigMgr.reset();
  m_pRequestMgr.reset();
  m_pOwnedRequest.reset();
  m_pCollector.reset();
}

void TOLMEngine::setConfigFolder(const std::string& folder) {
  // The loader joins the folder and a file's name with nothing in between.
  m_strConfigFolder = folder.empty() ? folder : withSlash(folder);
}

ResultCode TOLMEngine::run() {
  try {
    resetLosses();
    // Left as it comes: an empty run doesn't pay for pages that nobody looks at.
    m_pReserve = std::make_unique_for_overwrite<char[]>(kReserve);
    return m_bClearLogs == 0 ? collectLogs() : clearLogs();
  } catch (const std::bad_alloc&) {
    return endWithoutMemory();
  }
}

ResultCode TOLMEngine::endWithoutMemory() noexcept {
  // What was gathered is of no use any more, and its memory is. The collector goes first: it points into the
  // documents.
  m_pReserve.reset();
  m_pCollector.reset();
  m_UnprocessedFiles.clear();
  for (XMLObject* const document : m_Configs) {
    delete document;
  }
  m_Configs.clear();
  try {
    return FAIL_RUN(kNoMemory, TOLMENGINE_ERROR_MEMALLOC_FAILED);
  } catch (const std::bad_alloc&) {
    // An empty text needs no memory: a front-end must not take the run for a good one.
    reportProgress(0, "", TOLMENGINE_ERROR_MEMALLOC_FAILED);
  }
  try {
    m_TempFolder.remove();
  } catch (const std::bad_alloc&) {
    // The folder stays for the next run, which removes it.
    LOG_MESSAGE(kLogError, "The work folder couldn't be removed without memory");
  }
  return TOLMENGINE_ERROR_MEMALLOC_FAILED;
}

ResultCode TOLMEngine::fail(const char* function, int line, const char* text, ResultCode code) {
  m_strFailureText = text;
  logDebugMessage(function, __FILE__, line, kLogError, "%s", text);
  reportProgress(0, text, code);
  // Also where the run has made none: an early failure so removes what an earlier run has left.
  m_TempFolder.remove();
  return code;
}

ResultCode TOLMEngine::collectLogs() {
  reportProgress(1, "Starting up TOLM Engine...", kProcessing);
  m_pConfigMgr = std::make_unique<TOLMXmlLoader>();
  m_pRequestMgr = std::make_unique<TOLMXmlLoader>();
  reportProgress(1, "Parsing request and configuration XMLs...", kProcessing);
  if (const ResultCode rc = loadRequest(); rc != 0) {
    return rc;
  }

  loadConfigs();
  if (m_nConfigs == 0) {
    return FAIL_RUN(kNoConfigs, TOLMENGINE_ERROR_INTERNAL);
  }
  // Ahead of the configs that fail later: the summary lists them in this order.
  m_FailedConfigs = m_pConfigMgr->GetFailedFiles();

  m_TempFolder.choose();
  if (const ResultCode rc = m_TempFolder.make(); rc != 0) {
    return FAIL_RUN("Internal Error: failed to create temporary working folder...", rc);
  }

  makeCollector();
  if (!collectConfigs()) {
    return FAIL_RUN("Internal Error: all configs failed...", TOLMENGINE_ERROR_INTERNAL);
  }
  if (const ResultCode rc = writeFailedFilesToSummary(m_pCollector->GetSummaryPath()); rc != 0) {
    LOG_RETURN_CODE(kLogWarning, "TOLMEngine::writeFailedFilesToSummary", rc);
  }
  // The summary goes above the folder of the first config, wherever that is: where the folder couldn't be
  // made, that is outside of what is packed. Told so, and a loss for whoever reads the bundle.
  const std::string& summary = m_pCollector->GetSummaryPath();
  const std::string inside = m_TempFolder.path() + "/";
  if (!summary.starts_with(inside) || summary.starts_with(inside + "../")) {
    recordLoss(__func__, LossKind::kCutShort, summary,
               "it stands outside of the bundle, for want of a folder for the first document");
  }

  reportProgress(kZipPercent, "Zipping the bundle, please wait...", kProcessing);
  // Only now: the summary shows the path as it was passed.
  m_strBundlePath = zipPath(m_strBundlePath);
  if (m_ArchiveStep(m_TempFolder.path(), m_strBundlePath, m_strPassword) != 0) {
    // The code is fixed; the archive's own isn't passed on.
    return FAIL_RUN("Internal Error: failed to zip the bundle...", TOLMENGINE_ERROR_WRITE_FAILURE);
  }
  m_TempFolder.remove();
  reportProgress(kEndPercent, "TOLM has finished... ", kProcessing);
  reportProgress(0, "", 0);
  return 0;
}

std::string TOLMEngine::zipPath(const std::string& path) {
  // Exactly "zip": behind ".ZIP" comes a second one.
  return helperUtil::stringAfterLast(path, ".") == "zip" ? path : path + ".zip";
}

ResultCode TOLMEngine::loadRequest() {
  // Tried with an empty path too; what the parser logs then belongs to a normal default run.
  std::list<XMLObject*> documents;
  m_pRequestMgr->load(m_strRequestPath, kLoadFile, documents);
  if (documents.size() == 1) {
    m_pXMLRequest = documents.front();
    // A well-formed document has one. Nothing below may have to count on that.
    if (m_pXMLRequest->GetRoot() == nullptr) {
      return fail(kCollectRun, __LINE__, "Internal Error: TOLM has encountered an error...",
                  TOLMENGINE_ERROR_NULL_POINTER);
    }
    // "comments" and "summary" too, which no config takes out again: the list is told as it stands.
    for (const auto& child : m_pXMLRequest->GetRoot()->GetChildren()) {
      if (child->GetName() == "file") {
        m_UnprocessedFiles.push_back(child.get());
      }
    }
    return 0;
  }
  if (!m_strRequestPath.empty()) {
    return fail(
        kCollectRun, __LINE__,
        "Internal Error: invalid request XML, please contact your administrator, or run in default mode",
        TOLMENGINE_ERROR_INVALID_XML);
  }
  m_pOwnedRequest = std::make_unique<XMLObject>();
  m_pXMLRequest = m_pOwnedRequest.get();
  return 0;
}

void TOLMEngine::loadConfigs() {
  m_pConfigMgr->load(m_strConfigFolder, kLoadFolder, m_Configs);
  m_nConfigs = static_cast<std::uint32_t>(m_Configs.size());
  if (const int error = m_pConfigMgr->GetListingError(); error != 0) {
    recordLoss(__func__, LossKind::kCutShort, m_strConfigFolder, std::strerror(error));
  }
}

void TOLMEngine::makeCollector() {
  m_pCollector = std::make_unique<collector>(m_pXMLRequest, m_UnprocessedFiles, shareOfOneConfig(m_nConfigs),
                                             m_strBundlePath);
}

bool TOLMEngine::collectConfigs() {
  bool collectFailed = false;
  std::uint32_t ordinal = 0;
  for (XMLObject* const config : m_Configs) {
    if (config == nullptr) {
      continue;
    }
    ++ordinal;
    const std::string name = configName(*config, ordinal);
    const std::uint32_t start = dividePercent(ordinal * kCollectPercent - kCollectPercent, m_nConfigs);
    reportProgress(start, "Reading instructions ...", kProcessing);
    std::string target = m_TempFolder.path() + "/" + name;
    // No failure: a title that is no folder name has its files straight in the work folder.
    if (helperUtil::MakeDirectory(target) != 0) {
      target = m_TempFolder.path();
    }
    if (m_pCollector->Collect(target, config, start) != 0) {
      m_FailedConfigs.push_back(name);
      collectFailed = true;
    }
  }
  // Counts are compared, and the list of failures also counts files that never became documents: two
  // parsed, one unparsable and one failing config end the run though one config succeeded. Meant as it
  // stands. Unparsable files by themselves never end a run.
  return !collectFailed || m_Configs.size() != m_FailedConfigs.size();
}

ResultCode TOLMEngine::clearLogs() {
  reportProgress(1, "Starting up TOLM Engine...", kProcessing);
  if (m_pConfigMgr == nullptr) {
    m_pConfigMgr = std::make_unique<TOLMXmlLoader>();
    loadConfigs();
  }
  if (m_nConfigs == 0) {
    return FAIL_RUN(kNoConfigs, TOLMENGINE_ERROR_INTERNAL);
  }
  if (m_pCollector == nullptr) {
    makeCollector();
  }
  std::uint32_t accumulated = 0;
  for (XMLObject* const config : m_Configs) {
    if (config != nullptr) {
      // What couldn't be cleared stands in the log. It is no failure of the run.
      static_cast<void>(m_pCollector->Clear(config, dividePercent(accumulated, m_nConfigs)));
    }
    accumulated += kCollectPercent;
  }
  reportProgress(kEndPercent, "TOLM has finished... ", kProcessing);
  reportProgress(0, "", 0);
  return 0;
}

ResultCode TOLMEngine::writeFailedFilesToSummary(const std::string& path) {
  FileHolder opened = m_pCollector->openSummary();
  std::FILE* const file = opened.get();
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "Could not open file \"%s\"", path.c_str());
    recordLoss(__func__, LossKind::kCutShort, path, "it can't be opened");
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  if (!m_FailedConfigs.empty()) {
    // One rule of another length than the report's own. Wanted so.
    std::fprintf(file, "\n%.*s\n", kFailureRule, std::string(kFailureRule, '=').c_str());
    std::fprintf(file, "TOLMEngine failed to parse or use the following configuration files:\n");
    for (const std::string& name : m_FailedConfigs) {
      std::fprintf(file, "%s\n", name.c_str());
    }
  }
  // The heading stands exactly when nothing is left unprocessed, with nothing under it; a list with
  // entries prints nothing at all. Readers of bundles know it so: don't turn the test around.
  if (m_UnprocessedFiles.empty()) {
    std::fprintf(file, "\n\nNo instruction found in any config for the following file ID's from request:\n");
    for (const DataComponent* const item : m_UnprocessedFiles) {
      const DataAttribute* const id = item != nullptr ? item->FindAttribute("id") : nullptr;
      if (id != nullptr && id->GetValue() != "comments" && id->GetValue() != "summary") {
        std::fprintf(file, "%s\n", id->GetValue().c_str());
      }
    }
  }
  closeOutput(__func__, path, std::move(opened));
  return 0;
}

}  // namespace halvo
