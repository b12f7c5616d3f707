// XmlMgr: receiver of the events of one XML document, in document order.
//
// The parser borrows its receiver and calls it on the thread that parses. Names, texts and values
// are UTF-8 byte strings and are the receiver's to copy: they die when the call returns.

#pragma once

#include <string>

namespace halvo {

class XmlMgr {
 public:
  virtual ~XmlMgr() = default;

  // An element begins. Its attributes follow at once, one addAttribute() each.
  virtual void startElement(const std::string& name) = 0;

  // The newest open element ends.
  virtual void endElement(const std::string& name) = 0;

  // A piece of the newest open element's text, not trimmed. One text may come in several pieces,
  // and a piece may be empty.
  virtual void elementValue(const std::string& text) = 0;

  // An attribute of the element that began last.
  virtual void addAttribute(const std::string& name, const std::string& value) = 0;
};

}  // namespace halvo
