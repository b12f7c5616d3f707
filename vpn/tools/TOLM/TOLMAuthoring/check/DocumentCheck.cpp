#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentCheck.h"

#include <algorithm>

#include "vpn/Common/Utility/PathText.h"
#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ItemCheck.h"

namespace halvo {

namespace {

// The longest name of a folder that file systems take.
constexpr std::size_t kMaxTitle = 255;

// Elements that only instructions hold. A description isn't among them: whoever copies an item's name
// into a request may copy its description along.
bool holdsInstructions(const DocumentElement& element) {
  for (const char* name : {"configure", "title", "tolm", "default", "os", "file_copy_action",
                           "use_extern_action", "get_file_to_copy_action", "action", "loc"}) {
    if (element.name == name) {
      return true;
    }
  }
  return std::any_of(element.children.begin(), element.children.end(),
                     [](const auto& child) { return holdsInstructions(*child); });
}

bool looksLikeRequest(const DocumentElement& root) {
  return !holdsInstructions(root) && (root.find("file") != nullptr || root.find("comments") != nullptr);
}

// Every `configure` in document order, the root included.
void collectConfigures(const DocumentElement& element, std::vector<const DocumentElement*>& all) {
  if (element.name == "configure") {
    all.push_back(&element);
  }
  for (const auto& child : element.children) {
    collectConfigures(*child, all);
  }
}

void checkTitleText(FindingList& list, const DocumentElement& title) {
  checkAttributes(list, title);
  checkTextOnly(list, title);
  const std::string& text = title.text;
  const std::string where =
      ": a run puts this document's files beside the others' folders, or outside of the "
      "bundle";
  if (text.empty()) {
    list.add("title-empty", title, "the title is empty" + where);
  } else if (isDotName(text) || text.find('/') != std::string::npos) {
    list.add("title-path", title, "the title " + quotedText(text) + " is no name of one folder" + where);
  } else if (text.size() > kMaxTitle) {
    list.add("title-too-long", title,
             "the title has " + std::to_string(text.size()) + " bytes, a folder's name at most " +
                 std::to_string(kMaxTitle) + where);
  } else if (text == "summary.txt") {
    list.add("title-summary", title,
             "the title is the name of the summary: a run can't write the summary and counts the document as "
             "failed");
  } else if (text.find('$') != std::string::npos) {
    list.add("title-variable", title,
             "a \"$\" in the title: where a variable of that name is set, a run loses the output of this "
             "document's commands, and perhaps the summary");
  } else if (hasOuterBlanks(text)) {
    list.add("title-blanks", title,
             "blanks or line breaks around the title: a run takes them into the folder's name");
  }
}

// Returns the title that a run takes, null if none.
const DocumentElement* checkTitle(FindingList& list, const DocumentElement& root) {
  std::vector<const DocumentElement*> configures;
  collectConfigures(root, configures);
  const DocumentElement* title = nullptr;
  for (const DocumentElement* configure : configures) {
    if (title == nullptr) {
      title = configure->find("title");
    }
    if (configure != &root) {
      checkNoText(list, *configure);
      checkAttributes(list, *configure);
      for (const auto& child : configure->children) {
        if (child->name != "title" && child->name != "configure") {
          reportStray(list, *child);
        }
      }
    }
  }
  std::vector<const DocumentElement*> all = root.findAll("title");
  if (root.name == "title") {
    all.insert(all.begin(), &root);
  }
  for (const DocumentElement* other : all) {
    if (other == title) {
      continue;
    }
    const DocumentElement* above = other->parent;
    while (above != nullptr && above->name != "configure") {
      above = above->parent;
    }
    if (above != nullptr && title != nullptr) {
      list.add("repeated-element", *other,
               "another <title>: a run takes the one at line " + std::to_string(title->position.line));
    } else if (other->parent == &root || other == &root) {
      reportStray(list, *other);  // deeper ones are told by the checks of what they stand in
    }
  }
  if (title == nullptr) {
    list.add("title-missing", root,
             "no <title> below a <configure>: a run calls the document \"Unknown_\" and a number");
    return nullptr;
  }
  checkTitleText(list, *title);
  return title;
}

// `file` elements that a run never sees, inside an element that isn't an item.
void reportNestedItems(FindingList& list, const DocumentElement& element) {
  for (const DocumentElement* item : element.findAll("file")) {
    list.add("nested-file", *item,
             "<file> inside " + tagOf(*item->parent) +
                 ": a run sees only those directly below the root, and never this item");
  }
}

void checkConfig(FindingList& list, DocumentFacts& facts, const DocumentElement& root, ICheckHost& host) {
  checkAttributes(list, root);
  checkNoText(list, root);
  if (root.name == "file") {
    list.add("root-file", root,
             "the root is a <file>: a run looks for items below the root, and never takes the root for one");
  }
  if (const DocumentElement* const title = checkTitle(list, root); title != nullptr) {
    facts.title = title->text;
    facts.titlePosition = title->position;
  }
  ActionCheck actions(list, host);
  bool anyItem = false;
  for (const auto& child : root.children) {
    reportNestedItems(list, *child);
    if (child->name == "file") {
      anyItem = true;
      checkItemId(list, facts, *child, false);
      checkConfigItem(list, actions, *child);
    } else if (child->name == "title" && root.name == "configure") {
      continue;
    } else if (child->name != "configure" && child->name != "title") {
      reportStray(list, *child);
    }
  }
  if (!anyItem) {
    list.add("no-items", root, "no <file> directly below the root: a run gathers nothing for this document");
  }
}

}  // namespace

DocumentReport checkDocument(const DocumentTree& tree, ICheckHost& host) {
  DocumentReport report;
  FindingList list;
  const ParserMessage first = tree.messages.empty() ? ParserMessage{} : tree.messages.front();
  switch (tree.outcome) {
    case ParseOutcome::kUnreadable:
      list.add("unreadable", first.position, "the file can't be read: " + withoutControls(first.text));
      break;
    case ParseOutcome::kTooLarge:
      list.add("too-large", first.position,
               "the document is too large to be checked: " + first.text +
                   "; a run reads it all the same, and needs the memory");
      break;
    case ParseOutcome::kNotWellFormed:
      list.add("not-well-formed", first.position,
               "not well-formed XML (" + withoutControls(first.text) +
                   "): a run uses nothing of the document and lists it as failed in the summary");
      break;
    case ParseOutcome::kParsed:
      for (const ParserMessage& message : tree.messages) {
        list.add("parser-complaint", message.position,
                 "the parser complains (" + withoutControls(message.text) +
                     "): a run goes on, without the text that is meant");
      }
      report.facts.isRequest = looksLikeRequest(*tree.root);
      if (report.facts.isRequest) {
        checkRequest(list, report.facts, *tree.root);
      } else {
        checkConfig(list, report.facts, *tree.root, host);
      }
      break;
  }
  report.findings = list.take();
  return report;
}

}  // namespace halvo
