// TextRedactor: takes text in pieces of any size and gives it back without what identifies people and
// machines.
//
// It makes two walks over a bundle. The first, with a NameCollector, gathers the names that the texts give
// away where they say what they are (home folders, "user=", the machine's name in front of log lines) and
// writes nothing. The second, with the KnownNames made of them, replaces these wherever they stand, and
// everything that can be told by its look.
//
// Cost is linear in the text, memory doesn't grow with it, and where the pieces are cut makes no difference.
// One object a file, used on one thread; StandIns and KnownNames are shared.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/redact/HostNames.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/KeyNames.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/KnownNames.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactKinds.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"

namespace halvo {

class RedactRules;

class TextRedactor {
 public:
  // The second walk. What is passed must outlive the object.
  TextRedactor(const RedactKeep& keep, StandIns& standIns, const KnownNames& known);
  // The first walk.
  TextRedactor(const RedactKeep& keep, StandIns& standIns, NameCollector& collector);
  TextRedactor(const TextRedactor&) = delete;
  TextRedactor& operator=(const TextRedactor&) = delete;

  // Rules of the user's own; they must outlive the object. Their patterns see a line at a time, or pieces of
  // one that is longer than 64 KiB.
  void useRules(const RedactRules& rules) { m_pRules = &rules; }

  // Appends to `out` what is settled by now; some thousand bytes are held back until more comes.
  void feed(std::string_view text, std::string& out);
  // The rest. The object can then be used for another text.
  void finish(std::string& out);

  // A short text at once, such as a file's name.
  std::string redact(std::string_view text);

  [[nodiscard]] const RedactCounts& counts() const { return m_Counts; }

  // Whether a stand-in is in the text, or in what it is the Base64 of.
  static bool holdsStandIn(std::string_view text);

 private:
  using Place = std::size_t;  // in m_Window

  // How a value ends.
  enum class Ending { kWord, kItem, kLine, kPair, kQuote, kEscapedQuote, kElement, kMarkup };
  // Whether a place stands in quotes; kFar: the line's front, which would tell, is too far away.
  enum class Quoted : unsigned char { kUnasked, kNo, kYes, kFar };
  using QuoteLooks = std::array<Quoted, 33>;  // by backslashes in front of "\"", and of '\''
  struct Value {
    Place begin = 0;
    Ending ending = Ending::kWord;
    char quote = 0;
    bool isColon = false;  // "key: value"
    bool isFound = false;
    bool wasQuoted = false;            // the key
    char around = 0;                   // the quote that opened in front of the key: 'key: value'
    std::size_t slashes = 0;           // of kEscapedQuote and `around`, in front of the quote
    Place elementEnd = 0;              // of kElement, where it is known
    Quoted quoted = Quoted::kUnasked;  // in "\"" without backslashes
    Place colours = 0;                 // where the sequences of colours begin that stand in front, if any do
  };

  // TextRedactor.cpp
  void feedLines(std::string_view text, std::string& out, bool isLast);
  void feedPieces(std::string_view text, std::string& out);
  void scan(std::string& out, bool isLast);
  void step();
  bool isOrdinary(Place begin, Place end, unsigned bits) const;
  Place handleRun(Place begin, Place end, unsigned bits);
  Place handleParts(Place begin, Place end, unsigned bits);
  Place handlePart(Place begin, Place end);
  Place tryKnown(Place at);
  void replace(Place begin, Place end, RedactKind kind, std::string_view standIn);
  void found(RedactKind kind, std::string_view name, bool isProven = false);

  // TextRedactor_escapes.cpp
  Place runEnd(Place begin, unsigned& bits) const;
  Place highEnd(Place begin, Place end, bool& stops) const;
  void see(Place from);
  void seeLineEnds(Place from);
  Place passEscape(Place slash);
  Place colourEnd(Place bracket) const;
  Place passColour(Place bracket);
  bool isPathAt(Place slash) const;
  Place tryBehindEscape(Place begin);
  std::size_t escapesOfQuote(Place place) const;
  bool endsEscaped(const Value& value, Place& place) const;
  Value valueBehindCode(Place end) const;

  // TextRedactor_addresses.cpp
  unsigned takeNumber(Place& place, std::size_t most) const;
  bool takeByte(Place& place, Place end, std::uint32_t& address) const;
  Place tryIpv4(Place begin, Place end);
  Place tryShortNetwork(Place begin, Place slash, std::uint32_t address, unsigned parts);
  Place tryDashedIpv4(Place begin, Place end);
  Place tryColons(Place begin);
  bool isUnit(Place begin) const;
  bool isBehindAddressWord(Place end) const;
  Place tryWordIpv4(Place begin, Place end);
  Place tryIpv6(Place begin, Place end);
  std::uint32_t standInOfIpv4(std::uint32_t address);
  bool standInOfIpv6(const Ipv6Bytes& bytes, Ipv6Bytes& result);
  Place tryPlainIpv6(Place begin, Place end);
  Place tryDashed(Place begin, Place end);

  // TextRedactor_versions.cpp
  std::string_view lineFront(Place begin) const;
  bool isBareFront(Place begin) const;
  bool isPort(Place begin, Place dot) const;
  bool isVersion(Place begin, Place end) const;
  bool isPackageVersion(Place begin, Place end) const;
  bool isJoinedVersion(Place begin, Place end) const;

  // TextRedactor_macs.cpp
  Place tryMacColons(Place begin, Place end, std::size_t groups);
  bool isDump(Place begin, Place end, std::size_t groups) const;
  Place tryShortMac(Place begin, Place end, std::size_t groups);
  Place tryEscapedMac(Place begin);
  Place tryMacInterface(Place begin);
  void replaceMac(Place begin, Place end, const MacBytes& bytes);

  // TextRedactor_names.cpp
  Place tryEmail(Place begin, Place end);
  Place tryUrl(Place begin, Place end);
  Place tryHost(Place begin, Place end);
  Place tryReversed(Place begin, Place end);
  struct Memo {
    RedactKind kind = RedactKind::kSecret;
    std::string name;
    std::string standIn;   // empty where the name stays
    bool isFound = false;  // told to the collector
    bool isEveryday = false;
    bool isProven = false;  // told so
  };
  Memo& memoOf(RedactKind kind, std::string_view text, bool& isNew);
  Memo& hostMemo(Place begin, Place end);
  // `isSure`: the name is looked for everywhere else too.
  void replaceHost(Place begin, Place end, bool isSure = true);
  // What says that a user is named. kGuess: replaced here, and not looked for elsewhere. kProven: nobody but
  // a user stands here, whatever word it is.
  enum class Evidence { kGuess, kNamed, kProven };
  void replaceUser(Place begin, Place end, Evidence evidence = Evidence::kNamed);
  bool mayBeWord(Place begin, Place end) const;
  bool isInDate(Place begin, Place end) const;
  void tryLogHost(Place lineBegin);

  // TextRedactor_homes.cpp
  // The folder begins a path, stands in one that leads to files, or may be a page or a source.
  enum class HomeFront { kRoot, kDeep, kPages };
  HomeFront homeFront(Place slash) const;
  Place tryHome(Place slash);

  // TextRedactor_sentences.cpp
  Place userEnd(Place begin) const;
  void trySentence(Place begin, Place end);
  void tryUserSentence(Place begin, Place end);
  bool isToldBehind(Place begin, Place last, bool isUser, bool ofUser) const;
  void tryQuotedUser(Place begin, Place end);
  void tryLogin(Place begin, Place end);
  void trySwitch(Place end);
  void tryLeader(Place dot);
  Place tryIdentity(Place bracket);
  Place tryRemoteAccount(Place begin, Place end);

  // TextRedactor_servers.cpp
  Place tryServerName(Place begin, Place end);
  Place tryPeerName(Place begin, Place end);
  Place tryNameAtAddress(Place begin, Place end);
  bool takeIdentity(Place quote);
  void tryIdentitySentence(Place begin, Place end);
  Place trySelector(Place quote);

  // TextRedactor_resolver.cpp
  Place tryUnknownHost(Place begin, Place end);
  Place tryLookup(Place begin);
  void tryHostNotFound(Place end);

  // TextRedactor_tables.cpp
  Place tryTable(Place begin, Place end);
  Place tryConnection(Place begin, Place end);
  Place tryRoute(Place begin, Place end);
  bool areHex(Place begin, std::size_t count) const;
  void replaceHex(Place begin, std::size_t digits);
  Place tryPasswdLine(Place begin, Place end);

  // TextRedactor_hosts.cpp
  void learnHost(std::string_view name);
  void learnHostsLine(Place lineBegin);
  void learnMachine(Place begin, Place end);
  void learnPrompt(Place begin, Place end);
  Place tryShare(Place slash);
  Place tryBracketed(Place begin, Place end);
  void tryLeaseName(Place end);
  Place tryLease(Place begin, Place end);
  Place tryExport(Place begin, Place end);
  void tryNameOfAddress(Place end, bool isSure);
  Place tryJoinedHost(Place begin, Place end, unsigned bits);

  // TextRedactor_elements.cpp
  bool isElementName(Place begin) const;
  Place elementFront(Place begin) const;
  Value textOfElement(Place begin, std::string_view name) const;
  Value valueOfNamedElement(Place begin, Place end) const;
  Value valueBehindKeyElement(Place end) const;

  // TextRedactor_ends.cpp
  bool mayEndText(Place quote, std::size_t slashes) const;
  bool closesQuote(Place quote, std::size_t slashes, Place begin, Quoted& quoted) const;
  Quoted lookForQuote(Place begin, unsigned char sign, std::size_t slashes) const;
  Quoted opensText(Place front, Place quote) const;
  bool endsSoftly(Place at) const;
  bool endsSoftlyEscaped(Place place) const;
  bool mayBeTextEnd(Place begin, Place place) const;
  bool endsText(const Value& value, Place place, QuoteLooks& looks) const;
  bool endsAround(const Value& value, Place& place) const;
  bool isEscaped(Place begin, Place place) const;
  void hideQuotes(Place begin, Place end);
  bool endsNumber(Place begin, Place place) const;
  Place valueEnd(const Value& value, std::size_t longest = kLongestValue) const;

  // TextRedactor_values.cpp
  bool isLoginCode(Place begin, Place end) const;
  Place tryKey(Place begin, Place end);
  Place valueOfNamedMember(Place begin, Place end) const;
  Place behindRemark(Place place) const;
  Value valueBehind(Place begin, Place end) const;
  Value bareOrQuoted(Place place) const;
  Place takeValue(KeyLook look, Value value);
  Place takeNames(KeyLook look, const Value& value, Place end);
  Place takeSerialBelow(Place begin);
  [[nodiscard]] bool isNextKey(Place begin) const;
  Place takeHeaderList(Value value);
  Place takeHeader(Value value);
  Place takeHosts(Place begin, Place end);
  [[nodiscard]] Place wifiEnd(Place begin, Place end) const;
  Place tryBesideBssid(Place begin);

  // TextRedactor_dumps.cpp
  Place behindWrappers(Place place) const;
  bool isEmptyField(Place key, const Value& value) const;
  bool isDeclared(const Value& value) const;
  bool isVerdict(Place key, Place end, const Value& value) const;
  bool isSize(const Value& value) const;
  Place takeBlock(Place key, const Value& value);
  std::string secretMark(const Value& value, Place end) const;

  // TextRedactor_commands.cpp
  Value takeArgument(Place& place) const;
  Place tryCommand(Place begin, Place end, Place place);
  Place tryListedOption(Place begin, Place end);
  Place tryDesktopOption(Place begin, Place end);

  // TextRedactor_users.cpp
  enum class SlashKind { kDomain, kSign, kLetter };
  struct Slashes {
    SlashKind kind = SlashKind::kDomain;
    std::size_t end = 0;  // behind the escape, or the letter that is none
    char32_t code = 0;    // of kSign
  };
  static Slashes slashesAt(std::string_view name, std::size_t place);
  static std::size_t escapedSignIn(std::string_view name);
  [[nodiscard]] bool isUserVariable(Place value) const;
  Place takeUser(const Value& value, Place end);
  [[nodiscard]] bool beginsAddress(Place begin, Place end) const;
  static bool isNamePart(std::string_view name);
  static bool isPersonsName(std::string_view name);
  Place takeCommonName(const Value& value);
  Place takeWholeUser(const Value& value);
  Place takeUserIds(Place begin);
  bool isSystemAccount(Place quote) const;
  Place takeUserPass(const Value& value);

  // TextRedactor_lines.cpp
  bool hasLineForItself(Place value) const;
  std::string_view restOfLine(Place begin, char around) const;
  bool hasWordsBehind(const Value& value, Place end) const;
  bool isKeyBehind(Place place) const;
  bool isRemark(const Value& value) const;
  [[nodiscard]] std::string_view keyBefore(Place value) const;
  Place trySecretOfLine(Place begin, Place end, Place place);
  Place tryDashOption(Place begin, Place end, Place place);
  Place tryChapLine(Place begin, Place end, Place star);

  // TextRedactor_phrases.cpp
  Place tryPhrase(Place begin, Place end, Place value);
  Place trySearchLine(Place begin, Place value);
  Place tryRemoteLine(Place begin, Place value);
  Place tryLoginLine(Place begin, Place end, Place value);
  Place tryOption(Place begin, Place end, Place value);
  Place tryJournalId(Place begin, Place end);
  Place tryTunnelKeys(Place begin);
  Place tryCredentials(Place option, const Value& value);
  [[nodiscard]] bool isOfSerial(Place begin, Place end) const {
    return end - begin == 1 && begin > 1 && at(begin - 1) == '/' && isSerialName(begin);
  }
  bool isSerialName(Place letter) const;
  Place tryBareId(Place begin);
  bool isFlagOfUser(Place begin, Place value) const;

  // TextRedactor_domains.cpp
  [[nodiscard]] Place accountEnd(Place begin, Place user) const;
  [[nodiscard]] bool isAccountPlace(Place begin, Place end) const;
  void replaceAccount(Place begin, Place end, Evidence evidence = Evidence::kNamed);
  Place tryDomainUser(Place begin, Place end);

  // TextRedactor_systems.cpp
  Place takeOfSystem(KeyLook look, Value value);
  Place takeComputer(Value value);
  Place takeSsidBelow(Place begin);
  Place takeSsid(Place begin, Place end);
  Place takeClient(Place begin);
  [[nodiscard]] Place realmEnd(Place begin) const;
  Place tryPrincipal(Place begin, Place end);
  void tryInterfaceLine(Place lineBegin);

  // TextRedactor_secrets.cpp
  static bool saysNothing(std::string_view value, bool isBare = true);
  bool isNoSecret(KeyLook look, const Value& value, std::string_view all) const;
  void foundSecret(std::string_view secret);
  Place takeSecret(const Value& value);
  Place takeSecretList(Place begin);
  Place tryCrypt(Place dollar);
  Place tryWindowsHash(Place begin, Place end);
  void swallow();

  // TextRedactor_pem.cpp
  Place behindPemGap(Place place, unsigned& lines) const;
  bool endsPemLine(Place place) const;
  bool isPemGroup(Place begin, Place end) const;
  Place behindPemHeaders(Place begin) const;
  Place tryPem(Place begin);
  void beginPem(Place body, RedactKind kind, bool isEncoded);
  Place tryEncodedPem(Place begin, Place end);
  Place behindEncodedGap(Place place) const;
  bool isEncodedPemByte(Place place) const;
  void swallowPem();
  Place tryKeyLines(Place begin, Place end);
  Place tryPemTail(Place begin);

  // TextRedactor_tokens.cpp
  Place tryToken(Place begin, Place end);
  Place tryWebToken(Place begin, Place end);
  Place tryAccountNumber(Place begin, Place end);

  // TextRedactor_forms.cpp
  std::string nested(std::string_view text, bool isOfForm = false);
  void rewrite(Place begin, Place end, std::string_view written);
  void lookInto(Place begin, Place end);
  Place tryPercent(Place begin, Place end);
  Place tryBase64(Place begin);
  static bool isCredentials(std::string_view text);
  Place tryArpa(Place begin, Place end);

  // As the finders see it: kSignByte for bytes above 127 that are part of no letter, '\n' for a '\r' that
  // ends a line alone, 0 behind the last, where a bounded look ahead may begin right before a text's end.
  [[nodiscard]] unsigned char at(Place place) const {
    return place < m_Seen.size() ? static_cast<unsigned char>(m_Seen[place]) : 0;
  }
  // The byte in front of a run, which an escape or a colour's sequence in front of it isn't part of.
  [[nodiscard]] unsigned char before(Place begin) const {
    return begin == 0 || begin == m_nBarrier ? ' ' : at(begin - 1);
  }
  [[nodiscard]] std::string_view text(Place begin, Place end) const {
    return std::string_view(m_Window).substr(begin, end - begin);
  }
  // For looks at lines: as at() gives it.
  [[nodiscard]] std::string_view seen(Place begin, std::size_t size) const {
    return std::string_view(m_Seen).substr(begin, size);
  }
  [[nodiscard]] std::string_view wordBefore(Place begin) const;
  [[nodiscard]] bool isLineFront(Place begin) const;

  const RedactKeep& m_rKeep;
  StandIns& m_rStandIns;
  const KnownNames* m_pKnown = nullptr;   // second walk
  NameCollector* m_pCollector = nullptr;  // first walk
  std::string* m_pOut = nullptr;          // while scan() runs
  const RedactRules* m_pRules = nullptr;
  std::string m_strLine;  // waits for its end, where there are patterns
  RedactCounts m_Counts;
  std::vector<Memo> m_Memos;  // of names that come again and again
  int m_nDepth = 0;           // of texts inside texts
  bool m_bOfForm = false;     // blanks were written with percent signs

  // What is scanned, with some bytes in front that were scanned before.
  std::string m_Window;
  std::string m_Seen;     // the same as at() gives it
  Place m_nPlace = 0;     // scanned up to here
  Place m_nCopied = 0;    // handed out up to here
  Place m_nReplaced = 0;  // the end of what was replaced last
  Place m_nColonsTried = 0;
  Place m_nPemEnd = 0;  // of bytes as a key has them, as tryPemTail() saw
  // What begins here isn't joined to what stands in front: an escape that begins at m_nEscape, or a colour's
  // sequence.
  Place m_nBarrier = 0;
  Place m_nEscape = 0;
  // Up to here the words are a sentence's, in quotes or brackets like this, as takeHeader() saw.
  Place m_nSentenceEnd = 0;
  char m_cSentenceAround = 0;
  Place m_nUserTried = 0;  // up to here the user's part of a URL was looked for
  // Between these no value ends that is a word, as valueEnd() saw.
  mutable Place m_nWordBegin = 0;
  mutable Place m_nWordQuote = 0;  // the first that may end a text around it
  mutable Place m_nWordEnd = 0;
  bool m_bLineBegins = true;

  // A secret whose end hasn't come yet.
  enum class Swallow { kNothing, kValue, kPem };
  Swallow m_Swallow = Swallow::kNothing;
  Value m_SwallowValue;
  struct Pem {
    unsigned groups = 0;     // of its lines that were passed
    bool hadShort = false;   // the last line, most likely
    bool isOpen = false;     // in the middle of one
    bool isEncoded = false;  // with percent signs
  };
  Pem m_Pem;
  RedactKind m_PemKind = RedactKind::kSecret;
  unsigned m_nPemLines = 0;  // lines in which the rest of a PEM text may still come
};

}  // namespace halvo
