// Runs whose memory runs out, one allocation after the other. Operator new is this program's own.

#include <cstdlib>
#include <new>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineRuns_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace {

// How many allocations are still granted; negative: all of them.
constinit long s_nGranted = -1;
constinit bool s_bRefuseAll = false;
constinit bool s_bRefused = false;

void* allocate(std::size_t size) {
  if (s_nGranted >= 0 && (s_nGranted > 0 ? s_nGranted-- : 0) == 0) {
    s_bRefused = true;
    if (!s_bRefuseAll) {
      s_nGranted = -1;
    }
    throw std::bad_alloc();
  }
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return std::malloc(size != 0 ? size : 1);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
  std::free(memory);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

namespace halvo {
namespace {

using namespace test;
using ::testing::IsEmpty;

// Only what the engine does itself: what its helpers below ask for by malloc() isn't refused here.
class EngineMemoryTest : public ::testing::Test {
 protected:
  // Takes the codes only: a listener that allocates would be refused too.
  class Finish : public IProgressListener {
   public:
    Finish() { setProgressListener(this); }
    ~Finish() override { setProgressListener(nullptr); }
    Finish(const Finish&) = delete;
    Finish& operator=(const Finish&) = delete;
    void updateMsg(const std::string& /*message*/) override {}
    void updateProgress(const std::uint32_t* /*percent*/) override {}
    void tolmFinished(ResultCode code) override { last = code; }
    ResultCode last = 1;
  };

  // A record that there is no memory for is lost, and changes nothing: not what is looked at here.
  class Silent : public ILogger {
   public:
    ResultCode log(std::uint32_t /*severity*/, const char* /*message*/, const char* /*name*/,
                   std::uint32_t /*id*/, int /*level*/) override {
      return 0;
    }
  };

  EngineMemoryTest() {
    while (!releaseLogging()) {
    }
    ResultCode result = 0;
    acquireLogging(result, "test", new Silent);
    std::filesystem::remove_all("/opt/halvo");
    writeFile("/tmp/src/one.log", "one\n");
    writeFile("/tmp/src/sub/two.log", "two\n");
    writeFile(
        std::string(kConfigFolder) + "a.xml",
        documentText("Alpha", itemText("logs", copyAction("/tmp/src/*")) +
                                  itemText("gone", copyAction("/tmp/none/*")) +
                                  itemText("echo", captureAction("echo hello")) + itemText("no", "", "no")));
  }

  // One run of which the allocation `index` is refused; the archive is left out, which is not the engine's.
  struct Outcome {
    ResultCode code;
    ResultCode told;
    bool refused;
  };
  static Outcome runRefusing(long index, bool all) {
    Finish finish;
    TOLMEngine engine("", "/tmp/out.zip", "", false);
    engine.setArchiveStep(
        [](const std::string&, const std::string&, const std::string&) { return ResultCode{0}; });
    s_bRefuseAll = all;
    s_bRefused = false;
    s_nGranted = index;
    const ResultCode code = engine.run();
    s_nGranted = -1;
    return {code, finish.last, s_bRefused};
  }

  static std::vector<std::string> leftovers() {
    std::vector<std::string> names;
    for (const std::string& name : listFolder("/tmp")) {
      if (name.rfind("TOLM_Temp_Bundle", 0) == 0) {
        names.push_back(name);
      }
    }
    return names;
  }
};

TEST_F(EngineMemoryTest, WhicheverAllocationFailsTheRunEndsWithACode) {
  constexpr long kAtMost = 100000;
  long index = 0;
  for (; index < kAtMost; ++index) {
    const Outcome outcome = runRefusing(index, false);
    ASSERT_EQ(outcome.told, outcome.code) << index;
    ASSERT_THAT(leftovers(), IsEmpty()) << index;
    if (!outcome.refused) {
      ASSERT_RESULT(outcome.code, 0);
      break;
    }
    EXPECT_RESULT(outcome.code, TOLMENGINE_ERROR_MEMALLOC_FAILED) << index;
  }
  EXPECT_GT(index, 100);
  EXPECT_LT(index, kAtMost);
}

TEST_F(EngineMemoryTest, WhereEveryAllocationFailsFromSomeMomentOnItEndsAllTheSame) {
  constexpr long kAtMost = 100000;
  for (long index = 0; index < kAtMost; ++index) {
    const Outcome outcome = runRefusing(index, true);
    ASSERT_EQ(outcome.told, outcome.code) << index;
    if (!outcome.refused) {
      break;
    }
    ASSERT_RESULT(outcome.code, TOLMENGINE_ERROR_MEMALLOC_FAILED) << index;
    // Without any memory the folder may stay; what can't be listed can't be removed. It is locked by nobody.
    for (const std::string& name : leftovers()) {
      ASSERT_RESULT(helperUtil::fileDeleteLeftOver("/tmp/" + name), 0) << index;
    }
  }
}

}  // namespace
}  // namespace halvo
