// redaction.txt of an earlier redaction, and the paths that stand in it and in a bundle.

#pragma once

#include <string>
#include <string_view>

namespace halvo {

class TextRedactor;

// What a report begins with: by this it is told from another file of its name.
inline constexpr char kReportFront[] =
    "This bundle was redacted: what identifies people and machines was replaced, the same value by the same\n"
    "stand-in everywhere.\n"
    "\n"
    "240.0.0.0/5      public IPv4 addresses; hosts of one /24 stay in one\n"
    "250.0.0.0/8      10.0.0.0/8; 251.16.0.0/12: 172.16.0.0/12; 251.168.0.0/16: 192.168.0.0/16;\n"
    "                 251.64.0.0/10: 100.64.0.0/10\n"
    "3fff::/20        public IPv6 addresses; hosts of one /64 and one /48 stay in one\n"
    "2001:db8::/32    local IPv6 addresses\n"
    "02:00:5e:...     hardware addresses\n"
    "host-, user-, id-, wifi- and ten characters: names; REDACTED: secrets\n"
    "\n";

// A path, part by part: what is found never spans two of them. A part is a home folder's behind the folders
// that a text tells it by.
std::string redactPath(TextRedactor& redactor, const std::string& path);

// An earlier report comes from outside like all of the bundle, and names of kinds that were kept then stand
// in it. Its own words stay: in them a count would look like a name.
std::string redactReport(TextRedactor& redactor, std::string_view report);

}  // namespace halvo
