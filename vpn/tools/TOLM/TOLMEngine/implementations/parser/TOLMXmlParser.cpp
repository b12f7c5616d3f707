#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMXmlParser.h"

#include "vpn/Common/Xml/RQVSaxParser.h"

namespace halvo {

ResultCode TOLMXmlParser::parseFile(const std::string& path) {
  return RQVSaxParser(m_pXmlMgr).startParser(path, RQVSaxParser::kFile);
}

ResultCode TOLMXmlParser::parseMemory(const std::string& text) {
  return RQVSaxParser(m_pXmlMgr).startParser(text, RQVSaxParser::kMemory);
}

}  // namespace halvo
