// Loading of instruction documents.
//
// TOLMXmlLoader is what the engine holds: it loads one document from a path or a text, or all config
// documents of a folder. TOLMMgr, on its stack, does the folder. Both are used on one thread; a
// document counts as valid if it is well-formed, whatever its elements are.

#pragma once

#include <list>
#include <memory>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMXmlMgr.h"

namespace halvo {

// What a loader's source is.
inline constexpr int kLoadText = 0;    // XML text in memory
inline constexpr int kLoadFile = 1;    // the path of one file
inline constexpr int kLoadFolder = 2;  // a folder of config documents

// The title below `configure`, by which readers know a config document; null where it has none.
[[nodiscard]] const DataComponent* findTitle(const XMLObject& document);

// Scans a folder and loads every file whose name ends in ".xml"; alive only during a folder load.
class TOLMMgr {
 public:
  // Loads the folder's files in the order of readdir, which decides which config wins where two hold
  // the same id. `folder` is used as given and must end in "/". Appends a new deep copy of each good
  // document to `documents`, owned by whoever holds the list. A folder that can't be opened loads
  // nothing and logs nothing; one whose listing breaks off loads what was listed.
  TOLMMgr(std::list<XMLObject*>& documents, const std::string& folder);
  virtual ~TOLMMgr() = default;

  // One code per file tried, 0 for a good one, in scan order.
  [[nodiscard]] std::list<ResultCode> GetParseResults() const { return m_ParseResults; }
  // Full paths of the files that failed to parse, in scan order.
  [[nodiscard]] std::list<std::string> GetFailedFiles() const { return m_FailedFiles; }

  // The errno value that broke the listing off, 0 for one that came to its end.
  [[nodiscard]] int GetListingError() const { return m_nListingError; }

  // Whether a folder load takes a file of that name: the name's first ".xml" must be its end. So
  // "a.xml" is taken; "a.XML", "a.xml.bak" and "a.xml.xml" aren't.
  [[nodiscard]] static bool isDocumentName(const std::string& fileName);

 private:
  [[nodiscard]] std::list<std::string> scanFolder(const std::string& folder);
  static void addFile(std::list<std::string>& paths, const std::string& folder, const std::string& fileName);
  void loadFile(std::list<XMLObject*>& documents, const std::string& path);

  std::list<ResultCode> m_ParseResults;
  std::list<std::string> m_FailedFiles;
  int m_nListingError = 0;
};

// Each loader serves one load.
class TOLMXmlLoader {
 public:
  TOLMXmlLoader();
  ~TOLMXmlLoader();
  TOLMXmlLoader(const TOLMXmlLoader&) = delete;
  TOLMXmlLoader& operator=(const TOLMXmlLoader&) = delete;

  // Appends what was loaded to `documents` and returns the list, or null where nothing was.
  //
  // kLoadText and kLoadFile append the loader's own tree, which lives as long as the loader. kLoadFolder
  // appends copies that belong to whoever holds the list, and counts a list that held entries before as
  // a success. Any other mode gives null. What is wrong with a document is logged by the front-end.
  std::list<XMLObject*>* load(const std::string& source, int mode, std::list<XMLObject*>& documents);

  // After kLoadFolder: the paths of the files that failed to parse, in scan order.
  [[nodiscard]] std::list<std::string> GetFailedFiles() const { return m_FailedFiles; }
  // After kLoadFolder: TOLMMgr's errno value of a listing that broke off.
  [[nodiscard]] int GetListingError() const { return m_nListingError; }
  [[nodiscard]] bool IsLoaded() const { return m_bLoaded; }
  [[nodiscard]] XmlMgr* GetXmlMgr() const { return m_pXmlMgr.get(); }

 private:
  std::unique_ptr<TOLMXmlMgr> m_pXmlMgr;
  bool m_bLoaded = false;
  std::list<std::string> m_FailedFiles;
  int m_nListingError = 0;
};

}  // namespace halvo
