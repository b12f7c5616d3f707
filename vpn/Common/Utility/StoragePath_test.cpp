#include "vpn/Common/Utility/StoragePath.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sched.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"

namespace halvo {

namespace {

// Takes on a user id that has no record, in a user namespace of its own where it isn't root's right.
// Only for a child that is about to end.
bool becomeUserWithoutRecord() {
  constexpr unsigned kUnknown = 54321;
  if (getuid() == 0) {
    return setuid(kUnknown) == 0;
  }
  const uid_t user = geteuid();
  if (unshare(CLONE_NEWUSER) != 0) {
    return false;
  }
  std::ofstream map("/proc/self/uid_map");
  map << kUnknown << " " << user << " 1";
  map.close();
  return getuid() == kUnknown;
}

}  // namespace

class StoragePathTest : public ::testing::Test {
 protected:
  ~StoragePathTest() override {
    CStoragePath* instance = CStoragePath::acquireInstance();
    while (instance != nullptr) {
      const bool last = CStoragePath::getAcquisitionCount() == 1;
      CStoragePath::releaseInstance(instance);
      instance = last ? nullptr : instance;
    }
  }

  static CStoragePath* create() {
    CStoragePath* instance = nullptr;
    EXPECT_RESULT(CStoragePath::CreateSingletonInstance(instance), 0);
    return instance;
  }

  static ResultCode createWithFailingConstructor(CStoragePath*& instance) {
    return CStoragePath::CreateSingletonInstance(instance, [](ResultCode& rc) {
      auto* made = new CStoragePath(rc);
      rc = CSTORAGEPATH_ERROR_UNEXPECTED;
      return made;
    });
  }

  static std::string homeOfThisUser() {
    const passwd* entry = getpwuid(getuid());
    return entry != nullptr ? entry->pw_dir : "(the user of this test has no record)";
  }

  test::LogRecorder m_log;
};

TEST_F(StoragePathTest, ClassHasNoVirtualOperationsAndItsSmartPointerAVirtualDestructor) {
  EXPECT_FALSE(std::is_polymorphic_v<CStoragePath>);
  EXPECT_TRUE(std::has_virtual_destructor_v<CInstanceSmartPtr<CStoragePath>>);
}

TEST_F(StoragePathTest, PathsBelowTheInstallationFolder) {
  CStoragePath* paths = create();
  EXPECT_EQ(paths->getInstallPath(), "/opt/halvo/tessarmont/");
  EXPECT_EQ(paths->getBinPath(), "/opt/halvo/tessarmont/bin/");
  EXPECT_EQ(paths->getFeedbackDataPath(), "/opt/halvo/tessarmont/CustomerExperienceFeedback/moduledata");
}

TEST_F(StoragePathTest, InstallationFolderIgnoresTheEnvironment) {
  test::ScopedEnv home("HOME", "/somewhere");
  test::ScopedEnv user("USER", "somebody");
  EXPECT_EQ(create()->getInstallPath(), "/opt/halvo/tessarmont/");
}

TEST_F(StoragePathTest, ProfilePathOfKindOneIsTheManagementTunnelAndAnyOtherIsPlain) {
  CStoragePath* paths = create();
  EXPECT_EQ(paths->getProfilePath(1), "/opt/halvo/tessarmont/profile/mgmttun");
  for (std::int32_t kind : {0, 2, -1, 2147483647}) {
    EXPECT_EQ(paths->getProfilePath(kind), "/opt/halvo/tessarmont/profile") << kind;
  }
}

TEST_F(StoragePathTest, DataPathIsTheInstallationFolderUnlessUserSpecific) {
  EXPECT_EQ(CStoragePath::getDataPath(false, "root"), "/opt/halvo/tessarmont/");
  EXPECT_EQ(CStoragePath::getDataPath(true, "root"), CStoragePath::GetUserProgramDataPath("root"));
  EXPECT_EQ(CStoragePath::getDataPath(true, "no-such-user-here"), ".");
}

TEST_F(StoragePathTest, UserProgramDataPathIsTheHomeFolderWithASlash) {
  const passwd* root = getpwnam("root");
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(CStoragePath::GetUserProgramDataPath("root"), std::string(root->pw_dir) + "/");
}

TEST_F(StoragePathTest, UserProgramDataPathOfEmptyNameIsThatOfTheCurrentUser) {
  test::ScopedEnv home("HOME", "/not/asked");
  EXPECT_EQ(CStoragePath::GetUserProgramDataPath(""), homeOfThisUser() + "/");
}

TEST_F(StoragePathTest, UserProgramDataPathOfUnknownUserIsADotWithAWarning) {
  EXPECT_EQ(CStoragePath::GetUserProgramDataPath("no-such-user-here"), ".");
  ASSERT_EQ(m_log.records().size(), 1U);
  EXPECT_EQ(m_log.records()[0].level, kLogWarning);
  EXPECT_EQ(m_log.records()[0].field("Function"), "GetUserProgramDataPath");
  EXPECT_EQ(m_log.records()[0].text(), "Error retrieving user pswd struct.");
}

TEST_F(StoragePathTest, UILogPathIsEmptyWithAWarningWhileHomeIsSetToWhateverValue) {
  for (const char* value : {"/home/somebody", ""}) {
    m_log.clear();
    test::ScopedEnv home("HOME", value);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(CStoragePath::GetUILogPath(), "");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
    ASSERT_EQ(m_log.records().size(), 1U);
    EXPECT_EQ(m_log.records()[0].level, kLogWarning);
    EXPECT_EQ(m_log.records()[0].field("Function"), "GetUILogPath");
    EXPECT_EQ(m_log.records()[0].text(), "Error retrieving user home.");
  }
}

TEST_F(StoragePathTest, UILogPathWithoutHomeIsTheUsersLogFolderAndPrintsTheHomeFolder) {
  test::ScopedEnv home("HOME", nullptr);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(CStoragePath::GetUILogPath(), homeOfThisUser() + "/.halvo/vpn/log/");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Home directory is " + homeOfThisUser() + "\n");
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(StoragePathTest, UILogPathWithoutHomeAndWithoutARecordIsEmptyWithAWarning) {
  const auto look = [this] {
    if (!becomeUserWithoutRecord()) {
      std::perror("this host refuses a user namespace");
      std::_Exit(3);
    }
    unsetenv("HOME");
    const bool empty = CStoragePath::GetUILogPath().empty();
    const bool logged = m_log.records().size() == 1 && m_log.records()[0].level == kLogWarning &&
                        m_log.records()[0].text() == "Error retrieving user pswd struct.";
    std::fprintf(stderr, "%s", m_log.dump().c_str());
    std::_Exit(!empty ? 1 : !logged ? 2 : 0);
  };
  EXPECT_EXIT(look(), ::testing::ExitedWithCode(0), "");
}

TEST_F(StoragePathTest, TempPathOfFiveCharactersFitsFiveAndNotFourAndIsWrittenBothTimes) {
  std::string path = "before";
  EXPECT_RESULT(CStoragePath::getTempPath(path, 5), 0);
  EXPECT_EQ(path, "/tmp/");
  path = "before";
  EXPECT_RESULT(CStoragePath::getTempPath(path, 4), CSTORAGEPATH_ERROR_TEMPPATH_TOO_BIG);
  EXPECT_EQ(path, "/tmp/");
  path = "before";
  EXPECT_RESULT(CStoragePath::getTempPath(path, 0), 0xfe9d000cU);
  EXPECT_EQ(path, "/tmp/");
}

TEST_F(StoragePathTest, SecondCreationAddsACountAndTwoReleasesDestroyTheObject) {
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 0U);
  CStoragePath* first = create();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 1U);
  EXPECT_EQ(create(), first);
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 2U);
  CStoragePath::releaseInstance(first);
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 1U);
  EXPECT_EQ(first->getInstallPath(), "/opt/halvo/tessarmont/");
  CStoragePath::releaseInstance(first);
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 0U);
  EXPECT_EQ(CStoragePath::acquireInstance(), nullptr);
}

TEST_F(StoragePathTest, SmartPointerHoldsNullWhileThereIsNoInstance) {
  {
    CInstanceSmartPtr<CStoragePath> paths;
    EXPECT_FALSE(paths);
    EXPECT_EQ(paths.get(), nullptr);
  }
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 0U);
  // A count taken off below zero would keep the singleton from ever being made.
  EXPECT_NE(create(), nullptr);
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 1U);
}

TEST_F(StoragePathTest, SmartPointerHoldsOneCountForItsLife) {
  CStoragePath* made = create();
  {
    CInstanceSmartPtr<CStoragePath> paths;
    EXPECT_TRUE(paths);
    EXPECT_EQ(paths.get(), made);
    EXPECT_EQ(paths->getInstallPath(), "/opt/halvo/tessarmont/");
    EXPECT_EQ(CStoragePath::getAcquisitionCount(), 2U);
  }
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 1U);
}

TEST_F(StoragePathTest, SmartPointerKeepsTheInstanceBehindItsMakersRelease) {
  CStoragePath* made = create();
  CInstanceSmartPtr<CStoragePath> paths;
  CStoragePath::releaseInstance(made);
  ASSERT_TRUE(paths);
  EXPECT_EQ(paths->getInstallPath(), "/opt/halvo/tessarmont/");
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 1U);
}

TEST_F(StoragePathTest, ReleaseOfTheLastCountLeavesLaterSmartPointersWithNull) {
  CStoragePath::releaseInstance(create());
  CInstanceSmartPtr<CStoragePath> paths;
  EXPECT_FALSE(paths);
}

TEST_F(StoragePathTest, ReleaseOfAnotherObjectDestroysItAndKeepsTheCount) {
  create();
  ResultCode rc = 1;
  auto* other = new CStoragePath(rc);
  EXPECT_RESULT(rc, 0);
  CStoragePath::releaseInstance(other);  // the address sanitizer tells if it stayed
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 1U);
}

TEST_F(StoragePathTest, FailureOfTheConstructorIsLoggedAndLeavesNoInstance) {
  auto* instance = reinterpret_cast<CStoragePath*>(this);
  EXPECT_RESULT(createWithFailingConstructor(instance), CSTORAGEPATH_ERROR_UNEXPECTED);
  EXPECT_EQ(instance, nullptr);
  EXPECT_EQ(CStoragePath::acquireInstance(), nullptr);
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 0U);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CStoragePath", CSTORAGEPATH_ERROR_UNEXPECTED)) << m_log.dump();
  ASSERT_EQ(m_log.records().size(), 1U);
  EXPECT_EQ(m_log.records()[0].field("Function"), "CreateSingletonInstance");
}

TEST_F(StoragePathTest, HoldersOnManyThreadsLeaveTheCountAsItWas) {
  create();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 2000; ++round) {
        CInstanceSmartPtr<CStoragePath> paths;
        ASSERT_TRUE(paths);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(CStoragePath::getAcquisitionCount(), 1U);
}

}  // namespace halvo
