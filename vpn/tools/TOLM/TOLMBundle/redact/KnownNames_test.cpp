#include "vpn/tools/TOLM/TOLMBundle/redact/KnownNames.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/redact/CaseFold.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"

namespace halvo {
namespace {

constexpr RedactKey kKey = {1, 2, 3};

class KnownNamesTest : public testing::Test {
 protected:
  std::size_t found(const NameCollector& names, std::string_view text) {
    return KnownNames(names, m_StandIns).find(text).length;
  }

  StandIns m_StandIns{kKey};
};

TEST_F(KnownNamesTest, TheLongestNameThatEndsWhereAWordEndsIsFound) {
  NameCollector names;
  names.add(RedactKind::kUser, "jane");
  names.add(RedactKind::kUser, "jane.doe");
  names.add(RedactKind::kHost, "jane.doe.de");
  EXPECT_EQ(8U, found(names, "Jane.Doe, x"));
  EXPECT_EQ(11U, found(names, "JANE.DOE.DE"));
  EXPECT_EQ(4U, found(names, "jane.does"));
  EXPECT_EQ(0U, found(names, "janet"));
  EXPECT_EQ(4U, found(names, "jane"));
  EXPECT_EQ(0U, found(names, "j"));
}

// Every letter in one case gives away itself in the other, at a name's front and within it, after an ASCII
// letter and after another.
TEST_F(KnownNamesTest, CapitalsBeyondAsciiAreFoundToo) {
  const std::pair<std::string_view, std::string_view> names[] = {{"jörgmüller", "JÖRGMÜLLER"},
                                                                 {"öztürk", "ÖZTÜRK"},
                                                                 {"иванов", "ИВАНОВ"},
                                                                 {"ярослав", "ЯРОСЛАВ"},
                                                                 {"ёлкин", "ЁЛКИН"},
                                                                 {"xюрий", "XЮРИЙ"},
                                                                 {"łukasz", "ŁUKASZ"},
                                                                 {"aşçı", "AŞÇı"},
                                                                 {"ÿvonne", "ŸVONNE"},
                                                                 {"νίκος", "ΝΊΚΟΣ"},
                                                                 {"ώρα", "ΏΡΑ"},
                                                                 {"ŀla", "ĿLA"},
                                                                 {"їжак", "ЇЖАК"},
                                                                 {"ӏалам", "ӀАЛАМ"},
                                                                 {"ђорђе", "ЂОРЂЕ"}};
  for (const auto& [small, capital] : names) {
    for (const auto& [known, text] : {std::pair(small, capital), std::pair(capital, small)}) {
      NameCollector collector;
      collector.add(RedactKind::kUser, known);
      EXPECT_EQ(text.size(), found(collector, text)) << known << " " << text;
      EXPECT_EQ(known.size(), found(collector, std::string(known) + " x")) << known;
    }
    EXPECT_EQ(m_StandIns.label(RedactKind::kUser, small), m_StandIns.label(RedactKind::kUser, capital));
  }
  NameCollector others;
  others.add(RedactKind::kUser, "jörg");
  EXPECT_EQ(0U, found(others, "jørg"));
  EXPECT_EQ(0U, found(others, "jürg"));
  EXPECT_EQ(0U, found(others, "j\xf6rg")) << "another encoding";
  // A name of the greatest length that ends within a letter of two bytes.
  NameCollector cut;
  cut.add(RedactKind::kUser, std::string(254, 'x') + "\xc3");
  EXPECT_EQ(0U, found(cut, std::string(254, 'x') + "ö"));
}

TEST_F(KnownNamesTest, FoldingKeepsLengthsAndIsDoneOnce) {
  for (char32_t code = 0x80; code < 0x800; ++code) {
    const std::string text = {static_cast<char>(0xc0U | code >> 6U),
                              static_cast<char>(0x80U | (code & 0x3fU))};
    EXPECT_EQ(text.size(), folded(text).size());
    EXPECT_EQ(folded(text), folded(folded(text))) << text;
  }
  EXPECT_EQ("ok-×ßµ", folded("OK-×ßµ"));
  EXPECT_EQ("\xc3", folded("\xc3"));
  EXPECT_EQ("\xc3x", folded("\xc3X"));
}

TEST_F(KnownNamesTest, CommonShortAndMadeUpNamesAreNotTaken) {
  NameCollector names;
  for (const std::string& name : {std::string("root"), std::string("jo"), std::string("Error"),
                                  std::string("12345"), std::string("-x-"), std::string("localhost"),
                                  m_StandIns.label(RedactKind::kUser, "jane"), std::string(300, 'x')}) {
    names.add(RedactKind::kUser, name);
  }
  EXPECT_TRUE(names.names().empty());
}

TEST_F(KnownNamesTest, AnAskedForNameIsTakenWhateverWordItIs) {
  NameCollector names;
  names.add(RedactKind::kUser, "input");
  names.add(RedactKind::kUser, "backup", true);
  names.choose(RedactKind::kUser, "service");
  NameCollector all;
  all.add(names);
  ASSERT_EQ(1U, all.names().size());
  EXPECT_EQ("service", all.names().begin()->first);
  EXPECT_TRUE(all.provenWords().empty());
}

TEST_F(KnownNamesTest, TheOrderOfFindsMakesNoDifference) {
  NameCollector one;
  one.add(RedactKind::kUser, "jane");
  one.add(RedactKind::kHost, "Jane");
  NameCollector other;
  other.add(RedactKind::kHost, "jane");
  NameCollector third;
  third.add(RedactKind::kUser, "JANE");
  other.add(third);
  EXPECT_EQ(one.names(), other.names());
}

TEST_F(KnownNamesTest, NoMoreNamesAreKeptThanTheBound) {
  NameCollector names;
  for (std::size_t i = 0; i < NameCollector::kMostNames + 10; ++i) {
    names.add(RedactKind::kHost, "h" + std::to_string(i));
  }
  EXPECT_EQ(NameCollector::kMostNames, names.names().size());
}

TEST_F(KnownNamesTest, OfTooManyNamesTheSameStayWhateverTheirOrderAndAllThatWereAskedFor) {
  constexpr std::size_t kMany = NameCollector::kMostNames + 1000;
  NameCollector up;
  NameCollector down;
  NameCollector odd;
  for (std::size_t i = 0; i < kMany; ++i) {
    up.add(RedactKind::kUser, "h" + std::to_string(i));
    (i % 2 == 0 ? down : odd).add(RedactKind::kUser, "h" + std::to_string(kMany - 1 - i));
  }
  odd.add(RedactKind::kHost, "h10");
  up.add(RedactKind::kHost, "H10");
  down.add(odd);
  EXPECT_EQ(up.names(), down.names());
  EXPECT_EQ(RedactKind::kHost, up.names().at("h10"));
  up.choose(RedactKind::kHost, "zulu7");
  EXPECT_EQ(1U, up.names().count("zulu7"));
}

TEST_F(KnownNamesTest, AHostIsToldFromOtherNames) {
  NameCollector names;
  names.add(RedactKind::kHost, "acme.de");
  names.add(RedactKind::kUser, "jane.doe");
  const KnownNames known(names, m_StandIns);
  EXPECT_TRUE(known.hasHost("acme.de"));
  EXPECT_FALSE(known.hasHost("acme"));
  EXPECT_FALSE(known.hasHost("jane.doe"));
}

}  // namespace
}  // namespace halvo
