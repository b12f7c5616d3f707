// TOLMAction: carries out the instructions of one `os` element of an item.
//
// The base class walks the action kinds and their actions and reads action elements into attribute
// records; what "perform" means is the derived class's: TOLMCollectLogsAction gathers,
// TOLMClearLogsAction clears. An action object lives on its caller's stack for one Perform(), on the
// engine's thread; the `os` element and the summary are borrowed. One failed action ends neither its
// kind nor the item.

#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/FileRecord.h"

namespace halvo {

class CProcessApi;

// What an action element of kind `file_copy_action` says.
struct FileActionAttributes {
  std::string location;            // text of `loc`, as written; the last one wins
  std::string translatedLocation;  // the same after translatePath
  std::string truncateType;        // text of `truncate_type`; read by nothing
  bool gatherNewest = false;       // any `loc` has gather_newest="true"
  bool clearLog = false;           // a `clear_log` has apply="true"
};

// What an action element of kind `use_extern_action` says.
struct ExternalActionAttributes {
  std::string programName;  // first word of `args`, or all of it when that word is empty
  std::string path;         // from `path` or `plugin`, reduced to a folder by an `args` behind it
  std::string args;         // the whole command line
  std::string tempOut;      // text of `temp_out`
  std::string tag;          // name of the child being read
  std::string clearArgs;    // text of `clear_log`, when apply is "true"
  std::string baseName;     // programName without its last dot and what follows
  bool clearLog = false;
  bool useStdout = false;
};

class TOLMAction {
 public:
  // Ends a child process that is still registered, with SIGTERM.
  virtual ~TOLMAction();

  TOLMAction(const TOLMAction&) = delete;
  TOLMAction& operator=(const TOLMAction&) = delete;

  // Performs every action of every kind below the `os` element, in document order, and appends what
  // was gathered to `records`. Failures stay inside: they show as log lines and summary entries.
  virtual void Perform(std::list<FileRecord>& records);

 protected:
  TOLMAction(const ActionContext& context, const DataComponent* osElement);

  // One action element of each kind; `actionXml` is a copy of it. `tempFiles` receives paths that
  // Perform() deletes when the kind ends.
  [[nodiscard]] virtual ResultCode performFileAction(const XMLObject& actionXml,
                                                     std::list<FileRecord>& records) = 0;
  [[nodiscard]] virtual ResultCode performExternalAction(const XMLObject& actionXml,
                                                         std::list<FileRecord>& records,
                                                         std::list<std::string>& tempFiles) = 0;

  // Gathers the files that a property list names. Not a slot: this kind has no clearing form, and a
  // clear run copies just as a gathering run does. A record of each copy goes to `records`; a copy that
  // fails is told in the context's summary and changes no result.
  //
  // TOLMENGINE_ERROR_BAD_PARAMETER without a root or a location, else getLogLocationArray()'s code; both
  // are logged and leave no summary entry.
  [[nodiscard]] ResultCode performPListCopyAction(const XMLObject& actionXml, const ActionContext& context,
                                                  std::list<FileRecord>& records);

  // Runs a command and waits for its end, without a time limit; the command before is ended first. With
  // `useStdout` and a `tempOut` the shell runs `commandLine` and its output is appended to the file
  // `tempOut` below a banner; otherwise the program ahead of the first blank is started with all the text
  // behind it as its one argument, and progress is reported once a second. `path` has no effect on how a
  // program is found.
  //
  // Returns 0 whatever the program's exit status, and also where a launched program can't be found:
  // PROCESS_API_ERROR_WAIT_TIMEOUT where a signal ended the program, or where it ended between a wait that
  // ran out and the next look; the code of CCommandShell::Execute() or CProcessApi::Launch() where nothing
  // could be started, logged and told in the context's summary as "Failed to execute".
  [[nodiscard]] ResultCode callExtern(const std::string& path, const std::string& commandLine, bool useStdout,
                                      const std::string& tempOut);

  // A record of a file that now lies at `path` in the work folder.
  [[nodiscard]] FileRecord makeRecord(const ActionContext& context, const std::string& path) const;

 public:
  // Readers of action elements; public for those who only want to know what a document says.

  // The path that a `path` or `plugin` element stands for; empty for any other (logged).
  [[nodiscard]] static std::string getPath(const DataComponent* pDC);
  // Unknown children are passed over. TOLMENGINE_ERROR_BAD_PARAMETER without a root, logged.
  [[nodiscard]] static ResultCode parseFileActionAttributes(const XMLObject& rXMLActionSubtree,
                                                            FileActionAttributes& attributes);
  // Strict: an unknown child fails the action with TOLMENGINE_ERROR_UNKNOWN_XML_TAG, and elements inside a
  // leaf fail it with TOLMENGINE_ERROR_INVALID_XML. TOLMENGINE_ERROR_BAD_PARAMETER without a root. All are
  // logged.
  [[nodiscard]] static ResultCode parseExternalActionAttributes(const XMLObject& rXMLActionSubtree,
                                                                ExternalActionAttributes& attributes);
  // The translated text of the first `path` child, or empty; elements inside it are logged.
  [[nodiscard]] static std::string getFileNameFromXML(const XMLObject& rXMLActionSubtree);
  // The log files that the property list at `file`, in XML form, names under "UILogLocation", in document
  // order, appended to `locations`. 0 also where it names none.
  //
  // TOLMENGINE_ERROR_BAD_PARAMETER for an empty `file`, TOLMENGINE_ERROR_FILE_OPEN_FAILURE for one that is
  // missing or not well-formed, TOLMENGINE_ERROR_NULL_POINTER without a root. All are logged, and so is a
  // key without an element behind it, which is no failure.
  [[nodiscard]] static ResultCode getLogLocationArray(const std::string& file,
                                                      std::vector<std::string>& locations);
  // The words for a failed copy; each begins with a blank, since it is written behind a path.
  [[nodiscard]] static std::string resultCodeToText(ResultCode code);
  // The same with the system's words behind them, where there are any.
  [[nodiscard]] static std::string failedCopyText(ResultCode code, const std::string& errorText);

 protected:
  std::unique_ptr<CProcessApi> m_pProcessApi;
  std::int32_t m_pid = 0;  // of the last launched child; stays set after its end
  const DataComponent* m_pOsElement;
  ActionContext m_context;

 private:
  void endPreviousCommand();
  [[nodiscard]] ResultCode runInShell(const std::string& commandLine, const std::string& tempOut);
  [[nodiscard]] ResultCode launchProgram(const std::string& path, const std::string& commandLine);
  [[nodiscard]] ResultCode waitForChild(const std::string& commandLine);
};

// Gathers: copies files, runs commands and keeps their output.
class TOLMCollectLogsAction : public TOLMAction {
 public:
  TOLMCollectLogsAction(const ActionContext& context, const DataComponent* osElement)
      : TOLMAction(context, osElement) {}

 protected:
  ResultCode performFileAction(const XMLObject& actionXml, std::list<FileRecord>& records) override;
  ResultCode performExternalAction(const XMLObject& actionXml, std::list<FileRecord>& records,
                                   std::list<std::string>& tempFiles) override;

 private:
  [[nodiscard]] ResultCode copyMatchingFiles(const ActionContext& context,
                                             const FileActionAttributes& attributes,
                                             std::list<FileRecord>& records);
};

// Clears: deletes the files, or runs the commands, of actions whose `clear_log` says apply="true".
class TOLMClearLogsAction : public TOLMAction {
 public:
  TOLMClearLogsAction(const ActionContext& context, const DataComponent* osElement)
      : TOLMAction(context, osElement) {}

 protected:
  ResultCode performFileAction(const XMLObject& actionXml, std::list<FileRecord>& records) override;
  ResultCode performExternalAction(const XMLObject& actionXml, std::list<FileRecord>& records,
                                   std::list<std::string>& tempFiles) override;
};

}  // namespace halvo
