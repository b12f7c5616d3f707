// The collector's report: the summary document of a config, its text, and the user's comments.

#include <cctype>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/truncator.h"

namespace halvo {

namespace {

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

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using OpenFile = std::unique_ptr<std::FILE, FileCloser>;

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
  m_pXMLSummary = std::make_unique<XMLObject>("summary", "TOLM BUNDLE SUMMARY\n");
  DataComponent* const root = m_pXMLSummary->GetRoot();
  if (root == nullptr) {
    LOG_MESSAGE(kLogError, "m_pXMLSummary->GetRoot() is NULL");
    return TOLMENGINE_ERROR_NULL_XML_ROOT;
  }
  m_pXMLSummary->AddChild(root, "Main_Info", "");
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

ResultCode collector::writeComments(const DataComponent* commentsItem, const std::string& folder) {
  const std::string text = getComments();
  if (text.empty()) {
    return 0;
  }
  std::string fileName = "comments.txt";
  if (commentsItem != nullptr) {
    if (const DataComponent* const name = commentsItem->FindChild("name"); name != nullptr) {
      fileName = name->GetValue();
    }
  }
  const std::string path = helperUtil::translatePath(folder + "/../" + fileName);
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file.is_open()) {
    const std::string message = "Internal error: can't write comments at " + path;
    helperUtil::fillSummaryFailedFile(m_pXMLSummary.get(), "comments", fileName, "", message);
    LOG_MESSAGE(kLogError, "%s", message.c_str());
    return TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  }
  file << "Comments from Tessarmont user:\n" << text;
  file.close();

  FileRecord record;
  record.id = "comments";
  record.path = path;
  record.description = "Tessarmont user comments";
  record.size = helperUtil::fileGetSize(path);
  record.defaultScheme = kTruncateData;
  m_FileRecords.push_back(record);
  return 0;
}

ResultCode collector::writeSummary(const std::string& folder, XMLObject* config) {
  // The records go in and come back: a copy of a hundred thousand would count. keepAll() marks none.
  truncator manifest(std::move(m_FileRecords), m_pXMLSummary.get());
  manifest.keepAll();
  m_FileRecords = manifest.takeRecords();
  if (m_bFirstConfig) {
    if (const ResultCode rc = fillInSummaryMainInfo(); rc != 0) {
      LOG_RETURN_CODE(kLogError, "collector::fillInSummaryMainInfo", rc);
      return rc;
    }
  }
  if (m_strSummaryPath.empty()) {
    m_strSummaryPath = helperUtil::translatePath(folder + "/../summary.txt");
  }
  if (const ResultCode rc = printSummary(config); rc != 0) {
    LOG_RETURN_CODE(kLogError, "collector::printSummary", rc);
    return rc;
  }
  m_FileRecords.clear();
  return 0;
}

ResultCode collector::printSummary(const XMLObject* config) {
  if (config == nullptr) {
    LOG_MESSAGE(kLogError, "pXMLObjectConfig is NULL");
    return TOLMENGINE_ERROR_BAD_PARAMETER;
  }
  const OpenFile opened(std::fopen(m_strSummaryPath.c_str(), "a"));
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
  const DataComponent* const title = config->FindChildInGroup("configure", "title");
  std::fprintf(file, "%s:\n\n", title != nullptr ? title->GetValue().c_str() : "");

  std::fprintf(file, "Files Included in Bundle:\n");
  printRow(file, kIncludedTable, kIncludedTable.headings);
  std::fprintf(file, "%*.*s\n", kIncludedRule, kIncludedRule, ruleOf('-').c_str());
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
  return 0;
}

}  // namespace halvo
