// Who and what is named in lines of logs and tables: what goes, and which words only stand like names.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {
namespace {

using test::expectRows;
using test::expectStays;
using test::labelled;
using test::redacted;
using ::testing::HasSubstr;
using ::testing::Not;

// Alone such a domain looks like a class and its member, and the name in front of it stayed.
TEST(EmailTest, CapitalsInTheDomainMakeNoDifference) {
  const std::string plain = redacted("<jane.doe@acme.de>");
  for (const std::string text : {"<jane.doe@Acme.DE>", "<jane.doe@ACME.DE>", "<jane.doe@AcMe.de>"}) {
    EXPECT_EQ(plain, redacted(text)) << text;
  }
  expectStays({"a@Foo.Bar", "listener@Main.java", "x@Object.toString"});
}

// Both names stayed, in the names of profiles most of all.
TEST(EmailTest, TheServiceOfAHostIsAHostOfItsRealm) {
  expectRows(
      {{"cifs/filer.acme.de@ACME.DE filer.acme.de", "cifs/{H}.{H}.example@{H}.example {H}.{H}.example"},
       {"krbtgt/ACME.DE@ACME.DE", "krbtgt/{H}.example@{H}.example"},
       {"https://x/jane.doe@acme.de", "https://{H}/{U}@{H}.example"}});
}

TEST(EmailTest, TheMakersOfSystemsTeachNoDomainAndHaveUsers) {
  const std::string plist =
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\" com.apple.xpc.launchd[1] "
      "xmlns=\"http://schemas.microsoft.com/x\"";
  EXPECT_EQ(plist, redacted(plist));
  expectRows({{"to jdoe7@apple.com", "to {U}@apple.com"},
              {"toolbox@apple.com\nTOOLBOX_SIZE", "{U}@apple.com\nTOOLBOX_SIZE"},
              {"anna.meier@apple.com\nby anna.meier", "{U}@apple.com\nby {U}"}});
}

TEST(EmailTest, ItMayBeginAFilesName) {
  const std::vector<std::string> behind = {".ovpn",  ".log.1",         "-2026.txt",
                                           "_1.txt", "_office-2.conf", ".OVPN",
                                           ".p12",   ".zip",           "-2026-11-23.tar.gz"};
  for (const std::string address : {"mmeier@acme.de", "m.meier@gw-2.acme.com", "mmeier@Acme.DE"}) {
    for (const std::string& rest : behind) {
      EXPECT_EQ(redacted("/etc/" + address) + rest + " x", redacted("/etc/" + address + rest + " x"));
      expectRows({{address + rest + "\nacme.com", labelled(redacted(address + rest + "\nacme.com"))}});
    }
  }
  expectStays({"getty@tty1.service", "user@1000.service.d", "x@Foo.Bar.log", "a@core.log", "fn@main.c.txt",
               "openvpn@acme.de.service", "b@b.de.method"});
}

TEST(HostInProfileTest, AProfileIsCalledByItsGateway) {
  const std::string host = redacted("vpn.acme.com");
  expectRows({{"/etc/vpn.acme.com.ovpn acme.com", labelled("/etc/" + host + ".ovpn " + redacted("acme.com"))},
              {"gw.acme.de_2.ovpn", "{H}.{H}.example_2.ovpn"}});
  EXPECT_EQ(host + ".ovpn", redacted("vpn.acme.com.ovpn"));
  expectStays({"office.ovpn", "index.de.html", "client.conf.ovpn", "vpn.acme.com.log"});
}

TEST(CredentialsTest, StandInsBehindAColonAreNoSecret) {
  const std::string once = redacted("`-u` of others than curl, and `--user name:` of these, password");
  EXPECT_EQ(once, redacted(once));
}

// A packet filter writes the front of a frame: both hardware addresses were lost, and the protocol with them.
TEST(FrameTest, BothHardwareAddressesHaveTheStandInsThatTheyHaveElsewhere) {
  const std::string own = redacted("3c:52:82:1a:2b:3c");
  const std::string gateway = redacted("3c:52:82:aa:bb:cc");
  EXPECT_EQ("IN=eth0 MAC=" + own + ":" + gateway + ":08:00 SRC=127.0.0.1",
            redacted("IN=eth0 MAC=3c:52:82:1a:2b:3c:3c:52:82:aa:bb:cc:08:00 SRC=127.0.0.1"));
  EXPECT_EQ("MAC=ff:ff:ff:ff:ff:ff:" + gateway + ":08:00",
            redacted("MAC=ff:ff:ff:ff:ff:ff:3c:52:82:aa:bb:cc:08:00"));
  EXPECT_EQ("MAC=01:00:5e:00:00:fb:" + gateway + ":08:00",
            redacted("MAC=01:00:5e:00:00:fb:3c:52:82:aa:bb:cc:08:00"));
  EXPECT_EQ("MAC=33:33:ff:00:00:00:" + gateway + ":86:dd",
            redacted("MAC=33:33:ff:1a:2b:3c:3c:52:82:aa:bb:cc:86:dd"));
  expectRows(
      {{"MAC=ff:ff:ff:ff:ff:ff:02:00:5e:00:00:07:08:00", "MAC=ff:ff:ff:ff:ff:ff:02:00:5e:00:00:07:08:00"}});
  for (const std::string text :
       {"MAC=3c:52:82:1a:2b:3c:3c:52:82:aa:bb:cc:08:00", "MAC=01:00:5e:00:00:fb:3c:52:82:aa:bb:cc:08:00",
        "duid 00:01:00:01:2c:1d:2e:3f:3c:52:82:aa:bb:cc"}) {
    const std::string once = redacted(text);
    EXPECT_THAT(once, Not(HasSubstr("aa:bb:cc"))) << text;
    EXPECT_EQ(once, redacted(once)) << text;
  }
}

TEST(FrameTest, AnAddressBehindAHardwareAddressIsNoPartOfIt) {
  EXPECT_EQ(redacted("3c:52:82:1a:2b:3c") + ":" + redacted("10.1.2.3"),
            redacted("3c:52:82:1a:2b:3c:10.1.2.3"));
}

// It was taken for a package's version, and in front of an '@' for a user.
TEST(FrameTest, AnAddressInFrontOfAHardwareAddressOrAHostIsOne) {
  EXPECT_EQ(redacted("10.1.2.3") + "-" + redacted("3c:52:82:1a:2b:3c"),
            redacted("10.1.2.3-3c:52:82:1a:2b:3c"));
  EXPECT_EQ("ssh " + redacted("10.1.2.3") + "@gw9:/x", redacted("ssh 10.1.2.3@gw9:/x"));
  EXPECT_EQ(redacted("10.1.2.3-3c"), "10.1.2.3-3c");
  expectRows({{"NB77\\\\USER=kmiller x", "{H}\\\\USER={U} x"}, {"NB77\\login: kmiller7", "{H}\\login: {U}"}});
}

// The address in a client's identifier stayed where it was written without zeros in front, and had another
// stand-in elsewhere.
TEST(ClientIdTest, ItsHardwareAddressHasTheStandInThatItHasElsewhere) {
  const std::string plain = redacted("00:1b:21:3a:4f:99");
  const std::string small = redacted("0:1b:21:3a:4f:99");
  EXPECT_EQ("dhcp_client_identifier = 01:" + plain,
            redacted("dhcp_client_identifier = 01:00:1b:21:3a:4f:99"));
  EXPECT_EQ("00:03:00:01:" + plain, redacted("00:03:00:01:00:1b:21:3a:4f:99"));
  EXPECT_EQ("option dhcp-client-identifier 1:" + small + ";",
            redacted("option dhcp-client-identifier 1:0:1b:21:3a:4f:99;"));
  EXPECT_EQ("option dhcp6.server-id 0:3:0:1:" + small + ";",
            redacted("option dhcp6.server-id 0:3:0:1:0:1b:21:3a:4f:99;"));
  const std::string timed = redacted("option dhcp6.client-id 0:1:0:1:2a:5b:6c:7d:0:1b:21:3a:4f:99;");
  EXPECT_THAT(timed, HasSubstr(small.substr(small.find("5e")) + ";"));
  EXPECT_THAT(timed, Not(HasSubstr("2a:5b")));
  for (const std::string text :
       {"1:0:1b:21:3a:4f:99", "identifier 1:52:54:0:12:34:56;", "01:00:1b:21:3a:4f:99",
        "0:1:0:1:2a:5b:6c:7d:0:1b:21:3a:4f:99", "0:3:0:1:12:34:56:10:11:12", "00:03:00:01:00:1b:21:3a:4f:99",
        "1:00:1b:21:3a:4f:99", "00:01:00:01:2a:5b:6c:7d:00:1b:21:3a:4f:99"}) {
    expectRows({{text, redacted(text)}});
    EXPECT_THAT(redacted(text), Not(testing::AnyOf(HasSubstr("4f"), HasSubstr("34"), text))) << text;
  }
  EXPECT_THAT(redacted("1:0:1b:21:3a:4f:99 001b213a4f99"), Not(HasSubstr("213a4f"))) << "it is known then";
  expectStays({"1:2:3:4:5:6:7", "identifier 2:3:4:5:6:7:8", "0:1:0:2:3:4:5:6:7:8:9:10:11:12",
               "0:3:0:2:12:34:56:10:11:12", "at 1:10:2:30:40:50:60"});
}

// What stood behind the address was found by a second redaction alone.
TEST(MixedAddressTest, AWordThatIsJoinedToItStaysJoined) {
  const std::string once = redacted("p[1]: 2a02:8071::181.2.69.142amFuZS5kb2VAYWNtZS5kZQ==@acme.de");
  EXPECT_THAT(once, Not(HasSubstr("2a02")));
  EXPECT_EQ(once, redacted(once));
}

// The name of the next value became a user, in every file.
TEST(EmptyValueTest, TheNextNameIsNoValue) {
  const std::string line = "authentication failure; logname= uid=0 euid=0 tty=ssh ruser= rhost=127.0.0.1";
  expectRows({{line + "  user=kmiller\nby kmiller, rhost", line + "  user={U}\nby {U}, rhost"},
              {"user= \"kmiller\" x", "user= \"{U}\" x"},
              {"user = kmiller x", "user = {U} x"}});
  expectStays({"username= realm=127.0.0.1\nrealm", "hostname= domain=\ndomain", "ssid= bssid=\nbssid",
               "owner: uid=0\nuid", "fullname= shell=/bin/sh\nshell", "serial= model2600=\nmodel2600",
               "host=\tport7=1\nport7"});
}

// A level or a part of a program in a log of its own became a host, in every file.
TEST(LogHostTest, LevelsAndPartsOfAProgramAreNoMachines) {
  expectStays({"2026-11-23T10:00:00.123456Z TRACE hyper::client: x",
               "2026-11-23T10:00:00Z ERR tunnel: x\n3 ERR", "2026-11-23T10:00:01Z I tunnel: x",
               "2026-11-23T10:00:01Z stdout F: x", "Mar 15 10:42:07 VERIFY OK: depth=0"});
  expectRows(
      {{"2026-03-15T10:42:07Z VpnService tunnel: up\nVpnService",
        "2026-03-15T10:42:07Z {H} tunnel: up\nVpnService"},
       {"2026-03-15T10:42:07Z falcon sshd[1]: up\nfalcon", "2026-03-15T10:42:07Z {H} sshd[1]: up\n{H}"},
       {"2026-03-15T10:42:07Z falcon kernel: up\nfalcon", "2026-03-15T10:42:07Z {H} kernel: up\n{H}"},
       {"2026-03-15T10:42:07Z mbp7 app: up\nmbp7", "2026-03-15T10:42:07Z {H} app: up\n{H}"},
       {"Mar 15 10:42:07 falcon app: up\nfalcon", "Mar 15 10:42:07 {H} app: up\n{H}"}});
}

// "you" became a host and "are" a user, in every file.
TEST(HostKeyTest, ASentenceBehindTheKeyTeachesNoHost) {
  expectStays({"hostname: you must be root to change the host name\nyou",
               "hostname: sethostname: Operation not permitted\nsethostname",
               "hostname: unrecognized option '-x'\nunrecognized",
               "- noproxy: fix builds without AF_INET6\nfix",
               "--default-user are possible, --user use this\nare"});
  expectRows({{"hostname: falcon\nfalcon", "hostname: {H}\n{H}"},
              {"hostname: falcon kernel: 6.1\nfalcon", "hostname: {H} kernel: 6.1\n{H}"},
              {"hostname: gw-7 is up\ngw-7", "hostname: {H} is up\ngw-7"},
              {"noproxy: falcon eagle\neagle", "noproxy: {H} {H}\n{H}"},
              {"noproxy: work acme.de\nacme.de", "noproxy: {H} {H}.example\n{H}.example"}});
}

// A name that stayed hid those that stand in it.
TEST(EverydayWordTest, AFullNameOfSuchWordsHidesNoOther) {
  expectRows({{"DisplayName: Jan May\n/home/jan/x", "DisplayName: {U} May\n/home/{U}/x"},
              {"DisplayName: Network Manager\n/home/jan/x", "DisplayName: Network Manager\n/home/{U}/x"}});
}

// A name in single quotes stayed, or took the closing quote with it.
TEST(CommonNameTest, AQuoteEndsIt) {
  expectRows({
      {"authentication of 'C=DE, O=x, CN=bruno7' with RSA\nbruno7",
       "authentication of 'C=DE, O=x, CN={U}' with RSA\n{U}"},
      {"authentication of 'CN=thalvorsen' (myself) with RSA", "authentication of 'CN={U}' (myself) with RSA"},
      {"authentication of 'CN=Bruno Sattler' with EAP", "authentication of 'CN={U}' with EAP"},
      {"subject='/C=DE/O=x/CN=bruno7' hash=ab", "subject='/C=DE/O=x/CN={U}' hash=ab"},
      {"IDir 'CN=bruno7' does not match to 'CN=anna7'", "IDir 'CN={U}' does not match to 'CN={U}'"},
      {"'CN=gw7.acme.de' x", "'CN={H}.{H}.example' x"},
      {"CN=Conan O'Brien, O=x", "CN={U}, O=x"},
      {"CN=Anne-Marie Koch/O=x", "CN={U}/O=x"},
      {"CN=bruno7's key", "CN={U}'s key"},
  });
  expectStays({"trusted 'O=x, CN=Acme Root CA' found", "'CN=' x", "CN='' x"});
}

// What issuers call themselves and their keys became a user, in every file.
TEST(CommonNameTest, NamesOfIssuersAndKeysTeachNoUser) {
  for (const std::string name : {"R11", "WR2", "vpn-client", "OpenVPN-Server", "Easy-RSA", "device-01", "ca1",
                                 "GlobalSign-RSA-OV", "server_2", "client7"}) {
    expectRows(
        {{"subject=O = x, CN = " + name + "\n" + name + ": 0", "subject=O = x, CN = {U}\n" + name + ": 0"}});
  }
  for (const std::string front :
       {"issuer=O = x, CN = ", "   Issuer: O=x, CN=", " 0 s:CN = server\n   i:CN = "}) {
    expectRows({{front + "jdoe7\njdoe7", labelled(redacted(front + "jdoe7")) + "\njdoe7"}});
    EXPECT_THAT(redacted(front + "jdoe7"), Not(HasSubstr("jdoe7")));
  }
  for (const std::string name : {"client-jdoe7", "jdoe7", "vpn-jdoe", "mm12", "AB123"}) {
    expectRows(
        {{"VERIFY OK: depth=0, CN=" + name + "\n" + name + "/x", "VERIFY OK: depth=0, CN={U}\n{U}/x"}});
  }
}

// "waiting for user input" made a user of "input", in every file.
TEST(EverydayWordTest, WhatOnlyStandsLikeANameTeachesNone) {
  const std::string words =
      "\nsuccessful timeout current prompt cancelled locked waiting manual normal machine certificate "
      "smartcard "
      "input route profile line path folder size count number pending complete blocked updated deleted "
      "present "
      "absent first last next previous directories confirmation response traffic switches applications Thu "
      "Nov";
  for (const std::string front : {"login: ", "user: ", "owner: ", "account: ", "ssid: ", "user=", "hostname=",
                                  "login = ", "username: ", "for user ", "of user "}) {
    for (const std::string word :
         {"successful", "timeout", "prompt", "cancelled", "smartcard", "input", "profile", "directories",
          "confirmation", "previous", "switches", "applications", "traffic", "acknowledgement"}) {
      const std::string text = "waiting " + front + word + words;
      EXPECT_EQ(words, redacted(text).substr(redacted(text).find('\n'))) << front << word;
      if (word != "acknowledgement") {
        EXPECT_EQ(text, redacted(text));
      }
    }
  }
  expectStays({"Last login: Thu Nov 20 10:00:01 2026 from 127.0.0.1" + words,
               "Last login: Mon Nov 20 10:00:01 on ttys000\nMon", "<font fullname=\"Times New Roman\"/>",
               "fullname=\"DejaVu Sans Bold\"", "DisplayName: Network Manager\nNetwork Manager"});
}

// "groups=44(video)" made a user of a group that every system has.
TEST(EverydayWordTest, GroupsAndAccountsOfTheSystemTeachNoName) {
  expectRows(
      {{"uid=1000(jdoe7) gid=1000(jdoe7) groups=1000(jdoe7),27(sudo),44(video),46(plugdev)\nvideo plugdev",
        "uid=1000({U}) gid=1000({U}) groups=1000({U}),27(sudo),44(video),46(plugdev)\nvideo plugdev"},
       {"uid=1871001104(jdoe7) gid=1871000513(domain users)\ndomain users",
        "uid=1871001104({U}) gid=1871000513(domain users)\ndomain users"}});
}

TEST(EverydayWordTest, WhereNobodyButAUserStandsTheWordIsAName) {
  for (const std::string proof :
       {"/home/input/x", "C:\\Users\\input\\x", "uid=1000(input)", "USER=input", "User Name:      input",
        "session opened for user input(uid=1000)", "input:x:1000:1000::/home/input:/bin/sh"}) {
    const std::string text = proof + "\nuser: input, waiting for user input\nreads its input";
    const std::string once = redacted(text);
    EXPECT_THAT(once, Not(HasSubstr(proof))) << text;
    EXPECT_THAT(labelled(once), HasSubstr("\nuser: {U}, waiting for user {U}\nreads its input"));
    EXPECT_EQ(once, redacted(once)) << text;
  }
  expectStays({"https://127.0.0.1/home/settings\nuser: settings", "GET /users/search\nowner: search"});
}

TEST(EverydayWordTest, SomebodyWhoIsCalledLikeAMonthIsFoundAndNoDateTouched) {
  expectRows({{"/home/jan/x\nJan 15 10:00:00, 15/Jan/2026, Sat Jan 15, Jan Doe, jan 12 x",
               "/home/{U}/x\nJan 15 10:00:00, 15/Jan/2026, Sat Jan 15, {U} Doe, {U} 12 x"},
              {"user=jan x\nJan Doe", "user={U} x\nJan Doe"}});
}

TEST(SentenceTest, UsersInTheSentencesOfProgramsGo) {
  expectRows({
      {"session opened for user root(uid=0) by lhuber(uid=1000)\nlhuber",
       "session opened for user root(uid=0) by {U}(uid=1000)\n{U}"},
      {"session opened for user root(uid=0) by (uid=0)", "session opened for user root(uid=0) by (uid=0)"},
      {"established between 127.0.0.1[nwagner]...127.0.0.2[kj6], 127.0.0.1[4500]\nnwagner kj6",
       "established between 127.0.0.1[{U}]...127.0.0.2[{U}], 127.0.0.1[4500]\n{U} {U}"},
      {"::1[nwagner] ::1[500]", "::1[{U}] ::1[500]"},
      {"xauth_identity=\"kj6\"", "xauth_identity=\"{U}\""},
      {"  eap_id = kj4", "  eap_id = {U}"},
      {"leftid=kj5@acme", "leftid={U}@{H}"},
      {"rightid=gw7.acme.de\ngw7.acme.de", "rightid={H}.{H}.example\n{H}.{H}.example"},
      {"received EAP identity '10.1.2.3'", "received EAP identity '" + redacted("10.1.2.3") + "'"},
      {"received EAP identity 'kj6'", "received EAP identity '{U}'"},
      {"authentication of 'kj6' with EAP successful", "authentication of '{U}' with EAP successful"},
      {"authentication of 'gw7.acme.de' with RSA", "authentication of '{H}.{H}.example' with RSA"},
      {"logged in as jw102 now\njw102", "logged in as {U} now\n{U}"},
      {"logged in as jwagner\njwagner", "logged in as {U}\n{U}"},
      {"authenticated as \"jw102\"", "authenticated as \"{U}\""},
      {"User [jwagner] is known", "User [{U}] is known"},
      {"polkit: unix-user:jwagner", "polkit: unix-user:{U}"},
      {"su[812]: (to pkoch) jane7 on pts/1\npkoch jane7", "su[812]: (to {U}) {U} on pts/1\n{U} {U}"},
      {"su[812]: (to root) jane7 on none", "su[812]: (to root) {U} on none"},
      {"XAuth user kj8 found", "XAuth user {U} found"},
      {"{\"user_id\":\"jw102\"}", "{\"user_id\":\"{U}\"}"},
      {"$ scp x.txt jw83@gw9:/x\njw83 gw9", "$ scp x.txt {U}@{H}:/x\n{U} {H}"},
      {"ssh -p 22 jw83@gw9\n", "ssh -p 22 {U}@{H}\n"},
  });
  expectStays({"logged in as root", "logged in as expected", "signed in as soon as possible", "[4500]",
               "10.1.2[abc]", "authentication of peer failed", "leftid=%any\nrightid=127.0.0.1",
               "leftid=@gw7", "{\"user_id\":17}", "user_id: words", "getty@tty1 of a system",
               "mail ssh of a@b", "User [options] x", "by hand (uid=0)", "(to whom) it on x",
               "ssh user@host"});
  EXPECT_THAT(redacted("rightid=\"C=DE, O=x, CN=jdoe7\""), Not(HasSubstr("jdoe7")));
  const std::string id = "{\"user_id\":\"8d3f1c2e-0b1a-4c5d-9e8f-001122334455\"}";
  EXPECT_EQ(redacted(id).substr(11), redacted(id.substr(11)));
}

TEST(HostNameTest, NamesOfMachinesInListsAndVariablesGo) {
  expectRows({
      {"   Host Name . . . . . . . . . . . . : NBWEBER77\nnbweber77",
       "   Host Name . . . . . . . . . . . . : {H}\n{H}"},
      {"   Hostname  . . . . . . . . . . . . : NBWEBER77", "   Hostname  . . . . . . . . . . . . : {H}"},
      {"USERDOMAIN=ACME7\nUSERDOMAIN_ROAMINGPROFILE=ACME7", "USERDOMAIN={H}\nUSERDOMAIN_ROAMINGPROFILE={H}"},
      {"LOGONSERVER=\\\\DC01\ndc01", "LOGONSERVER=\\\\{H}\n{H}"},
      {"dhcpd: DHCPACK on 127.0.0.2 to 02:00:5e:00:00:01 (phone-jan3) via eth0\nphone-jan3",
       "dhcpd: DHCPACK on 127.0.0.2 to 02:00:5e:00:00:01 ({H}) via eth0\n{H}"},
      {"DHCPACK(eth0) 127.0.0.2 02:00:5e:00:00:01 phone-jan3\nphone-jan3",
       "DHCPACK(eth0) 127.0.0.2 02:00:5e:00:00:01 {H}\n{H}"},
      {"<key>SSID_STR</key><string>DoesNet</string>", "<key>SSID_STR</key><string>{W}</string>"},
      {"<key>SSID_STR</key>\n\t<string>Does Net</string>", "<key>SSID_STR</key>\n\t<string>{W}</string>"},
  });
  expectStays({"   Description . . . . . . . . . . . : Acme Adapter 7", "chapter . . . : 12",
               "(gw7) via eth0", "   Host Name . . . . . : ", "to 02:00:5e:00:00:01 phone7\n",
               "and so on . : x7"});
}

// Tables of the kernel write IPv4 addresses in hexadecimal, the lowest byte first.
TEST(KernelTableTest, AddressesHaveTheStandInsThatTheyHaveElsewhere) {
  const auto hexOf = [](const std::string& address) {
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    std::sscanf(address.c_str(), "%u.%u.%u.%u", &a, &b, &c, &d);
    std::array<char, 16> text = {};
    std::snprintf(text.data(), text.size(), "%02X%02X%02X%02X", d, c, b, a);
    return std::string(text.data());
  };
  const std::string own = hexOf(redacted("10.1.2.3"));
  const std::string other = hexOf(redacted("84.17.52.7"));
  const std::string gateway = hexOf(redacted("192.168.1.1"));
  const std::string net = hexOf(redacted("192.168.1.0"));
  expectRows({
      {"   0: 0302010A:9C40 07341154:01BB 01 00000000:00000000 00:00000000 00000000  1000",
       "   0: " + own + ":9C40 " + other + ":01BB 01 00000000:00000000 00:00000000 00000000  1000"},
      {"  12: 0100007F:1F90 00000000:0000 0A 00000000:00000000",
       "  12: 0100007F:1F90 00000000:0000 0A 00000000:00000000"},
      {"   1: 0000000000000000FFFF000007341154:0016 00000000000000000000000000000000:0000 0A 00000000:0",
       "   1: 0000000000000000FFFF0000" + other +
           ":0016 00000000000000000000000000000000:0000 0A 00000000:0"},
      {"eth0\t00000000\t0101A8C0\t0003\t0\t0\t100\t00000000\t0\t0\t0\neth0\t0001A8C0\t00000000\t0001\t0\t0\t"
       "100\t00FFFFFF\t0\t0\t0",
       "eth0\t00000000\t" + gateway + "\t0003\t0\t0\t100\t00000000\t0\t0\t0\neth0\t" + net +
           "\t00000000\t0001\t0\t0\t100\t00FFFFFF\t0\t0\t0"},
  });
  const std::string six =
      "   1: 0080022A000000000000000001000000:0016 00000000000000000000000000000000:0000 0A 00000000:0";
  EXPECT_THAT(redacted(six), Not(HasSubstr("0080022A")));
  EXPECT_EQ(redacted(six), redacted(redacted(six)));
  expectStays({"x: 0302010A:9C40 07341154:01BB 01 0", "   0: 0302010A:9C40 07341154 01 0",
               "a\tb\t0302010A\t07341154\t0003\t0\t0\t100\t00000000\t0",
               "eth0\t0302010A\t07341154\t3\t0\t0\t1", "deadbeef: 0302010A", "   0: 0302010A:9C40"});
}

TEST(FileNameTest, AnAddressBetweenUnderlinesIsNoVersion) {
  EXPECT_EQ("jw_" + redacted("84.17.52.7") + "_x.txt", redacted("jw_84.17.52.7_x.txt"));
  expectStays({"setup_1.2.3.4_x64.exe", "foo_1.2.3.4_amd64.deb", "ppcx64-3.2.2.1.gz", "name-1.2.3.4.gz"});
}

// Texts made of what begins and ends such places.
TEST(SentenceTest, RandomTextsOfNamesAreRedactedOnceAndForAll) {
  const std::vector<std::string> parts = {"logged in as ",
                                          "authenticated as ",
                                          " as ",
                                          "by ",
                                          "for user ",
                                          "session opened for user ",
                                          "(uid=1000)",
                                          "(uid=0)",
                                          "(to ",
                                          "su: (to ",
                                          ") ",
                                          " on ",
                                          "jane7",
                                          "jdoe",
                                          "input",
                                          "jan",
                                          "Jan",
                                          " 15 ",
                                          "Thu ",
                                          "/home/",
                                          "/home/input",
                                          "USER=",
                                          "user: ",
                                          "login: ",
                                          "User [",
                                          "]",
                                          "[",
                                          "84.17.52.7",
                                          "10.1.2.3[",
                                          "...",
                                          "2a02:8071::17",
                                          "::1",
                                          "ssh ",
                                          "scp ",
                                          "@",
                                          "gw9",
                                          "acme.de",
                                          ":/x",
                                          "Host Name . . . ",
                                          ". ",
                                          ".",
                                          ": ",
                                          "NB77",
                                          "LOGONSERVER=",
                                          "USERDOMAIN=",
                                          "\\\\",
                                          "\\",
                                          "DC01",
                                          "DHCPACK(eth0) ",
                                          "DHCPACK on ",
                                          "3c:52:82:1a:2b:3c",
                                          ":",
                                          "MAC=",
                                          "3c:52:82:1a:2b:3c:3c:52:82:aa:bb:cc:08:00",
                                          "00:01:00:01:2c:1d:2e:3f:3c:52:82:aa:bb:cc",
                                          " (phone-7) via ",
                                          "<key>SSID_STR</key>",
                                          "<string>",
                                          "</string>",
                                          "Net 7",
                                          "   0: ",
                                          "0302010A:9C40 ",
                                          "07341154:01BB 01 ",
                                          "0A ",
                                          "0080022A000000000000000001000000:0016 ",
                                          "eth0\t",
                                          "0001A8C0\t",
                                          "0101A8C0\t0003\t0\t0\t100\t00FFFFFF\t",
                                          "leftid=",
                                          "eap_id = ",
                                          "EAP identity '",
                                          "authentication of '",
                                          "'",
                                          "\"",
                                          "\"user_id\":",
                                          "unix-user:",
                                          "XAuth user ",
                                          "ruser= ",
                                          "rhost=",
                                          "uid=1000(",
                                          ".ovpn",
                                          "-2026",
                                          ".zip",
                                          "gw.acme.com.ovpn",
                                          ".log",
                                          "1:0:1b:21:3a:4f:99",
                                          "0:3:0:1:",
                                          "01:",
                                          "0:1:0:1:2a:5b:6c:7d:0:1b:21:3a:4f:99",
                                          "identifier ",
                                          "CN=",
                                          "issuer=",
                                          "R11",
                                          "jdoe7-ca",
                                          "DisplayName: ",
                                          "/home/jan/",
                                          "Jan May",
                                          "domain users",
                                          "uid=1871001104(",
                                          "),44(video)",
                                          "_",
                                          "_x.txt",
                                          "-",
                                          ".gz",
                                          " ",
                                          "\n",
                                          "\n"};
  test::expectDrawnTextsRedactedOnceAndForAll(parts, 20261123, 2500, 19);
}

}  // namespace
}  // namespace halvo
