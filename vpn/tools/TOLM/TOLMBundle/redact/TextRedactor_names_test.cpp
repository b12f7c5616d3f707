// Who and what is named in lines of logs and tables: what goes, and which words only stand like names.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {
namespace {

using test::expectRows;
using test::expectStays;
using test::labelled;
using test::redacted;
using ::testing::HasSubstr;
using ::testing::Not;

// A packet filter writes the front of a frame: both hardware addresses were lost, and the protocol with them.
TEST(FrameTest, BothHardwareAddressesHaveTheStandInsThatTheyHaveElsewhere) {
  const std::string own = redacted("3c:52:82:1a:2b:3c");
  const std::string gateway = redacted("3c:52:82:aa:bb:cc");
  EXPECT_EQ("IN=eth0 MAC=" + own + ":" + gateway + ":08:00 SRC=127.0.0.1",
            redacted("IN=eth0 MAC=3c:52:82:1a:2b:3c:3c:52:82:aa:bb:cc:08:00 SRC=127.0.0.1"));
  EXPECT_EQ("MAC=ff:ff:ff:ff:ff:ff:" + gateway + ":08:00",
            redacted("MAC=ff:ff:ff:ff:ff:ff:3c:52:82:aa:bb:cc:08:00"));
  EXPECT_EQ("MAC=01:00:5e:00:00:fb:" + gateway + ":08:00",
            redacted("MAC=01:00:5e:00:00:fb:3c:52:82:aa:bb:cc:08:00"));
  EXPECT_EQ("MAC=33:33:ff:00:00:00:" + gateway + ":86:dd",
            redacted("MAC=33:33:ff:1a:2b:3c:3c:52:82:aa:bb:cc:86:dd"));
  expectRows(
      {{"MAC=ff:ff:ff:ff:ff:ff:02:00:5e:00:00:07:08:00", "MAC=ff:ff:ff:ff:ff:ff:02:00:5e:00:00:07:08:00"}});
  for (const std::string text :
       {"MAC=3c:52:82:1a:2b:3c:3c:52:82:aa:bb:cc:08:00", "MAC=01:00:5e:00:00:fb:3c:52:82:aa:bb:cc:08:00",
        "duid 00:01:00:01:2c:1d:2e:3f:3c:52:82:aa:bb:cc"}) {
    const std::string once = redacted(text);
    EXPECT_THAT(once, Not(HasSubstr("aa:bb:cc"))) << text;
    EXPECT_EQ(once, redacted(once)) << text;
  }
}

// The name of the next value became a user, in every file.
TEST(EmptyValueTest, TheNextNameIsNoValue) {
  const std::string line = "authentication failure; logname= uid=0 euid=0 tty=ssh ruser= rhost=127.0.0.1";
  expectRows({{line + "  user=kmiller\nby kmiller, rhost", line + "  user={U}\nby {U}, rhost"},
              {"user= \"kmiller\" x", "user= \"{U}\" x"},
              {"user = kmiller x", "user = {U} x"}});
  expectStays({"username= realm=127.0.0.1\nrealm", "hostname= domain=\ndomain", "ssid= bssid=\nbssid",
               "owner: uid=0\nuid", "fullname= shell=/bin/sh\nshell", "serial= model2600=\nmodel2600",
               "host=\tport7=1\nport7"});
}

}  // namespace
}  // namespace halvo
