// StoredNames: the names under which the actions of one document store their files, and who meets whom.
//
// Items that a default run leaves out are gathered by request, and meet nobody but themselves.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckHost.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ElementCheck.h"

namespace halvo {

// Where an action stands.
struct ActionPlace {
  const DocumentElement* item;
  const DocumentElement* kind;
  std::string opsys;
  bool defaultItem;
  // The text of the item's `name`; empty without one.
  std::string itemName;
};

// Serves one document; `list` receives the findings. Names come in document order.
class StoredNames {
 public:
  StoredNames(FindingList& list, ICheckHost& host) : m_List(list), m_Host(host) {}

  // A file of a folder, or a pattern of such.
  void addCopy(const DocumentElement& element, const std::string& folder, const std::string& pattern,
               const ActionPlace& place);
  // The output of a captured program.
  void addResult(const DocumentElement& element, const std::string& baseName, const ActionPlace& place);

 private:
  struct Stored {
    const DocumentElement* kind;
    std::string folder;
    Position position;
  };
  using Key = std::pair<std::string, std::string>;

  void addNamesNow(const DocumentElement& element, const std::string& folder, const std::string& pattern,
                   const ActionPlace& place);

  FindingList& m_List;
  ICheckHost& m_Host;
  // Per system and name in the bundle: who stores there first, and from which folder.
  std::map<Key, Stored> m_Results;
  std::map<Key, Stored> m_Copies;
  // Names that patterns match now; a bounded number of patterns is looked at.
  std::map<Key, Stored> m_NamesNow;
  std::size_t m_nPatterns = 0;
  // Per item, system and name: the program whose output is stored there in a run by request.
  std::map<Key, std::pair<std::string, Position>> m_Named;
};

}  // namespace halvo
