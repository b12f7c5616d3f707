#include "tests/support/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace halvo::test {

namespace {

void writeWithMode(const std::string& path, const std::string& content, std::ios::openmode mode) {
  const std::filesystem::path parent = std::filesystem::path(path).parent_path();
  if (!parent.empty()) {
    std::filesystem::create_directories(parent);
  }
  std::ofstream file(path, std::ios::binary | mode);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  if (!file) {
    throw std::runtime_error("can't write " + path);
  }
}

}  // namespace

void writeFile(const std::string& path, const std::string& content) {
  writeWithMode(path, content, std::ios::trunc);
}

void appendFile(const std::string& path, const std::string& content) {
  writeWithMode(path, content, std::ios::app);
}

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("can't read " + path);
  }
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

bool exists(const std::string& path) {
  struct stat data;
  return lstat(path.c_str(), &data) == 0;
}

void makeFolders(const std::string& path) {
  std::filesystem::create_directories(path);
}

void setModifiedTime(const std::string& path, std::int64_t seconds) {
  const struct timespec times[2] = {{seconds, 0}, {seconds, 0}};
  if (utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
    throw std::runtime_error("can't set the time of " + path);
  }
}

std::vector<std::string> listFolder(const std::string& path) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> readdirOrder(const std::string& path) {
  std::vector<std::string> names;
  DIR* folder = opendir(path.c_str());
  if (folder == nullptr) {
    throw std::runtime_error("can't open " + path);
  }
  while (const dirent* entry = readdir(folder)) {
    names.emplace_back(entry->d_name);
  }
  closedir(folder);
  return names;
}

}  // namespace halvo::test
