#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

#include <algorithm>

#include "vpn/tools/TOLM/TOLMBundle/redact/EverydayWords.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/RedactRules.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"

namespace halvo {

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 17U;
constexpr std::size_t kLongestLine = 65536;
constexpr std::size_t kShortRun = 64;
constexpr std::size_t kShortestBase64 = 16;
constexpr std::size_t kShortestPlainToken = 20;
constexpr std::size_t kShortestEncodedPem = 24;  // its first line

// How much of `text` belongs to the line `begun`, with its end. What a '\r' at the end of all is tells what
// comes behind it.
std::size_t sizeOfLine(std::string_view begun, std::string_view text) {
  if (begun.ends_with('\r') && !text.empty() && text.front() != '\n') {
    return 0;
  }
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n' || (text[i] == '\r' && i + 1 < text.size() && text[i + 1] != '\n')) {
      return i + 1;
    }
  }
  return text.size();
}

}  // namespace

TextRedactor::TextRedactor(const RedactKeep& keep, StandIns& standIns, const KnownNames& known)
    : m_rKeep(keep), m_rStandIns(standIns), m_pKnown(&known) {}

TextRedactor::TextRedactor(const RedactKeep& keep, StandIns& standIns, NameCollector& collector)
    : m_rKeep(keep), m_rStandIns(standIns), m_pCollector(&collector) {}

void TextRedactor::feed(std::string_view text, std::string& out) {
  // The rules' patterns go over a line once: not while names are learnt, and not in a text within a text.
  if (m_pRules != nullptr && m_pRules->hasPatterns() && m_pCollector == nullptr && m_nDepth == 0) {
    feedLines(text, out, false);
  } else {
    feedPieces(text, out);
  }
}

void TextRedactor::feedPieces(std::string_view text, std::string& out) {
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, kPiece);
    text.remove_prefix(piece.size());
    const Place old = m_Window.size();
    m_Window.append(piece);
    see(old);
    scan(out, false);
  }
}

void TextRedactor::feedLines(std::string_view text, std::string& out, bool isLast) {
  while (!text.empty() || (isLast && !m_strLine.empty())) {
    const std::size_t wanted = sizeOfLine(m_strLine, text);
    const std::size_t taken = std::min(wanted, kLongestLine - m_strLine.size());
    m_strLine.append(text.substr(0, taken));
    text.remove_prefix(taken);
    const bool isWhole = m_strLine.size() == kLongestLine || m_strLine.ends_with('\n') ||
                         (m_strLine.ends_with('\r') && !text.empty());
    if (isWhole || (isLast && text.empty())) {
      // Patterns see the line without its end.
      std::size_t size = m_strLine.size();
      while (size > 0 && (m_strLine[size - 1] == '\n' || m_strLine[size - 1] == '\r')) {
        --size;
      }
      const std::string_view line = m_strLine;
      feedPieces(m_pRules->redactLine(line.substr(0, size), m_rKeep, m_rStandIns, m_Counts), out);
      feedPieces(line.substr(size), out);
      m_strLine.clear();
    } else if (text.empty()) {
      return;
    }
  }
}

void TextRedactor::finish(std::string& out) {
  if (!m_strLine.empty()) {
    feedLines({}, out, true);
  }
  scan(out, true);
  m_Window.clear();
  m_Seen.clear();
  m_nPlace = 0;
  m_nCopied = 0;
  m_nReplaced = 0;
  m_nColonsTried = m_nPemEnd = m_nSentenceEnd = m_nUserTried = 0;
  m_nBarrier = m_nEscape = 0;
  m_nWordBegin = m_nWordQuote = m_nWordEnd = 0;
  m_nPemLines = 0;
  m_bLineBegins = true;
  m_Swallow = Swallow::kNothing;
}

std::string TextRedactor::redact(std::string_view text) {
  std::string out;
  feed(text, out);
  finish(out);
  return out;
}

void TextRedactor::scan(std::string& out, bool isLast) {
  m_pOut = &out;
  const std::size_t held = isLast ? 0 : kLookAhead;
  const Place limit = m_Window.size() > held ? m_Window.size() - held : 0;
  while (m_nPlace < limit) {
    if (m_Swallow != Swallow::kNothing) {
      swallow();
    } else if (m_Seen[m_nPlace] == ' ' && !m_bLineBegins) {
      ++m_nPlace;
    } else {
      step();
    }
  }
  if (m_pCollector == nullptr && m_nPlace > m_nCopied) {
    out.append(m_Window, m_nCopied, m_nPlace - m_nCopied);
  }
  m_nCopied = std::max(m_nCopied, m_nPlace);
  if (m_nPlace > kLookBehind) {
    const std::size_t gone = m_nPlace - kLookBehind;
    m_Window.erase(0, gone);
    m_Seen.erase(0, gone);
    m_nPlace -= gone;
    m_nCopied -= gone;
    for (Place* const place : {&m_nColonsTried, &m_nPemEnd, &m_nSentenceEnd, &m_nUserTried, &m_nReplaced,
                               &m_nBarrier, &m_nEscape, &m_nWordBegin, &m_nWordQuote, &m_nWordEnd}) {
      *place -= std::min(*place, gone);
    }
  }
  m_pOut = nullptr;
}

// From one byte to the next that is of interest.
void TextRedactor::step() {
  if (m_bLineBegins) {
    m_bLineBegins = false;
    tryLogHost(m_nPlace);
    if (m_pCollector != nullptr && (isHexByte(at(m_nPlace)) || at(m_nPlace) == ':')) {
      learnHostsLine(m_nPlace);
    }
    m_nPemLines -= std::min(m_nPemLines, 1U);
  }
  const unsigned char c = at(m_nPlace);
  unsigned bits = byteBits(c);
  if (bits != 0) {
    // Most runs are short and of plain letters.
    const Place begin = m_nPlace;
    const Place bound = std::min(m_Seen.size(), begin + kShortRun);
    const char* const data = m_Seen.data();
    Place end = begin;
    unsigned more = kByteRun;
    for (; end < bound; ++end) {
      more = byteBits(static_cast<unsigned char>(data[end]));
      if ((more & kByteRun) == 0) {
        break;
      }
      bits |= more;
    }
    if (more != 0) {
      end = runEnd(begin, bits);
    } else if (isOrdinary(begin, end, bits)) {
      m_nPlace = std::max(end, tryKnown(begin));
      return;
    }
    m_nPlace = handleRun(begin, end, bits);
    return;
  }
  Place next = m_nPlace + 1;
  switch (c) {
    case '\n':
      m_bLineBegins = true;
      break;
    case '/':
      next = std::max(next, tryTunnelKeys(m_nPlace));
      next = std::max(next, tryHome(m_nPlace));
      break;
    case '\\':
      next = tryHome(m_nPlace);
      next = next > m_nPlace ? next : tryShare(m_nPlace);
      next = next > m_nPlace ? next : std::max(m_nPlace + 1, passEscape(m_nPlace));
      break;
    case '[':
      next = std::max(next, passColour(m_nPlace));
      break;
    case ':':
      if (at(next) == ':') {
        next = std::max(next, tryColons(m_nPlace));
      }
      break;
    case '$':
      next = std::max(next, tryCrypt(m_nPlace));
      break;
    default:
      break;
  }
  m_nPlace = next;
}

// Whether the run, which is of none but the plain letters, digits and signs, is a word between two others in
// which only a known name may stand: what nearly all of a text's words are. handleRun() would find no more.
inline bool TextRedactor::isOrdinary(Place begin, Place end, unsigned bits) const {
  // Shorter ones stand in sentences that name somebody; longer ones may be Base64.
  constexpr std::size_t kShortest = 5;
  const std::size_t length = end - begin;
  if ((bits & ~(kByteRun | kByteLetter | kByteHexLetter)) != 0 || length < kShortest ||
      length >= kShortestBase64 || at(end) != ' ' || !isPlainByte(at(end + 1)) || begin == 0 ||
      at(begin - 1) != ' ' || m_nPemLines != 0) {
    return false;
  }
  const unsigned char front = at(begin);
  // "Bearer" and "Basic"; "Linux", "Darwin", "FreeBSD" and "hostname" for who learns.
  if ((front | 0x20U) == 'b' ||
      (m_pCollector != nullptr && (front == 'L' || front == 'D' || front == 'F' || front == 'h'))) {
    return false;
  }
  return mayBePhrase(text(begin, end)) == PhraseGuess::kNone;
}

// A run and what hangs on it. Gives back how far it was dealt with, at least to the run's end.
TextRedactor::Place TextRedactor::handleRun(Place begin, Place end, unsigned bits) {
  const unsigned char next = at(end);
  if (begin == 0 || at(begin - 1) == '\t' || at(begin - 1) == '\n') {
    if (const Place done = tryTunnelKeys(begin); done > begin) {
      return done;
    }
  }
  // What may reach beyond the run comes first.
  switch (next) {
    case '@':
      if (const Place done = tryEmail(begin, end); done > begin) {
        return done;
      }
      if (const Place done = tryRemoteAccount(begin, end); done > begin) {
        return done;
      }
      if (m_pCollector != nullptr) {
        learnPrompt(begin, end);
      }
      break;
    case ':':
      if (at(end + 1) == '/' && at(end + 2) == '/') {
        return std::max(end, tryUrl(begin, end));
      }
      if (at(end + 1) == '/') {
        if (const Place done = tryExport(begin, end); done > begin) {
          return done;
        }
      }
      [[fallthrough]];
    case '\'':
      if (const Place done = tryUnknownHost(begin, end); done > begin) {
        return done;
      }
      [[fallthrough]];
    case '=':
    case '"':
    case '>':
    case '<':
    case '\\':
    case ']':
    case '[':
    case '#':
    case ' ':
    case '\t':
      if (const Place done = tryKey(begin, end); done > begin) {
        return done;
      }
      break;
    default:
      break;
  }
  const std::size_t length = end - begin;
  if (length == 32 && (bits & ~(kByteRun | kByteDigit | kByteHexLetter)) == 0) {
    if (const Place done = tryJournalId(begin, end); done > begin) {
      return done;
    }
    if (const Place done = tryPlainIpv6(begin, end); done > begin) {
      return done;
    }
  }
  if (length == 32 && next == ':' && (bits & ~(kByteRun | kByteDigit | kByteHexLetter)) == 0) {
    if (const Place done = tryWindowsHash(begin, end); done > begin) {
      return done;
    }
  }
  if ((length == 8 || length == 32) && (next == ':' || next == '\t') &&
      (bits & ~(kByteRun | kByteDigit | kByteHexLetter)) == 0) {
    if (const Place done = tryTable(begin, end); done > begin) {
      return done;
    }
  }
  if (next == ':' && length <= 4 && begin >= m_nColonsTried &&
      (bits & ~(kByteRun | kByteDigit | kByteHexLetter)) == 0) {
    if (const Place done = tryColons(begin); done > begin) {
      return done;
    }
  }
  if (next == '\\' && length == 2 && at(end + 1) == ':') {
    if (const Place done = tryEscapedMac(begin); done > begin) {
      return done;
    }
  }
  if ((bits & kByteDash) != 0) {
    const bool mayBePem =
        at(begin) == '-' && (length == 10 || length == 4) && at(begin + 2) == '-' && at(begin + 3) == '-';
    const bool isKeyLines = next == ':' && at(begin) == 'P' && text(begin, end) == "Private-Lines";
    if (const Place done = mayBePem     ? tryPem(begin)
                           : isKeyLines ? tryKeyLines(begin, end)
                                        : begin;
        done > begin) {
      return done;
    }
    if ((bits & (kBytePercent | kByteOther)) != 0 && length >= kShortestEncodedPem) {
      if (const Place done = tryEncodedPem(begin, end); done > begin) {
        return done;
      }
    }
  }
  if (m_nPemLines > 0) {
    if (const Place done = tryPemTail(begin); done > begin) {
      return done;
    }
  }
  if ((bits & kBytePercent) != 0) {
    if (const Place done = tryPercent(begin, end); done > begin) {
      return done;
    }
  }
  if (const Place done = next == '/' || next == ']' ? tryServerName(begin, end) : begin; done > begin) {
    return done;
  }
  if (length >= kShortestBase64 || next == '/' || next == '=') {
    if (const Place done = tryBase64(begin); done > begin) {
      return done;
    }
  }
  constexpr unsigned kLetters = kByteLetter | kByteHexLetter;
  if ((bits & kByteDot) != 0 && (bits & kLetters) != 0) {
    if (const Place done = tryHost(begin, end); done > begin) {
      return done;
    }
    if (m_pKnown != nullptr || (bits & kByteOther) != 0) {
      if (const Place done = tryJoinedHost(begin, end, bits); done > begin) {
        return done;
      }
    }
  }
  if (next == ')' && at(begin - (begin > 0 ? 1U : 0U)) == '(' && at(end + 1) == ' ') {
    if (const Place done = tryBracketed(begin, end); done > begin) {
      return done;
    }
  }
  if (next == ' ' && length <= 12) {
    if (length <= 4) {
      trySentence(begin, end);
    }
    const unsigned char front = at(begin);
    if (m_pCollector != nullptr && length >= 5 &&
        (front == 'L' || front == 'D' || front == 'F' || front == 'h')) {
      learnMachine(begin, end);
    }
    if (m_nCopied > end) {
      return m_nCopied;
    }
  }
  return handleParts(begin, end, bits);
}

// The words inside a run.
TextRedactor::Place TextRedactor::handleParts(Place begin, Place end, unsigned bits) {
  // A token may be of letters alone.
  const bool isPlain =
      (bits & ~(kByteRun | kByteLetter | kByteHexLetter)) == 0 && end - begin < kShortestPlainToken;
  const bool hasNumbers = (bits & kByteDot) != 0 && (bits & kByteDigit) != 0;
  Place place = begin;
  while (place < end) {
    if (!isWordByte(at(place))) {
      ++place;
      continue;
    }
    if (place > begin && at(place - 1) == '%' && isHexByte(at(place)) && isHexByte(at(place + 1))) {
      place += 2;  // a byte that is written so, and no beginning of a number
      continue;
    }
    Place done = isPlain ? tryKnown(place) : handlePart(place, end);
    if (done == place && hasNumbers && isLetterByte(at(place))) {
      done = tryWordIpv4(place, end);
    }
    if (done > place) {
      place = done;
      continue;
    }
    if (isPlain) {
      return end;
    }
    while (place < end && isWordByte(at(place))) {
      ++place;
    }
  }
  return std::max(place, m_nCopied);
}

TextRedactor::Place TextRedactor::handlePart(Place begin, Place end) {
  if (const std::size_t length = StandIns::labelAt(text(begin, end));
      length != 0 && !isWordByte(at(begin + length))) {
    return begin + length;
  }
  if (isDigitByte(at(begin))) {
    if (const Place done = tryIpv4(begin, end); done > begin) {
      return done;
    }
  }
  if (isHexByte(at(begin))) {
    // "core.jane.2001:db8::1": behind the run's other words.
    if (end - begin <= 4 && at(end) == ':') {
      if (const Place done = tryColons(begin); done > begin) {
        return done;
      }
    }
    if (const Place done = tryDashed(begin, end); done > begin) {
      return done;
    }
  } else if (at(begin + 2) == 'x' &&
             (text(begin, end).starts_with("wlx") || text(begin, end).starts_with("wwx"))) {
    if (const Place done = tryMacInterface(begin); done > begin) {
      return done;
    }
  } else if (at(begin + 2) == '-' && at(begin) == 'i' && at(begin + 1) == 'p' && isDigitByte(at(begin + 3))) {
    if (const Place done = tryDashedIpv4(begin + 3, end); done > begin + 3) {
      return done;
    }
  }
  if (at(begin) == 'e' && at(begin + 1) == 'n' && at(begin + 2) == 'x') {
    if (const Place done = tryMacInterface(begin); done > begin) {
      return done;
    }
  }
  switch (at(begin)) {
    case 'A':
    case 'S':
    case 'e':
    case 'g':
    case 's':
    case 'x':
      if (const Place done = tryToken(begin, end); done > begin) {
        return done;
      }
      break;
    default:
      break;
  }
  return tryKnown(begin);
}

TextRedactor::Place TextRedactor::tryKnown(Place at0) {
  if (m_pKnown == nullptr || !m_pKnown->mayBegin(at(at0), at(at0 + 1))) {
    return at0;
  }
  const KnownNames::Match match = m_pKnown->find(std::string_view(m_Window).substr(at0, 257));
  if (match.length == 0 || m_rKeep.keeps(match.kind) ||
      (isCalendarWord(text(at0, at0 + match.length)) && isInDate(at0, at0 + match.length))) {
    return at0;
  }
  replace(at0, at0 + match.length, match.kind, *match.standIn);
  return at0 + match.length;
}

void TextRedactor::replace(Place begin, Place end, RedactKind kind, std::string_view standIn) {
  if (m_pCollector != nullptr || m_rKeep.keeps(kind) || text(begin, end) == standIn || begin < m_nCopied ||
      (m_pRules != nullptr && m_pRules->keeps(text(begin, end)))) {
    return;
  }
  m_pOut->append(m_Window, m_nCopied, begin - m_nCopied);
  m_pOut->append(standIn);
  m_nCopied = m_nReplaced = end;
  m_Counts.add(kind);
  // Nobody needs a secret back, and the map is a file.
  if (kind != RedactKind::kSecret && kind != RedactKind::kCertificate) {
    m_rStandIns.remember(kind, text(begin, end), standIn);
  }
}

void TextRedactor::found(RedactKind kind, std::string_view name, bool isProven) {
  if (m_pCollector != nullptr && !m_rKeep.keeps(kind) && (m_pRules == nullptr || !m_pRules->keeps(name))) {
    m_pCollector->add(kind, name, isProven);
  }
}

}  // namespace halvo
