// CheckRun: one `tmtolm check`, over documents and folders of them.
//
// Reads documents, and looks at the machine for what they name; nothing is run, written or logged. Memory
// stays with the findings and the ids and titles of the documents, one tree at a time.

#pragma once

#include <sys/types.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentCheck.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/ElementCheck.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

namespace halvo {

class CheckRun {
 public:
  // `host` stays the caller's.
  explicit CheckRun(ICheckHost& host) : m_Host(host) {}

  // A document, or a folder whose documents are checked by the name rule of a folder load, without
  // its subfolders. The same file is checked once. A path that can't be read gives a finding.
  void addPath(const std::string& path);

  // After the last addPath(): the findings that need to know all documents.
  void finish();

  // One line a finding, in the order of the paths, then of the places in a document.
  [[nodiscard]] std::vector<std::string> lines() const;
  // The same as a JSON array; docs/schema/check.schema.json tells its form.
  [[nodiscard]] std::string json() const;
  // Whether any finding is of level error.
  [[nodiscard]] bool hasErrors() const;
  [[nodiscard]] bool hasFindings() const;

 private:
  struct Checked {
    std::string path;
    DocumentReport report;
  };

  void addFolder(const std::string& path);
  void addDocument(const std::string& path, bool fromFolder);
  void compareWithOthers(Checked& document);
  void addFinding(const std::string& path, CheckRule rule, const std::string& text);

  ICheckHost& m_Host;
  std::vector<Checked> m_Documents;
  std::set<std::pair<dev_t, ino_t>> m_Seen;
  // Title or id to the document that has it first.
  std::map<std::string, std::string> m_Titles;
  std::map<std::string, std::string> m_Ids;
  RuleSet m_Rules;  // of all documents of rules
  bool m_bAnyConfig = false;
};

}  // namespace halvo
