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
  const Plan plan = buildPlan(folder.sources(), request.document, host);
  PlannedSizes sizes;
  for (const PlannedDocument& document : plan.documents) {
    for (const PlannedItem& item : document.items) {
      if (!isSelected(item.selection)) {
        continue;
      }
      for (const PlannedAction& action : item.actions) {
        for (const PlannedFile& file : action.files) {
          if (file.size <= 0) {
            continue;
          }
          const auto bytes = static_cast<std::uint64_t>(file.size);
          sizes.bytes += bytes;
          if (bytes > sizes.largestBytes) {
            sizes.largestBytes = bytes;
            sizes.largestFile = file.path;
          }
        }
      }
    }
  }
  return sizes;
}

}  // namespace halvo
