#include "vpn/tools/TOLM/TOLMBundle/redact/KeyNames.h"

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>

namespace halvo {

namespace {

// Whole keys.
constexpr std::pair<std::string_view, KeyLook> kWholeKeys[] = {
    {"pass", KeyLook::kSecret},
    {"dbpass", KeyLook::kSecret},
    {"userpass", KeyLook::kSecret},
    {"authpass", KeyLook::kSecret},
    {"smtppass", KeyLook::kSecret},
    {"pwd", KeyLook::kSecretWord},
    {"psk", KeyLook::kSecret},
    {"pw", KeyLook::kSecret},
    {"bindpw", KeyLook::kSecret},
    {"rootpw", KeyLook::kSecret},
    {"sid", KeyLook::kSecret},
    {"webvpn", KeyLook::kSecret},
    {"dsid", KeyLook::kSecret},
    {"svpncookie", KeyLook::kSecret},
    {"mrhsession", KeyLook::kSecret},
    {"nscaaac", KeyLook::kSecret},
    {"authuserpass", KeyLook::kUserPass},
    {"samlrequest", KeyLook::kMessage},
    {"samlresponse", KeyLook::kMessage},
    {"setcookie", KeyLook::kSecretLine},
    {"cookie", KeyLook::kSecretLine},
    {"cookies", KeyLook::kSecretLine},
    {"authorization", KeyLook::kSecretLine},
    {"proxyauthorization", KeyLook::kSecretLine},
    {"pin", KeyLook::kPersonal},
    {"puk", KeyLook::kPersonal},
    {"otp", KeyLook::kPersonal},
    {"totp", KeyLook::kPersonal},
    {"hotp", KeyLook::kPersonal},
    {"pin1", KeyLook::kPersonal},
    {"pin2", KeyLook::kPersonal},
    {"puk1", KeyLook::kPersonal},
    {"puk2", KeyLook::kPersonal},
    {"jwt", KeyLook::kToken},
    {"bearer", KeyLook::kToken},
    {"oauth2bearer", KeyLook::kSecret},
    {"keycontent", KeyLook::kSecret},
    {"schlüsselinhalt", KeyLook::kSecret},
    {"user", KeyLook::kUser},
    {"login", KeyLook::kUser},
    {"account", KeyLook::kUser},
    {"acct", KeyLook::kUser},
    {"identity", KeyLook::kUserMaybe},
    {"leftid", KeyLook::kUserMaybe},
    {"rightid", KeyLook::kUserMaybe},
    {"userid", KeyLook::kUserMaybe},
    {"eapid", KeyLook::kUserMaybe},
    {"xauthid", KeyLook::kUserMaybe},
    {"xauthidentity", KeyLook::kUser},
    {"unixuser", KeyLook::kUser},
    {"authname", KeyLook::kUser},
    {"xauthname", KeyLook::kUser},
    {"lastuser", KeyLook::kUser},
    {"localidentifier", KeyLook::kUserMaybe},
    {"cn", KeyLook::kCommonName},
    {"commonname", KeyLook::kCommonName},
    {"x5090cn", KeyLook::kCommonName},
    {"owner", KeyLook::kUser},
    {"fullname", KeyLook::kFullName},
    {"realname", KeyLook::kFullName},
    {"displayname", KeyLook::kDisplayName},
    {"givenname", KeyLook::kNamePart},
    {"familyname", KeyLook::kNamePart},
    {"surname", KeyLook::kNamePart},
    {"preferredusername", KeyLook::kUser},
    {"uniquename", KeyLook::kUserMaybe},
    {"upn", KeyLook::kUser},
    {"nameid", KeyLook::kUserMaybe},
    {"sessionindex", KeyLook::kSecret},
    {"gecos", KeyLook::kFullName},
    {"registeredowner", KeyLook::kFullName},
    {"registrierterbesitzer", KeyLook::kFullName},
    {"propriétaireenregistré", KeyLook::kFullName},
    {"gitauthorname", KeyLook::kPersonName},
    {"gitcommittername", KeyLook::kPersonName},
    {"uid", KeyLook::kUserIds},
    {"euid", KeyLook::kUserIds},
    {"gid", KeyLook::kUserIds},
    {"auid", KeyLook::kUserIds},
    {"groups", KeyLook::kUserIds},
    {"host", KeyLook::kHostMaybe},
    {"server", KeyLook::kHostMaybe},
    {"domain", KeyLook::kHostMaybe},
    {"gateway", KeyLook::kHostMaybe},
    {"peer", KeyLook::kHostMaybe},
    {"proxy", KeyLook::kHostMaybe},
    {"realm", KeyLook::kHostMaybe},
    {"search", KeyLook::kHostMaybe},
    {"noproxy", KeyLook::kHosts},
    {"serial", KeyLook::kId},
    {"sn", KeyLook::kId},
    {"s/n", KeyLook::kId},
    {"uuid", KeyLook::kId},
    {"guid", KeyLook::kId},
    {"udid", KeyLook::kId},
    {"imei", KeyLook::kId},
    {"imeisv", KeyLook::kId},
    {"imsi", KeyLook::kId},
    {"meid", KeyLook::kId},
    {"iccid", KeyLook::kId},
    {"hwid", KeyLook::kId},
    {"userdomain", KeyLook::kHost},
    {"providesname", KeyLook::kHost},  // "client provides name: phone"
    {"userdomainroamingprofile", KeyLook::kHost},
    {"logonserver", KeyLook::kHost},
    {"computer", KeyLook::kElementHost},
    {"workstation", KeyLook::kElementHost},
    {"devicename", KeyLook::kDevice},
    {"sessionmanager", KeyLook::kSessionManager},
    {"uniqueid", KeyLook::kLongId},
    {"productid", KeyLook::kLongId},
    {"equipmentid", KeyLook::kLongId},
    {"simidentifier", KeyLook::kLongId},
    {"crashreporterkey", KeyLook::kLongId},
    {"wwn", KeyLook::kLongId},
    {"idwwn", KeyLook::kLongId},
    {"idwwnwithextension", KeyLook::kLongId},
    {"userprofile", KeyLook::kWifiList},
    {"allebenutzer", KeyLook::kWifiList},
    {"lesutilisateurs", KeyLook::kWifiList},
    {"networkinformation", KeyLook::kWifiBelow},
    {"hex", KeyLook::kSsidHex},
    {"calledstationid", KeyLook::kStation},
    {"dns", KeyLook::kDnsLine},
    {"listto", KeyLook::kSearchDomains},
    {"client", KeyLook::kClient},
    {"defaultrealm", KeyLook::kHost},
    {"dnssuffixsuchliste", KeyLook::kHosts},
    {"dnsprincipal", KeyLook::kHosts},
    {"httpproxy", KeyLook::kHost},
    {"httpsproxy", KeyLook::kHost},
    {"ftpproxy", KeyLook::kHost},
    {"socksproxy", KeyLook::kHost},
    {"proxyserver", KeyLook::kHost},
    {"ssidname", KeyLook::kWifi},
    {"ssid", KeyLook::kWifi},
    {"ssidstr", KeyLook::kWifi},
    {"essid", KeyLook::kWifi},
    {"mac", KeyLook::kMac},
    {"hwaddr", KeyLook::kMac},
    {"lladdr", KeyLook::kMac},
    {"bssid", KeyLook::kMac},
    {"macaddress", KeyLook::kMac},
    {"macaddr", KeyLook::kMac},
    {"nopasswd", KeyLook::kNone},
    {"useauthtok", KeyLook::kNone},
    {"nopassword", KeyLook::kNone},
    {"publickeytoken", KeyLook::kNone},  // of an assembly, the same everywhere
};

const std::unordered_map<std::string_view, KeyLook>& wholeKeys() {
  static const std::unordered_map<std::string_view, KeyLook> keys(std::begin(kWholeKeys),
                                                                  std::end(kWholeKeys));
  return keys;
}

struct Ending {
  std::string_view text;
  KeyLook look;
};

// Keys that end so, whatever stands in front: "vpn_password", "X-Auth-Token".
constexpr Ending kEndings[] = {
    {"password", KeyLook::kSecret},
    {"passwd", KeyLook::kSecret},
    {"passphrase", KeyLook::kSecret},
    {"passcode", KeyLook::kSecret},
    {"passwort", KeyLook::kSecret},
    {"kennwort", KeyLook::kSecret},
    {"passwordhash", KeyLook::kSecret},
    {"passwordold", KeyLook::kSecret},
    {"passwdold", KeyLook::kSecret},
    {"passwordnew", KeyLook::kSecret},
    {"passwdnew", KeyLook::kSecret},
    {"passwordraw", KeyLook::kSecret},
    {"keymaterial", KeyLook::kSecret},
    {"codeverifier", KeyLook::kSecret},
    {"secret", KeyLook::kSecret},
    {"token", KeyLook::kSecret},
    {"authtok", KeyLook::kSecret},
    {"passwords", KeyLook::kSecretList},
    {"passphrases", KeyLook::kSecretList},
    {"secrets", KeyLook::kSecretList},
    {"tokens", KeyLook::kSecretList},
    {"apikeys", KeyLook::kSecretList},
    {"psks", KeyLook::kSecretList},
    {"apikey", KeyLook::kSecret},
    {"secretkey", KeyLook::kSecret},
    {"privatekey", KeyLook::kSecret},
    {"presharedkey", KeyLook::kSecret},
    {"sharedkey", KeyLook::kSecret},
    {"accesskey", KeyLook::kSecret},
    {"accesskeyid", KeyLook::kSecret},
    {"authkey", KeyLook::kSecret},
    {"sessionkey", KeyLook::kSecret},
    {"encryptionkey", KeyLook::kSecret},
    {"networkkey", KeyLook::kSecret},
    {"wpakey", KeyLook::kSecret},
    {"wepkey", KeyLook::kSecret},
    {"wepkey0", KeyLook::kSecret},
    {"wepkey1", KeyLook::kSecret},
    {"wepkey2", KeyLook::kSecret},
    {"wepkey3", KeyLook::kSecret},
    {"wifikey", KeyLook::kSecret},
    {"vpnkey", KeyLook::kSecret},
    {"licensekey", KeyLook::kSecret},
    {"productkey", KeyLook::kSecret},
    {"signingkey", KeyLook::kSecret},
    {"wpapsk", KeyLook::kSecret},
    {"securitypsk", KeyLook::kSecret},
    {"wifisecpsk", KeyLook::kSecret},
    {"wifipsk", KeyLook::kSecret},
    {"ipsecpsk", KeyLook::kSecret},
    {"vpnpsk", KeyLook::kSecret},
    {"credential", KeyLook::kSecret},
    {"credentials", KeyLook::kSecret},
    {"sessionid", KeyLook::kSecret},
    {"sessid", KeyLook::kSecret},
    {"sessioncookie", KeyLook::kSecret},
    {"authcookie", KeyLook::kSecret},
    {"logincookie", KeyLook::kSecret},
    {"ssocookie", KeyLook::kSecret},
    {"vpncookie", KeyLook::kSecret},
    {"cookie", KeyLook::kToken},
    {"pwd", KeyLook::kSecretWord},
    {"passkey", KeyLook::kSecret},
    {"motdepasse", KeyLook::kSecret},
    {"adminpass", KeyLook::kSecretWord},
    {"certpass", KeyLook::kSecretWord},
    {"keypass", KeyLook::kSecretWord},
    {"loginpass", KeyLook::kSecretWord},
    {"proxypass", KeyLook::kSecretWord},
    {"rootpass", KeyLook::kSecretWord},
    {"sqlpass", KeyLook::kSecretWord},
    {"storepass", KeyLook::kSecretWord},
    {"vpnpass", KeyLook::kSecretWord},
    {"cardpin", KeyLook::kPersonal},
    {"simpin", KeyLook::kPersonal},
    {"tokenpin", KeyLook::kPersonal},
    {"userpin", KeyLook::kPersonal},
    {"simpuk", KeyLook::kPersonal},
    {"mfacode", KeyLook::kPersonal},
    {"onetimecode", KeyLook::kPersonal},
    {"otpcode", KeyLook::kPersonal},
    {"pincode", KeyLook::kPersonal},
    {"smscode", KeyLook::kPersonal},
    {"verificationcode", KeyLook::kPersonal},
    {"username", KeyLook::kUser},
    {"logname", KeyLook::kUser},
    {"loginname", KeyLook::kUser},
    {"accountname", KeyLook::kUser},
    {"sudouser", KeyLook::kUser},
    {"remoteuser", KeyLook::kUser},
    {"ruser", KeyLook::kUser},
    {"vpnuser", KeyLook::kUser},
    {"dbuser", KeyLook::kUser},
    {"defaultuser", KeyLook::kUser},
    {"authuser", KeyLook::kUser},
    {"proxyuser", KeyLook::kUser},
    {"8021xidentity", KeyLook::kUser},
    {"eapidentity", KeyLook::kUser},
    {"anonymousidentity", KeyLook::kUser},
    {"hostname", KeyLook::kHost},
    {"nodename", KeyLook::kHost},
    {"computername", KeyLook::kComputer},
    {"machinename", KeyLook::kComputer},
    {"workstationname", KeyLook::kHost},
    {"sourceworkstation", KeyLook::kHost},
    {"fqdn", KeyLook::kHost},
    {"domainname", KeyLook::kHost},
    {"dnsdomain", KeyLook::kHosts},
    {"searchdomain", KeyLook::kHosts},
    {"defaultdomain", KeyLook::kHosts},
    {"searchdomains", KeyLook::kHosts},
    {"dnssearch", KeyLook::kHosts},
    {"dnssuffix", KeyLook::kHosts},
    {"searchlist", KeyLook::kHosts},
    {"ip4domain", KeyLook::kHosts},
    {"ip6domain", KeyLook::kHosts},
    {"ip4searches", KeyLook::kHosts},
    {"ip6searches", KeyLook::kHosts},
    {"servername", KeyLook::kHost},
    {"netbiosname", KeyLook::kHost},
    {"serveraddress", KeyLook::kHost},
    {"remotehost", KeyLook::kHostMaybe},
    {"resolvehost", KeyLook::kHost},
    {"hostaddress", KeyLook::kHost},
    {"unknownhostexception", KeyLook::kHost},
    {"proxyhost", KeyLook::kHostMaybe},
    {"serialnumber", KeyLook::kId},
    {"serialno", KeyLook::kId},
    {"machineid", KeyLook::kId},
    {"hardwareuuid", KeyLook::kId},
    {"productuuid", KeyLook::kId},
    {"systemuuid", KeyLook::kId},
    {"bootid", KeyLook::kId},
    {"hostid", KeyLook::kId},
    {"deviceid", KeyLook::kId},
    {"assettag", KeyLook::kId},
    {"servicetag", KeyLook::kId},
    {"idserial", KeyLook::kId},
    {"serialshort", KeyLook::kId},
    {"fsuuid", KeyLook::kId},
    {"productserial", KeyLook::kId},
    {"chassisserial", KeyLook::kId},
    {"boardserial", KeyLook::kId},
    {"wirelessssid", KeyLook::kWifi},
    {"wifissid", KeyLook::kWifi},
    {"wifinetwork", KeyLook::kWifi},
    {"airportnetwork", KeyLook::kWifi},
    {"generalconnection", KeyLook::kConnection},
    {"hardwareaddress", KeyLook::kMac},
};

KeyLook lookOf(std::string_view key) {
  const auto whole = wholeKeys().find(key);
  if (whole != wholeKeys().end()) {
    return whole->second;
  }
  for (const Ending& ending : kEndings) {
    if (key.back() == ending.text.back() && key.ends_with(ending.text)) {
      return ending.look;
    }
  }
  return KeyLook::kNone;
}

// Whether the key ends with the word, as one of its own: "cert-pass", "dtls_psk", "certPass". `key` in small
// letters without signs is `own`.
bool endsWithWord(std::string_view key, std::string_view own, std::string_view word) {
  if (!own.ends_with(word) || key.size() < own.size() || own.size() <= word.size()) {
    return false;
  }
  const char first = key[key.size() - word.size()];
  const char before = key[key.size() - word.size() - 1];
  return before == '-' || before == '_' || before == '.' ||
         (first == word.front() - 32 &&
          ((before >= 'a' && before <= 'z') || (before >= '0' && before <= '9')));
}

// "cert-pass", "admin_pass", "certPass", whatever stands in front, but no word that only ends so ("bypass"),
// and no pass of a program's or a filter's. `key` in small letters without signs is `own`.
bool isPass(std::string_view key, std::string_view own) {
  static constexpr std::string_view kOthers[] = {
      "by",    "low",  "high",  "band",   "all",    "first", "second", "third", "last", "next",
      "final", "full", "multi", "single", "render", "num",   "max",    "opt",   "test", "tests",
      "did",   "is",   "can",   "must",   "one",    "two",   "per",    "each",  "auto"};
  constexpr std::string_view kPass = "pass";
  if (!endsWithWord(key, own, kPass)) {
    return false;
  }
  const std::string_view front = own.substr(0, own.size() - kPass.size());
  return std::none_of(std::begin(kOthers), std::end(kOthers),
                      [front](std::string_view other) { return front.ends_with(other); });
}

// Without the number behind "password1".
std::string_view withoutNumber(std::string_view key) {
  constexpr std::size_t kMostDigits = 3;
  const std::size_t last = key.find_last_not_of("0123456789");
  return last == std::string_view::npos || key.size() - last - 1 > kMostDigits ? key
                                                                               : key.substr(0, last + 1);
}

std::size_t lastTwo(std::string_view key) {
  return (static_cast<unsigned char>(key[key.size() - 2]) & 31U) << 5U |
         (static_cast<unsigned char>(key[key.size() - 1]) & 31U);
}

}  // namespace

void appendPlainKey(std::string_view text, std::string& key) {
  for (const char c : text) {
    if (c >= 'A' && c <= 'Z') {
      key += static_cast<char>(c + ('a' - 'A'));
    } else if (c != '-' && c != '_' && c != '.') {
      key += c;
    }
  }
}

bool mayBeKey(std::string_view key) {
  // The last two letters of all that is known, in both cases.
  static const std::bitset<1024> kLast = [] {
    std::bitset<1024> last;
    for (const auto& [whole, look] : wholeKeys()) {
      last.set(lastTwo(whole));
    }
    for (const Ending& ending : kEndings) {
      last.set(lastTwo(ending.text));
    }
    return last;
  }();
  if (key.size() < 2 || kLast[lastTwo(key)] || key.back() < '0' || key.back() > '9') {
    return key.size() > 1 && kLast[lastTwo(key)];
  }
  key = withoutNumber(key);
  key = key.ends_with('_') || key.ends_with('-') ? key.substr(0, key.size() - 1) : key;
  return key.size() > 1 && kLast[lastTwo(key)];
}

KeyLook keyLook(std::string_view before, std::string_view key) {
  if (key.size() > kLongestKey) {
    key.remove_prefix(key.size() - kLongestKey);
  }
  std::string own;
  appendPlainKey(key, own);
  KeyLook look = lookOf(own);
  look = look == KeyLook::kNone && (isPass(key, own) || endsWithWord(key, own, "psk")) ? KeyLook::kSecretWord
                                                                                       : look;
  if (look == KeyLook::kNone && !own.empty() && own.back() >= '0' && own.back() <= '9') {
    const std::string_view plain = withoutNumber(own);
    // "pass1" is one of several, and a number behind the others is a name's.
    const KeyLook lookOfPlain = plain == "pass" || plain == "sid" ? KeyLook::kNone : lookOf(plain);
    look = lookOfPlain == KeyLook::kSecret ? lookOfPlain : look;
  }
  const bool mayBePart = look == KeyLook::kNone || look == KeyLook::kHostMaybe ||
                         look == KeyLook::kUserMaybe || look == KeyLook::kElementHost || own == "owner";
  if (!mayBePart || before.empty() || before.size() > kLongestKey) {
    return look;
  }
  std::string both;
  appendPlainKey(before, both);
  both += own;
  // "ID", "number", "key", "name", "address", "tag": only the word in front tells of what. "DNS domain" is
  // one whatever it looks like.
  const KeyLook lookOfBoth = lookOf(both);
  return lookOfBoth != KeyLook::kNone ? lookOfBoth : look;
}

}  // namespace halvo
