#include <memory>
#include <string>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {

ResultCode fillSummaryFailedFile(XMLObject* summary, const std::string& id, const std::string& fileName,
                                 const std::string& description, const std::string& reason) {
  if (summary == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLSummary is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  if (summary->GetRoot() == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLSummary->GetRoot() is NULL");
    return TOLMENGINE_ERROR_NULL_XML_ROOT;
  }
  DataComponent* const failedFiles = summary->GetRoot()->FindChild("Manifest_Not_Included");
  if (failedFiles == nullptr) {
    LOG_MESSAGE(kLogError, "pDCFailedFiles is NULL");
    return TOLMENGINE_ERROR_NULL_XML_CHILD;
  }
  auto entry = std::make_unique<DataComponent>(id, fileName);
  entry->AddAttribute("description", description);
  entry->AddAttribute("reason", reason);
  summary->AddChild(failedFiles, std::move(entry));
  return 0;
}

ResultCode fillSummaryNote(XMLObject* summary, const std::string& text) {
  if (summary == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLSummary is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  if (summary->GetRoot() == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLSummary->GetRoot() is NULL");
    return TOLMENGINE_ERROR_NULL_XML_ROOT;
  }
  DataComponent* const notes = summary->GetRoot()->FindChild("Other_Note");
  if (notes == nullptr) {
    LOG_MESSAGE(kLogError, "pDCNoteComponent is NULL");
    return TOLMENGINE_ERROR_NULL_XML_CHILD;
  }
  summary->AddChild(notes, " - ", text);
  return 0;
}

}  // namespace halvo::helperUtil
