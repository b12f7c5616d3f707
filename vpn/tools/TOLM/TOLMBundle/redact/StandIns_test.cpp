#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>

namespace halvo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr RedactKey kKey = {1, 2, 3};
constexpr RedactKey kOtherKey = {1, 2, 4};

TEST(StandInsTest, ALabelIsTheSameForBothCasesOfAName) {
  const StandIns standIns(kKey);
  EXPECT_EQ(standIns.label(RedactKind::kUser, "Jane"), standIns.label(RedactKind::kUser, "jANE"));
  EXPECT_NE(standIns.label(RedactKind::kUser, "jane"), standIns.label(RedactKind::kUser, "janet"));
}

TEST(StandInsTest, ALabelDependsOnTheKeyAndOnTheKind) {
  EXPECT_NE(StandIns(kKey).label(RedactKind::kUser, "jane"),
            StandIns(kOtherKey).label(RedactKind::kUser, "jane"));
  const StandIns standIns(kKey);
  EXPECT_NE(standIns.label(RedactKind::kUser, "jane").substr(5),
            standIns.label(RedactKind::kHost, "jane").substr(5));
}

TEST(StandInsTest, TwoKeysOfTheSystemAreUnlike) {
  EXPECT_NE(StandIns().label(RedactKind::kUser, "jane"), StandIns().label(RedactKind::kUser, "jane"));
}

TEST(StandInsTest, ALabelTellsItselfAndNamesThatLookLikeOneDont) {
  const StandIns standIns(kKey);
  for (const RedactKind kind : {RedactKind::kUser, RedactKind::kHost, RedactKind::kId, RedactKind::kWifi}) {
    std::string label = standIns.label(kind, "x");
    EXPECT_TRUE(StandIns::isLabel(label)) << label;
    EXPECT_EQ(label.size(), StandIns::labelAt(label + "-tail"));
    label.back() = label.back() == 'a' ? 'b' : 'a';
    EXPECT_FALSE(StandIns::isLabel(label)) << label;
  }
  for (const char* const text : {"", "host-", "user-interface", "host-abcdefghij", "id-1", "user-jane"}) {
    EXPECT_FALSE(StandIns::isLabel(text)) << text;
  }
}

TEST(StandInsTest, LabelsOfManyNamesAreUnlike) {
  const StandIns standIns(kKey);
  std::set<std::string> labels;
  for (int i = 0; i < 20000; ++i) {
    labels.insert(standIns.label(RedactKind::kHost, "host" + std::to_string(i)));
  }
  EXPECT_EQ(20000U, labels.size());
}

TEST(StandInsTest, ADomainKeepsItsTree) {
  const StandIns standIns(kKey);
  const std::string domain = standIns.host("acme.co.uk");
  EXPECT_EQ(standIns.label(RedactKind::kHost, "acme.co.uk") + ".example", domain);
  EXPECT_EQ(standIns.label(RedactKind::kHost, "vpn") + "." + domain, standIns.host("vpn.acme.co.uk"));
  EXPECT_EQ("_ldap._tcp." + domain, standIns.host("_ldap._tcp.acme.co.uk"));
  EXPECT_EQ(standIns.label(RedactKind::kHost, "printer") + ".example", standIns.host("printer.local"));
  EXPECT_EQ(domain, standIns.host(domain)) << "a stand-in stays";
}

TEST(StandInsTest, NetworksOfManyAddressesKeepApart) {
  StandIns standIns(kKey);
  std::set<std::uint32_t> networks;
  for (std::uint32_t network = 0; network < 100000; ++network) {
    networks.insert(standIns.ipv4((network + 0x510000) << 8U | 7U) >> 8U);
  }
  EXPECT_EQ(100000U, networks.size());
}

TEST(StandInsTest, MoreNetworksThanPlacesShareThemInsteadOfFailing) {
  PlaceTable table(4);
  std::vector<std::uint32_t> places;
  for (std::uint64_t value = 0; value < 1000; ++value) {
    places.push_back(table.placeOf(value, 5));
  }
  for (std::uint64_t value = 0; value < 1000; ++value) {
    EXPECT_EQ(places[value], table.placeOf(value, 5)) << value;
  }
  EXPECT_EQ(8U, std::set<std::uint32_t>(places.begin(), places.begin() + 8).size());
  EXPECT_EQ(5U, places.back()) << "where it wanted to be";
}

TEST(StandInsTest, ThreadsAgreeOnThePlaces) {
  StandIns standIns(kKey);
  std::vector<std::vector<std::uint32_t>> found(4);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < found.size(); ++i) {
    threads.emplace_back([&standIns, &mine = found[i]] {
      for (std::uint32_t network = 0; network < 20000; ++network) {
        mine.push_back(standIns.ipv4(0x51000000 + (network << 8U)));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(found[0], found[1]);
  EXPECT_EQ(found[0], found[2]);
  EXPECT_EQ(found[0], found[3]);
}

TEST(StandInsTest, AMapGivesTheSameStandInsAgain) {
  StandIns first(kKey);
  first.startRecording();
  const std::uint32_t address = first.ipv4(0x51024589);
  const Ipv6Bytes six = {0x2a, 0x02, 0x80, 0x71, 1, 2, 3, 4, 5};
  const MacBytes mac = {0, 0x1b, 0x21, 1, 2, 3};
  const Ipv6Bytes sixStandIn = first.ipv6(six);
  const MacBytes macStandIn = first.mac(mac);
  first.remember(RedactKind::kUser, "Jane\tDoe\\", first.label(RedactKind::kUser, "Jane\tDoe\\"));
  StandIns second(kOtherKey);
  ASSERT_EQ("", second.load(first.save()));
  EXPECT_EQ(address, second.ipv4(0x51024589));
  EXPECT_EQ(sixStandIn, second.ipv6(six));
  EXPECT_EQ(macStandIn, second.mac(mac));
  EXPECT_EQ(first.label(RedactKind::kHost, "x"), second.label(RedactKind::kHost, "x"));
  EXPECT_EQ(first.save(), second.save());
  EXPECT_THAT(first.save(), HasSubstr("jane\\x09doe\\x5c"));
}

TEST(StandInsTest, WithoutRecordingAMapHoldsNoNames) {
  StandIns standIns(kKey);
  standIns.remember(RedactKind::kUser, "jane", "user-x");
  EXPECT_THAT(standIns.save(), Not(HasSubstr("jane")));
}

TEST(StandInsTest, AMapThatIsNoneIsRefusedWithItsLine) {
  const std::string good = StandIns(kKey).save();
  for (const std::string& bad :
       {std::string("hello\n"), std::string("tolm redaction map 1\n"), good + "nonsense\n",
        good + "network4\tzz\t1\n", good + "network4\tfffff\t1\n", good + "user\tx\\q\ty\n",
        good + "key\t12\n", good + "network4\t1\t1\nnetwork4\t1\t2\n"}) {
    StandIns standIns(kKey);
    EXPECT_NE("", standIns.load(bad)) << bad;
  }
  StandIns standIns(kKey);
  EXPECT_THAT(standIns.load(good + "nonsense\n"), HasSubstr("line 3"));
}

}  // namespace
}  // namespace halvo
