// The wizard as a user meets it: its window on a real X server with a window manager, worked by keys and
// through accessibility, with its bundle opened by other makers' programs.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/BundleReader.h"
#include "tests/support/ConsoleRun.h"
#include "tests/support/DatagramReceiver.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/MoBuilder.h"
#include "tests/support/Processes.h"
#include "tests/support/Subprocess.h"
#include "tests/system/wizard_desktop.h"

namespace halvo {
namespace {

using test::BackgroundProgram;
using test::WizardDesktop;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

std::vector<std::string> lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> result;
  for (std::string line; std::getline(stream, line);) {
    result.push_back(line);
  }
  return result;
}

// A config document of items; each is a description and the actions' XML.
std::string configDocument(const std::vector<std::pair<std::string, std::string>>& items) {
  std::string text = "<instructions><configure><title>Client</title></configure>";
  int number = 0;
  for (const auto& [description, action] : items) {
    text += "<file id=\"item-" + std::to_string(++number) + "\"><description>" + description +
            "</description><default>true</default><tolm><os opsys=\"linux\">" + action +
            "</os></tolm></file>";
  }
  return text + "</instructions>";
}

class WizardTest : public ::testing::Test {
 protected:
  WizardTest() {
    unsetenv("DISPLAY");
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LANGUAGE"}) {
      unsetenv(name);
    }
    test::makeFolders(m_strDesktopFolder);
    test::writeFile("/opt/halvo/tessarmont/log/client.log", "the client's log\n");
    setConfig(configDocument({{"Client log", test::copyAction("/opt/halvo/tessarmont/log/*.log")}}));
  }

  void setConfig(const std::string& document) {
    test::writeFile("/opt/halvo/tessarmont/tolm/xml/config/client.xml", document);
  }
  WizardDesktop& desktop() {
    if (m_pDesktop == nullptr) {
      m_pDesktop = std::make_unique<WizardDesktop>();
    }
    return *m_pDesktop;
  }
  // The bundles on the Desktop.
  std::vector<std::string> bundles() { return test::listFolder(m_strDesktopFolder); }
  // An action whose command leaves a process behind that notes itself in /opt/left and heeds no SIGTERM.
  static std::string leavingAction() {
    return test::captureAction(
        "(setsid sh -c 'trap \"\" TERM; echo $$ &gt;/opt/left.new; mv /opt/left.new /opt/left; exec sleep "
        "300' "
        "&lt;/dev/null &gt;/dev/null 2&gt;&amp;1 &amp;); "
        "for i in `seq 900`; do test -e /opt/left &amp;&amp; break; sleep 0.1; done");
  }
  // A wizard in the middle of a command that takes longer than the test.
  std::unique_ptr<BackgroundProgram> wizardInASlowCommand() {
    setConfig(
        configDocument({{"Client log", test::copyAction("/opt/halvo/tessarmont/log/*.log")},
                        {"A command that leaves another", leavingAction()},
                        {"A slow command", test::captureAction("echo $$ &gt;/opt/slow; exec sleep 300")}}));
    std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
    desktop().press("Return");
    // What the command says of itself, or its item's own line.
    desktop().accessibility({"wait-text", "Processing A slow command"});
    EXPECT_TRUE(test::waitForFile("/opt/slow"));
    return wizard;
  }
  void expectACutOffRun(BackgroundProgram& wizard) {
    EXPECT_EQ(wizard.waitForEnd(), "exit 0");
    EXPECT_THAT(bundles(), IsEmpty());
    EXPECT_THAT(test::workFolders(), SizeIs(1));
    EXPECT_EQ(wizard.err(), "");
    expectNoCommand();
  }
  // Neither the slow one nor the one that was left behind lives on.
  static void expectNoCommand() {
    for (const char* const note : {"/opt/slow", "/opt/left"}) {
      EXPECT_GT(test::processIn(note), 0) << note;
      EXPECT_FALSE(test::isAlive(test::processIn(note))) << note;
    }
  }
  // Presses Run and gives back the closing message.
  std::string closingMessage(const std::string& start = "") {
    desktop().press("Return");
    desktop().accessibility({"wait-text", start});
    std::string message;
    for (const std::string& line : lines(desktop().accessibility({"tree"}))) {
      if (line.rfind("label\t", 0) == 0) {
        message = line.substr(6, line.find('\t', 6) - 6);
      }
    }
    return message;
  }

  const std::string m_strDesktopFolder = std::string(std::getenv("HOME")) + "/Desktop";
  std::unique_ptr<WizardDesktop> m_pDesktop;
};

// A command that takes until so many values of the progress bar have been seen.
std::string waitForStep(int step) {
  return test::captureAction("for i in `seq 900`; do test -e /opt/steps/" + std::to_string(step) +
                             " &amp;&amp; break; sleep 0.1; done");
}

TEST_F(WizardTest, EncryptedRunByKeyboardGivesABundleThatOpensWithThePasswordTyped) {
  setConfig(configDocument({{"Client log", test::copyAction("/opt/halvo/tessarmont/log/*.log")},
                            {"First", waitForStep(1)},
                            {"Second", waitForStep(2)},
                            {"Third", waitForStep(3)},
                            {"Greeting", test::captureAction("echo greetings")}}));
  test::makeFolders("/opt/steps");
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
  desktop().press("space");  // tick encryption, which leads to the password
  desktop().type("Se cret-42%s");
  EXPECT_THAT(desktop().accessibility({"tree"}), ::testing::Not(HasSubstr("Se cret")));
  desktop().press("Tab");
  desktop().press("space");  // unmask
  desktop().accessibility({"wait-tree", "Se cret-42%s"});

  desktop().press("Return");
  const std::vector<std::string> values = lines(desktop().accessibility({"follow-bar", "/opt/steps"}));

  EXPECT_EQ(lines(desktop().accessibility({"wait-text", "The bundle was"})).front(),
            "The bundle was created successfully on your Desktop.");
  EXPECT_GE(values.size(), 3U) << "the bar stood still: " << ::testing::PrintToString(values);
  for (std::size_t i = 1; i < values.size(); ++i) {
    EXPECT_GE(std::stoi(values[i]), std::stoi(values[i - 1]));
  }
  desktop().press("Return");
  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  EXPECT_EQ(wizard->err(), "");
  EXPECT_EQ(wizard->out(), "");
  ASSERT_THAT(bundles(), SizeIs(1));
  EXPECT_THAT(bundles()[0], ::testing::MatchesRegex("TOLMBundle_[0-9]{4}_[0-9]{4}[.]zip"));
  const std::string bundle = m_strDesktopFolder + "/" + bundles()[0];
  for (const test::Reader reader : test::allReaders()) {
    const std::map<std::string, std::string> content = test::bundleContent(reader, bundle, "Se cret-42%s");
    EXPECT_EQ(content.count("summary.txt"), 1U) << test::readerName(reader);
    std::string all;
    for (const auto& [name, text] : content) {
      all += name + "\n" + text + "\n";
    }
    EXPECT_THAT(all, HasSubstr("the client's log")) << test::readerName(reader);
    EXPECT_THAT(all, HasSubstr("greetings")) << test::readerName(reader);
    EXPECT_NE(test::checkBundle(reader, bundle, "Se cret-42").exitStatus, 0) << test::readerName(reader);
  }
  EXPECT_THAT(test::workFolders(), IsEmpty());
}

TEST_F(WizardTest, RunByAccessibilityAloneGivesAnOpenBundle) {
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();

  desktop().accessibility({"press", "Run"});
  desktop().accessibility({"wait-text", "The bundle was created"});
  desktop().accessibility({"press", "Finish"});

  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  ASSERT_THAT(bundles(), SizeIs(1));
  EXPECT_EQ(
      test::bundleContent(test::Reader::Python, m_strDesktopFolder + "/" + bundles()[0]).count("summary.txt"),
      1U);
}

TEST_F(WizardTest, WhatItWritesIsForItsUserAloneAndItsCommandsHaveTheCallersMask) {
  setConfig(configDocument({{"Modes", test::captureAction("stat -c %a /tmp/TOLM_Temp_Bundle*; umask")}}));
  desktop();
  const mode_t before = umask(0);
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
  umask(before);

  EXPECT_THAT(closingMessage("The bundle was created"), StartsWith("The bundle was created"));

  ASSERT_THAT(bundles(), SizeIs(1));
  const std::string bundle = m_strDesktopFolder + "/" + bundles()[0];
  struct stat status = {};
  EXPECT_EQ(stat(bundle.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  EXPECT_THAT(test::bundleContent(test::Reader::Python, bundle).at("Client/stat_result.txt"),
              EndsWith("700\n0000\n"));
}

TEST_F(WizardTest, ARunWaitsQuietlyForAnotherOneOfTheUsers) {
  test::makeFolders("/opt/runtime");
  ASSERT_EQ(chmod("/opt/runtime", 0700), 0);
  const char* const file = geteuid() == 0 ? "/run/tolm.lock" : "/opt/runtime/tolm.lock";
  const int lock = open(file, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  const std::unique_ptr<BackgroundProgram> wizard =
      desktop().startWizard({{"XDG_RUNTIME_DIR", "/opt/runtime"}});

  desktop().press("Return");
  EXPECT_TRUE(
      test::waitUntil([&wizard] { return test::processesThatWaitForALock().count(wizard->id()) == 1; }));
  EXPECT_THAT(bundles(), IsEmpty());
  EXPECT_THAT(test::workFolders(), IsEmpty());

  close(lock);
  desktop().accessibility({"wait-text", "The bundle was created"});
  EXPECT_THAT(bundles(), SizeIs(1));
  desktop().press("Return");
  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  EXPECT_EQ(wizard->err(), "");
}

TEST_F(WizardTest, PasswordOfTenThousandCharactersOfAnyScriptAndLineEndsOpensTheBundle) {
  std::string password =
      "p\xc3\xa4ss \xe5\xaf\x86\xe7\xa0\x81 \xd8\xb3\xd8\xb1 \xf0\x9f\x94\x91\r\nsecond\tline\n";
  password += std::string(10000, 'x');
  test::writeFile("/run/password", password);
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
  desktop().accessibility({"press", "Enable Bundle Encryption"});
  desktop().accessibility({"set", "Encryption Password", "/run/password"});

  desktop().accessibility({"press", "Run"});
  desktop().accessibility({"wait-text", "The bundle was created"});

  ASSERT_THAT(bundles(), SizeIs(1));
  const std::string bundle = m_strDesktopFolder + "/" + bundles()[0];
  EXPECT_EQ(test::checkBundle(test::Reader::Python, bundle, password).exitStatus, 0);
  EXPECT_NE(test::checkBundle(test::Reader::Python, bundle, password + "x").exitStatus, 0);
}

TEST_F(WizardTest, UsersDecimalCommaStaysOutOfTheReport) {
  test::makeFolders("/run/locales");
  const test::RunResult made =
      test::runProgram({"localedef", "-i", "de_DE", "-f", "UTF-8", "/run/locales/de_DE.UTF-8"});
  ASSERT_EQ(made.exitStatus, 0) << made.err;
  test::writeFile("/opt/halvo/tessarmont/log/client.log", std::string(1536, 'x'));
  const std::unique_ptr<BackgroundProgram> wizard =
      desktop().startWizard({{"LC_ALL", "de_DE.UTF-8"}, {"LOCPATH", "/run/locales"}});

  closingMessage("The bundle was");

  ASSERT_THAT(bundles(), SizeIs(1));
  const std::string summary =
      test::bundleContent(test::Reader::Python, m_strDesktopFolder + "/" + bundles()[0])["summary.txt"];
  EXPECT_THAT(summary, HasSubstr("1.50K"));
  // The clock's text is the one that follows the user's locale.
  EXPECT_THAT(summary, ::testing::ContainsRegex("Time: +(Mo|Di|Mi|Do|Fr|Sa|So) "));
}

TEST_F(WizardTest, TickedBoxAndEmptyPasswordRunsAllTheSame) {
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
  desktop().press("space");

  EXPECT_EQ(closingMessage("The bundle was"), "The bundle was created successfully on your Desktop.");

  ASSERT_THAT(bundles(), SizeIs(1));
  EXPECT_EQ(test::checkBundle(test::Reader::Unzip, m_strDesktopFolder + "/" + bundles()[0], "").exitStatus,
            0);
}

TEST_F(WizardTest, EscapeInTheMiddleOfACommandEndsWithStatusZeroAndLeavesTheTemporaryFolder) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();

  desktop().press("Escape");

  expectACutOffRun(*wizard);
}

TEST_F(WizardTest, CancelInTheMiddleOfACommandEndsWithStatusZeroAndLeavesTheTemporaryFolder) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();

  desktop().accessibility({"press", "Cancel"});

  expectACutOffRun(*wizard);
}

TEST_F(WizardTest, ClosingTheWindowInTheMiddleOfACommandEndsWithStatusZero) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();

  desktop().press("alt+F4");

  expectACutOffRun(*wizard);
}

TEST_F(WizardTest, QuitInTheMiddleOfACommandEndsWithStatusZero) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();

  desktop().press("ctrl+q");

  expectACutOffRun(*wizard);
}

TEST_F(WizardTest, EndOfTheSessionInTheMiddleOfACommandEndsWithStatusZeroAndLeavesNothing) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();

  kill(wizard->id(), SIGTERM);

  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  EXPECT_THAT(bundles(), IsEmpty());
  EXPECT_THAT(test::workFolders(), IsEmpty());
  EXPECT_EQ(wizard->err(), "");
  expectNoCommand();
}

// What a command has left behind lived on.
TEST_F(WizardTest, EachWayOutOfTheFinishedScreenEndsWhatACommandHasLeftBehind) {
  setConfig(configDocument({{"A command that leaves another", leavingAction()}}));
  for (const char* const key : {"Return", "alt+F4", "ctrl+q"}) {
    SCOPED_TRACE(key);
    unlink("/opt/left");
    const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
    closingMessage("The bundle was created");
    const pid_t left = test::processIn("/opt/left");
    EXPECT_TRUE(test::isAlive(left)) << "there is nothing to end";

    desktop().press(key);

    EXPECT_EQ(wizard->waitForEnd(), "exit 0");
    EXPECT_FALSE(test::isAlive(left));
    kill(left, SIGKILL);
  }
}

TEST_F(WizardTest, DocumentsThatOthersCanWriteToEndOnTheScreenForInternalErrors) {
  const test::JournalKeeper journal;
  ASSERT_TRUE(journal.isBound());
  ASSERT_EQ(chmod("/opt/halvo/tessarmont/tolm/xml/config/client.xml", 0666), 0);
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();

  EXPECT_THAT(closingMessage("An internal error"), StartsWith("An internal error occurred"));

  // The screen doesn't say why; the log does.
  EXPECT_THAT(journal.records(),
              Contains(AllOf(HasSubstr("the instruction documents can't be trusted, and nothing was run "
                                       "(0xFEAF000A); every user can write to "
                                       "\"/opt/halvo/tessarmont/tolm/xml/config/client.xml\""),
                             HasSubstr("PRIORITY=3\n"))));
  EXPECT_THAT(bundles(), IsEmpty());
  EXPECT_THAT(test::workFolders(), IsEmpty());
}

TEST_F(WizardTest, DisplayThatBreaksInTheMiddleOfACommandEndsWithStatusZero) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();

  desktop().breakDisplay();

  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  EXPECT_THAT(test::workFolders(), SizeIs(1));
  expectNoCommand();
}

TEST_F(WizardTest, ReturnInTheMiddleOfACommandDoesNotCancel) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();

  desktop().press("Return");

  EXPECT_THAT(desktop().accessibility({"tree"}), HasSubstr("progress bar\t"));
  EXPECT_EQ(wizard->waitForEnd(1), "running");
}

TEST_F(WizardTest, EscapeOnTheWelcomeScreenEndsWithStatusZero) {
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();

  desktop().press("Escape");

  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  EXPECT_THAT(bundles(), IsEmpty());
}

TEST_F(WizardTest, AboutBoxIsOpenedAndClosedByKeyboardAlone) {
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();

  desktop().press("alt");
  desktop().press("Down");
  desktop().press("Return");

  EXPECT_THAT(desktop().accessibility({"wait-text", "Halvo TOLM "}), HasSubstr("Halvo TOLM 1."));
  desktop().press("Escape");
  desktop().accessibility({"wait-active"});
  EXPECT_EQ(wizard->waitForEnd(1), "running");
  desktop().press("Escape");
  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
}

TEST_F(WizardTest, ReturnThatIsHeldDownRunsAndLeavesTheClosingMessage) {
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
  desktop().press("Tab");  // Run has the keyboard

  desktop().hold("Return");
  EXPECT_THAT(desktop().accessibility({"wait-text", "The bundle was"}), HasSubstr("on your Desktop."));

  EXPECT_EQ(wizard->waitForEnd(3), "running");
  desktop().release("Return");
  EXPECT_EQ(wizard->waitForEnd(1), "running");
  desktop().press("Return");
  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
}

TEST_F(WizardTest, ClosingTheFinishedWindowEndsWithStatusZero) {
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
  closingMessage("The bundle was");

  desktop().press("alt+F4");

  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  EXPECT_THAT(bundles(), SizeIs(1));
}

TEST_F(WizardTest, AccessibilityNamesEveryControlOfEveryScreen) {
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
  const std::string welcome = desktop().accessibility({"tree"});
  for (const char* control :
       {"frame\tHalvo TOLM\t", "label\tWelcome to the Halvo Fieldcase (TOLM).\t",
        "label\tTOLM is a tool that helps", "check box\tEnable Bundle Encryption\tEncryption Password\toff",
        "label\tEncryption Password\t", "password text\tEncryption Password\tEnable Bundle Encryption\t",
        "check box\tMask Password\tEncryption Password\ton", "push button\tRun\tTOLM is a tool that helps",
        "menu item\tHalvo TOLM\t"}) {
    EXPECT_THAT(welcome, HasSubstr(control));
  }
  const std::string everything = desktop().accessibility({"all"});
  EXPECT_THAT(everything, HasSubstr("About TOLM"));
  EXPECT_THAT(everything, HasSubstr("Quit TOLM"));

  desktop().press("Return");
  desktop().accessibility({"wait-text", "The bundle was"});
  const std::string finished = desktop().accessibility({"tree"});
  EXPECT_THAT(finished, HasSubstr("label\tThe bundle was created successfully on your Desktop.\t"));
  EXPECT_THAT(finished,
              HasSubstr("push button\tFinish\tThe bundle was created successfully on your Desktop."));
  EXPECT_THAT(finished, ::testing::Not(HasSubstr("push button\tRun")));
}

TEST_F(WizardTest, AccessibilityNamesTheControlsOfTheProgressScreen) {
  const std::unique_ptr<BackgroundProgram> wizard = wizardInASlowCommand();

  const std::string progress = desktop().accessibility({"tree"});

  EXPECT_THAT(progress, HasSubstr("label\tProcessing A slow command"));
  EXPECT_THAT(progress, HasSubstr("progress bar\tHalvo TOLM\tProcessing A slow command"));
  EXPECT_THAT(progress, HasSubstr("push button\tCancel\tProcessing A slow command"));
}

const char* const kCannotBeSaved =
    "The bundle cannot be saved in the location \"%s\".  Please specify another location and try again.";

TEST_F(WizardTest, MissingDesktopFolderShowsThatTheBundleCannotBeSaved) {
  rmdir(m_strDesktopFolder.c_str());
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();

  EXPECT_EQ(closingMessage("The bundle cannot"), kCannotBeSaved);

  desktop().press("Return");
  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  EXPECT_THAT(test::workFolders(), IsEmpty());
}

TEST_F(WizardTest, ReadOnlyDesktopFolderShowsThatTheBundleCannotBeSaved) {
  ASSERT_EQ(mount("tmpfs", m_strDesktopFolder.c_str(), "tmpfs", MS_RDONLY, ""), 0);
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();

  EXPECT_EQ(closingMessage("The bundle cannot"), kCannotBeSaved);

  desktop().press("Return");
  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  EXPECT_THAT(test::workFolders(), IsEmpty());
}

TEST_F(WizardTest, FullDesktopFolderShowsThatTheBundleCannotBeSaved) {
  ASSERT_EQ(mount("tmpfs", m_strDesktopFolder.c_str(), "tmpfs", 0, "size=64k"), 0);
  // Doesn't deflate to what would fit.
  std::string noise;
  for (std::uint32_t i = 0, x = 1; i < 400000; ++i) {
    x = x * 1664525 + 1013904223;
    noise += static_cast<char>(x >> 24);
  }
  test::writeFile("/opt/halvo/tessarmont/log/noise.log", noise);
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();

  EXPECT_EQ(closingMessage("The bundle cannot"), kCannotBeSaved);

  desktop().press("Return");
  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
}

TEST_F(WizardTest, GermanUserReadsGerman) {
  test::makeFolders("/opt/halvo/tessarmont/l10n/de/LC_MESSAGES");
  test::writeFile("/opt/halvo/tessarmont/l10n/de/LC_MESSAGES/Tessarmont.mo",
                  test::readFile(std::string(TOLM_TEST_BUILD_DIR) + "/l10n/de/LC_MESSAGES/Tessarmont.mo"));
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard({{"LANG", "de_AT.UTF-8"}});

  const std::string tree = desktop().accessibility({"tree"});

  EXPECT_THAT(tree, HasSubstr("Willkommen"));
  EXPECT_THAT(tree, ::testing::Not(HasSubstr("Welcome")));
}

TEST_F(WizardTest, LanguageFileThatIsGarbageLeavesTheWizardInEnglish) {
  test::makeFolders("/opt/halvo/tessarmont/l10n/de/LC_MESSAGES");
  test::writeFile("/opt/halvo/tessarmont/l10n/de/LC_MESSAGES/Tessarmont.mo",
                  std::string("\xde\x12\x04\x95\0\0\0\0\xff\xff\xff\x7f", 12) + std::string(1000, '\xff'));
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard({{"LANG", "de_AT.UTF-8"}});

  EXPECT_THAT(desktop().accessibility({"tree"}), HasSubstr("Welcome to the Halvo Fieldcase (TOLM)."));
}

TEST_F(WizardTest, LanguageFileThatOneTextFillsOpensTheWizard) {
  test::MoBuilder file;
  file.add("Halvo TOLM", "Titel " + std::string(300000, 't'));
  file.add("Welcome to the Halvo Fieldcase (TOLM).", "Willkommen " + std::string(700000, 'w'));
  test::writeFile("/opt/halvo/tessarmont/l10n/de/LC_MESSAGES/Tessarmont.mo", file.build());
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard({{"LANG", "de_AT.UTF-8"}});

  EXPECT_THAT(desktop().accessibility({"tree"}), HasSubstr("Willkommen wwww"));
  EXPECT_EQ(closingMessage("The bundle was"), "The bundle was created successfully on your Desktop.");
}

TEST_F(WizardTest, LocaleOfTwoThousandCharactersLeavesTheWizardInEnglish) {
  const std::unique_ptr<BackgroundProgram> wizard =
      desktop().startWizard({{"LANG", std::string(2000, 'x') + "_DE.UTF-8"}});

  EXPECT_THAT(desktop().accessibility({"tree"}), HasSubstr("Welcome to the Halvo Fieldcase (TOLM)."));
}

TEST_F(WizardTest, ShowInFolderHandsTheBundleToTheFileManager) {
  WizardDesktop& place = desktop();
  BackgroundProgram manager({"python3", test::sourcePath("tests/system/file_manager.py"), "/run/shown"},
                            place.environment(), "/run/manager.out");
  EXPECT_TRUE(test::waitUntil([&manager] { return !manager.out().empty(); }));
  ASSERT_EQ(manager.out(), "ready\n") << manager.err();
  const std::unique_ptr<BackgroundProgram> wizard = place.startWizard();
  closingMessage("The bundle was");

  place.accessibility({"press", "Show in Folder"});

  EXPECT_TRUE(test::waitForFile("/run/shown"));
  ASSERT_THAT(bundles(), SizeIs(1));
  EXPECT_EQ(test::readFile("/run/shown"), "file://" + m_strDesktopFolder + "/" + bundles()[0] + "\n");
}

TEST_F(WizardTest, ShowInFolderOpensTheFolderWhereNoFileManagerAnswers) {
  test::makeFolders("/run/bin");
  test::writeFile("/run/bin/xdg-open",
                  "#!/bin/sh\necho $$ >/run/opener\necho \"$1\" >/run/opened.part\n"
                  "mv /run/opened.part /run/opened\nexec sleep 300\n");
  ASSERT_EQ(chmod("/run/bin/xdg-open", 0755), 0);
  const std::unique_ptr<BackgroundProgram> wizard =
      desktop().startWizard({{"PATH", "/run/bin:" + std::string(std::getenv("PATH"))}});
  closingMessage("The bundle was");

  desktop().accessibility({"press", "Show in Folder"});

  EXPECT_TRUE(test::waitForFile("/run/opened"));
  EXPECT_EQ(test::readFile("/run/opened"), "file://" + m_strDesktopFolder + "\n");
  // The user's from here on: the wizard's end is none of its own.
  desktop().press("Return");
  EXPECT_EQ(wizard->waitForEnd(), "exit 0");
  EXPECT_TRUE(test::isAlive(test::processIn("/run/opener")));
  kill(test::processIn("/run/opener"), SIGKILL);
}

TEST_F(WizardTest, RunThatEndsBehindAnotherWindowAsksForAttention) {
  setConfig(configDocument({{"Client log", test::copyAction("/opt/halvo/tessarmont/log/*.log")},
                            {"A wait", test::captureAction("until test -e /opt/go; do sleep 0.1; done")}}));
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();
  const auto active = [this] { return desktop().run({"xdotool", "getactivewindow"}, 30).out; };
  const std::string window = active();
  desktop().press("Return");
  desktop().accessibility({"wait-text", "Processing"});
  const BackgroundProgram other({"xev"}, desktop().environment(), "/opt/other");
  // For a moment between the two no window is the active one, and the first may be it again.
  const auto isOtherActive = [&] {
    const std::string tester = desktop().run({"xdotool", "search", "--name", "Event Tester"}, 30).out;
    const std::string front = active();
    return !front.empty() && front != window && tester.find(front) != std::string::npos;
  };
  ASSERT_TRUE(test::waitUntil(isOtherActive));
  // The toolkit learns of it after the window manager.
  desktop().accessibility({"wait-inactive"});
  ASSERT_TRUE(isOtherActive());
  const auto state = [&] {
    return desktop().run({"xprop", "-id", lines(window).front(), "_NET_WM_STATE"}, 30).out;
  };
  ASSERT_THAT(state(), Not(HasSubstr("DEMANDS_ATTENTION")));

  test::writeFile("/opt/go", "");

  EXPECT_TRUE(test::waitUntil([&] { return state().find("DEMANDS_ATTENTION") != std::string::npos; }));
  EXPECT_THAT(state(), HasSubstr("_NET_WM_STATE_DEMANDS_ATTENTION")) << window << active();
  EXPECT_THAT(bundles(), SizeIs(1));
}

TEST_F(WizardTest, SecondHalfOfADoubleReturnOnRunLeavesTheMessageOfARunThatFailedAtOnce) {
  setConfig("<no document");
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard();

  desktop().pressTwice("Return");

  EXPECT_THAT(desktop().accessibility({"wait-text", "An internal error"}), HasSubstr("try again later"));
  EXPECT_EQ(wizard->waitForEnd(1), "running");
}

// The button of the About box, by the keyboard.
std::string buttonOfTheAboutBox(WizardDesktop& desktop) {
  desktop.press("F10");
  desktop.press("Down");
  desktop.press("Return");
  desktop.accessibility({"wait-text", "Halvo TOLM "});
  for (const std::string& line : lines(desktop.accessibility({"tree"}))) {
    if (line.rfind("push button\t", 0) == 0 && line.find("\t\t", 12) != std::string::npos) {
      return line.substr(12, line.find('\t', 12) - 12);
    }
  }
  return "none";
}

TEST_F(WizardTest, ToolkitsOwnTextsFollowTheLanguageOfTheWizard) {
  test::makeFolders("/opt/halvo/tessarmont/l10n/ar/LC_MESSAGES");
  test::writeFile("/opt/halvo/tessarmont/l10n/ar/LC_MESSAGES/Tessarmont.mo",
                  test::readFile(std::string(TOLM_TEST_BUILD_DIR) + "/l10n/ar/LC_MESSAGES/Tessarmont.mo"));
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard({{"LANG", "ar_EG.UTF-8"}});

  // "OK" in Arabic letters, as the toolkit has it.
  EXPECT_THAT(buttonOfTheAboutBox(desktop()), ::testing::MatchesRegex("\xd9.*|\xd8.*"));
}

TEST_F(WizardTest, ToolkitsOwnTextsStayEnglishWhereTheWizardIs) {
  const std::unique_ptr<BackgroundProgram> wizard = desktop().startWizard({{"LANG", "ar_EG.UTF-8"}});

  EXPECT_EQ(buttonOfTheAboutBox(desktop()), "OK");
}

// Runs the wizard where it can't open a window.
void expectOneLineThatNamesTheConsoleProgram(const std::map<std::string, std::string>& environment) {
  test::RunOptions options;
  options.environment = environment;
  options.unset = {"WAYLAND_DISPLAY"};
  if (environment.count("QT_QPA_PLATFORM") == 0) {
    options.unset.emplace_back("QT_QPA_PLATFORM");
  }

  const test::RunResult result = test::runProgram({test::builtProgram("tmtolmui")}, options);

  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(lines(result.err), ElementsAre(HasSubstr(" tmtolm ")));
}

TEST_F(WizardTest, WithoutADisplayOneLineNamesTheConsoleProgram) {
  expectOneLineThatNamesTheConsoleProgram({});
}

TEST_F(WizardTest, DisplayThatIsNotThereAnyMoreIsToldInTheSameLine) {
  expectOneLineThatNamesTheConsoleProgram({{"DISPLAY", ":9871"}});
}

TEST_F(WizardTest, PlatformThatQtDoesNotHaveIsToldInTheSameLine) {
  expectOneLineThatNamesTheConsoleProgram({{"QT_QPA_PLATFORM", "nowhere"}});
}

TEST_F(WizardTest, MissingPlatformPluginIsNotTakenForAMissingDisplay) {
  test::RunOptions options;
  options.environment = {{"QT_QPA_PLATFORM", "nowhere"}};

  const test::RunResult result = test::runProgram({test::builtProgram("tmtolmui")}, options);

  EXPECT_THAT(result.err, HasSubstr("platform plugin \"nowhere\""));
  EXPECT_THAT(result.err, ::testing::Not(HasSubstr("no display")));
}

}  // namespace
}  // namespace halvo
