// Checks of the action elements of a config document, and of what several actions do to each other.

#pragma once

#include <string>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckHost.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ElementCheck.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/StoredNames.h"

namespace halvo {

// Serves one document; `list` receives the findings, `host` is the machine. Actions must be given in
// document order.
class ActionCheck {
 public:
  ActionCheck(FindingList& list, ICheckHost& host) : m_List(list), m_Host(host), m_Names(list, host) {}

  // One element below a kind element that a run knows.
  void check(const DocumentElement& action, const ActionPlace& place);

 private:
  void checkCopy(const DocumentElement& action, const ActionPlace& place);
  void checkLocation(const DocumentElement& loc);
  void checkCommand(const DocumentElement& action, const ActionPlace& place);
  void checkCommandChildren(const DocumentElement& action, const ActionPlace& place);
  void checkArgs(const DocumentElement& args, bool captured, const ActionPlace& place);
  void checkLaunch(const DocumentElement& element, const std::string& commandLine, const ActionPlace& place);
  void checkStdout(const DocumentElement& element);
  void checkTempOut(const DocumentElement& action, const DocumentElement* tempOut, bool captured,
                    const ActionPlace& place);
  void checkClearLog(const DocumentElement& clearLog, const ActionPlace& place, bool command);
  void checkList(const DocumentElement& action);
  void checkPathText(const DocumentElement& element);

  FindingList& m_List;
  ICheckHost& m_Host;
  StoredNames m_Names;
};

}  // namespace halvo
