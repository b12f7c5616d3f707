#include "vpn/tools/TOLM/TOLMAuthoring/plan/JsonWriter.h"

#include <cstdio>
#include <utility>

namespace halvo {

namespace {

// The length of the UTF-8 sequence at `at`, 0 where there is none: no overlong forms, no surrogates,
// nothing above U+10FFFF.
std::size_t sequenceLength(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) {
    return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0U;
  };
  const auto isTail = [&](std::size_t i) { return (byte(i) & 0xc0U) == 0x80U; };
  const unsigned first = byte(0);
  const unsigned second = byte(1);
  if (first < 0x80) {
    return 1;
  }
  if (first >= 0xc2 && first <= 0xdf) {
    return isTail(1) ? 2 : 0;
  }
  if (first >= 0xe0 && first <= 0xef) {
    const bool allowed = (first != 0xe0 || second >= 0xa0) && (first != 0xed || second <= 0x9f);
    return isTail(1) && isTail(2) && allowed ? 3 : 0;
  }
  if (first >= 0xf0 && first <= 0xf4) {
    const bool allowed = (first != 0xf0 || second >= 0x90) && (first != 0xf4 || second <= 0x8f);
    return isTail(1) && isTail(2) && isTail(3) && allowed ? 4 : 0;
  }
  return 0;
}

}  // namespace

std::string validUtf8(const std::string& text) {
  std::string valid;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceLength(text, at);
    if (length == 0) {
      valid += "\xef\xbf\xbd";
      ++at;
    } else {
      valid.append(text, at, length);
      at += length;
    }
  }
  return valid;
}

void JsonWriter::beginObject() {
  beforeValue();
  m_strText += '{';
  m_Open.push_back(false);
}

void JsonWriter::endObject() {
  endContainer('}');
}

void JsonWriter::beginArray() {
  beforeValue();
  m_strText += '[';
  m_Open.push_back(false);
}

void JsonWriter::endArray() {
  endContainer(']');
}

void JsonWriter::key(const std::string& name) {
  beforeValue();
  write(name);
  m_strText += ": ";
  m_bAfterKey = true;
}

void JsonWriter::value(const std::string& text) {
  beforeValue();
  write(text);
}

void JsonWriter::value(bool flag) {
  beforeValue();
  m_strText += flag ? "true" : "false";
}

void JsonWriter::value(std::int64_t number) {
  beforeValue();
  m_strText += std::to_string(number);
}

void JsonWriter::null() {
  beforeValue();
  m_strText += "null";
}

std::string JsonWriter::take() {
  m_strText += '\n';
  return std::exchange(m_strText, {});
}

void JsonWriter::beforeValue() {
  if (m_bAfterKey) {
    m_bAfterKey = false;
    return;
  }
  if (m_Open.empty()) {
    return;
  }
  if (m_Open.back()) {
    m_strText += ',';
  }
  m_Open.back() = true;
  newLine();
}

void JsonWriter::endContainer(char bracket) {
  const bool any = m_Open.back();
  m_Open.pop_back();
  if (any) {
    newLine();
  }
  m_strText += bracket;
}

void JsonWriter::newLine() {
  m_strText += '\n';
  m_strText.append(2 * m_Open.size(), ' ');
}

void JsonWriter::write(const std::string& text) {
  m_strText += '"';
  for (const char c : validUtf8(text)) {
    const auto code = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      m_strText += '\\';
      m_strText += c;
    } else if (c == '\n') {
      m_strText += "\\n";
    } else if (c == '\t') {
      m_strText += "\\t";
    } else if (c == '\r') {
      m_strText += "\\r";
    } else if (code < 0x20 || code == 0x7f) {
      char escape[8];
      std::snprintf(escape, sizeof(escape), "\\u%04x", static_cast<unsigned>(code));
      m_strText += escape;
    } else {
      m_strText += c;
    }
  }
  m_strText += '"';
}

}  // namespace halvo
