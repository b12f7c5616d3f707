// Secrets: those that keys tell, and password hashes, which tell themselves.

#include <algorithm>
#include <string>
#include <unordered_set>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kShortestKnownSecret = 8;
constexpr std::size_t kLongestBehind = 24;
constexpr std::size_t kShortestCrypt = 16;
constexpr std::size_t kFewestCryptLetters = 10;

// What begins with '/' and ends so is a key more likely than a path.
bool isPaddedBase64(std::string_view text) {
  constexpr std::size_t kShortest = 16;
  const std::string_view digits = text.substr(0, text.find('='));
  return digits.size() < text.size() && text.size() >= kShortest && text.size() % 4 == 0 &&
         text.find_first_not_of('=', digits.size()) == std::string_view::npos &&
         std::all_of(digits.begin(), digits.end(), [](char c) {
           return isPlainByte(static_cast<unsigned char>(c)) || c == '+' || c == '/';
         });
}

// What stands for a secret, also with the number by which names of files that became the same are told apart.
bool isSecretMark(std::string_view text) {
  if (!text.starts_with(kSecretMark)) {
    return false;
  }
  text.remove_prefix(kSecretMark.size());
  return text.empty() || (text.size() > 1 && text.front() == '-' &&
                          text.find_first_not_of("0123456789", 1) == std::string_view::npos);
}

// "<password>", "[not set]", "{{ password }}", "{0}": nothing but words or numbers in brackets.
bool isPlaceholder(std::string_view text) {
  const std::size_t kind = std::string_view("<[{").find(text.front());
  if (kind == std::string_view::npos || text.back() != ">]}"[kind]) {
    return false;
  }
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const auto before = static_cast<unsigned char>(text[i - 1]);
    if (isDigitByte(c)    ? isLetterByte(before)
        : isLetterByte(c) ? isDigitByte(before)
                          : std::string_view(" _-.<>[]{}").find(text[i]) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

// "{user: x}", "[a, b]", "{0": the front of a value without quotes that is a list, an object or a
// placeholder, and neither "{SSHA}Lwji3x" nor "[Kq7vR2".
bool beginsStructure(std::string_view text) {
  if (std::string_view("<[{").find(text.front()) == std::string_view::npos) {
    return false;
  }
  text = text.substr(0, kLongestUser);
  std::size_t end = 1;
  while (end < text.size() && isIdentifierByte(static_cast<unsigned char>(text[end]))) {
    ++end;
  }
  const std::string_view word = text.substr(1, end - 1);
  return word.find_first_not_of("0123456789.-") == std::string_view::npos || word.starts_with("0x") ||
         text.find_first_of("0123456789") == std::string_view::npos ||
         (end < text.size() && std::string_view(":=,([").find(text[end]) != std::string_view::npos);
}

bool endsLike(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && isSame(text.substr(text.size() - end.size()), end);
}

}  // namespace

// Said of a secret, and no secret. `isBare`: without quotes, so that it may be the front of what stands
// there.
bool TextRedactor::saysNothing(std::string_view value, bool isBare) {
  static const std::unordered_set<std::string_view> words = {
      "true", "false", "yes", "no", "null", "none", "nil", "required", "missing", "empty", "invalid",
      "expired", "unset", "set", "not", "on", "off", "enabled", "disabled", "changed", "is", "was", "for",
      "failed", "unknown", "n/a", "(null)", "(none)", "(hidden)", "{}", "[]", "%s", "ask", "always", "never",
      "default", "undefined", "prompt", "optional", "denied", "accepted", "rejected", "incorrect",
      // Where a system looks for its passwords, not one of them.
      "files", "compat", "sss", "winbind", "ldap", "nis", "db", "systemd",
      // In front of a block of lines.
      ">-", ">+", "|-", "|+"};
  if (value.empty() || isSecretMark(value) || isPlaceholder(value) || (isBare && beginsStructure(value)) ||
      value.find_first_not_of("*") == std::string_view::npos ||
      value.find_first_not_of(".") == std::string_view::npos) {
    return true;
  }
  std::string small = lowered(value.substr(0, 16));
  while (!small.empty() && (small.back() == ',' || small.back() == '.' || small.back() == ';')) {
    small.pop_back();
  }
  return value.size() <= 16 && words.contains(small);
}

// Of names that others have too: "render_pass=2", "PWD=/home/jane", "bearer: connected", "pin: 4 (gpio)",
// "otp: device 5a0f1 found". What stands for a name is no secret of the look's.
bool TextRedactor::isNoSecret(KeyLook look, const Value& value, std::string_view all) const {
  constexpr std::size_t kLongestCount = 2;
  constexpr std::size_t kShortestToken = 8;
  constexpr std::size_t kShortestNumber = 4;
  constexpr std::size_t kLongestNumber = 12;
  constexpr std::size_t kShortestCode = 5;
  constexpr std::size_t kLongestCode = 64;
  constexpr std::string_view kDigits = "0123456789";
  const bool isNumber = all.find_first_not_of(kDigits) == std::string_view::npos;
  const bool hasDigit = all.substr(0, kLongestUser).find_first_of(kDigits) != std::string_view::npos;
  switch (look) {
    case KeyLook::kSecret:
      // A security identifier and what stands for its domain, the code of an error, a key on the keyboard:
      // accesskey="s".
      if ((all.starts_with("S-1-") && all.find_first_not_of("0123456789-", 4) == std::string_view::npos) ||
          (all.starts_with("id-") && StandIns::labelAt(all) != 0) ||
          (all.size() == 1 && value.ending == Ending::kQuote) ||
          (all.starts_with("0x") && all.size() <= 10 && value.ending == Ending::kWord &&
           endsLike(keyBefore(value.begin), "token") &&
           all.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string_view::npos)) {
        return true;
      }
      // privatekey=/etc/ssl/key.pem, but neither "PrivateKey = /AnzTF...=" nor "password=/Kq7vR2".
      return all.starts_with('/') && value.ending == Ending::kWord && !isPaddedBase64(all) &&
             (!hasDigit || all.find_first_of("/.", 1) != std::string_view::npos);
    case KeyLook::kSecretWord: {
      // "rsa-psk: corrected a leak": of the suites that are called so.
      const bool isSentence = value.isColon && value.ending == Ending::kWord && !hasDigit &&
                              isBlankByte(at(value.begin + all.size())) &&
                              endsLike(keyBefore(value.begin), "psk");
      const bool isDrive = all.size() > 2 && all[1] == ':' && (all[2] == '\\' || all[2] == '/');
      return isSentence || (isNumber && all.size() <= kLongestCount) || isDrive || all.starts_with('/') ||
             all.starts_with('~') || all.substr(0, kLongestBehind).find("://") != std::string_view::npos;
    }
    case KeyLook::kToken:
      // An address is made of these, and what stands for it may be longer.
      return all.size() < kShortestToken || !hasDigit || isNumber || all.starts_with('/') ||
             all.starts_with("0x") || all.find_first_of(" \t") != std::string_view::npos ||
             (all.find_first_of(".:") != std::string_view::npos &&
              all.find_first_not_of("0123456789abcdefABCDEF.:") == std::string_view::npos) ||
             holdsStandIn(all);
    case KeyLook::kPersonal: {
      if (isNumber) {
        return all.size() < kShortestNumber || all.size() > kLongestNumber;
      }
      const bool isCode = all.size() >= kShortestCode && all.size() <= kLongestCode && hasDigit &&
                          !isSame(all.substr(0, 4), "gpio") && !all.starts_with("0x") &&
                          std::all_of(all.begin(), all.end(), [](char c) {
                            return isPlainByte(static_cast<unsigned char>(c)) || c == '-';
                          });
      const bool isSentence = value.isColon && value.ending == Ending::kWord && !value.wasQuoted &&
                              isBlankByte(at(value.begin + all.size()));
      return !isCode || isSentence || holdsStandIn(all);
    }
    default:
      return false;
  }
}

// Tells of a secret, which is then looked for elsewhere too, unless a word of a text could be the same.
void TextRedactor::foundSecret(std::string_view secret) {
  if (secret.size() >= kShortestKnownSecret && secret.find_first_of("0123456789") != std::string_view::npos &&
      secret.find_first_of("\r\n") == std::string_view::npos) {
    found(RedactKind::kSecret, secret);
  }
}

TextRedactor::Place TextRedactor::takeSecret(const Value& value) {
  Place end = valueEnd(value);
  const bool isOpen = end - value.begin > kLongestValue;
  while (!isOpen && end > value.begin && isSpaceByte(at(end - 1))) {
    --end;
  }
  Place begin = value.begin;
  while (value.ending == Ending::kElement && begin < end && isSpaceByte(at(begin))) {
    ++begin;  // line ends stay
  }
  const bool isQuoted = value.ending == Ending::kQuote || value.ending == Ending::kEscapedQuote ||
                        value.ending == Ending::kElement || value.ending == Ending::kMarkup;
  if (!isOpen && saysNothing(text(begin, end), !isQuoted)) {
    return begin;
  }
  begin += !isOpen && !isQuoted && at(begin) == '[' && at(end) == ']' ? 1U : 0U;
  // A scheme in front of the secret stays: "Authorization: Bearer".
  for (const std::string_view scheme : {"bearer ", "basic ", "digest ", "negotiate ", "ntlm ", "token "}) {
    if (begin + scheme.size() < end &&
        isSame(std::string_view(m_Window).substr(begin, scheme.size()), scheme)) {
      begin += scheme.size();
    }
  }
  if (isSecretMark(text(begin, end)) || m_rKeep.keeps(RedactKind::kSecret)) {
    return std::max(value.begin, begin);
  }
  if (!isOpen) {
    foundSecret(text(begin, end));
  }
  const std::string mark = secretMark(value, end);
  hideQuotes(begin, isOpen ? begin : end);
  if (isOpen) {
    end = begin;
    m_Swallow = Swallow::kValue;
    m_SwallowValue = value;
    m_SwallowValue.quoted =
        value.quoted == Quoted::kUnasked ? lookForQuote(value.begin, '"', 0) : value.quoted;
    m_SwallowValue.begin = begin;
  }
  replace(begin, end, RedactKind::kSecret, mark);
  return std::max(end, begin);
}

// ["hunter2", "hunter3"]
TextRedactor::Place TextRedactor::takeSecretList(Place begin) {
  constexpr std::size_t kLongestList = 2048;
  Place place = begin + 1;
  while (place - begin < kLongestList && m_Swallow == Swallow::kNothing) {
    if (isSpaceByte(at(place)) || at(place) == ',') {
      ++place;
      continue;
    }
    const std::size_t slashes = escapesOfQuote(place);
    if (at(place) != '"' && at(place) != '\'' && slashes == 0) {
      break;
    }
    Value value;
    value.ending = slashes > 0 ? Ending::kEscapedQuote : Ending::kQuote;
    value.slashes = slashes;
    value.quote = static_cast<char>(at(place));
    value.begin = place + slashes + 1;
    const Place end = valueEnd(value);
    const Place done = takeSecret(value);
    const std::string_view all = text(value.begin, std::min(end, m_Window.size()));
    if (done <= value.begin && m_Swallow == Swallow::kNothing &&
        all.find_first_of(".:") != std::string_view::npos && nested(all) != all) {
      replace(value.begin, end, RedactKind::kSecret, kSecretMark);  // "<gw.acme.de>" is no placeholder
    }
    place = m_Swallow == Swallow::kNothing ? end + escapesOfQuote(end) + 1 : done;
  }
  return std::max(std::min(place, m_Window.size()), m_nCopied);
}

// $6$salt$hash, as in a shadow file, and $argon2id$v=19$m=65536,t=3$salt$hash.
TextRedactor::Place TextRedactor::tryCrypt(Place dollar) {
  constexpr std::size_t kLongestShort = 4;
  constexpr std::size_t kLongestScheme = 16;
  Place place = dollar + 1;
  while (place - dollar <= kLongestScheme && (isWordByte(at(place)) || at(place) == '-')) {
    ++place;
  }
  if (at(place) != '$' || place == dollar + 1) {
    return dollar;
  }
  const bool isLong = place - dollar - 1 > kLongestShort;
  ++place;
  const Place front = place;
  std::size_t letters = 0;
  bool hasDigit = false;
  bool hasParts = false;
  while (place - front < 512 &&
         (isWordByte(at(place)) || at(place) == '/' || at(place) == '.' || at(place) == '$' ||
          at(place) == '=' || at(place) == ',' || at(place) == '+')) {
    letters += isLetterByte(at(place)) ? 1 : 0;
    hasDigit = hasDigit || isDigitByte(at(place));
    hasParts = hasParts || at(place) == '$';
    ++place;
  }
  if (isLong && !(hasDigit && hasParts)) {
    return dollar;  // variables of a script
  }
  // Of digits and dots alone an address and what stands for it may be, of unlike lengths.
  if (place - front < kShortestCrypt || letters < kFewestCryptLetters) {
    return dollar;
  }
  replace(dollar, place, RedactKind::kSecret, kSecretMark);
  return place;
}

// "jane:1001:LM:NT:::" of a list of accounts of Windows: 32 digits each.
TextRedactor::Place TextRedactor::tryWindowsHash(Place begin, Place end) {
  const Place last = at(end + 1) == ':' ? end : end + 1 + (end - begin);
  if (begin == 0 || at(begin - 1) != ':' || (last > end && !areHex(end + 1, end - begin)) ||
      at(last) != ':' || at(last + 1) != ':' || at(last + 2) != ':') {
    return begin;
  }
  replace(begin, end, RedactKind::kSecret, kSecretMark);
  return end;
}

// Goes on with a secret whose front was replaced: nothing of it is handed out.
void TextRedactor::swallow() {
  if (m_Swallow == Swallow::kPem) {
    swallowPem();
    return;
  }
  Value rest = m_SwallowValue;
  rest.begin = m_nPlace;
  const Place end = valueEnd(rest);
  const Place reached = std::min(end, m_nPlace + kLongestValue);
  if (reached == end && end < m_Window.size()) {
    m_Swallow = Swallow::kNothing;
  }
  hideQuotes(m_nPlace, reached);
  m_nPlace = std::max(reached, m_nPlace + (end < m_Window.size() ? 0U : 1U));
  m_nPlace = std::min(m_nPlace, m_Window.size());
  m_nCopied = m_nPlace;
}

}  // namespace halvo
