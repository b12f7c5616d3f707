#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMXmlParser.h"

#include "vpn/Common/Xml/RQVSaxParser.h"

namespace halvo {

namespace {

constexpr int kModeMemory = 0;
constexpr int kModeFile = 1;

}  // namespace

ResultCode TOLMXmlParser::parseFile(const std::string& path) {
  return RQVSaxParser(m_pXmlMgr).startParser(path, kModeFile);
}

ResultCode TOLMXmlParser::parseMemory(const std::string& text) {
  return RQVSaxParser(m_pXmlMgr).startParser(text, kModeMemory);
}

}  // namespace halvo
