// Hosts that a resolver didn't find, in the lines that say so: they need no dot to be one.

#include <algorithm>
#include <array>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

constexpr std::size_t kLongestReason = 40;

// Behind the name and its colon.
constexpr std::array<std::string_view, 10> kReasonsOfUnknown = {"Name or service not known",
                                                                "Name does not resolve",
                                                                "No address associated with",
                                                                "NXDOMAIN",
                                                                "SERVFAIL",
                                                                "Temporary failure in name",
                                                                "nodename nor servname",
                                                                "no such host",
                                                                "Unknown host",
                                                                "unknown host"};

// In front of a name in brackets or in quotes.
constexpr std::array<std::string_view, 4> kFrontsOfUnknown = {"such host is known. (", "service not known (",
                                                              "not known. (", "not be resolved: '"};

bool isUnknown(std::string_view rest) {
  return std::any_of(kReasonsOfUnknown.begin(), kReasonsOfUnknown.end(),
                     [rest](std::string_view reason) { return rest.starts_with(reason); });
}

// One with a dot is told by its look, and one of letters alone may be the program that says it.
bool looksLikeOne(std::string_view name) {
  return name.find('.') == std::string_view::npos &&
         name.find_first_of("0123456789-") != std::string_view::npos &&
         std::all_of(name.begin(), name.end(),
                     [](char c) { return isHostByte(static_cast<unsigned char>(c)); });
}

}  // namespace

// "ping: gw7: Name or service not known", "can't find gw7: NXDOMAIN", "No such host is known. (gw7:443)",
// "could not be resolved: 'gw7'": the run in [begin, end), and behind it a colon or a quote.
TextRedactor::Place TextRedactor::tryUnknownHost(Place begin, Place end) {
  const unsigned char front = before(begin);
  const unsigned char next = at(end + 1);
  if (front == '(' || front == '\'') {
    const std::string_view line = lineFront(begin);
    const bool isTold = (front == '\'' ? at(end) == '\'' : isDigitByte(next)) &&
                        std::any_of(kFrontsOfUnknown.begin(), kFrontsOfUnknown.end(),
                                    [line](std::string_view words) { return line.ends_with(words); });
    if (!isTold) {
      return begin;
    }
    replaceHost(begin, end);
    return std::max(end, m_nCopied);
  }
  constexpr std::string_view kFirst = "NSTUnu";
  if (next != ' ' || kFirst.find(static_cast<char>(at(end + 2))) == std::string_view::npos ||
      !isSpaceByte(front) || !looksLikeOne(text(begin, end)) || !isUnknown(seen(end + 2, kLongestReason))) {
    return begin;
  }
  // A program's own name begins what it says.
  const bool isBehindColon = begin > 1 && at(begin - 2) == ':';
  if (!isBehindColon && wordBefore(begin).empty()) {
    return begin;
  }
  replaceHost(begin, end);
  return std::max(end, m_nCopied);
}

// "dial tcp: lookup gw7 on 10.1.2.3:53: no such host", "lookup gw7: no such host": at the name.
TextRedactor::Place TextRedactor::tryLookup(Place begin) {
  Place end = begin;
  while (end - begin < kLongestHost && isHostByte(at(end))) {
    ++end;
  }
  constexpr std::string_view kOn = " on ";
  const std::string_view rest = seen(end, kLongestReason);
  const std::string_view server = rest.starts_with(kOn) ? rest.substr(kOn.size()) : std::string_view();
  const std::size_t sign = server.find_first_not_of("0123456789abcdef");
  const bool isOn = sign != std::string_view::npos && std::string_view("[.:").find(server[sign]) < 3;
  if (end == begin || !isWordByte(at(begin)) ||
      !(isOn || (rest.starts_with(": ") && isUnknown(rest.substr(2))))) {
    return begin;
  }
  replaceHost(begin, end);
  return std::max(end, m_nCopied);
}

// "Host gw7 not found: 3(NXDOMAIN)": behind the word.
void TextRedactor::tryHostNotFound(Place end) {
  const Place first = end + 1;
  Place last = first;
  while (last - first < kLongestHost && isHostByte(at(last))) {
    ++last;
  }
  constexpr std::string_view kNotFound = " not found: ";
  if (last > first && isWordByte(at(first)) && seen(last, kNotFound.size()) == kNotFound) {
    replaceHost(first, last);
  }
}

}  // namespace halvo
