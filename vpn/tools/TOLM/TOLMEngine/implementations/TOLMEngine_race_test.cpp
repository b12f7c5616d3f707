// Races of a second user against runs and removals, in a private root. TOLM_RACE_SECONDS gives them longer
// than the moment that they have otherwise.

#include <fcntl.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <functional>

#include "tests/support/ForkedCase.h"
#include "tests/support/Processes.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineRuns_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr unsigned kExchange = 2;  // RENAME_EXCHANGE

std::chrono::milliseconds raceTime() {
  const char* const seconds = std::getenv("TOLM_RACE_SECONDS");
  return seconds != nullptr ? std::chrono::seconds(std::atoi(seconds)) : std::chrono::milliseconds(1500);
}

// Whether it is there already doesn't matter.
void plantLink(const char* target, const char* path) {
  if (symlink(target, path) != 0) {
    errno = 0;
  }
}

// Swaps two names in one step.
void swapNames(const std::string& one, const std::string& other) {
  static_cast<void>(syscall(SYS_renameat2, AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), kExchange));
}

// A child that does one thing over and over until it is ended; as "nobody" where the tests run as root.
class Attacker {
 public:
  explicit Attacker(const std::function<void(unsigned round)>& attack) : m_pid(fork()) {
    if (m_pid == 0) {
      umask(0);
      dropToNobody();
      alarm(600);
      for (unsigned round = 0;; ++round) {
        attack(round);
      }
    }
  }
  ~Attacker() {
    kill(m_pid, SIGKILL);
    waitpid(m_pid, nullptr, 0);
  }
  Attacker(const Attacker&) = delete;
  Attacker& operator=(const Attacker&) = delete;

 private:
  pid_t m_pid;
};

// Makes a folder of logs in `place` and exchanges it for a link to `target` as soon as somebody lists it.
void exchangeOnceListed(const std::string& place, const std::string& target) {
  const std::string logs = place + "/logs";
  const std::string link = place + "/link";
  mkdir(place.c_str(), 0755);
  mkdir(logs.c_str(), 0755);
  plantLink(target.c_str(), link.c_str());
  for (int i = 0; i < 1000; ++i) {
    close(open((logs + "/file" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT, 0644));
  }
  // Listed behind the others where the file system keeps the order of making, or its reverse.
  close(open((logs + "/rc").c_str(), O_WRONLY | O_CREAT, 0644));
  const int watch = inotify_init1(IN_CLOEXEC);
  inotify_add_watch(watch, logs.c_str(), IN_OPEN | IN_ONLYDIR);
  close(open((place + "/ready").c_str(), O_WRONLY | O_CREAT, 0644));
  char event[4096];
  if (read(watch, event, sizeof(event)) > 0) {
    swapNames(logs, link);
  }
  close(open((place + "/done").c_str(), O_WRONLY | O_CREAT, 0644));
  for (;;) {
    pause();
  }
}

class EngineRaceTest : public TOLMEngineTest {
 protected:
  EngineRaceTest() {
    std::filesystem::remove_all("/opt/precious");
    for (int i = 0; i < 10; ++i) {
      writeFile("/opt/precious/file" + std::to_string(i), "precious\n");
    }
    writeFile("/opt/precious/rc", "precious\n");
    m_Before = listFolder("/opt/precious");
    chmod("/tmp", 01777);
  }
  ~EngineRaceTest() override {
    for (const std::string& name : listFolder("/tmp")) {
      std::filesystem::remove_all("/tmp/" + name);
    }
  }

  // Runs `turn` until the time is over, and on a busy machine for a minute more where it isn't `enough`.
  // Returns how often.
  static int race(
      const std::function<void()>& turn, const std::function<bool()>& enough = [] { return true; }) {
    const auto end = std::chrono::steady_clock::now() + raceTime();
    int turns = 0;
    std::chrono::steady_clock::time_point now;
    do {
      turn();
      ++turns;
      now = std::chrono::steady_clock::now();
    } while (now < end || (!enough() && now < end + std::chrono::minutes(1)));
    return turns;
  }
  void expectNothingTouched() const {
    EXPECT_EQ(listFolder("/opt/precious"), m_Before);
    EXPECT_EQ(readFile("/opt/precious/rc"), "precious\n");
    EXPECT_EQ(readFile("/opt/precious/file0"), "precious\n");
  }

  std::vector<std::string> m_Before;
};

// A second user can be had by root alone: ./test runs as root what is called so.
class TwoUsersRaceTest : public EngineRaceTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0U) << "run this as root, as ./test does";
    EngineRaceTest::SetUp();
  }
};

void plantLinks(const std::string& folder) {
  plantLink("/opt/precious/rc", (folder + "/summary.txt").c_str());
  plantLink("/opt/precious", (folder + "/Alpha").c_str());
  close(open((folder + "/evil").c_str(), O_WRONLY | O_CREAT, 0644));
}

// Folders of a planted left-over were swapped for links between the look at them and their removal: forty of
// forty tries deleted files elsewhere.
TEST_F(EngineRaceTest, ARemovalNeverLeavesItsFolder) {
  const std::string plain = kPlainTempFolder;
  const Attacker attacker([&plain](unsigned round) {
    const std::string folder = plain + "/d" + std::to_string(round % 3);
    const std::string twin = plain + "/l" + std::to_string(round % 3);
    mkdir(plain.c_str(), 0777);
    mkdir(folder.c_str(), 0777);
    for (int i = 0; i < 10; ++i) {
      close(open((folder + "/file" + std::to_string(i)).c_str(), O_WRONLY | O_CREAT, 0666));
    }
    plantLink("/opt/precious", twin.c_str());
    for (int i = 0; i < 50; ++i) {
      swapNames(folder, twin);
      swapNames(plain, "/tmp/other");
    }
    mkdir("/tmp/other", 0777);
    plantLink("/opt/precious", "/tmp/other_link");
    swapNames(plain, "/tmp/other_link");
    swapNames(plain, "/tmp/other_link");
  });
  const int turns = race([&plain] { helperUtil::fileDeleteLeftOver(plain); });
  RecordProperty("removals", turns);
  EXPECT_GT(turns, 10);
  expectNothingTouched();
}

// A second user exchanged a folder of logs for a link to root's once it was listed, and what was deleted was
// root's: lost at the second try.
TEST_F(TwoUsersRaceTest, AClearRunDeletesInTheFolderThatItHasListed) {
  config("a.xml",
         documentText("A", itemText("1", copyAction("/tmp/theirs/logs/*", "<clear_log apply=\"true\"/>"))));
  race([this] {
    std::filesystem::remove_all("/tmp/theirs");
    const Attacker attacker([](unsigned /*round*/) { exchangeOnceListed("/tmp/theirs", "/opt/precious"); });
    ASSERT_TRUE(waitForFile("/tmp/theirs/ready"));
    EXPECT_RESULT(clear(), 0);
    ASSERT_TRUE(waitForFile("/tmp/theirs/done"));
    expectNothingTouched();
    // By now that name is the folder's which was listed.
    EXPECT_THAT(listFolder("/tmp/theirs/link"), IsEmpty());
  });
  std::filesystem::remove_all("/tmp/theirs");
}

// A folder that stood there was taken for one's own: through the links in it a run wrote root's files.
TEST_F(TwoUsersRaceTest, ASecondUserNeverGetsIntoARun) {
  config("a.xml", documentText("Alpha", logsItem()));
  const std::string plain = kPlainTempFolder;
  const Attacker attacker([&plain](unsigned round) {
    const std::time_t now = std::time(nullptr);
    for (std::time_t second = now; second < now + 3; ++second) {
      std::tm local = {};
      localtime_r(&second, &local);
      char text[32];
      std::strftime(text, sizeof(text), "__%m%d_%H%M_", &local);
      const std::string name = plain + text + std::to_string(helperUtil::randomFiveDigits(second));
      if (mkdir(name.c_str(), 0777) == 0) {
        plantLinks(name);
      }
      plantLinks(name);
      if (round % 7 == 0) {
        helperUtil::fileDeleteDirectory(name);
      }
    }
    if (mkdir(plain.c_str(), 0777) == 0) {
      plantLinks(plain);
    } else if (round % 5 == 0) {
      helperUtil::fileDeleteDirectory(plain);
      plantLink("/opt/precious", plain.c_str());
      unlink(plain.c_str());
    }
  });
  makeFolders("/opt/out");
  int good = 0;
  const int turns = race(
      [this, &good] {
        TOLMEngine engine("", "/opt/out/race.zip", "", false);
        const ResultCode rc = engine.run();
        if (rc == 0) {
          ++good;
          m_strBundle = engine.bundlePath();
          ASSERT_THAT(entries(), ElementsAre("Alpha/TWO.LOG", "Alpha/one.log", "summary.txt"));
        } else {
          ASSERT_RESULT(rc, TOLMENGINE_ERROR_ACCESS_DENIED);
        }
      },
      [&good] { return good > 0; });
  expectNothingTouched();
  RecordProperty("runs", turns);
  RecordProperty("bundles", good);
  EXPECT_GT(good, 0);
}

}  // namespace
}  // namespace halvo
