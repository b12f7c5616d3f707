#include "vpn/tools/TOLM/TOLMBundle/findings/RuleXml.h"

#include <libxml/SAX2.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <vector>

namespace halvo {

namespace {

std::string textOf(const xmlChar* text) {
  return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

std::string contentOf(const xmlNode* element) {
  xmlChar* const content = xmlNodeGetContent(element);
  std::string text = textOf(content);
  xmlFree(content);
  return text;
}

// A place in the one word that libxml2 leaves to the user of a node: its own line is that of the tag's end,
// and it knows no column. Documents are short, so both numbers fit.
constexpr unsigned kColumnBits = 32;
static_assert(sizeof(void*) == sizeof(std::uint64_t));

void startElement(void* data, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                  int namespaceCount, const xmlChar** namespaces, int attributeCount, int defaultedCount,
                  const xmlChar** attributes) {
  xmlSAX2StartElementNs(data, name, prefix, uri, namespaceCount, namespaces, attributeCount, defaultedCount,
                        attributes);
  const auto* const context = static_cast<xmlParserCtxtPtr>(data);
  if (context->node != nullptr) {
    const SaxPlace place = startTagPlace(context);
    context->node->_private =
        reinterpret_cast<void*>(std::uint64_t{place.line} << kColumnBits | place.column);
  }
}

}  // namespace

RuleDocument::RuleDocument(const std::string& xml) : m_pContext(xmlNewParserCtxt()) {
  if (m_pContext == nullptr) {
    m_strWhy = "no memory";
    return;
  }
  m_pContext->sax->startElementNs = startElement;
  m_pContext->myDoc =
      xmlCtxtReadMemory(m_pContext.get(), xml.data(), static_cast<int>(xml.size()), "rules", nullptr,
                        XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NOCDATA);
  if (root() == nullptr) {
    const xmlError& error = m_pContext->lastError;
    m_strWhy = error.message != nullptr ? error.message : "";
    while (!m_strWhy.empty() && m_strWhy.back() == '\n') {
      m_strWhy.pop_back();
    }
    m_Where = {static_cast<std::uint32_t>(std::max(1, error.line)),
               static_cast<std::uint32_t>(std::max(1, error.int2))};
  }
}

xmlNode* RuleDocument::root() const {
  return m_pContext == nullptr || m_pContext->myDoc == nullptr ? nullptr
                                                               : xmlDocGetRootElement(m_pContext->myDoc);
}

bool RuleDocument::hasType() const {
  return root() != nullptr && m_pContext->myDoc->intSubset != nullptr;
}

SaxPlace RuleDocument::placeOf(const xmlNode* element) {
  const auto place = reinterpret_cast<std::uint64_t>(element->_private);
  return {std::max(1U, static_cast<std::uint32_t>(place >> kColumnBits)),
          std::max(1U, static_cast<std::uint32_t>(place))};
}

std::string nameOf(const xmlNode* element) {
  return textOf(element->name);
}

std::string nameOf(const xmlAttr* attribute) {
  return textOf(attribute->name);
}

std::optional<std::string> attributeOf(const xmlNode* element, const char* name) {
  xmlChar* const value = xmlGetNoNsProp(element, reinterpret_cast<const xmlChar*>(name));
  if (value == nullptr) {
    return std::nullopt;
  }
  std::string text = textOf(value);
  xmlFree(value);
  return text;
}

std::string proseOf(const xmlNode* element) {
  std::istringstream words(contentOf(element));
  std::string text;
  for (std::string word; words >> word;) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

std::string exampleText(const xmlNode* element) {
  std::istringstream lines(contentOf(element));
  std::vector<std::string> kept;
  std::size_t indent = std::string::npos;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos && kept.empty()) {
      continue;
    }
    indent = std::min(indent, start);
    kept.push_back(start == std::string::npos ? "" : line);
  }
  while (!kept.empty() && kept.back().empty()) {
    kept.pop_back();
  }
  std::string text;
  for (const std::string& line : kept) {
    text += line.substr(std::min(indent, line.size())) + "\n";
  }
  return text;
}

bool hasOwnText(const xmlNode* element) {
  for (const xmlNode* node = element->children; node != nullptr; node = node->next) {
    const bool isText = node->type == XML_TEXT_NODE || node->type == XML_CDATA_SECTION_NODE;
    if (isText && textOf(node->content).find_first_not_of(" \t\r\n") != std::string::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace halvo
