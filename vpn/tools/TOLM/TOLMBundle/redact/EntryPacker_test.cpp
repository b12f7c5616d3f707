#include "vpn/tools/TOLM/TOLMBundle/redact/EntryPacker.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using test::TempFolder;

// Lines that deflate finds again far behind.
std::string lines(std::size_t size) {
  std::mt19937 random(11);
  std::string text;
  while (text.size() < size) {
    text += "Mar 15 10:42:07 agentd[" + std::to_string(random() % 9999) + "]: state " +
            std::to_string(random() % 50) + "\n";
  }
  text.resize(size);
  return text;
}

std::string noise(std::size_t size) {
  std::mt19937 random(5);
  std::string text(size, ' ');
  std::generate(text.begin(), text.end(), [&random] { return static_cast<char>(random()); });
  return text;
}

std::string inflated(const std::string& packed, std::size_t size) {
  std::string text(size + 1, ' ');
  z_stream stream = {};
  EXPECT_EQ(inflateInit2(&stream, -MAX_WBITS), Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = reinterpret_cast<Bytef*>(text.data());
  stream.avail_out = static_cast<uInt>(text.size());
  EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
  EXPECT_EQ(stream.avail_in, 0U) << "something stands behind the end";
  text.resize(text.size() - stream.avail_out);
  inflateEnd(&stream);
  return text;
}

class EntryPackerTest : public ::testing::Test {
 protected:
  // Packs in pieces of one size; what is made lies in the file then.
  std::string packed(PackCrew& crew, const std::string& text, std::size_t piece) {
    const std::string path = m_Folder.file("packed");
    std::FILE* const file = std::fopen(path.c_str(), "w");
    EXPECT_NE(file, nullptr);
    {
      EntryPacker packer(crew, fileno(file));
      for (std::size_t at = 0; at < text.size(); at += piece) {
        EXPECT_TRUE(packer.put(text.substr(at, piece)));
      }
      EXPECT_TRUE(packer.finish());
      EXPECT_EQ(packer.size(), text.size());
      EXPECT_EQ(packer.crc(),
                crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size())));
      EXPECT_EQ(packer.packedSize(), test::readFile(path).size());
    }
    std::fclose(file);
    return test::readFile(path);
  }

  TempFolder m_Folder;
};

TEST_F(EntryPackerTest, TextOfAnySizeComesBack) {
  PackCrew crew;
  const PackCrew::Place place(crew);
  for (const std::size_t size : {0U, 1U, 65536U, 131071U, 131072U, 131073U, 262144U, 262145U, 1000000U}) {
    for (const std::string& text : {lines(size), noise(size)}) {
      EXPECT_EQ(inflated(packed(crew, text, 65536), size), text) << size;
    }
  }
  const std::string text = lines(400000);
  EXPECT_EQ(packed(crew, text, 1000), packed(crew, text, text.size()));
}

TEST_F(EntryPackerTest, ChunksCostNextToNothing) {
  PackCrew crew;
  const PackCrew::Place place(crew);
  const std::string text = lines(4000000);
  std::string whole(compressBound(text.size()), ' ');
  uLongf size = whole.size();
  ASSERT_EQ(compress2(reinterpret_cast<Bytef*>(whole.data()), &size,
                      reinterpret_cast<const Bytef*>(text.data()), text.size(), 6),
            Z_OK);
  EXPECT_LT(static_cast<double>(packed(crew, text, 65536).size()), static_cast<double>(size) * 1.005);
}

TEST_F(EntryPackerTest, ThreadsThatHelpMakeTheSame) {
  const std::string text = lines(6000000);
  PackCrew alone;
  const std::string expected = packed(alone, text, 65536);
  for (int round = 0; round < 5; ++round) {
    PackCrew crew;
    PackCrew::Place place(crew);
    std::vector<std::thread> helpers;
    for (int i = 0; i < 3; ++i) {
      helpers.emplace_back([&crew] { PackCrew::Place(crew).help(); });
    }
    EXPECT_TRUE(packed(crew, text, 65536) == expected);
    place.help();  // returns, since nobody has a text any more
    for (std::thread& helper : helpers) {
      helper.join();
    }
  }
}

TEST_F(EntryPackerTest, ThreadWithoutOthersNeedsNoHelp) {
  PackCrew crew;
  PackCrew::Place place(crew);
  PackChunk chunk;
  EXPECT_FALSE(crew.offer(chunk));
  place.help();
}

// While helpers have chunks of it.
TEST_F(EntryPackerTest, FullDiskIsToldAndNobodyIsLeftWaiting) {
  const std::string text = noise(3000000);
  for (const bool helped : {false, true}) {
    PackCrew crew;
    std::vector<std::thread> helpers;
    {
      const PackCrew::Place place(crew);
      for (int i = 0; helped && i < 2; ++i) {
        helpers.emplace_back([&crew] { PackCrew::Place(crew).help(); });
      }
      std::FILE* const full = std::fopen("/dev/full", "w");
      ASSERT_NE(full, nullptr);
      EntryPacker packer(crew, fileno(full));
      errno = 0;
      EXPECT_FALSE(packer.put(text) && packer.finish());
      EXPECT_EQ(errno, ENOSPC);
      std::fclose(full);
    }
    for (std::thread& helper : helpers) {
      helper.join();
    }
  }
}

}  // namespace
}  // namespace halvo
