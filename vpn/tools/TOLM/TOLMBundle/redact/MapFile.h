// Where a map of redactions is kept: a file for its owner alone (mode 0600), since it tells what stands for
// what. Every function returns a text for people, empty on success.

#pragma once

#include <string>

namespace halvo {

class StandIns;

// Takes a map over where the file exists; a file that isn't there is no failure.
[[nodiscard]] std::string loadMap(const std::string& path, StandIns& standIns);

// Writes the map as a new file that takes the place of an old one when it is whole.
[[nodiscard]] std::string saveMap(const std::string& path, const StandIns& standIns);

// Reads a whole file of at most `limit` bytes.
[[nodiscard]] std::string readTextFile(const std::string& path, std::size_t limit, std::string& text);

// Writes a whole file; `mode` is that of a new one.
[[nodiscard]] std::string writeTextFile(const std::string& path, const std::string& text, unsigned mode);

}  // namespace halvo
