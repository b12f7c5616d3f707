// Checks of one document, and what the checks across documents need to know of it.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckHost.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRules.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"

namespace halvo {

struct DocumentFacts {
  // A document without any instruction in it, which names items or carries comments.
  bool isRequest = false;
  // The title that a run takes; empty without one.
  std::string title;
  Position titlePosition;
  // Non-empty ids of the items, each with the place of its first item.
  std::map<std::string, Position> ids;
};

struct DocumentReport {
  std::vector<Finding> findings;  // sorted by position
  DocumentFacts facts;
};

// `host` is asked for programs and for what the shell says; nothing of the document is run.
DocumentReport checkDocument(const DocumentTree& tree, ICheckHost& host);

}  // namespace halvo
