#include "vpn/tools/TOLM/TOLMOffline/Mnemonics.h"

namespace halvo {

namespace {

// A letter that one key types. Surrogates and scripts that are typed through an input method aren't.
bool isOnAKey(QChar letter) {
  if (!letter.isLetterOrNumber()) {
    return false;
  }
  switch (letter.script()) {
    case QChar::Script_Han:
    case QChar::Script_Hiragana:
    case QChar::Script_Katakana:
    case QChar::Script_Hangul:
    case QChar::Script_Bopomofo:
      return false;
    default:
      return true;
  }
}

bool needsInputMethod(const QString& title) {
  for (const QChar letter : title) {
    if (letter.isLetter() && !isOnAKey(letter)) {
      return true;
    }
  }
  return false;
}

QString marked(const QString& title, qsizetype place) {
  return withoutMnemonic(title.left(place)) + QLatin1Char('&') + withoutMnemonic(title.mid(place));
}

}  // namespace

QString Mnemonics::mark(const QString& title, QChar latin) {
  if (needsInputMethod(title)) {
    QString letters(latin.toUpper());
    for (char letter = 'A'; letter <= 'Z'; ++letter) {
      letters += QLatin1Char(letter);
    }
    for (const QChar letter : letters) {
      if (!m_Taken.contains(letter.toCaseFolded())) {
        m_Taken.insert(letter.toCaseFolded());
        return withoutMnemonic(title) + QLatin1String("(&") + letter + QLatin1Char(')');
      }
    }
    return withoutMnemonic(title);
  }
  // Two passes: the eye finds a letter at the front of a word first.
  for (const bool firstOfAWord : {true, false}) {
    for (qsizetype i = 0; i < title.size(); ++i) {
      const bool first = i == 0 || title[i - 1].isSpace();
      if ((first || !firstOfAWord) && isOnAKey(title[i]) && !m_Taken.contains(title[i].toCaseFolded())) {
        m_Taken.insert(title[i].toCaseFolded());
        return marked(title, i);
      }
    }
  }
  return withoutMnemonic(title);
}

QString withoutMnemonic(QString title) {
  return title.replace(QLatin1Char('&'), QLatin1String("&&"));
}

}  // namespace halvo
