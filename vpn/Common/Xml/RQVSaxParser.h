// RQVSaxParser: turns one XML text into calls on an XmlMgr.
//
// A thin layer over libxml2's event parser: no document tree of libxml2's is kept, nothing is
// validated, and no state outlives a parse but what the receiver has been given. The receiver is
// borrowed and must outlive the parser. A parse runs wholly on the caller's thread; different
// parsers may run on different threads.
//
// What a document may cost is libxml2's to limit (depth, length of a text in one piece, growth by
// entities). External entities and external subsets are never fetched. libxml2 prints nothing on
// the standard streams while a parse runs.

#pragma once

#include <libxml/xmlstring.h>

#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Xml/XmlMgr.h"

namespace halvo {

class RQVSaxParser {
 public:
  // The values of startParser()'s `mode`.
  static constexpr int kMemory = 0;
  static constexpr int kFile = 1;

  // `xmlMgr` receives all events; with a null pointer each event is dropped with an error record.
  explicit RQVSaxParser(XmlMgr* xmlMgr);
  virtual ~RQVSaxParser() = default;
  RQVSaxParser(const RQVSaxParser&) = delete;
  RQVSaxParser& operator=(const RQVSaxParser&) = delete;

  // Parses the file at the path `source` (kFile) or the text `source` itself (kMemory). White space
  // in front of a text in memory is skipped; a file is read as it stands. A path that leads to no file
  // (a pipe, a socket, a device) is refused as a missing file is, and never waited for.
  //
  // Returns 0 when all of the document was well-formed and its events have been delivered, and
  // GLOBAL_ERROR_UNEXPECTED for every failure. The events in front of a fault have been delivered
  // by then: the receiver holds a part of the document, which is the caller's to drop.
  //
  // Logged at error level: a context that libxml2 couldn't make (a missing file, say), each of
  // libxml2's messages, and the result of a parse that failed. An empty source, a text of white space
  // only and an unknown mode are refused without a record.
  //
  // Throws std::bad_alloc where memory ran out while the document was read: libxml2 goes on without the
  // attribute that it had no room for, and calls what is left of the document well-formed.
  [[nodiscard]] ResultCode startParser(const std::string& source, int mode);

 private:
  static void startElementCB(void* ctx, const xmlChar* name, const xmlChar** atts);
  static void endElementCB(void* ctx, const xmlChar* name);
  static void elementValueCB(void* ctx, const xmlChar* chars, int len);
  static void errorCB(void* ctx, const char* fmt, ...);

  XmlMgr* xmlMgr;
};

}  // namespace halvo
