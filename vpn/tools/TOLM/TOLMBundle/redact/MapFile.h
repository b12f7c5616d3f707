// What redactions read beside a bundle: rules, and the map that tells what stands for what. Every function
// returns a text for people, empty on success.

#pragma once

#include <functional>
#include <string>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {

class StandIns;

// Takes a map over where the file exists; a file that isn't there is no failure. Only a file counts, as a map
// is written: a link is told, which the new map would replace, and a pipe isn't waited for.
[[nodiscard]] std::string loadMap(const std::string& path, StandIns& standIns);

// One redaction at a time goes by a map: from reading it to writing it nobody else may, or the stand-ins of
// one of them would be in no map. The lock is a file beside the map, ".NAME.lock", which is gone with the
// object; one that a killed program left is in nobody's way. A file system without locks has none of this.
class MapLock {
 public:
  MapLock() = default;
  ~MapLock();
  MapLock(const MapLock&) = delete;
  MapLock& operator=(const MapLock&) = delete;

  // To be called once. Waits as long as another has the lock; `onWait` is called ahead of that.
  [[nodiscard]] std::string take(const std::string& path, const std::function<void()>& onWait);

 private:
  std::string m_strLock;  // empty where nothing is locked
  DescriptorHolder m_File;
};

// Reads a whole file of at most `limit` bytes.
[[nodiscard]] std::string readTextFile(const std::string& path, std::size_t limit, std::string& text);

}  // namespace halvo
