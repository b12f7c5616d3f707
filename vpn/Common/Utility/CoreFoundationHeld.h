// Held: the one owner of a CoreFoundation object that a "Create" or "Copy" call has made.
//
// For the sources of hosts that have CoreFoundation.

#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

namespace halvo {

struct CoreFoundationRelease {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

template <typename Ref>
using Held = std::unique_ptr<std::remove_pointer_t<Ref>, CoreFoundationRelease>;

}  // namespace halvo
