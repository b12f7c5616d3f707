// Whole runs over bad input: documents, titles, ids, patterns and files that no author would want, and
// some that an attacker would. Each run ends, leaves nothing behind and touches nothing but its bundle.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/BundleReader.h"
#include "tests/support/ConsoleRun.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

const std::string kBundle = "/opt/out/out.zip";
const std::string kFailedHeading = "TOLMEngine failed to parse or use the following configuration files:\n";

// `attributes` as they stand behind the element's name.
std::string item(const std::string& attributes, const std::string& kinds) {
  return "<file " + attributes + "><description>D</description><default>true</default>" +
         "<tolm><os opsys=\"linux\">" + kinds + "</os></tolm></file>";
}

// Every path that a run could reach in the private root, with what it holds.
using Tree = std::map<std::string, std::string>;

void addTree(Tree& tree, const std::string& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string path = entry.path().string();
    const std::filesystem::file_status status = entry.symlink_status();
    // The source and build folders may lie below the private root's places.
    const std::string inside = path + "/";
    if (std::string(TOLM_TEST_SOURCE_DIR "/").rfind(inside, 0) == 0 ||
        std::string(TOLM_TEST_BUILD_DIR "/").rfind(inside, 0) == 0) {
      continue;
    }
    std::string& what = tree[path];
    what = std::to_string(static_cast<int>(status.type())) + " " +
           std::to_string(static_cast<unsigned>(status.permissions()));
    if (std::filesystem::is_regular_file(status)) {
      const std::uintmax_t size = entry.file_size();
      what += " " + std::to_string(size) + (size < 100'000 ? " " + readFile(path) : "");
    } else if (std::filesystem::is_symlink(status)) {
      what += " " + std::filesystem::read_symlink(path).string();
    } else if (std::filesystem::is_directory(status)) {
      addTree(tree, path);
    }
  }
}

// CTest runs each test in a process and a private root of its own, so nothing is cleaned up here.
class BadInputTest : public ::testing::Test {
 protected:
  void SetUp() override {
    makeFolders(kConfig);
    makeFolders("/opt/out");
    // Runs of another user write here too.
    chmod("/opt/out", 0777);
    writeFile("/opt/logs/one.log", "one\n");
    writeFile("/opt/precious/file", "kept\n");
    writeFile("/tmp/others/file", "kept\n");
    writeFile(m_strHome + "/own", "kept\n");
    // An ordinary user's run has its lock here, and leaves the folder.
    makeFolders(m_strHome + "/.cache/tolm");
  }

  static void config(const std::string& name, const std::string& text) { writeFile(kConfig + name, text); }
  static void goodConfig() {
    config("good.xml", documentText("Good", item("id='g'", copyAction("/opt/logs/*.log"))));
  }

  [[nodiscard]] Tree reachable() const {
    Tree tree;
    for (const std::string& place :
         {std::string("/opt"), std::string("/tmp"), std::string("/run"), m_strHome}) {
      addTree(tree, place);
    }
    // The root folder is the machine's own: its names alone, a run could only add some.
    for (const std::string& name : listFolder("/")) {
      tree["/" + name];
    }
    return tree;
  }

  // Paths that the last run has made, changed ("~") or removed ("-").
  [[nodiscard]] std::vector<std::string> differences() const {
    const Tree now = reachable();
    std::vector<std::string> paths;
    for (const auto& [path, what] : now) {
      const auto before = m_Before.find(path);
      if (before == m_Before.end()) {
        paths.push_back(path);
      } else if (before->second != what) {
        paths.push_back("~" + path);
      }
    }
    for (const auto& [path, what] : m_Before) {
      if (now.count(path) == 0) {
        paths.push_back("-" + path);
      }
    }
    return paths;
  }

  // A run of the program from here, silent on standard output and not ended by a signal or the limit.
  RunResult run(const std::vector<std::string>& more = {}, const std::vector<std::string>& before = {}) {
    m_Before = reachable();
    std::vector<std::string> words = before;
    words.insert(words.end(), {builtProgram("tmtolm"), "collect", "--quiet", "--bundle", kBundle});
    words.insert(words.end(), more.begin(), more.end());
    RunOptions options;
    options.timeoutSeconds = 90;
    options.workingFolder = "/opt/precious";
    const RunResult result = runProgram(words, options);
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.signal, 0);
    EXPECT_EQ(result.out, "");
    return result;
  }

  // A run that makes a bundle, says nothing and leaves nothing else anywhere.
  void expectBundle(const std::vector<std::string>& more = {}, const std::vector<std::string>& before = {}) {
    const RunResult result = run(more, before);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(differences(), ElementsAre(kBundle));
  }
  // A run that fails with this one line and leaves nothing anywhere.
  void expectFailure(const std::string& line, const std::vector<std::string>& more = {}) {
    const RunResult result = run(more);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "tmtolm: " + line + "\n");
    EXPECT_THAT(differences(), IsEmpty());
  }

  static std::vector<std::string> names() {
    const std::vector<std::string> all = bundleNames(kBundle);
    std::vector<std::string> files;
    for (const std::string& name : all) {
      if (name.back() != '/') {
        files.push_back(name);
      }
    }
    return files;
  }
  static std::string content(const std::string& name) {
    return runProgram({"unzip", "-p", kBundle, name}).out;
  }
  // The summary's list of documents that failed.
  static std::set<std::string> failedDocuments() {
    const std::string summary = content("summary.txt");
    std::set<std::string> failed;
    const std::size_t heading = summary.find(kFailedHeading);
    std::size_t at = heading == std::string::npos ? summary.size() : heading + kFailedHeading.size();
    for (std::size_t end = 0; at < summary.size() && summary[at] != '\n'; at = end + 1) {
      end = summary.find('\n', at);
      failed.insert(summary.substr(at, end - at));
    }
    return failed;
  }

  const std::string m_strHome = std::getenv("HOME");
  Tree m_Before;
};

// What takes root's right to read and write everything from a program; nothing for other users.
std::vector<std::string> withoutOverride() {
  return geteuid() == 0 ? std::vector<std::string>{"setpriv", "--bounding-set=-dac_override,-dac_read_search"}
                        : std::vector<std::string>{};
}

// Makes a program that root starts an ordinary user's.
std::vector<std::string> asNobody() {
  return geteuid() == 0
             ? std::vector<std::string>{"setpriv", "--reuid=nobody", "--regid=nogroup", "--clear-groups"}
             : std::vector<std::string>{};
}

void makeSocket(const std::string& path) {
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  close(descriptor);
}

// --- Documents that are no files ------------------------------------------------------------------

TEST_F(BadInputTest, DocumentsThatAreNoFilesAreListedAndNeverWaitedFor) {
  goodConfig();
  ASSERT_EQ(mkfifo((kConfig + "pipe.xml").c_str(), 0666), 0);
  makeSocket(kConfig + "socket.xml");
  makeFolders(kConfig + "folder.xml");
  ASSERT_EQ(symlink("/dev/zero", (kConfig + "device.xml").c_str()), 0);
  ASSERT_EQ(symlink("/nowhere", (kConfig + "gone.xml").c_str()), 0);
  ASSERT_EQ(symlink("loop.xml", (kConfig + "loop.xml").c_str()), 0);
  expectBundle();
  EXPECT_THAT(names(), UnorderedElementsAre("Good/one.log", "summary.txt"));
  EXPECT_THAT(failedDocuments(),
              UnorderedElementsAre(kConfig + "pipe.xml", kConfig + "socket.xml", kConfig + "folder.xml",
                                   kConfig + "device.xml", kConfig + "gone.xml", kConfig + "loop.xml"));
  // The other commands read the same documents.
  for (const std::vector<std::string>& words :
       std::vector<std::vector<std::string>>{{"plan"}, {"clear", "--yes", "--quiet"}, {"check", kConfig}}) {
    std::vector<std::string> command = {builtProgram("tmtolm")};
    command.insert(command.end(), words.begin(), words.end());
    const RunResult result = runProgram(command);
    EXPECT_FALSE(result.timedOut) << words.front();
    EXPECT_EQ(result.exitStatus, words.front() == "check" ? 1 : 0) << words.front();
  }
}

TEST_F(BadInputTest, WithNothingButAPipeTheRunEndsWithoutDocuments) {
  ASSERT_EQ(mkfifo((kConfig + "pipe.xml").c_str(), 0666), 0);
  expectFailure("Internal Error: no valid configuration XML found... (0xFEAF000A)");
}

TEST_F(BadInputTest, ARequestThatIsNoFileEndsTheRunAtOnce) {
  goodConfig();
  ASSERT_EQ(mkfifo("/opt/pipe", 0666), 0);
  makeSocket("/opt/socket");
  for (const char* request : {"/opt/pipe", "/opt/socket", "/dev/zero", "/opt", "-", "/nowhere"}) {
    SCOPED_TRACE(request);
    const RunResult result = run({"--request", request});
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err,
                ::testing::StartsWith("tmtolm: Internal Error: invalid request XML, please contact your "
                                      "administrator, or run in default mode (0xFEAF0011); "));
    EXPECT_THAT(result.err, HasSubstr("the request \"" + std::string(request) + "\""));
  }
}

TEST_F(BadInputTest, APropertyListThatIsAPipeGathersNothing) {
  ASSERT_EQ(mkfifo("/opt/pipe", 0666), 0);
  config("a.xml", documentText("A", item("id='a'",
                                         "<get_file_to_copy_action><action><path>/opt/pipe</path>"
                                         "</action></get_file_to_copy_action>")));
  expectBundle();
  EXPECT_THAT(names(), ElementsAre("summary.txt"));
}

TEST_F(BadInputTest, AConfigFolderThatIsAPipeHoldsNoDocuments) {
  std::filesystem::remove_all(kConfig);
  ASSERT_EQ(mkfifo(kConfig.substr(0, kConfig.size() - 1).c_str(), 0666), 0);
  expectFailure("Internal Error: no valid configuration XML found... (0xFEAF000A)");
}

TEST_F(BadInputTest, AnUnreadableDocumentIsListed) {
  goodConfig();
  config("closed.xml", documentText("Closed", ""));
  chmod((kConfig + "closed.xml").c_str(), 0);
  expectBundle({}, withoutOverride());
  EXPECT_THAT(failedDocuments(), ElementsAre(kConfig + "closed.xml"));
}

TEST_F(BadInputTest, AnUnreadableConfigFolderHoldsNoDocuments) {
  goodConfig();
  chmod(kConfig.c_str(), 0);
  const RunResult result = run({}, withoutOverride());
  chmod(kConfig.c_str(), 0755);
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err, "tmtolm: Internal Error: no valid configuration XML found... (0xFEAF000A)\n");
}

// --- Documents that are no good -------------------------------------------------------------------

TEST_F(BadInputTest, TenThousandNestedElementsAreRefused) {
  goodConfig();
  config("deep.xml", repeated("<a>", 10'000) + repeated("</a>", 10'000));
  expectBundle();
  EXPECT_THAT(failedDocuments(), ElementsAre(kConfig + "deep.xml"));
}

TEST_F(BadInputTest, EntitiesThatMultiplyAreRefused) {
  goodConfig();
  std::string bomb = "<!DOCTYPE a [<!ENTITY e0 \"lollollollollollol\">";
  for (int i = 1; i < 20; ++i) {
    std::string ten;
    for (int j = 0; j < 10; ++j) {
      ten += "&e" + std::to_string(i - 1) + ";";
    }
    bomb += "<!ENTITY e" + std::to_string(i) + " \"" + ten + "\">";
  }
  config("content.xml", bomb + "]><a>&e19;</a>");
  config("attribute.xml", bomb + "]><a b='&e19;'/>");
  config("itself.xml", "<!DOCTYPE a [<!ENTITY e '&e;'>]><a>&e;</a>");
  config("parameter.xml", "<!DOCTYPE a [<!ENTITY % p '<!ENTITY &#37; q \"&#37;p;\">'> %p; %q;]><a>&x;</a>");
  expectBundle();
  EXPECT_THAT(failedDocuments(), UnorderedElementsAre(kConfig + "content.xml", kConfig + "attribute.xml",
                                                      kConfig + "itself.xml", kConfig + "parameter.xml"));
}

TEST_F(BadInputTest, ExternalEntitiesBringNothingIntoTheBundle) {
  writeFile("/opt/secret", "<x>the secret</x>");
  ASSERT_EQ(mkfifo("/opt/pipe", 0666), 0);
  for (const char* from : {"/opt/secret", "file:///opt/secret", "/opt/pipe", "http://127.0.0.1:9/x"}) {
    SCOPED_TRACE(from);
    config("outer.xml", "<!DOCTYPE c [<!ENTITY e SYSTEM \"" + std::string(from) + "\">]>" +
                            documentText("T&e;", item("id='a'", copyAction("/opt/logs/&e;*.log"))));
    config("subset.xml", "<!DOCTYPE c SYSTEM \"" + std::string(from) + "\">" +
                             documentText("Subset", item("id='b'", copyAction("/opt/logs/*.log"))));
    unlink(kBundle.c_str());
    expectBundle();
    for (const std::string& name : names()) {
      EXPECT_THAT(name, Not(HasSubstr("secret")));
      EXPECT_THAT(content(name), Not(HasSubstr("secret")));
    }
  }
}

TEST_F(BadInputTest, BytesThatXmlDoesNotHaveAreRefused) {
  goodConfig();
  config("id.xml", documentText("T", item("id='\xff\xfe'", copyAction("/opt/logs/*.log"))));
  config("text.xml", documentText("\xc3\x28", item("id='a'", copyAction("/opt/logs/*.log"))));
  config("control.xml", documentText("&#1;", item("id='a'", copyAction("/opt/logs/*.log"))));
  config("zero.xml", documentText(std::string("T\0", 2), item("id='&#0;'", copyAction("/opt/logs/*.log"))));
  config("empty.xml", "");
  config("blank.xml", " \r\n\t");
  config("cut.xml", documentText("T", item("id='a'", "")).substr(0, 60));
  config("two.xml", "<a/><b/>");
  expectBundle();
  EXPECT_THAT(names(), UnorderedElementsAre("Good/one.log", "summary.txt"));
  EXPECT_THAT(failedDocuments(),
              UnorderedElementsAre(kConfig + "id.xml", kConfig + "text.xml", kConfig + "control.xml",
                                   kConfig + "zero.xml", kConfig + "empty.xml", kConfig + "blank.xml",
                                   kConfig + "cut.xml", kConfig + "two.xml"));
}

TEST_F(BadInputTest, ADocumentOfAHundredMegabytesIsCarriedOut) {
  const std::string filling = repeated("<x>" + std::string(1000, 'x') + "</x>", 100'000);
  config("huge.xml", documentText("Huge", filling + item("id='h'", copyAction("/opt/logs/*.log"))));
  expectBundle();
  EXPECT_THAT(names(), UnorderedElementsAre("Huge/one.log", "summary.txt"));
}

TEST_F(BadInputTest, ADocumentOfAHundredMegabytesWithoutItsEndIsRefused) {
  goodConfig();
  config("huge.xml", "<a>" + repeated(std::string(1000, ' '), 100'000));
  expectBundle();
  EXPECT_THAT(failedDocuments(), ElementsAre(kConfig + "huge.xml"));
}

// --- Titles ---------------------------------------------------------------------------------------

TEST_F(BadInputTest, AnEmptyTitleGathersIntoTheWorkFolderItself) {
  config("a.xml", "<config><configure><title></title></configure>" +
                      item("id='a'", copyAction("/opt/logs/*.log")) + "</config>");
  EXPECT_EQ(run().exitStatus, 0);
  EXPECT_THAT(names(), ElementsAre("one.log"));
  // The summary lies one level above the config's folder: beside the work folder. This is meant.
  EXPECT_THAT(differences(), UnorderedElementsAre(kBundle, "/tmp/summary.txt"));
}

TEST_F(BadInputTest, ATitleTooLongForAFolderGathersIntoTheWorkFolderItself) {
  config("a.xml", documentText(std::string(300, 't'), item("id='a'", copyAction("/opt/logs/*.log"))));
  const RunResult result = run();
  // The bundle has no summary then, which is no success to whoever reads it.
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, HasSubstr("1 file is cut short or missing\n"));
  EXPECT_THAT(result.err, HasSubstr("/../summary.txt\": it stands outside of the bundle"));
  EXPECT_THAT(names(), ElementsAre("one.log"));
  EXPECT_THAT(differences(), UnorderedElementsAre(kBundle, "/tmp/summary.txt"));
  EXPECT_THAT(readFile("/tmp/summary.txt"), HasSubstr("\n" + std::string(300, 't') + ":\n"));
}

TEST_F(BadInputTest, ATitleOfTwoDotsIsTakenAsItStandsAndFailsWhereItsSummaryCantBeWritten) {
  // Titles aren't cleaned. This one's folder is the work folder's parent, and its summary would lie in
  // the root folder, where an ordinary user can't write.
  config("a.xml", documentText("..", item("id='a'", copyAction("/opt/logs/*.log"))));
  const RunResult result = run({}, asNobody());
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err, "tmtolm: Internal Error: all configs failed... (0xFEAF000A)\n");
  EXPECT_THAT(differences(), ElementsAre("/tmp/one.log"));
}

TEST_F(BadInputTest, ATitleOfOddBytesIsAFolderName) {
  const std::string title = " \t\"'*?[$(touch x)`\xc3\xa4;&amp;&lt;\n";
  config("a.xml", documentText(title, item("id='a'", copyAction("/opt/logs/*"))));
  expectBundle();
  EXPECT_THAT(names(), UnorderedElementsAre(" \t\"'*?[$(touch x)`\xc3\xa4;&<\n/one.log", "summary.txt"));
}

TEST_F(BadInputTest, ATitleOfOneDotGathersIntoTheWorkFolderItself) {
  config("a.xml", documentText(".", item("id='a'", copyAction("/opt/logs/*.log"))));
  EXPECT_EQ(run().exitStatus, 0);
  EXPECT_THAT(names(), ElementsAre("one.log"));
  EXPECT_THAT(differences(), UnorderedElementsAre(kBundle, "/tmp/summary.txt"));
}

// --- Ids ------------------------------------------------------------------------------------------

TEST_F(BadInputTest, IdsThatAreMissingEmptyOrEqualAllGather) {
  writeFile("/opt/logs/two.log", "two\n");
  writeFile("/opt/logs/three.log", "three\n");
  writeFile("/opt/logs/four.log", "four\n");
  config("a.xml", documentText("A", item("", copyAction("/opt/logs/one.log")) +
                                        item("id=''", copyAction("/opt/logs/two.log")) +
                                        item("id='same'", copyAction("/opt/logs/three.log")) +
                                        item("id='same'", copyAction("/opt/logs/four.log"))));
  config("b.xml", documentText("B", item("id='same'", copyAction("/opt/logs/four.log"))));
  expectBundle();
  EXPECT_THAT(names(), UnorderedElementsAre("A/one.log", "A/two.log", "A/three.log", "A/four.log",
                                            "B/four.log", "summary.txt"));
  EXPECT_THAT(content("summary.txt"), AllOf(HasSubstr("\n" + std::string(19, ' ') + "one.log "),
                                            HasSubstr("\nsame               three.log ")));
}

TEST_F(BadInputTest, IdsOfTenThousandBytesAndOfReservedWordsGather) {
  config("a.xml",
         documentText("A", item("id='" + std::string(10'000, 'i') + "'", copyAction("/opt/logs/one.log")) +
                               item("id='comments'", copyAction("/opt/logs/one.log")) +
                               item("id='../../x'", copyAction("/opt/logs/one.log")) +
                               item("id='Manifest_Not_Included'", copyAction("/opt/logs/one.log")) +
                               item("id='Other_Note'", copyAction("/opt/logs/one.log"))));
  expectBundle();
  EXPECT_THAT(names(), UnorderedElementsAre("A/one.log", "summary.txt"));
}

// --- Patterns -------------------------------------------------------------------------------------

TEST_F(BadInputTest, PatternsThatAreOddMatchWhatTheyShould) {
  std::filesystem::remove_all("/opt/logs");
  for (const char* name : {"[", "a]", "b"}) {
    writeFile("/opt/logs/" + std::string(name), name);
  }
  const struct {
    const char* title;
    const char* pattern;
  } cases[] = {{"Bracket", "["}, {"Class", "[ab]"}, {"Stars", "**"}, {"Empty", ""}, {"One", "?"}};
  for (const auto& one : cases) {
    config(std::string(one.title) + ".xml",
           documentText(one.title, item("id='a'", copyAction("/opt/logs/" + std::string(one.pattern)))));
  }
  expectBundle();
  EXPECT_THAT(names(), UnorderedElementsAre("Bracket/[", "Stars/[", "Stars/a]", "Stars/b", "One/[", "One/b",
                                            "summary.txt"));
  EXPECT_THAT(content("summary.txt"), HasSubstr("No file found with path matching:"));
}

TEST_F(BadInputTest, APatternMadeToBacktrackEnds) {
  const std::string name(200, 'a');
  writeFile("/opt/logs/" + name, "x");
  const std::string pattern = repeated("*a", 5'000);
  config("a.xml", documentText("A", item("id='a'", copyAction("/opt/logs/" + pattern + "b"))));
  config("b.xml",
         documentText("B", item("id='b'", copyAction("/opt/logs/" + std::string(20'000, '*') + name))));
  expectBundle();
  EXPECT_THAT(names(), UnorderedElementsAre("B/" + name, "summary.txt"));
}

TEST_F(BadInputTest, LocationsWithoutAFolderOrWithATooLongOneFindNothing) {
  config("a.xml", documentText("A", item("id='a'", copyAction("") + copyAction("no") + copyAction("/") +
                                                       copyAction("/opt/" + std::string(300, 'x') + "/*") +
                                                       copyAction(std::string(10'000, '/') + "*nothing") +
                                                       "<file_copy_action><action/></file_copy_action>")));
  expectBundle();
  EXPECT_THAT(names(), ElementsAre("summary.txt"));
}

// --- Files that are no good -----------------------------------------------------------------------

TEST_F(BadInputTest, FilesThatCantBeCopiedAreToldAndTheOthersGo) {
  writeFile("/opt/logs/closed.log", "x");
  chmod("/opt/logs/closed.log", 0);
  ASSERT_EQ(symlink("/nowhere", "/opt/logs/gone.log"), 0);
  ASSERT_EQ(symlink("loop.log", "/opt/logs/loop.log"), 0);
  ASSERT_EQ(mkfifo("/opt/logs/pipe.log", 0666), 0);
  makeSocket("/opt/logs/socket.log");
  ASSERT_EQ(symlink("/dev/zero", "/opt/logs/zero.log"), 0);
  makeFolders("/opt/logs/folder.log/sub");
  ASSERT_EQ(symlink("..", "/opt/logs/folder.log/sub/up"), 0);
  config("a.xml", documentText("A", item("id='a'", copyAction("/opt/logs/*.log"))));
  expectBundle({}, withoutOverride());
  EXPECT_THAT(names(), UnorderedElementsAre("A/one.log", "summary.txt"));
  const std::string summary = content("summary.txt");
  for (const char* name : {"closed.log", "gone.log", "loop.log"}) {
    EXPECT_THAT(summary.substr(summary.find("Files Omitted")), HasSubstr(name));
  }
}

TEST_F(BadInputTest, FilesThatVanishDuringTheRunAreToldAsMissing) {
  writeFile("/tmp/others/vanishing.log", "x");
  config("a.xml", documentText("A", item("id='1'", captureAction("rm /tmp/others/vanishing.log")) +
                                        item("id='2'", copyAction("/tmp/others/vanishing.log")) +
                                        item("id='3'", copyAction("/opt/logs/one.log"))));
  EXPECT_EQ(run().exitStatus, 0);
  EXPECT_THAT(differences(), UnorderedElementsAre(kBundle, "-/tmp/others/vanishing.log"));
  EXPECT_THAT(names(), UnorderedElementsAre("A/rm_result.txt", "A/one.log", "summary.txt"));
  EXPECT_THAT(content("summary.txt"), HasSubstr("No file found with path matching:"));
}

TEST_F(BadInputTest, DocumentsThatVanishDuringTheRunHaveBeenRead) {
  goodConfig();
  config("a.xml", documentText("A", item("id='1'", captureAction("rm -r " + kConfig))));
  EXPECT_EQ(run().exitStatus, 0);
  EXPECT_THAT(names(), UnorderedElementsAre("A/rm_result.txt", "Good/one.log", "summary.txt"));
}

TEST_F(BadInputTest, ACommandThatRemovesTheWorkFolderEndsTheRun) {
  config("a.xml", documentText("A", item("id='1'", captureAction("rm -r /tmp/TOLM_Temp_Bundle*"))));
  expectFailure("Internal Error: all configs failed... (0xFEAF000A)");
}

TEST_F(BadInputTest, ALinkPlantedUnderTheWorkFoldersNameIsLeftAlone) {
  goodConfig();
  ASSERT_EQ(symlink("/opt/precious", "/tmp/TOLM_Temp_Bundle"), 0);
  expectBundle();
  EXPECT_THAT(names(), UnorderedElementsAre("Good/one.log", "summary.txt"));
}

TEST_F(BadInputTest, ALinkThatACommandLeavesInTheWorkFolderIsNotFollowedWhenItGoes) {
  const std::string makeLink =
      "cd /tmp/TOLM_Temp_Bundle*/A &amp;&amp; ln -s /opt/precious link &amp;&amp; ls";
  config("a.xml", documentText("A", item("id='1'", captureAction(makeLink))));
  expectBundle();
  EXPECT_THAT(content("A/cd_result.txt"), HasSubstr("\nlink\n"));
}

// --- What the caller hands down -------------------------------------------------------------------

// One document with a captured command that also complains, a launched program and files.
void configOfEveryKind() {
  writeFile("/opt/program", "#!/bin/sh\nsleep 0.1\necho launched >/tmp/launched.txt\n");
  ASSERT_EQ(chmod("/opt/program", 0755), 0);
  writeFile(kConfig + "a.xml",
            documentText("A", item("id='1'", captureAction("echo out; missing-program") +
                                                 "<use_extern_action><action><args>/opt/program</args>"
                                                 "<temp_out>/tmp/launched.txt</temp_out></action>"
                                                 "</use_extern_action>" +
                                                 copyAction("/opt/logs/*.log"))));
}

TEST_F(BadInputTest, ACallerThatIgnoresTheEndOfChildrenLosesNoCommandsOutput) {
  configOfEveryKind();
  EXPECT_EQ(run({}, {"env", "--ignore-signal=CHLD"}).exitStatus, 0);
  EXPECT_THAT(differences(), ElementsAre(kBundle));
  EXPECT_THAT(names(),
              UnorderedElementsAre("A/echo_result.txt", "A/launched.txt", "A/one.log", "summary.txt"));
  EXPECT_EQ(content("A/launched.txt"), "launched\n");
}

TEST_F(BadInputTest, ACallerThatClosesStandardStreamsGetsTheSameFiles) {
  configOfEveryKind();
  EXPECT_EQ(run().exitStatus, 0);
  const std::string captured = content("A/echo_result.txt");
  EXPECT_THAT(captured, ::testing::EndsWith("\r\nout\n"));
  for (const char* closed : {"<&-", ">&-", "2>&-", "<&- >&- 2>&-"}) {
    SCOPED_TRACE(closed);
    std::filesystem::remove(kBundle);
    EXPECT_EQ(run({}, {"sh", "-c", std::string("exec \"$@\" ") + closed, "sh"}).exitStatus, 0);
    EXPECT_THAT(differences(), ElementsAre(kBundle));
    EXPECT_THAT(names(),
                UnorderedElementsAre("A/echo_result.txt", "A/launched.txt", "A/one.log", "summary.txt"));
    EXPECT_EQ(content("A/echo_result.txt"), captured);
    EXPECT_EQ(content("A/one.log"), "one\n");
  }
}

}  // namespace
}  // namespace halvo
