// TrialFolder: documents that their author names, laid out as a config folder for one run.
//
// The documents are read once, looked at for who else could have written them, and copied into a folder of
// this user's alone: what is run is what was looked at. The folder goes with the object, and with the program
// where a signal ends it. Used on one thread.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "vpn/Common/Utility/TemporaryFolder.h"

namespace halvo {

class TrialFolder {
 public:
  TrialFolder() = default;
  ~TrialFolder() = default;
  TrialFolder(const TrialFolder&) = delete;
  TrialFolder& operator=(const TrialFolder&) = delete;

  // Lays out the documents: files, and folders by the name rule of a folder load. Returns why that can't be
  // done, one line; empty on success. To be called once.
  [[nodiscard]] std::string add(const std::vector<std::string>& paths);

  // Whether any document has an item, or is none that can be looked into: of such the run tells.
  [[nodiscard]] bool mayHaveItems() const;

  // Writes a request for these items, each once. Returns why that can't be done, such as an item that no
  // document has.
  [[nodiscard]] std::string request(const std::vector<std::string>& ids);

  // Ends in "/".
  [[nodiscard]] std::string configFolder() const { return m_Folder.path() + "/config/"; }
  // Where the document came from that lies in the config folder as `path`; `path` itself for any other.
  [[nodiscard]] std::string givenPath(const std::string& path) const;
  // Empty without a request.
  [[nodiscard]] const std::string& requestPath() const { return m_strRequest; }

 private:
  std::string addDocument(const std::string& path);
  std::string addFolder(const std::string& path);

  TemporaryFolder m_Folder;
  std::map<std::string, std::string> m_Given;  // by the path in the config folder
  std::string m_strRequest;
  std::size_t m_nDocuments = 0;
};

}  // namespace halvo
