// RuleXml: the XML below the reader of rules: a document whose elements know their place, and what an element
// says.
//
// A RuleDocument owns its elements; pointers to them borrow. Entities aren't replaced and nothing is fetched.
// Nothing is logged. Used on one thread.

#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <optional>
#include <string>

#include "vpn/Common/Xml/SaxHolders.h"
#include "vpn/Common/Xml/SaxPlace.h"

namespace halvo {

class RuleDocument {
 public:
  explicit RuleDocument(const std::string& xml);
  // Null where the text isn't well-formed; why() and where() tell of it then.
  [[nodiscard]] xmlNode* root() const;
  [[nodiscard]] const std::string& why() const { return m_strWhy; }
  [[nodiscard]] SaxPlace where() const { return m_Where; }
  // A document type may hold entities that grow without end.
  [[nodiscard]] bool hasType() const;
  // Where an element's start tag begins.
  static SaxPlace placeOf(const xmlNode* element);

 private:
  SaxContextHolder m_pContext;
  std::string m_strWhy;
  SaxPlace m_Where;
};

std::string nameOf(const xmlNode* element);
std::string nameOf(const xmlAttr* attribute);
// Nothing where there is no such attribute.
std::optional<std::string> attributeOf(const xmlNode* element, const char* name);

// White space as a blank each run, none at the ends: texts are indented in their documents.
std::string proseOf(const xmlNode* element);

// The lines of an example, without the indentation that they share and the empty ones around them.
std::string exampleText(const xmlNode* element);

// Whether something else than white space stands between the element's children.
bool hasOwnText(const xmlNode* element);

}  // namespace halvo
