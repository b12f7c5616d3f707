// Walks the source tree: includes and link lines go down the storeys only, the toolkit stays in its
// adapter, and a few habits of the tree hold everywhere.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct Storey {
  std::string prefix;   // of the paths that belong to it
  std::string library;  // the library that it is built into
};

// Bottom to top. The longest match decides: four files of a folder lie below the log, and rooms within a
// folder above it.
const std::vector<Storey>& storeys() {
  static const std::vector<Storey> list = {
      {"vpn/Common/Utility/ManualLock", "common_base"},
      {"vpn/Common/Utility/OSInfo", "common_base"},
      {"vpn/Common/Utility/CoreFoundationHeld", "common_base"},
      {"vpn/Common/Utility/StringUtils", "common_base"},
      {"vpn/Common/Diagnostics/", "common_diagnostics"},
      {"vpn/Common/Utility/", "common_utility"},
      {"vpn/Common/Xml/", "common_xml"},
      {"vpn/Common/Zip/", "common_zip"},
      {"vpn/Common/IPC/", "common_ipc"},
      {"vpn/Common/i18n/", "common_i18n"},
      {"vpn/tools/TOLM/TOLMBundle/", "tolm_bundle"},
      {"vpn/tools/TOLM/TOLMBundle/redact/", "tolm_redact"},
      {"vpn/tools/TOLM/TOLMBundle/findings/", "tolm_findings"},
      {"vpn/tools/TOLM/TOLMBundle/report/", "tolm_report"},
      {"vpn/tools/TOLM/TOLMEngine/implementations/parser/", "tolm_parser"},
      {"vpn/tools/TOLM/TOLMEngine/implementations/", "tolm_engine"},
      {"vpn/tools/TOLM/TOLMAuthoring/check/", "tolm_authoring_check"},
      {"vpn/tools/TOLM/TOLMAuthoring/plan/", "tolm_authoring_plan"},
      {"vpn/tools/TOLM/TOLMFrontEnd/recipients/", "tolm_recipients"},
      {"vpn/tools/TOLM/TOLMFrontEnd/", "tolm_frontend"},
      {"vpn/tools/TOLM/TOLMFrontEnd/unattended/", "tolm_unattended"},
      {"vpn/tools/TOLM/TOLMAuthoring/trial/", "tolm_authoring_trial"},
      {"vpn/tools/TOLM/TOLMConsole/", "tolm_console"},
      {"vpn/tools/TOLM/TOLMOffline/", "tolm_offline_flow"},
  };
  return list;
}

const std::string kParser = "vpn/tools/TOLM/TOLMEngine/implementations/parser/";
const std::string kConsole = "vpn/tools/TOLM/TOLMConsole/";
const std::string kWizard = "vpn/tools/TOLM/TOLMOffline/";

const std::string kToolkitLibrary = "tolm_offline_qt";

bool startsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The rank of a library by its name, -1 for a library of somebody else.
int rankOfLibrary(const std::string& library) {
  int rank = -1;
  for (const Storey& storey : storeys()) {
    if (rank < 0 || storeys()[static_cast<size_t>(rank)].library != storey.library) {
      rank = static_cast<int>(&storey - storeys().data());
    }
    if (storey.library == library) {
      return rank;
    }
  }
  return -1;
}

// The rank of a source path, -1 where it belongs to no storey.
int rankOfPath(const std::string& path) {
  const Storey* found = nullptr;
  for (const Storey& storey : storeys()) {
    if (startsWith(path, storey.prefix) &&
        (found == nullptr || storey.prefix.size() > found->prefix.size())) {
      found = &storey;
    }
  }
  return found != nullptr ? rankOfLibrary(found->library) : -1;
}

bool isFrontEnd(const std::string& path) {
  return startsWith(path, kConsole) || startsWith(path, kWizard);
}

bool isTest(const std::string& path) {
  return path.find("_test.") != std::string::npos;
}

// The toolkit adapter: the only files that may see the toolkit's headers.
bool isToolkitAdapter(const std::string& path) {
  if (!startsWith(path, kWizard)) {
    return false;
  }
  const std::string name = path.substr(kWizard.size());
  static const char* const kBeginnings[] = {"Qt",          "ui_",          "MessageLabel",
                                            "Mnemonics",   "FolderOpener", "ToolkitMessages",
                                            "WizardStyle", "WizardWindow"};
  return std::any_of(std::begin(kBeginnings), std::end(kBeginnings),
                     [&name](const char* beginning) { return startsWith(name, beginning); }) ||
         name == "main.cpp";
}

std::vector<std::string> matches(const std::string& text, const std::string& pattern) {
  std::vector<std::string> found;
  const std::regex expression(pattern);
  for (std::sregex_iterator at(text.begin(), text.end(), expression); at != std::sregex_iterator(); ++at) {
    found.push_back((*at)[1].str());
  }
  return found;
}

// What is wrong with the includes of one file, one line a finding.
std::vector<std::string> includeFindings(const std::string& path, const std::string& text) {
  std::vector<std::string> findings;
  const int own = rankOfPath(path);
  for (const std::string& target : matches(text, R"re((?:^|\n)[ \t]*#[ \t]*include[ \t]*"([^"]+)")re")) {
    if (startsWith(target, "tests/")) {
      if (!isTest(path)) {
        findings.push_back(path + " includes test code: " + target);
      }
      continue;
    }
    const int other = rankOfPath(target);
    if (other < 0) {
      findings.push_back(path + " includes \"" + target + "\", which is no full path of a storey's header");
    } else if (isTest(path)) {
      continue;  // A test may lean on anything; its program links what it names.
    } else if (other > own) {
      findings.push_back(path + " includes " + target + ", which lies above it");
    } else if (isFrontEnd(path) && other != own && isFrontEnd(target)) {
      findings.push_back(path + " includes " + target + " of the other front-end");
    } else if (isToolkitAdapter(target) && !isToolkitAdapter(path)) {
      findings.push_back(path + " includes the toolkit adapter: " + target);
    }
  }
  for (const std::string& target : matches(text, R"re((?:^|\n)[ \t]*#[ \t]*include[ \t]*<([^>]+)>)re")) {
    const bool toolkit = std::regex_match(target, std::regex("(Qt[A-Za-z]*/)?Q[A-Za-z]+"));
    if (toolkit && !isToolkitAdapter(path)) {
      findings.push_back(path + " includes the toolkit: " + target);
    }
  }
  return findings;
}

// What is wrong with the tolm_library() lines of one CMakeLists.txt.
std::vector<std::string> linkFindings(const std::string& path, const std::string& text) {
  std::vector<std::string> findings;
  const std::regex declaration(R"(tolm_library\(\s*(\w+)([^)]*)\))");
  for (std::sregex_iterator at(text.begin(), text.end(), declaration); at != std::sregex_iterator(); ++at) {
    const std::string library = (*at)[1].str();
    const std::string body = (*at)[2].str();
    const size_t link = body.find("LINK");
    const int own = rankOfLibrary(library);
    for (const std::string& target :
         matches(link == std::string::npos ? std::string() : body.substr(link + 4), R"(([\w:]+))")) {
      if (own >= 0 && rankOfLibrary(target) > own) {
        findings.push_back(path + ": " + library + " links " + target + ", which lies above it");
      }
      if (startsWith(target, "Qt6::") && library != kToolkitLibrary) {
        findings.push_back(path + ": " + library + " links the toolkit");
      }
    }
  }
  if (text.find("Qt6::") != std::string::npos && !startsWith(path, kWizard)) {
    findings.push_back(path + " links the toolkit");
  }
  return findings;
}

// The text once more for every value of every loop in it, with the loop's variable replaced.
std::string unrolledLoops(const std::string& text) {
  std::string unrolled;
  const std::regex loop(R"(foreach\(\s*(\w+)([^)]*)\))");
  for (std::sregex_iterator at(text.begin(), text.end(), loop); at != std::sregex_iterator(); ++at) {
    const std::regex variable("\\$\\{" + (*at)[1].str() + "\\}");
    for (const std::string& value : matches((*at)[2].str(), R"(([\w./-]+))")) {
      unrolled += std::regex_replace(text, variable, value);
    }
  }
  return unrolled;
}

bool isSource(const std::string& path) {
  return endsWith(path, ".cpp") || endsWith(path, ".h");
}

// The text of every file of the given top folders, by its path from the root of the tree.
std::map<std::string, std::string> readTree(const std::vector<std::string>& folders) {
  std::map<std::string, std::string> files;
  for (const std::string& folder : folders) {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(test::sourcePath(folder))) {
      const std::string path = fs::relative(entry.path(), test::sourcePath("")).generic_string();
      if (entry.is_regular_file() && (isSource(path) || endsWith(path, "CMakeLists.txt"))) {
        files[path] = test::readFile(entry.path().string());
      }
    }
  }
  return files;
}

const std::map<std::string, std::string>& sourceTree() {
  static const std::map<std::string, std::string> tree = readTree({"vpn", "tests", "bench", "fuzz"});
  return tree;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
}

TEST(IncludeGraphTest, EverySourceBelongsToAStorey) {
  std::vector<std::string> strays;
  for (const auto& [path, text] : sourceTree()) {
    if (startsWith(path, "vpn/") && isSource(path) && rankOfPath(path) < 0) {
      strays.push_back(path);
    }
  }
  EXPECT_THAT(strays, IsEmpty()) << joined(strays);
  EXPECT_GT(sourceTree().size(), 20U) << "the walk found hardly anything";
}

TEST(IncludeGraphTest, IncludesGoDownOnly) {
  std::vector<std::string> findings;
  for (const auto& [path, text] : sourceTree()) {
    if (startsWith(path, "vpn/") && isSource(path)) {
      const std::vector<std::string> more = includeFindings(path, text);
      findings.insert(findings.end(), more.begin(), more.end());
    }
  }
  EXPECT_THAT(findings, IsEmpty()) << joined(findings);
}

TEST(IncludeGraphTest, LinkLinesGoDownOnly) {
  std::vector<std::string> findings;
  for (const auto& [path, text] : sourceTree()) {
    if (startsWith(path, "vpn/") && endsWith(path, "CMakeLists.txt")) {
      const std::vector<std::string> more = linkFindings(path, text);
      findings.insert(findings.end(), more.begin(), more.end());
    }
  }
  EXPECT_THAT(findings, IsEmpty()) << joined(findings);
}

// What of the terminal and of the standard streams the text names, if anything.
std::vector<std::string> terminalFindings(const std::string& text) {
  return matches(text,
                 R"re((<termios\.h>|<iostream>|\b(?:isatty|f?printf|f?puts|putchar|fwrite|perror)\())re");
}

TEST(IncludeGraphTest, AuthoringKnowsNoTerminal) {
  std::vector<std::string> findings;
  for (const auto& [path, text] : sourceTree()) {
    if (startsWith(path, "vpn/tools/TOLM/TOLMAuthoring/") && isSource(path) && !isTest(path)) {
      for (const std::string& name : terminalFindings(text)) {
        findings.push_back(path + " names " + name);
      }
    }
  }
  EXPECT_THAT(findings, IsEmpty()) << joined(findings);
  EXPECT_THAT(terminalFindings("std::fprintf(stderr, x);\n#include <termios.h>"), testing::SizeIs(2));
}

// The checks themselves: a planted arrow up is found.

TEST(IncludeGraphTest, PlantedArrowUpIsFound) {
  EXPECT_THAT(includeFindings(
                  "vpn/Common/Zip/CZip.cpp",
                  "#include <string>\n#include \"vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h\"\n"),
              Contains(HasSubstr("lies above it")));
  EXPECT_THAT(
      includeFindings("vpn/Common/Utility/StringUtils.cpp", "#include \"vpn/Common/Diagnostics/Log.h\"\n"),
      Contains(HasSubstr("lies above it")));
  EXPECT_THAT(
      includeFindings("vpn/Common/Diagnostics/Log.cpp", "#include \"vpn/Common/Utility/sysutils.h\"\n"),
      Contains(HasSubstr("lies above it")));
  EXPECT_THAT(includeFindings("vpn/tools/TOLM/TOLMConsole/Main.cpp",
                              "#include \"vpn/tools/TOLM/TOLMOffline/Wizard.h\"\n"),
              testing::Not(IsEmpty()));
  EXPECT_THAT(includeFindings("vpn/Common/Xml/RQVSaxParser.h", "  #  include \"tests/support/Files.h\"\n"),
              Contains(HasSubstr("test code")));
  EXPECT_THAT(includeFindings("vpn/Common/Zip/CZip.cpp", "#include \"CZip.h\"\n"),
              Contains(HasSubstr("no full path")));
}

TEST(IncludeGraphTest, PlantedToolkitIncludeIsFound) {
  EXPECT_THAT(includeFindings(kParser + "TOLMMgr.cpp", "#include <QString>\n"),
              Contains(HasSubstr("the toolkit: QString")));
  EXPECT_THAT(includeFindings(kWizard + "WizardController.cpp", "#include <QtWidgets/QWidget>\n"),
              Contains(HasSubstr("the toolkit")));
  EXPECT_THAT(includeFindings(kWizard + "GUIController.cpp", "#include \"" + kWizard + "QtToolkit.h\"\n"),
              Contains(HasSubstr("the toolkit adapter")));
  EXPECT_THAT(includeFindings(kWizard + "QtToolkit.cpp",
                              "#include <QWidget>\n#include \"" + kWizard + "ui_MainWindow.h\"\n"),
              IsEmpty());
}

TEST(IncludeGraphTest, ArrowsDownAndSidewaysInAFolderArePassed) {
  EXPECT_THAT(includeFindings("vpn/Common/Diagnostics/Log.cpp",
                              "#include \"vpn/Common/Diagnostics/Log.h\"\n"
                              "#include \"vpn/Common/Utility/ManualLock.h\"\n#include <queue>\n"),
              IsEmpty());
}

TEST(IncludeGraphTest, PlantedLinkLineIsFound) {
  EXPECT_THAT(
      linkFindings("vpn/Common/Zip/CMakeLists.txt",
                   "tolm_library(common_zip\n  SOURCES CZip.cpp\n  LINK tolm_engine common_utility)\n"),
      Contains(HasSubstr("common_zip links tolm_engine")));
  EXPECT_THAT(linkFindings("vpn/Common/Zip/CMakeLists.txt", "target_link_libraries(x Qt6::Widgets)\n"),
              Contains(HasSubstr("toolkit")));
  EXPECT_THAT(linkFindings(kWizard + "CMakeLists.txt",
                           "tolm_library(tolm_offline_flow SOURCES a.cpp LINK tolm_engine Qt6::Widgets)\n"),
              Contains(HasSubstr("tolm_offline_flow links the toolkit")));
  EXPECT_THAT(linkFindings("vpn/Common/Zip/CMakeLists.txt",
                           "tolm_library(common_zip SOURCES CZip.cpp LINK common_utility ZLIB::ZLIB)\n"),
              IsEmpty());
}

// Habits of the whole tree.

TEST(SourceTreeTest, EverySourceFileIsNamedInABuildFile) {
  std::map<std::string, std::string> buildFiles;
  for (const auto& [path, text] : sourceTree()) {
    if (endsWith(path, "CMakeLists.txt")) {
      buildFiles[path] = text + unrolledLoops(text);
    }
  }
  std::vector<std::string> forgotten;
  for (const auto& [path, text] : sourceTree()) {
    if (!endsWith(path, ".cpp")) {
      continue;
    }
    // X_linux.cpp and X_darwin.cpp are named as X_host.cpp.
    const std::string host = std::regex_replace(path, std::regex("_(linux|darwin)\\.cpp$"), "_host.cpp");
    bool named = false;
    for (fs::path folder = fs::path(path).parent_path(); !folder.empty() && !named;
         folder = folder.parent_path()) {
      const auto buildFile = buildFiles.find((folder / "CMakeLists.txt").generic_string());
      if (buildFile == buildFiles.end()) {
        continue;
      }
      for (const std::string& name : {path, host}) {
        const std::string relative = fs::path(name).lexically_relative(folder).generic_string();
        named = named || buildFile->second.find(relative) != std::string::npos;
      }
    }
    // A shared source may be named from another folder by its whole path.
    for (const auto& [buildPath, buildText] : buildFiles) {
      named = named || buildText.find("${CMAKE_SOURCE_DIR}/" + path) != std::string::npos;
    }
    if (!named) {
      forgotten.push_back(path);
    }
  }
  EXPECT_THAT(forgotten, IsEmpty()) << joined(forgotten);
}

TEST(SourceTreeTest, SharedCodeHasNoBranchesForHosts) {
  std::vector<std::string> findings;
  for (const auto& [path, text] : sourceTree()) {
    const bool hostFile =
        path.find("_linux.") != std::string::npos || path.find("_darwin.") != std::string::npos;
    if (startsWith(path, "vpn/") && isSource(path) && !hostFile &&
        std::regex_search(text,
                          std::regex(R"((^|\n)[ \t]*#[ \t]*(if|elif)[^\n]*(__APPLE__|__linux__|_WIN32))"))) {
      findings.push_back(path);
    }
  }
  EXPECT_THAT(findings, IsEmpty()) << joined(findings);
}

TEST(SourceTreeTest, HeadersOpenWithTheirPurpose) {
  std::vector<std::string> findings;
  for (const auto& [path, text] : sourceTree()) {
    if (endsWith(path, ".h") && !startsWith(text, "//")) {
      findings.push_back(path);
    }
  }
  EXPECT_THAT(findings, IsEmpty()) << joined(findings);
}

TEST(SourceTreeTest, NothingIsLeftToDoOrSwitchedOff) {
  // Spelled in two halves, so that this file isn't found.
  const std::vector<std::pair<std::string, std::string>> marks = {
      {"TO", "DO"}, {"FIX", "ME"}, {"XX", "X:"}, {"DISABLED", "_"}, {"GTEST", "_SKIP"}, {"#if", " 0"}};
  std::vector<std::string> findings;
  for (const auto& [path, text] : sourceTree()) {
    for (const auto& [start, end] : marks) {
      if (isSource(path) && text.find(start + end) != std::string::npos) {
        findings.push_back(path + ": " + start + end);
      }
    }
  }
  EXPECT_THAT(findings, IsEmpty()) << joined(findings);
}

}  // namespace
}  // namespace halvo
