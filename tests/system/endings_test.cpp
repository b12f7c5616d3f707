// Whole runs of the console program: what goes away with a run that a signal ends, and what name a bundle
// gets among others.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/BundleReader.h"
#include "tests/support/ConsoleRun.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/Processes.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

std::string itemDocument(const std::string& title, const std::string& actions) {
  return documentText(title, describedItem("i", "D", actions));
}

// A command that tells its own process in /opt/child and its run's in /opt/run, and then lasts.
std::string lastingDocument() {
  return itemDocument(
      "Slow",
      "<use_extern_action><action><args>echo $$ &gt;/opt/child; echo $PPID &gt;/opt/run.new; "
      "mv /opt/run.new /opt/run; exec sleep 100</args><stdout/></action></use_extern_action>");
}

class EndingsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* folder : {"/opt/halvo", "/opt/out", "/opt/logs", "/opt/documents"}) {
      std::filesystem::remove_all(folder);
    }
    makeFolders(std::string(std::getenv("HOME")) + "/Desktop");
    makeFolders(kConfig);
    makeFolders("/opt/out");
    writeFile("/opt/logs/one.log", "one\n");
  }

  // Starts a run whose command lasts and sends it the signal. `before` looks at what is there by then.
  template <typename Look>
  static RunResult signalled(int number, const std::vector<std::string>& arguments, Look before) {
    unlink("/opt/run");
    RunResult result;
    std::thread run([&] { result = tmtolm(arguments); });
    EXPECT_TRUE(waitForFile("/opt/run"));
    before();
    if (const pid_t process = processIn("/opt/run"); process > 0) {
      kill(process, number);
    }
    run.join();
    return result;
  }
};

TEST_F(EndingsTest, ATrialThatASignalEndsLeavesNoFolderOfDocuments) {
  writeFile("/opt/documents/slow.xml", lastingDocument());
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const RunResult result =
        signalled(number, {"try", "/opt/documents/slow.xml", "--bundle", "/opt/out/a.zip"},
                  [] { EXPECT_THAT(listFolder("/tmp"), Contains(StartsWith("tmtolm-try-"))); });
    EXPECT_EQ(result.signal, number);
    EXPECT_THAT(listFolder("/tmp"), Each(Not(StartsWith("tmtolm-try-"))));
    EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
  }
}

TEST_F(EndingsTest, ARunToAKeyThatASignalEndsLeavesNoFolderOfKeys) {
  const TempFolder keys;
  chmod(keys.path().c_str(), 0700);
  const std::vector<std::string> gpg = {"gpg",          "--homedir", keys.path(),       "--batch", "--quiet",
                                        "--passphrase", "",          "--pinentry-mode", "loopback"};
  std::vector<std::string> make = gpg;
  make.insert(make.end(), {"--quick-generate-key", "reader", "future-default", "default", "never"});
  ASSERT_EQ(runProgram(make).exitStatus, 0);
  std::vector<std::string> give = gpg;
  give.insert(give.end(), {"--output", "/opt/reader.key", "--export", "reader"});
  ASSERT_EQ(runProgram(give).exitStatus, 0);
  static_cast<void>(runProgram({"gpgconf", "--homedir", keys.path(), "--kill", "all"}));
  writeFile(kConfig + "slow.xml", lastingDocument());
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const RunResult result =
        signalled(number, {"collect", "--recipient", "/opt/reader.key", "--bundle", "/opt/out/a.zip"},
                  [] { EXPECT_THAT(listFolder("/tmp"), Contains(StartsWith("TOLM_Keys_"))); });
    EXPECT_EQ(result.signal, number);
    EXPECT_THAT(listFolder("/tmp"), Each(Not(StartsWith("TOLM_Keys_"))));
    EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
  }
}

TEST_F(EndingsTest, WhatAKilledTrialHasLeftGoesWithTheNextRun) {
  writeFile("/opt/documents/slow.xml", lastingDocument());
  EXPECT_EQ(
      signalled(SIGKILL, {"try", "/opt/documents/slow.xml", "--bundle", "/opt/out/a.zip"}, [] {}).signal,
      SIGKILL);
  // Nobody ends what a killed run had started.
  if (const pid_t child = processIn("/opt/child"); child > 0) {
    kill(child, SIGKILL);
  }
  EXPECT_THAT(listFolder("/tmp"), Contains(StartsWith("tmtolm-try-")));
  writeFile(kConfig + "a.xml", itemDocument("Alpha", copyAction("/opt/logs/*.log")));
  EXPECT_EQ(tmtolm({"collect", "--quiet", "--wait", "--bundle", "/opt/out/b.zip"}).exitStatus, 0);
  EXPECT_THAT(listFolder("/tmp"), Each(Not(StartsWith("tmtolm-try-"))));
}

TEST_F(EndingsTest, RunsOfOneSecondEachGetANameOfTheirOwn) {
  writeFile(kConfig + "a.xml", itemDocument("Alpha", copyAction("/opt/logs/*.log")));
  RunOptions options;
  options.environment = {{"LD_PRELOAD", std::string(TOLM_TEST_BUILD_DIR) + "/tests/fixed_clock.so"}};
  constexpr int kRuns = 4;
  std::vector<RunResult> results(kRuns);
  std::vector<std::thread> runs;
  runs.reserve(kRuns);
  for (RunResult& result : results) {
    runs.emplace_back([&result, &options] {
      result = tmtolm({"collect", "--wait", "--output-dir", "/opt/out"}, options);
    });
  }
  for (std::thread& run : runs) {
    run.join();
  }
  const std::vector<std::string> names = listFolder("/opt/out");
  EXPECT_THAT(names, SizeIs(kRuns));
  for (const RunResult& result : results) {
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    // Each tells the bundle that it made, and the summary in it names the same.
    const std::string path = result.out.substr(result.out.rfind("Bundle: ") + 8, std::string::npos);
    const std::string bundle = path.substr(0, path.find('\n'));
    ASSERT_TRUE(exists(bundle)) << result.out;
    EXPECT_THAT(bundleContent(Reader::Unzip, bundle).at("summary.txt"), HasSubstr(bundle + "\n"));
  }
}

// From the thread of the run nothing can be written any more, and the status of the run before told of a
// success.
TEST_F(EndingsTest, ARunThatASignalEndsLeavesNoStatusNotEvenAnOlderOne) {
  writeFile(kConfig + "slow.xml", lastingDocument());
  for (const int number : {SIGTERM, SIGKILL}) {
    writeFile("/opt/out/status.json", "{\"code\": \"0x00000000\"}\n");
    const RunResult result =
        signalled(number, {"collect", "--bundle", "/opt/out/a.zip", "--status-json", "/opt/out/status.json"},
                  [] { EXPECT_THAT(listFolder("/opt/out"), Not(Contains("status.json"))); });
    EXPECT_EQ(result.signal, number);
    EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
    if (const pid_t child = processIn("/opt/child"); number == SIGKILL && child > 0) {
      kill(child, SIGKILL);
    }
  }
}

TEST_F(EndingsTest, AStatusInTheBundlesPlaceRunsNothing) {
  writeFile(kConfig + "a.xml", itemDocument("Alpha", copyAction("/opt/logs/*.log")));
  writeFile("/opt/documents/r.xml", "<request><file id=\"i\"/></request>");
  writeFile("/opt/documents/word", "tiger\n");
  writeFile("/opt/documents/key.asc", "key");
  std::filesystem::create_hard_link("/opt/documents/r.xml", "/opt/documents/hard.xml");
  std::filesystem::create_symlink("/opt/out", "/opt/documents/out");
  writeFile("/opt/documents/there.zip", "old");
  const std::string out = "/opt/out/x.zip";
  const std::vector<std::vector<std::string>> all = {
      {"--bundle", out, "--status-json", out},
      {"--bundle", "/opt/out/x", "--status-json", out},
      {"--bundle", out, "--status-json", "/opt/documents/out/../out/x.zip"},
      {"--bundle", "/opt/documents/there.zip", "--status-json", "/opt/documents/./there.zip"},
      {"--bundle", out, "--recipient", "/opt/documents/key.asc", "--status-json", out + ".gpg"},
      {"--bundle", out + ".gpg", "--recipient", "/opt/documents/key.asc", "--status-json", out + ".gpg"},
      {"--bundle", out, "--request", "/opt/documents/r.xml", "--status-json", "/opt/documents/r.xml"},
      {"--bundle", out, "--request", "/opt/documents/r.xml", "--status-json", "/opt/documents/hard.xml"},
      {"--bundle", out, "--password-file", "/opt/documents/word", "--status-json", "/opt/documents/word"},
      {"--bundle", out, "--recipient", "/opt/documents/key.asc", "--status-json", "/opt/documents/key.asc"},
      {"--bundle", "/opt/documents/there.zip", "--request", "/opt/documents/there.zip"},
      {"--bundle", "/opt/documents/there.zip", "--password-file", "/opt/documents/there.zip"}};
  for (std::vector<std::string> arguments : all) {
    arguments.insert(arguments.begin(), "collect");
    const RunResult result = tmtolm(arguments);
    EXPECT_EQ(result.exitStatus, 2) << arguments.back() << result.out;
    EXPECT_THAT(result.err, HasSubstr(" names the place of another file: "));
  }
  EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
  EXPECT_EQ(readFile("/opt/documents/r.xml"), "<request><file id=\"i\"/></request>");
  EXPECT_EQ(readFile("/opt/documents/word"), "tiger\n");
  EXPECT_EQ(readFile("/opt/documents/there.zip"), "old");
}

TEST_F(EndingsTest, AStatusUnderTheNameThatTheProgramChoosesLeavesTheBundleThere) {
  writeFile(kConfig + "a.xml", itemDocument("Alpha", copyAction("/opt/logs/*.log")));
  RunOptions options;
  options.environment = {{"LD_PRELOAD", std::string(TOLM_TEST_BUILD_DIR) + "/tests/fixed_clock.so"}};
  ASSERT_EQ(tmtolm({"collect", "--quiet", "--output-dir", "/opt/out"}, options).exitStatus, 0);
  ASSERT_THAT(listFolder("/opt/out"), SizeIs(1));
  const std::string path = "/opt/out/" + listFolder("/opt/out").front();
  std::filesystem::remove(path);
  const RunResult result =
      tmtolm({"collect", "--quiet", "--output-dir", "/opt/out", "--status-json", path}, options);
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, HasSubstr(": the bundle lies there\n"));
  EXPECT_EQ(bundleContent(Reader::Unzip, path).count("Alpha/one.log"), 1U);
}

TEST_F(EndingsTest, ATrialsBundleTakesThePlaceOfNoDocument) {
  const std::string document = itemDocument("Alpha", copyAction("/opt/logs/*.log"));
  writeFile("/opt/documents/a.zip", document);
  EXPECT_EQ(tmtolm({"try", "/opt/documents/a.zip", "--bundle", "/opt/documents/a"}).exitStatus, 2);
  EXPECT_EQ(readFile("/opt/documents/a.zip"), document);
}

TEST_F(EndingsTest, NoJsonThatIsWrittenHoldsControlCharacters) {
  const std::string odd =
      "od\xc2\x9b"
      "d\x7f";
  writeFile("/opt/logs/" + odd + ".log", "one\n");
  writeFile(kConfig + "a.xml",
            itemDocument(odd, copyAction("/opt/logs/*.log") + copyAction("/opt/none/" + odd)));
  ASSERT_EQ(tmtolm({"collect", "--quiet", "--bundle", "/opt/out/old.zip"}).exitStatus, 0);
  writeFile("/opt/logs/new-" + odd + ".log", "authentication failed\n");
  const RunResult run = tmtolm({"collect", "--bundle", "/opt/out/" + odd + ".zip", "--status-json", "-"});
  ASSERT_EQ(run.exitStatus, 0) << run.err;
  writeFile("/opt/documents/" + odd + ".xml",
            itemDocument("T", "<" + std::string("unknown>") + odd + "</unknown>"));
  const auto expectPlain = [](const std::string& out, const std::string& command) {
    EXPECT_THAT(out, HasSubstr("\\u009b")) << command;
    EXPECT_THAT(out, AllOf(Not(HasSubstr("\xc2\x9b")), Not(HasSubstr("\x7f")))) << command;
  };
  expectPlain(run.out, "collect");
  for (const std::vector<std::string>& command : std::vector<std::vector<std::string>>{
           {"plan", "--json"},
           {"check", "--json", "/opt/documents"},
           {"show", "--json", "/opt/out/" + odd + ".zip"},
           {"compare", "--json", "/opt/out/old.zip", "/opt/out/" + odd + ".zip"}}) {
    expectPlain(tmtolm(command).out, command[0]);
  }
}

}  // namespace
}  // namespace halvo
