// The commands that read bundles, as a user or a script starts them, over a bundle that a run made.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/ConsoleRun.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/Terminal.h"
#include "vpn/tools/TOLM/TOLMBundle/BundleWriter.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class BundleCommandsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // Of the tests before, which share the private root.
    for (const char* made : {"/opt/r.html", "/opt/redacted.zip"}) {
      std::filesystem::remove(made);
    }
    writeFile("/opt/logs/agent.log", "2026-03-15 10:42:07 agent: authentication failed\n\x1b[2J\n");
    writeFile(kConfig + "client.xml", documentText("Client", describedItem("client-logs", "Logs",
                                                                           copyAction("/opt/logs/*.log") +
                                                                               copyAction("/opt/none/*"))));
    writeFile("/opt/word", "tiger\n");
    ASSERT_EQ(tmtolm({"collect", "--quiet", "--bundle", "/opt/plain.zip"}).exitStatus, 0);
    ASSERT_EQ(tmtolm({"collect", "--quiet", "--bundle", "/opt/secret.zip", "--password-file", "/opt/word"})
                  .exitStatus,
              0);
  }

  // With little memory, however much the bundle holds.
  static RunResult tmtolmInBounds(const std::vector<std::string>& arguments) {
    std::vector<std::string> command = {"prlimit", "--as=536870912", builtProgram("tmtolm")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    RunOptions options;
    options.timeoutSeconds = 200;
    return runProgram(command, options);
  }

  // Every command that reads bundles, over this one.
  static std::vector<std::vector<std::string>> commandsOver(const std::string& bundle) {
    return {{"show", bundle},
            {"show", bundle, "--json"},
            {"show", bundle, "Client/agent.log"},
            {"findings", bundle},
            {"ask", bundle, "--item", "client-logs"},
            {"compare", "/opt/plain.zip", bundle},
            {"report", bundle, "-o", "/opt/r.html"},
            {"redact", bundle, "/opt/redacted.zip"}};
  }
};

// A deflate stream (RFC 1951) of zeros that unpacks to `count` times 64 MiB, and the CRC of what comes out.
std::string bombStream(unsigned count, std::uint32_t& crc) {
  const std::string zeros(std::size_t{1} << 26U, '\0');
  std::string block(std::size_t{1} << 20U, '\0');
  z_stream stream = {};
  EXPECT_EQ(deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(zeros.data()));
  stream.avail_in = static_cast<uInt>(zeros.size());
  stream.next_out = reinterpret_cast<Bytef*>(block.data());
  stream.avail_out = static_cast<uInt>(block.size());
  // Behind a full flush nothing refers to what came before: the bytes can be repeated.
  EXPECT_EQ(deflate(&stream, Z_FULL_FLUSH), Z_OK);
  block.resize(block.size() - stream.avail_out);
  deflateEnd(&stream);
  const uLong one = crc32(0, reinterpret_cast<const Bytef*>(zeros.data()), static_cast<uInt>(zeros.size()));
  uLong all = 0;
  std::string whole;
  for (unsigned i = 0; i < count; ++i) {
    whole += block;
    all = crc32_combine(all, one, static_cast<z_off_t>(zeros.size()));
  }
  crc = static_cast<std::uint32_t>(all);
  return whole + std::string("\x03\x00", 2);
}

TEST_F(BundleCommandsTest, EveryCommandReadsPlainAndEncryptedBundles) {
  const std::vector<std::vector<std::string>> commands = {{"show"},     {"show", "--json"},
                                                          {"findings"}, {"findings", "--json"},
                                                          {"ask"},      {"report", "-o", "/opt/r.html"}};
  for (std::vector<std::string> command : commands) {
    SCOPED_TRACE(command[0]);
    command.insert(command.begin() + 1, "/opt/plain.zip");
    const RunResult plain = tmtolm(command);
    EXPECT_EQ(plain.exitStatus, 0) << plain.err;
    command[1] = "/opt/secret.zip";
    const RunResult refused = tmtolm(command);
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_THAT(refused.err, HasSubstr("is encrypted; --password-file"));
    command.insert(command.end(), {"--password-file", "/opt/word"});
    const RunResult secret = tmtolm(command);
    EXPECT_EQ(secret.exitStatus, 0) << secret.err;
    EXPECT_EQ(plain.out.empty(), secret.out.empty());
  }
  EXPECT_THAT(readFile("/opt/r.html"), HasSubstr("The gateway refused the sign-on"));
}

TEST_F(BundleCommandsTest, AFileHasNoFormInJson) {
  const RunResult result = tmtolm({"show", "/opt/plain.zip", "Client/agent.log", "--json"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("a file is shown as it is; --json is for an item or the whole bundle"));
  EXPECT_EQ(tmtolm({"show", "/opt/plain.zip", "client-logs", "--json"}).exitStatus, 0);
}

TEST_F(BundleCommandsTest, AReportIsNotWrittenOverItsBundle) {
  const std::string before = readFile("/opt/plain.zip");
  const RunResult result = tmtolm({"report", "/opt/plain.zip", "-o", "/opt/../opt/plain.zip"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.err, "tmtolm: the page would take the place of the bundle\n");
  EXPECT_EQ(readFile("/opt/plain.zip"), before);
}

TEST_F(BundleCommandsTest, AReportIsNotWrittenOverItsRulesOrItsPassword) {
  const std::string word = readFile("/opt/word");
  const std::string rules = readFile(sourcePath("samples/rules/clock.xml"));
  makeFolders("/opt/rules");
  writeFile("/opt/rules/clock.xml", rules);
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"report", "/opt/secret.zip", "--password-file", "/opt/word", "-o", "/opt/word"},
           {"report", "/opt/plain.zip", "--rules", "/opt/rules/clock.xml", "-o", "/opt/rules/clock.xml"},
           {"report", "/opt/plain.zip", "--rules", "/opt/rules", "-o", "/opt/./rules/clock.xml"}}) {
    const RunResult result = tmtolm(arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.err, HasSubstr("--output names the place of another file: "));
  }
  EXPECT_EQ(readFile("/opt/word"), word);
  EXPECT_EQ(readFile("/opt/rules/clock.xml"), rules);
}

TEST_F(BundleCommandsTest, ShowTellsTheWholeTheItemAndTheFile) {
  EXPECT_THAT(tmtolm({"show", "/opt/plain.zip"}).out,
              AllOf(HasSubstr("Missing (1)"), HasSubstr("No file found with path matching: /opt/none/*"),
                    HasSubstr("Client/agent.log")));
  EXPECT_THAT(tmtolm({"show", "/opt/plain.zip", "client-logs"}).out, HasSubstr("Client/agent.log"));
  EXPECT_EQ(tmtolm({"show", "/opt/plain.zip", "agent.log"}).out, readFile("/opt/logs/agent.log"));
  const RunResult none = tmtolm({"show", "/opt/plain.zip", "none"});
  EXPECT_EQ(none.exitStatus, 1);
  EXPECT_THAT(none.err, HasSubstr("knows no item and no file \"none\""));
}

TEST_F(BundleCommandsTest, ShowKnowsAnItemThatIsNotIncludedByDefault) {
  writeFile(kConfig + "extra.xml",
            documentText("Extra",
                         "<file id=\"traces\"><description>Traces</description><default>false</default>"
                         "<tolm>" +
                             osStart() + copyAction("/opt/logs/*.log") + "</os></tolm></file>"));
  ASSERT_EQ(tmtolm({"collect", "--quiet", "--bundle", "/opt/plain.zip"}).exitStatus, 0);
  std::filesystem::remove(kConfig + "extra.xml");
  const RunResult text = tmtolm({"show", "/opt/plain.zip", "traces"});
  EXPECT_EQ(text.exitStatus, 0);
  EXPECT_EQ(text.out, "  traces isn't included by default; ask --item makes a request for it\n");
  const RunResult json = tmtolm({"show", "/opt/plain.zip", "traces", "--json"});
  EXPECT_EQ(json.exitStatus, 0);
  EXPECT_THAT(json.out, HasSubstr("\"not_default\": true,\n  \"missing\": [],\n  \"files\": []"));
  EXPECT_THAT(tmtolm({"show", "/opt/plain.zip", "client-logs", "--json"}).out,
              HasSubstr("\"not_default\": false"));
}

TEST_F(BundleCommandsTest, ShowNamesTheFilesThatShareAName) {
  BundleWriter writer;
  ASSERT_EQ(writer.open("/opt/namesakes.zip", ""), "");
  for (int i = 1; i <= 12; ++i) {
    BundleEntryInfo information;
    information.name = "Folder" + std::to_string(i) + "/same.log";
    ASSERT_EQ(writer.begin(information), "");
    ASSERT_EQ(writer.end(), "");
  }
  ASSERT_EQ(writer.finish(), "");
  const RunResult result = tmtolm({"show", "/opt/namesakes.zip", "same.log"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err,
              HasSubstr("12 files \"same.log\", to be named with their folder: \"Folder1/same.log\", "
                        "\"Folder2/same.log\", "));
  EXPECT_THAT(result.err, HasSubstr("\"Folder10/same.log\", ..."));
  EXPECT_EQ(tmtolm({"show", "/opt/namesakes.zip", "Folder11/same.log"}).exitStatus, 0);
}

TEST_F(BundleCommandsTest, FindingsTellTheLineThatSpeaksForThem) {
  EXPECT_THAT(tmtolm({"findings", "/opt/plain.zip"}).out,
              AllOf(HasSubstr("error: The gateway refused the sign-on"),
                    HasSubstr("Client/agent.log:1: 2026-03-15")));
  writeFile("/opt/rules.xml",
            "<rules><rule id=\"x\" severity=\"info\"><title>t</title><advice>a</advice>"
            "<line pattern=\"(\"/></rule></rules>");
  const RunResult bad = tmtolm({"findings", "/opt/plain.zip", "/opt/rules.xml"});
  EXPECT_EQ(bad.exitStatus, 2);
  EXPECT_THAT(bad.err, HasSubstr("/opt/rules.xml:1:71: the pattern can't be used"));
}

// Its ids were told as those of another rule.
TEST_F(BundleCommandsTest, ADocumentOfRulesThatIsGivenTwiceCountsOnce) {
  const std::string rule =
      "<rules><rule id=\"x\" severity=\"info\"><title>t</title><advice>a</advice>"
      "<line pattern=\"agent:\"/></rule></rules>";
  writeFile("/opt/twice/rules.xml", rule);
  writeFile("/opt/copy.xml", rule);
  const RunResult twice =
      tmtolm({"findings", "/opt/plain.zip", "/opt/twice", "/opt/twice/../twice/rules.xml"});
  EXPECT_EQ(twice.exitStatus, 0) << twice.err;
  EXPECT_THAT(twice.out, HasSubstr("1 of 1 known problems"));
  EXPECT_EQ(tmtolm({"findings", "/opt/plain.zip", "/opt/twice", "/opt/copy.xml"}).exitStatus, 2);
}

TEST_F(BundleCommandsTest, AFolderOfRulesThatCannotBeListedIsNamed) {
  writeFile("/opt/shut/rules.xml", "<rules/>");
  ASSERT_EQ(chmod("/opt/shut", 0), 0);
  // Without the rights that let root read everything.
  const RunResult shut = runProgram({"/usr/bin/setpriv", "--bounding-set=-all", builtProgram("tmtolm"),
                                     "findings", "/opt/plain.zip", "/opt/shut"});
  EXPECT_EQ(shut.exitStatus, 2);
  EXPECT_THAT(shut.err, HasSubstr("the rules \"/opt/shut\" can't be read: Permission denied"));
}

TEST_F(BundleCommandsTest, AReportLooksForTheRulesThatAreGiven) {
  writeFile("/opt/own/rules.xml",
            "<rules><rule id=\"x\" severity=\"info\"><title>Our own problem</title><advice>a</advice>"
            "<line pattern=\"agent:\"/></rule></rules>");
  writeFile("/opt/broken.xml", "<rules>");
  const RunResult own = tmtolm({"report", "/opt/plain.zip", "-o", "/opt/own.html", "--rules", "/opt/own"});
  EXPECT_EQ(own.exitStatus, 0) << own.err;
  EXPECT_THAT(readFile("/opt/own.html"),
              AllOf(HasSubstr("Our own problem"), Not(HasSubstr("The gateway refused the sign-on"))));
  const RunResult bad =
      tmtolm({"report", "/opt/plain.zip", "-o", "/opt/bad.html", "--rules", "/opt/broken.xml"});
  EXPECT_EQ(bad.exitStatus, 2);
  EXPECT_THAT(bad.err, HasSubstr("/opt/broken.xml:1:8: "));
  EXPECT_FALSE(exists("/opt/bad.html"));
}

TEST_F(BundleCommandsTest, CompareTellsNothingOfTwoEqualRuns) {
  const RunResult same =
      tmtolm({"compare", "/opt/plain.zip", "/opt/secret.zip", "--password-file", "/opt/word"});
  EXPECT_EQ(same.exitStatus, 0) << same.err;
  EXPECT_THAT(same.out, HasSubstr("The same: 1 file,"));
}

TEST_F(BundleCommandsTest, BundlesWithDifferentPasswordsAreCompared) {
  writeFile("/opt/other", "lion\n");
  ASSERT_EQ(
      tmtolm({"collect", "--quiet", "--bundle", "/opt/old.zip", "--password-file", "/opt/other"}).exitStatus,
      0);
  const RunResult same = tmtolm({"compare", "/opt/old.zip", "/opt/secret.zip", "--password-file", "/opt/word",
                                 "--old-password-file", "/opt/other"});
  EXPECT_EQ(same.exitStatus, 0) << same.err;
  EXPECT_THAT(same.out, HasSubstr("The same: 1 file,"));
  EXPECT_EQ(
      tmtolm({"compare", "/opt/old.zip", "/opt/plain.zip", "--old-password-file", "/opt/other"}).exitStatus,
      0);
  EXPECT_EQ(tmtolm({"compare", "/opt/old.zip", "/opt/plain.zip", "--old-password-file", "/none"}).exitStatus,
            2);
}

// As root it took the place of /dev/stdout, for every program of the machine.
TEST_F(BundleCommandsTest, AReportTakesNoLinksPlace) {
  std::filesystem::create_symlink("/proc/self/fd/1", "/opt/so");
  const RunResult result = tmtolm({"report", "/opt/plain.zip", "-o", "/opt/so"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.err, "tmtolm: /opt/so: it is a link, and no file to be replaced (--output)\n");
  EXPECT_TRUE(std::filesystem::is_symlink("/opt/so"));
}

TEST_F(BundleCommandsTest, AReportIsPrintedWhereItsPlaceIsADash) {
  const RunResult result = tmtolm({"report", "/opt/plain.zip", "-o", "-"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(result.out, AllOf(HasSubstr("<!DOCTYPE html>"), HasSubstr("</html>\n")));
  EXPECT_FALSE(exists("-"));
}

TEST_F(BundleCommandsTest, AskedRequestIsOneThatARunTakes) {
  const RunResult asked = tmtolm({"ask", "/opt/plain.zip"});
  EXPECT_THAT(asked.out, HasSubstr("<file id=\"client-logs\"/>"));
  writeFile("/opt/request.xml", asked.out);
  EXPECT_EQ(tmtolm({"collect", "--quiet", "--request", "/opt/request.xml", "--bundle", "/opt/second.zip"})
                .exitStatus,
            0);
  EXPECT_THAT(tmtolm({"show", "/opt/second.zip", "client-logs"}).out, HasSubstr("Client/agent.log"));
}

TEST_F(BundleCommandsTest, AskedIdsOfAnyCharacterStandInTheRequestAsTheyAre) {
  const RunResult asked = tmtolm({"ask", "/opt/plain.zip", "--item", "a<b>&\"c\"\td"});
  EXPECT_THAT(asked.out, HasSubstr("<file id=\"a&lt;b&gt;&amp;&quot;c&quot;&#9;d\"/>"));
}

// An empty request was printed, with the status 0.
TEST_F(BundleCommandsTest, AskForNothingThatCanBeAskedForFails) {
  const RunResult asked = tmtolm({"ask", "/opt/plain.zip", "--item", "a\x01"});
  EXPECT_EQ(asked.exitStatus, 1);
  EXPECT_EQ(asked.out, "");
  EXPECT_THAT(asked.err, HasSubstr("no item is left to ask for"));
}

TEST_F(BundleCommandsTest, AskedRequestHoldsNothingThatATerminalObeys) {
  const RunResult asked = tmtolm({"ask", "/opt/plain.zip", "--item", "a\xc2\x9b\x7f"});
  EXPECT_THAT(asked.out, HasSubstr("<file id=\"a&#155;&#127;\"/>"));
}

TEST_F(BundleCommandsTest, WhatIsNoBundleIsToldByEveryCommandAndLeavesNothing) {
  writeFile("/opt/text.zip", "just a text");
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"show", "/opt/text.zip"},
                                             {"findings", "/opt/text.zip"},
                                             {"ask", "/opt/text.zip"},
                                             {"compare", "/opt/plain.zip", "/opt/text.zip"},
                                             {"report", "/opt/text.zip", "-o", "/opt/none.html"}}) {
    const RunResult result = tmtolm(command);
    EXPECT_EQ(result.exitStatus, 1) << command[0];
    EXPECT_THAT(result.err, HasSubstr("it is no ZIP file")) << command[0];
    EXPECT_EQ(result.out, "");
  }
  EXPECT_FALSE(exists("/opt/none.html"));
  writeFile("/opt/text.zip.gpg", "just a text");
  EXPECT_THAT(tmtolm({"show", "/opt/text.zip.gpg"}).err,
              HasSubstr("gpg --output bundle.zip --decrypt FILE\n"));
}

TEST_F(BundleCommandsTest, ABombOfTenGigabytesEndsEveryCommandInBounds) {
  BundleEntryInfo information;
  information.name = "Client/agent.log";
  information.size = std::uint64_t{160} << 26U;
  information.deflated = true;
  const std::string stream = bombStream(160, information.crc);
  information.packedSize = stream.size();
  BundleWriter writer;
  ASSERT_EQ(writer.open("/opt/bomb.zip", ""), "");
  ASSERT_EQ(writer.beginPacked(information), "");
  ASSERT_EQ(writer.write(stream.data(), stream.size()), "");
  ASSERT_EQ(writer.endPacked(information), "");
  ASSERT_EQ(writer.finish(), "");
  ASSERT_LT(std::filesystem::file_size("/opt/bomb.zip"), 16U << 20U);
  for (std::vector<std::string> command : commandsOver("/opt/bomb.zip")) {
    SCOPED_TRACE(command[0]);
    if (command[0] == "show" && command.back() == "Client/agent.log") {
      continue;  // prints what comes out, which is what is asked for; its bound is the reader's
    }
    const RunResult result = tmtolmInBounds(command);
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.signal, 0) << result.err;
    EXPECT_LE(result.out.size() + result.err.size(), 1U << 20U);
  }
  for (const char* made : {"/opt/r.html", "/opt/redacted.zip"}) {
    EXPECT_TRUE(!exists(made) || std::filesystem::file_size(made) < (32U << 20U)) << made;
  }
  EXPECT_FALSE(exists("/Client"));
}

TEST_F(BundleCommandsTest, ABundleOfAHundredThousandEntriesEndsEveryCommandInBounds) {
  BundleWriter writer;
  ASSERT_EQ(writer.open("/opt/many.zip", ""), "");
  BundleEntryInfo information;
  information.size = 1;
  information.crc = static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>("x"), 1));
  for (int i = 0; i < 100000; ++i) {
    information.name = "Client/file" + std::to_string(i);
    ASSERT_EQ(writer.beginPacked(information), "");
    ASSERT_EQ(writer.write("x", 1), "");
    ASSERT_EQ(writer.endPacked(information), "");
  }
  ASSERT_EQ(writer.finish(), "");
  for (const std::vector<std::string>& command : commandsOver("/opt/many.zip")) {
    SCOPED_TRACE(command[0]);
    const RunResult result = tmtolmInBounds(command);
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.signal, 0) << result.err;
    EXPECT_LE(result.exitStatus, 1) << result.err;
  }
  EXPECT_LT(std::filesystem::file_size("/opt/r.html"), 25U << 20U);
}

TEST_F(BundleCommandsTest, ACutBundleIsToldByEveryCommand) {
  const std::string whole = readFile("/opt/plain.zip");
  for (const std::size_t size : {std::size_t{1}, std::size_t{30}, whole.size() / 2, whole.size() - 30}) {
    writeFile("/opt/cut.zip", whole.substr(0, size));
    for (const std::vector<std::string>& command : commandsOver("/opt/cut.zip")) {
      SCOPED_TRACE(command[0] + " " + std::to_string(size));
      const RunResult result = tmtolm(command);
      EXPECT_EQ(result.exitStatus, 1);
      EXPECT_THAT(result.err, HasSubstr("\"/opt/cut.zip\" can't be read as a bundle"));
    }
  }
  EXPECT_FALSE(exists("/opt/r.html"));
  EXPECT_FALSE(exists("/opt/redacted.zip"));
}

TEST_F(BundleCommandsTest, WhatCannotBeReadIsToldOnStandardError) {
  BundleWriter writer;
  ASSERT_EQ(writer.open("/opt/strange.zip", ""), "");
  for (int i = 0; i < 30; ++i) {
    BundleEntryInfo information;
    information.name = "../strange" + std::to_string(i);
    ASSERT_EQ(writer.begin(information), "");
    ASSERT_EQ(writer.end(), "");
  }
  ASSERT_EQ(writer.finish(), "");
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"findings", "/opt/strange.zip"},
                                             {"ask", "/opt/strange.zip", "--item", "client-logs"},
                                             {"compare", "/opt/strange.zip", "/opt/plain.zip"}}) {
    SCOPED_TRACE(command[0]);
    const RunResult result = tmtolm(command);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_THAT(result.err,
                AllOf(HasSubstr("/opt/strange.zip: the bundle has no summary that can be read\n"),
                      HasSubstr("/opt/strange.zip: \"../strange18\" can't be read: its name leads out"),
                      HasSubstr("/opt/strange.zip: 11 more can't be read\n"), Not(HasSubstr("strange19"))));
  }
  const RunResult nothing = tmtolm({"ask", "/opt/strange.zip"});
  EXPECT_EQ(nothing.exitStatus, 1);
  EXPECT_THAT(nothing.err, HasSubstr("what the bundle lacks isn't known; --item names an item"));
}

TEST_F(BundleCommandsTest, AWrongPasswordIsToldByEveryCommand) {
  writeFile("/opt/wrong", "lion\n");
  for (std::vector<std::string> command : commandsOver("/opt/secret.zip")) {
    SCOPED_TRACE(command[0]);
    command.insert(command.end(), {"--password-file", "/opt/wrong"});
    const RunResult result = tmtolm(command);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err, HasSubstr("the password doesn't open \"/opt/secret.zip\""));
    EXPECT_EQ(result.out, "");
  }
  EXPECT_FALSE(exists("/opt/r.html"));
  EXPECT_FALSE(exists("/opt/redacted.zip"));
}

TEST_F(BundleCommandsTest, NamesThatLeadOutAndComeTwiceWriteNothingOutside) {
  BundleWriter writer;
  ASSERT_EQ(writer.open("/opt/names.zip", ""), "");
  for (const char* name : {"Client/agent.log", "../../escaped", "/escaped", "Client/agent.log"}) {
    BundleEntryInfo information;
    information.name = name;
    ASSERT_EQ(writer.begin(information), "");
    ASSERT_EQ(writer.write("text\n", 5), "");
    ASSERT_EQ(writer.end(), "");
  }
  ASSERT_EQ(writer.finish(), "");
  for (const std::vector<std::string>& command : commandsOver("/opt/names.zip")) {
    SCOPED_TRACE(command[0]);
    EXPECT_EQ(tmtolm(command).exitStatus, 0);
  }
  EXPECT_FALSE(exists("/escaped"));
  EXPECT_FALSE(exists("/opt/escaped"));
  EXPECT_THAT(tmtolm({"show", "/opt/names.zip"}).out,
              AllOf(HasSubstr("../../escaped"), HasSubstr("another entry in front of it has the same name")));
}

}  // namespace
}  // namespace halvo
