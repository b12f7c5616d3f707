// DocumentTree: an XML document as a tree whose elements know their place in the text.
//
// The engine's own tree has no positions, and an author of documents needs them. The document is
// parsed the way a run does (the same four events of libxml2, so the same documents are well-formed
// and the same text is seen), with bounds on what a document may cost. A tree owns its elements;
// pointers into it borrow. Nothing here logs or prints. Used on one thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace halvo {

// Both count from 1; columns count characters.
struct Position {
  std::uint32_t line = 1;
  std::uint32_t column = 1;
  bool operator<(const Position& other) const {
    return line != other.line ? line < other.line : column < other.column;
  }
};

struct DocumentAttribute {
  std::string name;
  std::string value;
};

struct DocumentElement {
  std::string name;
  // The element's own text, exactly as a run reads it.
  std::string text;
  // Where the start tag's "<" stands.
  Position position;
  // Null for the root.
  DocumentElement* parent = nullptr;
  std::vector<DocumentAttribute> attributes;
  std::vector<std::unique_ptr<DocumentElement>> children;

  // The first attribute of that name, null if none.
  [[nodiscard]] const DocumentAttribute* attribute(const std::string& wanted) const;
  // Depth first and without the element itself, as the engine's FindChild: a deeper match under an
  // earlier child beats a direct child that comes later.
  [[nodiscard]] const DocumentElement* find(const std::string& wanted) const;
  // All descendants of that name in document order.
  [[nodiscard]] std::vector<const DocumentElement*> findAll(const std::string& wanted) const;
  // Direct children of that name.
  [[nodiscard]] std::vector<const DocumentElement*> childrenNamed(const std::string& wanted) const;
};

// Something that the parser said.
struct ParserMessage {
  Position position;
  std::string text;  // one line
};

// What a document may cost. Instruction documents are some kilobytes long.
struct DocumentLimits {
  std::size_t bytes = std::size_t{8} << 20;
  std::size_t elements = 100'000;
  // Text after the replacement of entities.
  std::size_t textBytes = std::size_t{16} << 20;
  // The parser compares each attribute of an element with all of its others.
  std::size_t attributesOfAnElement = 5'000;
};

enum class ParseOutcome {
  kParsed,
  // A run doesn't read the document: messages[0] says why.
  kNotWellFormed,
  // Over a limit: messages[0] says which.
  kTooLarge,
  // The file can't be read: messages[0] says why.
  kUnreadable,
};

struct DocumentTree {
  ParseOutcome outcome = ParseOutcome::kParsed;
  // Null unless the outcome is kParsed.
  std::unique_ptr<DocumentElement> root;
  // Also of a document that isn't well-formed, where its start could be read.
  std::string rootName;
  // For a parsed document: what the parser complained about and a run goes on with.
  std::vector<ParserMessage> messages;
};

// An attribute's value as its author means it: the parser hands on "&#38;" for a "&", and a run compares
// values in that form.
std::string meantValue(const std::string& value);

DocumentTree parseDocumentText(const std::string& text, const DocumentLimits& limits = {});
DocumentTree parseDocumentFile(const std::string& path, const DocumentLimits& limits = {});

}  // namespace halvo
