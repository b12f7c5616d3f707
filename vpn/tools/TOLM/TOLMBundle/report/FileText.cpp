#include "vpn/tools/TOLM/TOLMBundle/report/FileText.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/TextKind.h"

namespace halvo {

namespace {

constexpr std::size_t kHalf = kLongestText / 2;
// A line's front is all that the timeline looks at; what is longer isn't kept for it.
constexpr std::size_t kLineFront = 4096;

// Cuts a stream of blocks into lines for the timeline.
class LineFeeder {
 public:
  explicit LineFeeder(Timeline& timeline) : m_rTimeline(timeline) {}

  void take(std::string_view block) {
    while (!block.empty()) {
      const auto* const end = static_cast<const char*>(std::memchr(block.data(), '\n', block.size()));
      if (end == nullptr) {
        m_strPart.append(block.substr(0, kLineFront - std::min(kLineFront, m_strPart.size())));
        m_bOpen = true;
        return;
      }
      const std::string_view line = block.substr(0, static_cast<std::size_t>(end - block.data()));
      if (m_strPart.empty()) {
        m_rTimeline.add(line.substr(0, kLineFront));
      } else {
        m_strPart.append(line.substr(0, kLineFront - std::min(kLineFront, m_strPart.size())));
        m_rTimeline.add(m_strPart);
        m_strPart.clear();
      }
      ++m_nLines;
      m_bOpen = false;
      block.remove_prefix(line.size() + 1);
    }
  }

  void finish() {
    if (m_bOpen) {
      m_rTimeline.add(m_strPart);
      ++m_nLines;
    }
  }

  [[nodiscard]] std::uint64_t lines() const { return m_nLines; }

 private:
  Timeline& m_rTimeline;
  std::string m_strPart;
  std::uint64_t m_nLines = 0;
  bool m_bOpen = false;
};

std::uint64_t lineFeeds(std::string_view text) {
  return static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

// What came last, at least the half, at most some more.
class Tail {
 public:
  void take(std::string_view block) {
    m_strText.append(block);
    if (m_strText.size() > 4 * kHalf) {
      m_strText.erase(0, m_strText.size() - kHalf);
    }
  }
  std::string& text() { return m_strText; }

 private:
  std::string m_strText;
};

// Takes what lies between the two halves out, up to lines' ends where they are near.
void cut(FileText& text, std::string& tail, std::uint64_t behindHead, std::uint64_t lines) {
  if (behindHead <= kHalf) {
    // Both halves together are the whole.
    text.head += tail;
    return;
  }
  constexpr std::size_t kNear = 8192;
  const std::size_t lastFeed = text.head.rfind('\n');
  if (lastFeed != std::string::npos && text.head.size() - lastFeed <= kNear) {
    behindHead += text.head.size() - lastFeed - 1;
    text.head.erase(lastFeed + 1);
  }
  tail.erase(0, tail.size() - std::min(kHalf, tail.size()));
  const std::size_t firstFeed = tail.find('\n');
  if (firstFeed < kNear) {  // which the place of no feed isn't
    tail.erase(0, firstFeed + 1);
  }
  text.leftOut = behindHead - tail.size();
  const bool openEnd = !tail.empty() && tail.back() != '\n';
  text.tailLine = lines - lineFeeds(tail) + (openEnd ? 0 : 1);
  text.tail = std::move(tail);
}

}  // namespace

std::string readFileText(EntryReader& stream, std::size_t entry, Timeline& timeline, FileText& text) {
  if (std::string error = stream.open(entry); !error.empty()) {
    return error;
  }
  std::vector<char> block(2 * kTextTestSize);
  ZeroJoiner zeros;
  LineFeeder lines(timeline);
  Tail tail;
  std::uint64_t size = 0;
  std::size_t filled = 0;
  bool isTested = false;
  for (bool more = true; more;) {
    const std::int64_t got = stream.read(block.data() + filled, block.size() - filled);
    more = got > 0;
    filled += zeros.join(block.data() + filled, more ? static_cast<std::size_t>(got) : 0);
    // The front that tells whether it is text comes in one piece.
    if (!isTested && more && filled < kTextTestSize) {
      continue;
    }
    const std::string_view part(block.data(), filled);
    if (!isTested && textKindOf(part) != TextKind::kText) {
      text = FileText();
      text.binary = true;
      return "";
    }
    isTested = true;
    filled = 0;
    lines.take(part);
    size += part.size();
    const std::size_t toHead = std::min(part.size(), kHalf - std::min(kHalf, text.head.size()));
    text.head.append(part.substr(0, toHead));
    tail.take(part.substr(toHead));
  }
  lines.finish();
  text.lines = lines.lines();
  cut(text, tail.text(), size - text.head.size(), text.lines);
  return stream.error();
}

}  // namespace halvo
