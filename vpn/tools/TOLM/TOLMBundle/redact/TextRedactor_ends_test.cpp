// Values without quotes of their own in texts that are in quotes: they end where the text does.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"

namespace halvo {
namespace {

using test::expectRows;
using test::labelled;
using test::redacted;
using test::Row;
using ::testing::HasSubstr;
using ::testing::Not;

const std::vector<Row>& linesOfTexts() {
  static const std::vector<Row> rows = {
      {R"({"level":"info","msg":"password=hirsch-k8","t":1})",
       R"({"level":"info","msg":"password=REDACTED","t":1})"},
      {R"({"msg":"GET /x?a=1&access_token=ya29a0AfB_by","status":200})",
       R"({"msg":"GET /x?a=1&access_token=REDACTED","status":200})"},
      {R"({"_CMDLINE":"kestrel --password hirsch-k8","_PID":"7"})",
       R"({"_CMDLINE":"kestrel --password REDACTED","_PID":"7"})"},
      {R"({"m":"kestrel --password \"hirsch k8\" up","n":1})",
       R"({"m":"kestrel --password \"REDACTED\" up","n":1})"},
      {R"({"env":["KESTREL_TOKEN=abcd1234","LANG=C","PATH=/usr/bin"]})",
       R"({"env":["KESTREL_TOKEN=REDACTED","LANG=C","PATH=/usr/bin"]})"},
      {R"([{"t":1,"m":"token=abcd1234"},{"t":2,"m":"dpd_timeout"},{"t":3,"m":"token=abcd1234"}])",
       R"([{"t":1,"m":"token=REDACTED"},{"t":2,"m":"dpd_timeout"},{"t":3,"m":"token=REDACTED"}])"},
      {R"(["--token=abcd1234","user=quandt","mtu 1380"])", R"(["--token=REDACTED","user={U}","mtu 1380"])"},
      {R"({"token=abcd1234":1,"b":2})", R"({"token=REDACTED":1,"b":2})"},
      {R"({"a":"","b":"password=abc1","c":""})", R"({"a":"","b":"password=REDACTED","c":""})"},
      {R"({"secret":{"a":"token=abc1","b":{"m":"psk=abc2"}},"n":1})",
       R"({"secret":{"a":"token=REDACTED","b":{"m":"psk=REDACTED"}},"n":1})"},
      {R"({"m":"X-Auth-Token: abcd1234","n":1})", R"({"m":"X-Auth-Token: REDACTED","n":1})"},
      {R"({"m":"the psk: abcd1234","n":1})", R"({"m":"the psk: REDACTED","n":1})"},
      {R"({"m":"GET /x?sid=abcd1234","n":1})", R"({"m":"GET /x?sid=REDACTED","n":1})"},
      {R"({"m":"pin: 4711","n":2})", R"({"m":"pin: REDACTED","n":2})"},
      {R"({"m":"sshpass -p hunter2","n":1})", R"({"m":"sshpass -p REDACTED","n":1})"},
      {R"({"m":"keytool -storepass hunter2","n":1})", R"({"m":"keytool -storepass REDACTED","n":1})"},
      {R"({"m":"curl -u quandt:hunter2x","n":1})", R"({"m":"curl -u {U}:REDACTED","n":1})"},
      {R"({"m":"jwt=abcdefgh1234","n":1})", R"({"m":"jwt=REDACTED","n":1})"},
      {R"({"m":"SAMLResponse=abcdefghijklmnopqrstuvwxyz0123456789","n":1})",
       R"({"m":"SAMLResponse=REDACTED","n":1})"},
      {R"({"password":12345,"pin": 4711,"a":{"b":"{\"pin\":4711,\"c\":1}"}})",
       R"({"password":"REDACTED","pin": "REDACTED","a":{"b":"{\"pin\":\"REDACTED\",\"c\":1}"}})"},
      {R"({"cmd":["x","--password","hunter2","--token", "abc d","--user","start"]})",
       R"({"cmd":["x","--password","REDACTED","--token", "REDACTED","--user","start"]})"},
      {R"({"cmd":["x","--password","--token","on"],"m":"[\"--password\",\"hunter2\"]"})",
       R"({"cmd":["x","--password","--token","on"],"m":"[\"--password\",\"REDACTED\"]"})"},
      // Those that reach to the line's end elsewhere.
      {R"({"m":"sent Cookie: a=b; c=d","n":1})", R"({"m":"sent Cookie: REDACTED","n":1})"},
      {R"({"m":"Authorization: Bearer abcdefg1234","n":1})",
       R"({"m":"Authorization: Bearer REDACTED","n":1})"},
      {R"({"m":"Authorization: Digest username=\"a\", realm=\"b\"","n":1})",
       R"({"m":"Authorization: Digest REDACTED","n":1})"},
      {R"({"m":"both \"set-cookie: a=b1\" and \"set-cookie: b=c2\" are","n":1})",
       R"({"m":"both \"set-cookie: REDACTED\" and \"set-cookie: REDACTED\" are","n":1})"},
      {R"({"m":"const cookie = request.getHeader('Cookie');\n// x","n":1})",
       R"({"m":"const cookie = REDACTED","n":1})"},
      {R"({"m":"search domains: a.acme.de b.acme.de","n":1})",
       R"({"m":"search domains: {H}.{H}.example {H}.{H}.example","n":1})"},
      {R"({"m":"full name: Frieda Kahl","n":1})", R"({"m":"full name: {U}","n":1})"},
      // Ids and wireless networks.
      {R"({"m":"the SerialNumber: PF2ABC99","level":"info"})",
       R"({"m":"the SerialNumber: {I}","level":"info"})"},
      {R"({"m":"serial=PF2ABC99","n":1})", R"({"m":"serial={I}","n":1})"},
      {R"({"m":"joined ssid=Fuchsbau7","n":1})", R"({"m":"joined ssid={W}","n":1})"},
      {R"({"m":"joined ssid: Fuchs Bau","n":1})", R"({"m":"joined ssid: {W}","n":1})"},
      // Their own quotes and backslashes.
      {R"({"m":"password=hun\"ter2","n":1})", R"({"m":"password=REDACTED","n":1})"},
      {R"({"m":"password=hun\",ter2","n":1})", R"({"m":"password=REDACTED","n":1})"},
      {R"({"m":"password=hun',ter2","n":1})", R"({"m":"password=REDACTED","n":1})"},
      {R"({"m":"password=hun\\","n":1})", R"({"m":"password=REDACTED","n":1})"},
      {R"({"m":"\"Password: hun\\\"ter2\"","n":1})", R"({"m":"\"Password: REDACTED\"","n":1})"},
      {R"({"m":"x \"password=abc1\"\nnext","n":1})", R"({"m":"x \"password=REDACTED\"\nnext","n":1})"},
      // No value is there, or none that is a secret.
      {R"({"m":"password=","n":1})", R"({"m":"password=","n":1})"},
      {R"({"m":"the password: ","n":1})", R"({"m":"the password: ","n":1})"},
      {R"({"m":"the password: ok","n":1})", R"({"m":"the password: ok","n":1})"},
      {R"({"m":"the password: none","n":1})", R"({"m":"the password: none","n":1})"},
      {R"({"m":"the password: Permission denied","n":1})",
       R"({"m":"the password: Permission denied","n":1})"}};
  return rows;
}

TEST(QuotedTextTest, ValuesInTextsOfJsonEndInFrontOfTheirQuotes) {
  expectRows(linesOfTexts());
}

TEST(QuotedTextTest, ALineOfJsonStaysOneBesideValuesWithoutQuotes) {
  for (const Row& row : linesOfTexts()) {
    EXPECT_TRUE(nlohmann::json::accept(row.text)) << row.text;
    EXPECT_TRUE(nlohmann::json::accept(redacted(row.text))) << redacted(row.text);
  }
}

// Where the quotes in front of the value can't be counted.
TEST(QuotedTextTest, ALongLineOfJsonStaysOneToo) {
  std::string whole = "[";
  std::string expected = "[";
  for (int round = 0; round < 3; ++round) {
    for (const Row& row : linesOfTexts()) {
      whole += (whole.size() > 1 ? "," : "") + row.text;
      expected += (expected.size() > 1 ? "," : "") + row.expected;
    }
  }
  whole += "]";
  expected += "]";
  const std::string once = redacted(whole);
  EXPECT_TRUE(nlohmann::json::accept(whole));
  EXPECT_TRUE(nlohmann::json::accept(once)) << once;
  EXPECT_EQ(expected, labelled(once));
  EXPECT_EQ(once, redacted(once));
  EXPECT_EQ(once, test::redactedInPieces(whole, 7));
}

TEST(QuotedTextTest, ALongTextOfJsonEndsInFrontOfItsQuote) {
  const std::string filler(3000, 'z');
  for (const std::string end : {R"(","n":1})", R"("})", R"(","n":{"o":1}})", R"(", "n":1})"}) {
    for (const std::string& secret : {std::string("hunter2"), std::string(9000, 'k') + "1"}) {
      const std::string front = R"({"a":1,"m":")" + filler + " password=";
      const std::string once = redacted(front + secret + end);
      EXPECT_EQ(front + "REDACTED" + end, once);
      EXPECT_EQ(once, redacted(once));
      EXPECT_EQ(once, test::redactedInPieces(front + secret + end, 100));
    }
  }
}

TEST(QuotedTextTest, ValuesInOtherQuotedTextsEndWithThem) {
  expectRows(
      {{R"(2026-03-15,INFO,"GET /cb?token=abcd1234","mtu 1380",200,"tunnel up")",
        R"(2026-03-15,INFO,"GET /cb?token=REDACTED","mtu 1380",200,"tunnel up")"},
       {R"("token=abcd1234";"x";1)", R"("token=REDACTED";"x";1)"},
       {R"("say ""hi"" token=abcd1234","x",1)", R"("say ""hi"" token=REDACTED","x",1)"},
       {R"(<a href="/x?token=abcd1234">open the portal</a>)",
        R"(<a href="/x?token=REDACTED">open the portal</a>)"},
       {R"(<x a='password=abcd1234'>y z</x>)", R"(<x a='password=REDACTED'>y z</x>)"},
       {R"(<x a="password=abcd1234"/> y)", R"(<x a="password=REDACTED"/> y)"},
       {R"({'cmd':'x --password hirsch-k8','b':1})", R"({'cmd':'x --password REDACTED','b':1})"},
       {R"({'cmd': "it's --password hirsch-k8",'b':1})", R"({'cmd': "it's --password REDACTED",'b':1})"},
       {R"("the password: correct horse", 1)", R"("the password: REDACTED", 1)"},
       {R"({Password:hirsch-k8 MTU:1380 Mode:tun})", R"({Password:REDACTED MTU:1380 Mode:tun})"},
       // A quote of the password's own.
       {R"(password=a"b,c)", "password=REDACTED"},
       {R"(password=a",b)", "password=REDACTED"},
       {R"(password=a"} x)", R"(password=REDACTED"} x)"},
       {R"(he said "x" and password=a",b)", R"(he said "x" and password=REDACTED)"},
       {R"({Password: correct horse})", R"({Password: REDACTED)"},
       {R"(Cookie: a="x,y"; b=c)", "Cookie: REDACTED"}});
}

// What such a value teaches is looked for elsewhere.
TEST(QuotedTextTest, AValueInAQuotedTextIsKnownElsewhereToo) {
  EXPECT_THAT(redacted("{\"m\":\"SerialNumber: PF2ABC99\",\"level\":\"info\"}\nPF2ABC99 seen again\n"),
              Not(HasSubstr("PF2ABC99")));
  EXPECT_THAT(redacted("{\"m\":\"token=abcd1234\",\"n\":1}\nabcd1234 seen again\n"),
              Not(HasSubstr("abcd1234")));
}

TEST(QuotedTextTest, RandomQuotedTextsAreRedactedOnceAndForAll) {
  const std::vector<std::string> parts = {"\"",          "'",
                                          "\\\"",        "\\\\\"",
                                          "{",           "}",
                                          "[",           "]",
                                          ",",           ":",
                                          " ",           "\",\"",
                                          "\":\"",       "\"},{\"",
                                          "\n",          "\\n",
                                          "m",           "password=",
                                          "token: ",     "psk=",
                                          "hunter2",     "a c",
                                          "Cookie: ",    "a=b; c",
                                          "ssid: ",      "ssid=",
                                          "Home Net",    "serial: ",
                                          "PF2ABC99",    "pin: 4711",
                                          "--password ", "user=",
                                          "jane",        "REDACTED",
                                          "secret={",    "\"password\":",
                                          "'token': ",   std::string(300, 'z')};
  test::expectDrawnTextsRedactedOnceAndForAll(parts, 20261123, 4000, 30);
}

}  // namespace
}  // namespace halvo
