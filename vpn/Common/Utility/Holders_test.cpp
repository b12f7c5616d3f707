#include "vpn/Common/Utility/Holders.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/PathText.h"

namespace halvo {
namespace {

bool isOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1 || errno != EBADF;
}

int openNull() {
  return open("/dev/null", O_RDONLY | O_CLOEXEC);
}

TEST(DescriptorHolderTest, DescriptorIsClosedWithItsHolder) {
  int descriptor = -1;
  {
    const DescriptorHolder holder(openNull());
    descriptor = holder.get();
    ASSERT_TRUE(holder);
    EXPECT_TRUE(isOpen(descriptor));
  }
  EXPECT_FALSE(isOpen(descriptor));
}

TEST(DescriptorHolderTest, ReleasedDescriptorStaysOpen) {
  int descriptor = -1;
  {
    DescriptorHolder holder(openNull());
    descriptor = holder.release();
    EXPECT_FALSE(holder);
    EXPECT_EQ(holder.get(), -1);
  }
  EXPECT_TRUE(isOpen(descriptor));
  close(descriptor);
}

TEST(DescriptorHolderTest, MovedDescriptorHasOneOwnerAndTheOldOneOfTheTargetIsClosed) {
  DescriptorHolder first(openNull());
  DescriptorHolder second(openNull());
  const int kept = first.get();
  const int dropped = second.get();
  second = std::move(first);
  EXPECT_EQ(second.get(), kept);
  EXPECT_TRUE(isOpen(kept));
  EXPECT_FALSE(isOpen(dropped));
}

TEST(DescriptorHolderTest, ResetToTheSameDescriptorKeepsItOpen) {
  DescriptorHolder holder(openNull());
  holder.reset(holder.get());
  EXPECT_TRUE(isOpen(holder.get()));
}

TEST(HoldersTest, StreamsAreClosedWithTheirHolders) {
  const test::TempFolder folder;
  int fileDescriptor = -1;
  int folderDescriptor = -1;
  {
    const FileHolder file(std::fopen(folder.file("new").c_str(), "w"));
    const FolderHolder stream(opendir(folder.path().c_str()));
    ASSERT_NE(file, nullptr);
    ASSERT_NE(stream, nullptr);
    fileDescriptor = fileno(file.get());
    folderDescriptor = dirfd(stream.get());
  }
  EXPECT_FALSE(isOpen(fileDescriptor));
  EXPECT_FALSE(isOpen(folderDescriptor));
}

TEST(PathTextTest, FolderEndsInOneSlash) {
  EXPECT_EQ(withSlash("/tmp"), "/tmp/");
  EXPECT_EQ(withSlash("/tmp/"), "/tmp/");
  EXPECT_EQ(withSlash("/"), "/");
  EXPECT_EQ(withSlash(""), "/");
}

TEST(PathTextTest, OnlyTheTwoEntriesOfEveryFolderAreDotNames) {
  EXPECT_TRUE(isDotName("."));
  EXPECT_TRUE(isDotName(".."));
  for (const char* name : {"", "...", ".a", "a.", "./", "../"}) {
    EXPECT_FALSE(isDotName(name)) << name;
  }
}

}  // namespace
}  // namespace halvo
