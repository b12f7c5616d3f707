// Names and secrets beside signs that are written as escapes, as writers of JSON do.

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

const std::vector<Row>& linesOfJson() {
  static const std::vector<Row> rows = {
      {R"({"url":"/cb?username=quandt\u0026token=hunter2abc\u0026x=1"})",
       R"({"url":"/cb?username={U}\u0026token=REDACTED"})"},
      {R"({"url":"/cb?user=quandt\u0026password=hunter2"})",
       R"({"url":"/cb?user={U}\u0026password=REDACTED"})"},
      {R"({"url":"/cb?user=quandt\u0026client_secret=hunter2"})",
       R"({"url":"/cb?user={U}\u0026client_secret=REDACTED"})"},
      {R"({"m":"user=quandt\u0020password=hunter2"})", R"({"m":"user={U}\u0020password=REDACTED"})"},
      {R"({"m":"user=quandt\\tpassword=hunter2"})", R"({"m":"user={U}\\tpassword=REDACTED"})"},
      {R"({"m":"user=quandt@corp\u0026password=hunter2"})", R"({"m":"user={U}@{H}\u0026password=REDACTED"})"},
      {R"({"m":"user=\u0026password=hunter2"})", R"({"m":"user=\u0026password=REDACTED"})"},
      {R"({"m":"user=\nx=y"})", R"({"m":"user=\nx=y"})"},
      {R"({"m":"user=\tquandt"})", R"({"m":"user=\t{U}"})"},
      {R"({"m":"user=\u003cquandt\u003e by quandt"})", R"({"m":"user=\u003c{U}\u003e by {U}"})"},
      {R"({"m":"user=\u0022quandt\u0022"})", R"({"m":"user=\u0022{U}\u0022"})"},
      {R"({"m":"user: \u0027quandt\u0027"})", R"({"m":"user: \u0027{U}\u0027"})"},
      {R"({"m":"user=\u201cquandt\u201d"})", R"({"m":"user=\u201c{U}\u201d"})"},
      {R"({"user":"\u001b[31mquandt\u001b[0m"})", R"({"user":"\u001b[31m{U}\u001b[0m"})"},
      {R"({"env":"USER=quandt\u0000LANG=C"})", R"({"env":"USER={U}\u0000LANG=C"})"},
      {R"({"user":"CORP\\quandt"})", R"({"user":"{H}\\{U}"})"},
      {R"({"m":"user=CORP\\quandt\u0026x=1"})", R"({"m":"user={H}\\{U}\u0026x=1"})"},
      {R"({"m":"user=CORP\\nadine\u0026x=1"})", R"({"m":"user={H}\\{U}\u0026x=1"})"},
      // Letters.
      {R"({"user":"M\u00fcller"})", R"({"user":"{U}"})"},
      {R"({"user":"\u7530\u4e2d"})", R"({"user":"{U}"})"},
      {R"({"user":"jo\u002bquandt"})", R"({"user":"{U}"})"},
      {R"({"user":"CORP\\M\u00fcller"})", R"({"user":"{U}"})"},
      // No user is named.
      {R"({"m":"{\"u\":\"A=FOO\\u0026b=1\"}"})", R"({"m":"{\"u\":\"A=FOO\\u0026b=1\"}"})"}};
  return rows;
}

TEST(EscapedNameTest, ASignThatIsWrittenAsAnEscapeIsNoPartOfAName) {
  expectRows(linesOfJson());
  expectRows({{R"(user=quandt\x26password=hunter2)", R"(user={U}\x26password=REDACTED)"},
              {R"(user=quandt\x20password=hunter2)", R"(user={U}\x20password=REDACTED)"},
              {R"(user=quandt\054password=hunter2)", R"(user={U}\054password=REDACTED)"},
              {R"(user=quandt\password=hunter2)", R"(user={U}\password=REDACTED)"},
              {R"(user=quandt\&password=hunter2)", R"(user={U}\&password=REDACTED)"},
              {R"(user=\'quandt\' x)", R"(user=\'{U}\' x)"},
              {R"(user=quandt\ x)", R"(user={U}\ x)"}});
}

const std::vector<Row>& linesOfJsonInJson() {
  static const std::vector<Row> rows = {
      {R"({"a":"{\"m\":\"password=hunter2\"}"})", R"({"a":"{\"m\":\"password=REDACTED\"}"})"},
      {R"({"a":"{\"m\":\"password=hunter2\",\"n\":1}"})", R"({"a":"{\"m\":\"password=REDACTED\",\"n\":1}"})"},
      {R"({"a":"{\"m\":\"the token: abc123def\" , \"n\":1}"})",
       R"({"a":"{\"m\":\"the token: REDACTED\" , \"n\":1}"})"},
      {R"({"a":"{\"m\":[\"x --password hunter2\"]}"})", R"({"a":"{\"m\":[\"x --password REDACTED\"]}"})"},
      {R"({"a":"{\"b\":\"{\\\"m\\\":\\\"token=abc123def\\\"}\"}"})",
       R"({"a":"{\"b\":\"{\\\"m\\\":\\\"token=REDACTED\\\"}\"}"})"},
      // A quote of the password's own.
      {R"({"a":"{\"m\":\"password=hun\\\"ter2\"}"})", R"({"a":"{\"m\":\"password=REDACTED\"}"})"},
      {R"({"a":"{\u0022user\u0022:\u0022quandt\u0022,\u0022password\u0022:\u0022hunter2 a,b\u0022}"})",
       R"({"a":"{\u0022user\u0022:\u0022{U}\u0022,\u0022password\u0022:\u0022REDACTED\u0022}"})"},
      {R"({"a":"{\u0022secret\u0022: \u0022a\\u0022b\u0022, \u0022pin\u0022: 471147,\u0022b\u0022:1}"})",
       R"({"a":"{\u0022secret\u0022: \u0022REDACTED\u0022, \u0022pin\u0022: REDACTED,\u0022b\u0022:1}"})"},
      // Without an end in the text it is no value.
      {R"({"a":"\u0022password\u0022:\u0022","b":"\u0022"})",
       R"({"a":"\u0022password\u0022:\u0022","b":"\u0022"})"},
      {R"({"a":"the \u0022user\u0022, or the \u0022password\u0022 field"})",
       R"({"a":"the \u0022user\u0022, or the \u0022password\u0022 field"})"}};
  return rows;
}

TEST(EscapedKeyTest, JsonInJsonMayHaveItsQuotesWrittenByTheirNumbers) {
  expectRows(linesOfJsonInJson());
  for (const Row& row : linesOfJsonInJson()) {
    EXPECT_TRUE(nlohmann::json::accept(redacted(row.text))) << redacted(row.text);
  }
}

TEST(EscapedKeyTest, TextsInJsonInJsonEndFarFromTheirLinesFrontToo) {
  const std::string front = R"({"z":")" + std::string(5000, 'z') + R"(","a":"{\"m\":\"password=)";
  const std::string rest = R"(\"}"})";
  EXPECT_EQ(front + "REDACTED" + rest, redacted(front + "hunter2" + rest));
}

TEST(EscapedNameTest, ALineOfJsonStaysOne) {
  for (const Row& row : linesOfJson()) {
    EXPECT_TRUE(nlohmann::json::accept(redacted(row.text))) << redacted(row.text);
  }
}

TEST(EscapedNameTest, NoEscapeIsLookedForElsewhere) {
  const std::string other = R"({"m":"a \u003e b \u0022 \u001b[0m \u00fc \x26"})";
  for (const Row& row : linesOfJson()) {
    EXPECT_THAT(redacted(row.text + "\n" + other), HasSubstr("\n" + other)) << row.text;
  }
}

TEST(EscapedNameTest, AnAddressBehindAColourIsFound) {
  EXPECT_THAT(redacted(R"({"user":"\u001b[31m81.2.69.142\u001b[0m"})"), Not(HasSubstr("81.2.69")));
}

TEST(EscapedNameTest, ANameThatOnlyLooksLikeAnEscapeIsOne) {
  for (const std::string user : {"u012345", "u1234", "x123456", "xabier", "nadine", "udo9"}) {
    const std::string text = "user=CORP\\" + user + " by " + user;
    EXPECT_EQ("user={H}\\{U} by {U}", labelled(redacted(text))) << text;
  }
  expectRows({{R"(user=CORP\001234)", R"(user={H}\001234)"},
              {R"(user=.\quandt)", R"(user=.\{U})"},
              {R"(user=corp\emea\quandt)", R"(user={H}\{H}\{U})"},
              {R"(owner=C:\Users\quandt)", R"(owner=C:\Users\{U})"}});
}

}  // namespace
}  // namespace halvo
