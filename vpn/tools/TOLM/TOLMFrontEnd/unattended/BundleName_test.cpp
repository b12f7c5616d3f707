#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/BundleName.h"

#include <gtest/gtest.h>

namespace halvo {
namespace {

constexpr std::time_t kTime = 1795266000;  // 2026-11-21 13:00:00 UTC

TEST(BundleNameTest, HostTimeAndLabelStandInTheName) {
  EXPECT_EQ(unattendedBundleName("web-1.example", kTime, "nightly"),
            "web-1.example_20261121T130000Z_nightly.zip");
}

TEST(BundleNameTest, WithoutALabelTheTimeIsLast) {
  EXPECT_EQ(unattendedBundleName("web", kTime, ""), "web_20261121T130000Z.zip");
}

TEST(BundleNameTest, AHostsNameCantLeaveTheFolder) {
  EXPECT_EQ(unattendedBundleName("../etc/x y\n", kTime, ""), "-.-etc-x-y-_20261121T130000Z.zip");
}

TEST(BundleNameTest, ALabelIsAPlainWord) {
  EXPECT_EQ(labelProblem("ticket_4711-a.b"), "");
  for (const std::string& label :
       {std::string(), std::string("a/b"), std::string("a b"), std::string("\xC3\xA4"),
        std::string(".hidden"), std::string("a\n"), std::string(65, 'x')}) {
    EXPECT_NE(labelProblem(label), "") << label;
  }
}

TEST(BundleNameTest, TheMachineHasAName) {
  EXPECT_FALSE(hostName().empty());
}

TEST(BundleNameTest, ATimeIsTextInUtc) {
  EXPECT_EQ(utcText(kTime), "2026-11-21T13:00:00Z");
}

}  // namespace
}  // namespace halvo
