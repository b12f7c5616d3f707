// Secrets and their names in dumps, declarations, blocks of YAML and on command lines.

#include <gtest/gtest.h>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"

namespace halvo {
namespace {

using test::expectRows;
using test::expectStays;

TEST(RedactDumpTest, AnEmptySecretDoesntTakeTheNextField) {
  expectRows({{"{User:quandt Password: Server:gate7.acme.de MTU:1380}",
               "{User:{U} Password: Server:{H}.{H}.example MTU:1380}"},
              {"{mode:tun token: insecure:false}", "{mode:tun token: insecure:false}"},
              {"cfg={Token: Insecure:false}", "cfg={Token: Insecure:false}"},
              {"{Password:hunter2 Token: Insecure:false}", "{Password:REDACTED Token: Insecure:false}"},
              // Of YAML or without a structure around it.
              {"{password: abc:def}", "{password: REDACTED}"},
              {"{mode: tun, password: abc:def}", "{mode: tun, password: REDACTED}"},
              {"x Password: Abc:def1", "x Password: REDACTED"},
              {"{Mode:tun} Password: Abc:def1", "{Mode:tun} Password: REDACTED"}});
}

TEST(RedactDumpTest, ASecretInWrappersGoesAlone) {
  expectRows({{R"(Config { password: Some("hunter2 a"), token: Secret("abc9988xx"), pin: None })",
               R"(Config { password: Some("REDACTED"), token: Secret("REDACTED"), pin: None })"},
              {R"(password: Ok(Some("hunter2")))", R"(password: Ok(Some("REDACTED")))"},
              {R"({"m":"Config { password: Some(\"hunter2\"), token: None }","n":1})",
               R"({"m":"Config { password: Some(\"REDACTED\"), token: None }","n":1})"},
              {"password=Abc(def1", "password=REDACTED"}});
}

TEST(RedactDumpTest, TypesOfDeclarationsAreNoSecrets) {
  expectStays({"in login(user: str, password: str)",
               "login(self, password: Optional[str] = None, token: bytes=b'')",
               "fn login(user: &str, password: String, token: Option<String>) -> x",
               "- (void)loginWithPassword:(NSString *)password token:(NSString*)token"});
  expectRows({{"login(password: hunter2)", "login(password: REDACTED)"},
              {"login(password: string1)", "login(password: REDACTED)"},
              {"password: str", "password: REDACTED"},
              {"(x) password: str", "(x) password: REDACTED"}});
}

TEST(RedactDumpTest, WhatATestOrALookTellsIsNoSecret) {
  expectStays({"PASS: mtu-1380 probe of gateway", "10:42:07 PASS: mtu-1380 probe", "psk: selected identity 0",
               "token: renewed successfully", "password: falling back to keyboard-interactive",
               "secret: lookup of collection failed", "master secret: derived", "psk: configured",
               "cookie: 12 bytes", "password: prompted"});
  expectRows({{"PASS: hunter2", "PASS: REDACTED"},
              {"admin PASS: hunter2 x", "admin PASS: REDACTED"},
              {"password: correct horse battery", "password: REDACTED"},
              {"password: selected horse battery", "password: REDACTED"},
              {"token: 12 bytes1", "token: REDACTED"}});
}

TEST(RedactDumpTest, ASecretInABlockOfLinesGoes) {
  expectRows({{"auth:\n  token: >-\n    abc def1\n    ghi2\n  mode: tun\n",
               "auth:\n  token: >-\n    REDACTED\n    REDACTED\n  mode: tun\n"},
              {"- password: |\r\n    hunter2\r\n- mode: tun\r\n",
               "- password: |\r\n    REDACTED\r\n- mode: tun\r\n"},
              {"secret: |2-\n  hunter2", "secret: |2-\n  REDACTED"},
              {"token: >-\nmode: tun\n", "token: >-\nmode: tun\n"},
              {"mode: |\n  tun 7\n", "mode: |\n  tun 7\n"}});
}

TEST(RedactCommandLineTest, SecretsThatProgramsHaveByTheirPlacesGo) {
  expectRows({{"rasdial acme quandt hunter2", "rasdial acme {U} REDACTED"},
              {"rasdial \"Acme VPN\" quandt \"hunter 2\"\n", "rasdial \"Acme VPN\" {U} \"REDACTED\"\n"},
              {"net user quandt hunter2 /add", "net user {U} REDACTED /add"},
              {"xfreerdp /u:quandt /p:hunter2 /v:gate7", "xfreerdp /u:{U} /p:REDACTED /v:{H}"},
              {"nmcli d wifi connect Fuchsbau password hunter2 ifname wlan0",
               "nmcli d wifi connect {W} password REDACTED ifname wlan0"},
              {"nmcli dev wifi connect \"Fuchs Bau\" password \"hunter 2\"",
               "nmcli dev wifi connect \"{W}\" password \"REDACTED\""},
              {"{\"m\":\"net user quandt hunter2\",\"n\":1}", "{\"m\":\"net user {U} REDACTED\",\"n\":1}"}});
  expectStays({"rasdial /disconnect", "net user /domain", "net user * /x", "ls /p:hunter2 /u:x",
               "net use x: hunter2 y", "wifi connect tun password later"});
}

}  // namespace
}  // namespace halvo
