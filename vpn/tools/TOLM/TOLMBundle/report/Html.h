// Text for a page: nothing that comes from a bundle may become anything but text in it.

#pragma once

#include <string>
#include <string_view>

namespace halvo {

// Appends `text` for an element's content or an attribute's value in quotes: markup as references, control
// characters as their pictures (U+2400 and on), those of U+0080 to U+009F and bytes that aren't UTF-8 as
// U+FFFD. Line feeds and tabs stay; a carriage return in front of a line feed goes.
void appendHtml(std::string& html, std::string_view text);

std::string htmlText(std::string_view text);

}  // namespace halvo
