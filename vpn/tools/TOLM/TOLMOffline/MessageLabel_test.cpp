#include "vpn/tools/TOLM/TOLMOffline/MessageLabel.h"

#include <gtest/gtest.h>

#include <memory>

#include "vpn/tools/TOLM/TOLMOffline/QtToolkitSupport_test.h"

namespace halvo {
namespace {

class MessageLabelTest : public ::testing::Test {
 protected:
  MessageLabelTest() {
    test::application();
    m_pLabel = std::make_unique<MessageLabel>();
    m_pLabel->setText(QStringLiteral("a text of some words that doesn't stand in one line of this label"));
  }

  static constexpr int kWidth = 120;
  std::unique_ptr<MessageLabel> m_pLabel;
};

TEST_F(MessageLabelTest, HeightFollowsTheWidth) {
  const int high = m_pLabel->heightForWidth(kWidth);

  EXPECT_LT(m_pLabel->heightForWidth(kWidth * 10), high);
  EXPECT_EQ(m_pLabel->heightForWidth(kWidth), high);
}

TEST_F(MessageLabelTest, HeightFollowsAnotherText) {
  const int high = m_pLabel->heightForWidth(kWidth);

  m_pLabel->setText(QStringLiteral("short"));

  EXPECT_LT(m_pLabel->heightForWidth(kWidth), high);
}

TEST_F(MessageLabelTest, HeightFollowsAnotherFont) {
  const int high = m_pLabel->heightForWidth(kWidth);
  QFont larger = m_pLabel->font();
  larger.setPixelSize(40);

  m_pLabel->setFont(larger);

  EXPECT_GT(m_pLabel->heightForWidth(kWidth), high);
}

}  // namespace
}  // namespace halvo
