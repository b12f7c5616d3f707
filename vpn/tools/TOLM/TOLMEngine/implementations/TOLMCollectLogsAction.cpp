#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

ResultCode TOLMCollectLogsAction::performFileAction(const XMLObject& actionXml,
                                                    std::list<FileRecord>& records) {
  FileActionAttributes attributes;
  if (const ResultCode rc = parseFileActionAttributes(actionXml, attributes); rc != 0) {
    return rc;
  }
  return copyMatchingFiles(m_context, attributes, records);
}

ResultCode TOLMCollectLogsAction::copyMatchingFiles(const ActionContext& context,
                                                    const FileActionAttributes& attributes,
                                                    std::list<FileRecord>& records) {
  const std::string& location = attributes.translatedLocation;
  const std::string folder = helperUtil::stringBeforeLast(location, "/", true);
  const std::string pattern = helperUtil::stringAfterLast(location, "/");

  helperUtil::NewestFile newest;
  if (attributes.gatherNewest) {
    if (const ResultCode rc = helperUtil::fileGetNewestMatchingFile(folder, pattern, newest); rc != 0) {
      // The one failure of a copy that is the action's too. The others stand in the summary alone.
      helperUtil::fillSummaryFailedFile(context.summary, context.id, pattern, context.description,
                                        folder + pattern + " not found on client machine.");
      return rc;
    }
  }

  // The look-up changes both texts.
  std::string folderCopy = folder;
  std::string patternCopy = pattern;
  std::list<helperUtil::FileFindEntry> entries;
  if (helperUtil::fileFindAll(folderCopy, patternCopy, entries) != 0) {
    // A missing folder, one without a match and a refused one all read alike.
    helperUtil::fillSummaryFailedFile(context.summary, context.id, "N/A", context.description,
                                      "No file found with path matching: " + location);
    return 0;
  }

  for (const helperUtil::FileFindEntry& entry : entries) {
    if (isDotName(entry.name)) {
      continue;
    }
    // With "." or ".." as the newest match, no file passes here and nothing is reported. This is meant.
    if (attributes.gatherNewest && entry.name != newest.name) {
      continue;
    }
    const std::string source = folder + entry.name;
    const std::string destination =
        context.folder + "/" + helperUtil::buildBundleFileName(context.name, entry.name);
    std::string errorText;
    const ResultCode rc = helperUtil::fileCopy(source, destination, errorText);
    if (rc == 0) {
      records.push_back(makeRecord(context, destination));
      continue;
    }
    // The reason holds the location as the document has it, pattern and all; the words' own blank
    // keeps them apart.
    const std::string reason = attributes.location + failedCopyText(rc, errorText);
    helperUtil::fillSummaryFailedFile(context.summary, context.id, helperUtil::stringAfterLast(source, "/"),
                                      context.description, reason);
    if (attributes.gatherNewest) {
      break;
    }
  }
  return 0;
}

ResultCode TOLMCollectLogsAction::performExternalAction(const XMLObject& actionXml,
                                                        std::list<FileRecord>& records,
                                                        std::list<std::string>& tempFiles) {
  ExternalActionAttributes attributes;
  if (const ResultCode rc = parseExternalActionAttributes(actionXml, attributes); rc != 0) {
    return rc;
  }
  const std::string& name = m_context.name;
  if (attributes.useStdout) {
    // A program written with its path puts slashes into the name, and its output is lost. Meant so: documents
    // name captured programs bare.
    attributes.tempOut =
        m_context.folder + "/" + (name.empty() ? attributes.baseName + "_tmp.txt" : name + ".tmp");
  }
  const std::string path = helperUtil::translatePath(attributes.path);
  const std::string args = helperUtil::translatePath(attributes.args);
  const std::string tempOut = helperUtil::translatePath(attributes.tempOut);
  if (const ResultCode rc = callExtern(path, args, attributes.useStdout, tempOut); rc != 0) {
    LOG_RETURN_CODE(kLogError, "TOLMAction::callExtern", rc);
    return rc;
  }

  const std::string fileName = helperUtil::stringAfterLast(tempOut, "/");
  std::string storedName;
  if (attributes.useStdout) {
    storedName = name.empty() ? attributes.baseName + "_result.txt" : name;
  } else {
    storedName = helperUtil::buildBundleFileName(name, fileName);
  }
  const std::string destination = helperUtil::translatePath(m_context.folder + "/" + storedName);
  std::string errorText;
  if (const ResultCode rc = helperUtil::fileCopy(tempOut, destination, errorText); rc != 0) {
    std::string reason = "TOLM cannot access temporary output at: " + tempOut + " as specified by Config";
    if (!errorText.empty()) {
      reason += " Error returned:" + errorText;
    }
    // The file isn't put down for deletion: captured output stays in the bundle under its temporary name.
    helperUtil::fillSummaryFailedFile(m_context.summary, m_context.id, fileName, m_context.description,
                                      reason);
    LOG_RETURN_CODE_TEXT(kLogError, "helperUtil::fileCopy", rc, "%s", reason.c_str());
    return rc;
  }
  if (attributes.useStdout) {
    // The temporary file goes; in the bundle is its copy.
    renameLoss(tempOut, destination);
  }
  // Also a file that a launched program wrote by itself, wherever it lies, goes once it is copied.
  tempFiles.push_back(tempOut);
  records.push_back(makeRecord(m_context, destination));
  return 0;
}

}  // namespace halvo
