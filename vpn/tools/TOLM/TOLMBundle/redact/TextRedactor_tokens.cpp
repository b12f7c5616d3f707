// What tells itself by its front, wherever it stands: tokens of services and the numbers of accounts.

#include <algorithm>
#include <array>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::string_view kCapitalsAndDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";

// How the tokens of a service begin, and how long they go on.
struct TokenForm {
  std::string_view front;
  std::size_t least;
  std::size_t most;
  std::string_view signs;  // that stand among the letters and digits
  bool isCapital;
  bool hasDigit;
};

constexpr std::array<TokenForm, 15> kTokens = {{
    {"ghp_", 20, 255, "", false, false},
    {"gho_", 20, 255, "", false, false},
    {"ghu_", 20, 255, "", false, false},
    {"ghs_", 20, 255, "", false, false},
    {"ghr_", 20, 255, "", false, false},
    {"github_pat_", 22, 255, "_", false, false},
    {"glpat-", 20, 400, "-_.", false, false},
    {"xoxb-", 10, 400, "-", false, true},
    {"xoxp-", 10, 400, "-", false, true},
    {"xoxa-", 10, 400, "-", false, true},
    {"xoxr-", 10, 400, "-", false, true},
    {"xoxs-", 10, 400, "-", false, true},
    {"AKIA", 16, 16, "", true, false},
    {"ASIA", 16, 16, "", true, false},
    {"AIza", 35, 35, "-_", false, false},
}};

}  // namespace

// Called for the words that begin with a letter that one of these begins with.
TextRedactor::Place TextRedactor::tryToken(Place begin, Place end) {
  if (at(begin) == 'e') {
    return tryWebToken(begin, end);
  }
  if (at(begin) == 'S' || at(begin) == 's') {
    return tryAccountNumber(begin, end);
  }
  const std::string_view rest = text(begin, end);
  const auto form = std::find_if(kTokens.begin(), kTokens.end(),
                                 [rest](const TokenForm& one) { return rest.starts_with(one.front); });
  if (form == kTokens.end()) {
    return begin;
  }
  const Place front = begin + form->front.size();
  Place last = front;
  bool hasDigit = false;
  while (last < end && last - front < form->most &&
         (isPlainByte(at(last)) || form->signs.find(static_cast<char>(at(last))) != std::string_view::npos)) {
    hasDigit = hasDigit || isDigitByte(at(last));
    ++last;
  }
  while (form->least < form->most && last > front && !isWordByte(at(last - 1))) {
    --last;
  }
  const std::string_view token = text(front, last);
  // An address or a stand-in among the signs is none of a token's.
  if (token.size() < form->least || isWordByte(at(last)) || (form->hasDigit && !hasDigit) ||
      token.substr(0, form->least).find('.') != std::string_view::npos ||
      (form->isCapital && token.find_first_not_of(kCapitalsAndDigits) != std::string_view::npos) ||
      holdsStandIn(token)) {
    return begin;
  }
  replace(begin, last, RedactKind::kSecret, kSecretMark);
  return last;
}

// A JSON Web Token (RFC 7519): an object and two more parts in Base64, all letters, digits, "-" and "_".
TextRedactor::Place TextRedactor::tryWebToken(Place begin, Place end) {
  if (at(begin + 1) != 'y' || at(begin + 2) != 'J') {
    return begin;
  }
  std::string_view token = text(begin, end);
  while (!isWordByte(static_cast<unsigned char>(token.back()))) {
    token.remove_suffix(1);
  }
  if (token.size() <= 20 || std::count(token.begin(), token.end(), '.') < 2 ||
      token.find_first_of("+%") != std::string_view::npos) {
    return begin;
  }
  replace(begin, begin + token.size(), RedactKind::kSecret, kSecretMark);
  return begin + token.size();
}

// "S-1-5-21-A-B-C-1001": three numbers of a domain or a machine, and behind them one that says nothing
// without these and is often everybody's. "S-1-12-1-A-B-C-D" is an account of a directory in all its numbers.
TextRedactor::Place TextRedactor::tryAccountNumber(Place begin, Place end) {
  constexpr std::size_t kFront = 9;
  constexpr std::size_t kMostDigits = 10;
  const std::string_view front = text(begin, end).substr(0, kFront);
  const bool isDomain = isSame(front, "s-1-5-21-");
  if (!isDomain && !isSame(front, "s-1-12-1-")) {
    return begin;
  }
  Place place = begin + kFront;
  for (unsigned number = isDomain ? 3 : 4; number > 0; --number) {
    const Place first = place;
    while (isDigitByte(at(place)) && place - first <= kMostDigits) {
      ++place;
    }
    if (place == first || place - first > kMostDigits || (number > 1 && at(place) != '-')) {
      return begin;
    }
    place += number > 1 ? 1U : 0U;
  }
  const std::string_view account = text(begin, place);
  if (isPlainByte(at(place)) || account.substr(kFront).find_first_not_of("0-") == std::string_view::npos) {
    return begin;
  }
  if (m_pCollector == nullptr) {
    replace(begin, place, RedactKind::kId, m_rStandIns.label(RedactKind::kId, account));
  }
  return place;
}

}  // namespace halvo
