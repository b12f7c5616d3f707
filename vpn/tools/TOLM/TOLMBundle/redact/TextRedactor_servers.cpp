// Users in the lines that VPN servers write.

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

// "84.17.52.7:40012", "2a02::17:40012", "[2a02::17]:40012"
bool isAddressWithPort(std::string_view word) {
  const std::size_t colon = word.rfind(':');
  if (colon == std::string_view::npos || colon + 1 == word.size() ||
      word.find_first_not_of("0123456789", colon + 1) != std::string_view::npos) {
    return false;
  }
  word = word.substr(0, colon);
  if (word.starts_with('[') && word.ends_with(']')) {
    word = word.substr(1, word.size() - 2);
  }
  const std::string address(word);
  std::array<unsigned char, sizeof(in6_addr)> bytes = {};
  return inet_pton(AF_INET, address.c_str(), bytes.data()) == 1 ||
         inet_pton(AF_INET6, address.c_str(), bytes.data()) == 1;
}

}  // namespace

// At the '/' or ']' behind a name.
TextRedactor::Place TextRedactor::tryServerName(Place begin, Place end) {
  if (at(end) == '/') {
    if (before(begin) == '[' && isDigitByte(at(end + 1)) &&
        lineFront(begin).find("onnect") != std::string_view::npos) {
      replaceHost(begin, end);  // "Connect to gw7:443 [gw7/84.17.52.9] failed"
      return std::max(begin, m_nCopied);
    }
    return isHexByte(at(end + 1)) || at(end + 1) == '[' ? tryNameAtAddress(begin, end) : begin;
  }
  return before(begin) == '[' ? tryPeerName(begin, end) : begin;
}

// "[jane] Peer Connection Initiated with", "SENT CONTROL [jane]: 'PUSH_REPLY"
TextRedactor::Place TextRedactor::tryPeerName(Place begin, Place end) {
  constexpr std::string_view kSent = "SENT CONTROL [";
  const bool isPeer = at(end + 1) == ' ' && seen(end, 28) == "] Peer Connection Initiated ";
  const bool isSent =
      at(end + 1) == ':' && begin >= kSent.size() && text(begin - kSent.size(), begin) == kSent;
  if ((!isPeer && !isSent) || userEnd(begin) != end || hostLook(text(begin, end)) != HostLook::kNone) {
    return begin;
  }
  replaceUser(begin, end);
  return std::max(begin, m_nCopied);
}

// "jane/84.17.52.7:40012 MULTI: Learn: 10.8.0.6 -> jane/84.17.52.7:40012", and not "nb7/10.1.2.3:80 failed".
TextRedactor::Place TextRedactor::tryNameAtAddress(Place begin, Place end) {
  static constexpr std::array<std::string_view, 8> kProtocols = {"tcp",  "udp",  "tcp4", "tcp6",
                                                                 "udp4", "udp6", "http", "https"};
  constexpr std::size_t kLongest = 64;
  const std::string_view name = text(begin, end);
  if (!isSpaceByte(before(begin)) || userEnd(begin) != end || hostLook(name) != HostLook::kNone ||
      std::any_of(kProtocols.begin(), kProtocols.end(),
                  [name](std::string_view protocol) { return isSame(name, protocol); })) {
    return begin;
  }
  Place last = end + 1;
  while (last - end < kLongest &&
         (isHexByte(at(last)) || at(last) == '.' || at(last) == ':' || at(last) == '[' || at(last) == ']')) {
    ++last;
  }
  const unsigned char next = at(last + 1);
  const bool isMessage =
      at(last) == ' ' && ((next >= 'A' && next <= 'Z') || seen(last, 12) == " peer info: ");
  const bool isLearnt =
      (at(last) == '\n' || at(last) == '\r' || at(last) == 0) && begin > 2 && text(begin - 3, begin) == "-> ";
  if ((!isMessage && !isLearnt) || !isAddressWithPort(text(end + 1, last))) {
    return begin;
  }
  replaceUser(begin, end);
  return std::max(begin, m_nCopied);
}

// 'jane' in quotes, where a host, an address or a certificate's subject may stand too.
bool TextRedactor::takeIdentity(Place quote) {
  const Place last = userEnd(quote + 1);
  if (last == quote + 1 || at(last) != '\'' || hostLook(text(quote + 1, last)) != HostLook::kNone) {
    return false;
  }
  replaceUser(quote + 1, last);
  return true;
}

// "authentication of 'jane' with EAP successful", "reassigning offline lease to 'jane'", "lease 10.99.0.5 by
// 'jane' went offline", "assigning virtual IP 10.99.0.5 to peer 'jane'", "no shared key found for 'jane' -
// 'jdoe'": the short word in [begin, end) in front of the quote.
void TextRedactor::tryIdentitySentence(Place begin, Place end) {
  const std::string_view word = text(begin, end);
  const std::string_view front = lineFront(begin);
  bool isTold = false;
  if (word == "of") {
    isTold = front.ends_with("authentication ");
  } else if (word == "to") {
    isTold = front.ends_with("lease ");
  } else if (word == "peer") {
    isTold = front.ends_with(" to ") && front.find("virtual IP") != std::string_view::npos;
  } else if (word == "by") {
    const Place last = userEnd(end + 2);
    isTold = (front.find("lease ") != std::string_view::npos && seen(last, 14) == "' went offline") ||
             (front.find("virtual IP") != std::string_view::npos && front.ends_with(" requested "));
  } else if (word == "for") {
    const Place last = userEnd(end + 2);
    isTold = seen(last, 5) == "' - '" && (front.ends_with("key found ") || front.ends_with("shared key ") ||
                                          front.ends_with("shared keys "));
  } else {
    isTold = front.ends_with("' ") && (front.find(" key found for ") != std::string_view::npos ||
                                       front.find(" shared key") != std::string_view::npos);
  }
  if (isTold) {
    takeIdentity(end + 1);
  }
}

// "local  'jane' @ 192.168.178.44[4500]", "remote 'jane' @ 84.17.52.7[4500]", at the quote.
TextRedactor::Place TextRedactor::trySelector(Place quote) {
  const Place last = userEnd(quote + 1);
  if (seen(last, 4) != "' @ " || !(isHexByte(at(last + 4)) || at(last + 4) == ':') || !takeIdentity(quote)) {
    return quote;
  }
  return std::max(quote, m_nCopied);
}

}  // namespace halvo
