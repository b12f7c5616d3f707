// FileRecord: one gathered file; and ActionContext: what an action is told about its item.
//
// Plain records, copied freely.

#pragma once

#include <cstdint>
#include <string>

#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/XMLObject.h"

namespace halvo {

// How a file may be cut to a size budget.
inline constexpr std::int32_t kTruncateWhole = 0;  // whole files are kept or left out
inline constexpr std::int32_t kTruncateData = 1;   // every file is cut, front or end by its default
inline constexpr std::int32_t kTruncateEnd = 2;    // the end goes
inline constexpr std::int32_t kTruncateFront = 3;  // the front goes
inline constexpr std::int32_t kTruncateNone = 4;

struct FileRecord {
  std::string id;           // the item's, shared by the files of one budget
  std::string path;         // full path in the work folder
  std::string description;  // the item's; the truncator appends note marks to its own copy
  double size = 0;          // bytes, as gathered
  std::int32_t requestedScheme = kTruncateNone;
  double requestedSize = 0;  // bytes allowed for the id
  std::int32_t defaultScheme = kTruncateNone;
  std::int32_t appliedScheme = kTruncateNone;  // set by the truncator alone
};

struct ActionContext {
  std::string id;
  std::string name;    // the item's configured name in a request run; empty otherwise
  std::string folder;  // the target folder; empty in a clear run
  std::string description;
  std::int32_t requestedScheme = kTruncateNone;
  double requestedSize = 0;
  std::uint32_t percentStep = 0;  // the item's share of the progress bar
  XMLObject* summary = nullptr;   // the config's summary, not owned; null in a clear run
};

}  // namespace halvo
