#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {

namespace {

constexpr char kLogLocationKey[] = "UILogLocation";

// Reads one `dict`: the elements below the sibling behind each key of that name are file paths.
// Returns false for a key that has no sibling, which ends the `dict`.
bool readDict(const DataComponent& dict, std::vector<std::string>& locations) {
  const DataComponent::Children& children = dict.GetChildren();
  for (auto child = children.begin(); child != children.end(); ++child) {
    if ((*child)->GetName() != "key" || (*child)->GetValue() != kLogLocationKey) {
      continue;
    }
    // Whatever stands behind a key is its value, another key too.
    if (++child == children.end()) {
      return false;
    }
    for (const auto& entry : (*child)->GetChildren()) {
      // Up to the first zero byte, as the system's calls would take it.
      const std::string location = entry->GetValue().c_str();
      if (!location.empty()) {
        locations.push_back(location);
      }
    }
  }
  return true;
}

}  // namespace

ResultCode TOLMAction::getLogLocationArray(const std::string& file, std::vector<std::string>& locations) {
  if (file.empty()) {
    LOG_MESSAGE(kLogError, "Invalid input parameter");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  TOLMXmlLoader loader;
  std::list<XMLObject*> documents;
  // Its result says no more than the list.
  loader.load(file, kLoadFile, documents);
  if (documents.empty()) {
    LOG_MESSAGE(kLogError, "Unable to process XML parsing request");
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  const DataComponent* const root = documents.front()->GetRoot();
  if (root == nullptr) {
    LOG_MESSAGE(kLogError, "Invalid XML parameter");
    return TOLMENGINE_ERROR_NULL_POINTER;
  }
  for (const auto& child : root->GetChildren()) {
    if (child->GetName() == "dict" && !readDict(*child, locations)) {
      LOG_MESSAGE(kLogError, "Invalid pList file, no UI log locations found.");
    }
  }
  return 0;
}

ResultCode TOLMAction::performPListCopyAction(const XMLObject& actionXml, const ActionContext& context,
                                              std::list<FileRecord>& records) {
  if (actionXml.GetRoot() == nullptr) {
    LOG_MESSAGE(kLogError, "rXMLActionSubtree.GetRoot() is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  const std::string listPath = getFileNameFromXML(actionXml);
  if (listPath.empty()) {
    LOG_MESSAGE(kLogError, "No file location specified");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  std::vector<std::string> locations;
  if (const ResultCode rc = getLogLocationArray(listPath, locations); rc != 0) {
    // Perform() logs it a second time.
    LOG_RETURN_CODE(kLogError, "TOLMAction::performPListCopyAction", rc);
    return rc;
  }
  for (const std::string& location : locations) {
    if (location.empty()) {
      LOG_MESSAGE(kLogError, "Invalid file location");
      continue;
    }
    const std::string fileName = helperUtil::stringAfterLast(location, "/");
    // The item's name plays no part here, and nothing is translated.
    const std::string destination = context.folder + "/" + fileName;
    std::string errorText;
    const ResultCode rc = helperUtil::fileCopy(location, destination, errorText);
    if (rc == 0) {
      records.push_back(makeRecord(context, destination));
      continue;
    }
    // The reason names the property list; the file-name field tells which log it was.
    const std::string reason = listPath + failedCopyText(rc, errorText);
    helperUtil::fillSummaryFailedFile(context.summary, context.id, fileName, context.description, reason);
  }
  return 0;
}

}  // namespace halvo
