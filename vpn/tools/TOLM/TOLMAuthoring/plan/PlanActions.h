// ActionPlanner: the actions of one `os` element as a plan tells them, and what they leave in the bundle.

#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/plan/BundleModel.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/DeepWalk.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"

namespace halvo {

// Whether a run finds a variable in the name of a document's folder and looks for what it puts there
// elsewhere.
bool isExpanded(const std::string& folder);

// Serves one plan; actions come in the order of the run, since each changes what the next one finds. Host
// and model stay the caller's.
class ActionPlanner {
 public:
  ActionPlanner(IPlanHost& host, BundleModel& model, const PlanOptions& options)
      : m_Host(host),
        m_Model(model),
        m_Options(options),
        m_Walk(host, [this](const std::string& path) { return isGone(path); }) {}
  // The walk asks this object.
  ActionPlanner(const ActionPlanner&) = delete;
  ActionPlanner& operator=(const ActionPlanner&) = delete;

  // Where actions stand, for the lines that a plan tells.
  using Lines = std::map<const DataComponent*, std::uint32_t>;
  void setDocument(const std::string& path, const Lines& lines);

  // `name` is the item's configured name in a request run, empty otherwise. `folder` is the document's in the
  // model; without one nothing of what is stored lands in the bundle. Kinds that a run skips give nothing.
  std::vector<PlannedAction> plan(const DataComponent& os, const std::string& name,
                                  const std::optional<std::string>& folder);

  // The number of something at that place that is going to be stored.
  std::size_t newPlace(const PlannedPlace& place);
  // By the number of what was stored: the action that did it.
  [[nodiscard]] const std::vector<PlannedPlace>& places() const { return m_Places; }
  [[nodiscard]] bool isCut() const { return m_Walk.isCut(); }

 private:
  void planCopy(PlannedAction& action, const XMLObject& subtree);
  void planDeletion(PlannedAction& action, const FileActionAttributes& attributes);
  void planCommand(PlannedAction& action, const XMLObject& subtree);
  void planCapture(PlannedAction& action, const std::string& baseName);
  void planLaunch(PlannedAction& action);
  void planList(PlannedAction& action, const XMLObject& subtree);
  [[nodiscard]] ResultCode find(const std::string& folder, const std::string& pattern,
                                std::list<helperUtil::FileFindEntry>& entries);
  // `isFolder`: the listing that it comes from says so.
  PlannedFile planFile(const std::string& path, const std::string& storedAs, bool isFolder);
  // To whoever asked for the files, or into the action.
  void takeFile(PlannedAction& action, PlannedFile file);
  void store(PlannedFile& file, HostKind kind);
  void endKind();
  std::size_t newId();
  [[nodiscard]] bool isGone(const std::string& path) const;
  [[nodiscard]] std::string nameOnMachine(const std::string& path) const;

  IPlanHost& m_Host;
  BundleModel& m_Model;
  PlanOptions m_Options;
  DeepWalk m_Walk;

  std::string m_strDocument;
  const Lines* m_pLines = nullptr;
  std::vector<PlannedPlace> m_Places;

  // Of the present `os` and action.
  std::string m_strName;
  std::optional<std::string> m_Folder;
  std::uint32_t m_nLine = 0;
  // Of folders that were stored, what came along with them.
  std::map<std::size_t, std::vector<PlannedEntry>> m_Insides;
  // Files of the machine that the run has deleted by now.
  std::set<std::string> m_Gone;
  // What goes at the end of the present kind: paths of the model and of the machine.
  std::map<std::string, std::size_t> m_TempNames;
  std::vector<std::string> m_TempFiles;
};

}  // namespace halvo
