#include "vpn/tools/TOLM/TOLMOffline/MessageLabel.h"

#include <QtCore/QtMath>
#include <QtGui/QHelpEvent>
#include <QtGui/QPainter>
#include <QtGui/QTextLayout>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolTip>
#include <algorithm>

namespace halvo {

namespace {

// Letters that a label would like to show on one line, and those it must be able to.
constexpr int kPreferredLetters = 40;
constexpr int kSmallestLetters = 8;

// Texts are laid out at each paint: a longer one would hold the window up, and nobody reads to its end.
constexpr qsizetype kLongestText = 10000;

// A text without a letter that runs from right to left stays as it is in a window that does: progress
// texts aren't translated.
Qt::LayoutDirection paragraphDirection(const QLabel& label) {
  const QString text = label.text();
  const bool turned =
      label.layoutDirection() == Qt::RightToLeft && std::any_of(text.begin(), text.end(), [](QChar letter) {
        return letter.direction() == QChar::DirR || letter.direction() == QChar::DirAL;
      });
  return turned ? Qt::RightToLeft : Qt::LeftToRight;
}

// Lays the text out in lines of `width` and returns the height that they take.
qreal layOut(QTextLayout& layout, const QLabel& label, int width) {
  // A line feed inside a text starts a new line, as it would in any label.
  QString text = frontOf(label.text());
  text.replace(QLatin1String("\r\n"), QString(QChar::LineSeparator));
  text.replace(QLatin1Char('\n'), QChar::LineSeparator);
  QTextOption option;
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  option.setTextDirection(paragraphDirection(label));
  option.setAlignment(QStyle::visualAlignment(label.layoutDirection(), Qt::AlignLeading) | Qt::AlignAbsolute);
  layout.setText(text);
  layout.setFont(label.font());
  layout.setTextOption(option);
  qreal height = 0;
  layout.beginLayout();
  for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
    line.setLineWidth(width);
    line.setPosition(QPointF(0, height));
    height += line.height();
  }
  layout.endLayout();
  return height;
}

}  // namespace

MessageLabel::MessageLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Minimum);
}

QSize MessageLabel::sizeHint() const {
  const int width = kPreferredLetters * fontMetrics().averageCharWidth();
  return {width, heightForWidth(width)};
}

QSize MessageLabel::minimumSizeHint() const {
  return {kSmallestLetters * fontMetrics().averageCharWidth(), fontMetrics().height()};
}

int MessageLabel::heightForWidth(int width) const {
  if (m_strMeasured != text() || m_MeasuredFont != font() || m_MeasuredDirection != layoutDirection()) {
    m_Heights.clear();
    m_strMeasured = text();
    m_MeasuredFont = font();
    m_MeasuredDirection = layoutDirection();
  }
  const int room = qMax(width, 1);
  const auto known = m_Heights.constFind(room);
  if (known != m_Heights.constEnd()) {
    return *known;
  }
  QTextLayout layout;
  const int height = qCeil(layOut(layout, *this, room));
  m_Heights.insert(room, height);
  return height;
}

void MessageLabel::paintEvent(QPaintEvent* /*event*/) {
  QTextLayout layout;
  const qreal height = layOut(layout, *this, width());
  const bool centred = (alignment() & Qt::AlignVCenter) != 0 && height < this->height();
  QPainter painter(this);
  painter.setPen(palette().color(foregroundRole()));
  layout.draw(&painter, QPointF(0, centred ? (this->height() - height) / 2 : 0));
}

ElidedLabel::ElidedLabel(QWidget* parent) : QLabel(parent) {
  setTextFormat(Qt::PlainText);
  setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize ElidedLabel::sizeHint() const {
  return {kPreferredLetters * fontMetrics().averageCharWidth(), fontMetrics().height()};
}

QSize ElidedLabel::minimumSizeHint() const {
  return {kSmallestLetters * fontMetrics().averageCharWidth(), fontMetrics().height()};
}

QString ElidedLabel::line() const {
  return fontMetrics().elidedText(frontOf(text().simplified()), Qt::ElideRight, width());
}

bool ElidedLabel::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip) {
    const QHelpEvent* help = static_cast<QHelpEvent*>(event);
    if (line() != text().simplified()) {
      QToolTip::showText(help->globalPos(), wrappedToolTip(text()), this);
    } else {
      QToolTip::hideText();
    }
    return true;
  }
  return QLabel::event(event);
}

void ElidedLabel::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.setLayoutDirection(paragraphDirection(*this));
  painter.setPen(palette().color(foregroundRole()));
  const Qt::Alignment side = QStyle::visualAlignment(layoutDirection(), Qt::AlignLeading);
  painter.drawText(rect(), static_cast<int>(side | Qt::AlignAbsolute | Qt::AlignVCenter) | Qt::TextSingleLine,
                   line());
}

QString frontOf(const QString& text) {
  return text.size() <= kLongestText ? text : text.left(kLongestText) + QChar(0x2026);
}

QString wrappedToolTip(const QString& text) {
  return QLatin1String("<qt>") + frontOf(text).toHtmlEscaped() + QLatin1String("</qt>");
}

}  // namespace halvo
