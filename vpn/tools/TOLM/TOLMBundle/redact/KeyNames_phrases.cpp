// Names whose value stands behind a blank and nothing else.

#include <array>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/KeyNames.h"

namespace halvo {

namespace {

struct PhraseRow {
  std::string_view before;
  std::string_view word;
  Phrase phrase;
};

constexpr PhraseRow kPhrases[] = {
    {"", "authtoken", {KeyLook::kSecretItem, kPhraseAny}},
    {"", "wpapsk", {KeyLook::kSecret, kPhraseFront | kPhraseQuoted | kPhraseBlanks}},
    {"", "wpapassphrase", {KeyLook::kSecret, kPhraseFront | kPhraseQuoted | kPhraseBlanks}},
    {"", "wpapassword", {KeyLook::kSecret, kPhraseFront | kPhraseQuoted | kPhraseBlanks}},
    {"", "wpaprivatekeypasswd", {KeyLook::kSecret, kPhraseFront | kPhraseQuoted | kPhraseBlanks}},
    {"", "wirelesskey", {KeyLook::kSecret, kPhraseAny | kPhraseQuoted}},
    {"", "wirelesskey1", {KeyLook::kSecret, kPhraseAny | kPhraseQuoted}},
    {"", "wirelesskey2", {KeyLook::kSecret, kPhraseAny | kPhraseQuoted}},
    {"", "wirelesskey3", {KeyLook::kSecret, kPhraseAny | kPhraseQuoted}},
    {"", "wirelesskey4", {KeyLook::kSecret, kPhraseAny | kPhraseQuoted}},
    {"", "psk", {KeyLook::kSecret, kPhraseDigit | kPhraseQuoted | kPhraseBlanks}},
    {"", "passphrase", {KeyLook::kSecret, kPhraseDigit | kPhraseQuoted}},
    {"", "bindpw", {KeyLook::kSecret, kPhraseFront | kPhraseQuoted}},
    {"", "rootpw", {KeyLook::kSecret, kPhraseFront | kPhraseQuoted}},
    {"", "eap", {KeyLook::kSecret, kPhraseQuoted | kPhraseBehindColon | kPhraseBlanks}},
    {"", "xauth", {KeyLook::kSecret, kPhraseQuoted | kPhraseBehindColon | kPhraseBlanks}},
    {"", "ntlm", {KeyLook::kSecret, kPhraseQuoted | kPhraseBehindColon | kPhraseBlanks}},
    {"ipsec", "secret", {KeyLook::kSecret, kPhraseFront | kPhraseQuoted}},
    {"obfuscated", "secret", {KeyLook::kSecret, kPhraseAny | kPhraseQuoted}},
    {"", "secret", {KeyLook::kSecret, kPhraseDigit | kPhraseQuoted}},
    {"presharedkey", "asciitext", {KeyLook::kSecret, kPhraseAny | kPhraseQuoted | kPhraseBlanks}},
    {"presharedkey", "hexadecimal", {KeyLook::kSecret, kPhraseAny | kPhraseQuoted | kPhraseBlanks}},
    {"xauth", "password", {KeyLook::kSecret, kPhraseFront | kPhraseQuoted}},
    {"", "password", {KeyLook::kSecret, kPhraseDigit | kPhraseQuoted}},
    {"xauth", "username", {KeyLook::kUser, kPhraseFront | kPhraseQuoted | kPhraseAngle}},
    {"", "username", {KeyLook::kUser, kPhraseQuoted | kPhraseAngle}},
    {"eap", "identity", {KeyLook::kUser, kPhraseQuoted}},
    {"", "identity", {KeyLook::kUserMaybe, kPhraseQuoted}},
    {"", "user", {KeyLook::kUser, kPhraseQuoted | kPhraseAngle}},
    {"", "login", {KeyLook::kUser, kPhraseQuoted}},
    {"", "account", {KeyLook::kUser, kPhraseQuoted}},
    {"resolve", "host", {KeyLook::kHost, kPhraseAny}},
    {"resolve", "hostname", {KeyLook::kHost, kPhraseAny}},
    {"", "host", {KeyLook::kHost, kPhraseQuoted}},
    {"", "hostname", {KeyLook::kHost, kPhraseQuoted}},
    {"", "clienthostname", {KeyLook::kHost, kPhraseQuoted}},
    {"getaddrinfo", "enotfound", {KeyLook::kHost, kPhraseAny}},
    {"getaddrinfo", "eaiagain", {KeyLook::kHost, kPhraseAny}},
    {"", "lookup", {KeyLook::kHost, kPhraseLookup}},
    {"", "domainname", {KeyLook::kHosts, kPhraseQuoted}},
    {"dhcpoption", "domain", {KeyLook::kHost, kPhraseAny}},
    {"", "search", {KeyLook::kSearchLine, kPhraseFront}},
    {"", "domain", {KeyLook::kSearchLine, kPhraseFront}},
    {"", "remote", {KeyLook::kRemoteLine, kPhraseFront | kPhraseQuoted}},
    {"", "local", {KeyLook::kRemoteLine, kPhraseQuoted}},
    {"", "httpproxy", {KeyLook::kRemoteLine, kPhraseFront}},
    {"", "socksproxy", {KeyLook::kRemoteLine, kPhraseFront}},
    {"", "machine", {KeyLook::kLoginLine, kPhraseFront}},
    {"", "default", {KeyLook::kLoginLine, kPhraseFront}},
    {"", "ssid", {KeyLook::kWifi, kPhraseQuoted | kPhraseFront | kPhraseBssid}},
    {"access", "point", {KeyLook::kWifi, kPhraseQuoted}},
    {"wireless", "network", {KeyLook::kWifi, kPhraseQuoted}},
    {"wifi", "network", {KeyLook::kWifi, kPhraseQuoted}},
    {"", "essid", {KeyLook::kWifi, kPhraseQuoted | kPhraseFront}},
    {"", "wpassid", {KeyLook::kWifi, kPhraseQuoted | kPhraseFront}},
    {"", "wirelessessid", {KeyLook::kWifi, kPhraseQuoted | kPhraseFront}},
    {"", "connection", {KeyLook::kConnection, kPhraseQuoted}},
    {"serial", "number", {KeyLook::kId, kPhraseAny | kPhraseQuoted}},
    {"serial", "no", {KeyLook::kId, kPhraseAny | kPhraseQuoted}},
    {"service", "tag", {KeyLook::kId, kPhraseAny | kPhraseQuoted}},
    {"asset", "tag", {KeyLook::kId, kPhraseAny | kPhraseQuoted}},
    {"", "imei", {KeyLook::kId, kPhraseAny | kPhraseQuoted}},
    {"", "imeisv", {KeyLook::kId, kPhraseAny | kPhraseQuoted}},
    {"", "meid", {KeyLook::kId, kPhraseAny | kPhraseQuoted}},
    {"", "imsi", {KeyLook::kId, kPhraseAny | kPhraseQuoted}},
    {"", "iccid", {KeyLook::kId, kPhraseAny | kPhraseQuoted}},
};

}  // namespace

constexpr std::array<PhraseGuess, kPhraseHashes> kPhraseGuesses = [] {
  std::array<PhraseGuess, kPhraseHashes> guesses = {};
  for (const PhraseRow& row : kPhrases) {
    PhraseGuess& guess = guesses[phraseHash(row.word)];
    const bool isAnywhere =
        !row.before.empty() || (row.phrase.forms & (kPhraseAny | kPhraseBssid | kPhraseLookup)) != 0;
    guess = isAnywhere ? PhraseGuess::kAnywhere : guess == PhraseGuess::kNone ? PhraseGuess::kFront : guess;
  }
  return guesses;
}();

Phrase phraseOf(std::string_view before, std::string_view word) {
  if (word.size() > kLongestKey || before.size() > kLongestKey) {
    return {};
  }
  std::string own;
  appendPlainKey(word, own);
  std::string front;
  appendPlainKey(before, front);
  for (const PhraseRow& row : kPhrases) {
    if (row.word == own && (row.before.empty() || row.before == front)) {
      return {row.phrase.look, row.phrase.forms, !row.before.empty()};
    }
  }
  return {};
}

}  // namespace halvo
