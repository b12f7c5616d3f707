#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

#include <algorithm>
#include <list>
#include <set>

#include "vpn/tools/TOLM/TOLMAuthoring/plan/PlanActions.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {

namespace {

// The instruction reader as the collector moves it, which keeps its place where an item has no `tolm`.
class Reader {
 public:
  // The `os` element for this system, null if none.
  const DataComponent* moveTo(const DataComponent& item) {
    if (const DataComponent* const tolm = item.FindChild("tolm"); tolm != nullptr) {
      m_pPlace = tolm;
    }
    if (m_pPlace == nullptr) {
      return nullptr;
    }
    for (const auto& child : m_pPlace->GetChildren()) {
      if (child->GetName() != "os") {
        continue;
      }
      const DataAttribute* const system = child->FindAttribute("opsys");
      if (collector::isCurrentOS(system != nullptr ? system->GetValue() : "")) {
        m_pPlace = child.get();
        return m_pPlace;
      }
    }
    return nullptr;
  }

 private:
  const DataComponent* m_pPlace = nullptr;
};

// The lines of a document's elements, found by walking its two trees side by side: both come out of the
// same events of the same parser.
void mapLines(const DataComponent& component, const DocumentElement& element, ActionPlanner::Lines& lines) {
  lines[&component] = element.position.line;
  auto other = element.children.begin();
  for (const auto& child : component.GetChildren()) {
    if (other == element.children.end()) {
      return;
    }
    mapLines(*child, **other++, lines);
  }
}

class Planner {
 public:
  Planner(const XMLObject* request, IPlanHost& host, const PlanOptions& options)
      : m_pRequest(request), m_Options(options), m_Actions(host, m_Model, options) {}

  PlannedDocument planDocument(const PlanSource& source, Plan& plan) {
    PlannedDocument document;
    document.path = source.path;
    document.parsed = source.document != nullptr;
    if (!document.parsed) {
      return document;
    }
    ++m_nOrdinal;
    const DataComponent* const title = findTitle(*source.document);
    document.title = title != nullptr ? title->GetValue() : "Unknown_" + std::to_string(m_nOrdinal);
    ActionPlanner::Lines lines;
    if (source.positions != nullptr && source.positions->root != nullptr) {
      mapLines(*source.document->GetRoot(), *source.positions->root, lines);
    }
    m_Actions.setDocument(source.path, lines);
    if (!m_Options.clear) {
      chooseFolder(document);
    }
    if (m_pRequest != nullptr && !m_Options.clear) {
      walkRequest(*source.document, document.items);
    } else {
      walkDefault(*source.document, document.items);
    }
    if (!m_Options.clear) {
      closeDocument(document, plan);
    }
    return document;
  }

  // After the last document: what became of everything that was stored, and the sums.
  void finish(Plan& plan) const {
    for (PlannedDocument& document : plan.documents) {
      for (PlannedItem& item : document.items) {
        for (PlannedAction& action : item.actions) {
          action.replacedBy = replacer(action.id);
          for (PlannedFile& file : action.files) {
            file.replacedBy = replacer(file.id);
          }
          if (isSelected(item.selection) && (document.folder || m_Options.clear)) {
            add(action, item.totals);
          }
        }
        plan.totals.files += item.totals.files;
        plan.totals.bytes += item.totals.bytes;
        plan.totals.commands += item.totals.commands;
      }
    }
    if (!plan.summaryReplacedBy) {
      plan.summaryReplacedBy = summaryReplacer();
    }
    plan.failure = m_Options.clear ? "" : failureOf(plan.documents);
    plan.cut = m_Actions.isCut();
    plan.bundleNames = m_Model.names();
  }

  void walkDefault(const XMLObject& config, std::vector<PlannedItem>& items) {
    std::list<DataComponent*> components = collector::getFileComponents(config);
    components.sort(collector::compareFileId);
    for (const DataComponent* const component : components) {
      items.push_back(collector::isDefaultFile(component) ? select(*component, Selection::kDefault, "")
                                                          : leaveOut(*component, Selection::kNotDefault));
    }
  }

  void walkRequest(const XMLObject& config, std::vector<PlannedItem>& items) {
    std::list<DataComponent*> wanted = collector::getFileComponents(*m_pRequest);
    std::list<DataComponent*> components = collector::getFileComponents(config);
    wanted.sort(collector::compareFileId);
    components.sort(collector::compareFileId);
    std::set<const DataComponent*> chosen;
    std::set<std::string> chosenIds;
    auto cursor = components.begin();
    for (const DataComponent* const item : wanted) {
      if (collector::hasFileId(item, "comments") || collector::hasFileId(item, "summary")) {
        continue;
      }
      const std::string id = collector::getFileId(item);
      while (cursor != components.end() && collector::getFileId(*cursor) < id) {
        ++cursor;
      }
      if (cursor == components.end() || collector::getFileId(*cursor) != id) {
        continue;
      }
      items.push_back(select(**cursor, Selection::kRequested, collector::getFileName(*cursor)));
      chosen.insert(*cursor);
      chosenIds.insert(id);
      // As a run takes an item off its list: only where it has gathered for it.
      if (items.back().hasOs) {
        m_Matched.insert(item);
      }
    }
    for (const DataComponent* const component : components) {
      if (chosen.find(component) == chosen.end()) {
        const bool shadowed = chosenIds.find(collector::getFileId(component)) != chosenIds.end();
        items.push_back(leaveOut(*component, shadowed ? Selection::kShadowed : Selection::kNotRequested));
      }
    }
  }

  // After the last document: what was asked for in vain.
  void describeRequest(Plan& plan) const {
    for (const DataComponent* const item : wantedItems()) {
      if (!collector::hasFileId(item, "comments") && !collector::hasFileId(item, "summary") &&
          m_Matched.find(item) == m_Matched.end()) {
        plan.unmatchedIds.push_back(collector::getFileId(item));
      }
    }
  }

 private:
  [[nodiscard]] std::list<DataComponent*> wantedItems() const {
    std::list<DataComponent*> wanted = collector::getFileComponents(*m_pRequest);
    wanted.sort(collector::compareFileId);
    return wanted;
  }

  // The names of the summary and of the comments.
  void describeFiles(Plan& plan) const {
    const DataComponent* commentsItem = nullptr;
    bool summaryNamed = false;
    for (const DataComponent* const item : wantedItems()) {
      if (collector::hasFileId(item, "comments")) {
        commentsItem = item;
      } else if (collector::hasFileId(item, "summary")) {
        const std::string name = collector::getFileName(item);
        if (!summaryNamed && !name.empty()) {
          plan.summaryFile = name;
        }
        summaryNamed = true;
      }
    }
    const DataComponent* const comments = m_pRequest->GetRoot()->FindChild("comments");
    if (comments != nullptr && !comments->GetValue().empty()) {
      const DataComponent* const name = commentsItem != nullptr ? commentsItem->FindChild("name") : nullptr;
      plan.commentsFile = name != nullptr ? name->GetValue() : "comments.txt";
    }
  }

  // As the engine makes a document's folder: where that fails, the files go to the top.
  void chooseFolder(PlannedDocument& document) {
    const std::optional<std::string> path = BundleModel::normalized(document.title);
    if (!path) {
      m_Folder.reset();
      return;
    }
    m_Folder = m_Model.makeFolder(document.title) ? *path : "";
    document.folder = m_Folder->empty() ? "" : *m_Folder + "/";
  }

  // The first document decides where the summary and the comments lie: beside its folder.
  void closeDocument(PlannedDocument& document, Plan& plan) {
    if (!m_bSummaryPlaced) {
      m_bSummaryPlaced = true;
      if (m_pRequest != nullptr) {
        describeFiles(plan);
      }
      if (m_Folder && !m_Folder->empty() && !isExpanded(*m_Folder)) {
        const std::string beside = *m_Folder + "/../";
        if (!plan.commentsFile.empty()) {
          static_cast<void>(m_Model.appendTo(beside + plan.commentsFile));
        }
        plan.summaryPath = BundleModel::normalized(beside + plan.summaryFile);
        m_bSummaryBlocked = plan.summaryPath && !m_Model.appendTo(beside + plan.summaryFile);
      }
    } else if (plan.summaryPath) {
      // Appended to, whatever lies there by now.
      m_bSummaryBlocked = m_bSummaryBlocked || !m_Model.appendTo(*plan.summaryPath);
    }
    if (plan.summaryPath && !m_bSummaryBlocked) {
      const std::size_t id = m_Actions.newPlace({*plan.summaryPath, 0});
      m_Model.writeBehind(*plan.summaryPath, id);
      // What stood in it goes with a file that is stored in its place later.
      if (!plan.summaryReplacedBy && m_nSummary != BundleModel::kNobody) {
        plan.summaryReplacedBy = summaryReplacer();
      }
      m_nSummary = id;
      m_Model.own(*plan.summaryPath, id);
    }
    if (m_bSummaryBlocked) {
      document.problem =
          "the summary can't be written: a folder lies in its place; a run counts the document as failed";
    }
  }

  // The action that stored a file over the summary; another section behind it is none.
  [[nodiscard]] std::optional<PlannedPlace> summaryReplacer() const {
    const std::optional<PlannedPlace> by = replacer(m_nSummary);
    return by && by->line == 0 && by->document.find('/') != 0 ? std::nullopt : by;
  }

  // As the engine compares: once a document has failed, the failed ones, with those that aren't well-formed,
  // against the well-formed ones. A document that succeeds doesn't save such a run.
  [[nodiscard]] static std::string failureOf(const std::vector<PlannedDocument>& documents) {
    std::size_t parsed = 0;
    std::size_t failing = 0;
    for (const PlannedDocument& document : documents) {
      parsed += document.parsed ? 1 : 0;
      failing += document.problem.empty() ? 0 : 1;
    }
    const std::size_t failed = failing + documents.size() - parsed;
    return failing > 0 && failed == parsed ? "as many documents fail as can be used" : "";
  }

  [[nodiscard]] std::optional<PlannedPlace> replacer(std::size_t id) const {
    const std::size_t by = id == BundleModel::kNobody ? id : m_Model.replacer(id);
    if (by == BundleModel::kNobody) {
      return std::nullopt;
    }
    return m_Actions.places()[by];
  }

  static void add(const PlannedAction& action, PlannedTotals& totals) {
    totals.commands += action.kind == PlannedKind::kCapture || action.kind == PlannedKind::kLaunch ? 1 : 0;
    for (const PlannedFile& file : action.files) {
      if (!file.problem.empty() || file.replacedBy) {
        continue;
      }
      if (file.inside.empty()) {
        ++totals.files;
        totals.bytes += std::max<std::int64_t>(file.size, 0);
      }
      for (const PlannedEntry& entry : file.inside) {
        if (entry.problem.empty() && !entry.isFolder) {
          ++totals.files;
          totals.bytes += std::max<std::int64_t>(entry.size, 0);
        }
      }
    }
  }

  PlannedItem leaveOut(const DataComponent& component, Selection selection) {
    PlannedItem item;
    item.id = collector::getFileId(&component);
    item.description = collector::getFileDescription(&component);
    item.selection = selection;
    if (!isSelected(selection) && m_Options.all) {
      // Told, and nothing of it reaches the bundle; the run's own reader stays where it is.
      Reader reader;
      if (const DataComponent* const os = reader.moveTo(component); os != nullptr) {
        item.hasOs = true;
        item.opsys = os->FindAttribute("opsys")->GetValue();
        item.actions = m_Actions.plan(*os, "", std::nullopt);
      }
    }
    return item;
  }

  PlannedItem select(const DataComponent& component, Selection selection, const std::string& name) {
    PlannedItem item = leaveOut(component, selection);
    const DataComponent* const os = m_Reader.moveTo(component);
    if (os != nullptr) {
      item.hasOs = true;
      item.opsys = os->FindAttribute("opsys")->GetValue();
      item.actions = m_Actions.plan(*os, name, m_Folder);
    }
    return item;
  }

  const XMLObject* m_pRequest;
  PlanOptions m_Options;
  BundleModel m_Model;
  ActionPlanner m_Actions;
  Reader m_Reader;
  std::size_t m_nOrdinal = 0;
  // Of the present document, in the model; nothing where it lies outside of the bundle.
  std::optional<std::string> m_Folder;
  bool m_bSummaryPlaced = false;
  std::size_t m_nSummary = BundleModel::kNobody;
  bool m_bSummaryBlocked = false;
  std::set<const DataComponent*> m_Matched;
};

}  // namespace

bool isSelected(Selection selection) {
  return selection == Selection::kDefault || selection == Selection::kRequested;
}

const char* selectionName(Selection selection) {
  switch (selection) {
    case Selection::kDefault:
      return "default";
    case Selection::kRequested:
      return "requested";
    case Selection::kNotDefault:
      return "not-default";
    case Selection::kNotRequested:
      return "not-requested";
    case Selection::kShadowed:
      break;
  }
  return "shadowed";
}

const char* selectionText(Selection selection) {
  switch (selection) {
    case Selection::kDefault:
      return "selected, a default item";
    case Selection::kRequested:
      return "selected, the request names it";
    case Selection::kNotDefault:
      return "left out, its <default> isn't \"true\"";
    case Selection::kNotRequested:
      return "left out, the request doesn't name it";
    case Selection::kShadowed:
      break;
  }
  return "left out, an item of the same id stands ahead of it";
}

Plan buildPlan(const std::vector<PlanSource>& documents, const XMLObject* request, IPlanHost& host,
               const PlanOptions& options) {
  Plan plan;
  plan.clear = options.clear;
  plan.deep = options.deep;
  Planner planner(request, host, options);
  for (const PlanSource& source : documents) {
    plan.documents.push_back(planner.planDocument(source, plan));
  }
  if (request != nullptr && !options.clear) {
    planner.describeRequest(plan);
  }
  planner.finish(plan);
  return plan;
}

}  // namespace halvo
