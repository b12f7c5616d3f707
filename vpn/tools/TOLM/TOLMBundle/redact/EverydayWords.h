// Words that stand behind "user: ", "for user" and their like without being anybody's name: those of logs and
// settings, days and months. Pure functions; letters count alike in both cases.

#pragma once

#include <string_view>

namespace halvo {

// "timeout", "prompt", "certificate"; days and months among them.
bool isEverydayWord(std::string_view word);

// Every word of it is such a one, or one that is common wherever it stands (see KnownNames.h).
bool isEverydayText(std::string_view text);

// "Mon", "January". Some of them are first names too.
bool isCalendarWord(std::string_view word);

}  // namespace halvo
