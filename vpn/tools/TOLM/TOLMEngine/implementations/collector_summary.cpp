// The collector's report: the summary document of a config, its text, and the user's comments.

#include <cctype>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/OutputFile.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/RunRecord.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/truncator.h"

namespace halvo {

namespace {

// All widths are in bytes: a row with letters beyond the ASCII ones looks shorter.
constexpr int kLabelWidth = 30;
constexpr int kSectionRule = 141;
constexpr int kIncludedRule = 101;
constexpr int kOmittedRule = 141;
constexpr int kColumns = 4;

// Wide enough for every rule; the formats cut it.
const std::string& ruleOf(char character) {
  static const std::string s_strEquals(kSectionRule, '=');
  static const std::string s_strHyphens(kSectionRule, '-');
  return character == '=' ? s_strEquals : s_strHyphens;
}

// One of the report's tables: four columns, two blanks apart.
struct Table {
  const char* headings[kColumns];
  int widths[kColumns];
  const char* lastAttribute;
};

constexpr Table kIncludedTable = {
    {"ID", "Filename", "Description", "File Size"}, {17, 28, 40, 10}, "file_size"};
constexpr Table kOmittedTable = {
    {"ID", "Filename", "Description", "Reason Omitted"}, {17, 28, 40, 50}, "reason"};

void printRow(std::FILE* file, const Table& table, const char* const (&cells)[kColumns]) {
  const int* width = table.widths;
  std::fprintf(file, "%-*.*s  %-*.*s  %-*.*s  %-*.*s\n", width[0], width[0], cells[0], width[1], width[1],
               cells[1], width[2], width[2], cells[2], width[3], width[3], cells[3]);
}

std::string attributeOf(const DataComponent& element, const char* name) {
  const DataAttribute* const attribute = element.FindAttribute(name);
  return attribute != nullptr ? attribute->GetValue() : "";
}

// One entry, on as many rows as its longest cell needs; one at least.
void printEntry(std::FILE* file, const Table& table, const DataComponent& element) {
  std::string texts[kColumns] = {element.GetName(), element.GetValue(), attributeOf(element, "description"),
                                 attributeOf(element, table.lastAttribute)};
  bool more = true;
  while (more) {
    std::string lines[kColumns];
    more = false;
    for (int i = 0; i < kColumns; ++i) {
      lines[i] = wrapText(texts[i], static_cast<std::size_t>(table.widths[i]));
      more = more || !texts[i].empty();
    }
    printRow(file, table, {lines[0].c_str(), lines[1].c_str(), lines[2].c_str(), lines[3].c_str()});
  }
}

void printEntries(std::FILE* file, const Table& table, const DataComponent* section) {
  for (const auto& element : section->GetChildren()) {
    printEntry(file, table, *element);
  }
}

// Bytes of 128 and above are never white space.
bool isWhiteSpace(char character) {
  return static_cast<signed char>(character) >= 0 && std::isspace(static_cast<unsigned char>(character)) != 0;
}

void trimLeft(std::string& text) {
  std::size_t start = 0;
  while (start < text.size() && isWhiteSpace(text[start])) {
    ++start;
  }
  text.erase(0, start);
}

}  // namespace

std::string wrapText(std::string& text, std::size_t width) {
  trimLeft(text);
  if (text.size() <= width) {
    std::string line;
    line.swap(text);
    return line;
  }
  for (std::size_t i = width; i-- > 0;) {
    if (isWhiteSpace(text[i])) {
      std::string line = text.substr(0, i);
      text.erase(0, i + 1);
      return line;
    }
  }
  // A hard cut keeps one column less than the width. This is wanted.
  std::string line = text.substr(0, width - 1);
  text.erase(0, width - 1);
  trimLeft(text);
  return line;
}

ResultCode collector::initializeSummary() {
  if (m_pXMLSummary != nullptr) {
    m_LeftSummaries.push_back(std::move(m_pXMLSummary));
  }
  m_pXMLSummary = std::make_unique<XMLObject>("summary", "TOLM BUNDLE SUMMARY\n");
  DataComponent* const root = m_pXMLSummary->GetRoot();
  if (root == nullptr) {
    LOG_MESSAGE(kLogError, "m_pXMLSummary->GetRoot() is NULL");
    return TOLMENGINE_ERROR_NULL_XML_ROOT;
  }
  m_pXMLSummary->AddChild(root, "Main_Info", "");
  // These three values are printed by nothing: the report has headings of its own.
  m_pXMLSummary->AddChild(root, "Manifest_Included", "File Manifest:");
  m_pXMLSummary->AddChild(root, "Manifest_Not_Included", "Files Requested But Not Included In Bundle:");
  m_pXMLSummary->AddChild(root, "Other_Note", "Other notes:");
  return 0;
}

ResultCode collector::fillInSummaryMainInfo() {
  if (m_pXMLSummary->GetRoot() == nullptr) {
    LOG_MESSAGE(kLogError, "m_pXMLSummary->GetRoot() is NULL");
    return TOLMENGINE_ERROR_NULL_XML_ROOT;
  }
  DataComponent* const mainInfo = m_pXMLSummary->GetRoot()->FindChild("Main_Info");
  if (mainInfo == nullptr) {
    LOG_MESSAGE(kLogError, "pDCMainInfo is NULL");
    return TOLMENGINE_ERROR_NULL_XML_CHILD;
  }
  // The names are the printed labels, colon included. The bundle path stands as it was
  // passed, before ".zip" could be put behind it.
  m_pXMLSummary->AddChild(mainInfo, "Time:", helperUtil::timeText(0));
  m_pXMLSummary->AddChild(mainInfo, "OS:", helperUtil::osDescription());
  m_pXMLSummary->AddChild(mainInfo, "User Name:", helperUtil::getUserName());
  m_pXMLSummary->AddChild(mainInfo, "Bundle on client computer:", helperUtil::absolutePath(m_strBundlePath));
  return 0;
}

std::string collector::getComments() const {
  if (m_pXMLRequest == nullptr || m_pXMLRequest->GetRoot() == nullptr) {
    return "";
  }
  const DataComponent* const comments = m_pXMLRequest->GetRoot()->FindChild("comments");
  return comments != nullptr ? comments->GetValue() : "";
}

std::string collector::pathAbove(const std::string& folder, const std::string& fileName) {
  return helperUtil::translatePath(folder + "/../" + fileName);
}

void collector::setSummaryPath(const std::string& folder, const std::string& fileName) {
  m_strSummaryPath = pathAbove(folder, fileName);
  m_strSummaryBase = pathAbove(folder, "");
}

FileHolder collector::openSummary() const {
  return toFile(openOutputBelow(m_strSummaryBase, m_strSummaryPath, OutputMode::kAppend),
                OutputMode::kAppend);
}

ResultCode collector::writeComments(const DataComponent* commentsItem, const std::string& folder) {
  const std::string text = getComments();
  if (text.empty()) {
    return 0;
  }
  std::string fileName = "comments.txt";
  if (commentsItem != nullptr) {
    if (const DataComponent* const name = commentsItem->FindChild("name"); name != nullptr) {
      // An empty one too: the path then ends in "/" and can't be opened, which the summary tells.
      fileName = name->GetValue();
    }
  }
  const std::string path = pathAbove(folder, fileName);
  FileHolder file =
      toFile(openOutputBelow(pathAbove(folder, ""), path, OutputMode::kReplace), OutputMode::kReplace);
  if (file == nullptr) {
    const std::string message = "Internal error: can't write comments at " + path;
    helperUtil::fillSummaryFailedFile(m_pXMLSummary.get(), "comments", fileName, "", message);
    LOG_MESSAGE(kLogError, "%s", message.c_str());
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  const std::string content = "Comments from Tessarmont user:\n" + text;
  // Its count isn't looked at: closing tells of every write that failed.
  static_cast<void>(std::fwrite(content.data(), 1, content.size(), file.get()));
  closeOutput(__func__, path, std::move(file));

  FileRecord record;
  record.id = "comments";
  record.path = path;
  record.description = "Tessarmont user comments";
  record.size = helperUtil::fileGetSize(path);
  // Unlike that of a gathered file. Only a budget would look at it.
  record.defaultScheme = kTruncateData;
  m_FileRecords.push_back(record);
  return 0;
}

ResultCode collector::writeSummary(const std::string& folder, XMLObject* config) {
  // Before the main information, so that its time is that of the end of the first config's walk.
  truncator(m_FileRecords, m_pXMLSummary.get()).keepAll();
  recordDocument(m_FileRecords, *m_pXMLSummary);
  if (m_bFirstConfig) {
    if (const ResultCode rc = fillInSummaryMainInfo(); rc != 0) {
      LOG_RETURN_CODE(kLogError, "collector::fillInSummaryMainInfo", rc);
      return rc;
    }
  }
  if (m_strSummaryPath.empty()) {
    setSummaryPath(folder, kSummaryName);
  }
  if (const ResultCode rc = printSummary(config); rc != 0) {
    LOG_RETURN_CODE(kLogError, "collector::printSummary", rc);
    return rc;
  }
  // Kept where the section couldn't be written: the next config's then lists them.
  m_FileRecords.clear();
  return 0;
}

ResultCode collector::printSummary(const XMLObject* config) {
  if (config == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLObjectConfig is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  // Appending: the sections of the configs before stand there, and the failure report comes behind.
  FileHolder opened = openSummary();
  std::FILE* const file = opened.get();
  if (file == nullptr) {
    LOG_MESSAGE(kLogError, "fopen failed to open file \"%s\"", m_strSummaryPath.c_str());
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  const DataComponent& root = *m_pXMLSummary->GetRoot();
  if (m_bFirstConfig) {
    std::fprintf(file, "%s\n", root.GetValue().c_str());
    for (const auto& info : root.FindChild("Main_Info")->GetChildren()) {
      std::fprintf(file, "%-*.*s%s\n", kLabelWidth, kLabelWidth, info->GetName().c_str(),
                   info->GetValue().c_str());
    }
  }
  std::fprintf(file, "\n%.*s\n", kSectionRule, ruleOf('=').c_str());
  const DataComponent* const title = findTitle(*config);
  std::fprintf(file, "%s:\n\n", title != nullptr ? title->GetValue().c_str() : "");

  std::fprintf(file, "Files Included in Bundle:\n");
  printRow(file, kIncludedTable, kIncludedTable.headings);
  std::fprintf(file, "%*.*s\n", kIncludedRule, kIncludedRule, ruleOf('-').c_str());
  // What the writes give isn't looked at: closing tells of every one that failed.
  printEntries(file, kIncludedTable, root.FindChild("Manifest_Included"));
  std::fprintf(file, "%.*s\n", kIncludedRule, ruleOf('-').c_str());

  const DataComponent* const omitted = root.FindChild("Manifest_Not_Included");
  if (!omitted->GetChildren().empty()) {
    std::fprintf(file, "\n\nFiles Omitted from Bundle:\n");
    printRow(file, kOmittedTable, kOmittedTable.headings);
    std::fprintf(file, "%.*s\n", kOmittedRule, ruleOf('-').c_str());
    printEntries(file, kOmittedTable, omitted);
    std::fprintf(file, "%*.*s\n", kOmittedRule, kOmittedRule, ruleOf('-').c_str());
  }
  const DataComponent* const notes = root.FindChild("Other_Note");
  if (!notes->GetChildren().empty()) {
    std::fprintf(file, "\n\nNotes:\n");
    for (const auto& note : notes->GetChildren()) {
      std::fprintf(file, "%s%s\n", note->GetName().c_str(), note->GetValue().c_str());
    }
  }
  closeOutput(__func__, m_strSummaryPath, std::move(opened));
  return 0;
}

}  // namespace halvo
