// Texts from outside (names of files, titles, output of commands) made fit for one line that a person
// reads: nothing in them can move a terminal's cursor, break the line or fill the screen.
//
// Plain functions over their arguments: any thread may call them. They log nothing and can't fail.

#pragma once

#include <string>

namespace halvo {

// `text` with each byte of a control character, of one that turns the direction of writing (U+061C, U+200E,
// U+200F, U+202A to U+202E, U+2066 to U+2069) and of what is no UTF-8 as \xNN.
std::string withoutControls(const std::string& text);

// A JSON text with those that JSON bears as they are and terminals obey as \uNNNN: DEL, U+0080 to U+009F, and
// those that turn the direction.
std::string jsonWithoutControls(const std::string& json);

// An XML text with the same as character references, for the same reason.
std::string xmlWithoutControls(const std::string& xml);

// `text` between double quotes: without controls, and cut behind a whole character at a length that a
// line can bear, with "..." for the rest.
std::string quotedText(const std::string& text);

}  // namespace halvo
