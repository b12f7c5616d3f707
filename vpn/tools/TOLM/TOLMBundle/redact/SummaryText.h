// Writes a summary that was read back into the text that the engine writes: the same tables, widths and
// breaks. Pure functions.

#pragma once

#include <string>

#include "vpn/tools/TOLM/TOLMBundle/Summary.h"

namespace halvo {

// What readSummary() gives back for the result is `summary` again, blanks at breaks aside.
std::string summaryText(const Summary& summary);

}  // namespace halvo
