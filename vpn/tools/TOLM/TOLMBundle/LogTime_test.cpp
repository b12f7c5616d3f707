#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/NormalLine.h"

namespace halvo {
namespace {

// "2026-03-15 10:42:07 [the text taken]"
std::string found(const std::string& line) {
  LogTime time;
  if (!findLogTime(line, time)) {
    return "none";
  }
  char text[100];
  std::snprintf(text, sizeof(text), "%04d-%02d-%02d %02d:%02d:%02d [", time.year, time.month, time.day,
                time.hour, time.minute, time.second);
  return text + line.substr(time.start, time.end - time.start) + "]";
}

std::string normal(const std::string& line) {
  std::string result;
  normalizeLine(line, result);
  return result;
}

TEST(LogTimeTest, CommonFormsAreFound) {
  EXPECT_EQ(found("2026-03-15T10:42:07.123+01:00 up"), "2026-03-15 10:42:07 [2026-03-15T10:42:07.123+01:00]");
  EXPECT_EQ(found("2026-03-15 10:42:07,123 up"), "2026-03-15 10:42:07 [2026-03-15 10:42:07,123]");
  EXPECT_EQ(found("Mar 15 10:42:07 host tm[1]: up"), "0000-03-15 10:42:07 [Mar 15 10:42:07]");
  EXPECT_EQ(found("Mar  5 10:42:07 host"), "0000-03-05 10:42:07 [Mar  5 10:42:07]");
  EXPECT_EQ(found("at Sun Mar 15 10:42:07 2026"), "2026-03-15 10:42:07 [Sun Mar 15 10:42:07 2026]");
  EXPECT_EQ(found("[15/Mar/2026:10:42:07 +0100]"), "2026-03-15 10:42:07 [15/Mar/2026:10:42:07 +0100]");
  EXPECT_EQ(found("03/15/2026 10:42:07 up"), "2026-03-15 10:42:07 [03/15/2026 10:42:07]");
  EXPECT_EQ(found("15.03.2026 10:42:07 up"), "2026-03-15 10:42:07 [15.03.2026 10:42:07]");
  EXPECT_EQ(found("2026/03/15 10:42:07Z"), "2026-03-15 10:42:07 [2026/03/15 10:42:07Z]");
  EXPECT_EQ(found("[10:42:07] up"), "0000-00-00 10:42:07 [10:42:07]");
}

TEST(LogTimeTest, RarerFormsAreFound) {
  EXPECT_EQ(found("Sun, 15 Mar 2026 10:42:07 +0100"),
            "2026-03-15 10:42:07 [Sun, 15 Mar 2026 10:42:07 +0100]");
  EXPECT_EQ(found("Sun 15 Mar 2026 10:42:07 CET"), "2026-03-15 10:42:07 [Sun 15 Mar 2026 10:42:07 CET]");
  EXPECT_EQ(found("Sun 2026-03-15 10:42:07 CET"), "2026-03-15 10:42:07 [Sun 2026-03-15 10:42:07 CET]");
  EXPECT_EQ(found("02 Mar 2026 10:42:07 up"), "2026-03-02 10:42:07 [02 Mar 2026 10:42:07]");
  EXPECT_EQ(found("Mar 3, 2026 10:42:07 up"), "2026-03-03 10:42:07 [Mar 3, 2026 10:42:07]");
  EXPECT_EQ(found("Mar 3, 2026, 10:42:07 PM"), "2026-03-03 22:42:07 [Mar 3, 2026, 10:42:07 PM]");
  EXPECT_EQ(found("3/15/2026 2:42:07 PM"), "2026-03-15 14:42:07 [3/15/2026 2:42:07 PM]");
  EXPECT_EQ(found("3/15/2026, 12:42:07 AM"), "2026-03-15 00:42:07 [3/15/2026, 12:42:07 AM]");
  EXPECT_EQ(found("20260315T104203Z up"), "2026-03-15 10:42:03 [20260315T104203Z]");
  EXPECT_EQ(found("[1773571327.123] up"), "2026-03-15 10:42:07 [1773571327.123]");
  EXPECT_EQ(found("1773571327.123 up"), "2026-03-15 10:42:07 [1773571327.123]");
  EXPECT_EQ(found("{\"level\":1,\"ts\":1773571327.123}"), "2026-03-15 10:42:07 [1773571327.123]");
  EXPECT_EQ(found("{\"time\": 1773571327123}"), "2026-03-15 10:42:07 [1773571327123]");
}

TEST(LogTimeTest, DatesStandAheadInFurtherForms) {
  EXPECT_EQ(found("2026-03-15\t10:42:07\tup"), "2026-03-15 10:42:07 [2026-03-15\t10:42:07]");
  EXPECT_EQ(found("03/15/2026\t10:42:07 up"), "2026-03-15 10:42:07 [03/15/2026\t10:42:07]");
  EXPECT_EQ(found("2026-03-15;10:42:07;up"), "2026-03-15 10:42:07 [2026-03-15;10:42:07]");
  EXPECT_EQ(found("2026/03/15-10:42:07 up"), "2026-03-15 10:42:07 [2026/03/15-10:42:07]");
  EXPECT_EQ(found("Mar 15 2026 10:42:07: up"), "2026-03-15 10:42:07 [Mar 15 2026 10:42:07]");
  EXPECT_EQ(found("Sun Mar 15 2026 10:42:07"), "2026-03-15 10:42:07 [Sun Mar 15 2026 10:42:07]");
  EXPECT_EQ(found("Mar 15 4096 10:42:07 up"), "none");
  EXPECT_EQ(found("15-MAR-2026 10:42:07 up"), "2026-03-15 10:42:07 [15-MAR-2026 10:42:07]");
  EXPECT_EQ(found("mar 15 10:42:07 up"), "none");
  EXPECT_EQ(found("March 15, 2026 10:42:07 PM"), "2026-03-15 22:42:07 [March 15, 2026 10:42:07 PM]");
  EXPECT_EQ(found("2026-03-15 10:42:07PM up"), "2026-03-15 22:42:07 [2026-03-15 10:42:07PM]");
  EXPECT_EQ(found("2026-03-15 10:42:07 PMU up"), "2026-03-15 10:42:07 [2026-03-15 10:42:07]");
  EXPECT_EQ(found("2026-03-15 10:42:07amber"), "2026-03-15 10:42:07 [2026-03-15 10:42:07]");
}

TEST(LogTimeTest, DatesStandAheadInRareForms) {
  EXPECT_EQ(found("Sun 15 Mar 10:42:07 CET 2026"), "2026-03-15 10:42:07 [Sun 15 Mar 10:42:07 CET 2026]");
  EXPECT_EQ(found("15 Mar 10:42:07 up"), "0000-03-15 10:42:07 [15 Mar 10:42:07]");
  EXPECT_EQ(found("115 Mar 10:42:07 up"), "none");
  EXPECT_EQ(found("15 March 2026 10:42:07 up"), "2026-03-15 10:42:07 [15 March 2026 10:42:07]");
  EXPECT_EQ(found("Sunday, March 15, 2026 10:42:07"),
            "2026-03-15 10:42:07 [Sunday, March 15, 2026 10:42:07]");
  EXPECT_EQ(found("on Sun,  8 Mar 2026 10:42:07"), "2026-03-08 10:42:07 [Sun,  8 Mar 2026 10:42:07]");
  EXPECT_EQ(found("2026-Mar-15 10:42:07.123 up"), "2026-03-15 10:42:07 [2026-Mar-15 10:42:07.123]");
  EXPECT_EQ(found("026-Mar-15 10:42:07 up"), "none");
  EXPECT_EQ(found("20260315 10:42:07 up"), "2026-03-15 10:42:07 [20260315 10:42:07]");
  EXPECT_EQ(found("I20260315 10:42:07.123 up"), "2026-03-15 10:42:07 [I20260315 10:42:07.123]");
  EXPECT_EQ(found("x 20261315 10:42:07, id20260315 10:42:07, 120260315 10:42:07"), "none");
  EXPECT_EQ(found("2026-03-15,10:42:07,up"), "2026-03-15 10:42:07 [2026-03-15,10:42:07]");
  EXPECT_EQ(found("\"2026-03-15\",\"10:42:07\""), "2026-03-15 10:42:07 [2026-03-15\",\"10:42:07]");
  EXPECT_EQ(found("{\"@timestamp\":\"1773571327\"}"), "2026-03-15 10:42:07 [1773571327]");
  EXPECT_EQ(found("{\"__REALTIME_TIMESTAMP\":\"1773571327123456\",\"_PID\":\"1\"}"),
            "2026-03-15 10:42:07 [1773571327123456]");
  EXPECT_EQ(found("[2026-03-15][10:42:07.123][tun] up"), "2026-03-15 10:42:07 [2026-03-15][10:42:07.123]");
  EXPECT_EQ(found("[3][10:42:07] up"), "0000-00-00 10:42:07 [10:42:07]");
}

TEST(LogTimeTest, TheFirstTimeIsTakenWhateverItsForm) {
  EXPECT_EQ(found("20260315T104203Z until 2036-01-01 00:00:00"), "2026-03-15 10:42:03 [20260315T104203Z]");
  EXPECT_EQ(found("2036-01-01 00:00:00 20260315T104203Z"), "2036-01-01 00:00:00 [2036-01-01 00:00:00]");
}

// The number of the next column was set aside.
TEST(LogTimeTest, ANumberBetweenCommasIsNoFraction) {
  EXPECT_EQ(normal("2026-03-15 10:42:07,443,up"), "<time>,443,up");
  EXPECT_EQ(normal("10:42:07,4430 10:42:07,20260315T104203,1 10:42:07,123 [10:42:07,123456]"),
            "<time>,4430 <time>,<time>,1 <time> [<time>]");
}

// A number behind a time was taken for its zone.
TEST(LogTimeTest, AZonesHoursAreThoseOfAZone) {
  EXPECT_EQ(normal("2026-03-15 10:42:07-2026-03-16 10:42:07"), "<time>-<time>");
  EXPECT_EQ(normal("10:42:07+0530 10:42:07-03:00 10:42:07+1500 10:42:07-0110 10:42:07-01000"),
            "<time> <time> <time>+1500 <time>-0110 <time>-01000");
  EXPECT_EQ(normal("20260315T104203.123+0100 20260315T104203.1 20260315T104203-1234"),
            "<time> <time>.1 <time>-1234");
}

// Every line differed where the clock had gone to summer time, or the other machine had its own zone.
TEST(LogTimeTest, AZoneBehindABlankIsOfTheTimeWhereThereIsAYear) {
  for (const std::string zone : {"+0100", "-03:00", "CET", "UTC", "GMT+0100", "NZDT"}) {
    EXPECT_EQ(normal("2026-03-15 10:42:07.123 " + zone + " x"), "<time> x") << zone;
    EXPECT_EQ(normal("[15/Mar/2026:10:42:07 " + zone + "] x"), "[<time>] x") << zone;
    EXPECT_EQ(normal("Sun, 15 Mar 2026 10:42:07 " + zone), "<time>") << zone;
    EXPECT_EQ(normal("2026-03-15 10:42:07 " + zone + ",443,up " + zone), "<time>,443,up " + zone) << zone;
  }
  EXPECT_EQ(normal("3/15/2026 2:42:07 PM +01:00 x"), "<time> x");
  EXPECT_EQ(normal("Sun Mar 15 10:42:07 2026 CET: x"), "<time>: x");
  EXPECT_EQ(normal("Expires: 2026-03-15 10:42:07 CET"), "Expires: 2026-03-15 10:42:07 CET");
  for (const std::string other :
       {"ERROR x", "INFO x", "ET x", "EST-gw1 x", "CETX x", "cet x", "Z x", "+1500 x", "-0110 x", "+01000 x",
        "-03 x", "443 x", "+0100/2 x", "-", "+", ""}) {
    EXPECT_EQ(normal("2026-03-15 10:42:07 " + other), "<time> " + other);
  }
  EXPECT_EQ(normal("Mar 15 10:42:07 CET x"), "<time> CET x");
  EXPECT_EQ(normal("10:42:07 +0100 x"), "<time> +0100 x");
}

TEST(LogTimeTest, ThousandthsMayStandBehindAColonWhereThereIsADate) {
  EXPECT_EQ(found("2026-03-15 10:42:07:123 up"), "2026-03-15 10:42:07 [2026-03-15 10:42:07:123]");
  EXPECT_EQ(found("2026-03-15 10:42:07:12 up"), "2026-03-15 10:42:07 [2026-03-15 10:42:07]");
  EXPECT_EQ(found("2026-03-15 10:42:07:abc up"), "2026-03-15 10:42:07 [2026-03-15 10:42:07]");
  EXPECT_EQ(found("10:42:07:123 up"), "none");
  EXPECT_EQ(found("2026-03-15 00:11:22:33:44:55 up"), "none");
}

TEST(LogTimeTest, TheKernelsAuditHasItsOwnForm) {
  EXPECT_EQ(found("type=AVC msg=audit(1773571327.123:456): x"), "2026-03-15 10:42:07 [1773571327.123:456]");
  EXPECT_EQ(found("audit(1773571327:456): x"), "none");
  EXPECT_EQ(found("edit(1773571327.123:456): x"), "none");
}

// A number behind a time was taken for its year, and made the line an old one.
TEST(LogTimeTest, AYearBehindATimeEndsItOrHasItsDaysName) {
  for (const std::string behind :
       {"2001:db8::1 tm: x", "2048 bytes sent", "2000 ms", "2034: x", "1999/tm: x"}) {
    EXPECT_EQ(found("Mar 15 10:42:07 " + behind), "0000-03-15 10:42:07 [Mar 15 10:42:07]") << behind;
  }
  EXPECT_EQ(found("[Mar 15 10:42:07 2026] up"), "2026-03-15 10:42:07 [Mar 15 10:42:07 2026]");
  EXPECT_EQ(found("(Mar 15 10:42:07 2026 CET) up"), "2026-03-15 10:42:07 [Mar 15 10:42:07 2026 CET]");
  EXPECT_EQ(found("Sun Mar 15 10:42:07 2026: up"), "2026-03-15 10:42:07 [Sun Mar 15 10:42:07 2026]");
  EXPECT_EQ(found("Sun Mar 15 10:42:07 2001:db8::1 up"), "0000-03-15 10:42:07 [Sun Mar 15 10:42:07]");
  EXPECT_EQ(normal("Mar 15 10:42:07 2026-03-15T10:42:07Z x"), "<time> <time> x");
}

TEST(LogTimeTest, WhatOnlyLooksLikeATimeIsNone) {
  EXPECT_EQ(found("link/ether 00:11:22:33:44:55"), "none");
  EXPECT_EQ(found("fe80::10:42:07:1"), "none");
  EXPECT_EQ(normal("link/ether 00:15:17:ab:cd:ef brd"), "link/ether 00:15:17:ab:cd:ef brd");
  EXPECT_EQ(normal("inet6 10:20:30:ab::1 10:20:30::1 10:20:30:ABCD"),
            "inet6 10:20:30:ab::1 10:20:30::1 10:20:30:ABCD");
  EXPECT_EQ(normal("10:42:07:error 10:42:07: a"), "<time>:error <time>: a");
  EXPECT_EQ(found("a:b 25:00:00"), "none");
  EXPECT_EQ(found("10:42"), "none");
  EXPECT_EQ(found("took 2:42:07"), "none");
  EXPECT_EQ(found("[   12.345678] usb 1-1: new"), "none");
  EXPECT_EQ(found("1773571327 /var/log/big"), "none");
  EXPECT_EQ(found("got 1773571327 bytes, \"size\":1773571327"), "none");
  EXPECT_EQ(found("20261315T104203Z x20260315T104203Z"), "none");
  EXPECT_EQ(found(""), "none");
}

TEST(LogTimeTest, EveryYearOfACertificateIsTaken) {
  EXPECT_EQ(found("notAfter=Dec 31 23:59:59 9999 GMT"), "9999-12-31 23:59:59 [Dec 31 23:59:59 9999 GMT]");
  EXPECT_EQ(found("Mar  5 10:42:07 2126 GMT"), "2126-03-05 10:42:07 [Mar  5 10:42:07 2126 GMT]");
  EXPECT_EQ(found("Mar  5 10:42:07 1950"), "1950-03-05 10:42:07 [Mar  5 10:42:07 1950]");
  EXPECT_EQ(found("Mar  5 10:42:07 4096 bytes"), "0000-03-05 10:42:07 [Mar  5 10:42:07]");
  EXPECT_EQ(found("Mar  5 10:42:07 2020x"), "0000-03-05 10:42:07 [Mar  5 10:42:07]");
}

TEST(LogTimeTest, AZoneMayStandAheadOfTheYear) {
  EXPECT_EQ(found("Mon Nov 23 05:00:00 CET 2020"), "2020-11-23 05:00:00 [Mon Nov 23 05:00:00 CET 2020]");
  EXPECT_EQ(found("Nov 23 05:00:00 HOST 4096"), "0000-11-23 05:00:00 [Nov 23 05:00:00]");
}

TEST(LogTimeTest, SeveralBlanksMayStandBehindTheDate) {
  EXPECT_EQ(found("Start-Date: 2025-06-24  14:36:25"), "2025-06-24 14:36:25 [2025-06-24  14:36:25]");
}

TEST(LogTimeTest, ALevelMayBeJoinedToTheDate) {
  EXPECT_EQ(found("I1005 10:05:00.123  812 main.cc:7] up"), "0000-10-05 10:05:00 [I1005 10:05:00.123]");
  EXPECT_EQ(found("a I1005 10:05:00"), "none");
}

// What a command took, and what else stands within a line, was drawn on the bundle's day.
TEST(LogTimeTest, ATimeOfDayAloneStandsInFront) {
  EXPECT_EQ(found(" 10:42:07 up 3 days"), "0000-00-00 10:42:07 [10:42:07]");
  EXPECT_EQ(found("root 812 1 0 10:42 ? 00:00:09 /usr/bin/tm"), "none");
  EXPECT_EQ(found("took 00:00:09"), "none");
  LogTime time;
  EXPECT_TRUE(findLogTime("took 00:00:09", time, 0, 100, BareClock::kAnywhere));
}

TEST(LogTimeTest, DaysAreCounted) {
  EXPECT_EQ(daysOfDate(1970, 1, 1), 0);
  EXPECT_EQ(daysOfDate(2000, 3, 1), 11017);
  EXPECT_EQ(daysOfDate(2026, 3, 15), 20527);
}

TEST(LogTimeTest, TimesWithoutAYearAreOfTheLastTwelveMonths) {
  const std::int64_t now = daysOfDate(2026, 3, 15) * kSecondsOfDay + 10LL * 3600;
  LogTime time;
  time.month = 3;
  time.day = 15;
  time.hour = 9;
  EXPECT_EQ(minuteText(secondsOf(time, now).value_or(0)), "2026-03-15 09:00");
  time.day = 17;
  EXPECT_EQ(minuteText(secondsOf(time, now).value_or(0)), "2025-03-17 09:00");
  time.month = 12;
  EXPECT_EQ(minuteText(secondsOf(time, now).value_or(0)), "2025-12-17 09:00");
  time.month = 0;
  EXPECT_FALSE(secondsOf(time, now).has_value());
  EXPECT_EQ(minuteText(0), "1970-01-01 00:00");
  EXPECT_EQ(minuteText(-60), "1969-12-31 23:59");
}

TEST(LogTimeTest, OnlyKnownFormsOfProcessIdsAreSetAside) {
  EXPECT_EQ(normal("HTTP [200] exit status [0] error (110)"), "HTTP [200] exit status [0] error (110)");
  EXPECT_EQ(normal("tm[12] a[3] = 4, (5): 6"), "tm[12] a[3] = 4, (5): 6");
  EXPECT_EQ(normal("(udev-worker)[12]: x (pid 7) \"pid\": 8 _PID=9"),
            "(udev-worker)[<pid>]: x (pid <pid>) \"pid\": <pid> _PID=<pid>");
}

// An index is none, and differs because something does.
TEST(LogTimeTest, AnIndexInBracketsIsNoProcessId) {
  EXPECT_EQ(normal("nameserver[0]: 192.0.2.1"), "nameserver[0]: 192.0.2.1");
  EXPECT_EQ(normal("Mar 15 10:42:07 host agent: nameserver[1]: 192.0.2.1"),
            "<time> host agent: nameserver[1]: 192.0.2.1");
  EXPECT_EQ(normal("Mar 15 10:42:07 systemd[1]: up"), "<time> systemd[<pid>]: up");
  EXPECT_EQ(normal("agent[123]: up"), "agent[<pid>]: up");
}

std::string repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) {
    all += text;
  }
  return all;
}

// For each tag the line was walked through up to its front.
TEST(LogTimeTest, ALineWithoutBlanksTakesTimeInProportion) {
  constexpr int kTimes = 500000;
  EXPECT_EQ(normal(repeated("a[1]:", kTimes)), repeated("a[1]:", kTimes));
  EXPECT_EQ(normal(repeated("a[123]:", kTimes)), repeated("a[<pid>]:", kTimes));
  EXPECT_EQ(normal(repeated("20260315T104203,", kTimes)), repeated("<time>,", kTimes));
}

TEST(LogTimeTest, TimesAnywhereInALongLineAreSetAside) {
  EXPECT_EQ(normal(repeated("10:42:07 x ", 5000)), repeated("<time> x ", 5000));
  const std::string far(5000, '.');
  EXPECT_EQ(normal(far + " 2026-03-15 10:42:07.123 00:11:22:33:44:55"), far + " <time> 00:11:22:33:44:55");
}

TEST(LogTimeTest, ATimeThatIsASettingCounts) {
  EXPECT_EQ(normal("notAfter=Mar  5 10:42:07 2026 GMT"), "notAfter=Mar  5 10:42:07 2026 GMT");
  EXPECT_EQ(normal("Mar 15 10:42:07 h SessionTimeout=00:30:00"), "<time> h SessionTimeout=00:30:00");
  EXPECT_EQ(normal("until=\"20260315T104203Z\" 10:42:07"), "until=\"20260315T104203Z\" <time>");
  EXPECT_EQ(normal("            Not After : Mar  5 10:42:07 2026 GMT"),
            "            Not After : Mar  5 10:42:07 2026 GMT");
  EXPECT_EQ(normal("time=\"2026-03-15T10:42:07Z\" ts=10:42:07 at=10:42:07 t=20260315T104203Z x"),
            "time=\"<time>\" ts=<time> at=<time> t=<time> x");
  EXPECT_EQ(normal("ActiveEnterTimestamp=Sun 2026-03-15 10:42:07 CET"), "ActiveEnterTimestamp=<time>");
}

TEST(LogTimeTest, ATimeThatIsASettingCountsInEachFormOfSettings) {
  for (const std::string setting :
       {"<SessionTimeout>00:30:00</SessionTimeout>", "<a:NotAfter x=\"y\">2026-03-15T10:42:07Z</a:NotAfter>",
        "{\"sessionTimeout\": \"00:30:00\", \"expires\":\"2026-03-15T10:42:07Z\"}",
        "SessionTimeout: 00:30:00", "  - reneg-at: '2026-03-15 10:42:07',",
        "NotAfter: 2026-03-15 10:42:07 UTC", "reneg-at = 01:00:00", "valid until 2026-03-15 10:42:07"}) {
    EXPECT_EQ(normal(setting), setting);
  }
}

TEST(LogTimeTest, ATimeThatALogTellsBehindANameIsSetAside) {
  EXPECT_EQ(normal("{\"@timestamp\":\"2026-03-15T10:42:07Z\",\"lastSeen\": \"10:42:07\",\"m\":\"x\"}"),
            "{\"@timestamp\":\"<time>\",\"lastSeen\": \"<time>\",\"m\":\"x\"}");
  EXPECT_EQ(normal("<date>2026-03-15T10:42:07Z</date><created_at>10:42:07</created_at>"),
            "<date><time></date><created_at><time></created_at>");
  EXPECT_EQ(normal("<TimeCreated SystemTime=\"2026-03-15T10:42:07Z\"/>"),
            "<TimeCreated SystemTime=\"<time>\"/>");
  EXPECT_EQ(normal("<14>Mar 15 10:42:07 h x</a>"), "<14><time> h x</a>");
  EXPECT_EQ(normal("<b>10:42:07 it was up</b></a>10:42:07</b>"), "<b><time> it was up</b></a><time></b>");
  EXPECT_EQ(
      normal("login_time=10:42:07 connected_since=\"10:42:07\" login_timeout=10:42:07 update_time=10:42:07"),
      "login_time=<time> connected_since=\"<time>\" login_timeout=10:42:07 update_time=10:42:07");
  EXPECT_EQ(normal("ERROR: 2026-03-15 10:42:07 up"), "ERROR: <time> up");
  EXPECT_EQ(normal("{\"updated_at\":\"10:42:07\",\"receivedAt\":\"10:42:07\",\"renewedBy\":\"10:42:07\"}"),
            "{\"updated_at\":\"<time>\",\"receivedAt\":\"<time>\",\"renewedBy\":\"10:42:07\"}");
  EXPECT_EQ(normal("10:42:07 tm: started: 10:42:07"), "<time> tm: started: <time>");
  EXPECT_EQ(normal("10:42:07 lease valid until 11:42:07"), "<time> lease valid until <time>");
  EXPECT_EQ(normal("Modify: 2026-03-15 10:42:07.123 +0100"), "Modify: <time>");
  EXPECT_EQ(normal("Start-Date: 2026-03-15  10:42:07"), "Start-Date: <time>");
  EXPECT_EQ(normal("  Universal time: Sun 2026-03-15 10:42:07 UTC"), "  Universal time: <time>");
}

TEST(LogTimeTest, SecondsSince1970ThatALogTellsBehindANameAreSetAside) {
  EXPECT_EQ(normal("connection.timestamp:                   1773571327"),
            "connection.timestamp:                   <time>");
  EXPECT_EQ(normal("ts=1773571327.123 level=info start_time = \"1773571327\""),
            "ts=<time> level=info start_time = \"<time>\"");
  for (const std::string setting : {"expiretime=1773571327", "size: 1773571327", "start=1773571327",
                                    "time 1773571327", "time=1773571327ab", "time=177357132"}) {
    EXPECT_EQ(normal(setting), setting);
  }
}

TEST(LogTimeTest, WhatTellsATimeOnceMoreIsSetAside) {
  EXPECT_EQ(normal("Active: active (running) since Sun 2026-03-15 10:42:07 UTC; 1h 3min ago"),
            "Active: active (running) since <time><time>");
  EXPECT_EQ(normal("clock to 2026-03-15T10:42:07 UTC (1773571327)"), "clock to <time> <time>");
  EXPECT_EQ(normal("10:42:07 (1773571327 bytes) x"), "<time> (1773571327 bytes) x");
  EXPECT_EQ(normal("10:42:07; 3 tries ago it was up"), "<time>; 3 tries ago it was up");
  EXPECT_EQ(normal("SessionTimeout=00:30:00; a while ago"), "SessionTimeout=00:30:00; a while ago");
}

TEST(LogTimeTest, RarerFormsOfTimesAreSetAside) {
  EXPECT_EQ(normal("1773571327.123 up"), "<time> up");
  EXPECT_EQ(normal("{\"ts\":1773571327.123,\"m\":1}"), "{\"ts\":<time>,\"m\":1}");
  EXPECT_EQ(normal("{\"_REALTIME_TIMESTAMP\":\"1773571327123456\",\"bytes\":1773571327123456}"),
            "{\"_REALTIME_TIMESTAMP\":\"<time>\",\"bytes\":1773571327123456}");
  EXPECT_EQ(normal("15 Mar 2026 10:42:07 up"), "<time> up");
  EXPECT_EQ(normal("Mar 15, 2026 10:42:07 up"), "<time> up");
  EXPECT_EQ(normal("3/15/2026 2:42:07 PM up"), "<time> up");
}

std::vector<std::string> normalLines(const std::vector<std::string>& lines) {
  LineNormalizer normalizer;
  std::vector<std::string> results(lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    normalizer.normalize(lines[i], results[i]);
  }
  return results;
}

TEST(LogTimeTest, IdsTimesAndSharesInATableOfProcessesAreSetAside) {
  const std::string heading = "USER         PID %CPU %MEM    VSZ   RSS TTY      STAT START   TIME COMMAND";
  EXPECT_EQ(normalLines({heading,
                         "root           1  0.0  0.1 168576 12800 ?        Ss   Mar14   0:04 /sbin/init  -x",
                         "", "root 2 0.0"}),
            (std::vector<std::string>{"USER PID %CPU %MEM VSZ RSS TTY STAT START TIME COMMAND ",
                                      "root * * * * * ? Ss * * /sbin/init  -x", "", "root 2 0.0"}));
  EXPECT_EQ(normalLines({"UID          PID    PPID  C STIME TTY          TIME CMD",
                         "root         812       1  0 10:42 ?        00:00:07 tm --pid 7"})[1],
            "root * * * * ? * tm --pid <pid>");
  EXPECT_EQ(
      normalLines({"PID CMD", "7 [kworker/0:0-events]", "8 kworker/u8:4-mm_percpu_wq", "9 kworker/R-x"}),
      (std::vector<std::string>{"PID CMD ", "* [kworker/", "* kworker/", "* kworker/R-x"}));
  EXPECT_EQ(normalLines({"the PID of the COMMAND", "tm 812 x"})[1], "tm 812 x");
}

TEST(LogTimeTest, TimesAndProcessIdsAreSetAside) {
  EXPECT_EQ(normal("Mar 15 10:42:07 host tm[1234]: up pid=77 at 2026-03-15 10:42:08"),
            "<time> host tm[<pid>]: up pid=<pid> at <time>");
  EXPECT_EQ(normal("[   12.345678] usb 1-1: new"), "[<time>] usb 1-1: new");
  EXPECT_EQ(normal("<info>  [1678873323.1234] device up"), "<info>  [<time>] device up");
  EXPECT_EQ(normal("load [0.52] [ 12.5]"), "load [0.52] [ 12.5]");
  EXPECT_EQ(normal("backup-20260315T104203Z.tar 20260315T104203"), "backup-<time>.tar <time>");
  EXPECT_EQ(normal("20260315T1042 a20260315T104203"), "20260315T1042 a20260315T104203");
  EXPECT_EQ(normal("12345678T123456 20260315T250000"), "12345678T123456 20260315T250000");
  EXPECT_EQ(normal("port 443 in 10 ms"), "port 443 in 10 ms");
  EXPECT_EQ(normal("Main PID: 812 (tm)"), "Main PID: <pid> (tm)");
  EXPECT_EQ(normal("pid 7, PID:8, ppid = 9"), "pid <pid>, PID:<pid>, ppid = <pid>");
  EXPECT_EQ(normal("rapid 7 of 20260315"), "rapid 7 of 20260315");
}

}  // namespace
}  // namespace halvo
