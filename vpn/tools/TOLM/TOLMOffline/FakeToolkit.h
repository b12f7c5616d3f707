// FakeToolkit: a toolkit without a window for tests of the flow. It keeps the controls' state and a
// list of every operation, in order. Blocks wait in its queues until the test runs them.

#pragma once

#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "vpn/tools/TOLM/TOLMOffline/IToolkit.h"

namespace halvo::test {

inline std::string outletName(Outlet outlet) {
  static const char* const kNames[] = {"mainWindow",    "tabView",        "welcomeMsg",    "tolmIntro",
                                       "pswdText",      "runButton",      "encryptionBox", "maskPswdBox",
                                       "passwordField", "unmaskPassword", "progressMsg",   "progressBar",
                                       "cancelButton",  "finishMsg",      "finishButton",  "mAbout",
                                       "mHideTolm",     "mHideOthers",    "mShowAll",      "mQuitTolm"};
  return kNames[static_cast<int>(outlet)];
}

class FakeMainQueue : public IMainQueue {
 public:
  void submit(std::function<void()> block) override { m_Blocks.push_back(std::move(block)); }
  // Runs what is queued, also what is queued meanwhile. Returns how many blocks ran.
  std::size_t drain() {
    std::size_t count = 0;
    for (; !m_Blocks.empty(); ++count) {
      const std::function<void()> block = std::move(m_Blocks.front());
      m_Blocks.pop_front();
      block();
    }
    return count;
  }
  [[nodiscard]] std::size_t size() const { return m_Blocks.size(); }

 private:
  std::deque<std::function<void()>> m_Blocks;
};

class FakeToolkit : public IToolkit {
 public:
  // What was called, as "operation outlet value".
  std::vector<std::string> calls;
  std::map<Outlet, std::string> titles;
  std::map<Outlet, std::string> texts;
  std::map<Outlet, bool> enabled;
  std::map<Outlet, bool> hidden;
  std::map<Outlet, int> states;
  std::map<Outlet, double> values;
  std::map<Hint, std::string> hints;
  std::vector<Outlet> focused;
  std::vector<Outcome> outcomes;
  int screen = 0;
  int terminations = 0;
  IApplicationDelegate* delegate = nullptr;
  FakeMainQueue queue;
  std::vector<std::pair<GlobalQueue, std::function<void()>>> background;

  void setDelegate(IApplicationDelegate* value) override {
    delegate = value;
    calls.emplace_back(value != nullptr ? "setDelegate controller" : "setDelegate null");
  }
  void terminate() override {
    ++terminations;
    calls.emplace_back("terminate");
    if (delegate != nullptr) {
      delegate->applicationWillTerminate();
    }
  }
  void setTitle(Outlet outlet, const std::string& title) override {
    titles[outlet] = title;
    note("setTitle", outlet, title);
  }
  void setTabViewType(Outlet outlet, int type) override {
    note("setTabViewType", outlet, std::to_string(type));
  }
  void selectNextTabViewItem(Outlet outlet) override {
    screen = screen < 2 ? screen + 1 : screen;
    note("selectNextTabViewItem", outlet);
  }
  std::string stringValue(Outlet outlet) override {
    note("stringValue", outlet);
    return texts[outlet];
  }
  void setStringValue(Outlet outlet, const std::string& text) override {
    texts[outlet] = text;
    note("setStringValue", outlet, text);
  }
  void setEnabled(Outlet outlet, bool value) override {
    enabled[outlet] = value;
    note("setEnabled", outlet, value ? "yes" : "no");
  }
  void setHidden(Outlet outlet, bool value) override {
    hidden[outlet] = value;
    note("setHidden", outlet, value ? "yes" : "no");
  }
  int state(Outlet outlet) override {
    note("state", outlet);
    return states[outlet];
  }
  void setState(Outlet outlet, int value) override {
    states[outlet] = value;
    note("setState", outlet, std::to_string(value));
  }
  void startAnimation(Outlet outlet) override { note("startAnimation", outlet); }
  void setDoubleValue(Outlet outlet, double value) override {
    values[outlet] = value;
    note("setDoubleValue", outlet, std::to_string(value));
  }
  void displayIfNeeded(Outlet outlet) override { note("displayIfNeeded", outlet); }
  // The aids stand in lists of their own: the flow's steps are counted without them.
  void setHint(Hint hint, const std::string& text) override { hints[hint] = text; }
  void focus(Outlet outlet) override { focused.push_back(outlet); }
  void showOutcome(const Outcome& outcome) override { outcomes.push_back(outcome); }
  void dispatchAsync(GlobalQueue global, std::function<void()> block) override {
    calls.push_back("dispatchAsync " + std::to_string(static_cast<int>(global)));
    background.emplace_back(global, std::move(block));
  }
  IMainQueue& mainQueue() override { return queue; }

 private:
  void note(const std::string& operation, Outlet outlet, const std::string& value = {}) {
    calls.push_back(operation + " " + outletName(outlet) + (value.empty() ? "" : " " + value));
  }
};

}  // namespace halvo::test
