#include "vpn/tools/TOLM/TOLMBundle/report/Timeline.h"

#include <algorithm>
#include <array>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/LogTime.h"

namespace halvo {

namespace {

// Times stand in front; what comes later in a line is what it talks of.
constexpr std::size_t kTimeWithin = 160;
// Five months of minutes.
constexpr std::size_t kMostMinutes = 200000;
constexpr std::int64_t kDrawnDays = 14;
constexpr std::int64_t kBars = 240;
constexpr std::int64_t kBarWidth = 4;
constexpr std::int64_t kHeight = 100;

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool wordAt(std::string_view line, std::size_t at, std::string_view word) {
  if (line.size() - at < word.size()) {
    return false;
  }
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (lower(line[at + i]) != word[i]) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool tellsError(std::string_view line) {
  // The words' first two letters differ enough for one look at a pair of bytes: that is all that most of a
  // line takes. 0 fits no letter.
  static constexpr std::array<std::string_view, 8> kWords = {"error",  "fail",    "fatal",    "panic",
                                                             "denied", "refused", "critical", "segfault"};
  static constexpr std::array<unsigned char, 256> kSecond = [] {
    std::array<unsigned char, 256> second = {};
    for (const std::string_view word : kWords) {
      second[static_cast<unsigned char>(word[0])] = static_cast<unsigned char>(word[1]);
      second[static_cast<unsigned char>(word[0] - 32)] = static_cast<unsigned char>(word[1]);
    }
    return second;
  }();
  constexpr unsigned char kSmall = 0x20;
  for (std::size_t i = 0; i + 1 < line.size(); ++i) {
    const unsigned second = static_cast<unsigned char>(line[i + 1]) | kSmall;
    if (second == kSecond[static_cast<unsigned char>(line[i])] &&
        std::any_of(kWords.begin(), kWords.end(),
                    [&](std::string_view word) { return wordAt(line, i, word); })) {
      return true;
    }
  }
  return false;
}

namespace {

// Whole numbers: a bar of many minutes may have less than a line a minute.
std::string linesText(std::uint64_t lines, std::int64_t minutes) {
  return std::to_string(lines) +
         (minutes == 1 ? " lines a minute" : " lines in " + std::to_string(minutes) + " minutes");
}

}  // namespace

void Timeline::add(std::string_view line) {
  LogTime time;
  if (!findLogTime(line, time, 0, kTimeWithin)) {
    return;
  }
  if (time.month == 0) {
    // A time of day alone: of the bundle's day, or of the day before.
    const std::int64_t ofDay = time.hour * 3600 + time.minute * 60 + time.second;
    const std::int64_t day = m_nMadeAt / kSecondsOfDay - (ofDay > m_nMadeAt % kSecondsOfDay + 60 ? 1 : 0);
    ++m_nLines;
    const bool error = tellsError(line);
    m_nErrors += error ? 1 : 0;
    if (m_Minutes.size() < kMostMinutes) {
      Count& count = m_Minutes[(day * kSecondsOfDay + ofDay) / 60];
      ++count.lines;
      count.errors += error ? 1 : 0;
    }
    return;
  }
  const std::int64_t seconds = secondsOf(time, m_nMadeAt).value_or(0);
  if (seconds > m_nMadeAt + kSecondsOfDay) {
    ++m_nLater;
    return;
  }
  ++m_nLines;
  const bool error = tellsError(line);
  m_nErrors += error ? 1 : 0;
  const auto known = m_Minutes.find(seconds / 60);
  if (known == m_Minutes.end() && m_Minutes.size() >= kMostMinutes) {
    return;
  }
  Count& count = known != m_Minutes.end() ? known->second : m_Minutes[seconds / 60];
  ++count.lines;
  count.errors += error ? 1 : 0;
}

std::string Timeline::html() const {
  const std::string later =
      m_nLater == 0 ? ""
                    : (m_nLater == 1 ? "One line has" : std::to_string(m_nLater) + " lines have") +
                          " a time later than the bundle, not counted here.";
  if (m_Minutes.empty()) {
    return "<p>No line has a time that is known." + (later.empty() ? "" : " " + later) + "</p>\n";
  }
  std::int64_t first = INT64_MAX;
  std::int64_t last = INT64_MIN;
  for (const auto& [minute, count] : m_Minutes) {
    last = std::max(last, minute);
  }
  for (const auto& [minute, count] : m_Minutes) {
    if (minute > last - kDrawnDays * 1440) {
      first = std::min(first, minute);
    }
  }
  const std::int64_t perBar = std::max<std::int64_t>(1, (last - first + kBars) / kBars);
  std::vector<Count> bars(static_cast<std::size_t>((last - first) / perBar + 1));
  std::uint64_t drawn = 0;
  for (const auto& [minute, count] : m_Minutes) {
    if (minute >= first) {
      Count& bar = bars[static_cast<std::size_t>((minute - first) / perBar)];
      bar.lines += count.lines;
      bar.errors += count.errors;
      drawn += count.lines;
    }
  }
  std::uint64_t highest = 1;
  for (const Count& bar : bars) {
    highest = std::max(highest, bar.lines);
  }
  const std::int64_t width = static_cast<std::int64_t>(bars.size()) * kBarWidth;
  const std::string from = minuteText(first * 60);
  const std::string to = minuteText((last + 1) * 60);
  std::string html = "<svg class=\"timeline\" role=\"img\" viewBox=\"0 0 " + std::to_string(width) + " " +
                     std::to_string(kHeight) +
                     "\" preserveAspectRatio=\"none\" aria-label=\"Lines over time from " + from + " to " +
                     to + "\">\n";
  for (std::size_t i = 0; i < bars.size(); ++i) {
    if (bars[i].lines == 0) {
      continue;
    }
    const auto scaled = [&](std::uint64_t lines) {
      // What there is shows, be it ever so little.
      const auto height = static_cast<std::int64_t>(
          static_cast<double>(kHeight) * static_cast<double>(lines) / static_cast<double>(highest));
      return lines == 0 ? std::int64_t{0} : std::max<std::int64_t>(2, height);
    };
    const std::string x = std::to_string(static_cast<std::int64_t>(i) * kBarWidth);
    const std::string when = minuteText((first + static_cast<std::int64_t>(i) * perBar) * 60);
    html += "<g><title>" + when + ": " + linesText(bars[i].lines, perBar) + ", " +
            std::to_string(bars[i].errors) + " errors</title>";
    for (const auto& [name, lines] : {std::pair("all", bars[i].lines), std::pair("bad", bars[i].errors)}) {
      const std::int64_t height = scaled(lines);
      if (height > 0) {
        html += std::string("<rect class=\"") + name + "\" x=\"" + x + "\" y=\"" +
                std::to_string(kHeight - height) + "\" width=\"" + std::to_string(kBarWidth - 1) +
                "\" height=\"" + std::to_string(height) + "\"/>";
      }
    }
    html += "</g>\n";
  }
  html += "</svg>\n<p class=\"axis\"><span>" + from + "</span><span>" + to + "</span></p>\n<p>" +
          std::to_string(m_nLines) + " lines with a time, " + std::to_string(m_nErrors) +
          " of them tell of an error; a bar is " +
          (perBar == 1 ? "a minute" : std::to_string(perBar) + " minutes") + ", the highest has " +
          linesText(highest, perBar) + ".";
  if (drawn < m_nLines) {
    html += " " + std::to_string(m_nLines - drawn) + " lines aren't drawn: they are older than " +
            std::to_string(kDrawnDays) + " days, or of too many minutes.";
  }
  return html + (later.empty() ? "" : " " + later) + "</p>\n";
}

}  // namespace halvo
