// What has to hold for the window in every language that it has texts in.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QtGui/QAction>
#include <QtWidgets/QMenu>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QScrollBar>
#include <algorithm>
#include <filesystem>
#include <set>

#include "vpn/Common/i18n/MoCatalog.h"
#include "vpn/Common/i18n/UiTexts.h"
#include "vpn/tools/TOLM/TOLMOffline/QtToolkitSupport_test.h"

namespace halvo {
namespace {

using test::QtToolkitTest;

constexpr const char* kEnglish = "en";

// English, and every language of the sources.
std::vector<std::string> languages() {
  std::vector<std::string> names = {kEnglish};
  for (const auto& entry : std::filesystem::directory_iterator(TOLM_TEST_SOURCE_DIR "/l10n")) {
    if (entry.path().extension() == ".po") {
      names.push_back(entry.path().stem());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

class QtToolkitLanguageTest : public QtToolkitTest, public ::testing::WithParamInterface<std::string> {
 protected:
  QtToolkitLanguageTest() {
    if (GetParam() == kEnglish) {
      return;
    }
    static_cast<void>(mocatalog::bindtextdomain("Tessarmont", TOLM_TEST_BUILD_DIR "/l10n"));
    static_cast<void>(mocatalog::textdomain("Tessarmont"));
    m_Translate = [locale = GetParam()](const std::string& key) {
      return std::string(mocatalog::translateInLocale(key.c_str(), locale.c_str()));
    };
    EXPECT_NE(m_Translate(textIntro), textIntro);
  }
  ~QtToolkitLanguageTest() override { mocatalog::unloadDomain("Tessarmont"); }

  void toTheSmallestSize() {
    window().resize(window().minimumSize());
    QCoreApplication::processEvents();
  }
  // How far this area can be scrolled.
  int scrolls(const char* name) {
    const QScrollArea& area = find<QScrollArea>(name);
    return std::max(area.verticalScrollBar()->maximum(), area.horizontalScrollBar()->maximum());
  }
};

std::string nameOf(const ::testing::TestParamInfo<std::string>& language) {
  std::string name = language.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, QtToolkitLanguageTest, ::testing::ValuesIn(languages()), &nameOf);

// The letter after each single "&".
std::multiset<QChar> lettersOf(const QStringList& titles) {
  std::multiset<QChar> letters;
  for (QString title : titles) {
    title.remove(QLatin1String("&&"));
    if (const qsizetype place = title.indexOf(QLatin1Char('&')); place >= 0) {
      letters.insert(title[place + 1].toCaseFolded());
    }
  }
  return letters;
}

void expectLettersOfTheirOwn(const QStringList& titles) {
  const std::multiset<QChar> letters = lettersOf(titles);
  const std::string all = titles.join(u'|').toStdString();
  EXPECT_EQ(letters.size(), static_cast<std::size_t>(titles.size())) << all;
  EXPECT_EQ(std::set<QChar>(letters.begin(), letters.end()).size(), letters.size()) << all;
}

TEST_P(QtToolkitLanguageTest, EveryControlOfAScreenHasAKeyboardLetterOfItsOwn) {
  open();
  const QString menu = find<QMenu>("applicationMenu").title();
  expectLettersOfTheirOwn({menu, find<QCheckBox>("encryptionBox").text(),
                           find<QCheckBox>("maskPswdBox").text(), find<QPushButton>("runButton").text()});
  runThrough();
  expectLettersOfTheirOwn({menu, find<QPushButton>("cancelButton").text()});
  m_pToolkit->showOutcome({true, "/somewhere/bundle.zip", m_Services.getMessage(textShowInFolder)});
  expectLettersOfTheirOwn(
      {menu, find<QPushButton>("folderButton").text(), find<QPushButton>("finishButton").text()});
}

TEST_P(QtToolkitLanguageTest, EveryItemOfTheMenuHasAKeyboardLetterOfItsOwn) {
  open();
  QStringList titles;
  for (const QAction* item : find<QMenu>("applicationMenu").actions()) {
    if (!item->isSeparator()) {
      titles += item->text();
    }
  }
  EXPECT_EQ(titles.size(), 5);
  expectLettersOfTheirOwn(titles);
}

TEST_P(QtToolkitLanguageTest, SmallestWindowShowsTheWholeFirstScreenWithoutAScrollBar) {
  open();
  toTheSmallestSize();
  EXPECT_EQ(scrolls("welcomeScroll"), 0);
  find<QCheckBox>("encryptionBox").click();
  QCoreApplication::processEvents();
  EXPECT_TRUE(visible("passwordHint"));
  EXPECT_EQ(scrolls("welcomeScroll"), 0);
}

TEST_P(QtToolkitLanguageTest, SoItDoesWhereTheDesktopFolderIsMissing) {
  m_bTakesFiles = false;
  open();
  toTheSmallestSize();
  EXPECT_TRUE(visible("desktopHint"));
  EXPECT_EQ(scrolls("welcomeScroll"), 0);
}

TEST_P(QtToolkitLanguageTest, SmallestWindowShowsTheWholeFinishedScreenWithoutAScrollBar) {
  m_nLostFiles = 1234;
  open();
  toTheSmallestSize();
  runThrough();
  QCoreApplication::processEvents();
  EXPECT_TRUE(visible("lossHint"));
  EXPECT_EQ(scrolls("finishedScroll"), 0);
}

}  // namespace
}  // namespace halvo
