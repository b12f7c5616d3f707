#include "vpn/tools/TOLM/TOLMAuthoring/check/ItemCheck.h"

#include <algorithm>
#include <array>
#include <set>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/PathCheck.h"

namespace halvo {

namespace {

constexpr std::array<const char*, 3> kKinds = {"file_copy_action", "use_extern_action",
                                               "get_file_to_copy_action"};
constexpr std::array<const char*, 8> kSystems = {"linux", "mac",   "win2k", "win2k3",
                                                 "winxp", "vista", "win7",  "win8"};
// What stands inside an action. In the place of an action it is taken for one.
constexpr std::array<const char*, 9> kActionChildren = {
    "loc", "clear_log", "truncate_type", "path", "plugin", "regis", "args", "temp_out", "stdout"};

template <std::size_t size>
bool isOneOf(const std::array<const char*, size>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool isSearchedInItem(const std::string& name) {
  return name == "description" || name == "name" || name == "default" || name == "tolm";
}

// The element that a run's search of the whole item finds, null if none. Reports any further one,
// and a hit that isn't where it is expected.
const DocumentElement* searched(FindingList& list, const DocumentElement& item, const char* name) {
  const std::vector<const DocumentElement*> all = item.findAll(name);
  if (all.empty()) {
    return nullptr;
  }
  if (all.front()->parent != &item) {
    list.add("found-deep", *all.front(),
             tagOf(*all.front()) + " stands inside <" + all.front()->parent->name +
                 ">: a run searches the whole item and takes it for the item's");
  }
  for (std::size_t i = 1; i < all.size(); ++i) {
    list.add("repeated-element", *all[i],
             "another " + tagOf(*all[i]) + " in this item: a run takes the one at line " +
                 std::to_string(all.front()->position.line));
  }
  return all.front();
}

void checkTextElement(FindingList& list, const DocumentElement* element) {
  if (element != nullptr) {
    checkAttributes(list, *element);
    checkTextOnly(list, *element);
  }
}

void checkKind(FindingList& list, ActionCheck& actions, const DocumentElement& kind,
               const ActionPlace& place) {
  checkNoText(list, kind);
  checkAttributes(list, kind);
  if (kind.children.empty()) {
    list.add("kind-empty", kind, tagOf(kind) + " holds no action: a run does nothing for it");
  }
  for (const auto& action : kind.children) {
    if (isSearchedInItem(action->name)) {
      continue;  // told by the search
    }
    if (isOneOf(kActionChildren, action->name)) {
      list.add("action-missing", *action,
               tagOf(*action) + " directly below " + tagOf(kind) +
                   ": a run takes it for an action, one that says nothing; put it into an <action>");
      continue;
    }
    if (action->name != "action") {
      list.add("action-name", *action,
               tagOf(*action) + " in the place of an <action>: a run takes it for one");
    }
    actions.check(*action, place);
  }
}

void checkOs(FindingList& list, ActionCheck& actions, const DocumentElement& os, ActionPlace place) {
  checkNoText(list, os);
  checkAttributes(list, os, {"opsys"});
  bool anyKind = false;
  for (const auto& kind : os.children) {
    if (isSearchedInItem(kind->name)) {
      continue;  // told by the search
    }
    if (!isOneOf(kKinds, kind->name)) {
      list.add("kind-unknown", *kind,
               tagOf(*kind) + " is no kind of action" + suggestion(kind->name) +
                   (kind->name == "os"
                        ? ": a run skips it with all that it holds, and takes it for an item behind this one "
                          "that has no <tolm>"
                        : ": a run skips it with all that it holds, without a message"));
      continue;
    }
    anyKind = true;
    place.kind = kind.get();
    checkKind(list, actions, *kind, place);
  }
  if (!anyKind) {
    list.add("os-empty", os, "<os> holds no kind of action: a run does nothing on this system");
  }
}

void checkTolm(FindingList& list, ActionCheck& actions, const DocumentElement& tolm, ActionPlace place) {
  checkNoText(list, tolm);
  checkAttributes(list, tolm);
  std::set<std::string> seen;
  bool any = false;
  for (const auto& child : tolm.children) {
    if (isSearchedInItem(child->name)) {
      continue;  // told by the search
    }
    if (child->name != "os") {
      reportStray(list, *child);
      continue;
    }
    any = true;
    const DocumentAttribute* const opsys = child->attribute("opsys");
    place.opsys = opsys == nullptr ? "" : opsys->value;
    if (opsys == nullptr) {
      list.add("opsys-missing", *child,
               "no opsys attribute of <os>: it matches no system, and a run never uses it");
    } else if (!isOneOf(kSystems, opsys->value)) {
      list.add(
          "opsys-unknown", *child,
          "opsys=" + quotedText(opsys->value) +
              " is none of linux, mac, win2k, win2k3, winxp, vista, win7, win8: it matches no system, and a "
              "run never uses it");
    } else if (!seen.insert(opsys->value).second) {
      list.add("os-unreachable", *child,
               "an <os> with opsys=" + quotedText(opsys->value) +
                   " stands ahead of this one: a run uses the first that matches, and never this one");
      continue;
    }
    checkOs(list, actions, *child, place);
  }
  if (!any) {
    list.add("os-missing", tolm,
             "no <os> directly below <tolm>: a run logs \"Correct OS not found\" and gathers nothing for the "
             "item");
  }
}

void checkDefault(FindingList& list, const DocumentElement* element) {
  // A plain no is meant. Anything else may be a slip for "true".
  if (element != nullptr && element->text != "true" && !saysNo(element->text)) {
    list.add("default-value", *element,
             "<default> holds " + quotedText(element->text) +
                 ", not exactly \"true\": a default run leaves the item out");
  }
}

void checkItemName(FindingList& list, const DocumentElement* name) {
  if (name == nullptr) {
    return;
  }
  if (name->text.find('/') != std::string::npos) {
    list.add("name-path", *name,
             "a \"/\" in <name>: a run by request can't store a file under " + quotedText(name->text));
  }
  checkPathNames(list, *name, name->text);
}

}  // namespace

void checkItemId(FindingList& list, DocumentFacts& facts, const DocumentElement& item, bool request) {
  const DocumentAttribute* const id = item.attribute("id");
  if (id == nullptr || id->value.empty()) {
    list.add(id == nullptr ? CheckRule("id-missing") : CheckRule("id-empty"), item,
             std::string(id == nullptr ? "no id attribute of <file>" : "the id of <file> is empty") +
                 (request ? ": a run can't tell which item is wanted"
                          : ": no request can ask for the item, and the summary shows it without a name"));
    return;
  }
  if (hasOuterBlanks(id->value)) {
    list.add("id-blanks", item,
             "blanks around the id " + quotedText(id->value) + ": a run compares them too");
  }
  checkNoBreakSpace(list, item, id->value);
  if (!request && (id->value == "comments" || id->value == "summary")) {
    list.add("id-reserved", item,
             "the id " + quotedText(id->value) +
                 " means something else in a request: a run by request never gathers this item");
  }
  const auto [same, added] = facts.ids.insert({id->value, item.position});
  if (added) {
    return;
  }
  if (request) {
    list.add("request-id-twice", item,
             "the id " + quotedText(id->value) + " is asked for at line " +
                 std::to_string(same->second.line) +
                 " already: a run gathers the item twice, into the same files");
  } else {
    list.add("id-duplicate", item,
             "the id " + quotedText(id->value) + " is that of the item at line " +
                 std::to_string(same->second.line) +
                 ": a run by request never gathers this one, and the summary can't tell them apart");
  }
}

void checkConfigItem(FindingList& list, ActionCheck& actions, const DocumentElement& item) {
  checkNoText(list, item);
  checkAttributes(list, item, {"id"});
  for (const auto& child : item.children) {
    if (!isSearchedInItem(child->name)) {
      reportStray(list, *child);
    }
  }
  const DocumentElement* const description = searched(list, item, "description");
  const DocumentElement* const name = searched(list, item, "name");
  const DocumentElement* const isDefault = searched(list, item, "default");
  const DocumentElement* const tolm = searched(list, item, "tolm");
  for (const DocumentElement* element : {description, name, isDefault}) {
    checkTextElement(list, element);
  }
  if (description == nullptr || isBlankText(description->text)) {
    list.add(
        "description-missing", description == nullptr ? item : *description,
        "no words in <description>: a run shows nothing but \"Processing ...\", and the summary's column "
        "stays empty");
  }
  if (description != nullptr && description->text.find_first_of("\r\n") != std::string::npos) {
    list.add(
        "description-line-break", *description,
        "a line break in <description>: a run breaks the row of each of the item's files in the summary");
  }
  checkItemName(list, name);
  checkDefault(list, isDefault);
  if (tolm == nullptr) {
    list.add("tolm-missing", item,
             "no <tolm> in the item: a run logs \"pDC->FindChild(TOLM_CONST) is NULL\" and gathers nothing "
             "for it");
    return;
  }
  const ActionPlace place{&item, nullptr, "", isDefault != nullptr && isDefault->text == "true",
                          name == nullptr ? "" : name->text};
  checkTolm(list, actions, *tolm, place);
}

void checkRequest(FindingList& list, DocumentFacts& facts, const DocumentElement& root) {
  checkNoText(list, root);
  checkAttributes(list, root);
  const std::vector<const DocumentElement*> comments = root.findAll("comments");
  for (std::size_t i = 0; i < comments.size(); ++i) {
    checkAttributes(list, *comments[i]);
    checkTextOnly(list, *comments[i]);
    if (i > 0) {
      list.add(
          "repeated-element", *comments[i],
          "another <comments>: a run writes those at line " + std::to_string(comments[0]->position.line));
    }
  }
  const bool hasComments = !comments.empty() && !comments[0]->text.empty();
  bool anyItem = false;
  for (const auto& child : root.children) {
    if (child->name == "comments") {
      continue;
    }
    if (child->name != "file") {
      reportStray(list, *child);
      continue;
    }
    anyItem = true;
    checkNoText(list, *child);
    checkAttributes(list, *child, {"id"});
    checkItemId(list, facts, *child, true);
    const DocumentAttribute* const id = child->attribute("id");
    const bool special = id != nullptr && (id->value == "comments" || id->value == "summary");
    for (const auto& below : child->children) {
      if (below->name != "name") {
        reportStray(list, *below);
      }
    }
    const DocumentElement* const name = searched(list, *child, "name");
    checkTextElement(list, name);
    if (!special) {
      if (name != nullptr) {
        list.add("request-name-ignored", *name,
                 "<name> is read only in the items \"comments\" and \"summary\": a run ignores this one");
      }
      continue;
    }
    if (name != nullptr &&
        ((name->text.empty() && id->value == "comments") || name->text.find('/') != std::string::npos)) {
      list.add("request-name-path", *name,
               quotedText(name->text) + " is no name of a file in the bundle: a run can't write the " +
                   id->value + " there, or writes them outside of the bundle");
    }
    if (id->value == "comments" && !hasComments) {
      list.add("request-comments-missing", *child,
               "the item \"comments\" without a text in <comments>: a run writes no comments file");
    }
  }
  if (!anyItem) {
    list.add(
        "request-no-items", root,
        "a request without a <file> directly below its root: a run gathers no item, and not the default ones "
        "either");
  }
}

}  // namespace halvo
