// Users with their domain in front, as Windows names them: CORP\jane. One backslash may begin an escape too.

#include <algorithm>
#include <array>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestAccount = 64;

bool isAccountByte(unsigned char c) {
  return isWordByte(c) || c == '-' || c == '_' || c == '.';
}

bool areHexDigits(std::string_view text, std::size_t count) {
  return text.size() >= count && std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(count),
                                             [](char c) { return isHexByte(static_cast<unsigned char>(c)); });
}

// Whether what stands behind one backslash may be an escape. Those for a bell and its like are in few texts.
// "\e0" is a manual's.
bool mayBeEscape(std::string_view behind) {
  const char first = behind.empty() ? '0' : behind.front();
  const unsigned char second = behind.size() > 1 ? static_cast<unsigned char>(behind[1]) : 0;
  return first == 'n' || first == 'r' || first == 't' || (first == 'e' && isDigitByte(second)) ||
         (first == 'x' && areHexDigits(behind.substr(1), 2)) ||
         (first == 'u' && areHexDigits(behind.substr(1), 4));
}

}  // namespace

// "corp\jane   S-1-5-21-...": the account's number behind the name, which may be of several words where the
// line holds nothing else. Gives back where the name ends, `user` where there is none.
TextRedactor::Place TextRedactor::accountEnd(Place begin, Place user) const {
  constexpr std::size_t kWidest = 64;
  const bool isTable = begin == 0 || at(begin - 1) == '\n';
  Place end = user;
  while (end - user < kLongestAccount && (isAccountByte(at(end)) || at(end) == '$')) {
    ++end;
    Place next = end;
    while (next - end < kWidest && isBlankByte(at(next))) {
      ++next;
    }
    const std::string_view number = seen(next, 9);
    if (next > end && (number == "S-1-5-21-" || number == "S-1-12-1-")) {
      const std::string_view rest = seen(next + 1, kWidest);
      const std::size_t last = rest.find_first_not_of("0123456789-");
      const bool isLine = last == std::string_view::npos || rest[last] == '\n' || rest[last] == '\r';
      return isLine || text(user, end).find(' ') == std::string_view::npos ? end : user;
    }
    end += isTable && next == end + 1 ? 1U : 0U;
  }
  return user;
}

// Whether an account of a domain stands here, whatever letter is behind the backslash: "The user CORP\nora
// dialed", "Security ID: CORP\nora", <Data>CORP\nora</Data>.
bool TextRedactor::isAccountPlace(Place begin, Place end) const {
  std::string_view front = lineFront(begin);
  if (front.ends_with('>')) {
    return seen(end, 7) == "</Data>";
  }
  if (front.ends_with("The user ")) {
    return at(end) == ' ';
  }
  front = front.substr(0, front.find_last_not_of(" \t") + 1);
  return front.ends_with("Security ID:") || front.ends_with("Sicherheits-ID:");
}

// A user, or with a '$' behind its name a computer that logs in itself.
void TextRedactor::replaceAccount(Place begin, Place end, Evidence evidence) {
  if (end - begin > 1 && at(end - 1) == '$') {
    replaceHost(begin, end - 1, evidence != Evidence::kGuess);
  } else {
    replaceUser(begin, end, evidence);
  }
}

// CORP\jane and, where backslashes are written twice, CORP\\jane.
TextRedactor::Place TextRedactor::tryDomainUser(Place begin, Place end) {
  static constexpr std::array<std::string_view, 11> kNoDomains = {
      "HKLM", "HKCU", "HKCR", "HKU", "HKEY", "SOFTWARE", "SYSTEM", "BUILTIN", "AUTHORITY", "NT", "PATH"};
  constexpr std::size_t kShortest = 2;
  constexpr std::size_t kLongest = 15;  // of a NetBIOS name
  const std::string_view domain = text(begin, end);
  const unsigned char before = begin > 0 ? at(begin - 1) : ' ';
  if (domain.size() < kShortest || domain.back() == '-' || domain.starts_with(kSecretMark) ||
      domain.size() > kLongest || before == '\\' || before == '/' || before == ':' ||
      !isLetterByte(at(begin)) ||
      !std::all_of(domain.begin(), domain.end(),
                   [](char c) { return isPlainByte(static_cast<unsigned char>(c)) || c == '-'; }) ||
      std::find(kNoDomains.begin(), kNoDomains.end(), domain) != kNoDomains.end()) {
    return begin;
  }
  const bool isTwice = at(end + 1) == '\\';
  const Place user = end + (isTwice ? 2 : 1);
  if (!isLetterByte(at(user)) || at(user) > 127 ||
      StandIns::labelAt(text(user, user + kLongestAccount)) != 0) {
    return begin;
  }
  if (const Place last = accountEnd(begin, user); last > user) {
    replaceHost(begin, end);
    replaceAccount(user, last);
    return std::max(last, m_nCopied);
  }
  const bool isCapital =
      std::none_of(domain.begin(), domain.end(), [](char c) { return c >= 'a' && c <= 'z'; });
  Place last = user;
  while (last - user < kLongestAccount && isAccountByte(at(last))) {
    ++last;
  }
  while (last > user && !isWordByte(at(last - 1))) {
    --last;
  }
  const std::string_view name = text(user, last);
  const bool isTold = isCapital && isAccountPlace(begin, last);
  // "ERROR\nfailed", "A=FOO\\\\u0026b=1": what may be a line's end or another escape is left.
  const bool isEscape =
      (!isTwice && mayBeEscape(name)) || slashesAt(text(begin, last), end - begin).kind == SlashKind::kSign;
  if (!isCapital || (isEscape && !isTold) || name.size() < 3 || at(last) == '\\' || at(last) == '(' ||
      at(last) == '*' || at(last) == '+') {
    return begin;
  }
  // A plain word after a backslash may be anything: it goes here, and isn't looked for elsewhere.
  replaceHost(begin, end, isTold);
  const bool isPlain = !isTold && std::all_of(name.begin(), name.end(), [](char c) {
    return isLetterByte(static_cast<unsigned char>(c));
  });
  replaceAccount(user, last + (at(last) == '$' ? 1U : 0U), isPlain ? Evidence::kGuess : Evidence::kNamed);
  // "NB7\\USER=jane"
  const bool isKey = (at(last) == '=' || at(last) == ':') && mayBeKey(name);
  return std::max(isKey ? user : last, m_nCopied);
}

}  // namespace halvo
