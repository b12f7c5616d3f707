#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <new>

namespace halvo {
namespace {

rlim_t coreLimit() {
  rlimit limit = {};
  getrlimit(RLIMIT_CORE, &limit);
  return limit.rlim_cur;
}

TEST(SecretTest, WhileItLivesTheProcessCanNotBeDumped) {
  rlimit limit = {};
  getrlimit(RLIMIT_CORE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_CORE, &limit);
  ASSERT_EQ(prctl(PR_SET_DUMPABLE, 1, 0, 0, 0), 0);
  {
    std::string text = "hunter2";
    const Secret secret(text);
    EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 0);
    EXPECT_EQ(coreLimit(), 0U);
  }
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 1);
  EXPECT_EQ(coreLimit(), limit.rlim_max);
}

TEST(SecretTest, TheTextItTookIsWiped) {
  std::string text(100, 'x');
  const char* const bytes = text.data();
  const Secret secret(text);
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(std::string(bytes, 100), std::string(100, '\0'));
}

TEST(SecretTest, ItIsHandedOutWholeAndTheCopyIsWiped) {
  std::string text(100, 'y');
  const Secret secret(text);
  std::string seen;
  secret.with([&seen](const std::string& password) { seen = password; });
  EXPECT_EQ(seen, std::string(100, 'y'));
  EXPECT_THROW(secret.with([](const std::string&) { throw std::bad_alloc(); }), std::bad_alloc);
}

TEST(SecretTest, ItsMemoryIsLocked) {
  std::string text = "hunter2";
  const Secret secret(text);
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_MEMLOCK, &limit), 0);
  EXPECT_EQ(secret.isLocked(), limit.rlim_cur >= 4096);
}

TEST(SecretTest, NoPasswordChangesNothing) {
  ASSERT_EQ(prctl(PR_SET_DUMPABLE, 1, 0, 0, 0), 0);
  std::string text;
  const Secret secret(text);
  EXPECT_TRUE(secret.empty());
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 1);
  secret.with([](const std::string& password) { EXPECT_EQ(password, ""); });
}

TEST(SecretTest, TheLastOneGoneOpensTheProcessAgain) {
  ASSERT_EQ(prctl(PR_SET_DUMPABLE, 1, 0, 0, 0), 0);
  {
    const SecretScope outer;
    {
      std::string text = "hunter2";
      const Secret inner(text);
    }
    EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 0);
    EXPECT_EQ(coreLimit(), 0U);
  }
  EXPECT_EQ(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 1);
}

TEST(SecretTest, ATextThatComesByCharactersIsKeptUpToItsRoom) {
  Secret secret(10);
  EXPECT_TRUE(secret.empty());
  EXPECT_TRUE(secret.append('a'));
  EXPECT_TRUE(secret.append('b'));
  EXPECT_EQ(secret.view(), "ab");
  secret.shorten();
  EXPECT_EQ(secret.view(), "a");
  const char* const bytes = secret.view().data();
  secret.clear();
  EXPECT_EQ(std::string(bytes, 2), std::string(2, '\0'));
  for (int i = 0; i < 10; ++i) {
    EXPECT_TRUE(secret.append('x'));
  }
  EXPECT_FALSE(secret.append('x'));
}

}  // namespace
}  // namespace halvo
