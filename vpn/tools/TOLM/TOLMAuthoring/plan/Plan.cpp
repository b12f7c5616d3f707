#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

#include <algorithm>
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

class Planner {
 public:
  Planner(const XMLObject* request, IPlanHost& host) : m_pRequest(request), m_Host(host) {}

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

  // After the last document.
  void describeRequest(Plan& plan) const {
    const DataComponent* commentsItem = nullptr;
    bool summaryNamed = false;
    std::list<DataComponent*> wanted = collector::getFileComponents(*m_pRequest);
    wanted.sort(collector::compareFileId);
    for (const DataComponent* const item : wanted) {
      if (collector::hasFileId(item, "comments")) {
        commentsItem = item;
      } else if (collector::hasFileId(item, "summary")) {
        const std::string name = collector::getFileName(item);
        if (!summaryNamed && !name.empty()) {
          plan.summaryFile = name;
        }
        summaryNamed = true;
      } else if (m_Matched.find(item) == m_Matched.end()) {
        plan.unmatchedIds.push_back(collector::getFileId(item));
      }
    }
    const DataComponent* const comments = m_pRequest->GetRoot()->FindChild("comments");
    if (comments != nullptr && !comments->GetValue().empty()) {
      const DataComponent* const name = commentsItem != nullptr ? commentsItem->FindChild("name") : nullptr;
      plan.commentsFile = name != nullptr ? name->GetValue() : "comments.txt";
    }
  }

 private:
  PlannedItem leaveOut(const DataComponent& component, Selection selection) {
    PlannedItem item;
    item.id = collector::getFileId(&component);
    item.description = collector::getFileDescription(&component);
    item.selection = selection;
    return item;
  }

  PlannedItem select(const DataComponent& component, Selection selection, const std::string& name) {
    PlannedItem item = leaveOut(component, selection);
    const DataComponent* const os = m_Reader.moveTo(component);
    if (os != nullptr) {
      item.hasOs = true;
      item.opsys = os->FindAttribute("opsys")->GetValue();
      item.actions = planActions(*os, name, m_Host);
    }
    return item;
  }

  const XMLObject* m_pRequest;
  IPlanHost& m_Host;
  Reader m_Reader;
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

Plan buildPlan(const std::vector<PlanSource>& documents, const XMLObject* request, IPlanHost& host) {
  Plan plan;
  Planner planner(request, host);
  std::size_t ordinal = 0;
  for (const PlanSource& source : documents) {
    PlannedDocument document;
    document.path = source.path;
    document.parsed = source.document != nullptr;
    if (document.parsed) {
      ++ordinal;
      const DataComponent* const title = findTitle(*source.document);
      document.title = title != nullptr ? title->GetValue() : "Unknown_" + std::to_string(ordinal);
      if (request != nullptr) {
        planner.walkRequest(*source.document, document.items);
      } else {
        planner.walkDefault(*source.document, document.items);
      }
    }
    plan.documents.push_back(std::move(document));
  }
  if (request != nullptr) {
    planner.describeRequest(plan);
  }
  return plan;
}

}  // namespace halvo
