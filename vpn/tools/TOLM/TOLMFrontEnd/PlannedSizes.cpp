#include "vpn/tools/TOLM/TOLMFrontEnd/PlannedSizes.h"

#include "vpn/tools/TOLM/TOLMAuthoring/plan/DocumentFolder.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"

namespace halvo {

namespace {

// The machine, without a try to open each file: a run tries that by itself.
class SizesHost : public PlanHost {
 public:
  std::string readProblem(const std::string& /*path*/) override { return ""; }
};

}  // namespace

PlannedSizes planSizes(const std::string& requestPath, const std::string& configFolder) {
  const DocumentFolder folder(configFolder);
  LoadedDocument request;
  if (!requestPath.empty()) {
    request = loadDocument(requestPath);
  }
  SizesHost host;
  PlannedSizes sizes;
  PlanOptions options;
  options.onCopy = [&sizes](const PlannedFile& file) {
    if (file.size <= 0) {
      return;
    }
    const auto bytes = static_cast<std::uint64_t>(file.size);
    sizes.bytes += bytes;
    if (bytes > sizes.largestBytes) {
      sizes.largestBytes = bytes;
      sizes.largestFile = file.path;
    }
  };
  sizes.unmatchedIds = buildPlan(folder.sources(), request.document, host, options).unmatchedIds;
  return sizes;
}

}  // namespace halvo
