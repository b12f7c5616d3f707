#include "vpn/tools/TOLM/TOLMAuthoring/check/CommandCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vpn/tools/TOLM/TOLMAuthoring/check/FakeCheckHost.h"

namespace halvo {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::vector<std::string> rulesOf(const std::string& commandLine, bool here = true) {
  DocumentElement element;
  element.name = "args";
  element.text = commandLine;
  FindingList list;
  FakeCheckHost host;
  checkShellCommand(list, element, host, here);
  std::vector<std::string> rules;
  for (const Finding& finding : list.take()) {
    rules.emplace_back(finding.rule.row().name);
  }
  return rules;
}

TEST(CommandCheckTest, CommandsThatNeverEndAreTold) {
  for (const char* line : {"ping gw",
                           "ping -i 2 gw",
                           "journalctl -f",
                           "journalctl --unit=x --follow",
                           "tail -f /x.log",
                           "tail -n 5 -F /x.log",
                           "top",
                           "top -b",
                           "top -n 1",
                           "watch df",
                           "tcpdump -i eth0",
                           "cat",
                           "cat -",
                           "read x",
                           "ip monitor",
                           "dmesg -w",
                           "ls; ping gw",
                           "env A=1 ping gw",
                           "/bin/ping gw",
                           "journalctl -af",
                           "journalctl -fu x",
                           "vmstat 1",
                           "sleep infinity",
                           "ping -t 5 gw",
                           "sh -c 'ping gw'",
                           "ls && /bin/bash -ec \"ls; ping gw\"",
                           "bash -o pipefail -c 'tail -f /x'",
                           "env sh -c 'sh -c \"cat\"'"}) {
    EXPECT_THAT(rulesOf(std::string(line) + " 2>&1"), ElementsAre("command-endless")) << line;
  }
}

TEST(CommandCheckTest, CommandsWithAnEndArePassed) {
  for (const char* line : {"ping -c 3 gw",
                           "ping -c3 gw",
                           "ping -nc 3 gw",
                           "journalctl -n 50",
                           "tail /x.log",
                           "top -b -n 1",
                           "top -bn1",
                           "timeout 30 ping gw",
                           "timeout -k 5 30 tcpdump",
                           "tcpdump -c 10",
                           "ls | cat",
                           "cat </x",
                           "cat /x",
                           "ls | while read -r x; do echo; done",
                           "yes | head -n 2",
                           "ip addr",
                           "dmesg -T",
                           "echo 'ping gw'",
                           "ping -w 5 gw",
                           "journalctl -ufoo",
                           "journalctl -n5 -o short-full",
                           "journalctl -oshort-full",
                           "vmstat 1 3",
                           "vmstat",
                           "sleep 1",
                           "sh -c 'ping -c 1 gw'",
                           "timeout 30 sh -c 'ls; ping gw'",
                           "sh -c 'timeout 5 ping gw'",
                           "ls | sh -c 'cat'",
                           "sh -c 'yes' | head -n 2",
                           "sh /x/script -c ping",
                           "echo sh -c 'ping gw'"}) {
    EXPECT_THAT(rulesOf(std::string(line) + " 2>&1"), IsEmpty()) << line;
  }
}

TEST(CommandCheckTest, CommandsThatAskAreTold) {
  for (const char* line : {"sudo ls", "su -c ls", "ssh host ls", "ls && sudo -u me ls"}) {
    EXPECT_THAT(rulesOf(std::string(line) + " 2>&1"), ElementsAre("command-asks")) << line;
  }
  for (const char* line : {"sudo -n ls", "ssh -o BatchMode=yes host ls", "echo sudo"}) {
    EXPECT_THAT(rulesOf(std::string(line) + " 2>&1"), IsEmpty()) << line;
  }
}

TEST(CommandCheckTest, WhatIsSaidOfAnEndlessCommandHelpsWithThatCommand) {
  const auto said = [](const std::string& line) {
    DocumentElement element;
    element.text = line + " 2>&1";
    FindingList list;
    FakeCheckHost host;
    checkShellCommand(list, element, host, false);
    const std::vector<Finding> findings = list.take();
    return findings.empty() ? std::string() : findings.front().text;
  };
  EXPECT_THAT(said("ping gw"), HasSubstr("give it a count, or put \"timeout 30\" in front"));
  EXPECT_THAT(said("journalctl -f"),
              AllOf(HasSubstr("put \"timeout 30\" in front"), Not(HasSubstr("count"))));
  EXPECT_THAT(said("cat"), AllOf(HasSubstr("name a file"), Not(HasSubstr("timeout"))));
}

TEST(CommandCheckTest, AProgramThatIsNotThereIsToldOnce) {
  EXPECT_THAT(rulesOf("absent-program; absent-program -x 2>&1"), ElementsAre("program-missing"));
  EXPECT_THAT(rulesOf("timeout 5 absent-program 2>&1"), ElementsAre("program-missing"));
  EXPECT_THAT(rulesOf("absent-program 2>&1", false), IsEmpty());
  EXPECT_THAT(rulesOf("sh -c 'ls; absent-program' 2>&1"), ElementsAre("program-missing"));
  EXPECT_THAT(rulesOf("command -v absent-program && absent-program 2>&1"), IsEmpty());
  EXPECT_THAT(rulesOf("absent-program() { ls; }; absent-program 2>&1"), IsEmpty());
}

TEST(CommandCheckTest, SecretsThatArePrintedAreToldAndThoseThatGoThroughAFilterAreNot) {
  for (const char* line : {"cat /etc/shadow", "cp ~/.ssh/id_rsa /tmp/x", "tar cf - /root/.gnupg/x",
                           "head /etc/NetworkManager/system-connections/a", "sh -c 'cat /etc/shadow'"}) {
    EXPECT_THAT(rulesOf(std::string(line) + " 2>&1"), ElementsAre("secret")) << line;
  }
  for (const char* line : {"cat /etc/NetworkManager/system-connections/a | sed s/psk=.*//",
                           "sh -c 'cat /etc/shadow' | sed s/x//", "ls -l /etc/shadow", "cat /etc/hosts"}) {
    EXPECT_THAT(rulesOf(std::string(line) + " 2>&1"), IsEmpty()) << line;
  }
}

TEST(CommandCheckTest, FilesThatNeverEndAreTold) {
  for (const char* line : {"cat /proc/kmsg", "cat /dev/input/event0", "od /x/pipe"}) {
    EXPECT_THAT(rulesOf(std::string(line) + " 2>&1"), ElementsAre("path-blocks")) << line;
  }
  for (const char* line :
       {"head -c 10 /dev/urandom", "ls /dev/dri", "cat /dev/null", "timeout 2 cat /proc/kmsg"}) {
    EXPECT_THAT(rulesOf(std::string(line) + " 2>&1"), IsEmpty()) << line;
  }
}

TEST(CommandCheckTest, ErrorsThatGoNowhereAreTold) {
  EXPECT_THAT(rulesOf("ls"), ElementsAre("errors-not-captured"));
  EXPECT_THAT(rulesOf("ls >/x"), ElementsAre("errors-not-captured"));
  for (const char* line : {"ls 2>&1", "ls 2>/dev/null", "(ls; df) 2>&1", "sh -c 'ls 2>&1'"}) {
    EXPECT_THAT(rulesOf(line), IsEmpty()) << line;
  }
}

TEST(CommandCheckTest, WhatTheShellRefusesIsToldAloneOfItsLine) {
  EXPECT_THAT(rulesOf("ping 'x"), ElementsAre("shell-syntax"));
}

// A shell's own script was one word of the outer line, and that was all that was looked at.
TEST(CommandCheckTest, WhatAShellInsideOfTheLineRefusesIsTold) {
  // Of the two quotes one is in the script.
  EXPECT_THAT(rulesOf("sh -c \"ls '\" \"'\" 2>&1"), ElementsAre("shell-syntax"));
  EXPECT_THAT(rulesOf("sh -c \"ls '$x\" \"'\" 2>&1"), IsEmpty());
}

TEST(CommandCheckTest, AStartedProgramIsLookedAtWithItsOneArgument) {
  const auto started = [](const std::string& program, const std::string& argument) {
    FindingList list;
    FakeCheckHost host;
    checkStartedCommand(list, {}, program, argument, host, true);
    std::vector<std::string> rules;
    for (const Finding& finding : list.take()) {
      rules.emplace_back(finding.rule.row().name);
    }
    return rules;
  };
  EXPECT_THAT(started("absent-program", "x"), ElementsAre("program-missing"));
  EXPECT_THAT(started("tail", "-f /x"), ElementsAre("command-endless"));
  EXPECT_THAT(started("sudo", "x"), ElementsAre("command-asks"));
  EXPECT_THAT(started("ls", "-l"), IsEmpty());
}

}  // namespace
}  // namespace halvo
