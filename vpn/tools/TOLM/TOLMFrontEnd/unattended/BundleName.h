// Names for the bundles of runs that nobody stands in front of: HOST_YYYYMMDDTHHMMSSZ[_LABEL].zip, which
// sort by machine and time wherever they are gathered.

#pragma once

#include <ctime>
#include <string>

namespace halvo {

// What is wrong with a label; empty if nothing is: letters, digits, "-", "." and "_", up to 64, not first
// a ".".
std::string labelProblem(const std::string& label);

// The name, without a folder. Of the host's name whatever can't stand in a label becomes "-".
std::string unattendedBundleName(const std::string& host, std::time_t time, const std::string& label);

// This machine's name, "localhost" where it has none.
std::string hostName();

// "2026-11-21T13:00:00Z".
std::string utcText(std::time_t time);

}  // namespace halvo
