// What takes more than a second.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdint>
#include <ostream>
#include <streambuf>

#include "tests/support/ForkedCase.h"
#include "vpn/Common/Utility/CommandShell.h"

namespace halvo {

namespace {

// Counts the bytes that are written to it, and those that aren't zero.
class Counter : public std::streambuf {
 public:
  std::uint64_t bytes = 0;
  std::uint64_t others = 0;

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override {
    for (std::streamsize i = 0; i < size; ++i) {
      others += text[i] != '\0' ? 1 : 0;
    }
    bytes += static_cast<std::uint64_t>(size);
    return size;
  }
};

long peakKilobytes() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

TEST(CommandShellSlowTest, MemoryStaysFlatWithThreeGigabytesOfOutput) {
  constexpr std::uint64_t kSize = 3ULL << 30;
  constexpr long kAllowedKilobytes = 8192;
  const test::ForkedResult result = test::runForked(
      [] {
        Counter counter;
        std::ostream output(&counter);
        CCommandShell shell("head -c 3221225472 /dev/zero");
        const long before = peakKilobytes();
        if (shell.Execute(output) != 0) {
          return 1;
        }
        if (counter.bytes != kSize || counter.others != 0) {
          return 2;
        }
        return peakKilobytes() - before <= kAllowedKilobytes ? 0 : 3;
      },
      400);
  EXPECT_EQ(result.exitStatus, 0) << "1: failed, 2: other bytes, 3: memory grew\n" << result.dump();
}

}  // namespace

}  // namespace halvo
