#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/FileDigest.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using namespace test;

TEST(FileDigestTest, AFilesSumIsTheOneThatOthersSee) {
  const TempFolder folder;
  const std::string path = folder.file("file");
  for (const std::size_t size : {0U, 1U, 65536U, 200001U}) {
    writeFile(path, std::string(size, 'x'));
    const FileDigest digest = digestFile(path);
    EXPECT_EQ(digest.bytes, size);
    EXPECT_EQ(digest.sha256, runProgram({"sha256sum", path}).out.substr(0, 64));
  }
}

TEST(FileDigestTest, WhatIsNoFileHasNoSum) {
  const TempFolder folder;
  writeFile(folder.file("file"), "x");
  ASSERT_EQ(symlink(folder.file("file").c_str(), folder.file("link").c_str()), 0);
  for (const std::string& path : {folder.path(), folder.file("missing"), folder.file("link")}) {
    EXPECT_EQ(digestFile(path).sha256, "") << path;
  }
}

}  // namespace
}  // namespace halvo
