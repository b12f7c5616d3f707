#include "vpn/Common/Xml/RQVSaxParser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/xmlmemory.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using test::LogRecorder;
using test::repeated;
using test::TempFolder;
using test::writeFile;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Le;
using ::testing::Lt;
using ::testing::StartsWith;

constexpr ResultCode kParserFailed = 0xffffffff;  // xmlParseDocument() answers -1

// Keeps the events as lines, in their order.
class RecordingMgr : public XmlMgr {
 public:
  void startElement(const std::string& name) override { m_events.push_back("start " + name); }
  void endElement(const std::string& name) override { m_events.push_back("end " + name); }
  void elementValue(const std::string& text) override {
    m_events.push_back("text " + text);
    m_strText += text;
  }
  void addAttribute(const std::string& name, const std::string& value) override {
    m_events.push_back("attribute " + name + "=" + value);
  }

  std::vector<std::string> m_events;
  std::string m_strText;
};

// Counts only, for documents of any size.
class CountingMgr : public XmlMgr {
 public:
  void startElement(const std::string& /*name*/) override { ++m_nStarts; }
  void endElement(const std::string& /*name*/) override { ++m_nEnds; }
  void elementValue(const std::string& text) override { m_nText += text.size(); }
  void addAttribute(const std::string& /*name*/, const std::string& value) override {
    m_nText += value.size();
  }

  std::size_t m_nStarts = 0;
  std::size_t m_nEnds = 0;
  std::size_t m_nText = 0;
};

class RQVSaxParserTest : public ::testing::Test {
 protected:
  ResultCode parse(const std::string& text) {
    return RQVSaxParser(&m_manager).startParser(text, RQVSaxParser::kMemory);
  }
  ResultCode parseFile(const std::string& content) {
    writeFile(m_temp.file("document.xml"), content);
    return RQVSaxParser(&m_manager).startParser(m_temp.file("document.xml"), RQVSaxParser::kFile);
  }
  ResultCode count(const std::string& text) {
    return RQVSaxParser(&m_counter).startParser(text, RQVSaxParser::kMemory);
  }

  TempFolder m_temp;
  LogRecorder m_log;
  RecordingMgr m_manager;
  CountingMgr m_counter;
};

TEST_F(RQVSaxParserTest, EventsArriveInDocumentOrder) {
  EXPECT_RESULT(
      parse("<?xml version=\"1.0\" encoding=\"UTF-8\"?><config a=\"1\" b=\"2\">x<item>y</item>z</config>"),
      0);
  EXPECT_THAT(m_manager.m_events, ElementsAre("start config", "attribute a=1", "attribute b=2", "text x",
                                              "start item", "text y", "end item", "text z", "end config"));
  EXPECT_THAT(m_log.records(), IsEmpty()) << m_log.dump();
}

TEST_F(RQVSaxParserTest, FileGivesTheSameEventsAsMemory) {
  EXPECT_RESULT(parseFile("<config a=\"1\"><item>y</item></config>"), 0);
  EXPECT_THAT(m_manager.m_events,
              ElementsAre("start config", "attribute a=1", "start item", "text y", "end item", "end config"));
}

TEST_F(RQVSaxParserTest, EmptyPathAndEmptyTextFailWithoutARecord) {
  EXPECT_RESULT(RQVSaxParser(&m_manager).startParser("", RQVSaxParser::kFile), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(RQVSaxParser(&m_manager).startParser("", RQVSaxParser::kMemory), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(m_log.records(), IsEmpty()) << m_log.dump();
  EXPECT_THAT(m_manager.m_events, IsEmpty());
}

TEST_F(RQVSaxParserTest, OtherModesFailWithoutARecord) {
  for (const int mode : {-1, 2, 100}) {
    EXPECT_RESULT(RQVSaxParser(&m_manager).startParser("<a/>", mode), GLOBAL_ERROR_UNEXPECTED);
  }
  EXPECT_THAT(m_log.records(), IsEmpty()) << m_log.dump();
  EXPECT_THAT(m_manager.m_events, IsEmpty());
}

TEST_F(RQVSaxParserTest, TextOfWhiteSpaceOnlyFailsWithoutARecord) {
  EXPECT_RESULT(parse(" \t\r\n \n"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(m_log.records(), IsEmpty()) << m_log.dump();
}

TEST_F(RQVSaxParserTest, WhiteSpaceInFrontIsSkippedInMemoryOnly) {
  const std::string document = " \t\r\n<?xml version=\"1.0\"?><a/>";
  EXPECT_RESULT(parse(document), 0);
  EXPECT_THAT(m_manager.m_events, ElementsAre("start a", "end a"));
  EXPECT_THAT(m_log.records(), IsEmpty()) << m_log.dump();
  // In a file the declaration isn't at the start, and libxml2 says so.
  EXPECT_RESULT(parseFile(document), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_TRUE(m_log.has(kLogError, "XML declaration allowed only at the start of the document"))
      << m_log.dump();
}

TEST_F(RQVSaxParserTest, OtherBlanksInFrontAreNotSkipped) {
  EXPECT_RESULT(parse("\v<a/>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(parse("\f<a/>"), GLOBAL_ERROR_UNEXPECTED);
}

TEST_F(RQVSaxParserTest, ElementWithoutAttributesGivesItsStartOnly) {
  EXPECT_RESULT(parse("<a></a>"), 0);
  EXPECT_THAT(m_manager.m_events, ElementsAre("start a", "end a"));
}

TEST_F(RQVSaxParserTest, EmptyAttributeKeepsItsPlace) {
  EXPECT_RESULT(parse("<a x=\"\" y=\"2\" z=\"\"/>"), 0);
  EXPECT_THAT(m_manager.m_events,
              ElementsAre("start a", "attribute x=", "attribute y=2", "attribute z=", "end a"));
}

TEST_F(RQVSaxParserTest, PrefixesAndNamespaceDeclarationsArriveAsWritten) {
  EXPECT_RESULT(parse("<n:a xmlns:n=\"urn:n\" n:b=\"1\"><n:c/></n:a>"), 0);
  EXPECT_THAT(m_manager.m_events, ElementsAre("start n:a", "attribute xmlns:n=urn:n", "attribute n:b=1",
                                              "start n:c", "end n:c", "end n:a"));
}

TEST_F(RQVSaxParserTest, MissingFileIsLoggedAndStandardErrorStaysClean) {
  ::testing::internal::CaptureStderr();
  ::testing::internal::CaptureStdout();
  const ResultCode result =
      RQVSaxParser(&m_manager).startParser(m_temp.file("missing.xml"), RQVSaxParser::kFile);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_RESULT(result, GLOBAL_ERROR_UNEXPECTED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "xmlCreateFileParserCtxt", GLOBAL_ERROR_NULL_POINTER))
      << m_log.dump();
  EXPECT_EQ(m_log.records().size(), 1U) << m_log.dump();
}

TEST_F(RQVSaxParserTest, FolderInTheFilesPlaceFailsAndStandardErrorStaysClean) {
  ::testing::internal::CaptureStderr();
  const ResultCode result = RQVSaxParser(&m_manager).startParser(m_temp.path(), RQVSaxParser::kFile);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_RESULT(result, GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(m_log.records(), ::testing::Not(IsEmpty()));
  EXPECT_THAT(m_manager.m_events, IsEmpty());
}

TEST_F(RQVSaxParserTest, MalformedDocumentLeavesStandardErrorClean) {
  ::testing::internal::CaptureStderr();
  EXPECT_RESULT(parse("<a><b></a>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(parse("<a>&undeclared;</a>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(parse("<?xml version=\"1.0\" encoding=\"no-such-one\"?><a/>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(RQVSaxParserTest, EmptyFileFails) {
  EXPECT_RESULT(parseFile(""), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(m_manager.m_events, IsEmpty());
  EXPECT_THAT(m_log.records(), ::testing::Not(IsEmpty()));
}

TEST_F(RQVSaxParserTest, TruncatedDocumentFailsAfterTheEventsUpToThere) {
  EXPECT_RESULT(parse("<a><b>text</b><c attribute=\"1"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(m_manager.m_events, ElementsAre("start a", "start b", "text text", "end b"));
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "xmlParseDocument", kParserFailed)) << m_log.dump();
}

TEST_F(RQVSaxParserTest, ParserMessagesAreLoggedAheadOfItsResult) {
  EXPECT_RESULT(parse("<a><b></a>"), GLOBAL_ERROR_UNEXPECTED);
  const auto records = m_log.records();
  ASSERT_GE(records.size(), 2U);
  EXPECT_EQ(records.front().level, kLogError);
  EXPECT_THAT(records.front().text(), StartsWith("xml errorCB: Opening and ending tag mismatch: b line "));
  EXPECT_EQ(records.front().field("Function"), "errorCB");
  EXPECT_THAT(records.front().field("File"), EndsWith("vpn/Common/Xml/RQVSaxParser.cpp"));
  EXPECT_EQ(records.back().field("Invoked Function"), "xmlParseDocument");
  EXPECT_EQ(records.back().field("Function"), "startParser");
  EXPECT_EQ(records.back().field("Return Code"), "-1 (0xFFFFFFFF)");
}

// libxml2's message quotes the document; a format in it must stay text.
TEST_F(RQVSaxParserTest, PercentSignsInAFaultyDocumentAreNoFormat) {
  EXPECT_RESULT(parse("<a%s%n%n></a>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(parse("<a>&p%s;</a>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(parse("<?xml version=\"1.0\" encoding=\"%s%s%n\"?><a/>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_GE(m_log.count("xml errorCB: "), 3U) << m_log.dump();
}

TEST_F(RQVSaxParserTest, WithoutManagerEveryEventIsDroppedWithARecord) {
  EXPECT_RESULT(RQVSaxParser(nullptr).startParser("<a x=\"1\">text</a>", RQVSaxParser::kMemory), 0);
  const auto records = m_log.records();
  ASSERT_EQ(records.size(), 3U) << m_log.dump();
  std::vector<std::string> functions;
  for (const auto& record : records) {
    EXPECT_EQ(record.level, kLogError);
    EXPECT_EQ(record.text(), "No XML Manager provided.");
    functions.push_back(record.field("Function"));
  }
  EXPECT_THAT(functions, ElementsAre("startElementCB", "elementValueCB", "endElementCB"));
}

TEST_F(RQVSaxParserTest, LongTextArrivesInSeveralPieces) {
  const std::string text = repeated("\xC3\xA4\xE2\x82\xAC", 1000);
  EXPECT_RESULT(parse("<a>" + text + "</a>"), 0);
  EXPECT_EQ(m_manager.m_strText, text);
  EXPECT_THAT(m_manager.m_events.size(), Ge(4U));
}

TEST_F(RQVSaxParserTest, TextAroundAnEntityArrivesInSeveralPieces) {
  EXPECT_RESULT(parse("<a>one &amp; two &#x20AC;</a>"), 0);
  EXPECT_THAT(m_manager.m_events,
              ElementsAre("start a", "text one ", "text &", "text  two ", "text \xE2\x82\xAC", "end a"));
}

TEST_F(RQVSaxParserTest, WhiteSpaceBetweenElementsIsText) {
  EXPECT_RESULT(parse("<a>\n  <b/>\n</a>"), 0);
  EXPECT_THAT(m_manager.m_events,
              ElementsAre("start a", "text \n  ", "start b", "end b", "text \n", "end a"));
}

TEST_F(RQVSaxParserTest, MarkedSectionsAreTextAndCommentsAndInstructionsAreNothing) {
  EXPECT_RESULT(parse("<a><!-- c --><?pi x?><![CDATA[<b>&amp;]]></a>"), 0);
  EXPECT_THAT(m_manager.m_events, ElementsAre("start a", "text <b>&amp;", "end a"));
}

TEST_F(RQVSaxParserTest, TextIsUtf8WhateverTheDocumentsEncoding) {
  EXPECT_RESULT(parse("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a b=\"\xFC\">\xE4</a>"), 0);
  EXPECT_THAT(m_manager.m_events, ElementsAre("start a", "attribute b=\xC3\xBC", "text \xC3\xA4", "end a"));
}

TEST_F(RQVSaxParserTest, BytesThatAreNotUtf8Fail) {
  EXPECT_RESULT(parse("<a>\xFF\xFE</a>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(parse("<a>\xC3</a>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(parse("<a b=\"\xED\xA0\x80\"/>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(parse(std::string(1000, '\xFF')), GLOBAL_ERROR_UNEXPECTED);
}

TEST_F(RQVSaxParserTest, ZeroBytesFail) {
  for (const std::string& text :
       {std::string("<a>x\0y</a>", 10), std::string("<a>\0</a>", 8), std::string("<a\0/>", 5),
        std::string("\0<a/>", 5), std::string(100, '\0')}) {
    EXPECT_RESULT(parse(text), GLOBAL_ERROR_UNEXPECTED);
    EXPECT_RESULT(parseFile(text), GLOBAL_ERROR_UNEXPECTED);
  }
}

TEST_F(RQVSaxParserTest, NoCutOfADocumentIsWellFormed) {
  const std::string document = "<?xml version=\"1.0\"?><a b=\"c\"><![CDATA[x]]><d>&lt;</d><!--e--></a>";
  for (std::size_t i = 0; i < document.size(); ++i) {
    EXPECT_RESULT(parse(document.substr(0, i)), GLOBAL_ERROR_UNEXPECTED) << i;
  }
  EXPECT_RESULT(parse(document), 0);
}

TEST_F(RQVSaxParserTest, NestingIsLimitedByTheLibrary) {
  constexpr std::size_t kDepth = 10000;
  EXPECT_RESULT(count(repeated("<a>", kDepth) + repeated("</a>", kDepth)), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(m_counter.m_nStarts, AllOf(Ge(200U), Lt(kDepth)));
  EXPECT_TRUE(m_log.has(kLogError, "Excessive depth in document")) << m_log.dump();
}

TEST_F(RQVSaxParserTest, DocumentOfAHundredMegabytesIsParsedInOnePass) {
  constexpr std::size_t kItems = 1000000;
  const std::string item = "<item id=\"name of a file\">" + std::string(70, 'x') + "</item>";
  EXPECT_RESULT(count("<a>" + repeated(item, kItems) + "</a>"), 0);
  EXPECT_EQ(m_counter.m_nStarts, kItems + 1);
  EXPECT_EQ(m_counter.m_nEnds, kItems + 1);
  EXPECT_EQ(m_counter.m_nText, kItems * (70 + 14));
}

TEST_F(RQVSaxParserTest, TextOfTwentyMegabytesArrivesWhole) {
  constexpr std::size_t kSize = 20000000;
  EXPECT_RESULT(count("<a>" + repeated("x", kSize) + "</a>"), 0);
  EXPECT_EQ(m_counter.m_nText, kSize);
}

TEST_F(RQVSaxParserTest, AttributeOfTwentyMegabytesIsRefusedByTheLibrary) {
  EXPECT_RESULT(count("<a b=\"" + repeated("x", 20000000) + "\"/>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(m_counter.m_nStarts, 0U);
}

TEST_F(RQVSaxParserTest, EntitiesOfADocumentAreReplaced) {
  EXPECT_RESULT(parse("<!DOCTYPE a [<!ENTITY e \"value\">]><a>&e;</a>"), 0);
  EXPECT_EQ(m_manager.m_strText, "value");
}

TEST_F(RQVSaxParserTest, EntitiesThatMultiplyAreStoppedByTheLibrary) {
  std::string bomb = "<!DOCTYPE a [<!ENTITY e0 \"" + std::string(1000, 'x') + "\">";
  for (int i = 1; i <= 12; ++i) {
    bomb +=
        "<!ENTITY e" + std::to_string(i) + " \"" + repeated("&e" + std::to_string(i - 1) + ";", 10) + "\">";
  }
  EXPECT_RESULT(count(bomb + "]><a>&e12;</a>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(m_counter.m_nText, Le(200000000U));
  m_counter.m_nText = 0;
  EXPECT_RESULT(count(bomb + "]><a b=\"&e12;\"/>"), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_THAT(m_counter.m_nText, Le(200000000U));
}

TEST_F(RQVSaxParserTest, EntityThatNamesItselfFails) {
  EXPECT_RESULT(count("<!DOCTYPE a [<!ENTITY e \"&f;\"><!ENTITY f \"&e;\">]><a>&e;</a>"),
                GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(count("<!DOCTYPE a [<!ENTITY % p \"%p;\"> %p;]><a/>"), GLOBAL_ERROR_UNEXPECTED);
}

TEST_F(RQVSaxParserTest, ExternalEntitiesAreNotFetched) {
  writeFile(m_temp.file("secret"), "hidden");
  writeFile(m_temp.file("subset.dtd"), "<!ENTITY fetched \"hidden\">");
  ::testing::internal::CaptureStderr();
  static_cast<void>(
      parse("<!DOCTYPE a [<!ENTITY e SYSTEM \"file://" + m_temp.file("secret") + "\">]><a>&e;</a>"));
  static_cast<void>(
      parse("<!DOCTYPE a [<!ENTITY % p SYSTEM \"" + m_temp.file("subset.dtd") + "\"> %p;]><a>&fetched;</a>"));
  static_cast<void>(parse("<!DOCTYPE a SYSTEM \"" + m_temp.file("subset.dtd") + "\"><a>&fetched;</a>"));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_THAT(m_manager.m_strText, ::testing::Not(HasSubstr("hidden")));
  EXPECT_THAT(m_manager.m_events, ::testing::Contains(StartsWith("start a")));
}

TEST_F(RQVSaxParserTest, OneParserServesSeveralDocuments) {
  RQVSaxParser parser(&m_manager);
  EXPECT_RESULT(parser.startParser("<a><b></a>", RQVSaxParser::kMemory), GLOBAL_ERROR_UNEXPECTED);
  m_manager.m_events.clear();
  EXPECT_RESULT(parser.startParser("<c/>", RQVSaxParser::kMemory), 0);
  EXPECT_THAT(m_manager.m_events, ElementsAre("start c", "end c"));
}

// libxml2's own allocations, counted; the one of that number fails, from 1.
int s_nAllocations = 0;
int s_nFailing = 0;

bool mayAllocate() {
  return ++s_nAllocations != s_nFailing;
}

// Puts a malloc that can say no below libxml2 for as long as it lives.
class FailingXmlMemory {
 public:
  FailingXmlMemory() {
    xmlMemGet(&m_free, &m_malloc, &m_realloc, &m_strdup);
    xmlMemSetup(
        std::free, [](std::size_t size) { return mayAllocate() ? std::malloc(size) : nullptr; },
        [](void* old, std::size_t size) { return mayAllocate() ? std::realloc(old, size) : nullptr; },
        [](const char* text) { return mayAllocate() ? strdup(text) : nullptr; });
  }
  ~FailingXmlMemory() {
    s_nFailing = 0;
    xmlMemSetup(m_free, m_malloc, m_realloc, m_strdup);
  }
  FailingXmlMemory(const FailingXmlMemory&) = delete;
  FailingXmlMemory& operator=(const FailingXmlMemory&) = delete;

 private:
  xmlFreeFunc m_free = nullptr;
  xmlMallocFunc m_malloc = nullptr;
  xmlReallocFunc m_realloc = nullptr;
  xmlStrdupFunc m_strdup = nullptr;
};

// libxml2 left the attribute out that it had no memory for and called the document well-formed: an action of
// a run was gone without a word.
TEST_F(RQVSaxParserTest, NoAttributeIsLostInSilenceWhereMemoryRunsOut) {
  const std::string text = "<a b='one' c='t&lt;wo'><d e='three'>text &amp; more</d></a>";
  ASSERT_RESULT(parse(text), 0);
  const std::vector<std::string> whole = m_manager.m_events;
  const FailingXmlMemory memory;
  int told = 0;
  bool wasReached = true;
  for (int failing = 1; wasReached && failing < 10000; ++failing) {
    m_manager.m_events.clear();
    s_nAllocations = 0;
    s_nFailing = failing;
    ResultCode rc = 0;
    try {
      rc = parse(text);
    } catch (const std::bad_alloc&) {
      rc = GLOBAL_ERROR_UNEXPECTED;
    }
    wasReached = s_nAllocations >= failing;
    told += rc != 0 ? 1 : 0;
    if (rc == 0) {
      EXPECT_EQ(m_manager.m_events, whole) << "allocation " << failing;
    }
  }
  EXPECT_FALSE(wasReached);
  EXPECT_GT(told, 10);
}

}  // namespace
}  // namespace halvo
