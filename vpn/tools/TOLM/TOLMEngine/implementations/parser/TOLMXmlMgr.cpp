#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMXmlMgr.h"

#include <utility>

namespace halvo {

TOLMXmlMgr::TOLMXmlMgr() : m_pXmlObject(std::make_unique<XMLObject>()) {}

TOLMXmlMgr::~TOLMXmlMgr() = default;

void TOLMXmlMgr::startElement(const std::string& name) {
  auto node = std::make_unique<DataComponent>(name, std::string());
  DataComponent* const element = node.get();
  m_pXmlObject->AddChild(m_OpenElements.empty() ? nullptr : m_OpenElements.back(), std::move(node));
  m_OpenElements.push_back(element);
}

// Outside of the root a parser sends nothing; whoever else does, sends it to nobody.
void TOLMXmlMgr::endElement(const std::string& /*name*/) {
  if (!m_OpenElements.empty()) {
    m_OpenElements.pop_back();
  }
}

void TOLMXmlMgr::elementValue(const std::string& text) {
  if (!m_OpenElements.empty()) {
    m_OpenElements.back()->AppendValue(text);
  }
}

void TOLMXmlMgr::addAttribute(const std::string& name, const std::string& value) {
  if (!m_OpenElements.empty()) {
    m_OpenElements.back()->AddAttribute(name, value);
  }
}

}  // namespace halvo
