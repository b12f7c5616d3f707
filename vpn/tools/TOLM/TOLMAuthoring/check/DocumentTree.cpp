#include "vpn/tools/TOLM/TOLMAuthoring/check/DocumentTree.h"

#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <exception>
#include <memory>
#include <utility>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Xml/SaxHolders.h"
#include "vpn/Common/Xml/SaxPlace.h"

namespace halvo {

namespace {

constexpr std::size_t kMaxMessages = 20;

// Keeps libxml2 from printing what it can't tie to a parse; the setting belongs to the thread.
class GenericErrorMute {
 public:
  GenericErrorMute() : m_pOldFunction(xmlGenericError), m_pOldContext(xmlGenericErrorContext) {
    xmlSetGenericErrorFunc(nullptr, discard);
  }
  ~GenericErrorMute() { xmlSetGenericErrorFunc(m_pOldContext, m_pOldFunction); }
  GenericErrorMute(const GenericErrorMute&) = delete;
  GenericErrorMute& operator=(const GenericErrorMute&) = delete;

 private:
  static void discard(void* /*context*/, const char* /*format*/, ...) {}

  xmlGenericErrorFunc m_pOldFunction;
  void* m_pOldContext;
};

// Receives the events of one parse.
struct Builder {
  DocumentTree& tree;
  const DocumentLimits& limits;
  xmlParserCtxtPtr document;  // the context of the document itself
  DocumentElement* open = nullptr;
  std::size_t elements = 0;
  std::size_t textBytes = 0;
  bool stopped = false;
  std::exception_ptr thrown{};
};

Builder& builderOf(void* context) {
  return *static_cast<Builder*>(static_cast<xmlParserCtxtPtr>(context)->_private);
}

// Lets no exception through libxml2, which would lose what it holds at that moment: it is kept until the
// parse, which goes no further, has come back.
template <typename Event>
void deliver(void* context, Event event) {
  try {
    event();
  } catch (...) {
    Builder& builder = builderOf(context);
    builder.thrown = std::current_exception();
    builder.stopped = true;
    xmlStopParser(static_cast<xmlParserCtxtPtr>(context));
  }
}

std::string textOf(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

std::uint32_t positive(int number) {
  return number < 1 ? 1U : static_cast<std::uint32_t>(number);
}

Position startTagPosition(const xmlParserCtxt* context) {
  const SaxPlace place = startTagPlace(context);
  return {place.line, place.column};
}

void stop(Builder& builder, void* context, const std::string& why) {
  builder.stopped = true;
  builder.tree.outcome = ParseOutcome::kTooLarge;
  builder.tree.messages.clear();
  builder.tree.messages.push_back(
      {{positive(builder.document->input->line), positive(builder.document->input->col)}, why});
  xmlStopParser(static_cast<xmlParserCtxtPtr>(context));
  // An entity's text is parsed in a context of its own; both have to stop.
  if (context != builder.document) {
    xmlStopParser(builder.document);
  }
}

void startElement(void* context, const xmlChar* name, const xmlChar** attributes) {
  Builder& builder = builderOf(context);
  if (builder.stopped) {
    return;
  }
  if (++builder.elements > builder.limits.elements) {
    stop(builder, context, "more than " + std::to_string(builder.limits.elements) + " elements");
    return;
  }
  auto element = std::make_unique<DocumentElement>();
  element->name = textOf(name);
  // An element that comes out of an entity's text stands where the entity is called.
  element->position = context == builder.document ? startTagPosition(builder.document)
                                                  : Position{positive(builder.document->input->line),
                                                             positive(builder.document->input->col)};
  for (std::size_t i = 0; attributes != nullptr && attributes[i] != nullptr; i += 2) {
    element->attributes.push_back({textOf(attributes[i]), textOf(attributes[i + 1])});
  }
  element->parent = builder.open;
  DocumentElement* const made = element.get();
  if (builder.open != nullptr) {
    builder.open->children.push_back(std::move(element));
  } else {
    builder.tree.rootName = element->name;
    builder.tree.root = std::move(element);
  }
  builder.open = made;
}

void endElement(void* context, const xmlChar* /*name*/) {
  Builder& builder = builderOf(context);
  if (!builder.stopped && builder.open != nullptr) {
    builder.open = builder.open->parent;
  }
}

void characters(void* context, const xmlChar* text, int length) {
  Builder& builder = builderOf(context);
  if (builder.stopped || builder.open == nullptr || length <= 0) {
    return;
  }
  builder.textBytes += static_cast<std::size_t>(length);
  if (builder.textBytes > builder.limits.textBytes) {
    stop(builder, context, "more than " + std::to_string(builder.limits.textBytes >> 20) + " MiB of text");
    return;
  }
  builder.open->text.append(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
}

void error(void* context, std::string text) {
  Builder& builder = builderOf(context);
  if (builder.stopped || builder.tree.messages.size() >= kMaxMessages) {
    return;
  }
  for (char& c : text) {
    c = c == '\n' ? ' ' : c;
  }
  while (!text.empty() && text.back() == ' ') {
    text.pop_back();
  }
  Position place{positive(builder.document->input->line), positive(builder.document->input->col)};
  if (context == builder.document && builder.document->lastError.line > 0) {
    place = {positive(builder.document->lastError.line), positive(builder.document->lastError.int2)};
  }
  builder.tree.messages.push_back({place, std::move(text)});
}

void startElementEvent(void* context, const xmlChar* name, const xmlChar** attributes) {
  deliver(context, [&] { startElement(context, name, attributes); });
}

void charactersEvent(void* context, const xmlChar* text, int length) {
  deliver(context, [&] { characters(context, text, length); });
}

void errorEvent(void* context, const char* format, ...) {
  // The format is "%s", and the message its one argument.
  std::va_list arguments;
  va_start(arguments, format);
  const char* const message = va_arg(arguments, const char*);
  va_end(arguments);
  deliver(context, [&] { error(context, message); });
}

// Whether an element may hold more attributes than the limit. A start tag holds one "<", and each of
// its attributes one "=" in front of a quote; zero bytes come with two-byte encodings.
bool hasTooManyAttributes(const std::string& text, std::size_t limit) {
  std::size_t count = 0;
  bool afterEquals = false;
  for (const char c : text) {
    if (c == '<') {
      count = 0;
      afterEquals = false;
    } else if (c == '=') {
      afterEquals = true;
    } else if (afterEquals && (c == '"' || c == '\'')) {
      afterEquals = false;
      if (++count > limit) {
        return true;
      }
    } else if (c != ' ' && c != '\t' && c != '\n' && c != '\r' && c != '\0') {
      afterEquals = false;
    }
  }
  return false;
}

DocumentTree failed(ParseOutcome outcome, const std::string& why) {
  DocumentTree tree;
  tree.outcome = outcome;
  tree.messages.push_back({{}, why});
  return tree;
}

}  // namespace

const DocumentAttribute* DocumentElement::attribute(const std::string& wanted) const {
  for (const DocumentAttribute& candidate : attributes) {
    if (candidate.name == wanted) {
      return &candidate;
    }
  }
  return nullptr;
}

const DocumentElement* DocumentElement::find(const std::string& wanted) const {
  for (const auto& child : children) {
    if (child->name == wanted) {
      return child.get();
    }
    if (const DocumentElement* const below = child->find(wanted); below != nullptr) {
      return below;
    }
  }
  return nullptr;
}

std::vector<const DocumentElement*> DocumentElement::findAll(const std::string& wanted) const {
  std::vector<const DocumentElement*> all;
  for (const auto& child : children) {
    if (child->name == wanted) {
      all.push_back(child.get());
    }
    for (const DocumentElement* below : child->findAll(wanted)) {
      all.push_back(below);
    }
  }
  return all;
}

std::vector<const DocumentElement*> DocumentElement::childrenNamed(const std::string& wanted) const {
  std::vector<const DocumentElement*> all;
  for (const auto& child : children) {
    if (child->name == wanted) {
      all.push_back(child.get());
    }
  }
  return all;
}

std::string meantValue(const std::string& value) {
  constexpr char kSign[] = "&#38;";
  std::string meant = value;
  for (std::size_t at = meant.find(kSign); at != std::string::npos; at = meant.find(kSign, at + 1)) {
    meant.replace(at, sizeof(kSign) - 1, "&");
  }
  return meant;
}

DocumentTree parseDocumentText(const std::string& text, const DocumentLimits& limits) {
  if (text.size() > limits.bytes) {
    return failed(ParseOutcome::kTooLarge, "more than " + std::to_string(limits.bytes >> 20) + " MiB");
  }
  if (text.empty()) {
    return failed(ParseOutcome::kNotWellFormed, "the document is empty");
  }
  if (hasTooManyAttributes(text, limits.attributesOfAnElement)) {
    return failed(ParseOutcome::kTooLarge,
                  "an element of more than " + std::to_string(limits.attributesOfAnElement) + " attributes");
  }
  const GenericErrorMute mute;
  DocumentTree tree;
  const SaxContextHolder context(xmlCreateMemoryParserCtxt(text.data(), static_cast<int>(text.size())));
  if (context == nullptr) {
    tree = failed(ParseOutcome::kNotWellFormed, "the document can't be read as XML");
  } else {
    Builder builder{tree, limits, context.get()};
    context->_private = &builder;
    // `initialized` stays 0, as in a run: only so the parser delivers these events.
    xmlSAXHandler handler = {};
    handler.startElement = startElementEvent;
    handler.endElement = endElement;
    handler.characters = charactersEvent;
    handler.error = errorEvent;
    int answer = 0;
    {
      const SaxHandlerLoan loan(context.get(), &handler);
      answer = xmlParseDocument(context.get());
    }
    if (builder.thrown != nullptr) {
      std::rethrow_exception(builder.thrown);
    }
    if (tree.outcome == ParseOutcome::kParsed && (answer != 0 || tree.root == nullptr)) {
      tree.outcome = ParseOutcome::kNotWellFormed;
      if (tree.messages.empty()) {
        tree.messages.push_back({{}, "the parser gives no reason"});
      }
    }
    if (tree.outcome != ParseOutcome::kParsed) {
      tree.root.reset();
    }
  }
  return tree;
}

DocumentTree parseDocumentFile(const std::string& path, const DocumentLimits& limits) {
  // Without O_NONBLOCK a FIFO that nobody writes to would hold the program for ever.
  const DescriptorHolder descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!descriptor) {
    return failed(ParseOutcome::kUnreadable, std::strerror(errno));
  }
  struct stat status = {};
  std::string why;
  std::string text;
  if (fstat(descriptor.get(), &status) != 0) {
    why = std::strerror(errno);
  } else if (!S_ISREG(status.st_mode)) {
    why = S_ISDIR(status.st_mode) ? "it is a folder" : "it isn't a regular file";
  } else {
    std::string buffer(65536, '\0');
    ssize_t got = 0;
    while (text.size() <= limits.bytes && (got = read(descriptor.get(), buffer.data(), buffer.size())) != 0) {
      if (got > 0) {
        text.append(buffer, 0, static_cast<std::size_t>(got));
      } else if (errno != EINTR) {
        why = std::strerror(errno);
        break;
      }
    }
  }
  return why.empty() ? parseDocumentText(text, limits) : failed(ParseOutcome::kUnreadable, why);
}

}  // namespace halvo
