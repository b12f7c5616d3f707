// Small holders around a parse of libxml2's, for those who take its events.
//
// SaxContextHolder owns a parser context, with what a document has left in it; SaxHandlerLoan lends a context
// a handler for a scope. Each belongs to the thread of its parse. Nothing is logged.

#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>
#include <utility>

namespace halvo {

struct SaxContextFreer {
  void operator()(xmlParserCtxtPtr context) const {
    // A document that declares entities leaves a stub behind that holds them, events or not.
    xmlFreeDoc(context->myDoc);
    context->myDoc = nullptr;
    xmlFreeParserCtxt(context);
  }
};
using SaxContextHolder = std::unique_ptr<xmlParserCtxt, SaxContextFreer>;

// Puts a handler into a context for as long as it lives. Freeing a context frees the handler that it finds,
// which must not be one on the stack, whatever way the parse is left.
class SaxHandlerLoan {
 public:
  SaxHandlerLoan(xmlParserCtxtPtr context, xmlSAXHandlerPtr handler)
      : m_pContext(context), m_pOwn(std::exchange(context->sax, handler)) {}
  ~SaxHandlerLoan() { m_pContext->sax = m_pOwn; }
  SaxHandlerLoan(const SaxHandlerLoan&) = delete;
  SaxHandlerLoan& operator=(const SaxHandlerLoan&) = delete;

 private:
  xmlParserCtxtPtr m_pContext;
  xmlSAXHandlerPtr m_pOwn;
};

}  // namespace halvo
