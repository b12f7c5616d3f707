#include "vpn/tools/TOLM/TOLMFrontEnd/RequestCheck.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <list>

#include "vpn/Common/Utility/PathText.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {

namespace {

// Why the file can't be read; empty if it can. A pipe isn't opened: that would wait for its writer.
std::string readProblem(const std::string& path) {
  if (access(path.c_str(), R_OK) == 0) {
    return "";
  }
  return std::strerror(errno);
}

}  // namespace

bool isPlainFileName(const std::string& name) {
  // A "$" begins a variable in the engine's paths.
  return !name.empty() && !isDotName(name) && name.find_first_of("/$") == std::string::npos;
}

std::string requestProblem(const std::string& path) {
  if (const std::string problem = readProblem(path); !problem.empty()) {
    return "the request \"" + path + "\" can't be read: " + problem;
  }
  TOLMXmlLoader loader;
  std::list<XMLObject*> documents;
  loader.load(path, kLoadFile, documents);
  if (documents.size() != 1 || documents.front()->GetRoot() == nullptr) {
    return "\"tmtolm check\" tells what is wrong with the request \"" + path + "\"";
  }
  for (const auto& item : documents.front()->GetRoot()->GetChildren()) {
    if (item->GetName() != "file") {
      continue;
    }
    const DataComponent* const name = item->FindChild("name");
    if (name != nullptr && !isPlainFileName(name->GetValue())) {
      return "the request \"" + path + "\" gives a file the name \"" + name->GetValue() +
             R"(", which isn't one of a file in the bundle: it is empty, "." or "..", or holds "/" or "$")";
    }
  }
  return "";
}

}  // namespace halvo
