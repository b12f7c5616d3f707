// What the name in front of a value says about the value: "db_password=", "Serial Number:", <username>.
// Pure functions.

#pragma once

#include <string_view>

namespace halvo {

enum class KeyLook {
  kNone,
  kSecret,      // password, token, key: the value goes
  kSecretLine,  // cookies and authorization headers: everything up to the line's end goes
  kPersonal,    // PIN and the like: a short number goes
  kUser,
  kFullName,   // may hold blanks
  kUserIds,    // uid=1000(jane)
  kHost,       // any name is a host's
  kHostMaybe,  // a host's if it looks like one
  kId,
  kWifi,
  kMac,
};

// A quick look whether keyLook() may find something: false for most words.
bool mayBeKey(std::string_view key);

// `key`: the word in front of the sign; `before`: the word in front of that where one blank stands between
// them, or nothing. "-", "_" and "." don't count, nor does the case of letters.
KeyLook keyLook(std::string_view before, std::string_view key);

}  // namespace halvo
