// check and plan over arbitrary documents. The machine is a fake that has a file wherever one is looked
// for, so that every branch is reached and nothing outside of the process is touched.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <string>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRules.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentCheck.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/FakeCheckHost.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {
namespace {

class NoLogger : public ILogger {
 public:
  ResultCode log(std::uint32_t, const char*, const char*, std::uint32_t, int) override { return 0; }
};

class NoHost : public IPlanHost {
 public:
  ResultCode findAll(std::string folder, std::string pattern,
                     std::list<helperUtil::FileFindEntry>& entries) override {
    for (const char* name : {".", "..", "a.log", "b\xff.txt"}) {
      if (!folder.empty() && helperUtil::wildcardMatch(pattern.c_str(), name)) {
        entries.push_back({name, name[0] == '.', 1});
      }
    }
    return entries.empty() ? TOLMENGINE_ERROR_FILE_NOT_FOUND : 0;
  }
  std::int64_t sizeOf(const std::string& path) override { return static_cast<std::int64_t>(path.size()); }
  HostKind kindOf(const std::string& path) override {
    const std::size_t kind = path.size() % 4;
    return kind == 0   ? HostKind::kMissing
           : kind == 1 ? HostKind::kFolder
           : kind == 2 ? HostKind::kOther
                       : HostKind::kFile;
  }
  std::string deleteProblem(const std::string& path) override { return readProblem(path); }
  bool hasProgram(const std::string& program) override { return program.size() % 2 == 0; }
  std::vector<std::string> listFolder(const std::string& path) override {
    return path.size() > 100 ? std::vector<std::string>() : std::vector<std::string>{"a", "bc"};
  }
  std::optional<Identity> identityOf(const std::string& path) override { return Identity(0, path.size()); }
  std::string linkTarget(const std::string& path) override { return path.size() % 3 == 0 ? "/" : ""; }
  std::string readProblem(const std::string& path) override { return path.size() % 2 == 0 ? "" : "refused"; }
  ResultCode logLocations(const std::string& file, std::vector<std::string>& locations) override {
    locations.push_back(file);
    return 0;
  }
};

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

}  // namespace
}  // namespace halvo

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  while (!halvo::releaseLogging()) {
  }
  halvo::ResultCode result = 0;
  halvo::acquireLogging(result, "fuzz", new halvo::NoLogger);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace halvo;
  const std::string text(reinterpret_cast<const char*>(data), size);

  const DocumentTree tree = parseDocumentText(text);
  FakeCheckHost machine;
  const DocumentReport report = checkDocument(tree, machine);
  for (const Finding& finding : report.findings) {
    const std::string line = findingLine("a.xml", finding);
    require(line.find('\n') == std::string::npos);
    require(finding.position.line >= 1 && finding.position.column >= 1);
  }

  // check and run must agree on what is well-formed. The run's own reader skips white space in front of
  // a text in memory, which a file doesn't get.
  TOLMXmlLoader loader;
  std::list<XMLObject*> documents;
  const bool loaded = loader.load(text, 0, documents) != nullptr;
  const bool startsBlank = size > 0 && std::string(" \t\r\n").find(text.front()) != std::string::npos;
  if (tree.outcome != ParseOutcome::kTooLarge && !startsBlank) {
    require(loaded == (tree.outcome == ParseOutcome::kParsed));
  }
  if (!loaded || documents.front()->GetRoot() == nullptr) {
    return 0;
  }
  NoHost host;
  const XMLObject* const document = documents.front();
  for (const XMLObject* request : {static_cast<const XMLObject*>(nullptr), document}) {
    const PlanOptions options{size % 2 == 0, size % 3 == 0, size % 5 == 0};
    Plan plan = buildPlan({{"a.xml", document, &tree}, {"broken.xml", nullptr}}, request, host, options);
    plan.requestPath = request == nullptr ? "" : "a.xml";
    require(!planText(plan).empty());
    require(!planJson(plan).empty());
  }
  return 0;
}
