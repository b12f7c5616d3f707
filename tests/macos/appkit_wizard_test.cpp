// The wizard on AppKit as a user meets it: its window, over GNUstep, on a real X server with a window
// manager, worked by keys and by the mouse, with its bundle opened by other makers' programs.
//
// What the screens say can't be read from outside here: the tests go by what the program does.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/BundleReader.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/system/wizard_desktop.h"

namespace halvo {
namespace {

using test::BackgroundProgram;
using test::WizardDesktop;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// An item of a document for one system.
std::string item(const std::string& id, const std::string& action,
                 const std::string& system = test::kThisSystem) {
  return "<file id=\"" + id + "\"><description>" + id + "</description><default>true</default><tolm>" +
         test::osStart(system) + action + "</os></tolm></file>";
}

class AppKitWizardTest : public ::testing::Test {
 protected:
  AppKitWizardTest() {
    unsetenv("DISPLAY");
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) {
      unsetenv(name);
    }
    std::filesystem::remove_all(m_strDesktopFolder);
    test::makeFolders(m_strDesktopFolder);
    test::writeFile("/opt/halvo/tessarmont/log/client.log", "the client's log\n");
    setConfig(item("log", test::copyAction("/opt/halvo/tessarmont/log/*.log")));
    m_pDesktop = std::make_unique<WizardDesktop>();
    // The toolkit's own notification service: it would start one by itself that outlives the test.
    m_pNotifications = std::make_unique<BackgroundProgram>(std::vector<std::string>{"gdnc", "--no-fork"},
                                                           m_pDesktop->environment(), "/run/gdnc");
  }

  static void setConfig(const std::string& items) {
    test::writeFile("/opt/halvo/tessarmont/tolm/xml/config/client.xml", test::documentText("Client", items));
  }
  static bool waitUntil(const std::function<bool()>& done,
                        std::chrono::seconds limit = std::chrono::seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
      if (std::chrono::steady_clock::now() > end) {
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
  }
  std::vector<std::string> bundles() { return test::listFolder(m_strDesktopFolder); }
  static bool runIsUnderWay() {
    for (const std::string& name : test::listFolder("/tmp")) {
      if (name.rfind("TOLM_Temp_Bundle", 0) == 0) {
        return true;
      }
    }
    return false;
  }

  // Starts the wizard and waits for its window, which a click gives the keyboard to.
  std::unique_ptr<BackgroundProgram> startWizard() {
    auto wizard = std::make_unique<BackgroundProgram>(
        std::vector<std::string>{std::string(TOLM_TEST_BUILD_DIR) + "/bin/TOLM.app/tmtolmui"},
        m_pDesktop->environment(), "/run/wizard");
    // A search gives up where a window goes while it looks, and the toolkit makes and drops some at its
    // start.
    EXPECT_TRUE(waitUntil([this] {
      const auto found =
          m_pDesktop->run({"xdotool", "search", "--onlyvisible", "--name", "^Halvo TOLM$"}, 60);
      m_strWindow = found.out.substr(0, found.out.find('\n'));
      return !m_strWindow.empty();
    }));
    EXPECT_NE(m_strWindow, "") << wizard->err();
    // It gets the keyboard by a click, on a place where there is nothing to press.
    EXPECT_TRUE(waitUntil([this] {
      click(280, 330);
      return waitUntil([this] { return isActive(); }, std::chrono::seconds(5));
    }));
    // From then on it takes no press for half a second, and nothing is seen of that time's end.
    std::this_thread::sleep_for(std::chrono::seconds(1));
    // It takes clicks when it has heard that it is in front, which can't be seen from outside: its first
    // answer tells. The box ends as it was.
    setEncryption(true);
    setEncryption(false);
    return wizard;
  }
  // Whether the window manager has given the window the keyboard.
  bool isActive() {
    const std::string active = m_pDesktop->run({"xdotool", "getactivewindow"}, 60).out;
    return active.substr(0, active.find('\n')) == m_strWindow;
  }
  // A click at a place of the window's content. (xdotool's "--sync" would wait for a move that doesn't come
  // where the pointer is there already.) The program has it when this returns, but hasn't done with it: keys
  // and clicks come to it by one connection, in their order, and what is seen of them is for the caller to
  // wait for.
  void click(int x, int y) {
    EXPECT_EQ(m_pDesktop
                  ->run({"xdotool", "mousemove", "--window", m_strWindow, std::to_string(x),
                         std::to_string(y), "click", "1"},
                        60)
                  .exitStatus,
              0);
  }
  // Whether the window shows white at this place.
  bool isWhite(int x, int y) {
    const std::string place = "1x1+" + std::to_string(x) + "+" + std::to_string(y);
    std::string pixel;
    EXPECT_TRUE(waitUntil([this, &place, &pixel] {
      pixel = m_pDesktop->run({"import", "-window", m_strWindow, "-crop", place, "txt:-"}, 60).out;
      return pixel.find('#') != std::string::npos;
    }));
    return pixel.find("#FFFFFF") != std::string::npos;
  }
  // The password field is white while it can be typed in. Looks several times: a window that is being drawn
  // anew has other colours in between.
  bool isEncryption(bool on) {
    constexpr int kLooks = 3;
    for (int i = 0; i < kLooks; ++i) {
      if (isWhite(300, 257) != on) {
        return false;
      }
    }
    return true;
  }
  void setEncryption(bool on) {
    EXPECT_TRUE(waitUntil([this, on] {
      if (isEncryption(on)) {
        return true;
      }
      // One look may have met a window that is being drawn: a click is for one that stays so.
      if (!isEncryption(!on)) {
        return false;
      }
      click(30, 203);
      // Long enough that a click which is only slow to arrive isn't followed by one that undoes it. One that
      // comes before the program is in front, or in its first half second, isn't taken.
      return waitUntil([this, on] { return isEncryption(on); }, std::chrono::seconds(20));
    }));
  }
  // Clicks in the visible field and types. What the test does next comes to the program behind it.
  void typePassword(const std::string& text) {
    click(200, 257);
    m_pDesktop->press("End");
    m_pDesktop->type(text);
  }
  void clickMask() { click(47, 287); }
  void clickButton() { click(480, 368); }

  void waitForTheBundle() {
    ASSERT_TRUE(waitUntil([this] { return bundles().size() == 1 && !runIsUnderWay(); }));
  }
  // Presses Return on the finished screen until the program has ended.
  std::string finish(BackgroundProgram& wizard) {
    return endBy(wizard, [this] { static_cast<void>(m_pDesktop->run({"xdotool", "key", "Return"}, 30)); });
  }
  // A wizard in the middle of a command that takes longer than the test.
  std::unique_ptr<BackgroundProgram> wizardInASlowCommand() {
    setConfig(item("slow", test::captureAction("sleep 100")));
    auto wizard = startWizard();
    m_pDesktop->press("Return");
    EXPECT_TRUE(waitUntil(&runIsUnderWay));
    return wizard;
  }
  // Does it again until the program has ended: a new screen takes no press at first, and a busy machine is
  // slow.
  static std::string endBy(BackgroundProgram& wizard, const std::function<void()>& action) {
    std::string end = "running";
    for (int i = 0; i < 40 && end == "running"; ++i) {
      action();
      end = wizard.waitForEnd(1);
    }
    return end;
  }
  std::string only() { return m_strDesktopFolder + "/" + bundles().at(0); }

  const std::string m_strDesktopFolder = std::string(std::getenv("HOME")) + "/Desktop";
  std::unique_ptr<WizardDesktop> m_pDesktop;
  std::unique_ptr<BackgroundProgram> m_pNotifications;
  std::string m_strWindow;
};

TEST_F(AppKitWizardTest, EncryptedRunGivesABundleThatOpensWithThePasswordTyped) {
  const std::unique_ptr<BackgroundProgram> wizard = startWizard();
  setEncryption(true);
  typePassword("Se cret-42%s");
  m_pDesktop->press("Return");
  waitForTheBundle();
  EXPECT_EQ(finish(*wizard), "exit 0");

  EXPECT_THAT(bundles()[0], ::testing::MatchesRegex("TOLMBundle_[0-9]{4}_[0-9]{4}[.]zip"));
  for (const test::Reader reader : test::allReaders()) {
    const auto content = test::bundleContent(reader, only(), "Se cret-42%s");
    EXPECT_EQ(content.count("summary.txt"), 1U) << test::readerName(reader);
    EXPECT_EQ(content.count("Client/client.log"), 1U) << test::readerName(reader);
    EXPECT_NE(test::checkBundle(reader, only(), "Se cret-42").exitStatus, 0) << test::readerName(reader);
  }
}

TEST_F(AppKitWizardTest, PasswordThatIsUnmaskedAndTypedOnIsTheOneInUse) {
  const std::unique_ptr<BackgroundProgram> wizard = startWizard();
  setEncryption(true);
  typePassword("first");
  clickMask();
  typePassword("+second");
  clickButton();
  waitForTheBundle();
  EXPECT_EQ(finish(*wizard), "exit 0");
  EXPECT_EQ(test::checkBundle(test::Reader::Python, only(), "first+second").exitStatus, 0);
  EXPECT_NE(test::checkBundle(test::Reader::Python, only(), "first").exitStatus, 0);
}

TEST_F(AppKitWizardTest, PasswordIsNotUsedOnceEncryptionIsOffAgain) {
  const std::unique_ptr<BackgroundProgram> wizard = startWizard();
  setEncryption(true);
  typePassword("secret");
  setEncryption(false);
  clickButton();
  waitForTheBundle();
  EXPECT_EQ(finish(*wizard), "exit 0");
  EXPECT_EQ(test::bundleContent(test::Reader::Python, only()).count("summary.txt"), 1U);
}

TEST_F(AppKitWizardTest, ItemsOfThisSystemAreTakenAndThoseOfAnotherAreNot) {
  setConfig(item("here", test::captureAction("echo here")) +
            item("there", test::captureAction("echo there"), test::kOtherSystem));
  const std::unique_ptr<BackgroundProgram> wizard = startWizard();
  m_pDesktop->press("Return");
  waitForTheBundle();
  EXPECT_EQ(finish(*wizard), "exit 0");
  std::string all;
  for (const auto& [name, text] : test::bundleContent(test::Reader::Python, only())) {
    all += text;
  }
  EXPECT_THAT(all, HasSubstr("here"));
  EXPECT_THAT(all, ::testing::Not(HasSubstr("echo there")));
  EXPECT_THAT(all, HasSubstr("macOS 11.0.0"));
}

TEST_F(AppKitWizardTest, CancelEndsTheProgramInTheMiddleOfARun) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();
  EXPECT_EQ(endBy(*wizard, [this] { clickButton(); }), "exit 0");
  EXPECT_THAT(bundles(), IsEmpty());
}

TEST_F(AppKitWizardTest, ClosingTheWindowEndsTheProgram) {
  const std::unique_ptr<BackgroundProgram> wizard = startWizard();
  EXPECT_EQ(endBy(*wizard,
                  [this] {
                    static_cast<void>(m_pDesktop->run({"xdotool", "key", "alt+F4"}, 30));
                  }),
            "exit 0");
  EXPECT_THAT(bundles(), IsEmpty());
}

TEST_F(AppKitWizardTest, QuitEndsTheProgramInTheMiddleOfARun) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();
  EXPECT_EQ(endBy(*wizard, [this] { m_pDesktop->press("alt+q"); }), "exit 0");
  EXPECT_THAT(bundles(), IsEmpty());
}

}  // namespace
}  // namespace halvo
