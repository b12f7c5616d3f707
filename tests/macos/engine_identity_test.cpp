// Whole runs of the engine on a system that says it is macOS.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include "tests/macos/platform/Control.h"
#include "tests/support/BundleReader.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/ResultMatchers.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"

namespace halvo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kConfig = "/opt/halvo/tessarmont/tolm/xml/config";

// An item with instructions for each of the systems, which say the system's name.
std::string itemFor(const std::string& id, const std::vector<std::string>& systems) {
  std::string text =
      "<file id=\"" + id + "\"><description>" + id + "</description><default>true</default><tolm>";
  for (const std::string& system : systems) {
    text += "<os opsys=\"" + system + "\">" + test::captureAction("echo gathered for " + system) + "</os>";
  }
  return text + "</tolm></file>";
}

class EngineOnMacTest : public ::testing::Test {
 protected:
  EngineOnMacTest() {
    test::platform::reset();
    std::filesystem::remove_all("/opt/halvo");
    test::makeFolders(kConfig);
    test::makeFolders(m_strDesktop);
  }
  ~EngineOnMacTest() override { test::platform::reset(); }

  // The content of the bundle of a run over these items, as one text.
  std::string bundleOf(const std::string& items) {
    test::writeFile(std::string(kConfig) + "/client.xml", test::documentText("Client", items));
    const std::string path = m_strDesktop + "/bundle.zip";
    std::filesystem::remove(path);
    TOLMEngine engine("", path, "", false);
    EXPECT_RESULT(engine.run(), 0);
    std::string all;
    for (const auto& [name, text] : test::bundleContent(test::Reader::Python, path)) {
      all += name + "\n" + text + "\n";
    }
    return all;
  }

  const std::string m_strDesktop = std::string(std::getenv("HOME")) + "/Desktop";
};

TEST_F(EngineOnMacTest, ItemsForMacAreTakenAndThoseForOtherSystemsAreNot) {
  const std::string all =
      bundleOf(itemFor("a", {"mac"}) + itemFor("b", {"linux"}) + itemFor("c", {"win2k", "win7"}));
  EXPECT_THAT(all, HasSubstr("gathered for mac"));
  EXPECT_THAT(all, Not(HasSubstr("gathered for linux")));
  EXPECT_THAT(all, Not(HasSubstr("gathered for win")));
}

TEST_F(EngineOnMacTest, ItemForBothSystemsIsTakenByItsMacInstructionsInEitherOrder) {
  const std::string all = bundleOf(itemFor("a", {"mac", "linux"}) + itemFor("b", {"linux", "mac"}));
  EXPECT_THAT(all, HasSubstr("gathered for mac"));
  EXPECT_THAT(all, Not(HasSubstr("gathered for linux")));
}

TEST_F(EngineOnMacTest, SummaryTellsTheVersionOfGestalt) {
  test::platform::setVersion(10, 15, 7);
  EXPECT_THAT(bundleOf(itemFor("a", {"mac"})), ::testing::ContainsRegex("OS: +macOS 10[.]15[.]7"));
}

TEST_F(EngineOnMacTest, EverySampleHasItemsForBothSystems) {
  int documents = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::string(TOLM_TEST_SOURCE_DIR) + "/samples")) {
    if (entry.path().extension() == ".xml") {
      ++documents;
      const std::string text = test::readFile(entry.path());
      EXPECT_THAT(text, HasSubstr("opsys=\"mac\"")) << entry.path();
      EXPECT_THAT(text, HasSubstr("opsys=\"linux\"")) << entry.path();
    }
  }
  EXPECT_GE(documents, 5);
}

}  // namespace
}  // namespace halvo
