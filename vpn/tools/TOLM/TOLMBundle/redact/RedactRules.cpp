#include "vpn/tools/TOLM/TOLMBundle/redact/RedactRules.h"

#include <re2/re2.h>

#include <algorithm>

#include "vpn/tools/TOLM/TOLMBundle/redact/CaseFold.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/HostNames.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextBytes.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo {

namespace {

// Of the automaton of one expression; RE2 refuses what needs more.
constexpr std::int64_t kExpressionMemory = std::int64_t{4} << 20U;

// The first word, which is taken off, and the blanks behind it.
std::string_view takeWord(std::string_view& line) {
  const std::size_t end = std::min(line.find_first_of(" \t"), line.size());
  const std::string_view word = line.substr(0, end);
  line.remove_prefix(std::min(line.find_first_not_of(" \t", end), line.size()));
  return word;
}

// Whether a stand-in reaches into the place: it was redacted before.
bool touchesStandIn(std::string_view text, std::size_t begin, std::size_t end) {
  constexpr std::size_t kLongest = 15;
  for (std::size_t place = begin - std::min(begin, kLongest); place < end; ++place) {
    const std::string_view rest = text.substr(place);
    const std::size_t size = rest.starts_with(kSecretMark) ? kSecretMark.size() : StandIns::labelAt(rest);
    if (size > 0 && place + size > begin) {
      return true;
    }
  }
  return false;
}

// As it stands for the value elsewhere.
std::string standInOf(RedactKind kind, std::string_view value, const StandIns& standIns) {
  if (kind == RedactKind::kSecret) {
    return std::string(kSecretMark);
  }
  return kind == RedactKind::kHost && isHostText(value) && !isReservedHost(value)
             ? standIns.host(value)
             : standIns.label(kind, value);
}

}  // namespace

RedactRules::RedactRules() = default;
RedactRules::~RedactRules() = default;

std::string RedactRules::load(std::string_view text) {
  std::size_t number = 0;
  while (!text.empty()) {
    ++number;
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t')) {
      line.remove_suffix(1);
    }
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (line.empty() || line.front() == '#') {
      continue;
    }
    const std::string where = "line " + std::to_string(number) + ": ";
    const std::string_view verb = takeWord(line);
    if (verb == "keep" && !line.empty()) {
      m_Kept.insert(folded(line));
      continue;
    }
    if (verb != "find" && verb != "name") {
      return where + "a rule begins with find, name or keep, and something follows";
    }
    RedactKind kind = RedactKind::kId;
    const std::string_view word = takeWord(line);
    if (!redactKindOf(word, kind) ||
        (kind != RedactKind::kHost && kind != RedactKind::kUser && kind != RedactKind::kId &&
         kind != RedactKind::kWifi && kind != RedactKind::kSecret)) {
      return where + "the kind is host, user, id, wifi or secret, and not \"" + std::string(word) + "\"";
    }
    if (line.empty()) {
      return where + "nothing stands behind the kind";
    }
    if (verb == "name") {
      m_Names.emplace_back(kind, line);
      continue;
    }
    re2::RE2::Options options;
    options.set_log_errors(false);
    options.set_max_mem(kExpressionMemory);
    // Byte by byte: a log is of any encoding, and of several.
    options.set_encoding(re2::RE2::Options::EncodingLatin1);
    auto expression = std::make_unique<re2::RE2>(re2::StringPiece(line.data(), line.size()), options);
    if (!expression->ok()) {
      return where + "the expression is wrong: " + expression->error();
    }
    m_Patterns.push_back({kind, std::move(expression)});
  }
  return {};
}

void RedactRules::addNames(NameCollector& names) const {
  for (const auto& [kind, name] : m_Names) {
    names.choose(kind, name);
  }
}

bool RedactRules::keeps(std::string_view text) const {
  return !m_Kept.empty() && m_Kept.contains(folded(text));
}

std::string RedactRules::redactLine(std::string_view line, const RedactKeep& keep, StandIns& standIns,
                                    RedactCounts& counts) const {
  std::string current(line);
  // One behind the other: each sees what the one before has left.
  for (const Pattern& pattern : m_Patterns) {
    if (keep.keeps(pattern.kind)) {
      continue;
    }
    std::string out;
    std::size_t copied = 0;
    std::size_t at = 0;
    re2::StringPiece groups[2];
    const int wanted = pattern.expression->NumberOfCapturingGroups() > 0 ? 2 : 1;
    while (at <= current.size() &&
           pattern.expression->Match(current, at, current.size(), re2::RE2::UNANCHORED, groups, wanted)) {
      const re2::StringPiece& all = groups[0];
      const re2::StringPiece& found = groups[wanted - 1].data() == nullptr ? all : groups[wanted - 1];
      const std::string_view value(found.data(), found.size());
      const auto begin = static_cast<std::size_t>(found.data() - current.data());
      const auto end = static_cast<std::size_t>(all.data() - current.data()) + all.size();
      if (!value.empty() && !keeps(value) && !TextRedactor::holdsStandIn(value) &&
          !touchesStandIn(current, begin, begin + value.size())) {
        const std::string standIn = standInOf(pattern.kind, value, standIns);
        out.append(current, copied, begin - copied).append(standIn);
        copied = begin + value.size();
        counts.add(pattern.kind);
        if (pattern.kind != RedactKind::kSecret) {
          standIns.remember(pattern.kind, value, standIn);
        }
      }
      at = std::max(end, at + 1);
    }
    if (copied > 0) {
      current = out.append(current, copied);
    }
  }
  return current;
}

}  // namespace halvo
