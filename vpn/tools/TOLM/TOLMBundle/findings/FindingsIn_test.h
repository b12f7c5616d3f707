// What rules find in bundles that tests make up.

#pragma once

#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMBundle/SummaryBuilder_test.h"
#include "vpn/tools/TOLM/TOLMBundle/ZipBuilder_test.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Findings.h"

namespace halvo::test {

using Files = std::vector<RuleExample::File>;

// The findings of a bundle whose folders hold these files, each with the id of its item.
inline std::vector<KnownProblem> findIn(const std::map<std::string, Files>& folders, const RuleSet& rules,
                                        std::string* text = nullptr) {
  SummaryBuilder summary;
  ZipBuilder zip;
  for (const auto& [folderName, files] : folders) {
    summary.section(folderName);
    for (const RuleExample::File& file : files) {
      summary.included(file.item, file.name, "", "1 bytes");
      zip.add({folderName + "/" + file.name, file.text});
    }
  }
  zip.add({"summary.txt", summary.take()});
  const TempFolder folder;
  writeFile(folder.file("bundle.zip"), zip.take());
  BundleReader reader;
  EXPECT_EQ(reader.open(folder.file("bundle.zip"), ""), "");
  BundleContent content(reader);
  content.load();
  Findings findings = findProblems(content, rules);
  EXPECT_TRUE(findings.unread.empty() && findings.undecided.empty());
  if (text != nullptr) {
    *text = findingsText(content, findings);
    const std::string json = findingsJson(content, findings);
    EXPECT_FALSE(nlohmann::json::parse(json, nullptr, false).is_discarded());
    EXPECT_EQ(json.find("\xc2\x9b"), std::string::npos) << json;
  }
  return std::move(findings.problems);
}

inline std::vector<KnownProblem> findIn(const Files& files, const RuleSet& rules,
                                        std::string* text = nullptr) {
  return findIn(std::map<std::string, Files>{{"Logs", files}}, rules, text);
}

inline std::vector<std::string> idsOf(const std::vector<KnownProblem>& findings) {
  std::vector<std::string> ids;
  ids.reserve(findings.size());
  for (const KnownProblem& finding : findings) {
    ids.push_back(finding.id);
  }
  return ids;
}

// One rule around a condition.
inline std::string ruleText(const std::string& condition, const std::string& title = "T") {
  return R"(<rules><rule id="r" severity="error"><title>)" + title + "</title><advice>Do it.</advice>" +
         condition + "</rule></rules>";
}

inline RuleSet ruleSet(const std::string& condition, const std::string& title = "T") {
  RuleSet rules;
  std::vector<RuleFault> faults;
  EXPECT_TRUE(rules.add(ruleText(condition, title), faults)) << (faults.empty() ? "" : faults[0].text);
  return rules;
}

// What is found in a bundle of these bytes.
inline Findings findInBytes(const std::string& bytes, const RuleSet& rules) {
  const TempFolder folder;
  writeFile(folder.file("bundle.zip"), bytes);
  BundleReader reader;
  EXPECT_EQ(reader.open(folder.file("bundle.zip"), ""), "");
  BundleContent content(reader);
  content.load();
  return findProblems(content, rules);
}

}  // namespace halvo::test
