// TOLMXmlMgr: grows an element tree from the events of one parse.
//
// Owns the tree until it dies: whoever keeps a document longer takes a deep copy, or keeps the
// manager. One manager serves one document. Used on the thread of the parse.

#pragma once

#include <deque>
#include <memory>
#include <string>

#include "vpn/Common/Xml/XmlMgr.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/XMLObject.h"

namespace halvo {

class TOLMXmlMgr : public XmlMgr {
 public:
  TOLMXmlMgr();
  ~TOLMXmlMgr() override;

  // The first element becomes the root, every other a child of the innermost open one.
  void startElement(const std::string& name) override;
  // Closes the innermost open element. The name isn't compared: well-formedness is the parser's.
  void endElement(const std::string& name) override;
  // Appends to the innermost open element's value. Text between a parent's children lands in the
  // parent's value, white space included; only leaf values are ever read.
  void elementValue(const std::string& text) override;
  void addAttribute(const std::string& name, const std::string& value) override;

  // The tree; stays the manager's. After a failed parse it may be partial.
  [[nodiscard]] XMLObject* GetXMLObject() const { return m_pXmlObject.get(); }

 private:
  std::deque<DataComponent*> m_OpenElements;
  std::unique_ptr<XMLObject> m_pXmlObject;
};

}  // namespace halvo
