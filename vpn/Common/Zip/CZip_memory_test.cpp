// Archives made while the heap says no. The linker routes the static libraries' calls of malloc() through
// here; those of the shared ones, zlib's and the C++ runtime's among them, are left alone.

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>

#include "tests/support/BundleReader.h"
#include "tests/support/Files.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Zip/CZip.h"

namespace {

// The call that fails, from 1; 0 for none. All behind it fail too where `s_goesOn`.
std::atomic<int> s_nFailing = 0;
std::atomic<int> s_nCalls = 0;
std::atomic<bool> s_goesOn = false;

}  // namespace

extern "C" {

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size);
void* __wrap_malloc(size_t size) {
  const int call = ++s_nCalls;
  const int failing = s_nFailing;
  if (failing != 0 && (call == failing || (s_goesOn && call > failing))) {
    errno = ENOMEM;
    return nullptr;
  }
  return __real_malloc(size);
}

}  // extern "C"

namespace halvo {
namespace {

class MinizipMemoryTest : public ::testing::Test {
 protected:
  MinizipMemoryTest() {
    test::writeFile(m_folder.file("in/a.log"), "one\n");
    test::writeFile(m_folder.file("in/b.log"), "two\n");
  }
  ~MinizipMemoryTest() override { s_nFailing = 0; }

  ResultCode zip() { return CZip().Zip(m_folder.file("in"), m_folder.file("out.zip"), "", true); }

  test::TempFolder m_folder;
};

// minizip wrote an entry's central header to whatever it got, and the program died where that was nothing.
TEST_F(MinizipMemoryTest, NoAllocationOfMinizipThatFailsEndsTheProgram) {
  s_nCalls = 0;
  ASSERT_RESULT(zip(), 0);
  const int calls = s_nCalls;
  ASSERT_GT(calls, 4);
  for (const bool goesOn : {false, true}) {
    for (int failing = 1; failing <= calls; ++failing) {
      s_goesOn = goesOn;
      s_nCalls = 0;
      s_nFailing = failing;
      // Whether that is told: a refused entry ends the bundle without a word, and callers look at it.
      static_cast<void>(zip());
      s_nFailing = 0;
    }
  }
  ASSERT_RESULT(zip(), 0);
  EXPECT_EQ(test::bundleNames(m_folder.file("out.zip")).size(), 2U);
}

}  // namespace
}  // namespace halvo
