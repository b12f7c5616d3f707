// The predicates and texts without a record of their own, seen through the record that the host fills:
// the linker routes getOSInfo() through here.

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "vpn/Common/Utility/OSInfo.h"

namespace {

// What getOSInfo() answers while a test gives a record; null lets the real one through.
const halvo::OSInfo* s_pAnswer = nullptr;
int s_nRecords = 0;

}  // namespace

extern "C" {

void __real__ZN5halvo9getOSInfoERNS_6OSInfoE(halvo::OSInfo& record);

void __wrap__ZN5halvo9getOSInfoERNS_6OSInfoE(halvo::OSInfo& record);
void __wrap__ZN5halvo9getOSInfoERNS_6OSInfoE(halvo::OSInfo& record) {
  if (s_pAnswer == nullptr) {
    __real__ZN5halvo9getOSInfoERNS_6OSInfoE(record);
    return;
  }
  ++s_nRecords;
  record = *s_pAnswer;
}

}  // extern "C"

namespace halvo {
namespace {

struct Predicate {
  const char* name;
  bool (*ofHost)();
  bool (*ofRecord)(const OSInfo& record);
};

#define PREDICATE(name) \
  { #name, name, name }

constexpr Predicate kPredicates[] = {
    PREDICATE(isFamily0),
    PREDICATE(isFamily1To4),
    PREDICATE(isFamily3NewerThan4),
    PREDICATE(isWin2k),
    PREDICATE(isMac),
    PREDICATE(isMacAtLeast_10_9),
    PREDICATE(isMacAtLeast_10_10),
    PREDICATE(isMacAtLeast_10_11),
    PREDICATE(isMac_10_9_0or1),
    PREDICATE(isMacAtLeast_10_12),
    PREDICATE(isMacAtLeast_10_13),
    PREDICATE(isLinux),
    PREDICATE(isFamily7),
};

OSInfo recordOf(std::int32_t family, std::int32_t major, std::int32_t minor, std::int32_t patch) {
  OSInfo record{};
  record.family = family;
  setOSInfo(record, "Some System", major, minor, patch);
  return record;
}

// Between them, no two predicates give the same answers.
std::vector<OSInfo> tellingRecords() {
  return {
      recordOf(0, 1, 0, 0),   recordOf(1, 5, 0, 0),   recordOf(3, 4, 9, 0),   recordOf(3, 5, 0, 0),
      recordOf(3, 5, 1, 0),   recordOf(3, 6, 2, 0),   recordOf(4, 10, 0, 0),  recordOf(5, 10, 8, 5),
      recordOf(5, 10, 9, 1),  recordOf(5, 10, 9, 2),  recordOf(5, 10, 10, 0), recordOf(5, 10, 11, 6),
      recordOf(5, 10, 12, 0), recordOf(5, 10, 13, 0), recordOf(5, 11, 0, 0),  recordOf(6, 12, 0, 0),
      recordOf(7, 1, 0, 0),
  };
}

class OSInfoRecordTest : public ::testing::Test {
 protected:
  ~OSInfoRecordTest() override { s_pAnswer = nullptr; }

  static void hostAnswers(const OSInfo& record) {
    s_pAnswer = &record;
    s_nRecords = 0;
  }
};

TEST_F(OSInfoRecordTest, EachPredicateTestsTheRecordOfTheHost) {
  std::vector<std::string> answers(std::size(kPredicates));
  for (const OSInfo& record : tellingRecords()) {
    hostAnswers(record);
    for (std::size_t i = 0; i < std::size(kPredicates); ++i) {
      const bool answer = kPredicates[i].ofHost();
      EXPECT_EQ(answer, kPredicates[i].ofRecord(record))
          << kPredicates[i].name << ", family " << record.family << ", " << record.versionText;
      answers[i] += answer ? 'y' : 'n';
    }
  }
  for (std::size_t i = 0; i < answers.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      EXPECT_NE(answers[i], answers[j]) << kPredicates[i].name << " and " << kPredicates[j].name;
    }
  }
}

TEST_F(OSInfoRecordTest, EachPredicateMakesANewRecordAtEachCall) {
  const OSInfo record = recordOf(5, 10, 12, 0);
  for (const Predicate& predicate : kPredicates) {
    hostAnswers(record);
    const bool first = predicate.ofHost();
    EXPECT_EQ(predicate.ofHost(), first) << predicate.name;
    EXPECT_EQ(s_nRecords, 2) << predicate.name;
  }
}

TEST_F(OSInfoRecordTest, NamesOfOtherReleasesAreFalseWhateverTheRecordSays) {
  for (const OSInfo& record : tellingRecords()) {
    hostAnswers(record);
    EXPECT_FALSE(isWin2k3());
    EXPECT_FALSE(isWinXP());
    EXPECT_FALSE(isVista());
    EXPECT_FALSE(isWin7());
    EXPECT_FALSE(isWin8());
  }
}

TEST_F(OSInfoRecordTest, TextsAreThoseOfANewRecordAtEachCall) {
  OSInfo record = recordOf(5, 10, 12, 6);
  hostAnswers(record);
  char name[64];
  char version[256];
  getOSName(name, sizeof(name));
  getOSVersionText(version, sizeof(version));
  EXPECT_STREQ(name, "Some System");
  EXPECT_STREQ(version, "10.12.6");

  setOSInfo(record, std::string(63, 'n').c_str(), 11, 0, 0);
  std::snprintf(record.versionText, sizeof(record.versionText), "%s", std::string(255, '7').c_str());
  getOSName(name, sizeof(name));
  getOSVersionText(version, sizeof(version));
  EXPECT_EQ(std::string(name), std::string(63, 'n'));
  EXPECT_EQ(std::string(version), std::string(255, '7'));
  EXPECT_EQ(s_nRecords, 4);
}

}  // namespace
}  // namespace halvo
