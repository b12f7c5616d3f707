// Users in the sentences that systems and their programs write.

#include <algorithm>
#include <array>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

// "waiting for user acknowledgements": by its ending the word is a thing and nobody.
bool isAbstract(std::string_view word) {
  static constexpr std::array<std::string_view, 12> kAbstract = {
      "tion", "tions", "ment", "ments", "ness", "ity", "ings", "ence", "ences", "ances", "ories", "ables"};
  return std::all_of(word.begin(), word.end(), [](char c) { return c >= 'a' && c <= 'z'; }) &&
         std::any_of(kAbstract.begin(), kAbstract.end(),
                     [word](std::string_view ending) { return word.ends_with(ending); });
}

bool isQuad(std::string_view word) {
  return word.find('.') != std::string_view::npos &&
         word.find_first_not_of("0123456789.") == std::string_view::npos;
}

}  // namespace

TextRedactor::Place TextRedactor::userEnd(Place begin) const {
  Place end = begin;
  while (end - begin < kLongestUser && isUserByte(at(end))) {
    ++end;
  }
  return end;
}

// A short word behind which somebody may be named.
void TextRedactor::trySentence(Place begin, Place end) {
  const std::string_view word = text(begin, end);
  switch (lowerByte(at(begin))) {
    case 'a':
      if (word == "as") {
        tryLogin(begin, end);
      }
      break;
    case 'b':
      // "by jane(uid=1000)"
      if (word == "by") {
        const Place last = userEnd(end + 1);
        if (last > end + 1 && std::string_view(m_Window).substr(last, 5) == "(uid=") {
          replaceUser(end + 1, last, Evidence::kProven);
        } else if (at(end + 1) == '\'') {
          tryQuotedUser(begin, end);
          tryIdentitySentence(begin, end);
        }
      }
      break;
    case 'o':
    case '-':
      if (at(end + 1) == '\'' && (word == "of" || word == "-")) {
        tryIdentitySentence(begin, end);
      }
      break;
    case 'p':
    case 't':
      if (word == "to" && begin > 2 &&
          (text(begin - 3, begin) == ": (" || (begin > 10 && text(begin - 11, begin) == "FAILED SU ("))) {
        trySwitch(end);
      } else if (at(end + 1) == '\'' && (word == "to" || word == "peer")) {
        tryIdentitySentence(begin, end);
      } else if (word == "PING" || word == "to") {
        tryNameOfAddress(end, word == "PING");
      }
      break;
    case 'f':
    case 'u':
      if (word == "from") {
        tryNameOfAddress(end, false);
      } else if (word == "FOR" && at(end + 1) == '\'') {
        tryQuotedUser(begin, end);
      } else if (word == "for" && at(end + 1) == '\'' && seen(userEnd(end + 2), 5) == "' - '") {
        tryIdentitySentence(begin, end);
      } else if (isSame(word, "user") || isSame(word, "for")) {
        tryUserSentence(begin, end);
      }
      break;
    case 'h':
      if (word == "Host" || word == "host") {
        tryHostNotFound(end);
      }
      break;
    case '.':
      if (at(end + 1) == ':' && end - begin == 1) {
        tryLeader(begin);
      }
      break;
    default:
      break;
  }
}

// "session opened for user jane(uid=1000)", "of user jane.", "Accepted publickey for jane from", "Failed
// password for invalid user jane from", "authenticating user jane 10.1.2.3 port 22", "User jane logged in",
// "XAuth user jane".
void TextRedactor::tryUserSentence(Place begin, Place end) {
  const std::string_view word = text(begin, end);
  Place first = end + 1;
  const std::string_view before = wordBefore(begin);
  const bool isUser = isSame(word, "user");
  const bool isStranger =
      isUser && (isSame(before, "invalid") || isSame(before, "illegal") || isSame(before, "authenticating") ||
                 isSame(before, "from") || isSame(before, "xauth"));
  const bool ofUser = isUser && (isStranger || isSame(before, "for") || isSame(before, "of"));
  const bool accepted =
      !isUser && (isSame(before, "publickey") || isSame(before, "password") || isSame(before, "interactive"));
  first += at(first) == '\'' || at(first) == '"' ? 1U : 0U;
  Place last = userEnd(first);
  const bool dotted = last > first && at(last - 1) == '.';
  last -= dotted ? 1U : 0U;
  const unsigned char next = at(last);
  const std::string_view rest = std::string_view(m_Window).substr(last, 6);
  const bool ends = dotted || next == '(' || next == '\'' || next == '"' || next == '\n' || next == '\r' ||
                    next == 0 || rest.starts_with(" from ") || rest.starts_with(" by ");
  bool hasAddress = isStranger && at(last) == ' ' && isHexByte(at(last + 1));
  bool hasSign = false;
  for (Place place = last + 1; hasAddress && at(place) > ' ' && place - last < 48; ++place) {
    const bool isSign = at(place) == '.' || at(place) == ':';
    hasSign = hasSign || isSign;
    hasAddress = isSign || isHexByte(at(place));
  }
  hasAddress = (hasAddress && hasSign) || (at(last) == ' ' && isSame(before, "xauth"));
  if (last > first &&
      (((ofUser || accepted) && (ends || hasAddress)) || isToldBehind(begin, last, isUser, ofUser))) {
    const bool isSession = std::string_view(m_Window).substr(last, 5) == "(uid=";
    const bool mayEnd = isUser && !isSession && !isStranger && next != '\'' && next != '"';
    replaceUser(first, last,
                isSession                                 ? Evidence::kProven
                : mayEnd && isAbstract(text(first, last)) ? Evidence::kGuess
                                                          : Evidence::kNamed);
  }
}

// Whether what stands behind the name at whose end `last` is tells that a user was named, where the words in
// front alone don't: "for jane from 10.1.2.3 port 22 ssh2", "User jane from 10.1.2.3 not allowed because",
// "(user jane) krb5_init", "password changed for jane". `begin` is where "user" or "for" stands.
bool TextRedactor::isToldBehind(Place begin, Place last, bool isUser, bool ofUser) const {
  constexpr std::size_t kLongestEnding = 320;
  constexpr std::string_view kChanged = ": password changed ";
  const unsigned char next = at(last);
  if (!isUser && next == '"') {
    return seen(last, 11) == "\" with uid ";  // "login for "jane" with uid 501"
  }
  if (!isUser && (next == '\n' || next == '\r' || next == 0)) {
    return begin >= kChanged.size() && text(begin - kChanged.size(), begin) == kChanged;
  }
  if (isUser && next == ':') {
    return ofUser && at(last + 1) == ' ' && isDigitByte(at(last + 2));  // "received for user jane: 7 (...)"
  }
  if (isUser && next == ')') {
    return begin > 0 && at(begin - 1) == '(' && lineFront(begin).find("pam_") != std::string_view::npos;
  }
  if (next != ' ') {
    return false;
  }
  std::string_view behind = seen(last + 1, kLongestEnding);
  if (!behind.starts_with("from ")) {
    constexpr std::string_view kNotAllowed = "not allowed because ";
    if (!isUser) {
      return behind.starts_with("with result OD");  // of macOS' directory
    }
    return (behind.starts_with("logged ") || (ofUser && behind.starts_with("[preauth]")) ||
            (ofUser && behind.starts_with("account temporarily locked")) ||
            (behind.starts_with(kNotAllowed) && lineFront(begin).ends_with("]: ")));
  }
  behind.remove_prefix(5);
  behind.remove_prefix(std::min(behind.size(), behind.find_first_of(" \n")));
  if (isUser && behind.starts_with(" not allowed because ")) {
    return true;
  }
  constexpr std::string_view kPort = " port ";
  if (!behind.starts_with(kPort)) {
    return false;
  }
  behind.remove_prefix(kPort.size());
  behind.remove_prefix(std::min(behind.size(), behind.find_first_not_of("0123456789")));
  return behind.starts_with(" ssh2") || behind.starts_with(" id ");
}

// "FAILED LOGIN (1) on '/dev/tty1' FOR 'jane'", "password for 'jdoe' changed by 'jane'", "authorization
// created by 'jane' (uid=501)".
void TextRedactor::tryQuotedUser(Place begin, Place end) {
  const Place last = userEnd(end + 2);
  const std::string_view front = lineFront(begin);
  if (last > end + 2 && seen(last, 7) == "' (uid=") {
    constexpr unsigned kFirstOfPeople = 500;
    Place id = last + 7;
    if (takeNumber(id, 10) >= kFirstOfPeople) {
      replaceUser(end + 2, last, Evidence::kProven);
    }
  } else if (last > end + 2 && at(last) == '\'' &&
             (at(begin) == 'F' ? front.find("FAILED LOGIN (") != std::string_view::npos
                               : front.ends_with("' changed "))) {
    replaceUser(end + 2, last);
  }
}

// "logged in as jane", "authenticated as "jane"", "Authenticating to gw7:22 as 'jane'", and not "logged in as
// long as": a word alone is one where the phrase ends.
void TextRedactor::tryLogin(Place begin, Place end) {
  static constexpr std::array<std::string_view, 6> kFronts = {
      "in", "on", "login", "logon", "authenticated", "authenticating"};
  constexpr std::size_t kShortest = 3;
  const std::string_view before = wordBefore(begin);
  if (std::none_of(kFronts.begin(), kFronts.end(),
                   [before](std::string_view front) { return isSame(before, front); }) &&
      !(at(end + 1) == '\'' && lineFront(begin).find("Authenticating to ") != std::string_view::npos)) {
    return;
  }
  const unsigned char quote = at(end + 1) == '"' || at(end + 1) == '\'' ? at(end + 1) : 0;
  const Place first = end + (quote != 0 ? 2U : 1U);
  Place last = userEnd(first);
  while (last > first && at(last - 1) == '.') {
    --last;
  }
  const unsigned char next = at(last);
  if (last - first < (quote != 0 ? 1 : kShortest) || (quote != 0 && next != quote) ||
      !(next == 0 || isSpaceByte(next) ||
        std::string_view("\"'.,;)<").find(static_cast<char>(next)) != std::string_view::npos)) {
    return;
  }
  const bool isPlain = quote == 0 && std::all_of(m_Window.begin() + static_cast<std::ptrdiff_t>(first),
                                                 m_Window.begin() + static_cast<std::ptrdiff_t>(last),
                                                 [](char c) { return c >= 'a' && c <= 'z'; });
  const std::string_view rest = std::string_view(m_Window).substr(last, 6);
  const bool goesOn =
      next == ' ' && !rest.starts_with(" from ") && !rest.starts_with(" on ") && !rest.starts_with(" via ");
  replaceUser(first, last, isPlain && goesOn ? Evidence::kGuess : Evidence::kNamed);
}

// "su[812]: (to pkoch) jane on pts/1", "su: FAILED SU (to pkoch) jane on pts/1"
void TextRedactor::trySwitch(Place end) {
  const Place first = end + 1;
  const Place last = userEnd(first);
  const Place other = last + 2;
  const Place otherLast = userEnd(other);
  if (last > first && at(last) == ')' && at(last + 1) == ' ' && otherLast > other &&
      std::string_view(m_Window).substr(otherLast, 4) == " on ") {
    replaceUser(first, last, Evidence::kProven);
    replaceUser(other, otherLast, Evidence::kProven);
  }
}

// "Host Name . . . . . . . : NB7": a name with dots up to its value, whose last is at `dot`.
void TextRedactor::tryLeader(Place dot) {
  constexpr std::size_t kLongestLeader = 80;
  constexpr std::size_t kLongestLeaderKey = 48;
  Place keyEnd = dot;
  while (keyEnd > 0 && dot - keyEnd < kLongestLeader && (at(keyEnd - 1) == '.' || at(keyEnd - 1) == ' ')) {
    --keyEnd;
  }
  Place key = keyEnd;
  while (key > 0 && keyEnd - key < kLongestLeaderKey && isIdentifierByte(at(key - 1))) {
    --key;
  }
  const KeyLook look =
      mayBeKey(text(key, keyEnd)) ? keyLook(wordBefore(key), text(key, keyEnd)) : KeyLook::kNone;
  if (look != KeyLook::kHost && look != KeyLook::kComputer && look != KeyLook::kHosts &&
      look != KeyLook::kUser && look != KeyLook::kId && look != KeyLook::kWifi) {
    return;
  }
  Value value;
  value.isFound = value.isColon = true;
  value.begin = dot + 3;
  while (value.begin - dot < 8 && at(value.begin) == ' ') {
    ++value.begin;
  }
  takeValue(look, value);
}

// "192.168.178.23[jane]...84.17.52.7[gw.acme.de]": who stands behind an address, as key exchanges write it.
// Ports stand so too. Gives back where the address ends or the name.
TextRedactor::Place TextRedactor::tryIdentity(Place bracket) {
  const Place first = bracket + 1;
  const Place last = userEnd(first);
  if (last == first || at(last) != ']' || !isLetterByte(at(first)) ||
      hostLook(text(first, last)) != HostLook::kNone) {
    return bracket;
  }
  const unsigned char next = at(last + 1);
  if (next != '.' && next != ',' && next != 0 && !isSpaceByte(next)) {
    return bracket;
  }
  replaceUser(first, last);
  return std::max(bracket, m_nCopied);
}

// "scp jane@gw9:/x", "ssh jane@gw9": a host without a dot.
TextRedactor::Place TextRedactor::tryRemoteAccount(Place begin, Place end) {
  static constexpr std::array<std::string_view, 4> kPrograms = {"ssh ", "scp ", "sftp ", "rsync "};
  constexpr std::size_t kLongestRemote = 255;
  if (const Place done = tryPrincipal(begin, end); done > begin) {
    return done;
  }
  const Place first = end + 1;
  Place last = first;
  while (last - first < kLongestRemote && (isWordByte(at(last)) || at(last) == '-')) {
    ++last;
  }
  const unsigned char next = at(last);
  if (last < first + 2 || end < begin + 2 || !isLetterByte(at(first)) || !isWordByte(at(last - 1)) ||
      (next != ':' && next != 0 && next != '"' && next != '\'' && !isSpaceByte(next)) ||
      !isWordByte(at(begin)) || userEnd(begin) != end || isQuad(text(begin, end))) {
    return begin;
  }
  const std::string_view line = lineFront(begin);
  if (std::none_of(kPrograms.begin(), kPrograms.end(), [line](std::string_view program) {
        const std::size_t place = line.find(program);
        return place != std::string_view::npos &&
               (place == 0 || !isIdentifierByte(static_cast<unsigned char>(line[place - 1])));
      })) {
    return begin;
  }
  replaceUser(begin, end);
  replaceHost(first, last, text(first, last).find_first_of("0123456789-") != std::string_view::npos);
  return std::max(begin, m_nCopied);
}

}  // namespace halvo
