#include <memory>
#include <string>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {

DataComponent* SummarySections::find(const std::string& name) {
  if (m_nChanges != DataComponent::changeNumber()) {
    m_Found.clear();
    m_nChanges = DataComponent::changeNumber();
  }
  const auto known = m_Found.find(name);
  if (known != m_Found.end()) {
    return known->second;
  }
  DataComponent* const found = m_pSummary->GetRoot()->FindChild(name);
  m_Found.emplace(name, found);
  return found;
}

void SummarySections::add(DataComponent* section, std::unique_ptr<DataComponent> entry) {
  // An entry that is named like a section is found in its stead, unless what is found so far stands ahead
  // of it in the same section.
  const auto known = m_Found.find(entry->GetName());
  if (known != m_Found.end() && (known->second == nullptr || known->second->GetParent() != section)) {
    m_Found.erase(known);
  }
  const bool isTrue = m_nChanges == DataComponent::changeNumber();
  m_pSummary->AddChild(section, std::move(entry));
  // This one change is accounted for; one that somebody else has made isn't.
  if (isTrue) {
    m_nChanges = DataComponent::changeNumber();
  }
}

void SummarySections::addFile(DataComponent* section, const std::string& id, const std::string& fileName,
                              const std::string& description, const DataAttribute::SharedName& last,
                              const std::string& lastValue) {
  static const auto s_pDescription = std::make_shared<const std::string>("description");
  auto entry = std::make_unique<DataComponent>(id, fileName);
  entry->AddAttribute(std::make_unique<DataAttribute>(s_pDescription, description));
  entry->AddAttribute(std::make_unique<DataAttribute>(last, lastValue));
  add(section, std::move(entry));
}

ResultCode fillSummaryFailedFile(XMLObject* summary, const std::string& id, const std::string& fileName,
                                 const std::string& description, const std::string& reason) {
  SummarySections sections(summary);
  return fillSummaryFailedFile(sections, id, fileName, description, reason);
}

ResultCode fillSummaryFailedFile(SummarySections& sections, const std::string& id,
                                 const std::string& fileName, const std::string& description,
                                 const std::string& reason) {
  if (sections.summary() == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLSummary is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  if (sections.summary()->GetRoot() == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLSummary->GetRoot() is NULL");
    return TOLMENGINE_ERROR_NULL_XML_ROOT;
  }
  DataComponent* const failedFiles = sections.find("Manifest_Not_Included");
  if (failedFiles == nullptr) {
    LOG_MESSAGE(kLogError, "pDCFailedFiles is NULL");
    return TOLMENGINE_ERROR_NULL_XML_CHILD;
  }
  static const auto s_pReason = std::make_shared<const std::string>("reason");
  sections.addFile(failedFiles, id, fileName, description, s_pReason, reason);
  return 0;
}

ResultCode fillSummaryNote(XMLObject* summary, const std::string& text) {
  SummarySections sections(summary);
  return fillSummaryNote(sections, text);
}

ResultCode fillSummaryNote(SummarySections& sections, const std::string& text) {
  if (sections.summary() == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLSummary is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  if (sections.summary()->GetRoot() == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLSummary->GetRoot() is NULL");
    return TOLMENGINE_ERROR_NULL_XML_ROOT;
  }
  DataComponent* const notes = sections.find("Other_Note");
  if (notes == nullptr) {
    LOG_MESSAGE(kLogError, "pDCNoteComponent is NULL");
    return TOLMENGINE_ERROR_NULL_XML_CHILD;
  }
  sections.add(notes, std::make_unique<DataComponent>(" - ", text));
  return 0;
}

}  // namespace halvo::helperUtil
