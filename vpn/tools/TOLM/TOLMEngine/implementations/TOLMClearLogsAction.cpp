#include "vpn/Common/Utility/PathText.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

ResultCode TOLMClearLogsAction::performFileAction(const XMLObject& actionXml,
                                                  std::list<FileRecord>& /*records*/) {
  FileActionAttributes attributes;
  if (const ResultCode rc = parseFileActionAttributes(actionXml, attributes); rc != 0) {
    return rc;
  }
  if (!attributes.clearLog) {
    return 0;
  }
  // All matches go: gather_newest has no effect here.
  const std::string folder = helperUtil::stringBeforeLast(attributes.translatedLocation, "/", true);
  std::string folderCopy = folder;
  std::string pattern = helperUtil::stringAfterLast(attributes.translatedLocation, "/");
  std::list<helperUtil::FileFindEntry> entries;
  if (helperUtil::fileFindAll(folderCopy, pattern, entries) != 0) {
    return 0;
  }
  for (const helperUtil::FileFindEntry& entry : entries) {
    if (!isDotName(entry.name)) {
      // What stays, such as a folder among the matches, is in the log.
      static_cast<void>(helperUtil::fileDelete(folder + entry.name));
    }
  }
  return 0;
}

ResultCode TOLMClearLogsAction::performExternalAction(const XMLObject& actionXml,
                                                      std::list<FileRecord>& /*records*/,
                                                      std::list<std::string>& /*tempFiles*/) {
  ExternalActionAttributes attributes;
  if (const ResultCode rc = parseExternalActionAttributes(actionXml, attributes); rc != 0) {
    return rc;
  }
  if (attributes.clearLog) {
    // Only `path` is translated. The empty output path always starts the program directly, also with
    // `stdout`, so that nothing is captured.
    static_cast<void>(callExtern(helperUtil::translatePath(attributes.path), attributes.clearArgs,
                                 attributes.useStdout, ""));
  }
  return 0;
}

}  // namespace halvo
