#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRun.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/PlainText.h"
#include "vpn/Common/Utility/StringUtils.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/RulesCheck.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace halvo {

namespace {

bool isFolder(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

void CheckRun::addPath(const std::string& path) {
  if (isFolder(path)) {
    addFolder(path);
  } else {
    addDocument(path, false);
  }
}

void CheckRun::addFolder(const std::string& path) {
  const FolderHolder stream(opendir(path.c_str()));
  if (stream == nullptr) {
    addFinding(path, "unreadable", std::string("the folder can't be read: ") + std::strerror(errno));
    return;
  }
  std::vector<std::string> names;
  while (const dirent* entry = readdir(stream.get())) {
    names.emplace_back(entry->d_name);
  }
  // The order of a folder load is the file system's; findings come in an order that stays.
  std::sort(names.begin(), names.end());

  const std::string start = endsWith(path, "/") ? path : path + "/";
  bool any = false;
  for (const std::string& name : names) {
    const std::string file = start + name;
    const std::string plain = CStringUtils::toLower(name);
    if (TOLMMgr::isDocumentName(name)) {
      if (isFolder(file)) {
        addFinding(
            file, "folder-as-document",
            "a folder with the name of a document: a run takes it for one, fails and lists it as failed in "
            "the summary");
      } else {
        any = true;
        addDocument(file, true);
      }
    } else if (!isFolder(file) && endsWith(plain, ".xml")) {
      addFinding(file, "file-name",
                 "the name's first \".xml\", in small letters, isn't its end: a run skips the file");
    } else if (!isFolder(file) && plain.find(".xml") != std::string::npos) {
      addFinding(file, "skipped-name", "the name doesn't end in \".xml\": a run skips the file");
    }
  }
  if (!any) {
    addFinding(
        path, "no-documents",
        "no document in this folder: a run over it ends with \"Internal Error: no valid configuration XML "
        "found...\"");
  }
}

void CheckRun::addDocument(const std::string& path, bool fromFolder) {
  struct stat status = {};
  // By what it is and not by its path: a folder may be given, and a document of it too.
  if (stat(path.c_str(), &status) == 0 && !m_Seen.insert({status.st_dev, status.st_ino}).second) {
    return;
  }
  const DocumentTree tree = parseDocumentFile(path);
  // Rules for findings lie beside documents at times, and have a reader of their own.
  if (isRulesDocument(tree)) {
    m_Documents.push_back({path, {checkRulesDocument(path, m_Rules), {}}});
    return;
  }
  Checked document{path, checkDocument(tree, m_Host)};
  std::vector<Finding>& findings = document.report.findings;
  const bool isRequest = document.report.facts.isRequest;
  if (isRequest && fromFolder) {
    findings.insert(
        findings.begin(),
        {"request-in-folder",
         {},
         "a request in a folder of instructions: a run reads it as a document whose items are never "
         "gathered"});
  }
  if (!fromFolder && !isRequest && tree.outcome != ParseOutcome::kUnreadable &&
      !TOLMMgr::isDocumentName(helperUtil::stringAfterLast(path, "/"))) {
    findings.insert(findings.begin(),
                    {"file-name",
                     {},
                     "the name's first \".xml\", in small letters, isn't its end: a run skips the file"});
  }
  if (tree.outcome == ParseOutcome::kParsed && !isRequest) {
    m_bAnyConfig = true;
    compareWithOthers(document);
  }
  m_Documents.push_back(std::move(document));
}

void CheckRun::compareWithOthers(Checked& document) {
  const DocumentFacts& facts = document.report.facts;
  std::vector<Finding>& findings = document.report.findings;
  if (!facts.title.empty()) {
    const auto [other, added] = m_Titles.insert({facts.title, document.path});
    if (!added) {
      findings.push_back(
          {"title-duplicate", facts.titlePosition,
           "the title " + quotedText(facts.title) + " is that of " + withoutControls(other->second) +
               " too: a run puts both into one folder, where files of the same name replace each "
               "other"});
    }
  }
  for (const auto& [id, position] : facts.ids) {
    const auto [other, added] = m_Ids.insert({id, document.path});
    // Past the bound the list has said so already.
    if (!added && findings.size() <= FindingList::kMaxFindings) {
      findings.push_back({"id-duplicate-documents", position,
                          "the id " + quotedText(id) + " is used in " + withoutControls(other->second) +
                              " too: a run by request gathers both, with a warning in the summary"});
    }
  }
  std::stable_sort(findings.begin(), findings.end(),
                   [](const Finding& a, const Finding& b) { return a.position < b.position; });
}

void CheckRun::finish() {
  // Requests alone: which documents they are for isn't known.
  if (!m_bAnyConfig) {
    return;
  }
  for (Checked& document : m_Documents) {
    if (!document.report.facts.isRequest) {
      continue;
    }
    std::vector<Finding>& findings = document.report.findings;
    for (const auto& [id, position] : document.report.facts.ids) {
      if (id != "comments" && id != "summary" && m_Ids.find(id) == m_Ids.end() &&
          findings.size() <= FindingList::kMaxFindings) {
        findings.push_back({"request-id-unknown", position,
                            "the id " + quotedText(id) +
                                " is in none of the documents given: a run gathers nothing for it"});
      }
    }
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.position < b.position; });
  }
}

void CheckRun::addFinding(const std::string& path, CheckRule rule, const std::string& text) {
  m_Documents.push_back({path, {{{rule, {}, text}}, {}}});
}

std::vector<std::string> CheckRun::lines() const {
  std::vector<std::string> all;
  for (const Checked& document : m_Documents) {
    for (const Finding& finding : document.report.findings) {
      all.push_back(findingLine(document.path, finding));
    }
  }
  return all;
}

std::string CheckRun::json() const {
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (const Checked& document : m_Documents) {
    for (const Finding& finding : document.report.findings) {
      all.push_back({
          {"file", document.path},
          {"line", finding.position.line},
          {"column", finding.position.column},
          {"rule", finding.rule.row().name},
          {"level", levelName(finding.rule.row().level)},
          {"text", finding.text},
      });
    }
  }
  // File names hold any bytes; JSON has to be UTF-8.
  return jsonWithoutControls(all.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)) +
         "\n";
}

bool CheckRun::hasFindings() const {
  return std::any_of(m_Documents.begin(), m_Documents.end(),
                     [](const Checked& document) { return !document.report.findings.empty(); });
}

bool CheckRun::hasErrors() const {
  return std::any_of(m_Documents.begin(), m_Documents.end(), [](const Checked& document) {
    return std::any_of(document.report.findings.begin(), document.report.findings.end(),
                       [](const Finding& finding) { return finding.rule.row().level == CheckLevel::kError; });
  });
}

}  // namespace halvo
