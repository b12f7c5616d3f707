#include "vpn/Common/Utility/StringUtils.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>

namespace halvo {

namespace {

constexpr char kWhiteSpace[] = " \t\f\v\n\r";
constexpr char kLineEnds[] = "\n\r";
constexpr std::size_t kFormatSize = 1024;

}  // namespace

std::string CStringUtils::toLower(const std::string& text) {
  std::string lower = text;
  for (char& character : lower) {
    // tolower() takes no negative numbers, which bytes above 0x7f are as char.
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  }
  return lower;
}

std::string CStringUtils::trimRight(const std::string& text, bool lineEndsOnly) {
  // npos + 1 is 0: a text made of nothing else yields the empty text.
  return text.substr(0, text.find_last_not_of(lineEndsOnly ? kLineEnds : kWhiteSpace) + 1);
}

std::string CStringUtils::trimLeft(const std::string& text) {
  const std::size_t start = text.find_first_not_of(kWhiteSpace);
  return start == std::string::npos ? "" : text.substr(start);
}

std::string CStringUtils::trim(const std::string& text) {
  return trimRight(trimLeft(text), false);
}

bool CStringUtils::wildcardMatch(const std::string& text, const std::string& pattern) {
  std::size_t inText = 0;
  std::size_t inPattern = 0;
  while (inText < text.size() && inPattern < pattern.size()) {
    if (pattern[inPattern] != '*') {
      if (pattern[inPattern] != text[inText]) {
        return false;
      }
      ++inPattern;
      ++inText;
      continue;
    }
    inPattern = pattern.find_first_not_of('*', inPattern);
    if (inPattern == std::string::npos) {
      return true;
    }
    const std::size_t pieceEnd = pattern.find('*', inPattern);
    const std::string piece = pattern.substr(inPattern, pieceEnd - inPattern);
    if (pieceEnd == std::string::npos) {
      // The last piece stands at the very end, and not on what is matched already.
      return text.size() - inText >= piece.size() && endsWith(text, piece);
    }
    // The first place will do: the star behind the piece takes up whatever a later one would have skipped.
    const std::size_t found = text.find(piece, inText);
    if (found == std::string::npos) {
      return false;
    }
    inText = found + piece.size();
    inPattern = pieceEnd;
  }
  return inText == text.size() && pattern.find_first_not_of('*', inPattern) == std::string::npos;
}

std::string CStringUtils::formatText(const char* format, ...) {
  char buffer[kFormatSize] = {};
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(buffer, sizeof(buffer), format, arguments);
  va_end(arguments);
  return buffer;
}

bool CStringUtils::startsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

bool CStringUtils::endsWith(const std::string& text, const std::string& suffix) {
  return text.size() >= suffix.size() &&
         text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string CStringUtils::replaceAll(const std::string& text, const std::string& search,
                                     const std::string& replacement) {
  if (search.empty()) {
    return text;
  }
  std::string result;
  std::size_t start = 0;
  for (;;) {
    const std::size_t found = text.find(search, start);
    if (found == std::string::npos) {
      return result + text.substr(start);
    }
    result += text.substr(start, found - start) + replacement;
    start = found + search.size();
  }
}

std::vector<std::string> CStringUtils::split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  for (;;) {
    const std::size_t found = text.find(separator, start);
    if (found == std::string::npos) {
      pieces.push_back(text.substr(start));
      return pieces;
    }
    pieces.push_back(text.substr(start, found - start));
    start = found + 1;
  }
}

}  // namespace halvo
