#include "vpn/tools/TOLM/TOLMAuthoring/trial/TrialFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Trust.h"

namespace halvo {

namespace {

// A document on the way into the trial: a bound keeps a wrong path from filling the disk.
constexpr std::size_t kMaxBytes = std::size_t{256} << 20;

std::string because(const std::string& path, const std::string& why) {
  return quotedText(path) + " can't be tried: " + why;
}

bool isFolder(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string escaped(const std::string& text) {
  std::string safe;
  for (const char c : text) {
    safe += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '"' ? "&quot;" : std::string(1, c);
  }
  return safe;
}

// Who could have written the file that was opened.
std::string trustProblemOf(const std::string& path, const struct stat& status) {
  // No folder to work in is none that a file was opened in.
  std::error_code error;
  return fileTrustProblem(std::filesystem::absolute(path, error).string(), status);
}

}  // namespace

std::string TrialFolder::add(const std::vector<std::string>& paths) {
  const char* const variable = std::getenv("TMPDIR");
  const std::string parent = variable == nullptr || *variable != '/' ? "/tmp" : variable;
  int error = m_Folder.make(parent, "tmtolm-try-");
  if (error == 0 && mkdir((m_Folder.path() + "/config").c_str(), 0700) != 0) {
    error = errno;
  }
  if (error != 0) {
    return "no folder for the documents can be made in " + quotedText(parent) + ": " + std::strerror(error);
  }
  for (const std::string& path : paths) {
    if (std::string problem = isFolder(path) ? addFolder(path) : addDocument(path); !problem.empty()) {
      return problem;
    }
  }
  return "";
}

std::string TrialFolder::addFolder(const std::string& path) {
  std::vector<std::string> names;
  {
    const FolderHolder stream(opendir(path.c_str()));
    if (stream == nullptr) {
      return because(path, std::strerror(errno));
    }
    errno = 0;
    while (const dirent* entry = readdir(stream.get())) {
      if (TOLMMgr::isDocumentName(entry->d_name)) {
        names.emplace_back(entry->d_name);
      }
      errno = 0;
    }
    if (errno != 0) {
      return because(path, std::strerror(errno));
    }
  }
  if (names.empty()) {
    return because(path, "there is no document in the folder");
  }
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    if (std::string problem = addDocument(path + "/" + name); !problem.empty()) {
      return problem;
    }
  }
  return "";
}

std::string TrialFolder::addDocument(const std::string& path) {
  // Without O_NONBLOCK a pipe that nobody writes to would hold the program for ever.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) {
    return because(path, std::strerror(errno));
  }
  struct stat status = {};
  std::string problem;
  std::string text;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    problem = because(path, "it is no file");
  } else if (const std::string mistrust = trustProblemOf(path, status); !mistrust.empty()) {
    problem = because(path, mistrust);
  } else {
    char buffer[65536];
    ssize_t got = 0;
    while (text.size() <= kMaxBytes && (got = read(descriptor, buffer, sizeof(buffer))) > 0) {
      text.append(buffer, static_cast<std::size_t>(got));
    }
    if (got < 0 || text.size() > kMaxBytes) {
      problem = because(path, got < 0 ? std::strerror(errno) : "it is too large");
    }
  }
  close(descriptor);
  if (!problem.empty()) {
    return problem;
  }
  // Its own name where a run would take that, since the summary tells a broken document by it.
  std::string name = helperUtil::stringAfterLast(path, "/");
  struct stat taken = {};
  ++m_nDocuments;
  if (!TOLMMgr::isDocumentName(name) || stat((configFolder() + name).c_str(), &taken) == 0) {
    name = "document-" + std::to_string(m_nDocuments) + ".xml";
  }
  m_Given[configFolder() + name] = path;
  std::ofstream out(configFolder() + name, std::ios::binary);
  out << text;
  out.close();
  return out ? "" : because(path, "its copy can't be written");
}

std::string TrialFolder::givenPath(const std::string& path) const {
  const auto found = m_Given.find(path);
  return found == m_Given.end() ? path : found->second;
}

bool TrialFolder::mayHaveItems() const {
  return std::any_of(m_Given.begin(), m_Given.end(), [](const auto& document) {
    const DocumentTree tree = parseDocumentFile(document.first);
    return tree.root == nullptr || !tree.root->childrenNamed("file").empty();
  });
}

std::string TrialFolder::request(const std::vector<std::string>& ids) {
  std::set<std::string> known;
  for (const auto& entry : std::filesystem::directory_iterator(configFolder())) {
    const DocumentTree tree = parseDocumentFile(entry.path().string());
    for (const DocumentElement* item :
         tree.root == nullptr ? std::vector<const DocumentElement*>() : tree.root->childrenNamed("file")) {
      if (const DocumentAttribute* const id = item->attribute("id"); id != nullptr) {
        known.insert(meantValue(id->value));
      }
    }
  }
  std::set<std::string> asked;
  std::string text = "<request>";
  for (const std::string& id : ids) {
    if (known.find(id) == known.end()) {
      return "none of the documents has an item " + quotedText(id);
    }
    // An item that is asked for twice is gathered twice.
    if (asked.insert(id).second) {
      text += "<file id=\"" + escaped(id) + "\"/>";
    }
  }
  m_strRequest = m_Folder.path() + "/request.xml";
  std::ofstream out(m_strRequest, std::ios::binary);
  out << text << "</request>\n";
  out.close();
  return out ? "" : "the request can't be written at " + m_strRequest;
}

}  // namespace halvo
