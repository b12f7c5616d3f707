#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Privileges.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMXmlParser.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class TOLMMgrTest : public ::testing::Test {
 protected:
  ~TOLMMgrTest() override { freeDocuments(); }

  void freeDocuments() {
    for (XMLObject* const document : m_Documents) {
      delete document;
    }
    m_Documents.clear();
  }

  void put(const std::string& name, const std::string& content) { writeFile(m_Folder.file(name), content); }
  [[nodiscard]] std::string folder() const { return m_Folder.path() + "/"; }

  LogRecorder m_Log;
  TempFolder m_Folder;
  std::list<XMLObject*> m_Documents;
};

TEST_F(TOLMMgrTest, TakesNamesWhoseFirstExtensionIsTheirEndInReaddirOrder) {
  for (const char* name :
       {"b.xml", "a.xml", "notes.txt", "old.xml.bak", ".xml", "a.XML", "c.xml.xml", "xml"}) {
    put(name, "<r/>");
  }
  const TOLMMgr mgr(m_Documents, folder());
  EXPECT_EQ(m_Documents.size(), 3U);
  EXPECT_THAT(mgr.GetParseResults(), ElementsAre(0U, 0U, 0U));
  std::vector<std::string> expected;
  for (const std::string& name : readdirOrder(m_Folder.path())) {
    if (name == "b.xml" || name == "a.xml" || name == ".xml") {
      expected.push_back(m_Folder.file(name));
    }
  }
  std::vector<std::string> logged;
  for (const LogRecord& record : m_Log.records()) {
    if (record.field("Invoked Function") == "found file") {
      EXPECT_EQ(record.level, kLogInformation);
      logged.push_back(record.field("Description"));
    }
  }
  EXPECT_EQ(logged, expected);
}

TEST_F(TOLMMgrTest, RecordsNameTheSourceFromTheTreesTopWhereverTheBuildLies) {
  put("a.xml", "<r/>");
  const TOLMMgr mgr(m_Documents, folder());
  ASSERT_EQ(m_Log.records().size(), 1U);
  EXPECT_EQ(m_Log.records().front().field("File"),
            "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.cpp");
}

TEST_F(TOLMMgrTest, AWellFormedFileWithOnlyARootIsADocument) {
  put("a.xml", "<anything/>");
  const TOLMMgr mgr(m_Documents, folder());
  ASSERT_EQ(m_Documents.size(), 1U);
  EXPECT_EQ(m_Documents.front()->GetRootName(), "anything");
  EXPECT_THAT(mgr.GetFailedFiles(), IsEmpty());
}

TEST_F(TOLMMgrTest, AMalformedFileIsToldByItsFullPathAndGivesNoDocument) {
  put("bad.xml", "<r><open></r>");
  const TOLMMgr mgr(m_Documents, folder());
  EXPECT_THAT(m_Documents, IsEmpty());
  ASSERT_EQ(mgr.GetParseResults().size(), 1U);
  EXPECT_RESULT(mgr.GetParseResults().front(), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(mgr.GetFailedFiles(), ElementsAre(m_Folder.file("bad.xml")));
}

TEST_F(TOLMMgrTest, ASubFolderWithAGoodNameFailsToParse) {
  makeFolders(m_Folder.file("conf.xml"));
  const TOLMMgr mgr(m_Documents, folder());
  EXPECT_THAT(mgr.GetFailedFiles(), ElementsAre(m_Folder.file("conf.xml")));
}

TEST_F(TOLMMgrTest, APipeASocketOrADeviceWithAGoodNameFailsAndIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(m_Folder.file("pipe.xml").c_str(), 0666), 0);
  // Never ends, and is no file either.
  ASSERT_EQ(symlink("/dev/zero", m_Folder.file("device.xml").c_str()), 0);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, m_Folder.file("socket.xml").c_str(), sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  put("good.xml", "<r/>");
  const TOLMMgr mgr(m_Documents, folder());
  close(descriptor);
  EXPECT_EQ(m_Documents.size(), 1U);
  EXPECT_THAT(mgr.GetFailedFiles(),
              UnorderedElementsAre(m_Folder.file("pipe.xml"), m_Folder.file("device.xml"),
                                   m_Folder.file("socket.xml")));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "xmlCreateFileParserCtxt", GLOBAL_ERROR_NULL_POINTER))
      << m_Log.dump();
}

TEST_F(TOLMMgrTest, ALinkToADocumentIsADocumentAndOneToNowhereFails) {
  put("elsewhere", "<r/>");
  ASSERT_EQ(symlink("elsewhere", m_Folder.file("good.xml").c_str()), 0);
  ASSERT_EQ(symlink("nowhere", m_Folder.file("gone.xml").c_str()), 0);
  ASSERT_EQ(symlink("loop.xml", m_Folder.file("loop.xml").c_str()), 0);
  const TOLMMgr mgr(m_Documents, folder());
  EXPECT_EQ(m_Documents.size(), 1U);
  EXPECT_THAT(mgr.GetFailedFiles(),
              UnorderedElementsAre(m_Folder.file("gone.xml"), m_Folder.file("loop.xml")));
}

TEST_F(TOLMMgrTest, AnUnreadableFileFails) {
  put("a.xml", "<r/>");
  chmod(m_Folder.file("a.xml").c_str(), 0);
  const WithoutFileOverride ordinary;
  const TOLMMgr mgr(m_Documents, folder());
  EXPECT_THAT(m_Documents, IsEmpty());
  EXPECT_THAT(mgr.GetFailedFiles(), ElementsAre(m_Folder.file("a.xml")));
}

TEST_F(TOLMMgrTest, DocumentNamesOfFewerThanFourBytesAreDropped) {
  EXPECT_TRUE(TOLMMgr::isDocumentName(".xml"));
  EXPECT_FALSE(TOLMMgr::isDocumentName("xml"));
  EXPECT_FALSE(TOLMMgr::isDocumentName(""));
}

TEST_F(TOLMMgrTest, AFolderWithoutItsSlashGivesWrongPaths) {
  put("a.xml", "<r/>");
  const TOLMMgr mgr(m_Documents, m_Folder.path());
  EXPECT_THAT(mgr.GetFailedFiles(), ElementsAre(m_Folder.path() + "a.xml"));
}

using TOLMXmlLoaderTest = TOLMMgrTest;

TEST_F(TOLMXmlLoaderTest, AnEmptyOrMissingFolderGivesNull) {
  for (const std::string& path : {folder(), m_Folder.file("missing/")}) {
    TOLMXmlLoader loader;
    EXPECT_EQ(loader.load(path, 2, m_Documents), nullptr);
    EXPECT_FALSE(loader.IsLoaded());
    EXPECT_THAT(loader.GetFailedFiles(), IsEmpty());
  }
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(TOLMXmlLoaderTest, AFolderOfGoodAndBadFilesIsLoadedWithItsFailures) {
  put("good.xml", "<r/>");
  put("bad.xml", "no document");
  TOLMXmlLoader loader;
  EXPECT_EQ(loader.load(folder(), 2, m_Documents), &m_Documents);
  EXPECT_TRUE(loader.IsLoaded());
  EXPECT_EQ(m_Documents.size(), 1U);
  EXPECT_THAT(loader.GetFailedFiles(), ElementsAre(m_Folder.file("bad.xml")));
}

TEST_F(TOLMXmlLoaderTest, AFolderWhoseFilesAllFailGivesNullAndTheirPaths) {
  put("bad.xml", "");
  TOLMXmlLoader loader;
  EXPECT_EQ(loader.load(folder(), 2, m_Documents), nullptr);
  EXPECT_THAT(loader.GetFailedFiles(), ElementsAre(m_Folder.file("bad.xml")));
}

TEST_F(TOLMXmlLoaderTest, AListThatHeldEntriesCountsAsLoaded) {
  m_Documents.push_back(new XMLObject);
  TOLMXmlLoader loader;
  EXPECT_EQ(loader.load(m_Folder.file("missing/"), 2, m_Documents), &m_Documents);
  EXPECT_TRUE(loader.IsLoaded());
}

TEST_F(TOLMXmlLoaderTest, OneFileOrOneTextGivesTheLoadersOwnTree) {
  put("a.xml", "<r><c>text</c></r>");
  TOLMXmlLoader file;
  TOLMXmlLoader memory;
  std::list<XMLObject*> borrowed;
  EXPECT_EQ(file.load(m_Folder.file("a.xml"), 1, borrowed), &borrowed);
  EXPECT_EQ(memory.load(" \r\n\t<s/>", 0, borrowed), &borrowed);
  ASSERT_EQ(borrowed.size(), 2U);
  EXPECT_EQ(borrowed.front()->GetRoot()->FindChild("c")->GetValue(), "text");
  EXPECT_EQ(borrowed.back()->GetRootName(), "s");
  EXPECT_NE(file.GetXmlMgr(), nullptr);
}

TEST_F(TOLMXmlLoaderTest, AFailedLoadAppendsNothing) {
  std::list<XMLObject*> borrowed;
  TOLMXmlLoader missing;
  EXPECT_EQ(missing.load(m_Folder.file("missing.xml"), 1, borrowed), nullptr);
  TOLMXmlLoader malformed;
  EXPECT_EQ(malformed.load("<r>", 0, borrowed), nullptr);
  EXPECT_FALSE(malformed.IsLoaded());
  EXPECT_THAT(borrowed, IsEmpty());
}

TEST_F(TOLMXmlLoaderTest, ALoadThatFailsBehindOneThatSucceededIsNotLoaded) {
  TOLMXmlLoader loader;
  std::list<XMLObject*> borrowed;
  EXPECT_EQ(loader.load("<r/>", 0, borrowed), &borrowed);
  EXPECT_TRUE(loader.IsLoaded());
  EXPECT_EQ(loader.load(m_Folder.file("missing.xml"), 1, borrowed), nullptr);
  EXPECT_FALSE(loader.IsLoaded());
}

TEST_F(TOLMXmlLoaderTest, AnEmptyRequestPathIsRefusedWithoutALogLine) {
  std::list<XMLObject*> borrowed;
  TOLMXmlLoader loader;
  EXPECT_EQ(loader.load("", 1, borrowed), nullptr);
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(TOLMXmlLoaderTest, APipeIsRefusedAndAHyphenIsNotStandardInput) {
  ASSERT_EQ(mkfifo(m_Folder.file("pipe").c_str(), 0666), 0);
  for (const std::string& path : {m_Folder.file("pipe"), std::string("-")}) {
    m_Log.clear();
    std::list<XMLObject*> borrowed;
    TOLMXmlLoader loader;
    EXPECT_EQ(loader.load(path, 1, borrowed), nullptr);
    EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "xmlCreateFileParserCtxt", GLOBAL_ERROR_NULL_POINTER))
        << m_Log.dump();
    EXPECT_EQ(m_Log.records().size(), 1U);
  }
}

TEST_F(TOLMXmlLoaderTest, AnUnknownModeGivesNull) {
  TOLMXmlLoader loader;
  EXPECT_EQ(loader.load("<r/>", 3, m_Documents), nullptr);
  EXPECT_EQ(loader.load("<r/>", -1, m_Documents), nullptr);
  EXPECT_THAT(m_Documents, IsEmpty());
}

TEST_F(TOLMXmlLoaderTest, TextInChunksArrivesWhole) {
  // libxml2 delivers long character data in several pieces.
  const std::string text(100000, 'x');
  TOLMXmlLoader loader;
  std::list<XMLObject*> borrowed;
  ASSERT_NE(loader.load("<r>" + text + "&amp;" + text + "</r>", 0, borrowed), nullptr);
  EXPECT_EQ(borrowed.front()->GetRootValue(), text + "&" + text);
}

TEST_F(TOLMXmlLoaderTest, TheParserHandsOutItsManager) {
  TOLMXmlMgr mgr;
  const TOLMXmlParser parser(&mgr);
  EXPECT_EQ(parser.GetXmlMgr(), &mgr);
}

}  // namespace
}  // namespace halvo
