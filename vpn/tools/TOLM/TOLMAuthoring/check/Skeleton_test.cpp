#include "vpn/tools/TOLM/TOLMAuthoring/check/Skeleton.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRun.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

// The check of the machine that the test runs on: what it prints must be good here.
std::vector<std::string> check(const std::string& path) {
  CheckHost host;
  CheckRun run(host);
  run.addPath(path);
  run.finish();
  return run.lines();
}

int validate(const std::string& schema, const std::string& path) {
  return runProgram({"xmllint", "--noout", "--relaxng", sourcePath("docs/schema/" + schema), path})
      .exitStatus;
}

TEST(SkeletonTest, ANewDocumentPassesAStrictCheckAndTheSchema) {
  TempFolder folder;
  for (const std::string title : {"Printers", "a & b <c>", "\xc3\xa4 \"x\"", "]]>"}) {
    writeFile(folder.file("new.xml"), newDocument(title));
    EXPECT_THAT(check(folder.file("new.xml")), IsEmpty()) << title;
    EXPECT_EQ(validate("tolm-document.rng", folder.file("new.xml")), 0) << title;
    // Where editors find it.
    EXPECT_THAT(newDocument(title),
                HasSubstr("href=\"/opt/halvo/tessarmont/share/tolm/schema/tolm-document.rng\""));
  }
}

TEST(SkeletonTest, ATitleThatIsNoNameOfAFolderGivesNoDocument) {
  for (const std::string title : {"", ".", "..", "a/b", "summary.txt", " a", "a ", "a\nb", "\xff"}) {
    EXPECT_EQ(newDocument(title), "") << title;
  }
  EXPECT_EQ(newDocument(std::string(256, 'x')), "");
}

TEST(SkeletonTest, ANewRequestListsEveryItemOnceWithItsDescription) {
  TempFolder folder;
  writeFile(folder.file("a.xml"),
            "<c><configure><title>One</title></configure><file id=\"x\"><description>The -- "
            "x-</description><tolm/></file>"
            "<file id=\"y&amp;\"><tolm/></file><file><tolm/></file><file id=\"comments\"><tolm/></file></c>");
  writeFile(folder.file("b.xml"), "<c><file id=\"x\"><tolm/></file><file id=\"z\"><tolm/></file></c>");
  // A request among the documents names items and has none.
  writeFile(folder.file("c.xml"), "<c><file id=\"asked\"/></c>");
  writeFile(folder.file("broken.xml"), "<c>");
  std::vector<std::string> unreadable;
  const std::vector<RequestableItem> items = requestableItems(folder.path(), unreadable);
  EXPECT_THAT(unreadable, ElementsAre(folder.path() + "/broken.xml"));
  const std::string text = newRequest(items);
  EXPECT_THAT(text, ::testing::Not(HasSubstr("asked")));
  EXPECT_THAT(text, HasSubstr("\n  <!-- One -->\n  <file id=\"x\"/> <!-- The - - x- -->\n"
                              "  <file id=\"y&amp;\"/> <!--  -->\n\n  <!-- b.xml -->\n  <file id=\"z\"/>"));
  writeFile(folder.file("request"), text);
  EXPECT_THAT(check(folder.file("request")), IsEmpty());
  EXPECT_EQ(validate("tolm-request.rng", folder.file("request")), 0);
}

TEST(SkeletonTest, AFolderThatIsNotThereIsToldAsUnreadable) {
  std::vector<std::string> unreadable;
  EXPECT_THAT(requestableItems("/none", unreadable), IsEmpty());
  EXPECT_THAT(unreadable, ElementsAre("/none"));
}

// --- The schemas ------------------------------------------------------------------------------------

TEST(SchemaTest, SamplesAndCleanDocumentsFit) {
  for (const std::string& name : listFolder(sourcePath("samples"))) {
    if (name.size() > 4 && name.substr(name.size() - 4) == ".xml") {
      EXPECT_EQ(validate("tolm-document.rng", sourcePath("samples/" + name)), 0) << name;
    }
  }
  for (const char* name : {"clean.xml", "clean-command.xml", "clean-launch.xml", "clean-list.xml"}) {
    EXPECT_EQ(validate("tolm-document.rng", sourcePath("fuzz/corpus/document/" + std::string(name))), 0)
        << name;
  }
  for (const std::string& name : listFolder(sourcePath("samples/request"))) {
    EXPECT_EQ(validate("tolm-request.rng", sourcePath("samples/request/" + name)), 0) << name;
  }
}

TEST(SchemaTest, WhatTheSchemaRefusesACheckTells) {
  int refused = 0;
  for (const std::string& name : listFolder(sourcePath("fuzz/corpus/document"))) {
    const std::string path = sourcePath("fuzz/corpus/document/" + name);
    const bool isRequest = readFile(path).find("<tolm") == std::string::npos &&
                           readFile(path).find("<configure") == std::string::npos;
    if (validate(isRequest ? "tolm-request.rng" : "tolm-document.rng", path) != 0) {
      ++refused;
      EXPECT_FALSE(check(path).empty()) << name;
    }
  }
  EXPECT_GT(refused, 30) << "a schema that refuses nothing proves nothing";
}

TEST(SchemaTest, TheTwoFormsOfASchemaAreOne) {
  // The compact form, converted by another program, refuses and takes the same documents.
  TempFolder folder;
  for (const std::string name : {"tolm-document", "tolm-request"}) {
    const RunResult converted =
        runProgram({"/usr/bin/python3", "-m", "rnc2rng", sourcePath("docs/schema/" + name + ".rnc"),
                    folder.file(name + ".rng")});
    ASSERT_EQ(converted.exitStatus, 0) << converted.err;
    for (const std::string& document : listFolder(sourcePath("fuzz/corpus/document"))) {
      const std::string path = sourcePath("fuzz/corpus/document/" + document);
      const int first = validate(name + ".rng", path);
      const int second =
          runProgram({"xmllint", "--noout", "--relaxng", folder.file(name + ".rng"), path}).exitStatus;
      EXPECT_EQ(first == 0, second == 0) << name << " " << document;
    }
  }
}

}  // namespace
}  // namespace halvo
