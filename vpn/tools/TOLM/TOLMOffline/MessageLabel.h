// The wizard's two kinds of label. Both show plain text of any length without asking for more room
// than the window has: a text never sets the window's size.
//
// Main thread only, as all widgets.

#pragma once

#include <QtCore/QHash>
#include <QtGui/QFont>
#include <QtWidgets/QLabel>

namespace halvo {

// Wraps at words, and inside a word that is wider than the label. Its height follows its width, so a
// lengthy text belongs into a scroll area.
class MessageLabel : public QLabel {
 public:
  explicit MessageLabel(QWidget* parent = nullptr);

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override;
  [[nodiscard]] bool hasHeightForWidth() const override { return true; }
  [[nodiscard]] int heightForWidth(int width) const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  // Heights by width, of the text, the font and the direction below: while a window is laid out, each label
  // is asked a dozen times for the same.
  mutable QHash<int, int> m_Heights;
  mutable QString m_strMeasured;
  mutable QFont m_MeasuredFont;
  mutable Qt::LayoutDirection m_MeasuredDirection = Qt::LeftToRight;
};

// One line, with an ellipsis where the text is too wide for it; the whole text is then the tool tip.
class ElidedLabel : public QLabel {
 public:
  explicit ElidedLabel(QWidget* parent = nullptr);

  [[nodiscard]] QSize sizeHint() const override;
  [[nodiscard]] QSize minimumSizeHint() const override;

 protected:
  bool event(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;

 private:
  [[nodiscard]] QString line() const;
};

// What is drawn of a text: its first 10,000 characters, with an ellipsis where more was there. A progress
// text is as long as the description in a document, and a translation as the language file: to lay all of
// that out would stop the window for minutes.
QString frontOf(const QString& text);

// The front of a plain text as the content of a tool tip that wraps.
QString wrappedToolTip(const QString& text);

}  // namespace halvo
