// Page: the frame of a report: what stands around the parts that tell of a bundle.

#pragma once

#include <string>

namespace halvo {

// Everything above the content. `title` is HTML; `word` is what style and script must carry to count.
std::string pageStart(const std::string& title, const std::string& word);
// The search; hidden where no script runs.
std::string pageSearch();
// Everything below the content.
std::string pageEnd(const std::string& word);

}  // namespace halvo
