#include "vpn/tools/TOLM/TOLMOffline/FolderOpener.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMOffline/QtToolkitSupport_test.h"

namespace halvo {
namespace {

// Answers as on a machine without a message bus, where PATH is `path`.
bool canShowWithPath(const std::string& path) {
  test::application();
  const test::ScopedEnv bus("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
  const test::ScopedEnv search("PATH", path.c_str());
  FolderOpener opener;
  int answers = 0;
  bool canShow = false;
  opener.find([&](bool answer) {
    ++answers;
    canShow = answer;
  });
  EXPECT_EQ(answers, 0) << "the answer comes through the event loop";
  EXPECT_TRUE(test::turnUntil([&answers] { return answers > 0; }));
  EXPECT_EQ(answers, 1);
  return canShow;
}

TEST(FolderOpenerTest, WithoutABusAndAnOpenerNoFolderCanBeShown) {
  EXPECT_FALSE(canShowWithPath("/nonexistent"));
}

TEST(FolderOpenerTest, WithoutABusTheDesktopsOpenerWillDo) {
  const test::TempFolder folder;
  test::writeFile(folder.path() + "/xdg-open", "#!/bin/sh\n");
  ASSERT_EQ(chmod((folder.path() + "/xdg-open").c_str(), 0755), 0);

  EXPECT_TRUE(canShowWithPath(folder.path()));
}

}  // namespace
}  // namespace halvo
