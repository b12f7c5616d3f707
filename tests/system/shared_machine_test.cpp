// Whole runs on a machine that others use too: folders of theirs, names of theirs, and what they see.

#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <thread>

#include "tests/support/BundleReader.h"
#include "tests/support/ConsoleRun.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/Processes.h"
#include "tests/support/Subprocess.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::HasSubstr;

constexpr uid_t kNobody = 65534;

class SharedMachineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    makeFolders(m_strHome + "/Desktop");
    makeFolders(kConfig);
    makeFolders("/opt/out");
    writeFile("/opt/logs/one.log", "one\n");
    writeFile(kConfig + "a.xml",
              documentText("Alpha", describedItem("a", "D", copyAction("/opt/logs/*.log"))));
  }

  // A folder of the other user's. Where the test isn't root there is none, and it is the user's own.
  static void makeOthersFolder(const std::string& path) {
    makeFolders(path);
    chmod(path.c_str(), 0755);
    static_cast<void>(!chown(path.c_str(), kNobody, kNobody));
  }

  static RunResult asNobody(std::vector<std::string> arguments,
                            const std::map<std::string, std::string>& environment) {
    arguments.insert(arguments.begin(), builtProgram("tmtolm"));
    if (geteuid() == 0) {
      arguments.insert(arguments.begin(),
                       {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--inh-caps=-all"});
    }
    // As high a limit of cores as there may be, so that it shows who lowers it.
    arguments.insert(arguments.begin(), {"sh", "-c", "ulimit -Sc $(ulimit -Hc); exec \"$@\"", "sh"});
    RunOptions options;
    options.environment = environment;
    options.unset = {"XDG_RUNTIME_DIR"};
    return runProgram(arguments, options);
  }

  // Has the next run's one command last until go(), and tell that it runs.
  static void addLastingCommand() {
    writeFile(
        kConfig + "b.xml",
        documentText("Slow", describedItem("s", "D",
                                           captureAction("touch /opt/marks/started; for i in `seq 9000`; do "
                                                         "test -e /opt/marks/go &amp;&amp; break; "
                                                         "sleep 0.01; done"))));
    makeFolders("/opt/marks");
    chmod("/opt/marks", 0777);
    unlink("/opt/marks/started");
    unlink("/opt/marks/go");
  }
  static void waitUntilStarted() { EXPECT_TRUE(waitForFile("/opt/marks/started")); }
  static void go() { writeFile("/opt/marks/go", ""); }

  // Waits until so many runs wait for another's lock.
  static void waitForWaiting(int count) {
    EXPECT_TRUE(waitUntil([count] {
      int waiting = 0;
      for (const pid_t process : processesThatWaitForALock()) {
        std::ifstream file("/proc/" + std::to_string(process) + "/cmdline", std::ios::binary);
        const std::string line((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        waiting += line.rfind(builtProgram("tmtolm") + '\0', 0) == 0 ? 1 : 0;
      }
      return waiting >= count;
    }));
  }

  // The processes of the program that have `word` on their command line.
  static std::vector<std::string> processesWith(const std::string& word) {
    std::vector<std::string> found;
    for (const std::string& name : listFolder("/proc")) {
      if (name.find_first_not_of("0123456789") != std::string::npos) {
        continue;
      }
      std::ifstream file("/proc/" + name + "/cmdline", std::ios::binary);
      const std::string line((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
      if (line.rfind(builtProgram("tmtolm") + '\0', 0) == 0 && line.find(word) != std::string::npos) {
        found.push_back(name);
      }
    }
    return found;
  }
  static std::string waitForProcessWith(const std::string& word) {
    std::vector<std::string> found;
    EXPECT_TRUE(waitUntil([&found, &word] {
      found = processesWith(word);
      return !found.empty();
    })) << "no process with "
        << word;
    return found.empty() ? "none" : found.front();
  }

  const std::string m_strHome = std::getenv("HOME");
};

// Does something as the other user, again and again, for as long as it lives.
class Racer {
 public:
  explicit Racer(const std::function<void()>& step) : m_nChild(fork()) {
    if (m_nChild == 0) {
      dropToNobody();
      alarm(120);  // whatever becomes of the test
      for (;;) {
        step();
      }
    }
  }
  ~Racer() {
    kill(m_nChild, SIGKILL);
    waitpid(m_nChild, nullptr, 0);
  }
  Racer(const Racer&) = delete;
  Racer& operator=(const Racer&) = delete;

 private:
  pid_t m_nChild;
};

// Takes every half-written bundle in the folder away, and puts a link to /opt/precious in its place.
void swapForLinks(const char* folder) {
  DIR* const stream = opendir(folder);
  if (stream == nullptr) {
    return;
  }
  while (const dirent* const entry = readdir(stream)) {
    const std::string name = entry->d_name;
    const std::string path = std::string(folder) + "/" + name;
    if (entry->d_type == DT_REG && name.front() == '.' &&
        std::rename(path.c_str(), (std::string(folder) + "/gone").c_str()) == 0) {
      static_cast<void>(!symlink("/opt/precious", path.c_str()));
    }
  }
  closedir(stream);
}

// Root's bundles go where they are wanted, into a user's home folder too. The half-written one was opened
// anew by its name, and a link in its place overwrote root's files.
TEST_F(SharedMachineTest, AnotherUsersFolderTakesNothingFromRootsRun) {
  writeFile("/opt/precious", "kept");
  for (int i = 0; i < 1000; ++i) {
    writeFile("/opt/logs/" + std::to_string(i) + ".log", "x\n");
  }
  makeOthersFolder("/opt/others");
  const Racer racer([] { swapForLinks("/opt/others"); });
  for (int i = 0; i < 6; ++i) {
    for (const bool redact : {false, true}) {
      std::vector<std::string> arguments = {"collect", "--quiet", "--bundle", "/opt/others/a.zip"};
      if (redact) {
        arguments.emplace_back("--redact");
      }
      const RunResult result = tmtolm(arguments);
      EXPECT_FALSE(result.timedOut);
      // Either is good: a bundle, or a failure that is told.
      EXPECT_TRUE(result.exitStatus == 0 || !result.err.empty()) << result.exitStatus;
      EXPECT_EQ(readFile("/opt/precious"), "kept");
    }
  }
}

// Turns a pipe and a link to root's file over, at one name.
void turnOver(const char* one, const char* other) {
  static_cast<void>(syscall(SYS_renameat2, AT_FDCWD, one, AT_FDCWD, other, 2U /* exchange */));
}

// The status's place was looked at, and then opened, following links.
TEST_F(SharedMachineTest, AStatusInAnotherUsersFolderOverwritesNothing) {
  const std::string before(10'000, 'k');
  writeFile("/opt/precious", before);
  makeOthersFolder("/opt/others");
  ASSERT_EQ(mkfifo("/opt/others/s.json", 0666), 0);
  ASSERT_EQ(symlink("/opt/precious", "/opt/others/link"), 0);
  // A reader, without whom nobody would open the pipe.
  const int reader = open("/opt/others/s.json", O_RDWR | O_CLOEXEC);
  {
    const Racer racer([] { turnOver("/opt/others/s.json", "/opt/others/link"); });
    for (int i = 0; i < 12; ++i) {
      const RunResult result =
          tmtolm({"collect", "--quiet", "--bundle", "/opt/out/a.zip", "--status-json", "/opt/others/s.json"});
      EXPECT_FALSE(result.timedOut);
      EXPECT_EQ(readFile("/opt/precious"), before);
      char text[65536];
      pollfd ready = {reader, POLLIN, 0};
      while (poll(&ready, 1, 0) == 1 && read(reader, text, sizeof(text)) > 0) {
      }
    }
  }
  close(reader);
}

TEST_F(SharedMachineTest, AStatusThatCantBeWrittenIsToldBeforeTheRun) {
  const RunResult result =
      tmtolm({"collect", "--bundle", "/opt/out/a.zip", "--status-json", "/opt/none/status.json"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, ::testing::HasSubstr("the status can't be written to \"/opt/none/status.json\": "
                                               "No such file or directory"));
  EXPECT_FALSE(exists("/opt/out/a.zip"));
}

TEST_F(SharedMachineTest, ANameThatIsTooLongIsToldBeforeTheRun) {
  const std::string name = std::string(252, 'n') + ".zip";
  const RunResult result = tmtolm({"collect", "--bundle", "/opt/out/" + name});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, ::testing::HasSubstr("its name is too long"));
  EXPECT_THAT(result.out, ::testing::Not(::testing::HasSubstr("100")));
}

// The free name was chosen before the run's turn had come.
TEST_F(SharedMachineTest, RunsOfOneMinuteThatWaitedReplaceNoneOfTheOthersBundles) {
  addLastingCommand();
  std::vector<std::thread> runs;
  std::atomic<int> good{0};
  const auto collect = [&good](const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"collect", "--quiet", "--wait"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    good += tmtolm(arguments).exitStatus == 0 ? 1 : 0;
  };
  runs.emplace_back([&] { collect({}); });
  waitUntilStarted();
  for (int i = 0; i < 2; ++i) {
    runs.emplace_back([&] { collect({}); });
    runs.emplace_back([&] { collect({"--output-dir", "/opt/out"}); });
  }
  waitForWaiting(4);
  go();
  for (std::thread& run : runs) {
    run.join();
  }
  EXPECT_EQ(good, 5);
  EXPECT_EQ(listFolder(m_strHome + "/Desktop").size(), 3U);
  EXPECT_EQ(listFolder("/opt/out").size(), 2U);
}

// The look came before the lock, and hours may lie between it and the run.
TEST_F(SharedMachineTest, DocumentsThatBecameUntrustedWhileARunWaitedAreNotRun) {
  addLastingCommand();
  std::thread first([] { tmtolm({"collect", "--quiet", "--bundle", "/opt/out/a.zip"}); });
  waitUntilStarted();
  RunResult result;
  std::thread second([&result] { result = tmtolm({"collect", "--wait", "--bundle", "/opt/out/b.zip"}); });
  waitForWaiting(1);
  chmod((kConfig + "a.xml").c_str(), 0666);
  go();
  first.join();
  second.join();
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, ::testing::HasSubstr("the instruction documents can't be trusted"));
  EXPECT_FALSE(exists("/opt/out/b.zip"));
}

TEST_F(SharedMachineTest, APasswordIsKeptFromOtherProgramsWhileItsRunWaits) {
  makeFolders("/opt/home");
  makeOthersFolder("/opt/home");
  makeOthersFolder("/opt/theirs");
  writeFile("/opt/theirs/password", "s3cret\n");
  const std::map<std::string, std::string> home = {{"HOME", "/opt/home"}, {"USER", "nobody"}};
  addLastingCommand();
  std::thread first([&home] { asNobody({"collect", "--quiet", "--bundle", "/opt/theirs/a.zip"}, home); });
  waitUntilStarted();
  RunResult result;
  std::thread second([&result, &home] {
    result = asNobody({"collect", "--wait", "--quiet", "--bundle", "/opt/theirs/b.zip", "--password-file",
                       "/opt/theirs/password"},
                      home);
  });
  const std::string process = waitForProcessWith("/opt/theirs/b.zip");
  waitForWaiting(1);
  const uid_t user = geteuid() == 0 ? kNobody : geteuid();
  // What can't be looked into belongs to root, whom the test's other users see as one or as nobody.
  EXPECT_TRUE(waitUntil([&process, user] {
    struct stat memory = {};
    return stat(("/proc/" + process + "/mem").c_str(), &memory) == 0 && memory.st_uid != user;
  }));
  EXPECT_THAT(readFile("/proc/" + process + "/limits"), ::testing::ContainsRegex("Max core file size +0 "));
  EXPECT_THAT(readFile("/proc/" + process + "/status"), ::testing::ContainsRegex("VmLck:[ \t]+[1-9]"));
  go();
  first.join();
  second.join();
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_EQ(bundleContent(Reader::Unzip, "/opt/theirs/b.zip", "s3cret").at("Alpha/one.log"), "one\n");
}

// The path was noted as it was given, and so meant nothing to a run from another folder.
TEST_F(SharedMachineTest, HalfABundleOfARelativePathGoesWithTheNextRunFromElsewhere) {
  makeFolders("/opt/here");
  RunOptions options;
  options.workingFolder = "/opt/here";
  // A busy machine may let a run come to its end before this process has its turn: more of it then.
  for (const char* const size : {"60000000", "120000000", "240000000"}) {
    unlink("/opt/here/killed.zip");
    const RunResult made =
        runProgram({"sh", "-c", std::string("head -c ") + size + " /dev/urandom >/opt/logs/noise.log"});
    ASSERT_EQ(made.exitStatus, 0);
    std::thread run([&options] { tmtolm({"collect", "--quiet", "--bundle", "killed.zip"}, options); });
    const std::string process = waitForProcessWith("killed.zip");
    EXPECT_TRUE(waitUntil([] { return !listFolder("/opt/here").empty(); }));
    kill(static_cast<pid_t>(std::strtol(process.c_str(), nullptr, 10)), SIGKILL);
    run.join();
    if (!exists("/opt/here/killed.zip")) {
      break;
    }
  }
  ASSERT_EQ(listFolder("/opt/here").size(), 1U);
  ASSERT_NE(listFolder("/opt/here").at(0), "killed.zip");
  unlink("/opt/logs/noise.log");
  options.workingFolder = "/";
  EXPECT_EQ(tmtolm({"collect", "--quiet", "--bundle", "/opt/out/a.zip"}, options).exitStatus, 0);
  EXPECT_TRUE(listFolder("/opt/here").empty());
}

TEST_F(SharedMachineTest, AUserWhoseHomeIsOpenToAGroupMakesOneRunAtATime) {
  makeOthersFolder("/opt/home");
  chmod("/opt/home", 0775);
  makeOthersFolder("/opt/theirs");
  const std::map<std::string, std::string> home = {{"HOME", "/opt/home"}, {"USER", "nobody"}};
  addLastingCommand();
  std::thread first([&home] { asNobody({"collect", "--quiet", "--bundle", "/opt/theirs/a.zip"}, home); });
  waitUntilStarted();
  const RunResult second = asNobody({"collect", "--quiet", "--bundle", "/opt/theirs/b.zip"}, home);
  EXPECT_EQ(second.exitStatus, 1);
  EXPECT_THAT(second.err, ::testing::HasSubstr("is making a run already"));
  go();
  first.join();
}

// The folder of a session made the second run look elsewhere for the lock.
TEST_F(SharedMachineTest, ARuntimeFolderThatAppearsBetweenTwoRunsChangesNothing) {
  addLastingCommand();
  std::thread first([] { tmtolm({"collect", "--quiet", "--bundle", "/opt/out/a.zip"}); });
  waitUntilStarted();
  const std::string runtime = "/run/user/" + std::to_string(geteuid());
  makeFolders(runtime);
  chmod(runtime.c_str(), 0700);
  RunOptions options;
  options.environment = {{"XDG_RUNTIME_DIR", runtime}};
  const RunResult second = tmtolm({"collect", "--quiet", "--bundle", "/opt/out/b.zip"}, options);
  EXPECT_EQ(second.exitStatus, 1);
  EXPECT_THAT(second.err, ::testing::HasSubstr("is making a run already"));
  go();
  first.join();
}

// What can't be deleted was told to the log alone.
TEST_F(SharedMachineTest, AClearRunTellsWhatItCannotClear) {
  writeFile("/opt/logs/busy.log", "busy");
  // A file that something is mounted on stays.
  ASSERT_EQ(mount("/opt/logs/busy.log", "/opt/logs/busy.log", nullptr, MS_BIND, nullptr), 0);
  ASSERT_EQ(symlink("loop", "/opt/loop"), 0);
  makeFolders("/opt/logs/folder.log");
  writeFile(
      kConfig + "a.xml",
      documentText("Alpha",
                   "<file id=\"a\"><description>D</description><default>true</default><tolm>"
                   "<os opsys=\"linux\">" +
                       copyAction("/opt/loop/*.log", "<clear_log apply=\"true\"/>") +
                       copyAction("/opt/none/*.log", "<clear_log apply=\"true\"/>") +
                       copyAction("/opt/logs/*.log", "<clear_log apply=\"true\"/>") + "</os></tolm></file>"));
  const RunResult result = tmtolm({"clear", "--yes", "--quiet"});
  umount("/opt/logs/busy.log");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err,
            "tmtolm: 2 files or folders aren't cleared\n"
            "tmtolm:   \"/opt/loop/\": Too many levels of symbolic links\n"
            "tmtolm:   \"/opt/logs/busy.log\": Device or resource busy\n");
  EXPECT_FALSE(exists("/opt/logs/one.log"));
}

// A second user can be had by root alone: ./test runs as root what is called so.
class TwoUsersClearTest : public SharedMachineTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0U) << "run this as root, as ./test does";
    SharedMachineTest::SetUp();
    makeOthersFolder("/opt/others");
    writeFile("/opt/precious/a.log", "root's");
    unlink("/opt/others/logs");
    ASSERT_EQ(symlink("/opt/precious", "/opt/others/logs"), 0);
    writeFile(kConfig + "a.xml",
              documentText("Alpha",
                           "<file id=\"a\"><description>D</description><default>true</default><tolm>"
                           "<os opsys=\"linux\">" +
                               copyAction("/opt/others/logs/*.log", "<clear_log apply=\"true\"/>") +
                               copyAction("/opt/logs/*.log", "<clear_log apply=\"true\"/>") +
                               "</os></tolm></file>"));
  }
};

// A user whose folder of logs root cleared had any file of root's deleted, by a link in its place.
TEST_F(TwoUsersClearTest, ALinkOfAnotherUsersLeadsAClearRunNowhere) {
  ASSERT_EQ(lchown("/opt/others/logs", kNobody, kNobody), 0);
  const std::string why = "\"/opt/others/logs/\": a link that another user has made leads there";

  const RunResult planned = tmtolm({"plan", "--clear", "--json"});
  const RunResult result = tmtolm({"clear", "--yes", "--quiet"});

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err, "tmtolm: 1 file or folder isn't cleared\ntmtolm:   " + why + "\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(readFile("/opt/precious/a.log"), "root's");
  EXPECT_FALSE(exists("/opt/logs/one.log")) << "what is one's own is cleared all the same";
  EXPECT_THAT(planned.out, HasSubstr("a link that another user has made leads there"));
}

TEST_F(TwoUsersClearTest, RootsOwnLinkInAnotherUsersFolderIsFollowed) {
  const RunResult result = tmtolm({"clear", "--yes", "--quiet"});

  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_FALSE(exists("/opt/precious/a.log"));
}

}  // namespace
}  // namespace halvo
