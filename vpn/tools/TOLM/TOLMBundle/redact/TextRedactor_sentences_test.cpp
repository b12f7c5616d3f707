// Lines of logins and of VPN servers that name users, and sentences of the same words that stay. Each that
// goes is looked at again: nothing of it is found anew.

#include <gtest/gtest.h>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"

namespace halvo {
namespace {

using test::expectRows;
using test::expectStays;

// What stands behind the name tells it, where the words in front may be any.
TEST(SentenceTest, UsersInWhatLoginsWriteGo) {
  expectRows({
      {"sshd[4]: Accepted keyboard-interactive/pam for ulrike from 127.0.0.1 port 51 ssh2\nulrike",
       "sshd[4]: Accepted keyboard-interactive/pam for {U} from 127.0.0.1 port 51 ssh2\n{U}"},
      {"sshd[4]: Accepted gssapi-with-mic for ulrike from ::1 port 51 ssh2: ulrike@ACME",
       "sshd[4]: Accepted gssapi-with-mic for {U} from ::1 port 51 ssh2: {U}@ACME"},
      {"error: maximum authentication attempts exceeded for ulrike from 127.0.0.1 port 9 ssh2 [preauth]",
       "error: maximum authentication attempts exceeded for {U} from 127.0.0.1 port 9 ssh2 [preauth]"},
      {"Starting session: shell on pts/0 for ulrike from 127.0.0.1 port 9 id 0",
       "Starting session: shell on pts/0 for {U} from 127.0.0.1 port 9 id 0"},
      {"Close session: user ulrike from 127.0.0.1 port 9 id 0",
       "Close session: user {U} from 127.0.0.1 port 9 id 0"},
      {"User ignatz from 127.0.0.1 not allowed because not listed in AllowUsers",
       "User {U} from 127.0.0.1 not allowed because not listed in AllowUsers"},
      {"sshd[4]: User ignatz not allowed because account is locked",
       "sshd[4]: User {U} not allowed because account is locked"},
      {"input_userauth_request: invalid user ulrike [preauth]",
       "input_userauth_request: invalid user {U} [preauth]"},
      {"su: FAILED SU (to dragomir) ekaterina on pts/2\ndragomir ekaterina",
       "su: FAILED SU (to {U}) {U} on pts/2\n{U} {U}"},
      {"FAILED LOGIN (1) on '/dev/tty1' FOR 'hildegard', Authentication failure",
       "FAILED LOGIN (1) on '/dev/tty1' FOR '{U}', Authentication failure"},
      {"pam_sss(sshd:auth): received for user hildegard: 7 (Authentication failure)",
       "pam_sss(sshd:auth): received for user {U}: 7 (Authentication failure)"},
      {"Consecutive login failures for user hildegard account temporarily locked",
       "Consecutive login failures for user {U} account temporarily locked"},
      {"pam_krb5[44]: (user hildegard) krb5_get_init_creds", "pam_krb5[44]: (user {U}) krb5_get_init_creds"},
      {"password for 'jdoe7' changed by 'wolfram'", "password for '{U}' changed by '{U}'"},
      {"pam_unix(passwd:chauthtok): password changed for hildegard\nhildegard",
       "pam_unix(passwd:chauthtok): password changed for {U}\n{U}"},
      {"debug1: Authenticating to gw7:22 as 'opsrunner'", "debug1: Authenticating to gw7:22 as '{U}'"},
  });
  expectStays({"waiting for answers from 127.0.0.1 port 53", "traffic for eth0 from 127.0.0.1 port 22 stops",
               "a rule for packets from 127.0.0.1 port 22 sshd", "the user was not allowed because of it",
               "A user from outside not allowed", "User mode from here: not allowed because of it",
               "the invalid user field [preauthorized]", "Names for user accounts: these", "(user defined) x",
               "pam_x: the (user) name", "for user space account handling", "The SU (to whom) it on x",
               "for 'falsehood', and FOR 'falsehood'", "it was changed by 'falsehood'",
               "Note the password changed for everyone", "password changed for falcons.",
               "Authenticating to it as often as needed"});
}

TEST(ServerLineTest, UsersWhoLogInByCertificateGo) {
  expectRows({
      {"ovpn[7]: 127.0.0.1:40012 [thalvorsen] Peer Connection Initiated with [AF_INET]127.0.0.1:40012",
       "ovpn[7]: 127.0.0.1:40012 [{U}] Peer Connection Initiated with [AF_INET]127.0.0.1:40012"},
      {"SENT CONTROL [thalvorsen]: 'PUSH_REPLY,ping 10' (status=1)\nthalvorsen",
       "SENT CONTROL [{U}]: 'PUSH_REPLY,ping 10' (status=1)\n{U}"},
      {"thalvorsen/127.0.0.1:40012 MULTI: Learn: 127.0.0.2 -> thalvorsen/127.0.0.1:40012\nthalvorsen",
       "{U}/127.0.0.1:40012 MULTI: Learn: 127.0.0.2 -> {U}/127.0.0.1:40012\n{U}"},
      {"ovpn[7]: bruno-7/127.0.0.1:40012 peer info: IV_VER=2.6",
       "ovpn[7]: {U}/127.0.0.1:40012 peer info: IV_VER=2.6"},
      {"brunoj/[::1]:40012 TLS: soft reset", "{U}/[::1]:40012 TLS: soft reset"},
      {">CLIENT:ENV,common_name=bruno7\n>CLIENT:ENV,X509_0_CN=bruno7",
       ">CLIENT:ENV,common_name={U}\n>CLIENT:ENV,X509_0_CN={U}"},
  });
  expectStays({"[4711] Peer Connection Initiated with x", "[worker] Peer connection lost",
               "SENT CONTROL [server]: 'PUSH_REQUEST' (status=1)", "BREAK CONTROL [falsehood]: x",
               "connect to falcon/127.0.0.1:80 failed", "udp/127.0.0.1:53 Accepted",
               "localhost/127.0.0.1:80 Up", "falcon/127.0.0.1 MULTI", "usr/12:30 Lunch", "lib/abc:7 Next",
               "x -> falcon/127.0.0.1", "commonName = supplied", "commonName: optional",
               "a common name=value"});
}

TEST(ServerLineTest, IdentitiesOfKeyExchangesGo) {
  expectRows({
      {"assigning new lease to 'bruno7'\nbruno7", "assigning new lease to '{U}'\n{U}"},
      {"reassigning offline lease to 'brunoj'", "reassigning offline lease to '{U}'"},
      {"lease 127.0.0.5 by 'bruno7' went offline", "lease 127.0.0.5 by '{U}' went offline"},
      {"assigning virtual IP 127.0.0.5 to peer 'bruno7'", "assigning virtual IP 127.0.0.5 to peer '{U}'"},
      {"no virtual IP found for %any requested by 'bruno7'",
       "no virtual IP found for %any requested by '{U}'"},
      {"no EAP key found for hosts 'gw7.acme.de' - 'bruno7'",
       "no EAP key found for hosts '{H}.{H}.example' - '{U}'"},
      {"no shared key found for '%any' - 'bruno7'", "no shared key found for '%any' - '{U}'"},
      {"tried 1 shared key for 'brunok' - 'bruno7', but MAC mismatched",
       "tried 1 shared key for '{U}' - '{U}', but MAC mismatched"},
      {"constraint check failed: identity 'bruno7' required",
       "constraint check failed: identity '{U}' required"},
      {"    kk[1]: Remote EAP identity: bruno7", "    kk[1]: Remote EAP identity: {U}"},
      {"    local  'bruno7' @ 127.0.0.1[4500] [127.0.0.2]\n    remote 'brunoj' @ ::1[4500]",
       "    local  '{U}' @ 127.0.0.1[4500] [127.0.0.2]\n    remote '{U}' @ ::1[4500]"},
  });
  expectStays({"he gave the house on lease to 'falcon house'", "a link to 'falcon'",
               "from peer to peer 'falcon'", "the rule was found by 'falcon'",
               "went by 'falcon' went offline", "no page found for 'falcon' - 'x7'",
               "an option - 'falcon' - of it", "the local 'falcon' is at home", "remote 'falcon' @ home",
               "local  'falcon' at 127.0.0.1", "the identity 'of two things'", "one identity: known",
               "identity '127.0.0.1' required", "local  '127.0.0.1' @ 127.0.0.1"});
}

TEST(HostNameTest, NamesOfLettersAloneInLeasesGo) {
  expectRows({
      {"dnsmasq-dhcp[101]: 123456 client provides name: pikueche\npikueche",
       "dnsmasq-dhcp[101]: 123456 client provides name: {H}\n{H}"},
      {"1773571321 02:00:5e:00:00:01 127.0.0.61 pikueche 01:02:00:5e:00:00:01\n",
       "1773571321 02:00:5e:00:00:01 127.0.0.61 {H} 01:02:00:5e:00:00:01\n"},
      {"1773571321 02:00:5e:00:00:01 127.0.0.61 nb77 *\nnb77",
       "1773571321 02:00:5e:00:00:01 127.0.0.61 {H} *\n{H}"},
  });
  expectStays({"1773571321 02:00:5e:00:00:01 127.0.0.61 * 01:02:00:5e:00:00:01",
               "x 02:00:5e:00:00:01 127.0.0.61 pikueche 01:02:00:5e:00:00:01",
               "17735 02:00:5e:00:00:01 127.0.0.61 pikueche", "port: 127.0.0.61 pikueche 01:02",
               "the client provides names: pikueche"});
}

// What a finder took for no name was passed with it.
TEST(SentenceTest, AddressesGoWhereUsersHostsAndSecretsAreNamed) {
  for (const std::string front :
       {"machine ", "machine gw7 login ", "jdoe7:x:1000:1000:Jane Doe,",
        "jdoe7:x:1000:1000:Jane Doe,room 7,jdoe7@", "http://", "<auth-user-pass>\n",
        "User Name: Karl Maier (", "user=CORP\\", "curl -u ", "", "sudo: ", "Mar 15 10:42:07 nb7 CRON[1]: (",
        "DHCPACK on 10.1.2.3 to 3c:52:82:1a:2b:3c (", "su[812]: (to ", "User <", "tokens: [\"<",
        "password \""}) {
    for (const std::string behind :
         {" login jane7 password hunter27", " password hunter27", ":/home/jdoe7:/bin/sh", "@gw.acme.de/",
          ":pw@gw.acme.de/", "\nhunter27\n</auth-user-pass>", ")", "", ":hunter27 https://gw.acme.de",
          " * \"hunter27\" *", " : EAP \"hunter27\"", " : TTY=pts/0", ") CMD (x)", ") via eth0",
          ") jdoe7 on pts/1", ">", ">\"]", "\" \"hunter27\""}) {
      const std::string once = test::redacted(front + "84.17.52.9" + behind);
      EXPECT_EQ(std::string::npos, once.find("84.17.52.9")) << once;
      EXPECT_EQ(once, test::redacted(once));
    }
  }
  test::expectRows(
      {{"tokens: [\"<gw.acme.de>\", \"<token>\"]", "tokens: [\"REDACTED\", \"<token>\"]"},
       {"machine 127.0.0.1 login jane7 password hunter27", "machine 127.0.0.1 login {U} password REDACTED"},
       {"sudo: 1000 : TTY=pts/0 ; x", "sudo: 1000 : TTY=pts/0 ; x"},
       {"password \"hunter27\" \"jane@acme.de\"", "password \"REDACTED\" \"REDACTED\""},
       {"username \"jdoe7\" \"karl8\"", "username \"{U}\" \"{U}\""},
       {"password \"Auth\" \"hunter27\"", "password \"Auth\" \"REDACTED\""}});
}

}  // namespace
}  // namespace halvo
