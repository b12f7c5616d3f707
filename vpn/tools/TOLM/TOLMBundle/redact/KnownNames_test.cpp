#include "vpn/tools/TOLM/TOLMBundle/redact/KnownNames.h"

#include <gtest/gtest.h>

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

TEST_F(KnownNamesTest, CommonShortAndMadeUpNamesAreNotTaken) {
  NameCollector names;
  for (const std::string& name : {std::string("root"), std::string("jo"), std::string("Error"),
                                  std::string("12345"), std::string("-x-"), std::string("localhost"),
                                  m_StandIns.label(RedactKind::kUser, "jane"), std::string(300, 'x')}) {
    names.add(RedactKind::kUser, name);
  }
  EXPECT_TRUE(names.names().empty());
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
