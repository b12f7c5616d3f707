#include "vpn/tools/TOLM/TOLMAuthoring/plan/DocumentFolder.h"

#include <dirent.h>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/PathText.h"

namespace halvo {

namespace {

// In the order of the file system, which is that of a run: a sorted list would tell another one of two
// documents that use one title to be the later.
std::vector<std::string> documentNames(const std::string& folder) {
  std::vector<std::string> names;
  const FolderHolder stream(opendir(folder.c_str()));
  if (stream == nullptr) {
    return names;
  }
  while (const dirent* entry = readdir(stream.get())) {
    if (TOLMMgr::isDocumentName(entry->d_name)) {
      names.emplace_back(entry->d_name);
    }
  }
  return names;
}

}  // namespace

LoadedDocument loadDocument(const std::string& path) {
  LoadedDocument loaded;
  std::list<XMLObject*> documents;
  if (loaded.loader->load(path, kLoadFile, documents) != nullptr && documents.front()->GetRoot() != nullptr) {
    loaded.document = documents.front();
  }
  return loaded;
}

DocumentFolder::DocumentFolder(const std::string& path, bool withPositions) : m_strPath(withSlash(path)) {
  for (const std::string& name : documentNames(m_strPath)) {
    LoadedDocument loaded = loadDocument(m_strPath + name);
    if (withPositions && loaded.document != nullptr) {
      loaded.positions = std::make_unique<DocumentTree>(parseDocumentFile(m_strPath + name));
    }
    m_Sources.push_back({m_strPath + name, loaded.document, loaded.positions.get()});
    m_Loaded.push_back(std::move(loaded));
  }
}

}  // namespace halvo
