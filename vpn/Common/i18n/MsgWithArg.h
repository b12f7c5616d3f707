// MsgWithArg: a message with arguments, put together and translated late.
//
// An object belongs to one thread; a translation takes the catalog's lock. It reports nothing.

#pragma once

#include <list>
#include <string>

namespace halvo {

class MsgWithArg {
 public:
  // `key` is the message and its key in `catalog`; an empty catalog stands for the current one.
  explicit MsgWithArg(const std::string& key);
  MsgWithArg(const std::string& key, const std::string& catalog);
  virtual ~MsgWithArg() = default;

  // Forms that take a const char* treat null as the empty text.
  void setKey(const std::string& key);
  void setCatalog(const char* catalog);
  void setCatalog(const std::string& catalog);
  void addArgument(const char* argument);
  void addArgument(const std::string& argument);

  [[nodiscard]] bool isEmpty() const { return m_strKey.empty(); }
  [[nodiscard]] const std::string& getKey() const { return m_strKey; }

  // Stores the message in `out`, its key translated first where `translateIt`.
  //
  // With arguments, each printf placeholder takes a text, whatever its kind: "%d" and "%2$d" read as
  // "%s" and "%2$s", and so does "%%", which leaves no way to write a percent sign. Placeholders
  // without a position count from 1 by themselves. Ten arguments are used, missing ones are empty, and
  // the result is cut at 2,047 bytes. Numeric character references, such as "&#38;", are decoded in
  // the end. Without arguments nothing but that is done.
  void format(std::string& out, bool translateIt) const;

 private:
  std::string m_strCatalog;
  std::string m_strKey;
  std::list<std::string> m_Arguments;
};

}  // namespace halvo
