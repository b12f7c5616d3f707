// What the tests of redaction share: both walks over one text, with a fixed key.

#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

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

inline void expectStays(const std::string& text) {
  EXPECT_EQ(text, redacted(text));
}
inline void expectStays(std::initializer_list<std::string_view> texts) {
  for (const std::string_view text : texts) {
    expectStays(std::string(text));
  }
}

// A text as a program writes it, and what becomes of it. Each is looked at again: nothing is found anew.
struct Row {
  std::string text;
  std::string
      expected;  // "U", "H", "I" and "W" in braces: the stand-in of a user, host, id or wireless network
};

// Every stand-in that a label can be becomes the letter of its kind.
inline std::string labelled(std::string text) {
  const std::vector<std::pair<std::string, std::string>> kinds = {
      {"user-", "{U}"}, {"host-", "{H}"}, {"id-", "{I}"}, {"wifi-", "{W}"}};
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = StandIns::labelAt(std::string_view(text).substr(at));
    if (size == 0) {
      result += text[at++];
      continue;
    }
    for (const auto& [front, letter] : kinds) {
      result += text.compare(at, front.size(), front) == 0 ? letter : "";
    }
    at += size;
  }
  return result;
}

// The text between others, fed so that what is settled at first ends inside of it: only what so many bytes
// follow is scanned before more comes.
inline void expectCutAlike(const std::string& text, std::size_t number) {
  std::string padded = "wwwww wwwww\n" + text + "\n";
  const std::size_t inside = padded.size() - text.size() - 1 + number * 37 % (text.size() + 1);
  for (std::size_t end = inside + kLookAhead + 1; padded.size() < end;) {
    padded += padded.size() % 64 < 6 ? '\n' : padded.size() % 6 == 0 ? ' ' : 'w';
  }
  EXPECT_EQ(redacted(padded), redactedInPieces(padded, inside + kLookAhead)) << "cut: " << text;
}

inline void expectRows(const std::vector<Row>& rows) {
  std::size_t number = 0;
  for (const Row& row : rows) {
    expectCutAlike(row.text, ++number);
    const std::string once = redacted(row.text);
    EXPECT_EQ(row.expected, labelled(once)) << row.text;
    EXPECT_EQ(once, redacted(once)) << "twice: " << row.text;
    EXPECT_EQ(once, redactedInPieces(row.text, 1)) << "in pieces: " << row.text;
  }
}

// Texts of up to `most` of the parts, drawn by chance: a second redaction finds nothing in the first one's,
// and pieces of three bytes come to the same.
inline void expectDrawnTextsRedactedOnceAndForAll(const std::vector<std::string>& parts, unsigned seed,
                                                  int rounds, std::size_t most) {
  std::mt19937 generator(seed);
  for (int round = 0; round < rounds; ++round) {
    std::string text;
    const std::size_t count = generator() % (most + 1);
    for (std::size_t i = 0; i < count; ++i) {
      text += parts[generator() % parts.size()];
    }
    const std::string once = redacted(text);
    ASSERT_EQ(once, redacted(once)) << text;
    ASSERT_EQ(once, redactedInPieces(text, 3)) << text;
  }
}

}  // namespace halvo::test
