// Users where home folders, e-mail addresses and logins name them, and what only looks like a person.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"

namespace halvo {
namespace {

using test::expectRows;
using test::expectStays;
using test::redacted;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

TEST(HomeFolderTest, SlashesMayBeEscaped) {
  expectRows(
      {{R"({"p":"\/Users\/jkowalczyk\/Library"} jkowalczyk)", R"({"p":"\/Users\/{U}\/Library"} {U})"},
       {R"({"p":"{\"q\":\"\\\/home\\\/jkowalczyk\\\/x\"}"})", R"({"p":"{\"q\":\"\\\/home\\\/{U}\\\/x\"}"})"},
       {R"({"p":"\/home"} \/homes\/x\/)", R"({"p":"\/home"} \/homes\/x\/)"}});
}

TEST(HomeFolderTest, WhereAPageOrASourceMayStandNothingIsTaught) {
  expectRows(
      {{"GET /home/quillon HTTP/1.1\nquillon", "GET /home/{U} HTTP/1.1\nquillon"},
       {"POST https://127.0.0.1/users/quillon\nquillon", "POST https://127.0.0.1/users/{U}\nquillon"},
       {"app://-/home/quillon\nquillon", "app://-/home/{U}\nquillon"},
       {"/usr/include/boost/home/quillon/x.hpp\nquillon", "/usr/include/boost/home/{U}/x.hpp\nquillon"},
       {"at ./pages/home/quillon\nquillon", "at ./pages/home/{U}\nquillon"}});
  expectStays({"at ./src/pages/home/HomeView.vue:33", "webpack/home/index.js"});
}

TEST(HomeFolderTest, DeepInAPathItIsOneAsWell) {
  expectRows({{"/mnt/disk/home/quillon/x\nquillon", "/mnt/disk/home/{U}/x\n{U}"},
              {"file:///home/quillon/x\nquillon", "file:///home/{U}/x\n{U}"},
              {"sftp://127.0.0.1/home/quillon/x\nquillon", "sftp://127.0.0.1/home/{U}/x\n{U}"},
              {"PATH=/usr/bin:/home/input/bin\nuser: input", "PATH=/usr/bin:/home/{U}/bin\nuser: {U}"},
              {"C:/Users/quillon/x\nquillon", "C:/Users/{U}/x\n{U}"}});
}

TEST(EmailTest, WhateverItsDomainEndsWithItIsOne) {
  EXPECT_THAT(redacted("as rautavaara@qorvath.intern ok"),
              MatchesRegex("as user-.{10}@host-.{10}\\.example ok"));
  EXPECT_THAT(redacted("<jgastal@profusion.tel>"), MatchesRegex("<user-.{10}@host-.{10}\\.example>"));
  for (const std::string text : {"as rautavaara@qorvath.intern", "<jgastal@profusion.tel>",
                                 "https://dc1.qorvath.tel/ rautavaara@qorvath.tel x@mail.qorvath.tel"}) {
    const std::string once = redacted(text);
    EXPECT_EQ(once, redacted(once)) << text;
    EXPECT_THAT(once, Not(HasSubstr("rautavaara"))) << text;
  }
  expectStays(
      {"icon@2x.png user@1000.service dbus@org.scope render@app.js pkg@v1.2.3 this@Main.finish 17@acme.tel"});
}

TEST(EmailTest, SomebodyWhoIsKnownIsFoundInFrontOfEverybodysDomains) {
  expectRows({{"/home/karl8/x karl8@debian.org chacha20-poly1305@openssh.com",
               "/home/{U}/x {U}@debian.org chacha20-poly1305@openssh.com"}});
}

TEST(DisplayNameTest, ProgramsAndServicesHaveOneToo) {
  expectRows(
      {{R"({"displayName":"Orla Slattery","x":1} Orla Slattery)", R"({"displayName":"{U}","x":1} {U})"}});
  expectStays({R"("DisplayName"="Kestrel")", R"("DisplayName"="Kestrel Tunnel Service")",
               R"({"displayName":"util"})"});
}

TEST(AccountTest, ThoseOfServicesStay) {
  expectStays({"User=openvpn\nopenvpn[12]: openvpn exited", "owner=strongswan", "user=nm-openconnect",
               "hostname: str\nTypeError: str"});
}

TEST(LoginTest, NamesAndCodesOfSingleSignOnGo) {
  expectRows(
      {{R"({"preferred_username":"oslattery"})", R"({"preferred_username":"{U}"})"},
       {R"({"given_name":"Orla","family_name":"Slattery"})", R"({"given_name":"{U}","family_name":"{U}"})"},
       {R"(<saml:NameID Format="a:b">oslattery</saml:NameID>)",
        R"(<saml:NameID Format="a:b">{U}</saml:NameID>)"},
       {"GET /callback?code=8f7e6d5c9a&state=af0 HTTP", "GET /callback?code=REDACTED&state=af0 HTTP"},
       {"GET /x?a=1&code=8f7e6d5c9a&state=af0 HTTP", "GET /x?a=1&code=REDACTED&state=af0 HTTP"}});
  expectStays({"$familyname = ($sock, x)", "surname: &surname;", "given_name: (none)", "surname=surname"});
  expectStays({"GET /x?code=8f7e6d5c9a", "exit code=8f7e6d5c9a state=2", "/callback?code=418"});
}

TEST(IdTest, PlatformsAndDevicesOfTheSystemStay) {
  expectStays({"<device-id>linux-64</device-id>", "serial: ttyUSB0"});
}

}  // namespace
}  // namespace halvo
