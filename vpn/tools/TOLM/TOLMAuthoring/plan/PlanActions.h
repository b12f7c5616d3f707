// The actions of one `os` element, as a plan tells them.

#pragma once

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

namespace halvo {

// `name` is the item's configured name in a request run, empty otherwise. Kinds that a run skips give
// nothing.
std::vector<PlannedAction> planActions(const DataComponent& os, const std::string& name, IPlanHost& host);

}  // namespace halvo
