#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

#include <cerrno>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/PathText.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMXmlParser.h"

namespace halvo {

namespace {

constexpr char kExtension[] = ".xml";

}  // namespace

const DataComponent* findTitle(const XMLObject& document) {
  return document.FindChildInGroup("configure", "title");
}

TOLMMgr::TOLMMgr(std::list<XMLObject*>& documents, const std::string& folder) {
  for (const std::string& path : scanFolder(folder)) {
    loadFile(documents, path);
  }
}

std::list<std::string> TOLMMgr::scanFolder(const std::string& folder) {
  std::list<std::string> paths;
  const FolderHolder stream(opendir(folder.c_str()));
  if (stream == nullptr) {
    return paths;
  }
  // Entries of any kind are taken: a folder named x.xml then fails to parse and is told as failed.
  errno = 0;
  while (const dirent* entry = readdir(stream.get())) {
    if (!isDotName(entry->d_name)) {
      addFile(paths, folder, entry->d_name);
    }
    // The log and the list leave an errno of their own.
    errno = 0;
  }
  m_nListingError = errno;
  return paths;
}

bool TOLMMgr::isDocumentName(const std::string& fileName) {
  constexpr std::size_t length = sizeof(kExtension) - 1;
  // Only the first occurrence is looked at, so "a.xml.xml" is dropped. This is meant.
  const std::size_t first = fileName.find(kExtension);
  return first != std::string::npos && first + length == fileName.size();
}

void TOLMMgr::addFile(std::list<std::string>& paths, const std::string& folder, const std::string& fileName) {
  if (!isDocumentName(fileName)) {
    return;
  }
  const std::string path = folder + fileName;
  LOG_RETURN_CODE_TEXT(kLogInformation, "found file", 0, "%s", path.c_str());
  paths.push_back(path);
}

void TOLMMgr::loadFile(std::list<XMLObject*>& documents, const std::string& path) {
  TOLMXmlMgr xmlMgr;
  TOLMXmlParser parser(&xmlMgr);
  const ResultCode rc = parser.parseFile(path);
  m_ParseResults.push_back(rc);
  if (rc != 0) {
    m_FailedFiles.push_back(path);
    return;
  }
  if (const XMLObject* document = xmlMgr.GetXMLObject(); document != nullptr) {
    // Held until the list has it: the list's own memory can run out.
    auto copy = std::make_unique<XMLObject>(document->GetRoot());
    documents.push_back(copy.get());
    static_cast<void>(copy.release());
  }
}

TOLMXmlLoader::TOLMXmlLoader() : m_pXmlMgr(std::make_unique<TOLMXmlMgr>()) {}

TOLMXmlLoader::~TOLMXmlLoader() = default;

std::list<XMLObject*>* TOLMXmlLoader::load(const std::string& source, int mode,
                                           std::list<XMLObject*>& documents) {
  m_bLoaded = false;
  if (mode == kLoadFolder) {
    const TOLMMgr folder(documents, source);
    m_FailedFiles = folder.GetFailedFiles();
    m_nListingError = folder.GetListingError();
    m_bLoaded = !documents.empty();
    return m_bLoaded ? &documents : nullptr;
  }
  if (mode != kLoadText && mode != kLoadFile) {
    return nullptr;
  }
  TOLMXmlParser parser(m_pXmlMgr.get());
  const ResultCode rc = mode == kLoadFile ? parser.parseFile(source) : parser.parseMemory(source);
  if (rc != 0) {
    return nullptr;
  }
  m_bLoaded = true;
  // The manager keeps it, and with it what a failed parse leaves half done.
  documents.push_back(m_pXmlMgr->GetXMLObject());
  return &documents;
}

}  // namespace halvo
