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
  // A folder that is missing or can't be listed is told to nobody.
  helperUtil::fileDeleteMatching(helperUtil::stringBeforeLast(attributes.translatedLocation, "/", true),
                                 helperUtil::stringAfterLast(attributes.translatedLocation, "/"));
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
