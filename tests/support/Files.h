// Small file helpers of the tests. They throw std::runtime_error where the file system refuses.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace halvo::test {

// Writes `content`, making the folders above as needed.
void writeFile(const std::string& path, const std::string& content);
void appendFile(const std::string& path, const std::string& content);
// The whole content; throws if it can't be read.
std::string readFile(const std::string& path);
bool exists(const std::string& path);
// mkdir -p.
void makeFolders(const std::string& path);
// Sets the modification time, whole seconds since 1970.
void setModifiedTime(const std::string& path, std::int64_t seconds);
// Names in a folder without "." and "..", sorted.
std::vector<std::string> listFolder(const std::string& path);
// Names in the order that readdir gives them now, "." and ".." included.
std::vector<std::string> readdirOrder(const std::string& path);

}  // namespace halvo::test
