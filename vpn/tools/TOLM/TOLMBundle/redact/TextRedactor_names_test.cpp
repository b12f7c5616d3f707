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

// "waiting for user input" made a user of "input", in every file.
TEST(EverydayWordTest, WhatOnlyStandsLikeANameTeachesNone) {
  const std::string words =
      "\nsuccessful timeout current prompt cancelled locked waiting manual normal machine certificate "
      "smartcard "
      "input route profile line path folder size count number pending complete blocked updated deleted "
      "present "
      "absent first last next previous directories confirmation response traffic switches applications Thu "
      "Nov";
  for (const std::string front : {"login: ", "user: ", "owner: ", "account: ", "ssid: ", "user=", "hostname=",
                                  "login = ", "username: ", "for user ", "of user "}) {
    for (const std::string word :
         {"successful", "timeout", "prompt", "cancelled", "smartcard", "input", "profile", "directories",
          "confirmation", "previous", "switches", "applications", "traffic", "acknowledgement"}) {
      const std::string text = "waiting " + front + word + words;
      EXPECT_EQ(words, redacted(text).substr(redacted(text).find('\n'))) << front << word;
      if (word != "acknowledgement") {
        EXPECT_EQ(text, redacted(text));
      }
    }
  }
  expectStays({"Last login: Thu Nov 20 10:00:01 2026 from 127.0.0.1" + words,
               "Last login: Mon Nov 20 10:00:01 on ttys000\nMon", "<font fullname=\"Times New Roman\"/>",
               "fullname=\"DejaVu Sans Bold\"", "DisplayName: Network Manager\nNetwork Manager"});
}

// "groups=44(video)" made a user of a group that every system has.
TEST(EverydayWordTest, GroupsAndAccountsOfTheSystemTeachNoName) {
  expectRows(
      {{"uid=1000(jdoe7) gid=1000(jdoe7) groups=1000(jdoe7),27(sudo),44(video),46(plugdev)\nvideo plugdev",
        "uid=1000({U}) gid=1000({U}) groups=1000({U}),27(sudo),44(video),46(plugdev)\nvideo plugdev"}});
}

TEST(EverydayWordTest, WhereNobodyButAUserStandsTheWordIsAName) {
  for (const std::string proof :
       {"/home/input/x", "C:\\Users\\input\\x", "uid=1000(input)", "USER=input", "User Name:      input",
        "session opened for user input(uid=1000)", "input:x:1000:1000::/home/input:/bin/sh"}) {
    const std::string text = proof + "\nuser: input, waiting for user input\nreads its input";
    const std::string once = redacted(text);
    EXPECT_THAT(once, Not(HasSubstr(proof))) << text;
    EXPECT_THAT(labelled(once), HasSubstr("\nuser: {U}, waiting for user {U}\nreads its input"));
    EXPECT_EQ(once, redacted(once)) << text;
  }
  expectStays({"https://127.0.0.1/home/settings\nuser: settings", "GET /users/search\nowner: search"});
}

TEST(EverydayWordTest, SomebodyWhoIsCalledLikeAMonthIsFoundAndNoDateTouched) {
  expectRows({{"/home/jan/x\nJan 15 10:00:00, 15/Jan/2026, Sat Jan 15, Jan Doe, jan 12 x",
               "/home/{U}/x\nJan 15 10:00:00, 15/Jan/2026, Sat Jan 15, {U} Doe, {U} 12 x"},
              {"user=jan x\nJan Doe", "user={U} x\nJan Doe"}});
}

}  // namespace
}  // namespace halvo
