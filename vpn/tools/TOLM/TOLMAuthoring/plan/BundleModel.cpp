#include "vpn/tools/TOLM/TOLMAuthoring/plan/BundleModel.h"

#include <algorithm>

namespace halvo {

namespace {

// What file systems take for one name.
constexpr std::size_t kMaxName = 255;

std::vector<std::string> componentsOf(const std::string& path) {
  std::vector<std::string> all;
  for (std::size_t at = 0; at <= path.size();) {
    const std::size_t slash = std::min(path.find('/', at), path.size());
    if (slash > at && path.substr(at, slash - at) != ".") {
      all.push_back(path.substr(at, slash - at));
    }
    at = slash + 1;
  }
  return all;
}

std::string joined(const std::vector<std::string>& components, std::size_t count) {
  std::string path;
  for (std::size_t i = 0; i < count; ++i) {
    path += (i == 0 ? "" : "/") + components[i];
  }
  return path;
}

}  // namespace

BundleModel::BundleModel() {
  m_Nodes[""] = {true, kNobody};
}

BundleModel::Id BundleModel::newId() {
  m_Replacers.push_back(kNobody);
  return m_Replacers.size() - 1;
}

std::optional<std::string> BundleModel::normalized(const std::string& path) {
  std::vector<std::string> kept;
  for (const std::string& component : componentsOf(path)) {
    if (component != "..") {
      kept.push_back(component);
    } else if (kept.empty()) {
      return std::nullopt;
    } else {
      kept.pop_back();
    }
  }
  return joined(kept, kept.size());
}

std::optional<std::string> BundleModel::place(const std::string& path) const {
  std::vector<std::string> kept;
  const std::vector<std::string> components = componentsOf(path);
  for (std::size_t i = 0; i < components.size(); ++i) {
    if (components[i] == "..") {
      if (kept.empty()) {
        return std::nullopt;
      }
      kept.pop_back();
      continue;
    }
    kept.push_back(components[i]);
    if (components[i].size() > kMaxName) {
      return std::nullopt;
    }
    if (i + 1 < components.size() && !isFolder(joined(kept, kept.size()))) {
      return std::nullopt;
    }
  }
  return joined(kept, kept.size());
}

bool BundleModel::isFolder(const std::string& path) const {
  const auto node = m_Nodes.find(path);
  return node != m_Nodes.end() && node->second.folder;
}

BundleModel::Id BundleModel::ownerOf(const std::string& path) const {
  const std::optional<std::string> at = place(path);
  const auto node = at ? m_Nodes.find(*at) : m_Nodes.end();
  return node == m_Nodes.end() ? kNobody : node->second.owner;
}

bool BundleModel::isFile(const std::string& path) const {
  const std::optional<std::string> at = place(path);
  const auto node = at ? m_Nodes.find(*at) : m_Nodes.end();
  return node != m_Nodes.end() && !node->second.folder;
}

bool BundleModel::makeFolder(const std::string& path) {
  const std::optional<std::string> at = place(path);
  if (!at) {
    return false;
  }
  m_Nodes.insert({*at, {true, kNobody}});  // one that is there, file or folder, stays
  return true;
}

bool BundleModel::clearWay(const std::string& path, Id by) {
  const std::optional<std::string> at = place(path);
  if (!at) {
    // A missing folder on the way is "no such file" to a deletion, which is fine with it; a file on the
    // way and a name that is too long are not.
    for (const std::string& component : componentsOf(path)) {
      if (component.size() > kMaxName) {
        return false;
      }
    }
    std::string above = path;
    while (above.find('/') != std::string::npos) {
      above.resize(above.rfind('/'));
      const auto node = m_Nodes.find(normalized(above).value_or("/"));
      if (node != m_Nodes.end()) {
        return node->second.folder;
      }
    }
    return true;
  }
  const auto node = m_Nodes.find(*at);
  if (node == m_Nodes.end()) {
    return true;
  }
  // A path that ends in "/" names a folder to the system, and a file behind it is no file.
  if (node->second.folder || path.back() == '/') {
    return false;
  }
  if (node->second.owner != kNobody) {
    m_Replacers[node->second.owner] = by;
  }
  m_Nodes.erase(node);
  return true;
}

BundleModel::Answer BundleModel::storeFile(const std::string& path, Id id, bool readable) {
  if (!clearWay(path, id)) {
    return Answer::kFolderInTheWay;
  }
  // Behind the removal: a run deletes the old file before it opens the new one.
  if (!readable) {
    return Answer::kUnreadable;
  }
  const std::optional<std::string> at = place(path);
  if (!at) {
    return Answer::kNoPlace;
  }
  m_Nodes[*at] = {false, id};
  return Answer::kStored;
}

BundleModel::Answer BundleModel::storeFolder(const std::string& path, Id id) {
  if (!clearWay(path, id)) {
    return Answer::kFolderInTheWay;
  }
  const std::optional<std::string> at = place(path);
  if (!at) {
    return Answer::kPretended;
  }
  m_Nodes[*at] = {true, id};
  return Answer::kStored;
}

bool BundleModel::appendTo(const std::string& path) {
  const std::optional<std::string> at = place(path);
  if (!at || isFolder(*at)) {
    return false;
  }
  m_Nodes.insert({*at, {false, kNobody}});
  return true;
}

void BundleModel::writeBehind(const std::string& path, Id by) {
  const std::optional<std::string> at = place(path);
  const auto node = at ? m_Nodes.find(*at) : m_Nodes.end();
  if (node != m_Nodes.end() && node->second.owner != kNobody) {
    m_Replacers[node->second.owner] = by;
    node->second.owner = kNobody;
  }
}

void BundleModel::own(const std::string& path, Id id) {
  const std::optional<std::string> at = place(path);
  if (const auto node = at ? m_Nodes.find(*at) : m_Nodes.end(); node != m_Nodes.end()) {
    node->second.owner = id;
  }
}

void BundleModel::disown(const std::string& path) {
  const std::optional<std::string> at = place(path);
  if (const auto node = at ? m_Nodes.find(*at) : m_Nodes.end(); node != m_Nodes.end()) {
    node->second.owner = kNobody;
  }
}

void BundleModel::remove(const std::string& path, Id by) {
  const std::optional<std::string> at = place(path);
  const auto node = at ? m_Nodes.find(*at) : m_Nodes.end();
  if (node == m_Nodes.end() || node->second.folder) {
    return;
  }
  if (node->second.owner != kNobody && node->second.owner != by) {
    m_Replacers[node->second.owner] = by;
  }
  m_Nodes.erase(node);
}

std::vector<std::string> BundleModel::names() const {
  std::vector<std::string> all;
  for (const auto& [path, node] : m_Nodes) {
    if (!path.empty()) {
      all.push_back(path + (node.folder ? "/" : ""));
    }
  }
  return all;
}

}  // namespace halvo
