// What the name in front of a value says about the value: "db_password=", "Serial Number:", <username>.
// Pure functions.

#pragma once

#include <string_view>

namespace halvo {

enum class KeyLook {
  kNone,
  kSecret,      // password, token, key: the value goes
  kSecretLine,  // cookies and authorization headers: everything up to the line's end goes
  kSecretItem,  // up to the comma that separates it from what is no part of it
  kSecretList,  // passwords: what stands in a list goes
  kPersonal,    // PIN and the like: a short number goes
  kUser,
  kUserMaybe,   // behind "=" or in quotes
  kUserPass,    // a name and a password on a line each
  kCommonName,  // of a certificate: a user's, unless it looks like another's
  kFullName,    // may hold blanks
  kUserIds,     // uid=1000(jane)
  kHost,        // any name is a host's
  kHostMaybe,   // a host's if it looks like one
  kHosts,       // several, with blanks, commas or semicolons between them
  kSearchLine,  // of resolv.conf
  kRemoteLine,  // "remote HOST PORT"
  kId,
  kWifi,
  kConnection,  // of a network manager, which are called like their wireless networks
  kMac,
};

// A quick look whether keyLook() may find something: false for most words.
bool mayBeKey(std::string_view key);

// `key`: the word in front of the sign; `before`: the word in front of that where one blank stands between
// them, or nothing. "-", "_" and "." don't count, nor does the case of letters.
KeyLook keyLook(std::string_view before, std::string_view key);

// Names whose value stands behind a blank and nothing else: "wpa-psk hunter2", "user 'jane'". They are words
// of sentences too, so each tells in which forms a value may be one.
enum PhraseForm : unsigned {
  kPhraseQuoted = 1U,
  kPhraseAngle = 2U,         // User <jane>
  kPhraseFront = 4U,         // alone behind the name in front of the line
  kPhraseDigit = 8U,         // so, and with a digit in it
  kPhraseAny = 16U,          // anywhere
  kPhraseBehindColon = 32U,  // all of them only where a colon stands in front of the name
  kPhraseBlanks = 64U,       // what is quoted may hold blanks
};
struct Phrase {
  KeyLook look = KeyLook::kNone;
  unsigned forms = 0;   // of PhraseForm
  bool isPair = false;  // the word in front belongs to it
};

// A quick look whether phraseOf() may find something: kNone for most words, and kFront for most of the
// others, whose value is quoted or stands behind them in front of a line.
enum class PhraseGuess : unsigned char { kNone, kFront, kAnywhere };
PhraseGuess mayBePhrase(std::string_view word);
// As keyLook().
Phrase phraseOf(std::string_view before, std::string_view word);

}  // namespace halvo
