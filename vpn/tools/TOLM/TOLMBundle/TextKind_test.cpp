#include "vpn/tools/TOLM/TOLMBundle/TextKind.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace halvo {
namespace {

// What is left of a text that comes in these blocks.
std::string joined(const std::vector<std::string>& blocks) {
  ZeroJoiner zeros;
  std::string result;
  for (std::string block : blocks) {
    result.append(block.data(), zeros.join(block.data(), block.size()));
  }
  return result;
}

std::string zeros(std::size_t count) {
  return std::string(count, '\0');
}

TEST(TextKindTest, AHoleOfZerosIsOneByteAcrossBlocks) {
  EXPECT_EQ(joined({"ab", "c"}), "abc");
  EXPECT_EQ(joined({"a" + zeros(3) + "b" + zeros(1) + "c"}), "a" + zeros(1) + "b" + zeros(1) + "c");
  EXPECT_EQ(joined({"a" + zeros(2), "", zeros(5), zeros(1) + "b"}), "a" + zeros(1) + "b");
}

TEST(TextKindTest, ALogWithAHoleIsText) {
  EXPECT_EQ(textKindOf(""), TextKind::kText);
  EXPECT_EQ(textKindOf("\x1b[31merror\x1b[0m\ttoo\r\n\f"), TextKind::kText);
  EXPECT_EQ(textKindOf("text" + zeros(1) + "more"), TextKind::kText);
  EXPECT_EQ(textKindOf("\x01\x02\x03\x04\x05"), TextKind::kText);
  EXPECT_EQ(textKindOf("gr\xf6\xdf" + zeros(1) + std::string(100, '\xe4')), TextKind::kText);
}

TEST(TextKindTest, WhatIsFullOfControlCharactersIsNot) {
  EXPECT_EQ(textKindOf("\x7f"
                       "ELF\x02\x01\x01" +
                       zeros(1)),
            TextKind::kBinary);
  EXPECT_EQ(textKindOf(std::string(50, 'x') + "\x01\x02\x03" + zeros(1)), TextKind::kBinary);
  // UTF-16 without its mark.
  EXPECT_EQ(textKindOf("e" + zeros(1) + "r" + zeros(1) + "r" + zeros(1)), TextKind::kBinary);
  EXPECT_EQ(textKindOf("\xff\xfe"
                       "e" +
                       zeros(1)),
            TextKind::kUtf16);
  EXPECT_EQ(textKindOf("\xfe\xff" + zeros(1) + "e"), TextKind::kUtf16);
}

TEST(TextKindTest, TheFrontDecides) {
  const std::string front(kTextTestSize, 'x');
  EXPECT_EQ(textKindOf(front + std::string(kTextTestSize, '\x01')), TextKind::kText);
}

}  // namespace
}  // namespace halvo
