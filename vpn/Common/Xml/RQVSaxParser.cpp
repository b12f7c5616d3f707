#include "vpn/Common/Xml/RQVSaxParser.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>
#include <sys/stat.h>

#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <exception>
#include <new>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Xml/SaxHolders.h"

namespace halvo {

namespace {

// What libxml2 can't tie to the handler of a parse (a file that won't open, a read that fails) it
// prints on standard error, which is the program's own. The setting belongs to the thread and is put
// back as it was found.
class GenericErrorMute {
 public:
  GenericErrorMute() : m_pOldFunction(xmlGenericError), m_pOldContext(xmlGenericErrorContext) {
    xmlSetGenericErrorFunc(this, noteMessage);
  }
  ~GenericErrorMute() { xmlSetGenericErrorFunc(m_pOldContext, m_pOldFunction); }
  GenericErrorMute(const GenericErrorMute&) = delete;
  GenericErrorMute& operator=(const GenericErrorMute&) = delete;

  // Memory that ran out in a function of libxml2's that knows no parse: the parse may go on then, with an
  // attribute or a text less, and be a success in the end.
  [[nodiscard]] bool hasMissedMemory() const { return m_bMissedMemory; }

 private:
  static void noteMessage(void* context, const char* /*format*/, ...) {
    if (const auto* const error = xmlGetLastError(); error != nullptr && error->code == XML_ERR_NO_MEMORY) {
      static_cast<GenericErrorMute*>(context)->m_bMissedMemory = true;
    }
  }

  bool m_bMissedMemory = false;
  xmlGenericErrorFunc m_pOldFunction;
  void* m_pOldContext;
};

// What a context carries through a parse.
struct Parse {
  XmlMgr* manager = nullptr;
  std::exception_ptr thrown{};
};

XmlMgr* managerOf(void* ctx) {
  return static_cast<Parse*>(static_cast<xmlParserCtxtPtr>(ctx)->_private)->manager;
}

// Lets no exception through libxml2, which would lose what it holds at that moment: it is kept until the
// parse, which goes no further, has come back.
template <typename Event>
void deliver(void* ctx, Event event) {
  auto* const context = static_cast<xmlParserCtxtPtr>(ctx);
  auto& parse = *static_cast<Parse*>(context->_private);
  if (parse.thrown != nullptr) {
    return;
  }
  try {
    event();
  } catch (...) {
    parse.thrown = std::current_exception();
    xmlStopParser(context);
  }
}

std::string textOf(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

// A pipe, a socket or a device would be waited for, perhaps for ever, and libxml2 takes "-" for standard
// input. A folder passes: libxml2 refuses it by itself.
bool isFileOrFolder(const std::string& path) {
  struct stat data;
  return stat(path.c_str(), &data) == 0 && (S_ISREG(data.st_mode) || S_ISDIR(data.st_mode));
}

}  // namespace

RQVSaxParser::RQVSaxParser(XmlMgr* manager) : xmlMgr(manager) {}

ResultCode RQVSaxParser::startParser(const std::string& source, int mode) {
  if (source.empty() || (mode != kFile && mode != kMemory)) {
    return GLOBAL_ERROR_UNEXPECTED;
  }

  const GenericErrorMute mute;
  SaxContextHolder context;
  if (mode == kFile) {
    if (isFileOrFolder(source)) {
      context.reset(xmlCreateFileParserCtxt(source.c_str()));
    }
    if (context == nullptr) {
      LOG_RETURN_CODE(kLogError, "xmlCreateFileParserCtxt", GLOBAL_ERROR_NULL_POINTER);
      return GLOBAL_ERROR_UNEXPECTED;
    }
  } else {
    // A declaration must stand first, and people write their documents indented.
    const std::size_t start = source.find_first_not_of(" \t\n\r");
    if (start == std::string::npos) {
      return GLOBAL_ERROR_UNEXPECTED;
    }
    context.reset(xmlCreateMemoryParserCtxt(source.data() + start, static_cast<int>(source.size() - start)));
    if (context == nullptr) {
      LOG_RETURN_CODE(kLogError, "xmlCreateMemoryParserCtxt", GLOBAL_ERROR_NULL_POINTER);
      return GLOBAL_ERROR_UNEXPECTED;
    }
  }

  // The user data stays the context itself: the callbacks get it and find the manager in it.
  Parse parse;
  parse.manager = xmlMgr;
  context->_private = &parse;

  // `initialized` stays 0: that is what makes libxml2 deliver an element as a name and a flat list of
  // attributes. All other slots stay null, so nothing is fetched and no tree is built.
  xmlSAXHandler handler = {};
  handler.startElement = startElementCB;
  handler.endElement = endElementCB;
  handler.characters = elementValueCB;
  handler.error = errorCB;

  int answer = 0;
  {
    const SaxHandlerLoan loan(context.get(), &handler);
    answer = xmlParseDocument(context.get());
  }
  if (parse.thrown != nullptr) {
    std::rethrow_exception(parse.thrown);
  }
  if (mute.hasMissedMemory() || context->errNo == XML_ERR_NO_MEMORY) {
    throw std::bad_alloc();
  }
  if (answer != 0) {
    LOG_RETURN_CODE(kLogError, "xmlParseDocument", answer);
  }
  return answer == 0 ? 0 : GLOBAL_ERROR_UNEXPECTED;
}

void RQVSaxParser::startElementCB(void* ctx, const xmlChar* name, const xmlChar** atts) {
  XmlMgr* const manager = managerOf(ctx);
  if (manager == nullptr) {
    LOG_MESSAGE(kLogError, "No XML Manager provided.");
    return;
  }
  deliver(ctx, [manager, name, atts] {
    manager->startElement(textOf(name));
    if (atts == nullptr) {
      return;
    }
    // Names stand at the even places, each with its value behind it.
    for (std::size_t i = 0; atts[i] != nullptr; ++i) {
      if (i % 2 == 1) {
        manager->addAttribute(textOf(atts[i - 1]), textOf(atts[i]));
      }
    }
  });
}

void RQVSaxParser::endElementCB(void* ctx, const xmlChar* name) {
  XmlMgr* const manager = managerOf(ctx);
  if (manager == nullptr) {
    LOG_MESSAGE(kLogError, "No XML Manager provided.");
    return;
  }
  deliver(ctx, [manager, name] { manager->endElement(textOf(name)); });
}

void RQVSaxParser::elementValueCB(void* ctx, const xmlChar* chars, int len) {
  XmlMgr* const manager = managerOf(ctx);
  if (manager == nullptr) {
    LOG_MESSAGE(kLogError, "No XML Manager provided.");
    return;
  }
  // The piece has no end mark of its own; what stands behind a zero byte in it is dropped. An empty
  // piece is handed on as well.
  deliver(ctx, [manager, chars, len] {
    std::string text;
    if (len > 0) {
      const auto* const bytes = reinterpret_cast<const char*>(chars);
      text.assign(bytes, strnlen(bytes, static_cast<std::size_t>(len)));
    }
    manager->elementValue(text);
  });
}

void RQVSaxParser::errorCB(void* /*ctx*/, const char* fmt, ...) {
  // libxml2's format is "%s" and its whole message the one argument behind it: the format is left
  // alone, so that nothing in a document is ever taken for one.
  std::va_list arguments;
  va_start(arguments, fmt);
  const char* const message = va_arg(arguments, const char*);
  va_end(arguments);
  LOG_MESSAGE(kLogError, "xml errorCB: %s", message);
}

}  // namespace halvo
