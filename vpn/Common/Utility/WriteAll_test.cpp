#include "vpn/Common/Utility/WriteAll.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>

#include "vpn/Common/Utility/Holders.h"

namespace halvo {
namespace {

TEST(WriteAllTest, WhatAPipeTakesInPartsArrivesWhole) {
  int ends[2] = {-1, -1};
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const DescriptorHolder read(ends[0]);
  DescriptorHolder write(ends[1]);
  std::string text;
  for (int i = 0; text.size() < 300000; ++i) {
    text += std::to_string(i) + "\n";
  }
  int result = -1;
  std::thread writer([&] {
    result = writeAll(write.get(), text.data(), text.size());
    write.reset();
  });
  std::string got;
  char block[4096];
  for (ssize_t count = 0; (count = ::read(read.get(), block, sizeof(block))) > 0;) {
    got.append(block, static_cast<std::size_t>(count));
  }
  writer.join();
  EXPECT_EQ(result, 0);
  EXPECT_TRUE(got == text);
}

TEST(WriteAllTest, AFailureIsTheSystemsOwn) {
  const DescriptorHolder full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  ASSERT_TRUE(full);
  EXPECT_EQ(writeAll(full.get(), "x", 1), ENOSPC);
  EXPECT_EQ(writeAll(-1, "x", 1), EBADF);
  EXPECT_EQ(writeAll(-1, "", 0), 0);
}

}  // namespace
}  // namespace halvo
