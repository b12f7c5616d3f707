// Compare: what differs between two bundles: a good machine against a bad one, or before against after.
//
// Files are compared by their place in the bundle. Text files are compared as collections of lines, with
// times and process ids set aside: what one has and the other hasn't is told, the order isn't.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"

namespace halvo {

// Lines of a file that only one bundle has.
struct LineChange {
  std::uint64_t count = 0;
  std::vector<std::string> lines;  // the first of them, each cut at 400 bytes with "..." for the rest
};

struct FileChange {
  std::string name;  // its place in the bundle
  bool binary = false;
  std::uint64_t oldSize = 0;
  std::uint64_t newSize = 0;
  LineChange gone;
  LineChange added;
  std::string fault;  // where one of both couldn't be read
};

struct ValueChange {
  std::string what;
  std::string oldValue;
  std::string newValue;
};

// A file that only one bundle has.
struct LoneFile {
  std::string name;  // its place in the bundle
  std::string id;    // of its item, or several with commas
};

// A file that both lack, each for a reason of its own.
struct ReasonChange {
  std::string id;
  std::string name;
  std::string oldReason;
  std::string newReason;
};

struct Comparison {
  // What the summaries tell is empty where either bundle has none that can be made out whole: the machine,
  // the items, what is missing.
  std::vector<ValueChange> machine;
  // Items of which only one summary tells anything, gathered or not.
  std::vector<std::string> itemsOld;
  std::vector<std::string> itemsNew;
  std::vector<LoneFile> onlyOld;
  std::vector<LoneFile> onlyNew;
  std::vector<ValueChange> otherItem;  // of files that both have: their place, and the ids
  std::vector<ReasonChange> reasons;
  std::vector<MissingFile> missingOld;  // in the old bundle alone
  std::vector<MissingFile> missingNew;
  std::vector<FileChange> changed;  // in the order of the new bundle
  std::size_t same = 0;             // files without a difference
  // Files that the tables of contents call the same, and that can't be opened: the unread parts tell them.
  std::size_t notCompared = 0;
  std::vector<UnreadPart> unreadOld;  // what of them couldn't be looked at
  std::vector<UnreadPart> unreadNew;
};

// Files that are the same by both tables of contents are read all the same: their bytes may be damaged. Both
// bundles are read at once then, on two threads.
//
// At most `lines` of a file's lines are kept for each side. The memory grows with the number of different
// lines of one file, 32 bytes or so each.
Comparison compareBundles(const BundleContent& before, const BundleContent& after, std::size_t lines);

// The text without control characters but line feeds; the JSON with bytes that aren't UTF-8 replaced.
std::string comparisonText(const Comparison& comparison);
std::string comparisonJson(const Comparison& comparison);

}  // namespace halvo
