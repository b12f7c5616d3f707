// What a test tells the test platform, and what that tells back.
//
// The test platform is a small implementation of the macOS calls that this system uses, so that its sources
// for that host run here: CoreFoundation over GNUstep's Foundation objects, kqueue over inotify, sysctl over
// /proc, and the two log services, Gestalt and the queues in a few lines. It is strict: a call in a form
// that macOS doesn't have ends the program.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvo::test::platform {

// Everything as it is at the start of the program: version 11.0.0, locale en_US, no call fails.
void reset();

// Makes the next call of this name fail, in the way that this call reports a failure.
void failNext(const std::string& call);

// What Gestalt answers. A number that isn't given leaves the answer untouched and is an error.
void setVersion(std::optional<std::int32_t> major, std::optional<std::int32_t> minor,
                std::optional<std::int32_t> patch);

// The user's locale. A part that isn't given is one that the locale doesn't tell.
void setLocale(std::optional<std::string> language, std::optional<std::string> country);
void setPreferredLanguages(const std::vector<std::string>& languages);

// Whether CFStringGetCStringPtr hands out pointers; at the start it does.
void setDirectPointers(bool direct);

// What the next reading of a property list from XML gives as its reason, whether the list is good or not.
void setListReason(const std::string& reason);

// CoreFoundation objects that the callers own at this moment.
long ownedObjects();

// The calls of the two log services since reset(), one a line.
std::vector<std::string> logCalls();

// For the platform itself.
bool fails(const char* call);
void noteLogCall(const std::string& line);

}  // namespace halvo::test::platform
