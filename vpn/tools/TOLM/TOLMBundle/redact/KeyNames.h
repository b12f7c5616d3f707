// What the name in front of a value says about the value: "db_password=", "Serial Number:", <username>.
// Pure functions.

#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace halvo {

enum class KeyLook {
  kNone,
  kSecret,      // password, token, key: the value goes
  kSecretLine,  // cookies and authorization headers: everything up to the line's end goes
  kSecretItem,  // up to the comma that separates it from what is no part of it
  kSecretList,  // passwords: what stands in a list goes
  kMessage,     // of a login, in Base64: goes whole, and a sentence about it stays
  kSecretWord,  // -pass, pwd: the value goes unless it is a count, a path or a URL
  kToken,       // cookies and the like, words that others have too: what looks like a token goes
  kPersonal,    // PIN and the like: a short number goes, or letters and digits
  kUser,
  kUserMaybe,    // behind "=" or in quotes
  kUserPass,     // a name and a password on a line each
  kCommonName,   // of a certificate: a user's, unless it looks like another's
  kFullName,     // may hold blanks
  kDisplayName,  // so, and a program's or a service's too
  kNamePart,     // a first name or a surname
  kUserIds,      // uid=1000(jane)
  kHost,         // any name is a host's
  kComputer,     // as kHost, and may hold blanks
  kHostMaybe,    // a host's if it looks like one
  kHosts,        // several, with blanks, commas or semicolons between them
  kSearchLine,   // of resolv.conf
  kRemoteLine,   // "remote HOST PORT"
  kLoginLine,    // "machine HOST login NAME password SECRET"
  kId,
  kWifi,
  kConnection,  // of a network manager, which are called like their wireless networks
  kMac,
  // What tools of systems write, see takeOfSystem().
  kElementHost,     // as kHost, in an element
  kDevice,          // a machine's name if it looks like one of Windows
  kSessionManager,  // local/HOST:@/tmp/...
  kLongId,          // as kId, of many digits
  kWifiList,        // as kWifi, in a list of profiles
  kWifiBelow,       // in the next line
  kSsidHex,         // a wireless network's name in hexadecimal
  kStation,         // the address of an access point and the network's name
  kDnsLine,         // servers, and domains behind them
  kSearchDomains,   // as kHosts, in a resolver's log
  kClient,          // who has a ticket: "jane @ REALM"
  kPersonName,      // as kFullName, up to the line's end in an environment
};

// What is looked at of a key, and how it is compared: appended to `key` in small letters, without signs.
inline constexpr std::size_t kLongestKey = 48;
void appendPlainKey(std::string_view text, std::string& key);

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
  kPhraseBssid = 128U,       // in front of " BSSID "
  kPhraseLookup = 256U,      // in front of what a resolver says
};
struct Phrase {
  KeyLook look = KeyLook::kNone;
  unsigned forms = 0;   // of PhraseForm
  bool isPair = false;  // the word in front belongs to it
};

// A quick look whether phraseOf() may find something: kNone for most words, and kFront for most of the
// others, whose value is quoted or stands behind them in front of a line.
enum class PhraseGuess : unsigned char { kNone, kFront, kAnywhere };
inline constexpr std::size_t kPhraseHashes = 4096;
// Of the first two and last two letters, in both cases.
constexpr std::size_t phraseHash(std::string_view word) {
  const auto letter = [word](std::size_t at) { return static_cast<std::size_t>(word[at]) & 31U; };
  return (letter(0) * 1031U + letter(1) * 257U + letter(word.size() - 2) * 61U + letter(word.size() - 1)) %
         kPhraseHashes;
}
extern const std::array<PhraseGuess, kPhraseHashes> kPhraseGuesses;
// Here, since every word that a blank follows is looked at.
inline PhraseGuess mayBePhrase(std::string_view word) {
  return word.size() > 1 ? kPhraseGuesses[phraseHash(word)] : PhraseGuess::kNone;
}
// As keyLook().
Phrase phraseOf(std::string_view before, std::string_view word);

}  // namespace halvo
