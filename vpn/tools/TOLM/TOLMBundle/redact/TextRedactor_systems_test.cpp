// Names and ids as tools and logs of Windows, macOS and others write them, and texts like them that stay.
// Each that goes is looked at again: nothing of it is found anew.

#include <gtest/gtest.h>

#include <string>

#include "vpn/tools/TOLM/TOLMBundle/redact/RedactText_test.h"

namespace halvo {
namespace {

using test::expectRows;
using test::expectStays;

// Names behind a backslash stayed where their first letter is one of an escape's too.
TEST(AccountTest, ADomainsUserGoesWhateverLetterIsBehindTheBackslash) {
  for (const std::string name : {"aundrup", "bjornsen", "eskelinen", "farsund", "vestergaard", "xiaoping",
                                 "ulvestad", "xaverb", "lundqvist"}) {
    expectRows({{"user KORBACH\\" + name + " ok", "user {H}\\{U} ok"}});
  }
  expectRows({
      {"The user KORBACH\\nystromk dialed a connection named x which has failed. nystromk",
       "The user {H}\\{U} dialed a connection named x which has failed. {U}"},
      {"\tSecurity ID:\t\tKORBACH\\tessierm\r\n\tAccount Name:\t\ttessierm",
       "\tSecurity ID:\t\t{H}\\{U}\r\n\tAccount Name:\t\t{U}"},
      {"<Data>{x}</Data><Data>KORBACH\\tessierm</Data>tessierm", "<Data>{x}</Data><Data>{H}\\{U}</Data>{U}"},
      {"<Data Name='User'>KORBACH\\rolfsen</Data>", "<Data Name='User'>{H}\\{U}</Data>"},
      {"korbach\\nystromk   S-1-5-21-1111111111-2222222222-3333333333-1013\nnystromk, KORBACH",
       "{H}\\{U}   {I}-1013\n{U}, {H}"},
      {"KORBACH\\ralmeida S-1-5-21-1111111111-2222222222-3333333333-1013", "{H}\\{U} {I}-1013"},
      {"nb-ora7\\ora tessier S-1-5-21-1111111111-2222222222-3333333333-1001\r\nby Ora Tessier",
       "{H}\\{U} {I}-1001\r\nby {U}"},
  });
  expectStays({"ERROR\\nfailed to start", "ERROR\\tcolumn two", "DONE\\r\\nNEXT\\rline",
               "FAILED\\x41bcdef ok", "FAILED\\u0041bcdef ok", "error\\nfailed S-1-5-18", "src\\bar\\foo.c",
               "the user falcon\\nest is", "nt authority\\system S-1-5-18", "The user ERROR\\nfailed, it",
               "<Data>falcon\\nest</Data>", "Kernel ID: OK\\next"});
}

TEST(ComputerTest, NamesInEventsAndTablesOfWindowsGo) {
  expectRows({
      {"<Computer>WS-ODENWALD7</Computer> ws-odenwald7", "<Computer>{H}</Computer> {H}"},
      {"<Computer>ODENWALD</Computer>", "<Computer>{H}</Computer>"},
      {"<Data Name='WorkstationName'>WS-ODENWALD7</Data>", "<Data Name='WorkstationName'>{H}</Data>"},
      {"<Data Name='Workstation'>WS-ODENWALD7</Data>", "<Data Name='Workstation'>{H}</Data>"},
      {"\tWorkstation Name:\tWS-ODENWALD7\n\tSource Workstation:\tODENWALD",
       "\tWorkstation Name:\t{H}\n\tSource Workstation:\t{H}"},
      {"Account Name: WS-ODENWALD7$\nThe computer WS-ODENWALD7 joined",
       "Account Name: {H}$\nThe computer {H} joined"},
      {"ACME7\\WS-ODENWALD7$ x", "{H}\\{H}$ x"},
      {"{\"machineName\":\"NBKB77\"} nbkb77", "{\"machineName\":\"{H}\"} {H}"},
      {"Device Name : NB-ORA04\nNB-ORA04", "Device Name : {H}\nNB-ORA04"},
      {"{\"deviceName\":\"NBKB77\"}", "{\"deviceName\":\"{H}\"}"},
      {"SESSION_MANAGER=local/nb-orla:@/tmp/.ICE-unix/1,unix/nb-orla:/tmp/.ICE-unix/1",
       "SESSION_MANAGER=local/{H}:@/tmp/.ICE-unix/1,unix/{H}:/tmp/.ICE-unix/1"},
  });
  expectStays({"Computer: WS-1 is one", "the computer=WS1", "Workstation: a place to work",
               "Workstation Name:\t-\n", "<Computer>localhost</Computer>", "Device Name: Wireless Mouse 7",
               "deviceName=eth0", "{\"deviceName\":\"sda1\"}", "machine name: could not be found",
               "SESSION_MANAGER=none", "hostname=http://127.0.0.1/", "price 12$, cost$"});
}

TEST(FullNameTest, OwnersAndAuthorsOfSeveralWordsGoWhole) {
  expectRows({
      {"Registered Owner:          Ottilie Zwerenz\nOttilie Zwerenz", "Registered Owner:          {U}\n{U}"},
      {"Registered Owner:  Zwerenz, Ottilie\r\n", "Registered Owner:  {U}\r\n"},
      {"Registered Owner:  ozwerenz", "Registered Owner:  {U}"},
      {"Registrierter Besitzer:   Ottilie Zwerenz", "Registrierter Besitzer:   {U}"},
      {"\"RegisteredOwner\"=\"Ottilie Zwerenz\"", "\"RegisteredOwner\"=\"{U}\""},
      {"GIT_AUTHOR_NAME=Orla Slattery\nHOME=/\nby Orla Slattery", "GIT_AUTHOR_NAME={U}\nHOME=/\nby {U}"},
      {"GIT_COMMITTER_NAME=Orla", "GIT_COMMITTER_NAME={U}"},
      {"x GIT_AUTHOR_NAME=Orla A=1", "x GIT_AUTHOR_NAME={U} A=1"},
  });
  expectStays({"Registered Owner:  Windows User", "Registered Owner:  N/A", "\"RegisteredOwner\"=\"\"",
               "Besitzer: Jemand"});
}

TEST(MacUserTest, UsersInLogsKeychainsAndProfilesGo) {
  expectRows({
      {"loginwindow[1]: Login Window - login for \"jkowal\" with uid 501\njkowal",
       "loginwindow[1]: Login Window - login for \"{U}\" with uid 501\n{U}"},
      {"for authorization created by 'jkowal' (uid=501)\njkowal",
       "for authorization created by '{U}' (uid=501)\n{U}"},
      {"Authentication failed for jkowal with result ODErrorCredentialsInvalid",
       "Authentication failed for {U} with result ODErrorCredentialsInvalid"},
      {"    \"acct\"<blob>=\"hrasmussen\"\nhrasmussen", "    \"acct\"<blob>=\"{U}\"\nhrasmussen"},
      {"<key>AuthName</key>\n  <string>jkowal</string>", "<key>AuthName</key>\n  <string>{U}</string>"},
      {"<key>XAuthName</key><string>jkowal</string>", "<key>XAuthName</key><string>{U}</string>"},
      {"<key>LocalIdentifier</key><string>jkowal</string>", "<key>LocalIdentifier</key><string>{U}</string>"},
      {"  AuthName = jkowal;\n  LastUser = jkowal;", "  AuthName = {U};\n  LastUser = {U};"},
  });
  expectStays({"looking for \"falcon\" with care", "created by '_locationd' (uid=205)",
               "created by 'root' (uid=0)", "waiting for falcons with result OK", "\"acct\"<blob>=<NULL>",
               "lastUser = loggedIn;", "local identifier: falcon", "\"svce\"<blob>=\"falcon7\""});
}

}  // namespace
}  // namespace halvo
