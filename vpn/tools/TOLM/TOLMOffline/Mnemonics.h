// The keyboard letters of buttons, boxes and menus. They aren't in the texts, which are the same on every
// host and in every list of texts: they are chosen here, from what is shown, so that no two controls of a
// screen share one.
//
// No state beyond the object's own; one thread at a time.

#pragma once

#include <QtCore/QSet>
#include <QtCore/QString>

namespace halvo {

class Mnemonics {
 public:
  // `title` as a control takes it: with "&" before the letter chosen, and every "&" of its own doubled.
  //
  // The letter is the first of a word where one is free, then any other letter or digit. A title of a
  // script that no keyboard types by single keys (Chinese, Japanese, Korean) gets a Latin letter in
  // parentheses behind it, `latin` where that is free. Without any free letter there is none.
  QString mark(const QString& title, QChar latin);

 private:
  QSet<QChar> m_Taken;
};

// `title` without a letter to mark, its own "&" doubled.
QString withoutMnemonic(QString title);

}  // namespace halvo
