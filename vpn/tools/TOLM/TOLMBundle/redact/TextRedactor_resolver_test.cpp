// Hosts that weren't found, kinds of machines, and versions that look like addresses.

#include <gtest/gtest.h>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"

namespace halvo {
namespace {

using test::expectRows;
using test::expectStays;

TEST(UnknownHostTest, ANameWithoutADotIsOneWhereItWasNotFound) {
  expectRows(
      {{"curl: (6) Could not resolve host: gate-kb7\ngate-kb7", "curl: (6) Could not resolve host: {H}\n{H}"},
       {"getaddrinfo ENOTFOUND gate-kb7\ngate-kb7", "getaddrinfo ENOTFOUND {H}\n{H}"},
       {"getaddrinfo EAI_AGAIN gate-kb7:443", "getaddrinfo EAI_AGAIN {H}:443"},
       {"java.net.UnknownHostException: gate-kb7: Name or service not known\ngate-kb7",
        "java.net.UnknownHostException: {H}: Name or service not known\n{H}"},
       {"lookup gate-kb7 on 127.0.0.53:53: no such host", "lookup {H} on 127.0.0.53:53: no such host"},
       {"lookup falcon: no such host\nfalcon", "lookup {H}: no such host\n{H}"},
       {"Cannot resolve host address: gate-kb7:1194 (Name", "Cannot resolve host address: {H}:1194 (Name"},
       {"The remote name could not be resolved: 'falcon'\nfalcon",
        "The remote name could not be resolved: '{H}'\n{H}"},
       {"No such host is known. (falcon:443)\nfalcon", "No such host is known. ({H}:443)\n{H}"},
       {"Connect to gate-kb7:443 [gate-kb7/127.0.0.1] failed", "Connect to {H}:443 [{H}/127.0.0.1] failed"},
       {"ping: gate-kb7: Name or service not known", "ping: {H}: Name or service not known"},
       {"** server can't find gate-kb7: NXDOMAIN", "** server can't find {H}: NXDOMAIN"},
       {"Host falcon not found: 3(NXDOMAIN)\nfalcon", "Host {H} not found: 3(NXDOMAIN)\n{H}"},
       {"sudo: unable to resolve host falcon: Name or service",
        "sudo: unable to resolve host {H}: Name or service"},
       {"ssh: Could not resolve hostname falcon: Name", "ssh: Could not resolve hostname {H}: Name"}});
}

TEST(UnknownHostTest, AProgramThatSaysSoIsNone) {
  expectStays({"getaddrinfo: Name or service not known", "nss-dns: NXDOMAIN",
               "curl: getaddrinfo: Temporary failure in name resolution", "lookup failed: no such host",
               "lookup table7 on 7 cores", "could not resolve host: timeout", "Host key not found: 7",
               "resolve host address: none"});
}

TEST(MachineKindTest, ItIsNoHost) {
  expectStays({"build=x86_64 host=aarch64 target=s390x", "hostname: amd64"});
}

TEST(VersionTest, WordsInFrontOrTheNumbersThemselvesTellOne) {
  expectStays({"Upgrading from 5.1.3.62 to 5.1.4.74", "Upgraded to 5.1.4.74", "Update available: 5.1.4.74",
               "Module kestrel.dll 5.1.3.62 loaded; driver 12.19.2.45", "subject 2.5.4.3=x, 2.5.29.17",
               "kind 1.3.101.112"});
}

TEST(VersionTest, AddressesThatChangeAreNone) {
  for (const std::string text : {"address updated to 84.17.52.9", "from 84.17.52.9 to 84.17.52.10",
                                 "peer available: 84.17.52.9", "driver: 3 at 84.17.52.9"}) {
    EXPECT_EQ(std::string::npos, test::redacted(text).find("84.17.52")) << text;
  }
}

}  // namespace
}  // namespace halvo
