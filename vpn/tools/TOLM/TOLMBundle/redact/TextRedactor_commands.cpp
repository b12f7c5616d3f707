// Command lines whose programs have names, networks and secrets by their places, or behind options of their
// own: "net user jane hunter2 /add", "xfreerdp /u:jane /p:hunter2".

#include <algorithm>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

// The word or what is in quotes at `place`, and where what follows it begins: behind blanks, in the same
// line.
TextRedactor::Value TextRedactor::takeArgument(Place& place) const {
  constexpr std::size_t kLongestArgument = 256;
  constexpr std::size_t kMostBlanks = 8;
  Value value = bareOrQuoted(place);
  const Place end = valueEnd(value, kLongestArgument);
  value.isFound = end > value.begin && end - value.begin <= kLongestArgument;
  place = value.ending == Ending::kWord ? end : end + value.slashes + 1;
  for (const Place behind = place; isBlankByte(at(place)) && place - behind < kMostBlanks;) {
    ++place;
  }
  return value;
}

// "rasdial NETWORK USER SECRET", "net user USER SECRET", "nmcli device wifi connect SSID password SECRET", at
// the word in [begin, end). Where the arguments begin is `place`.
TextRedactor::Place TextRedactor::tryCommand(Place begin, Place end, Place place) {
  const std::string_view word = text(begin, end);
  const bool isDial = word == "rasdial" || word == "rasdial.exe";
  const bool isAccount = word == "user" && (wordBefore(begin) == "net" || wordBefore(begin) == "net.exe");
  if (isDial || isAccount) {
    if (isDial) {
      takeArgument(place);
    }
    const Value user = takeArgument(place);
    const Value secret = takeArgument(place);
    const unsigned char sign = at(secret.begin);
    if (!user.isFound || !secret.isFound || at(user.begin) == '/' || sign == '/' || sign == '*' ||
        sign == '(' || !isWordByte(at(user.begin))) {
      return begin;
    }
    const Place done = takeValue(KeyLook::kUser, user);
    return std::max({begin, done, takeValue(KeyLook::kSecret, secret)});
  }
  const bool isNetwork = word == "wifi" && seen(place, 8) == "connect ";
  const bool isSecret = word == "password";
  if ((!isNetwork && !isSecret) || lineFront(begin).find("nmcli ") == std::string_view::npos) {
    return begin;
  }
  place += isNetwork ? 8U : 0U;
  const Value value = takeArgument(place);
  return value.isFound ? std::max(begin, takeValue(isNetwork ? KeyLook::kWifi : KeyLook::kSecret, value))
                       : begin;
}

// ["x","--password","hunter2"]: the arguments of a program as a list.
TextRedactor::Place TextRedactor::tryListedOption(Place begin, Place end) {
  constexpr std::size_t kMostBlanks = 64;
  const std::size_t slashes = escapesOfQuote(end);
  const unsigned char sign = at(end + slashes);
  Place place = end + slashes + 1;
  if ((sign != '"' && sign != '\'') || at(place) != ',') {
    return begin;
  }
  for (const Place behind = ++place; isSpaceByte(at(place)) && place - behind < kMostBlanks;) {
    ++place;
  }
  const KeyLook look = keyLook({}, text(begin, end));
  const Value value = bareOrQuoted(place);
  const bool isSecret = look == KeyLook::kSecret || look == KeyLook::kSecretWord || look == KeyLook::kToken;
  if (!isSecret || value.slashes != slashes || value.begin == place || at(value.begin - 1) != sign ||
      at(value.begin) == '-') {
    return begin;
  }
  return std::max(begin, takeValue(look, value));
}

// "/p:hunter2" of clients of remote desktops, at the option's letters.
TextRedactor::Place TextRedactor::tryDesktopOption(Place begin, Place end) {
  const std::string_view option = text(begin, end);
  if (begin < 2 || at(begin - 1) != '/' || !isSpaceByte(at(begin - 2)) ||
      lineFront(begin).find("freerdp") == std::string_view::npos) {
    return begin;
  }
  const KeyLook look = option == "u" || option == "gu"   ? KeyLook::kUser
                       : option == "p" || option == "gp" ? KeyLook::kSecret
                       : option == "v" || option == "g"  ? KeyLook::kHost
                                                         : KeyLook::kNone;
  return look == KeyLook::kNone ? begin : std::max(begin, takeValue(look, bareOrQuoted(end + 1)));
}

}  // namespace halvo
