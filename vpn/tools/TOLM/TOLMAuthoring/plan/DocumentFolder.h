// Documents as a run loads them, for a plan: read by the engine's own loader, in the order of a folder load.
//
// A loaded document's tree belongs to its loader; pointers into it borrow. The engine's readers log while
// they read. Used on one thread.

#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {

// A document and the loader that owns it; `document` is null where it can't be parsed.
struct LoadedDocument {
  std::unique_ptr<TOLMXmlLoader> loader = std::make_unique<TOLMXmlLoader>();
  const XMLObject* document = nullptr;
  // Where its elements stand, where that was asked for.
  std::unique_ptr<DocumentTree> positions;
};

LoadedDocument loadDocument(const std::string& path);

class DocumentFolder {
 public:
  // Loads every document of the folder; none where it can't be read. `withPositions`: with the lines of
  // their elements too, which takes a second reading.
  explicit DocumentFolder(const std::string& path, bool withPositions = false);

  // Ends in "/".
  [[nodiscard]] const std::string& path() const { return m_strPath; }
  // In the order in which a run takes them. Valid as long as this object lives.
  [[nodiscard]] const std::vector<PlanSource>& sources() const { return m_Sources; }

 private:
  std::string m_strPath;
  std::list<LoadedDocument> m_Loaded;
  std::vector<PlanSource> m_Sources;
};

}  // namespace halvo
