// Skeleton: the first text of a new document or request, with comments that lead its author on.
//
// Texts only; nothing is written. Any thread may call these.

#pragma once

#include <string>
#include <vector>

namespace halvo {

// A config document of this title that passes a strict check as it stands. A title that is no name of a
// folder, or no UTF-8, gives an empty text.
std::string newDocument(const std::string& title);

// An item for a request: its id, and its description for a comment.
struct RequestableItem {
  std::string document;  // the document's title
  std::string id;
  std::string description;
};

// The items with instructions of the documents in a folder, which a request can ask for, by documents in the
// order of their names. A document that can't be parsed gives none, and its path stands in `unreadable`.
std::vector<RequestableItem> requestableItems(const std::string& folder,
                                              std::vector<std::string>& unreadable);

// A request for all of these, each with its description.
std::string newRequest(const std::vector<RequestableItem>& items);

}  // namespace halvo
