#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/IPC/ProcessAPI_unix.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

constexpr char kFileKind[] = "file_copy_action";
constexpr char kExternalKind[] = "use_extern_action";
constexpr char kPListKind[] = "get_file_to_copy_action";

constexpr char kNestedInPath[] =
    "Internal Error: unexpected further nested tags inside the <path></path> tag pairs in <action></action>.";
constexpr char kNestedInArgs[] =
    "Internal Error: unexpected further nested tags inside the <args></args> tag pairs in <action></action>.";
constexpr char kNestedInTempOut[] =
    "Internal Error: unexpected further nested tags inside the <tempOut></tempOut> tag pairs in "
    "<action></action>";

bool isTrue(const DataComponent& element, const char* attributeName) {
  const DataAttribute* attribute = element.FindAttribute(attributeName);
  return attribute != nullptr && attribute->GetValue() == "true";
}

// "regis" passes here and is refused by getPath(): the path is empty, and the action goes on.
bool isPathElement(const std::string& name) {
  return name == "path" || name == "plugin" || name == "regis";
}

// `path` is taken as read so far, so `args` has this effect only behind it.
void readArgs(const std::string& text, ExternalActionAttributes& attributes) {
  attributes.args = text;
  attributes.programName = helperUtil::stringBeforeFirst(text, " ");
  if (attributes.programName.empty()) {
    attributes.programName = text;
  }
  if (attributes.path == attributes.programName) {
    // Whatever the path is: where the command line begins with all of it, nothing is left of it.
    attributes.path = ".";
  } else if (helperUtil::stringAfterLast(attributes.path, "/") == attributes.programName) {
    attributes.path = helperUtil::stringBeforeLast(attributes.path, "/", true);
  }
  attributes.baseName = helperUtil::stringBeforeLast(attributes.programName, ".", true);
  if (!attributes.baseName.empty() && attributes.baseName.back() == '.') {
    attributes.baseName.pop_back();
  }
}

}  // namespace

TOLMAction::TOLMAction(const ActionContext& context, const DataComponent* osElement)
    : m_pOsElement(osElement), m_context(context) {}

TOLMAction::~TOLMAction() {
  endPreviousCommand();
}

void TOLMAction::Perform(std::list<FileRecord>& records) {
  for (const auto& kindElement : m_pOsElement->GetChildren()) {
    const std::string kind = kindElement->GetName();
    std::list<std::string> tempFiles;
    for (const auto& element : kindElement->GetChildren()) {
      // A copy, so that no action can change the document.
      const XMLObject actionXml(element.get());
      std::list<FileRecord> gathered;
      ResultCode rc = 0;
      const char* invoked = nullptr;
      if (kind == kFileKind) {
        rc = performFileAction(actionXml, gathered);
        invoked = "TOLMAction::performFileAction";
      } else if (kind == kExternalKind) {
        rc = performExternalAction(actionXml, gathered, tempFiles);
        invoked = "TOLMAction::performExternalAction";
      } else if (kind == kPListKind) {
        rc = performPListCopyAction(actionXml, m_context, gathered);
        invoked = "TOLMAction::performPListCopyAction";
      }
      if (rc == 0) {
        records.splice(records.end(), gathered);
      } else if (rc != TOLMENGINE_ERROR_FILE_NOT_FOUND || kind == kPListKind) {
        // A missing file stands in the summary already; what is wrong with a property list, in the log alone.
        LOG_RETURN_CODE(kLogError, invoked, rc);
      }
    }
    // Temporary files live until the end of their kind: a later command may append to the same one.
    for (const std::string& path : tempFiles) {
      // One that can't be deleted is logged there.
      static_cast<void>(helperUtil::fileDelete(path));
    }
  }
}

std::string TOLMAction::getPath(const DataComponent* pDC) {
  if (pDC == nullptr) {
    LOG_MESSAGE(kLogError, "pDC is NULL");
    return "";
  }
  if (pDC->GetName() == "path") {
    return pDC->GetValue();
  }
  if (pDC->GetName() == "plugin") {
    // The dot stays in. Meant so.
    const std::string folder = helperUtil::toolFolder() + "./plugin";
    return pDC->GetValue().empty() ? folder : folder + "/" + pDC->GetValue();
  }
  LOG_MESSAGE(kLogError, "pDC is of unknown type \"%s\"", pDC->GetName().c_str());
  return "";
}

ResultCode TOLMAction::parseFileActionAttributes(const XMLObject& rXMLActionSubtree,
                                                 FileActionAttributes& attributes) {
  const DataComponent* const root = rXMLActionSubtree.GetRoot();
  if (root == nullptr) {
    LOG_MESSAGE(kLogError, "rXMLActionSubtree.GetRoot() is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  const DataComponent* const truncateType = root->FindChild("truncate_type");
  attributes.truncateType = truncateType != nullptr ? truncateType->GetValue() : "";
  for (const auto& child : root->GetChildren()) {
    if (child->GetName() == "loc") {
      attributes.gatherNewest = attributes.gatherNewest || isTrue(*child, "gather_newest");
      attributes.location = child->GetValue();
      attributes.translatedLocation = helperUtil::translatePath(attributes.location);
    } else if (child->GetName() == "clear_log") {
      attributes.clearLog = attributes.clearLog || isTrue(*child, "apply");
    }
  }
  return 0;
}

ResultCode TOLMAction::parseExternalActionAttributes(const XMLObject& rXMLActionSubtree,
                                                     ExternalActionAttributes& attributes) {
  const DataComponent* const root = rXMLActionSubtree.GetRoot();
  if (root == nullptr) {
    LOG_MESSAGE(kLogError, "rXMLActionSubtree.GetRoot() is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  for (const auto& child : root->GetChildren()) {
    attributes.tag = child->GetName();
    if (isPathElement(attributes.tag)) {
      if (!child->IsLeaf()) {
        LOG_MESSAGE(kLogError, "%s", kNestedInPath);
        return TOLMENGINE_ERROR_INVALID_XML;
      }
      attributes.path = getPath(child.get());
    } else if (attributes.tag == "args") {
      if (!child->IsLeaf()) {
        LOG_MESSAGE(kLogError, "%s", kNestedInArgs);
        return TOLMENGINE_ERROR_INVALID_XML;
      }
      readArgs(child->GetValue(), attributes);
    } else if (attributes.tag == "clear_log") {
      if (isTrue(*child, "apply")) {
        attributes.clearLog = true;
        attributes.clearArgs = child->GetValue();
      }
    } else if (attributes.tag == "temp_out") {
      if (!child->IsLeaf()) {
        LOG_MESSAGE(kLogError, "%s", kNestedInTempOut);
        return TOLMENGINE_ERROR_INVALID_XML;
      }
      attributes.tempOut = child->GetValue();
    } else if (attributes.tag == "stdout") {
      attributes.useStdout = true;
    } else {
      LOG_MESSAGE(kLogError, "Internal Error: Unrecognized XML tag.");
      return TOLMENGINE_ERROR_UNKNOWN_XML_TAG;
    }
  }
  return 0;
}

std::string TOLMAction::getFileNameFromXML(const XMLObject& rXMLActionSubtree) {
  const DataComponent* const root = rXMLActionSubtree.GetRoot();
  if (root == nullptr) {
    LOG_MESSAGE(kLogError, "rXMLActionSubtree.GetRoot() is NULL");
    return "";
  }
  for (const auto& child : root->GetChildren()) {
    if (child->GetName() != "path") {
      continue;
    }
    if (!child->IsLeaf()) {
      LOG_MESSAGE(kLogError, "%s", kNestedInPath);
      return "";
    }
    return helperUtil::translatePath(getPath(child.get()));
  }
  return "";
}

std::string TOLMAction::resultCodeToText(ResultCode code) {
  switch (code) {
    case TOLMENGINE_ERROR_FILE_NOT_FOUND:
      return " File not found";
    case TOLMENGINE_ERROR_FILE_OPEN_FAILURE:
      return " Error occurred opening the file";
    default:
      return " Unexpected error occurred";
  }
}

std::string TOLMAction::failedCopyText(ResultCode code, const std::string& errorText) {
  return resultCodeToText(code) + (errorText.empty() ? "" : ": " + errorText);
}

FileRecord TOLMAction::makeRecord(const ActionContext& context, const std::string& path) const {
  FileRecord record;
  record.id = context.id;
  record.path = path;
  record.description = context.description;
  record.size = helperUtil::fileGetSize(path);
  record.requestedScheme = context.requestedScheme;
  record.requestedSize = context.requestedSize;
  record.defaultScheme = kTruncateNone;
  return record;
}

}  // namespace halvo
