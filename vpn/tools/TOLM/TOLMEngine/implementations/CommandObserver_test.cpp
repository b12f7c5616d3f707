#include "vpn/tools/TOLM/TOLMEngine/implementations/CommandObserver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace halvo {
namespace {

using ::testing::ElementsAre;

class RecordingObserver : public ICommandObserver {
 public:
  void commandStarts(const std::string& commandLine) override { calls.push_back("start " + commandLine); }
  void commandEnded() override { calls.emplace_back("end"); }
  std::vector<std::string> calls;
};

TEST(CommandObserverTest, ACommandIsToldAheadOfItsStartAndBehindItsEnd) {
  RecordingObserver observer;
  setCommandObserver(&observer);
  {
    const ObservedCommand observed("ps aux");
    observer.calls.emplace_back("runs");
  }
  setCommandObserver(nullptr);
  { const ObservedCommand unobserved("ls"); }
  EXPECT_THAT(observer.calls, ElementsAre("start ps aux", "runs", "end"));
}

TEST(CommandObserverTest, TheObserverThatWasToldOfTheStartIsToldOfTheEnd) {
  RecordingObserver observer;
  setCommandObserver(&observer);
  {
    const ObservedCommand observed("ps");
    setCommandObserver(nullptr);
  }
  EXPECT_THAT(observer.calls, ElementsAre("start ps", "end"));
}

}  // namespace
}  // namespace halvo
