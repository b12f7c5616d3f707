// Secrets by the line they stand in: how far a value without quotes goes, what is said of a secret and is
// none, and lines of settings that have no sign between a name and its secret.

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/EverydayWords.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestLoginRest = 160;
constexpr std::size_t kLongestColumn = 64;
constexpr std::size_t kShortestBare = 4;  // secret in such a line

bool isSmallWord(std::string_view word) {
  return !word.empty() && std::all_of(word.begin(), word.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

// The next word, without a sign behind it, and the text behind that.
std::string_view takeWord(std::string_view& rest) {
  rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
  const std::string_view word = rest.substr(0, rest.find_first_of(" \t"));
  rest.remove_prefix(word.size());
  return word;
}
std::string_view withoutSign(std::string_view word) {
  while (!word.empty() && std::string_view(",.;)").find(word.back()) != std::string_view::npos) {
    word.remove_suffix(1);
  }
  return word;
}

// "user=", as a word's front.
bool isKeyWord(std::string_view word) {
  std::size_t size = 0;
  while (size < word.size() && isIdentifierByte(static_cast<unsigned char>(word[size]))) {
    ++size;
  }
  return size > 0 && size < word.size() && word[size] == '=' &&
         word.find_first_not_of('=', size) != std::string_view::npos;
}

// "identity 0", "back to keyboard-interactive": words that are everybody's, and one digit.
bool isEverydayLine(std::string_view rest) {
  constexpr std::size_t kShortWord = 2;
  for (std::string_view word = takeWord(rest); !word.empty(); word = takeWord(rest)) {
    word = withoutSign(word);
    std::string words(word);
    std::replace(words.begin(), words.end(), '-', ' ');
    const bool isShort = word.size() == 1 || (word.size() <= kShortWord && isSmallWord(word));
    if (!isShort && !isEverydayText(words)) {
      return false;
    }
  }
  return true;
}

}  // namespace

// Whether nothing but the key, of a few words, stands between the line's front and the value.
bool TextRedactor::hasLineForItself(Place value) const {
  constexpr std::size_t kLongestBefore = 40;
  const Place reach = value > 2 * kLongestBefore ? value - 2 * kLongestBefore : 0;
  const std::string_view before = seen(reach, value - reach);
  const std::size_t lineEnd = before.rfind('\n');
  if (lineEnd == std::string_view::npos && reach > 0) {
    return false;
  }
  std::string_view front = before.substr(lineEnd == std::string_view::npos ? 0 : lineEnd + 1);
  // {Password:hunter2 MTU:1380}, and not {Password: correct horse}
  const bool isStructure = front.starts_with('{') && restOfLine(value, 0).find(':') != std::string_view::npos;
  while (!front.empty() && !isWordByte(static_cast<unsigned char>(front.front()))) {
    front.remove_prefix(1);
  }
  std::size_t words = 0;
  for (std::size_t i = 1; i < front.size(); ++i) {
    words += front[i] == ' ' && front[i - 1] != ' ' ? 1 : 0;
  }
  // "-passin pass:hunter2 -in x": what stands right behind the colon is a word among others.
  const bool isTight = at(value - 1) == ':' && words > 0;
  return front.size() < kLongestBefore && !isTight && !isStructure && words <= 3 &&
         front.find_first_of(",;([{|") == std::string_view::npos &&
         std::count(front.begin(), front.end(), ':') == 1;
}

// The line from `begin` on, up to the quote that opened in front of the key.
std::string_view TextRedactor::restOfLine(Place begin, char around) const {
  std::string_view line = seen(begin, kLongestLoginRest + 1);
  line = line.substr(0, line.find('\n'));
  line = around != 0 ? line.substr(0, line.find(around)) : line;
  return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

// "psk=correct horse": whether a value that isn't quoted goes on behind its first word, which ends at `end`.
// The key is the first word of its line, or stands behind a quote, and no other pair and no command follows.
bool TextRedactor::hasWordsBehind(const Value& value, Place end) const {
  constexpr std::size_t kLongestKeyFront = 96;
  constexpr std::array<std::string_view, 6> kOperators = {"&&", "||", "|", ";", ">", ">>"};
  if (!isBlankByte(at(end)) || end - value.begin > kLongestLoginRest) {
    return false;
  }
  const std::string_view all = restOfLine(value.begin, value.around);
  if (all.size() > kLongestLoginRest || all.size() < end - value.begin) {
    return false;
  }
  if (value.around != 0) {
    if (at(value.begin + all.size()) != static_cast<unsigned char>(value.around)) {
      return false;
    }
  } else {
    const Place reach = value.begin - std::min(value.begin, kLongestKeyFront);
    std::string_view front = seen(reach, value.begin - reach);
    const std::size_t lineEnd = front.rfind('\n');
    if (lineEnd == std::string_view::npos && reach > 0) {
      return false;
    }
    front.remove_prefix(lineEnd == std::string_view::npos ? 0 : lineEnd + 1);
    while (!front.empty() && !isWordByte(static_cast<unsigned char>(front.front()))) {
      front.remove_prefix(1);
    }
    for (const std::string_view command : {"export ", "declare -x ", "setenv ", "set "}) {
      front.remove_prefix(front.starts_with(command) ? command.size() : 0);
    }
    const std::size_t sign = std::min(front.find_first_of(" \t=:"), front.size());
    if (front.substr(sign).find_first_not_of(" \t=:>") != std::string_view::npos) {
      return false;
    }
  }
  std::string_view rest = all.substr(end - value.begin);
  bool any = false;
  while (!rest.empty()) {
    const std::string_view word = takeWord(rest);
    const bool isOption = word.size() > 1 && word[0] == '-' &&
                          (word[1] == '-' || isLetterByte(static_cast<unsigned char>(word[1])));
    if (isKeyWord(word) || isOption || word.starts_with("./") || word.starts_with('/') ||
        isOneOf(word, kOperators)) {
      return false;
    }
    any = any || !word.empty();
  }
  return any;
}

// "password= expires=3600": whether the next word is another key. What Base64 is filled up with makes none.
bool TextRedactor::isKeyBehind(Place place) const {
  constexpr std::size_t kLongestName = 40;
  constexpr std::size_t kShortestBase64 = 16;
  for (const Place front = place; isBlankByte(at(place)) && place - front < 32;) {
    ++place;
  }
  Place last = place;
  while (last - place < kLongestName && isIdentifierByte(at(last))) {
    ++last;
  }
  if (last == place || at(last) != '=') {
    return false;
  }
  Place end = last;
  while (at(end) == '=' && end - last < 3) {
    ++end;
  }
  const bool isBase64 =
      end - place >= kShortestBase64 && (end - place) % 4 == 0 && (isSpaceByte(at(end)) || at(end) == 0);
  return !isBase64;
}

// The key whose sign stands in front of the value, as far as the text is still there.
std::string_view TextRedactor::keyBefore(Place value) const {
  constexpr std::size_t kLongestWordFront = 64;
  constexpr std::size_t kLongestSign = 16;
  Place end = value;
  while (end > 0 && value - end < kLongestSign &&
         std::string_view(" \t:=").find(static_cast<char>(at(end - 1))) != std::string_view::npos) {
    --end;
  }
  Place begin = end;
  while (begin > 0 && end - begin < kLongestWordFront && isIdentifierByte(at(begin - 1))) {
    --begin;
  }
  return text(begin, end);
}

// "password: ok", "error reading password: Permission denied", "secret: backend not reachable": behind a
// colon and without quotes, what became of a secret.
bool TextRedactor::isRemark(const Value& value) const {
  static constexpr std::array<std::string_view, 16> kErrors = {"Permission denied",
                                                               "Access denied",
                                                               "No such ",
                                                               "Operation not ",
                                                               "Operation timed ",
                                                               "Connection refused",
                                                               "Connection timed ",
                                                               "Connection reset",
                                                               "Input/output error",
                                                               "Resource temporarily ",
                                                               "Authentication fail",
                                                               "Timed out",
                                                               "Verification Failed",
                                                               "Need '",
                                                               "pam_",
                                                               "gkr-pam:"};
  static constexpr std::array<std::string_view, 34> kStates = {
      "ok",        "okay",     "cached",   "granted",  "valid",     "correct",     "wrong",
      "mismatch",  "provided", "received", "sent",     "stored",    "saved",       "loaded",
      "found",     "updated",  "reset",    "verified", "refused",   "unavailable", "pending",
      "cancelled", "canceled", "ignored",  "present",  "unchanged", "success",     "successful",
      "error",     "timeout",  "skipped",  "cleared",  "removed",   "unsupported"};
  static constexpr std::array<std::string_view, 7> kOutcomes = {
      "derived", "configured", "prompted", "renewed", "selected", "falling", "lookup"};
  static constexpr std::array<std::string_view, 12> kVerdicts = {
      "not",     "failed",  "denied", "cannot",      "unavailable", "missing",
      "expired", "invalid", "wrong",  "unreachable", "refused",     "cancelled"};
  static constexpr std::array<std::string_view, 6> kModules = {"session", "auth",      "account",
                                                               "setcred", "chauthtok", "password"};
  constexpr std::size_t kMostWords = 4;
  Value all = value;
  all.ending = Ending::kLine;
  const std::string_view line = text(value.begin, valueEnd(all, kLongestLoginRest));
  if (std::any_of(kErrors.begin(), kErrors.end(),
                  [line](std::string_view error) { return line.starts_with(error); })) {
    return true;
  }
  // "pam_unix(gdm-password:session): "
  const std::size_t bracket =
      at(value.begin - 1) == ':' ? line.substr(0, 16).find(')') : std::string_view::npos;
  if (bracket != std::string_view::npos && isOneOf(line.substr(0, bracket), kModules)) {
    return true;
  }
  const bool isOwnLine = hasLineForItself(value.begin);
  std::string_view rest = line;
  const std::string_view first = takeWord(rest);
  // "krb5_get_init_creds_password: Clients credentials have been revoked": a function, and why it failed.
  const auto isOfLetters = [](std::string_view word) {
    return word.size() > 1 && std::all_of(word.begin(), word.end(),
                                          [](char c) { return isLetterByte(static_cast<unsigned char>(c)); });
  };
  std::string_view second = rest;
  if (keyBefore(value.begin).find("get_") != std::string_view::npos && isOfLetters(first) &&
      isOfLetters(withoutSign(takeWord(second)))) {
    return true;
  }
  if (isOneOf(withoutSign(first), kStates)) {
    return !isOwnLine || withoutSign(first).size() < first.size() ||
           rest.find_first_not_of(" \t") == std::string_view::npos;
  }
  if (isOneOf(withoutSign(first), kOutcomes) && isEverydayLine(rest)) {
    return true;
  }
  rest = line;
  for (std::size_t words = 0; words < kMostWords && !isOwnLine; ++words) {
    const std::string_view word = withoutSign(takeWord(rest));
    if (!isSmallWord(word)) {
      return false;
    }
    if (words > 0 && isOneOf(word, kVerdicts)) {
      return true;
    }
  }
  return false;
}

// sshpass -p hunter2, -storepass hunter2, : RSA key.pem "hunter2", jane * "hunter2" *
TextRedactor::Place TextRedactor::trySecretOfLine(Place begin, Place end, Place place) {
  if (at(begin) == '-' && end - begin > 1) {
    if (at(begin + 1) == 'p' && wordBefore(begin) == "sshpass") {
      if (end - begin == 2) {
        return std::max(begin, takeSecret(bareOrQuoted(place)));
      }
      Value value;
      value.begin = begin + 2;
      return std::max(begin, takeSecret(value));
    }
    return tryDashOption(begin, end, place);
  }
  if (at(place) == '*' && isBlankByte(at(place + 1))) {
    return tryChapLine(begin, end, place);
  }
  if (begin < 2 || at(begin - 2) != ':' || at(begin - 1) != ' ' || end - begin > 5) {
    return begin;
  }
  static constexpr std::array<std::string_view, 4> kKinds = {"RSA", "ECDSA", "P12", "PKCS8"};
  if (!isOneOf(text(begin, end), kKinds)) {
    return begin;
  }
  Place last = place;
  while (last - place < 256 && at(last) != 0 && !isSpaceByte(at(last)) && at(last) != '"') {
    ++last;
  }
  while (last - place < 272 && isBlankByte(at(last))) {
    ++last;
  }
  return at(last) == '"' ? std::max(begin, takeSecret(bareOrQuoted(last))) : begin;
}

// "-storepass hunter2": with one dash, as some programs have it.
TextRedactor::Place TextRedactor::tryDashOption(Place begin, Place end, Place place) {
  const std::string_view key = text(begin, end);
  if (place != end + 1 || at(place) == '-' || at(begin + 1) == '-' || !mayBeKey(key) ||
      (begin > 0 && !isSpaceByte(at(begin - 1)) && at(begin - 1) != '"' && at(begin - 1) != '\'')) {
    return begin;
  }
  const KeyLook look = keyLook({}, key);
  if (look != KeyLook::kSecret && look != KeyLook::kSecretWord) {
    return begin;
  }
  // Where a program takes it from; behind "pass:" it stands itself.
  const std::string_view front = seen(place, 5);
  for (const std::string_view from : {"pass:", "file:", "env:", "fd:", "stdin"}) {
    if (front.starts_with(from)) {
      return begin;
    }
  }
  return std::max(begin, takeValue(look, bareOrQuoted(place)));
}

// A line of .netrc: a host behind "machine", none behind "default", and names with their values up to the
// line's end or the next host.
TextRedactor::Place TextRedactor::tryLoginLine(Place begin, Place end, Place place) {
  constexpr std::size_t kMostWords = 8;
  constexpr std::size_t kLongestLogin = 400;
  struct Word {
    Place begin;
    Place end;
  };
  std::array<Word, kMostWords> words = {};
  std::size_t count = 0;
  const std::size_t hosts = isSame(text(begin, end), "machine") ? 1 : 0;
  Place at0 = place;
  while (at0 - place < kLongestLogin && at(at0) != 0 && at(at0) != '\n' && at(at0) != '\r') {
    if (count == kMostWords) {
      return begin;
    }
    words[count].begin = at0;
    while (at0 - place < kLongestLogin && at(at0) != 0 && !isSpaceByte(at(at0))) {
      ++at0;
    }
    words[count++].end = at0;
    if (text(words[count - 1].begin, at0) == "machine" && count % 2 == (hosts + 1) % 2) {
      at0 = words[--count].begin;
      break;
    }
    while (at0 - place < kLongestLogin && isBlankByte(at(at0))) {
      ++at0;
    }
  }
  static constexpr std::array<std::string_view, 4> kNames = {"login", "account", "password", "passwd"};
  if (count < hosts + 2 || count % 2 != hosts || at0 - place >= kLongestLogin) {
    return begin;
  }
  for (std::size_t i = hosts; i < count; i += 2) {
    if (!isOneOf(text(words[i].begin, words[i].end), kNames)) {
      return begin;
    }
  }
  if (hosts > 0 && isHostText(text(words[0].begin, words[0].end))) {
    replaceHost(words[0].begin, words[0].end);
  } else if (hosts > 0) {
    lookInto(words[0].begin, words[0].end);
  }
  for (std::size_t i = hosts; i < count; i += 2) {
    const Word& word = words[i + 1];
    if (text(words[i].begin, words[i].end).starts_with("pass")) {
      const std::string_view secret = text(word.begin, word.end);
      if (secret == kSecretMark) {
        continue;
      }
      foundSecret(secret);
      replace(word.begin, word.end, RedactKind::kSecret, kSecretMark);
    } else {
      replaceUser(word.begin, word.end);
    }
  }
  return std::max(m_nCopied, words[count - 1].end);
}

// A name, a server, a secret and addresses; `star` stands for the server.
TextRedactor::Place TextRedactor::tryChapLine(Place begin, Place end, Place star) {
  if (!isLineFront(begin)) {
    return begin;
  }
  const auto skip = [this](Place place) {
    const Place front = place;
    while (isBlankByte(at(place)) && place - front < 32) {
      ++place;
    }
    return place;
  };
  const Value secret = bareOrQuoted(skip(star + 1));
  const Place last = valueEnd(secret);
  const bool isQuoted = secret.ending == Ending::kQuote;
  if (last == secret.begin || last - secret.begin > kLongestColumn ||
      (isQuoted && at(last) != static_cast<unsigned char>(secret.quote))) {
    return begin;
  }
  // Without quotes only where the fourth column tells.
  const Place fourth = skip(last + (isQuoted ? 1 : 0));
  const unsigned char sign = at(fourth);
  const Place behind = skip(fourth + 1);
  const bool isLineEnd = sign == '*' && (isSpaceByte(at(behind)) || at(behind) == 0);
  if (isQuoted ? sign != '*' && sign != '\n' && sign != '\r' && sign != 0 && !isDigitByte(sign)
               : !isLineEnd || last - secret.begin < kShortestBare) {
    return begin;
  }
  replaceUser(begin, end);
  return std::max(takeSecret(secret), std::max(m_nCopied, end));
}

}  // namespace halvo
