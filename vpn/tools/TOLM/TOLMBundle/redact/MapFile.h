// What redactions read beside a bundle: rules, and the map that tells what stands for what. Every function
// returns a text for people, empty on success.

#pragma once

#include <string>

namespace halvo {

class StandIns;

// Takes a map over where the file exists; a file that isn't there is no failure. Only a file counts, as a map
// is written: a link is told, which the new map would replace, and a pipe isn't waited for.
[[nodiscard]] std::string loadMap(const std::string& path, StandIns& standIns);

// Reads a whole file of at most `limit` bytes.
[[nodiscard]] std::string readTextFile(const std::string& path, std::size_t limit, std::string& text);

}  // namespace halvo
