// Losses: what is missing in a bundle though neither the summary nor a result tells of it.
//
// A run's told results stay what they are: a copy that a full disk cut short is a success. What was lost
// on the way is noted here, so that a front-end can tell it. What the summary lists as omitted is no
// such loss.
//
// One record in the process, like Progress.h: a run empties it at its start, the engine's thread adds to
// it, and a front-end reads it once the run is over. Any thread may call.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace halvo {

enum class LossKind {
  // A file that the summary lists as included, or the summary itself, is cut short or missing: a write
  // or a read failed, a listing broke off, a folder couldn't be opened.
  kCutShort,
  // Something below a gathered folder couldn't be read, and is left out.
  kUnreadable,
};

struct Loss {
  std::string path;  // of what was to be gathered or written
  std::string what;  // happened to it, in the system's words
};

// How many of a kind are kept with their names; the others are counted. A run record (RunRecord.h) has all.
inline constexpr std::size_t kKeptLosses = 1000;

void resetLosses();

// Notes a loss and logs it under the name `function`: kCutShort as an error, kUnreadable as a warning.
// A path is noted once for each kind: what was captured cut short and then copied so is one file.
void recordLoss(const char* function, LossKind kind, const std::string& path, const std::string& what);

// Has what was noted for `from` stand for `to`: the file has got that name. Logs nothing.
void renameLoss(const std::string& from, const std::string& to);

[[nodiscard]] std::size_t lossCount(LossKind kind);
// The first kKeptLosses, in the order in which they happened.
[[nodiscard]] std::vector<Loss> losses(LossKind kind);

}  // namespace halvo
