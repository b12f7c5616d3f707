#include "vpn/tools/TOLM/TOLMOffline/ToolkitMessages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QTranslator>

#include "tests/support/LogRecorder.h"
#include "vpn/tools/TOLM/TOLMOffline/QtToolkitSupport_test.h"

namespace halvo {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

TEST(StartFailureLineTest, DisplayThatCannotBeReachedIsToldAsSuch) {
  const std::string line = startFailureLine("qt.qpa.xcb: could not connect to display :9\nand more\n");

  EXPECT_THAT(line, HasSubstr("no display can be opened"));
  EXPECT_THAT(line, HasSubstr(" tmtolm "));
}

TEST(StartFailureLineTest, MissingPlatformPluginIsNamed) {
  const std::string line = startFailureLine(
      "Could not find the Qt platform plugin \"nowhere\x1b[2J\" in \"\"\nThis application failed to start\n");

  EXPECT_THAT(line, HasSubstr("platform plugin \"nowhere [2J\""));
  EXPECT_THAT(line, HasSubstr("QT_QPA_PLATFORM"));
  EXPECT_THAT(line, HasSubstr(" tmtolm "));
  EXPECT_THAT(line, Not(HasSubstr("no display")));
}

TEST(StartFailureLineTest, AnythingElseIsToldInTheToolkitsFirstWords) {
  const std::string line = startFailureLine("the toolkit is\tbroken\nsecond line\n");

  EXPECT_EQ(line.find('\n'), std::string::npos);
  EXPECT_THAT(line, HasSubstr("the toolkit is broken;"));
  EXPECT_THAT(line, HasSubstr(" tmtolm "));
}

TEST(ToolkitMessagesTest, FailureOfTheToolkitBehindTheWindowLeavesARecord) {
  test::application();
  const test::LogRecorder log;
  takeToolkitMessages();
  toolkitHasOpened();

  qWarning("the display is gone");
  qCritical("the style is broken");
  qInfo("a word");
  qInstallMessageHandler(nullptr);

  EXPECT_TRUE(log.has(kLogWarning, "The toolkit says: the display is gone")) << log.dump();
  EXPECT_TRUE(log.has(kLogError, "The toolkit says: the style is broken")) << log.dump();
  EXPECT_EQ(log.count("a word"), 0U);
}

TEST(ToolkitTextsTest, CountryOfALanguageReadsTheTextsOfTheLanguage) {
  test::application();
  ASSERT_TRUE(loadToolkitTexts("de-at"));

  EXPECT_EQ(QCoreApplication::translate("QLineEdit", "Select All"), QStringLiteral("Alles ausw\u00e4hlen"));

  for (QTranslator* texts : QCoreApplication::instance()->findChildren<QTranslator*>()) {
    QCoreApplication::removeTranslator(texts);
  }
}

TEST(ToolkitTextsTest, LanguageThatTheToolkitDoesNotHaveIsNoneOfItsTexts) {
  test::application();

  EXPECT_FALSE(loadToolkitTexts("tlh-aa"));
  EXPECT_EQ(QCoreApplication::translate("QLineEdit", "Select All"), QStringLiteral("Select All"));
}

}  // namespace
}  // namespace halvo
