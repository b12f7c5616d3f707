// Texts between the system's own form and the toolkit's.
//
// On the main thread, or on a thread that has a pool of its own.

#pragma once

#import <Foundation/Foundation.h>

#include <string>

namespace halvo {

// UTF-8, or, where it isn't that (names of files can hold any bytes), each byte as the Latin-1 character of
// its number. Never nil; given back by the caller's pool.
NSString* hostText(const std::string& utf8);

// As UTF-8; nil is the empty text.
std::string textOf(NSString* text);

// Whether most of the letters are of a script that is written from right to left. The first letter alone
// wouldn't tell: texts start with the product's Latin name.
bool isReadFromTheRight(NSString* text);

}  // namespace halvo
