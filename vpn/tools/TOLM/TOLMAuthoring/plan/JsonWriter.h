// JsonWriter: writes one JSON text (RFC 8259), indented by two blanks.
//
// Keys and strings are byte strings taken to be UTF-8; what isn't UTF-8 in them becomes U+FFFD, so that
// the text is always valid. The caller keeps begin and end paired.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace halvo {

class JsonWriter {
 public:
  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  // Inside an object, ahead of each value.
  void key(const std::string& name);
  void value(const std::string& text);
  void value(const char* text) { value(std::string(text)); }
  void value(bool flag);
  void value(std::int64_t number);
  void null();

  // key() and value() in one.
  template <typename T>
  void member(const std::string& name, const T& content) {
    key(name);
    value(content);
  }

  // The text, with a line feed at its end.
  [[nodiscard]] std::string take();

 private:
  void beforeValue();
  void endContainer(char bracket);
  void newLine();
  void write(const std::string& text);

  std::string m_strText;
  // For each open container, whether it holds anything yet.
  std::vector<bool> m_Open;
  bool m_bAfterKey = false;
};

// `text` with every byte that isn't part of valid UTF-8 replaced by U+FFFD.
std::string validUtf8(const std::string& text);

}  // namespace halvo
