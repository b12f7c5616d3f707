#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"

#include <cstdio>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Zip/CZip.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

// Fails a run from its own place: the record names this function and line.
#define FAIL_RUN(text, code) fail(__func__, __LINE__, (text), (code))

namespace halvo {

namespace {

constexpr char kTempFolder[] = "/tmp/TOLM_Temp_Bundle";
constexpr float kCollectShare = 92.0F;
constexpr std::uint32_t kCollectPercent = 92;
constexpr std::uint32_t kZipPercent = 96;
constexpr std::uint32_t kEndPercent = 100;
constexpr int kRequestMode = 1;
constexpr int kFolderMode = 2;
constexpr int kFailureRule = 100;
constexpr ResultCode kProcessing = TOLMOFFLINE_ERROR_PROCESSING;

// A share of the progress bar: single precision, cut towards zero.
std::uint32_t dividePercent(std::uint32_t amount, std::uint32_t parts) {
  return static_cast<std::uint32_t>(static_cast<float>(amount) / static_cast<float>(parts));
}

std::uint32_t shareOfOneConfig(std::uint32_t configs) {
  return static_cast<std::uint32_t>(kCollectShare / static_cast<float>(configs));
}

std::string configName(const XMLObject& config, std::uint32_t ordinal) {
  const DataComponent* const title = config.FindChildInGroup("configure", "title");
  return title != nullptr ? title->GetValue()
                          : "Unknown_" + helperUtil::floatToText(static_cast<float>(ordinal), 0);
}

}  // namespace

TOLMEngine::TOLMEngine(const std::string& requestPath, const std::string& bundlePath,
                       const std::string& password, bool clearLogs)
    : m_bClearLogs(clearLogs ? 1 : 0),
      m_strRequestPath(requestPath),
      m_strTempFolder(helperUtil::translatePath(kTempFolder)),
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
  m_strConfigFolder = folder.empty() || folder.back() == '/' ? folder : folder + "/";
}

std::string TOLMEngine::tempFolder() const {
  const std::lock_guard<std::mutex> guard(m_HeldFolderMutex);
  return m_strHeldFolder;
}

void TOLMEngine::setHeldFolder(const std::string& folder) {
  const std::lock_guard<std::mutex> guard(m_HeldFolderMutex);
  m_strHeldFolder = folder;
}

ResultCode TOLMEngine::run() {
  return m_bClearLogs == 0 ? collectLogs() : clearLogs();
}

ResultCode TOLMEngine::fail(const char* function, int line, const char* text, ResultCode code) {
  m_strFailureText = text;
  logDebugMessage(function, __FILE__, line, kLogError, "%s", text);
  reportProgress(0, text, code);
  removeTempFolder();
  return code;
}

ResultCode TOLMEngine::makeTempFolder() {
  const ResultCode rc = helperUtil::MakeDirectory(m_strTempFolder);
  if (rc == 0) {
    setHeldFolder(m_strTempFolder);
  }
  return rc;
}

void TOLMEngine::removeTempFolder() {
  helperUtil::fileDeleteDirectory(m_strTempFolder);
  setHeldFolder("");
}

ResultCode TOLMEngine::collectLogs() {
  reportProgress(1, "Starting up TOLM Engine...", kProcessing);
  m_pConfigMgr = std::make_unique<TOLMXmlLoader>();
  m_pRequestMgr = std::make_unique<TOLMXmlLoader>();
  reportProgress(1, "Parsing request and configuration XMLs...", kProcessing);
  if (const ResultCode rc = loadRequest(); rc != 0) {
    return rc;
  }

  m_pConfigMgr->load(m_strConfigFolder, kFolderMode, m_Configs);
  m_nConfigs = static_cast<std::uint32_t>(m_Configs.size());
  if (m_nConfigs == 0) {
    return FAIL_RUN("Internal Error: no valid configuration XML found...", TOLMENGINE_ERROR_INTERNAL);
  }
  m_FailedConfigs = m_pConfigMgr->GetFailedFiles();

  chooseTempFolder();
  if (const ResultCode rc = makeTempFolder(); rc != 0) {
    return FAIL_RUN("Internal Error: failed to create temporary working folder...", rc);
  }

  if (!collectConfigs()) {
    return FAIL_RUN("Internal Error: all configs failed...", TOLMENGINE_ERROR_INTERNAL);
  }
  if (const ResultCode rc = writeFailedFilesToSummary(m_pCollector->GetSummaryPath()); rc != 0) {
    LOG_RETURN_CODE(kLogWarning, "TOLMEngine::writeFailedFilesToSummary", rc);
  }

  reportProgress(kZipPercent, "Zipping the bundle, please wait...", kProcessing);
  m_strBundlePath = zipPath(m_strBundlePath);
  if (m_ArchiveStep(m_strTempFolder, m_strBundlePath, m_strPassword) != 0) {
    // The code is fixed; the archive's own isn't passed on.
    return FAIL_RUN("Internal Error: failed to zip the bundle...", TOLMENGINE_ERROR_WRITE_FAILURE);
  }
  removeTempFolder();
  reportProgress(kEndPercent, "TOLM has finished... ", kProcessing);
  reportProgress(0, "", 0);
  return 0;
}

std::string TOLMEngine::zipPath(const std::string& path) {
  return helperUtil::stringAfterLast(path, ".") == "zip" ? path : path + ".zip";
}

ResultCode TOLMEngine::loadRequest() {
  // Tried with an empty path too; what the parser logs then belongs to a normal default run.
  std::list<XMLObject*> documents;
  m_pRequestMgr->load(m_strRequestPath, kRequestMode, documents);
  if (documents.size() == 1) {
    m_pXMLRequest = documents.front();
    if (m_pXMLRequest->GetRoot() == nullptr) {
      return FAIL_RUN("Internal Error: TOLM has encountered an error...", TOLMENGINE_ERROR_NULL_POINTER);
    }
    for (const auto& child : m_pXMLRequest->GetRoot()->GetChildren()) {
      if (child->GetName() == "file") {
        m_UnprocessedFiles.push_back(child.get());
      }
    }
    return 0;
  }
  if (!m_strRequestPath.empty()) {
    return FAIL_RUN(
        "Internal Error: invalid request XML, please contact your administrator, or run in default mode",
        TOLMENGINE_ERROR_INVALID_XML);
  }
  m_pOwnedRequest = std::make_unique<XMLObject>();
  m_pXMLRequest = m_pOwnedRequest.get();
  return 0;
}

void TOLMEngine::chooseTempFolder() {
  const ResultCode rc = helperUtil::fileDeleteDirectory(m_strTempFolder);
  if (rc == 0) {
    return;
  }
  LOG_RETURN_CODE(kLogWarning, "helperUtil::fileDeleteDirectory", rc);
  // A folder that doesn't exist is told as "access denied", so a clean machine gets the suffix, and the
  // plain name is used only after a left-over folder has been removed. This is meant. The time text
  // begins with an underscore of its own.
  if (rc != TOLMENGINE_ERROR_FILE_NOT_FOUND) {
    m_strTempFolder += "_" + helperUtil::timeText(1) + "_" +
                       helperUtil::floatToText(static_cast<float>(helperUtil::randomFiveDigits()), 0);
  }
}

bool TOLMEngine::collectConfigs() {
  m_pCollector = std::make_unique<collector>(m_pXMLRequest, m_UnprocessedFiles, shareOfOneConfig(m_nConfigs),
                                             m_strBundlePath);
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
    std::string target = m_strTempFolder + "/" + name;
    if (helperUtil::MakeDirectory(target) != 0) {
      target = m_strTempFolder;
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
    m_pConfigMgr->load(m_strConfigFolder, kFolderMode, m_Configs);
  }
  m_nConfigs = static_cast<std::uint32_t>(m_Configs.size());
  if (m_nConfigs == 0) {
    return FAIL_RUN("Internal Error: no valid configuration XML found...", TOLMENGINE_ERROR_INTERNAL);
  }
  if (m_pCollector == nullptr) {
    m_pCollector = std::make_unique<collector>(m_pXMLRequest, m_UnprocessedFiles,
                                               shareOfOneConfig(m_nConfigs), m_strBundlePath);
  }
  std::uint32_t accumulated = 0;
  for (XMLObject* const config : m_Configs) {
    if (config != nullptr) {
      static_cast<void>(m_pCollector->Clear(config, dividePercent(accumulated, m_nConfigs)));
    }
    accumulated += kCollectPercent;
  }
  reportProgress(kEndPercent, "TOLM has finished... ", kProcessing);
  reportProgress(0, "", 0);
  return 0;
}

ResultCode TOLMEngine::writeFailedFilesToSummary(const std::string& path) {
  std::FILE* const file = std::fopen(path.c_str(), "a");
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "Could not open file \"%s\"", path.c_str());
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
  std::fclose(file);
  return 0;
}

}  // namespace halvo
