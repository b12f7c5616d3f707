#include "vpn/tools/TOLM/TOLMBundle/CapturedOutput.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "vpn/tools/TOLM/TOLMBundle/SummaryBuilder_test.h"

namespace halvo {
namespace {

using test::banner;

TEST(CapturedOutputTest, EveryHeadingHasItsOutput) {
  const std::string text = banner("a") + "one\n" + banner("b \"c\"") + banner("d") + "last";
  const std::vector<CapturedOutput> outputs = capturedOutputs(text, true);
  ASSERT_EQ(outputs.size(), 3U);
  EXPECT_EQ(outputs[0].command, "a");
  EXPECT_EQ(outputs[0].output, "one\n");
  EXPECT_EQ(outputs[1].command, "b \"c\"");
  EXPECT_EQ(outputs[1].output, "");
  EXPECT_TRUE(outputs[1].isWhole);
  EXPECT_EQ(outputs[2].output, "last");
  EXPECT_FALSE(outputs[2].isWhole);
}

TEST(CapturedOutputTest, OutputsThatLookLikeFailuresAreTold) {
  EXPECT_EQ(outputFailure(banner("ip route") + "default via 10.0.0.1\n", false), "");
  EXPECT_EQ(outputFailure(banner("ip route") + "sh: 1: ip: not found\n", false), "sh: 1: ip: not found");
  EXPECT_EQ(outputFailure(banner("ip route") + " \n", false), "the command printed nothing");
  EXPECT_EQ(outputFailure("Permission denied, says a log without a banner\n", false), "");
  EXPECT_EQ(outputFailure(banner("a") + "fine\n" + banner("b") + "Permission denied\n", false),
            "Permission denied");
}

// Only the last one was looked at.
TEST(CapturedOutputTest, AFailureUnderAnyHeadingIsTold) {
  EXPECT_EQ(outputFailure(banner("ip a") + "sh: 1: ip: not found\n" + banner("ls") + "x\n", false),
            "sh: 1: ip: not found");
  EXPECT_EQ(outputFailure(banner("a") + banner("b") + "fine\n", false), "the command \"a\" printed nothing");
  EXPECT_EQ(outputFailure(banner("a"), false), "the command printed nothing");
  EXPECT_EQ(outputFailure(banner("a") + "fine\n", false), "");
  EXPECT_EQ(outputFailure("Permission denied\n", false), "") << "no heading, no command";
}

// The front ended behind a heading, and the output was called empty that stood behind it.
TEST(CapturedOutputTest, AnOutputThatWasCutIsNotCalledEmpty) {
  EXPECT_EQ(outputFailure(banner("a") + "fine\n" + banner("b"), true), "");
  EXPECT_EQ(outputFailure(banner("a") + banner("b"), true), "the command \"a\" printed nothing");
}

TEST(CapturedOutputTest, FailuresAreKnownInAnyCase) {
  for (const char* const line :
       {"PERMISSION DENIED", "Access denied", "Insufficient permissions",
        "You need administrator access to run", "Failed to connect to bus: No medium found",
        "bash: ip: command not found", "[1] ip: command not found", "[192.0.2.1] connection refused",
        "at 10:42:07: permission denied",
        "System has not been booted with systemd as init system (PID 1). Can't operate.",
        "Unit cups.service not found.", "Error: NetworkManager is not running.", "usage: sudo dmesg",
        "Usage: ip [ OPTIONS ] OBJECT"}) {
    EXPECT_EQ(outputFailure(banner("x") + line + "\n", false), line);
  }
}

TEST(CapturedOutputTest, WhatHealthyMachinesPrintIsNoFailure) {
  for (const char* const output :
       {"WARNING: systemd-networkd is not running, output will be incomplete.\n\nIDX LINK TYPE\n",
        "Filesystem      Size  Used Avail Use% Mounted on\n/dev/sda1 50G 10G 40G 20% /\n",
        "audit: type=1400 apparmor=\"DENIED\" operation=\"open\"\n", "1\n2\n3\n4\n5\nPermission denied\n",
        "Memory usage: 12%\n", "Unit files listed: 3\n", "No coredumps found.\n",
        "Nov 23 08:00:00 h nm[800]: could not open /run/x: No such file or directory\n",
        "[2026-03-15 10:42:07] tm: permission denied\n",
        "kern  :warn  : [Sun Mar 15 10:42:07 2026] nfs: permission denied\n",
        "[    0.412345] pci: access denied\n"}) {
    EXPECT_EQ(outputFailure(banner("x") + output, false), "") << output;
  }
}

}  // namespace
}  // namespace halvo
