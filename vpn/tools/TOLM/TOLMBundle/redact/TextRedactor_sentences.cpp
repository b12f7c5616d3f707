// Users in the sentences that systems and their programs write.

#include <algorithm>
#include <array>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestUser = 256;

// "waiting for user acknowledgements": by its ending the word is a thing and nobody.
bool isAbstract(std::string_view word) {
  static constexpr std::array<std::string_view, 12> kEndings = {
      "tion", "tions", "ment", "ments", "ness", "ity", "ings", "ence", "ences", "ances", "ories", "ables"};
  return std::all_of(word.begin(), word.end(), [](char c) { return c >= 'a' && c <= 'z'; }) &&
         std::any_of(kEndings.begin(), kEndings.end(),
                     [word](std::string_view ending) { return word.ends_with(ending); });
}

}  // namespace

// Users in the sentences that every system writes: "session opened for user jane(uid=1000)", "of user jane.",
// "Accepted publickey for jane from", "Failed password for invalid user jane from", "authenticating user jane
// 10.1.2.3 port 22", "User jane logged in", "sudo: jane : TTY=", "CRON[1]: (jane) CMD".
void TextRedactor::trySentence(Place begin, Place end) {
  const std::string_view word = text(begin, end);
  if (word == "PING" || word == "to" || word == "from") {
    tryNameOfAddress(end, word == "PING");
    return;
  }
  if (!isSame(word, "user") && !isSame(word, "for")) {
    return;
  }
  Place first = end + 1;
  const std::string_view before = wordBefore(begin);
  const bool isUser = isSame(word, "user");
  const bool isStranger = isUser && (isSame(before, "invalid") || isSame(before, "illegal") ||
                                     isSame(before, "authenticating") || isSame(before, "from"));
  const bool ofUser = isUser && (isStranger || isSame(before, "for") || isSame(before, "of"));
  const bool accepted = isSame(word, "for") && (isSame(before, "publickey") || isSame(before, "password") ||
                                                isSame(before, "interactive"));
  if (!isUser && !accepted) {
    return;
  }
  first += at(first) == '\'' || at(first) == '"' ? 1U : 0U;
  Place last = first;
  while (last - first < kLongestUser && isUserByte(at(last))) {
    ++last;
  }
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
  hasAddress = hasAddress && hasSign;
  const bool logged = isUser && std::string_view(m_Window).substr(last, 8) == " logged ";
  if (last > first && (logged || ((ofUser || accepted) && (ends || hasAddress)))) {
    const bool isSession = std::string_view(m_Window).substr(last, 5) == "(uid=";
    const bool mayEnd = isUser && !isSession && !isStranger && next != '\'' && next != '"';
    replaceUser(first, last,
                isSession                                 ? Evidence::kProven
                : mayEnd && isAbstract(text(first, last)) ? Evidence::kGuess
                                                          : Evidence::kNamed);
  }
}

}  // namespace halvo
