#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using test::repeated;

std::string placeOf(const DocumentElement* element) {
  return element == nullptr
             ? "none"
             : std::to_string(element->position.line) + ":" + std::to_string(element->position.column);
}

TEST(DocumentTreeTest, ElementsStandWhereTheirStartTagsBegin) {
  const DocumentTree tree = parseDocumentText(
      "<?xml version=\"1.0\"?>\n<!-- a\n comment -->\n<root>\n  <a/><b>\n "
      "text\n\t<c>\xc3\xa4\xc3\xb6</c><d/></b>\n</root>\n");
  ASSERT_NE(tree.root, nullptr);
  EXPECT_EQ(placeOf(tree.root.get()), "4:1");
  EXPECT_EQ(placeOf(tree.root->find("a")), "5:3");
  EXPECT_EQ(placeOf(tree.root->find("b")), "5:7");
  EXPECT_EQ(placeOf(tree.root->find("c")), "7:2");
  EXPECT_EQ(placeOf(tree.root->find("d")), "7:11");
}

TEST(DocumentTreeTest, AStartTagOverSeveralLinesStandsWhereItBegins) {
  const DocumentTree tree = parseDocumentText("<r>\n  <x/> <file\n   id=\"a\"\n   b = '2'\n  >t</file></r>");
  ASSERT_NE(tree.root, nullptr);
  EXPECT_EQ(placeOf(tree.root->find("file")), "2:8");
  EXPECT_EQ(tree.root->find("file")->attribute("b")->value, "2");
}

TEST(DocumentTreeTest, PlacesStayRightBehindLongTextsAndComments) {
  const DocumentTree tree = parseDocumentText("<r>" + repeated("line of text\n", 20'000) + "<!--" +
                                              repeated(" x\n", 20'000) + "--> <file id=\"a\"/></r>");
  ASSERT_NE(tree.root, nullptr);
  EXPECT_EQ(placeOf(tree.root->find("file")), "40001:5");
}

TEST(DocumentTreeTest, PlacesAreRightInTwoByteEncodings) {
  const std::string text = "<r>\n  <a\n b=\"1\"/>\n <c/></r>";
  std::string wide = "\xff\xfe";
  for (const char c : text) {
    wide += c;
    wide += '\0';
  }
  const DocumentTree tree = parseDocumentText(wide);
  ASSERT_NE(tree.root, nullptr);
  EXPECT_EQ(placeOf(tree.root->find("a")), "2:3");
  EXPECT_EQ(placeOf(tree.root->find("c")), "4:2");
}

TEST(DocumentTreeTest, TextIsJoinedAndHoldsCharacterReferencesAndRawSections) {
  const DocumentTree tree = parseDocumentText("<r> a&amp;&#65;<b>x</b><![CDATA[<c>]]> </r>");
  ASSERT_NE(tree.root, nullptr);
  EXPECT_EQ(tree.root->text, " a&A<c> ");
  EXPECT_EQ(tree.root->children.size(), 1U);
}

TEST(DocumentTreeTest, FindGoesDepthFirstAndNeverFindsTheStart) {
  const DocumentTree tree = parseDocumentText("<x><a><x/></a><x b='1'/></x>");
  ASSERT_NE(tree.root, nullptr);
  EXPECT_EQ(tree.root->find("x"), tree.root->children[0]->children[0].get());
  EXPECT_EQ(tree.root->findAll("x").size(), 2U);
  EXPECT_EQ(tree.root->childrenNamed("x").size(), 1U);
  EXPECT_EQ(tree.root->find("none"), nullptr);
}

TEST(DocumentTreeTest, EntitiesOfTheDocumentAreReplacedAsInARun) {
  const DocumentTree tree =
      parseDocumentText("<!DOCTYPE r [<!ENTITY t \"words<b/>\">]>\n<r>\n <a>&t;</a></r>");
  ASSERT_NE(tree.root, nullptr);
  EXPECT_EQ(tree.root->find("a")->text, "words");
  EXPECT_EQ(tree.root->find("b")->position.line, 3U);
}

TEST(DocumentTreeTest, ABrokenDocumentTellsTheFirstFaultWithItsPlace) {
  const DocumentTree tree = parseDocumentText("<r>\n <a></b>\n</r>");
  EXPECT_EQ(tree.outcome, ParseOutcome::kNotWellFormed);
  EXPECT_EQ(tree.root, nullptr);
  ASSERT_FALSE(tree.messages.empty());
  EXPECT_EQ(tree.messages[0].position.line, 2U);
  EXPECT_NE(tree.messages[0].text.find("tag mismatch"), std::string::npos);
  EXPECT_EQ(tree.messages[0].text.find('\n'), std::string::npos);
}

TEST(DocumentTreeTest, EmptyAndBlankDocumentsAreNotWellFormed) {
  EXPECT_EQ(parseDocumentText("").outcome, ParseOutcome::kNotWellFormed);
  EXPECT_EQ(parseDocumentText(" \n\t\r\n").outcome, ParseOutcome::kNotWellFormed);
}

TEST(DocumentTreeTest, TenThousandLevelsAreRefusedAsInARun) {
  const DocumentTree tree = parseDocumentText(repeated("<a>", 10'000) + repeated("</a>", 10'000));
  EXPECT_EQ(tree.outcome, ParseOutcome::kNotWellFormed);
  EXPECT_NE(tree.messages.at(0).text.find("depth"), std::string::npos) << tree.messages.at(0).text;
}

TEST(DocumentTreeTest, EntityBombsEndInAnError) {
  std::string bomb = "<!DOCTYPE a [<!ENTITY e0 \"lollollollollollollollollollol\">";
  for (int i = 1; i < 30; ++i) {
    bomb +=
        "<!ENTITY e" + std::to_string(i) + " \"" + repeated("&e" + std::to_string(i - 1) + ";", 10) + "\">";
  }
  bomb += "]><a>&e29;</a>";
  EXPECT_NE(parseDocumentText(bomb).outcome, ParseOutcome::kParsed);
  std::string flat = "<!DOCTYPE a [<!ENTITY e \"" + std::string(100'000, 'x') + "\">]><a>" +
                     repeated("&e;", 100'000) + "</a>";
  EXPECT_NE(parseDocumentText(flat).outcome, ParseOutcome::kParsed);
}

TEST(DocumentTreeTest, ExternalEntitiesAreNeverFetched) {
  test::TempFolder folder;
  test::writeFile(folder.file("secret"), "TOPSECRET");
  const DocumentTree tree = parseDocumentText("<!DOCTYPE a [<!ENTITY e SYSTEM \"file://" +
                                              folder.file("secret") + "\">]><a>&e;</a>");
  EXPECT_NE(tree.outcome, ParseOutcome::kParsed);
}

TEST(DocumentTreeTest, DocumentsOverALimitAreRefusedWithTheLimit) {
  const DocumentTree large = parseDocumentText("<a>" + std::string(std::size_t{9} << 20, 'x') + "</a>");
  EXPECT_EQ(large.outcome, ParseOutcome::kTooLarge);
  EXPECT_EQ(large.messages.at(0).text, "more than 8 MiB");

  const DocumentTree many = parseDocumentText("<a>" + repeated("<b/>", 100'000) + "</a>");
  EXPECT_EQ(many.outcome, ParseOutcome::kTooLarge);
  EXPECT_EQ(many.messages.at(0).text, "more than 100000 elements");
  EXPECT_EQ(many.root, nullptr);

  std::string wide = "<a";
  for (int i = 0; i < 5'001; ++i) {
    wide += " a" + std::to_string(i) + " = '='";
  }
  EXPECT_EQ(parseDocumentText(wide + "/>").outcome, ParseOutcome::kTooLarge);

  DocumentLimits limits;
  limits.textBytes = 10;
  EXPECT_EQ(parseDocumentText("<a>0123456789<b/>x</a>", limits).outcome, ParseOutcome::kTooLarge);
  EXPECT_EQ(parseDocumentText("<a>0123456789</a>", limits).outcome, ParseOutcome::kParsed);
}

TEST(DocumentTreeTest, FilesThatCannotBeReadTellWhy) {
  test::TempFolder folder;
  EXPECT_EQ(parseDocumentFile(folder.file("none.xml")).outcome, ParseOutcome::kUnreadable);
  EXPECT_EQ(parseDocumentFile(folder.file("none.xml")).messages.at(0).text, "No such file or directory");
  EXPECT_EQ(parseDocumentFile(folder.path()).messages.at(0).text, "it is a folder");
  ASSERT_EQ(mkfifo(folder.file("fifo.xml").c_str(), 0600), 0);
  EXPECT_EQ(parseDocumentFile(folder.file("fifo.xml")).messages.at(0).text, "it isn't a regular file");
}

TEST(DocumentTreeTest, AFileOfAHundredMegabytesIsRefusedWithoutReadingItWhole) {
  test::TempFolder folder;
  test::writeFile(folder.file("huge.xml"), "<a>");
  ASSERT_EQ(truncate(folder.file("huge.xml").c_str(), 100'000'000), 0);
  EXPECT_EQ(parseDocumentFile(folder.file("huge.xml")).outcome, ParseOutcome::kTooLarge);
}

}  // namespace
}  // namespace halvo
