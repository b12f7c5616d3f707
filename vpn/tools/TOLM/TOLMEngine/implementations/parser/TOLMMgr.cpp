#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

#include <dirent.h>

#include <cstring>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMXmlParser.h"

namespace halvo {

namespace {

constexpr char kExtension[] = ".xml";

}  // namespace

TOLMMgr::TOLMMgr(std::list<XMLObject*>& documents, const std::string& folder) {
  for (const std::string& path : scanFolder(folder)) {
    loadFile(documents, path);
  }
}

std::list<std::string> TOLMMgr::scanFolder(const std::string& folder) {
  std::list<std::string> paths;
  DIR* const stream = opendir(folder.c_str());
  if (stream == nullptr) {
    return paths;
  }
  // Entries of any kind are taken: a folder named x.xml then fails to parse and is told as failed.
  while (const dirent* entry = readdir(stream)) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
      addFile(paths, folder, entry->d_name);
    }
  }
  closedir(stream);
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
    documents.push_back(new XMLObject(document->GetRoot()));
  }
}

TOLMXmlLoader::TOLMXmlLoader() : m_pXmlMgr(std::make_unique<TOLMXmlMgr>()) {}

TOLMXmlLoader::~TOLMXmlLoader() = default;

std::list<XMLObject*>* TOLMXmlLoader::load(const std::string& source, int mode,
                                           std::list<XMLObject*>& documents) {
  m_bLoaded = false;
  if (mode == 2) {
    const TOLMMgr folder(documents, source);
    m_FailedFiles = folder.GetFailedFiles();
    m_bLoaded = !documents.empty();
    return m_bLoaded ? &documents : nullptr;
  }
  if (mode != 0 && mode != 1) {
    return nullptr;
  }
  TOLMXmlParser parser(m_pXmlMgr.get());
  const ResultCode rc = mode == 1 ? parser.parseFile(source) : parser.parseMemory(source);
  if (rc != 0) {
    return nullptr;
  }
  m_bLoaded = true;
  documents.push_back(m_pXmlMgr->GetXMLObject());
  return &documents;
}

}  // namespace halvo
