#include "vpn/tools/TOLM/TOLMBundle/redact/HostNames.h"

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(HostNamesTest, DomainsThatAreNothingElseAreStrong) {
  for (const char* const name : {"acme.de", "a.b.c.acme.com", "ACME.ORG", "db.acme.co.uk", "x.local",
                                 "acme.co.in", "xn--a.xn--p1ai"}) {
    EXPECT_EQ(HostLook::kStrong, hostLook(name)) << name;
  }
}

TEST(HostNamesTest, DomainsThatAreWordsTooAreWeak) {
  for (const char* const name : {"acme.in", "foo.sh", "user.name", "file.info", "obj.id"}) {
    EXPECT_EQ(HostLook::kWeak, hostLook(name)) << name;
  }
}

TEST(HostNamesTest, EverythingElseIsNone) {
  for (const char* const name : {"acme",
                                 "a.log",
                                 "1.2.3",
                                 "10.de",
                                 "System.Net",
                                 "done.At",
                                 ".de",
                                 "com.acme.app",
                                 "Acme.app",
                                 "www.apple.com",
                                 "java.net",
                                 "a..de",
                                 "-.de",
                                 "",
                                 ".",
                                 "a-.de",
                                 "openssh.com",
                                 "localhost.localdomain",
                                 "1.in-addr.arpa",
                                 "foo.averyveryverylongdomain"}) {
    EXPECT_EQ(HostLook::kNone, hostLook(name)) << name;
  }
}

TEST(HostNamesTest, ANameIsSplitAtTheDomainThatSomebodyRegistered) {
  HostParts parts = splitHost("a.b.acme.co.uk");
  EXPECT_EQ((std::vector<std::string_view>{"a", "b"}), parts.labels);
  EXPECT_EQ("acme.co.uk", parts.base);
  parts = splitHost("acme.de");
  EXPECT_TRUE(parts.labels.empty());
  EXPECT_EQ("acme.de", parts.base);
  parts = splitHost("mbp.fritz.box");
  EXPECT_EQ("", parts.base);
  EXPECT_EQ(2U, parts.labels.size());
  parts = splitHost("mbp");
  EXPECT_FALSE(parts.isQualified);
  EXPECT_EQ((std::vector<std::string_view>{"mbp"}), parts.labels);
}

TEST(HostNamesTest, ADomainMayStandInAFilesName) {
  EXPECT_EQ("vpn.acme.com", domainOfFile("vpn.acme.com.ovpn"));
  EXPECT_EQ("gw-2.Acme.DE", domainOfFile("gw-2.Acme.DE_old-1.LOG.3"));
  for (const char* const name :
       {"acme", "acme.de.service", "main.c.txt", "core-2.log", "w3.org.txt", "localhost.log", "_", ""}) {
    EXPECT_EQ("", domainOfFile(name)) << name;
  }
}

TEST(HostNamesTest, OnlyMadeUpNamesOfTheDomainForExamplesAreStandIns) {
  EXPECT_FALSE(isReservedHost("vpn.acme.example"));
  EXPECT_FALSE(isReservedHost("host-abcdefghij.example"));
  EXPECT_TRUE(isReservedHost("localhost"));
  EXPECT_TRUE(isReservedHost("www.w3.org"));
  EXPECT_TRUE(isReservedHost("1.0.0.127.in-addr.arpa"));
}

}  // namespace
}  // namespace halvo
