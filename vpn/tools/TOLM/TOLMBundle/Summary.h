// Summary: what the summary of a bundle tells, read back from its text.
//
// The text is made of tables with fixed widths in bytes, cells wrapped over several rows. The reader takes
// every summary that the engine can write, whatever bytes its cells hold, and comes to an end on any other
// text: what it can't make out is passed over and told in `fault`.
//
// Wrapping loses what no reader can bring back: white space where a line was broken, blanks at both ends
// of a text. Where several blanks stood at a break in the first rows of an omitted file whose reason isn't
// the engine's own, it may be read as two. Two texts that wrap into the same lines can't be told apart;
// wrappedKey() says which do, and is how file names are found again among the entries.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace halvo {

// How the reason begins for which a redacted bundle has no file that was gathered.
inline constexpr char kLeftOut[] = "Left out by redaction: ";

// The entry of a redacted bundle that tells what was done.
inline constexpr char kRedactionEntry[] = "redaction.txt";

struct SummaryRow {
  std::string id;
  std::string name;
  std::string nameKey;  // wrappedKey() of the name that was written
  std::string description;
  std::string last;  // the size of an included file, the reason of an omitted one
};

struct SummarySection {
  std::string title;  // empty for a document without one
  std::vector<SummaryRow> included;
  std::vector<SummaryRow> omitted;
  std::vector<std::string> notes;
  std::vector<std::string> notDefault;  // ids that the notes tell as not gathered by default
};

struct Summary {
  std::string time;  // in the machine's own words
  std::string os;
  std::string user;
  std::string bundlePath;
  std::vector<SummarySection> sections;
  std::vector<std::string> failedDocuments;
  bool hasUnknownHeading = false;  // there may be nothing below it
  std::vector<std::string> unknownIds;
  // What couldn't be made out, one line; empty for a text as the engine writes it.
  std::string fault;
};

// Linear in the text. One with CR and LF at its lines' ends, or with a byte order mark, is read as well.
Summary readSummary(const std::string& text);

// Whether a file begins as a summary does; a request may give it any name.
bool isSummary(const std::string& front);

inline constexpr std::size_t kSummaryNameWidth = 28;

// How the notes begin that name an item.
inline constexpr char kNotDefaultStart[] = "The file(s) of ID ";
inline constexpr char kDuplicateStart[] = "WARNING: File ID ";

// An id as documents have it, from the form in which the engine writes it, and back. The ids of a Summary,
// also those in its notes of the two kinds above, are as documents have them.
std::string withPlainAmpersands(const std::string& id);
std::string withAmpersandReferences(const std::string& id);

// The lines into which the summary's tables break a text, without blanks at their ends, joined by line feeds.
std::string wrappedKey(const std::string& text, std::size_t width);

}  // namespace halvo
