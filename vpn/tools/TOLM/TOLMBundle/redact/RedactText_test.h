// What the tests of redaction share: both walks over one text, with a fixed key.

#pragma once

#include <string>
#include <string_view>

#include "vpn/tools/TOLM/TOLMBundle/redact/TextRedactor.h"

namespace halvo::test {

inline constexpr RedactKey kTestKey = {3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8, 9, 7, 9, 3};

// Both walks, the text fed in pieces of `piece` bytes.
inline std::string redactedInPieces(std::string_view text, std::size_t piece, const RedactKeep& keep = {},
                                    RedactCounts* counts = nullptr) {
  StandIns standIns(kTestKey);
  NameCollector names;
  const auto walk = [text, piece](TextRedactor& redactor) {
    std::string out;
    for (std::size_t at = 0; at < text.size(); at += piece) {
      redactor.feed(text.substr(at, piece), out);
    }
    redactor.finish(out);
    return out;
  };
  TextRedactor first(keep, standIns, names);
  walk(first);
  const KnownNames known(names, standIns);
  TextRedactor second(keep, standIns, known);
  std::string out = walk(second);
  if (counts != nullptr) {
    *counts = second.counts();
  }
  return out;
}

inline std::string redacted(std::string_view text, const RedactKeep& keep = {}) {
  return redactedInPieces(text, text.size() + 1, keep);
}

}  // namespace halvo::test
