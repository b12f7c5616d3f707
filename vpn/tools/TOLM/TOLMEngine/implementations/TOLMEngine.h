// TOLMEngine: performs one whole run, from the instruction documents to the bundle.
//
// Built for one run, on any thread, run once and destroyed; neither copied nor reused. All that the
// caller learns of the outcome travels through reportProgress() (Progress.h); what is missing in a bundle
// under a good result stands in the losses (Losses.h). There is no cancel in here: a front-end that cancels
// ends the process.
//
// No exception leaves run(): it is the outermost catch of an allocation that fails, wherever below it. Such a
// run ends with TOLMENGINE_ERROR_MEMALLOC_FAILED and a text, as any failed run does; its work folder is
// removed as far as that is possible without memory.
//
// The engine owns the loaders, the config documents, the collector and all path and password
// strings. The password is an ordinary string for the engine's lifetime and isn't wiped.

#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/WorkFolder.h"

namespace halvo {

class TOLMXmlLoader;
class XMLObject;
class DataComponent;
class collector;

class TOLMEngine {
 public:
  // Makes one archive of everything below `folder` at `bundlePath`; an empty password means no
  // encryption. Every result but 0 ends the run with the one code told for the archive.
  using ArchiveStep = std::function<ResultCode(const std::string& folder, const std::string& bundlePath,
                                               const std::string& password)>;

  // `requestPath`: a request document, or empty for the default run. `bundlePath`: the bundle to
  // write; ".zip" is put behind it where it doesn't end so. `password`: empty for no encryption.
  // `clearLogs`: a clear run, which deletes logs and makes no bundle, instead of a collect run.
  TOLMEngine(const std::string& requestPath, const std::string& bundlePath, const std::string& password,
             bool clearLogs);
  ~TOLMEngine();

  TOLMEngine(const TOLMEngine&) = delete;
  TOLMEngine& operator=(const TOLMEngine&) = delete;

  // Replaces the step that makes the archive, which is CZip::Zip() with the recursive flag otherwise. A
  // front-end hands in its own because it has the bundle appear under its name only once it is whole,
  // which the archive's told calls can't do. Before run(); called on the run's thread.
  void setArchiveStep(ArchiveStep step) { m_ArchiveStep = std::move(step); }

  // Reads the config documents from another folder than helperUtil::defaultConfigFolder(). For the trial
  // run of a document's author alone: what a run may do comes from its documents. Before run(); a
  // missing "/" at the end is put there.
  void setConfigFolder(const std::string& folder);

  // The work folder while the run has one, empty before and afterwards: a front-end that a signal ends
  // removes it. By value, and on any thread.
  [[nodiscard]] std::string tempFolder() const { return m_TempFolder.held(); }

  // collectLogs() or clearLogs(), as the constructor was told. Returns the code that the finish
  // notification carries.
  ResultCode run();

  // The path of the bundle, with the ".zip" that a collect run has put behind it where it was missing.
  [[nodiscard]] const std::string& bundlePath() const { return m_strBundlePath; }

  // Where a run writes the bundle that `path` names: there, or with ".zip" behind it.
  [[nodiscard]] static std::string zipPath(const std::string& path);

  // The text of the failure that ended the run; empty before a run and after a success.
  [[nodiscard]] const std::string& failureText() const { return m_strFailureText; }
  // Why there was no work folder, with its path; empty where there was one.
  [[nodiscard]] const std::string& workFolderProblem() const { return m_TempFolder.problem(); }

 private:
  ResultCode collectLogs();
  ResultCode clearLogs();
  // Appends what the engine knows of failure to the summary file at `path`.
  // TOLMENGINE_ERROR_FILE_OPEN_FAILURE, logged, where the file can't be opened.
  [[nodiscard]] ResultCode writeFailedFilesToSummary(const std::string& path);

  // Steps of a collect run. loadRequest() returns 0 or the code of a run that it has failed;
  // collectConfigs() whether the run goes on.
  [[nodiscard]] ResultCode loadRequest();
  void loadConfigs();
  void makeCollector();
  [[nodiscard]] bool collectConfigs();

  // Ends a run that has no memory left.
  ResultCode endWithoutMemory() noexcept;

  // Ends a run: logs and reports the text, removes the temporary folder and returns the code.
  ResultCode fail(const char* function, int line, const char* text, ResultCode code);

  std::uint8_t m_bClearLogs;
  std::unique_ptr<collector> m_pCollector;
  std::unique_ptr<TOLMXmlLoader> m_pConfigMgr;
  std::unique_ptr<TOLMXmlLoader> m_pRequestMgr;
  // The request's items that no config has processed yet; the collector takes entries out of it.
  std::list<DataComponent*> m_UnprocessedFiles;
  // Names of config documents that could not be parsed or used.
  std::list<std::string> m_FailedConfigs;
  // The config documents in load order, owned.
  std::list<XMLObject*> m_Configs;
  std::string m_strRequestPath;
  WorkFolder m_TempFolder;
  std::string m_strBundlePath;
  std::string m_strPassword;
  std::uint32_t m_nConfigs;
  // The request document, or the empty document of the default run.
  XMLObject* m_pXMLRequest;
  // The empty document of the default run; null where a real request was loaded.
  std::unique_ptr<XMLObject> m_pOwnedRequest;
  std::string m_strFailureText;
  std::string m_strConfigFolder;
  ArchiveStep m_ArchiveStep;
  // Given back when an allocation fails, so that the run's end has something to work with.
  std::unique_ptr<char[]> m_pReserve;
};

}  // namespace halvo
