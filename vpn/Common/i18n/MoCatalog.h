// The reader of language files, in the calling shape of gettext.
//
// It reads the GNU message-object format (GNU gettext manual, "The Format of GNU MO Files") in either
// byte order, and differs from a gettext library on purpose: strings are found by binary search and
// never by the file's hash table, there are no plural rules and no character conversion, a file over
// 1 MiB is refused, and one file at a time is loaded for each translation domain.
//
// The state is one instance in the process and has no lock: MsgCatalog is the only caller and holds
// its own. The records of the domains are never removed; a file stays mapped until its record is
// loaded anew. Texts that are handed out point into the mapped file, or are the caller's own key.
//
// A hostile file is harmless: whatever its numbers and strings are, nothing outside the mapping is
// read (see MoCatalog.cpp on strings without their closing zero). A file that is shortened by somebody
// while it is mapped isn't guarded against; language files are replaced, not rewritten.
//
// The functions stand in a namespace of their own, since <libintl.h> comes in with <locale> and
// declares bindtextdomain() and textdomain() globally.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace halvo::mocatalog {

// Size of all fixed buffers for names, folders, locales and paths, the closing zero included.
inline constexpr std::size_t kBufferSize = 1024;
// A larger file is refused.
inline constexpr std::uint64_t kMaximumFileSize = 0x100000;
// Categories are numbered from 1: LC_COLLATE, LC_CTYPE, LC_MONETARY, LC_NUMERIC, LC_TIME, LC_MESSAGES.
inline constexpr int kCategoryMessages = 6;

// One string of a table: the text lies in the mapped file.
struct StringEntry {
  std::uint64_t length;
  const char* text;
};

// What is known of one translation domain. `magic` zero means that no file is loaded, although one
// may still be mapped.
struct BoundDomain {
  BoundDomain* next;
  char domainName[kBufferSize];
  char directory[kBufferSize];
  const unsigned char* mappedFile;
  std::uint64_t mappedSize;
  std::uint32_t magic;
  std::uint32_t revision;
  std::uint32_t stringCount;
  std::unique_ptr<StringEntry[]> originals;
  std::unique_ptr<StringEntry[]> translations;
  const char* header;
  std::unique_ptr<char[]> charset;
};

// Names the folder that holds the locale folders of `domain`. Whatever is loaded for the domain is
// loaded anew at the next look-up. Returns `domain`, or null where nothing was done: a null or empty
// domain, a folder that isn't absolute, or either with 1,024 characters or more.
const char* bindtextdomain(const char* domain, const char* directory);

// Makes `domain` current, cut to 1,023 characters; an empty one brings back "messages", null changes
// nothing. Returns the current domain.
const char* textdomain(const char* domain);

// What the loaded file of the current domain tells behind "charset=", or the empty text where nothing
// is loaded or told. Never null.
const char* gettextCharset();

// Looks `key` up in the current domain under LC_MESSAGES. See translate().
const char* translateInLocale(const char* key, const char* locale);

// Looks `key` (for a `count` of 1) or else `pluralKey` up, and returns its translation, or that key
// itself where there is none for any reason. Null only where that key is null.
//
// `domain` null stands for the current one. `locale` is a list with ":" between its items, such as
// "de-at"; where no item has a file, what stands before the first "-" is tried. "C" and "POSIX" end
// the list.
const char* translate(const char* domain, const char* key, const char* pluralKey, unsigned long count,
                      int category, const char* locale);

// Unmaps the file of `domain`. The record stays and loads again at the next look-up.
void unloadDomain(const char* domain);

// The record of `domain`, or null. The reader keeps it; for the tests and for messages.
const BoundDomain* findDomain(const char* domain);

// The translation of `key` in the record, or null. The originals have to be sorted bytewise, as the
// format prescribes; in a file where they aren't, some keys aren't found.
const char* search(const BoundDomain& record, const char* key);

// Mark a text for extraction and return it. They read no catalog.
constexpr const char* gettext_noop(const char* key) {
  return key;
}
constexpr const char* ngettext_noop(const char* key, const char* pluralKey, unsigned long count) {
  return count == 1 ? key : pluralKey;
}

}  // namespace halvo::mocatalog
