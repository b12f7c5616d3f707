#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Findings.h"

namespace halvo {

namespace {

using Json = nlohmann::ordered_json;

}  // namespace

std::string findingsText(const BundleContent& content, const Findings& findings) {
  std::string text;
  for (const KnownProblem& finding : findings.problems) {
    text += severityText(finding.severity) + ": " + withoutControls(finding.title) + " [" +
            withoutControls(finding.id) + "]\n  " + withoutControls(finding.advice) + "\n";
    for (const Evidence& evidence : finding.evidence) {
      text += "    " + withoutControls(content.placeOf(content.files()[evidence.file])) +
              (evidence.line > 0 ? ":" + std::to_string(evidence.line) : "") + ": " +
              withoutControls(evidence.text) + "\n";
    }
    if (finding.count > finding.evidence.size()) {
      text += std::string("    ... and ") + (finding.isAtLeast ? "at least " : "") +
              std::to_string(finding.count - finding.evidence.size()) + " more\n";
    }
    text += "\n";
  }
  text += std::to_string(findings.problems.size()) + " of " + std::to_string(findings.rules) +
          " known problems are seen in this bundle.\n";
  const std::string undecided = undecidedText(findings);
  return text + withoutControls(undecided) + (undecided.empty() ? "" : "\n");
}

std::string undecidedText(const Findings& findings) {
  if (findings.undecided.empty()) {
    return "";
  }
  std::string ids;
  for (const std::string& id : findings.undecided) {
    ids += (ids.empty() ? "" : ", ") + id;
  }
  return "Not known of " + std::to_string(findings.undecided.size()) +
         ", as not all could be read that they look at: " + ids;
}

std::string findingsJson(const BundleContent& content, const Findings& findings) {
  Json json;
  json["format"] = kBundleJsonFormat;
  json["rules"] = findings.rules;
  json["findings"] = Json::array();
  for (const KnownProblem& finding : findings.problems) {
    Json one = {{"id", finding.id},
                {"severity", severityText(finding.severity)},
                {"title", finding.title},
                {"advice", finding.advice},
                {"count", finding.count}};
    if (finding.isAtLeast) {
      one["at_least"] = true;
    }
    one["lines"] = Json::array();
    for (const Evidence& evidence : finding.evidence) {
      one["lines"].push_back({{"file", content.placeOf(content.files()[evidence.file])},
                              {"line", evidence.line},
                              {"text", evidence.text}});
    }
    json["findings"].push_back(std::move(one));
  }
  json["undecided"] = findings.undecided;
  json["unread"] = Json::array();
  for (const UnreadPart& part : findings.unread) {
    json["unread"].push_back({{"file", part.file}, {"why", part.why}});
  }
  return jsonWithoutControls(json.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace halvo
