// Checks of the action elements of a config document, and of what several actions do to each other.

#pragma once

#include <map>
#include <string>
#include <utility>

#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ElementCheck.h"

namespace halvo {

// Where an action stands.
struct ActionPlace {
  const DocumentElement* item;
  const DocumentElement* kind;
  std::string opsys;
  bool defaultItem;
};

// Serves one document; `list` receives the findings. Actions must be given in document order.
class ActionCheck {
 public:
  explicit ActionCheck(FindingList& list) : m_List(list) {}

  // One element below a kind element that a run knows.
  void check(const DocumentElement& action, const ActionPlace& place);

 private:
  void checkCopy(const DocumentElement& action, const ActionPlace& place);
  void checkLocation(const DocumentElement& loc);
  void checkCommand(const DocumentElement& action, const ActionPlace& place);
  void checkCommandChildren(const DocumentElement& action, const ActionPlace& place);
  void checkArgs(const DocumentElement& args, bool captured, const ActionPlace& place);
  void checkLaunch(const DocumentElement& element, const std::string& commandLine);
  void checkTempOut(const DocumentElement& action, const DocumentElement* tempOut, bool captured,
                    const ActionPlace& place);
  void checkClearLog(const DocumentElement& clearLog, const ActionPlace& place, bool command);
  void checkList(const DocumentElement& action);
  void checkPathText(const DocumentElement& element);
  void noteResult(const DocumentElement& element, const std::string& baseName, const ActionPlace& place);
  void noteStoredName(const DocumentElement& element, const std::string& folder, const std::string& name,
                      const ActionPlace& place);

  FindingList& m_List;
  // Per system and name in the bundle: who stores there first, and from which folder.
  struct Stored {
    const DocumentElement* kind;
    std::string folder;
    Position position;
  };
  std::map<std::pair<std::string, std::string>, Stored> m_Results;
  std::map<std::pair<std::string, std::string>, Stored> m_Copies;
};

}  // namespace halvo
