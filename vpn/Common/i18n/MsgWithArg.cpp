#include "vpn/Common/i18n/MsgWithArg.h"

#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "vpn/Common/i18n/MsgCatalog.h"

namespace halvo {

namespace {

constexpr std::size_t kArgumentCount = 10;
// The result's buffer, the closing zero included.
constexpr std::size_t kBufferSize = 2048;
constexpr const char* kPlaceholderSet = "$0123456789";

using Arguments = std::array<std::string_view, kArgumentCount>;

// Makes every placeholder one for a text and keeps its position.
void makeTextPlaceholders(std::string& text) {
  std::size_t percent = text.find('%');
  while (percent != std::string::npos && percent + 1 < text.size()) {
    std::size_t kind = text.find_first_not_of(kPlaceholderSet, percent + 1);
    if (kind == std::string::npos) {
      kind = text.size() - 1;
    }
    text[kind] = 's';
    percent = text.find('%', kind + 1);
  }
}

// Gives the placeholders without a position one, in their order. One pass: a text may be as long as a
// language file, with a placeholder at every other byte.
void numberPlaceholders(std::string& text) {
  std::string numbered;
  unsigned number = 1;
  std::size_t copied = 0;
  for (std::size_t found = text.find("%s"); found != std::string::npos; found = text.find("%s", copied)) {
    numbered.append(text, copied, found + 1 - copied);
    numbered += std::to_string(number) + "$";
    ++number;
    copied = found + 1;
  }
  numbered.append(text, copied);
  text = std::move(numbered);
}

bool isDigit(char character) {
  return character >= '0' && character <= '9';
}

// Reads digits from `position` on and moves it behind them. Large numbers are cut to one that is
// larger than all limits here.
std::size_t readNumber(std::string_view text, std::size_t& position) {
  std::size_t number = 0;
  while (position < text.size() && isDigit(text[position])) {
    number = number < kBufferSize ? number * 10 + static_cast<std::size_t>(text[position] - '0') : number;
    ++position;
  }
  return number;
}

// Formats as printf does with ten texts as arguments. The texts come from language files, so printf
// itself mustn't see them: it would read arguments that aren't there. What it leaves open is settled:
// a position above ten gives the empty text, and what is no placeholder stands as it is written.
std::string formatTexts(std::string_view text, const Arguments& arguments) {
  std::string result;
  std::size_t next = 0;  // the argument of the next placeholder that has a width but no position
  std::size_t position = 0;
  while (position < text.size() && result.size() < kBufferSize) {
    if (text[position] != '%') {
      result += text[position];
      ++position;
      continue;
    }
    std::size_t cursor = position + 1;
    std::size_t width = readNumber(text, cursor);
    std::size_t index = 0;
    bool isPositioned = false;
    if (cursor < text.size() && text[cursor] == '$' && width > 0) {
      isPositioned = true;
      index = width - 1;
      ++cursor;
      width = readNumber(text, cursor);
    }
    if (cursor >= text.size() || text[cursor] != 's') {
      result += text[position];
      ++position;
      continue;
    }
    if (!isPositioned) {
      index = next;
      ++next;
    }
    const std::string_view argument = index < arguments.size() ? arguments[index] : std::string_view();
    if (width > argument.size()) {
      result.append(width < kBufferSize ? width - argument.size() : kBufferSize, ' ');
    }
    result += argument;
    position = cursor + 1;
  }
  result.resize(result.size() < kBufferSize ? result.size() : kBufferSize - 1);
  return result;
}

// The value of the digits of a character reference, its low eight bits. False where there is none or
// something else stands among them.
bool readReference(std::string_view digits, char& character) {
  unsigned base = 10;
  if (!digits.empty() && (digits[0] == 'x' || digits[0] == 'X')) {
    base = 16;
    digits.remove_prefix(1);
  }
  if (digits.empty()) {
    return false;
  }
  std::uint8_t value = 0;
  for (const char digit : digits) {
    unsigned part = 0;
    if (isDigit(digit)) {
      part = static_cast<unsigned>(digit - '0');
    } else if (base == 16 && digit >= 'a' && digit <= 'f') {
      part = static_cast<unsigned>(digit - 'a') + 10;
    } else if (base == 16 && digit >= 'A' && digit <= 'F') {
      part = static_cast<unsigned>(digit - 'A') + 10;
    } else {
      return false;
    }
    value = static_cast<std::uint8_t>(value * base + part);
  }
  character = static_cast<char>(value);
  return true;
}

// Decodes numeric character references. One bad reference leaves the whole text as it was. What a
// reference yields can be part of the next one: "&#38;#38;" decodes to "&" in two steps.
void decodeEntities(std::string& text) {
  std::string done;
  std::string rest = text;
  std::size_t position = 0;  // what stands before it in `rest` is in `done`
  while (true) {
    const std::size_t start = rest.find("&#", position);
    const std::size_t end = start == std::string::npos || rest.size() - start - 2 < 2
                                ? std::string::npos
                                : rest.find(';', start + 2);
    if (end == std::string::npos) {
      text = done.append(rest, position);
      return;
    }
    char character = '\0';
    if (!readReference(std::string_view(rest).substr(start + 2, end - start - 2), character)) {
      return;
    }
    done.append(rest, position, start - position);
    // The new character takes the place of the semicolon and is looked at again. Only the one before
    // it can begin a reference that wasn't there before.
    rest[end] = character;
    position = end;
    if (!done.empty()) {
      --position;
      rest[position] = done.back();
      done.pop_back();
    }
  }
}

}  // namespace

MsgWithArg::MsgWithArg(const std::string& key) : m_strKey(key) {}

MsgWithArg::MsgWithArg(const std::string& key, const std::string& catalog)
    : m_strCatalog(catalog), m_strKey(key) {}

void MsgWithArg::setKey(const std::string& key) {
  m_strKey = key;
}

void MsgWithArg::setCatalog(const char* catalog) {
  m_strCatalog = catalog != nullptr ? catalog : "";
}

void MsgWithArg::setCatalog(const std::string& catalog) {
  m_strCatalog = catalog;
}

void MsgWithArg::addArgument(const char* argument) {
  m_Arguments.emplace_back(argument != nullptr ? argument : "");
}

void MsgWithArg::addArgument(const std::string& argument) {
  m_Arguments.push_back(argument);
}

void MsgWithArg::format(std::string& out, bool translateIt) const {
  out.clear();
  if (m_strKey.empty()) {
    return;
  }
  if (!translateIt) {
    out = m_strKey;
  } else if (!m_strCatalog.empty()) {
    MsgCatalog::getMessage(m_strKey.c_str(), m_strCatalog, out);
  } else {
    MsgCatalog::getMessage(m_strKey.c_str(), out);
  }
  if (!m_Arguments.empty()) {
    makeTextPlaceholders(out);
    numberPlaceholders(out);
    Arguments arguments;
    std::size_t count = 0;
    for (const std::string& argument : m_Arguments) {
      if (count == arguments.size()) {
        break;
      }
      // As printf takes a text: up to its first zero.
      arguments[count] = argument.c_str();
      ++count;
    }
    out = formatTexts(out.c_str(), arguments);
  }
  decodeEntities(out);
}

}  // namespace halvo
