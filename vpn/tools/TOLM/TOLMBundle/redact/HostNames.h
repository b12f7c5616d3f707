// Which dotted words are names of hosts and domains, and how such a name is put together. Pure functions.

#pragma once

#include <string_view>
#include <vector>

namespace halvo {

enum class HostLook {
  kNone,  // a file, a class, a number, a sentence
  kWeak,  // ends in a domain that is also an everyday word or a file's ending: needs a context that says host
  kStrong,  // stands as a host or domain name by itself
};

// `text`: letters, digits, ".", "-", "_" and bytes above 127, without a dot at either end.
HostLook hostLook(std::string_view text);

// Whether the text may stand where a host is named: as above, with or without dots, and at least one letter.
bool isHostText(std::string_view text);

// Names that stay: nobody's (RFC 6761), everybody's (standards, distributions), and stand-ins.
bool isReservedHost(std::string_view text);

// Whether the name is one of those of the systems' makers, which stay too: who writes from there doesn't.
bool isMakersHost(std::string_view text);

// Whether it may be a domain behind "name@", whatever it ends with: "acme.tel", and neither "1000.service"
// nor "2x.png".
bool mayBeMailDomain(std::string_view text);

// The domain, or a stand-in of one, that stands in front of a file's ending, or of "-" or "_" and what
// follows it, as in "vpn.acme.com.ovpn" and "acme.de-2026.txt"; empty where there is none.
std::string_view domainOfFile(std::string_view name);

struct HostParts {
  std::vector<std::string_view> labels;  // in front of the domain, or all of a name without one
  std::string_view base;     // the domain that somebody registered, such as "acme.co.uk"; may be empty
  bool isQualified = false;  // has a domain, or one that is used inside networks, such as ".local"
  bool isReserved = false;
};

// The views are into `text`.
HostParts splitHost(std::string_view text);

}  // namespace halvo
