// The folder that a run works in, in a private root.

#include "vpn/tools/TOLM/TOLMEngine/implementations/WorkFolder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineRuns_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;

constexpr char kDrawnName[] = "/tmp/TOLM_Temp_Bundle__[0-9]{4}_[0-9]{4}_[0-9]{1,5}";
constexpr std::time_t kManySeconds = 900;

class WorkFolderTest : public TOLMEngineTest {
 protected:
  ~WorkFolderTest() override { clean(); }
  WorkFolderTest() { clean(); }
  static void clean() {
    std::filesystem::remove_all("/opt/precious");
    for (const std::string& name : leftovers()) {
      std::filesystem::remove_all("/tmp/" + name);
    }
  }

  static std::string nameOf(std::time_t second) {
    std::tm local = {};
    localtime_r(&second, &local);
    char text[32];
    std::strftime(text, sizeof(text), "_%m%d_%H%M_", &local);
    return std::string(kPlainTempFolder) + "_" + text + std::to_string(helperUtil::randomFiveDigits(second));
  }
  // Anybody's files under all names of a time from a moment ago on.
  static void plantNames(std::time_t seconds) {
    const std::time_t now = std::time(nullptr);
    for (std::time_t second = now - 1; second < now + seconds; ++second) {
      close(open(nameOf(second).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    }
  }
  static DescriptorHolder locked(const std::string& path) {
    DescriptorHolder folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    EXPECT_EQ(flock(folder.get(), LOCK_EX | LOCK_NB), 0);
    return folder;
  }
  static mode_t modeOf(const std::string& path) {
    struct stat data = {};
    lstat(path.c_str(), &data);
    return data.st_mode & 07777;
  }
};

TEST_F(WorkFolderTest, TheFolderIsForItsUserAlone) {
  const mode_t before = umask(0);
  WorkFolder folder;
  folder.choose();
  EXPECT_RESULT(folder.make(), 0);
  umask(before);
  EXPECT_THAT(folder.path(), MatchesRegex(kDrawnName));
  EXPECT_EQ(folder.held(), folder.path());
  EXPECT_EQ(modeOf(folder.path()), 0700U);
  folder.remove();
  EXPECT_EQ(folder.held(), "");
  EXPECT_FALSE(exists(folder.path()));
}

TEST_F(WorkFolderTest, ATakenNameLeadsToTheNextSecondsWhateverTakesIt) {
  makeFolders("/opt/precious");
  const std::time_t now = std::time(nullptr);
  for (std::time_t second = now; second < now + kManySeconds; ++second) {
    const std::string name = nameOf(second);
    switch (second % 3) {
      case 0:
        mkdir(name.c_str(), 0777);
        break;
      case 1:
        ASSERT_TRUE(symlink("/opt/precious", name.c_str()) == 0 || errno == EEXIST);
        break;
      default:
        // Two seconds of a minute may have the same digits, and so the same name.
        if (!exists(name)) {
          writeFile(name, "theirs");
        }
        break;
    }
  }
  const std::vector<std::string> planted = leftovers();
  WorkFolder folder;
  folder.choose();
  EXPECT_RESULT(folder.make(), 0);
  EXPECT_THAT(planted, Not(Contains(folder.path().substr(5))));
  EXPECT_THAT(folder.path(), MatchesRegex(kDrawnName));
  folder.remove();
  EXPECT_EQ(leftovers(), planted);
  EXPECT_THAT(listFolder("/opt/precious"), IsEmpty());
}

// Four thousand of them, and any user kept root from making a run.
TEST_F(WorkFolderTest, PlantedNamesOfManyHoursAreNoHindrance) {
  plantNames(20'000);
  WorkFolder folder;
  folder.choose();
  EXPECT_RESULT(folder.make(), 0);
  EXPECT_EQ(folder.problem(), "");
  folder.remove();
}

TEST_F(WorkFolderTest, WhereEveryNameInReachIsTakenThatIsToldAsTheCause) {
  plantNames(100'000 + kManySeconds);
  config("a.xml", documentText("A", logsItem()));
  TOLMEngine engine("", "/tmp/out.zip", "", false);
  EXPECT_RESULT(engine.run(), TOLMENGINE_ERROR_ACCESS_DENIED);
  EXPECT_THAT(engine.workFolderProblem(),
              MatchesRegex("every name that .* in the next 100000 seconds is taken, the last one is "
                           "\"/tmp/TOLM_Temp_Bundle__[0-9_]+\": remove what stands there"));
}

TEST_F(WorkFolderTest, TwoFoldersOfOneSecondAreTwo) {
  WorkFolder one;
  WorkFolder two;
  one.choose();
  two.choose();
  EXPECT_RESULT(one.make(), 0);
  EXPECT_RESULT(two.make(), 0);
  EXPECT_NE(one.path(), two.path());
  one.remove();
  EXPECT_TRUE(exists(two.path()));
  two.remove();
}

TEST_F(WorkFolderTest, ALockedPlainFolderCountsAsOneThatCantBeRemoved) {
  writeFile(std::string(kPlainTempFolder) + "/working/file", "x");
  const DescriptorHolder other = locked(kPlainTempFolder);
  WorkFolder folder;
  folder.choose();
  EXPECT_THAT(folder.path(), MatchesRegex(kDrawnName));
  EXPECT_TRUE(exists(std::string(kPlainTempFolder) + "/working/file"));
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogWarning, "helperUtil::fileDeleteDirectory", TOLMENGINE_ERROR_UNEXPECTED))
      << m_Log.dump();
}

TEST_F(WorkFolderTest, ARunHoldsItsFolderLockedUntilItIsGone) {
  makeFolders(kPlainTempFolder);
  WorkFolder folder;
  folder.choose();
  EXPECT_RESULT(folder.make(), 0);
  EXPECT_EQ(folder.path(), kPlainTempFolder);
  EXPECT_RESULT(helperUtil::fileDeleteLeftOver(kPlainTempFolder), TOLMENGINE_ERROR_UNEXPECTED);
  WorkFolder other;
  other.choose();
  EXPECT_THAT(other.path(), MatchesRegex(kDrawnName));
  EXPECT_RESULT(other.make(), 0);
  other.remove();
  EXPECT_TRUE(exists(kPlainTempFolder));
  folder.remove();
  EXPECT_THAT(leftovers(), IsEmpty());
}

// The plain name, remade by somebody between the removal and the making, was taken as it stood.
TEST_F(WorkFolderTest, APlainFolderThatSomebodyHasRemadeIsRefusedAsAccessDenied) {
  makeFolders("/opt/precious");
  const struct {
    const char* what;
    void (*plant)();
  } plants[] = {
      {"a folder that others can write to",
       [] {
         mkdir(kPlainTempFolder, 0700);
         chmod(kPlainTempFolder, 0777);
       }},
      {"a folder with something in it",
       [] { writeFile(std::string(kPlainTempFolder) + "/summary.txt", "x"); }},
      {"a link", [] { EXPECT_EQ(symlink("/opt/precious", kPlainTempFolder), 0); }},
      {"a file", [] { writeFile(kPlainTempFolder, "x"); }},
  };
  for (const auto& planted : plants) {
    clean();
    makeFolders("/opt/precious");
    makeFolders(kPlainTempFolder);
    WorkFolder folder;
    folder.choose();
    ASSERT_EQ(folder.path(), kPlainTempFolder);
    planted.plant();
    EXPECT_RESULT(folder.make(), TOLMENGINE_ERROR_ACCESS_DENIED) << planted.what;
    EXPECT_EQ(folder.held(), "");
    EXPECT_TRUE(exists("/opt/precious"));
    struct stat data;
    EXPECT_EQ(lstat(kPlainTempFolder, &data), 0) << planted.what;
  }
}

TEST_F(WorkFolderTest, APlainFolderThatIsTakenAwayLeadsToADrawnName) {
  makeFolders(kPlainTempFolder);
  WorkFolder folder;
  folder.choose();
  ASSERT_EQ(folder.path(), kPlainTempFolder);
  mkdir(kPlainTempFolder, 0700);
  const DescriptorHolder other = locked(kPlainTempFolder);
  EXPECT_RESULT(folder.make(), 0);
  EXPECT_THAT(folder.path(), MatchesRegex(kDrawnName));
  folder.remove();
  EXPECT_TRUE(exists(kPlainTempFolder));
}

TEST_F(WorkFolderTest, AnEmptyFolderOfOnesOwnWillDoUnderThePlainName) {
  makeFolders(kPlainTempFolder);
  WorkFolder folder;
  folder.choose();
  mkdir(kPlainTempFolder, 0755);
  EXPECT_RESULT(folder.make(), 0);
  EXPECT_EQ(folder.path(), kPlainTempFolder);
}

TEST_F(WorkFolderTest, NoChildInheritsTheLock) {
  config("a.xml", documentText("A", itemText("1", captureAction("ls -l /proc/self/fd"))));
  EXPECT_RESULT(run(), 0);
  EXPECT_THAT(runProgram({"unzip", "-p", m_strBundle, "A/ls_result.txt"}).out,
              ::testing::AllOf(HasSubstr("->"), Not(HasSubstr("-> /tmp/TOLM"))));
}

// --- Names that a request chooses ---

class RequestNameTest : public WorkFolderTest {
 protected:
  RequestNameTest() {
    config("a.xml", documentText("Alpha", logsItem()));
    writeFile("/opt/precious/rc", "precious\n");
  }
  static void request(const std::string& id, const std::string& name) {
    writeFile("/tmp/src/request.xml", "<r><comments>mine</comments><file id=\"logs\"/><file id=\"" + id +
                                          "\"><name>" + name + "</name></file></r>");
  }
};

TEST_F(RequestNameTest, CommentsAreNotWrittenOutsideTheWorkFolder) {
  setenv("TOLM_TEST_PLACE", "../../opt/precious", 1);
  for (const char* name :
       {"../../opt/precious/rc", "$TOLM_TEST_PLACE/rc", "Alpha/../../../opt/precious/rc"}) {
    request("comments", name);
    EXPECT_RESULT(run("/tmp/src/request.xml"), 0) << name;
    EXPECT_EQ(readFile("/opt/precious/rc"), "precious\n") << name;
    EXPECT_THAT(summary(), HasSubstr("Internal error: can't write comments")) << name;
  }
}

TEST_F(RequestNameTest, ASummaryOutsideTheWorkFolderFailsItsConfigs) {
  request("summary", "../../opt/precious/rc");
  const ResultCode rc = run("/tmp/src/request.xml");
  expectFailure(rc, TOLMENGINE_ERROR_INTERNAL, "Internal Error: all configs failed...");
  EXPECT_EQ(readFile("/opt/precious/rc"), "precious\n");
}

TEST_F(RequestNameTest, ANameWithAFolderInsideTheWorkFolderIsTakenAsTold) {
  request("comments", "Alpha/mine.txt");
  EXPECT_RESULT(run("/tmp/src/request.xml"), 0);
  EXPECT_THAT(entries(), Contains("Alpha/mine.txt"));
}

// --- A run's losses ---

TEST_F(WorkFolderTest, ARunBeginsWithoutLosses) {
  config("a.xml", documentText("A", logsItem()));
  recordLoss("f", LossKind::kCutShort, "of the run before", "x");
  EXPECT_RESULT(run(), 0);
  EXPECT_EQ(lossCount(LossKind::kCutShort), 0U);
}

}  // namespace
}  // namespace halvo
