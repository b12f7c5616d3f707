// TOLMXmlParser: the engine's small facade over the XML front-end.
//
// Cheap; lives on the stack of its caller. The manager isn't owned.

#pragma once

#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Xml/XmlMgr.h"

namespace halvo {

class TOLMXmlParser {
 public:
  explicit TOLMXmlParser(XmlMgr* xmlMgr) : m_pXmlMgr(xmlMgr) {}
  virtual ~TOLMXmlParser() = default;

  // Parse a file or a text, and send the events to the manager before they return. 0, or
  // GLOBAL_ERROR_UNEXPECTED for every failure; the front-end logs what is wrong.
  [[nodiscard]] ResultCode parseFile(const std::string& path);
  [[nodiscard]] ResultCode parseMemory(const std::string& text);

  [[nodiscard]] XmlMgr* GetXmlMgr() const { return m_pXmlMgr; }

 private:
  XmlMgr* m_pXmlMgr;
};

}  // namespace halvo
